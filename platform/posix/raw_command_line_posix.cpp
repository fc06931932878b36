#include "platform/raw_command_line.h"

#include <cstdlib>
#include <vector>

#include "platform/process.h"

namespace orin::platform {

// An inherited entry (a grandchild started some other way) splits into another argv and is
// ignored.
std::string RawCommandLine(int argc, char** argv) {
  const char* line = std::getenv(kRawCommandLineVariable);
  if (line == nullptr) return std::string();
  const std::vector<std::string> args = SplitCommandLine(line);
  if (args.size() != static_cast<std::size_t>(argc)) return std::string();
  for (int i = 1; i < argc; ++i) {
    if (args[static_cast<std::size_t>(i)] != argv[i]) return std::string();
  }
  return line;
}

}  // namespace orin::platform
