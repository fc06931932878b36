#pragma once
#include <string>

namespace orin::platform {

// The command line exactly as the starting process wrote it, before the C runtime split it into
// argv (whose rules cannot be undone). Win32: GetCommandLineA. POSIX: what StartProcess handed
// the child beside its argv, used only when it still splits into this very argv; empty when the
// process was started some other way.
std::string RawCommandLine(int argc, char** argv);

// The environment entry StartProcess passes the raw line in on POSIX.
inline constexpr const char* kRawCommandLineVariable = "ORIN_RAW_COMMAND_LINE";

}  // namespace orin::platform
