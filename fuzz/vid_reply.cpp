// The virtual-id reply scanner over arbitrary reply bodies: a vid is a quote-free piece of the
// reply that follows the marker, and a single INI value.
#include <cstdint>
#include <string>

#include "analytics/reply_scan.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string reply(reinterpret_cast<const char*>(data), size);
  std::string vid = "untouched";
  const bool taken = orin::ScanVidReply(reply, vid);
  const std::size_t marker = reply.find("\"vid\":");
  if (taken && marker == std::string::npos) __builtin_trap();
  if (!taken) {
    if (vid != "untouched") __builtin_trap();
    return 0;
  }
  if (vid.find('"') != std::string::npos || !orin::IsSingleIniValue(vid) ||
      reply.find(vid, marker + 6) == std::string::npos) {
    __builtin_trap();
  }
  return 0;
}
