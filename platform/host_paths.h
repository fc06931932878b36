#pragma once
#include <cstdint>
#include <string>

namespace orin::platform {

// GetModuleFileNameA(NULL, buffer, size): path of the host process's executable, cut to size-1
// characters; returns the length written, 0 on failure (buffer then empty).
// POSIX: /proc/self/exe; when ORIN_HOST_DIR is set, its value + "/" + the executable's file name.
std::uint32_t HostExecutablePath(char* buffer, std::uint32_t size);

// The same path read the wide way, for the host files that must be found whatever the host's
// folder is called: GetModuleFileNameW(NULL) into a buffer of wideChars characters (cut to
// wideChars-1 like the narrow form), handed back in UTF-8. Empty on failure.
// POSIX: HostExecutablePath's bytes, which are the path already, cut to wideChars-1 bytes.
std::string HostExecutablePathUtf8(std::uint32_t wideChars);

// The characters a UTF-8 path takes in the buffers of the wide calls (UTF-16 units); POSIX: its
// bytes, since there the buffers hold bytes.
std::size_t WideLength(const std::string& utf8);

// SHGetFolderPathA(CSIDL_COMMON_APPDATA) into a buffer of at least 260 bytes; false on failure.
// POSIX: ORIN_COMMON_APPDATA when set, else "/var/lib".
bool CommonAppDataFolder(char* buffer, std::uint32_t size);

// The folder of the host executable (with its trailing separator; "." and a separator when the
// path is unknown) followed by fileName.
std::string HostRelativePath(const char* fileName);

}  // namespace orin::platform
