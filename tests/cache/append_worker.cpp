// Child of the multi-process cache tests.
//   FILE COUNT TAG     appends COUNT events tagged TAG to FILE, as the module does, and exits
//   hold NAME MARKER   takes the named mutex NAME, then writes MARKER and waits to be killed
#include <cstdlib>
#include <fstream>
#include <string>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "platform/named_mutex.h"
#include "platform/thread.h"

namespace {

int Hold(const std::string& name, const char* marker) {
  const std::wstring wide(name.begin(), name.end());
  orin::platform::MutexHandle mutex = orin::platform::CreateNamedMutex(wide.c_str());
  if (mutex == nullptr ||
      orin::platform::WaitNamedMutex(mutex) != orin::platform::WaitResult::kAcquired) {
    return 3;
  }
  std::ofstream(marker) << "held";
  for (;;) orin::platform::SleepMs(1000);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "hold") return Hold(argv[2], argv[3]);
  if (argc != 4) return 2;
  const int count = std::atoi(argv[2]);
  const int tag = std::atoi(argv[3]);
  int failures = 0;
  for (int i = 0; i < count; ++i) {
    Json::Value event;
    event["l"] = tag;
    event["n"] = i;
    event["m"] = "append-worker";
    event["p"]["pad"] = std::string(static_cast<std::size_t>(i % 97), 'x');
    if (!orin::GetAnalyticsFile()->AppendEvent(argv[1], event)) ++failures;
  }
  return failures == 0 ? 0 : 1;
}
