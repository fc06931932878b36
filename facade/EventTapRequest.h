#pragma once
#include <cstdint>

namespace orin {

// One request of the facade's queue; a plain value, copied in and out of the queue whole.
struct EventTapRequest {
  static constexpr std::int32_t kNone = 0;
  static constexpr std::int32_t kSubmitCache = 1;
  static constexpr std::int32_t kRecordPoint = 2;
  static constexpr std::int32_t kPrepareAndSubmit = 3;
  static constexpr std::int32_t kInitialize = 5;
  static constexpr std::uint32_t kNameSize = 260;

  std::int32_t type = kNone;
  std::int32_t first = -1;
  std::int32_t second = -1;
  std::int32_t hasParam = 0;
  char paramName[kNameSize] = {};
  std::int32_t paramValue = 0;

  void Reset() { *this = EventTapRequest(); }
};

}  // namespace orin
