#include "platform/win32/wide_text.h"

#include <windows.h>

namespace orin::platform::win32 {

std::wstring WideFromUtf8(const std::string& text) {
  if (text.empty()) return std::wstring();
  const int size = static_cast<int>(text.size());
  const int chars = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  if (chars <= 0) return std::wstring();
  std::wstring wide(static_cast<std::size_t>(chars), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, &wide[0], chars);
  return wide;
}

std::string Utf8FromWide(const wchar_t* text, std::size_t length) {
  if (text == nullptr || length == 0) return std::string();
  const int size = static_cast<int>(length);
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, size, nullptr, 0, nullptr, nullptr);
  if (bytes <= 0) return std::string();
  std::string narrow(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, size, &narrow[0], bytes, nullptr, nullptr);
  return narrow;
}

}  // namespace orin::platform::win32
