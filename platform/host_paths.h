#pragma once
#include <cstdint>
#include <string>

namespace orin::platform {

// GetModuleFileNameA(NULL, buffer, size): path of the host process's executable, cut to size-1
// characters; returns the length written, 0 on failure (buffer then empty).
// POSIX: /proc/self/exe; when ORIN_HOST_DIR is set, its value + "/" + the executable's file name.
std::uint32_t HostExecutablePath(char* buffer, std::uint32_t size);

// SHGetFolderPathA(CSIDL_COMMON_APPDATA) into a buffer of at least 260 bytes; false on failure.
// POSIX: ORIN_COMMON_APPDATA when set, else "/var/lib".
bool CommonAppDataFolder(char* buffer, std::uint32_t size);

// The folder of the host executable (with its trailing separator; "." and a separator when the
// path is unknown) followed by fileName.
std::string HostRelativePath(const char* fileName);

}  // namespace orin::platform
