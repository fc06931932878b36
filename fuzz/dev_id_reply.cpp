// The device-id reply scanner over arbitrary reply bodies; a taken id always has the stored shape
// and is a single INI value.
#include <cstdint>
#include <string>

#include "analytics/reply_scan.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string body(reinterpret_cast<const char*>(data), size);
  std::string id = "untouched";
  if (orin::ScanDeviceIdReply(body, id)) {
    if (id.size() != 43 || id.compare(0, 7, "dev_id_") != 0 || !orin::IsUuidText(id.c_str() + 7, 36) ||
        !orin::IsSingleIniValue(id) ||
        body.find("\"dev_id\":\"" + id.substr(7)) == std::string::npos) {
      __builtin_trap();
    }
  } else if (id != "untouched") {
    __builtin_trap();
  }
  return 0;
}
