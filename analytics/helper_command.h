#pragma once
#include <string>

namespace orin {

// The helper's command lines: its path in double quotes (it may hold blanks), then exactly one
// blank before the switch. The submit form adds one blank and the JSON text, already escaped,
// in double quotes.
std::string HelperCommandLine(const char* helperPath, const char* option);
std::string SubmitCommandLine(const char* helperPath, const std::string& escapedJson);

}  // namespace orin
