#pragma once
#include <string>

// UTF-8 on this side of the platform layer, UTF-16 at the wide calls.

namespace orin::platform::win32 {

std::wstring WideFromUtf8(const std::string& text);
std::string Utf8FromWide(const wchar_t* text, std::size_t length);

}  // namespace orin::platform::win32
