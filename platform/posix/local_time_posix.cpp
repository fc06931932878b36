#include "platform/local_time.h"

namespace orin::platform {

bool LocalTime(std::time_t when, std::tm& out) { return localtime_r(&when, &out) != nullptr; }

}  // namespace orin::platform
