#include "platform/dynamic_library.h"

#include <dlfcn.h>

namespace orin::platform {

LibraryHandle OpenLibrary(const char* path) {
  if (path == nullptr) return nullptr;
  return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

void* LibrarySymbol(LibraryHandle library, const char* name) {
  if (library == nullptr || name == nullptr) return nullptr;
  return dlsym(library, name);
}

void CloseLibrary(LibraryHandle library) {
  if (library != nullptr) dlclose(library);
}

const char* LastLibraryError() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown error";
}

}  // namespace orin::platform
