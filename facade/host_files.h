#pragma once
#include <string>

namespace orin::facade_detail {

// Version.ini beside the host in UTF-8, built in a 260-character wide buffer as the edition probes
// do (unlike the 1024-character GetVersionIniPath); empty when the host path has no separator.
std::string ShortVersionIniPath();

}  // namespace orin::facade_detail
