#include "platform/local_time.h"

namespace orin::platform {

bool LocalTime(std::time_t when, std::tm& out) { return localtime_s(&out, &when) == 0; }

}  // namespace orin::platform
