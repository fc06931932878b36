#include "platform/checksum.h"

#include <windows.h>

#include <string>

namespace orin::platform {
namespace {

using BRCrc32Fn = std::uint32_t (*)(const void*, std::int32_t);

// Encrypt.dll beside the host executable, loaded once and kept for the life of the process.
BRCrc32Fn LoadHostChecksum() {
  wchar_t path[MAX_PATH + 1] = {};
  const DWORD n = GetModuleFileNameW(nullptr, path, MAX_PATH);
  if (n == 0 || n >= MAX_PATH) return nullptr;
  std::wstring dll(path, n);
  const auto cut = dll.find_last_of(L"\\/");
  dll.resize(cut == std::wstring::npos ? 0 : cut + 1);
  dll += L"Encrypt.dll";
  HMODULE module = LoadLibraryExW(dll.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (module == nullptr) return nullptr;
  return reinterpret_cast<BRCrc32Fn>(reinterpret_cast<void*>(GetProcAddress(module, "BRCrc32")));
}

}  // namespace

std::uint32_t BRCrc32(const void* data, std::int32_t length) {
  static const BRCrc32Fn host = LoadHostChecksum();
  return host != nullptr ? host(data, length) : Crc32(data, length);
}

}  // namespace orin::platform
