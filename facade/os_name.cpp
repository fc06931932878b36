#include "facade/os_name.h"

namespace orin {

std::string OsNameForEvents(std::string productName, bool windows11) {
  if (!windows11) return productName;
  const std::string::size_type at = productName.find("10");
  if (at != std::string::npos) productName[at + 1] = '1';
  return productName;
}

}  // namespace orin
