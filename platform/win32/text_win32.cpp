#include "platform/text.h"

#include <windows.h>

#include "platform/win32/wide_text.h"

namespace orin::platform {

std::string HostTextToUtf8(const std::string& text) {
  bool ascii = true;
  for (const char c : text) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
  if (ascii) return text;
  const int size = static_cast<int>(text.size());
  const int chars = MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0);
  if (chars <= 0) return std::string();
  std::wstring wide(static_cast<std::size_t>(chars), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), size, &wide[0], chars);
  return win32::Utf8FromWide(wide.data(), wide.size());
}

}  // namespace orin::platform
