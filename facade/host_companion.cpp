#include "facade/host_companion.h"

#include <string>

#include "platform/dynamic_library.h"
#include "platform/host_paths.h"
#include "platform/os.h"

namespace orin {

// The host objects are C++ objects of the host's own making; only their slots matter here. No
// destructor is declared, so these slot numbers hold for MSVC- and GCC-built hosts alike.
// Declared outside an unnamed namespace on purpose: the compiler would otherwise see that no
// class here implements them and treat the calls as unreachable.
class HostSystemObject {
 public:
  virtual std::int32_t Op1() = 0;
  virtual std::int32_t Op2() = 0;
  virtual std::int32_t Op3() = 0;
  virtual std::int32_t Op4() = 0;
  virtual std::int32_t Op5() = 0;
  virtual std::int32_t Op6() = 0;
  virtual std::int32_t Op7() = 0;
  virtual std::int32_t HostFlag() = 0;
};

class HostLanguageObject {
 public:
  virtual std::int32_t Op1() = 0;
  virtual std::int32_t Op2() = 0;
  virtual std::int32_t LanguageId() = 0;
};

namespace {

using GetObjectFn = void* (*)();

// Loaded once and kept: the objects it hands out live in it.
platform::LibraryHandle Companion() {
  static const platform::LibraryHandle library = []() -> platform::LibraryHandle {
    if (!platform::kIsWindows) return nullptr;
    char path[1024] = {};
    if (platform::HostExecutablePath(path, sizeof path) == 0) return nullptr;
    std::string folder(path);
    const std::string::size_type sep = folder.rfind(platform::kPathSep);
    if (sep == std::string::npos) return nullptr;
    folder.erase(sep + 1);
    return platform::OpenLibrary((folder + "Comn.dll").c_str());
  }();
  return library;
}

void* HostObject(const char* exportName) {
  auto fn = reinterpret_cast<GetObjectFn>(platform::LibrarySymbol(Companion(), exportName));
  return fn != nullptr ? fn() : nullptr;
}

}  // namespace

bool QueryHostFlag() {
  auto* object = static_cast<HostSystemObject*>(HostObject("GetObjectSys"));
  return object != nullptr && object->HostFlag() != 0;
}

std::int32_t QueryHostLanguageId() {
  auto* object = static_cast<HostLanguageObject*>(HostObject("GetObjectLang"));
  return object != nullptr ? object->LanguageId() : 1;
}

}  // namespace orin
