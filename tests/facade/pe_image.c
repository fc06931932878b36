/* Body of the test PE images: never run, only read for its version resource. */
int entry(void) { return 0; }
