#pragma once
#include <cstdint>
#include <string>

#include "helper/report.h"

namespace orin::helper {

// The records delivered from the start of a claimed file, and where they end in it.
struct DeliveredPart {
  std::int32_t records = 0;
  std::int64_t bytes = -1;  // -1: not known; found by the lengths before it when they hold
};

// Before a delivery reader loads `path`: when it holds bytes that are not whole records (see
// cache/record_scanner.h), those bytes are appended to `sideFile` and flushed, and only then is
// `path` replaced by its whole records alone, so a damaged record loses only itself and nothing
// is deleted. False (with `path` untouched) when either write fails.
// `delivered`, if given, is carried into the rewritten file: the whole records that lay before
// its end, and where they end now; nothing (0) when its end is not known.
bool SetDamageAside(const std::string& path, const std::string& sideFile, const Report& report,
                    DeliveredPart* delivered = nullptr);

}  // namespace orin::helper
