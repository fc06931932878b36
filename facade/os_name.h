#pragma once
#include <string>

namespace orin {

// The registry still says "Windows 10" on Windows 11: there the first "10" of the product name
// becomes "11". Other names, and every name elsewhere, stay as read.
std::string OsNameForEvents(std::string productName, bool windows11);

}  // namespace orin
