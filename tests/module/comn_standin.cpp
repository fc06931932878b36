// Stand-in for the host's companion library "Comn.dll": its two objects answer what
// "comn.txt" beside the host program says (the host flag, then the language id).
#include <cstdint>
#include <cstring>
#include <fstream>

#include "platform/host_paths.h"
#include "platform/os.h"

namespace {

void Answers(std::int32_t& flag, std::int32_t& language) {
  char path[1024] = {};
  orin::platform::HostExecutablePath(path, sizeof path);
  std::strcpy(std::strrchr(path, orin::platform::kPathSep) + 1, "comn.txt");
  flag = 0;
  language = 0;
  std::ifstream(path) >> flag >> language;
}

// The slot before the one asked for answers something else, so a wrong slot shows.
class SystemObject {
 public:
  virtual std::int32_t Op1() { return -1; }
  virtual std::int32_t Op2() { return -1; }
  virtual std::int32_t Op3() { return -1; }
  virtual std::int32_t Op4() { return -1; }
  virtual std::int32_t Op5() { return -1; }
  virtual std::int32_t Op6() { return -1; }
  virtual std::int32_t Op7() { return 1 - Flag(); }
  virtual std::int32_t Op8() { return Flag(); }
  static std::int32_t Flag() { std::int32_t f, l; Answers(f, l); return f; }
};

class LanguageObject {
 public:
  virtual std::int32_t Op1() { return 19; }
  virtual std::int32_t Op2() { return 20; }
  virtual std::int32_t Op3() { std::int32_t f, l; Answers(f, l); return l; }
  virtual std::int32_t Op4() { return 18; }
};

}  // namespace

extern "C" __declspec(dllexport) void* GetObjectSys() {
  static SystemObject* object = new SystemObject;
  return object;
}
extern "C" __declspec(dllexport) void* GetObjectLang() {
  static LanguageObject* object = new LanguageObject;
  return object;
}
