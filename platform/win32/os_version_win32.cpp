#include "platform/os_version.h"

#include <string>
#include <vector>

#include <windows.h>

namespace orin::platform {

// The key handle itself, under the portable name.
struct OsVersionKey;

namespace {

HKEY AsHkey(OsVersionKey* key) { return reinterpret_cast<HKEY>(key); }

bool IsText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ; }

}  // namespace

OsVersionKey* OpenOsVersionKey() {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows NT\\CurrentVersion", 0,
                    KEY_QUERY_VALUE | KEY_WOW64_64KEY, &key) != ERROR_SUCCESS) {
    return nullptr;
  }
  return reinterpret_cast<OsVersionKey*>(key);
}

bool ReadOsVersionText(OsVersionKey* key, const char* name, bool wide, std::uint32_t bufferBytes,
                       std::string& out) {
  if (key == nullptr || name == nullptr) return false;
  DWORD type = 0;
  DWORD bytes = bufferBytes;
  if (!wide) {
    // One spare byte: a stored value need not end with its terminator.
    std::vector<char> buffer(std::size_t(bufferBytes) + 1, '\0');
    if (RegQueryValueExA(AsHkey(key), name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()),
                         &bytes) != ERROR_SUCCESS ||
        !IsText(type)) {
      return false;
    }
    out = buffer.data();
    return true;
  }
  const std::wstring wideName(name, name + std::char_traits<char>::length(name));
  std::vector<wchar_t> buffer(std::size_t(bufferBytes) / 2 + 1, L'\0');
  if (RegQueryValueExW(AsHkey(key), wideName.c_str(), nullptr, &type,
                       reinterpret_cast<BYTE*>(buffer.data()), &bytes) != ERROR_SUCCESS ||
      !IsText(type)) {
    return false;
  }
  const int size = WideCharToMultiByte(CP_ACP, 0, buffer.data(), -1, nullptr, 0, nullptr, nullptr);
  if (size <= 0) return false;
  std::string narrow(std::size_t(size), '\0');
  WideCharToMultiByte(CP_ACP, 0, buffer.data(), -1, &narrow[0], size, nullptr, nullptr);
  narrow.resize(std::size_t(size) - 1);
  out = narrow;
  return true;
}

void CloseOsVersionKey(OsVersionKey* key) {
  if (key != nullptr) RegCloseKey(AsHkey(key));
}

RtlVersionStatus RtlVersionNumbers(VersionNumbers& out) {
  HMODULE ntdll = LoadLibraryW(L"ntdll.dll");
  if (ntdll == nullptr) return RtlVersionStatus::kNoLibrary;
  using GetNumbers = void(WINAPI*)(DWORD*, DWORD*, DWORD*);
  FARPROC proc = GetProcAddress(ntdll, "RtlGetNtVersionNumbers");
  if (proc == nullptr) {
    FreeLibrary(ntdll);
    return RtlVersionStatus::kNoFunction;
  }
  DWORD major = 0, minor = 0, build = 0;
  reinterpret_cast<GetNumbers>(reinterpret_cast<void*>(proc))(&major, &minor, &build);
  FreeLibrary(ntdll);
  out.major = major;
  out.minor = minor;
  out.build = build & 0x0FFFFFFFu;
  return RtlVersionStatus::kOk;
}

bool LegacyVersionNumbers(VersionNumbers& out) {
  OSVERSIONINFOW info = {};
  info.dwOSVersionInfoSize = sizeof info;  // 276
  if (!GetVersionExW(&info)) return false;
  out.major = info.dwMajorVersion;
  out.minor = info.dwMinorVersion;
  out.build = info.dwBuildNumber;
  return true;
}

}  // namespace orin::platform
