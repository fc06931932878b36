// Stand-in for the helper: each run sleeps the milliseconds "orinhlp.ctl" beside it names (none
// without that file), then appends its arguments, tab-separated on one line, to "orinhlp.log".
#include <cstdint>
#include <fstream>
#include <string>

#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/thread.h"

int main(int argc, char** argv) {
  char self[1024] = {};
  orin::platform::HostExecutablePath(self, sizeof self);
  std::string folder(self), line = argv[0];
  folder.erase(folder.rfind(orin::platform::kPathSep) + 1);
  std::uint32_t sleepMs = 0;
  std::ifstream(folder + "orinhlp.ctl") >> sleepMs;
  orin::platform::SleepMs(sleepMs);
  for (int i = 1; i < argc; ++i) line = line + "\t" + argv[i];
  std::ofstream(folder + "orinhlp.log", std::ios::binary | std::ios::app) << line + "\n";
}
