#pragma once

namespace orin::platform {

// A loaded shared library (LoadLibraryA / dlopen). The caller owns the handle; nothing here
// unloads it, since code taken from a library may run until the process ends.
using LibraryHandle = void*;

// nullptr when the library cannot be loaded.
LibraryHandle OpenLibrary(const char* path);
// GetProcAddress / dlsym; nullptr when missing or when library is nullptr.
void* LibrarySymbol(LibraryHandle library, const char* name);
// The system's reason for the last failed OpenLibrary on this thread, for messages.
const char* LastLibraryError();

}  // namespace orin::platform
