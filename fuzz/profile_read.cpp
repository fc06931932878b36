// The POSIX private-profile reader and writer over arbitrary INI file contents.
#include <cstdio>
#include <string>

#include "fuzz_file.h"
#include "platform/profile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* path = WriteFuzzFile(data, size);
  if (path == nullptr) return 0;
  char value[260];
  orin::platform::ReadProfileString("Analyze", "Cache", "", value, sizeof value, path);
  orin::platform::ReadProfileString("User", "DevID", "none", value, 8, path);
  orin::platform::ReadProfileInt("UserExperience", "ExperienceValue", 1, path);
  orin::platform::ReadProfileInt("EventTap", "switch", -1, path);
  orin::platform::WriteProfileString("Vid", "vid", "fuzz", path);
  orin::platform::ReadProfileString("Vid", "vid", "", value, sizeof value, path);
  return 0;
}
