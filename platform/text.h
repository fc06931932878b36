#pragma once
#include <string>

namespace orin::platform {

// A text from the host (a parameter name, a value from its INI files or the OS) in UTF-8, which
// is what the events hold: the host's texts are in its own code page.
// Win32: from the ANSI code page. POSIX: valid UTF-8 stays as it is; anything else comes from the
// locale's code set, the environment's when the process never left the "C" locale. A byte that
// is no character there becomes U+FFFD on its own and the next byte is read afresh.
std::string HostTextToUtf8(const std::string& text);

}  // namespace orin::platform
