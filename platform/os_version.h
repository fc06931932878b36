#pragma once
#include <cstdint>
#include <string>

// The operating system's own account of its product name and version.
// Win32: the registry key HKLM "Software\Microsoft\Windows NT\CurrentVersion" (64-bit view) and
// ntdll. POSIX: the key is /etc/os-release (ORIN_OS_RELEASE names another file), whose
// PRETTY_NAME stands for "ProductName" and which gives "0" for "CurrentBuildNumber"; the version
// numbers are the kernel's major.minor with build 0.
// Stateless; safe from any thread.

namespace orin::platform {

struct OsVersionKey;

// RegOpenKeyExW(KEY_QUERY_VALUE | KEY_WOW64_64KEY); nullptr when the key cannot be opened.
// The caller owns the key and releases it with CloseOsVersionKey.
OsVersionKey* OpenOsVersionKey();
// RegQueryValueEx of a text value into a buffer of bufferBytes bytes: wide (RegQueryValueExW) or
// narrow (RegQueryValueExA); wide text comes back in the ANSI code page. False when the value is
// missing, not text, or does not fit the buffer with its terminator; out is then untouched.
bool ReadOsVersionText(OsVersionKey* key, const char* name, bool wide, std::uint32_t bufferBytes,
                       std::string& out);
void CloseOsVersionKey(OsVersionKey* key);

struct VersionNumbers {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t build = 0;
};

enum class RtlVersionStatus { kOk, kNoLibrary /* ntdll.dll */, kNoFunction /* RtlGetNtVersionNumbers */ };
// RtlGetNtVersionNumbers looked up in ntdll.dll at run time. The build comes back with its top
// four bits (the "free build" marker 0xF0000000) cleared; out is untouched unless kOk.
RtlVersionStatus RtlVersionNumbers(VersionNumbers& out);
// GetVersionExW with an OSVERSIONINFOW (size field 276); false leaves out untouched.
bool LegacyVersionNumbers(VersionNumbers& out);

}  // namespace orin::platform
