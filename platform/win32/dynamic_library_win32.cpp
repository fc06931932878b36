#include "platform/dynamic_library.h"

#include <cstdio>

#include <windows.h>

namespace orin::platform {

LibraryHandle OpenLibrary(const char* path) {
  if (path == nullptr) return nullptr;
  return LoadLibraryA(path);
}

void* LibrarySymbol(LibraryHandle library, const char* name) {
  if (library == nullptr || name == nullptr) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void CloseLibrary(LibraryHandle library) {
  if (library != nullptr) FreeLibrary(static_cast<HMODULE>(library));
}

const char* LastLibraryError() {
  thread_local char text[32];
  std::snprintf(text, sizeof text, "error %lu", GetLastError());
  return text;
}

}  // namespace orin::platform
