#pragma once
#include <ctime>

namespace orin::platform {

// The local broken-down time of `when` into `out`, without the C runtime's shared buffer, which
// belongs to the host as much as to the module (localtime_s / localtime_r). False on failure.
bool LocalTime(std::time_t when, std::tm& out);

}  // namespace orin::platform
