// The POSIX private-profile reader over arbitrary INI file contents, and the in-place key edit
// its writer makes (run on the same text in memory: the writer's file replacement needs a folder).
#include <string>

#include "fuzz_file.h"
#include "platform/posix/ini_text.h"
#include "platform/profile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzFile input(data, size);
  const char* path = input.path();
  if (path == nullptr) return 0;
  char value[260];
  orin::platform::ReadProfileString("Analyze", "Cache", "", value, sizeof value, path);
  orin::platform::ReadProfileString("User", "DevID", "none", value, 8, path);
  orin::platform::ReadProfileInt("UserExperience", "ExperienceValue", 1, path);
  orin::platform::ReadProfileInt("EventTap", "switch", -1, path);
  std::string text(reinterpret_cast<const char*>(data), size);
  orin::platform::ini::SetKey(&text, "Vid", "vid", "fuzz");
  orin::platform::ini::SetKey(&text, "analyze", "Cache", "");
  // And the reader over what the edit made of it.
  FuzzFile edited(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  if (edited.path() != nullptr) {
    orin::platform::ReadProfileString("Vid", "vid", "", value, sizeof value, edited.path());
  }
  return 0;
}
