#include "platform/last_error.h"

#include <windows.h>

namespace orin::platform {

std::int32_t LastErrorCode() { return static_cast<std::int32_t>(GetLastError()); }

}  // namespace orin::platform
