#pragma once
#include <cstring>
#include <string>

#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/thread.h"

namespace orin::testing {

// The folder of this test program, with the trailing separator.
inline std::string ProgramFolder() {
  char self[1024] = {};
  platform::HostExecutablePath(self, sizeof self);
  return std::string(self, std::strrchr(self, platform::kPathSep) + 1);
}

// A child program built beside this one, quoted for a command line.
inline std::string ChildProgram(const std::string& name) {
  return "\"" + ProgramFolder() + (platform::kIsWindows ? name + ".exe" : name) + "\"";
}

// The bound only keeps a broken test from hanging; it is never what a test checks.
template <typename Pred>
bool WaitUntil(Pred done, int boundMs = 90000) {
  for (int waited = 0; waited < boundMs && !done(); waited += 20) platform::SleepMs(20);
  return done();
}

}  // namespace orin::testing
