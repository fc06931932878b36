#pragma once

namespace orin::platform {

// Keeps the module that holds `address` loaded until the process ends, whatever the host
// unloads: the module's own thread runs inside it for as long as the process lives.
// Windows: GetModuleHandleExW with the pin flag. POSIX: the module is linked "nodelete" already.
void PinModuleContaining(const void* address);

// True once the module is being detached because the process is ending (Windows: DllMain's
// detach with a non-null reserved argument). Other threads may then have been ended while they
// held a lock, so exit routines must take none. Always false on POSIX, where exit handlers run
// while other threads still do.
bool ProcessIsEnding();

}  // namespace orin::platform
