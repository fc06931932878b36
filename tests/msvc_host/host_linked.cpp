// The host that links orinpoint.lib: the loader resolves GetOrinPointObj before the entry runs.
#include "host_run.h"

extern "C" void HostEntry() { msvc_host::Run(&GetOrinPointObj); }
