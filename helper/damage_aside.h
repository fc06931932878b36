#pragma once
#include <string>

#include "helper/report.h"

namespace orin::helper {

// Before a delivery reader loads `path`: when it holds bytes that are not whole records (see
// cache/record_scanner.h), those bytes are appended to `sideFile` and flushed, and only then is
// `path` replaced by its whole records alone, so a damaged record loses only itself and nothing
// is deleted. False (with `path` untouched) when either write fails.
bool SetDamageAside(const std::string& path, const std::string& sideFile, const Report& report);

}  // namespace orin::helper
