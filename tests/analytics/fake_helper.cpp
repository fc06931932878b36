// Stand-in for the helper executable. Each run appends one line to a log: the JSON array of its
// arguments. An optional control file beside it ("orinhlp.ctl": first line the log path, second
// line milliseconds to sleep before logging) lets a test pick its own log and a slow helper.
// Without the control file the log is "orinhlp.log" beside the program.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <json/value.h>

#include "common/json_text.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/thread.h"

int main(int argc, char** argv) {
  char self[1024] = {};
  orin::platform::HostExecutablePath(self, sizeof self);
  std::string folder(self);
  const std::string::size_type sep = folder.rfind(orin::platform::kPathSep);
  folder = (sep == std::string::npos) ? std::string() : folder.substr(0, sep + 1);

  std::string logPath = folder + "orinhlp.log";
  unsigned long sleepMs = 0;
  std::ifstream control(folder + "orinhlp.ctl");
  if (control) {
    std::string line;
    if (std::getline(control, line) && !line.empty()) logPath = line;
    if (std::getline(control, line)) sleepMs = std::strtoul(line.c_str(), nullptr, 10);
  }
  if (sleepMs > 0) orin::platform::SleepMs(static_cast<std::uint32_t>(sleepMs));

  Json::Value args(Json::arrayValue);
  for (int i = 0; i < argc; ++i) args.append(argv[i]);
  const std::string line = orin::ToFastText(args);
  std::FILE* log = std::fopen(logPath.c_str(), "ab");
  if (log == nullptr) return 2;
  std::fwrite(line.data(), 1, line.size(), log);
  return std::fclose(log) == 0 ? 0 : 3;
}
