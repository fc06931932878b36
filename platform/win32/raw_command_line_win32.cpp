#include "platform/raw_command_line.h"

#include <windows.h>

namespace orin::platform {

// The narrow form: the module starts the helper with CreateProcessA, so these are its bytes.
std::string RawCommandLine(int, char**) {
  const char* line = GetCommandLineA();
  return line != nullptr ? line : "";
}

}  // namespace orin::platform
