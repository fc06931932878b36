#pragma once
#include <cstdint>
#include <string>

// Private-profile (INI) access with the Win32 semantics: section and key names compared without
// case, values trimmed and stripped of one pair of surrounding quotes, a missing file or key gives
// the default, a write creates the file and the section and keeps the rest of the file.
// Win32: kernel32 profile functions. POSIX: the same semantics over SimpleIni.
// Thread-safe as far as the file system is; no caching, every call reads the file afresh.

namespace orin::platform {

// GetPrivateProfileStringA: copies at most size-1 characters plus a NUL into buffer and returns
// the number of characters copied (without the NUL). Section, key and path must be given:
// the name-listing and win.ini forms of the Win32 call (a null name or path) are not offered
// and give "".
std::uint32_t ReadProfileString(const char* section, const char* key, const char* defaultValue,
                                char* buffer, std::uint32_t size, const char* path);

// GetPrivateProfileIntA: leading digits (optional sign) of the value, default when absent or
// when a name or the path is null.
std::uint32_t ReadProfileInt(const char* section, const char* key, std::int32_t defaultValue,
                             const char* path);

// The reads for a file whose path may hold any character (Version.ini beside the host): path and
// texts in UTF-8, size counted in characters of the wide buffer. Win32: GetPrivateProfileStringW
// and GetPrivateProfileIntW. POSIX: the reads above, since paths are bytes there already.
std::string ReadProfileStringUtf8(const char* section, const char* key, const char* defaultValue,
                                  std::uint32_t size, const char* path);
std::uint32_t ReadProfileIntUtf8(const char* section, const char* key, std::int32_t defaultValue,
                                 const char* path);

// WritePrivateProfileStringA with a non-null value; false when anything is null.
bool WriteProfileString(const char* section, const char* key, const char* value, const char* path);

}  // namespace orin::platform
