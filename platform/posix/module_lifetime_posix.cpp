#include "platform/module_lifetime.h"

namespace orin::platform {

// The shared object is linked with "-z nodelete": dlclose never unmaps it.
void PinModuleContaining(const void*) {}

bool ProcessIsEnding() { return false; }

}  // namespace orin::platform
