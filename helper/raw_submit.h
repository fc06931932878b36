#pragma once
#include <string>

namespace orin::helper {

// The module writes `"helper" -submit "TEXT"` with every double quote of the JSON text escaped as
// \" and nothing else; the C runtime's rules then mangle backslashes before a quote. From the raw
// line this undoes exactly the module's escaping: the JSON text, and in `rest` what follows its
// closing quote. False when the line is not of that form (argv is then all there is).
bool TakeSubmitText(const std::string& rawLine, std::string& json, std::string& rest);

}  // namespace orin::helper
