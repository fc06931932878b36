// The floor of the module's load: a shared library with one exported function and nothing else.
extern "C" __attribute__((visibility("default"))) int TrivialExport() { return 42; }
