#pragma once
#include <string>

namespace orin::platform {

// Appends bytes to a file (created when missing) and flushes them to stable storage before it
// returns true. A write that falls short is cut back to where it began, so the file never ends
// in a torn piece. Win32: WriteFile + FlushFileBuffers. POSIX: write + fsync.
bool AppendDurably(const std::string& path, const std::string& bytes);

}  // namespace orin::platform
