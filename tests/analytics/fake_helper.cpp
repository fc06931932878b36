// Stand-in for the helper executable: each run appends the JSON array of its arguments, as one
// line, to "orinhlp.log" beside it. A control file beside it ("orinhlp.ctl") can name another
// log (first line) and a sleep in milliseconds before logging (second line).
#include <cstdio>
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
  folder.erase(folder.rfind(orin::platform::kPathSep) + 1);

  std::string logPath = folder + "orinhlp.log", sleepMs;
  std::ifstream control(folder + "orinhlp.ctl");
  if (std::getline(control, logPath) && std::getline(control, sleepMs)) {
    orin::platform::SleepMs(static_cast<std::uint32_t>(std::stoul(sleepMs)));
  }
  Json::Value args(Json::arrayValue);
  for (int i = 0; i < argc; ++i) args.append(argv[i]);
  const std::string line = orin::ToFastText(args);
  std::FILE* log = std::fopen(logPath.c_str(), "ab");
  if (log == nullptr) return 2;
  std::fwrite(line.data(), 1, line.size(), log);
  return std::fclose(log) == 0 ? 0 : 3;
}
