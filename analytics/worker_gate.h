#pragma once
#include <orinpoint/EventRecord.h>

namespace orin {

// True while queued events must wait: "u" is looked up and compared with the map's first
// position, not its end, on purpose. So an empty map holds, "u" as the smallest key holds, and
// any map without "u" (or with a smaller key before it) lets events through.
inline bool WorkerGateHolds(const PropertyMap& commonProperties) {
  static const std::string kGateKey = "u";
  return commonProperties.find(kGateKey) == commonProperties.begin();
}

}  // namespace orin
