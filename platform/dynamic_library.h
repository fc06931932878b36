#pragma once

namespace orin::platform {

// A loaded shared library (LoadLibraryA / dlopen). The caller owns the handle; only CloseLibrary
// gives it back, and only a caller sure that no code of the library still runs should call it.
using LibraryHandle = void*;

// nullptr when the library cannot be loaded.
LibraryHandle OpenLibrary(const char* path);
// GetProcAddress / dlsym; nullptr when missing or when library is nullptr.
void* LibrarySymbol(LibraryHandle library, const char* name);
// FreeLibrary / dlclose of a handle from OpenLibrary; nullptr is ignored.
void CloseLibrary(LibraryHandle library);
// The system's reason for the last failed OpenLibrary on this thread, for messages.
const char* LastLibraryError();

}  // namespace orin::platform
