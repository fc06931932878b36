#pragma once
#include <string>

namespace orin::platform::posix {

// text read in codeSet (an iconv name), as UTF-8; a byte that is no character of codeSet, or a
// code set iconv does not know, gives U+FFFD for that byte alone.
std::string TextToUtf8From(const std::string& text, const char* codeSet);

}  // namespace orin::platform::posix
