#include "analytics/helper_command.h"

namespace orin {

std::string HelperCommandLine(const char* helperPath, const char* option) {
  return std::string("\"") + helperPath + "\" " + option;
}

std::string SubmitCommandLine(const char* helperPath, const std::string& escapedJson) {
  return HelperCommandLine(helperPath, "-submit") + " \"" + escapedJson + "\"";
}

}  // namespace orin
