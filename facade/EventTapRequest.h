#pragma once
#include <cstdint>
#include <cstring>

namespace orin {

// One request of the facade's queue; a plain value, copied in and out of the queue whole.
struct EventTapRequest {
  static constexpr std::int32_t kNone = 0;
  static constexpr std::int32_t kSubmitCache = 1;
  static constexpr std::int32_t kRecordPoint = 2;
  static constexpr std::int32_t kPrepareAndSubmit = 3;
  static constexpr std::int32_t kInitialize = 5;
  // Queued by the facade itself, never by a host's post: ReportPointNow called before the
  // start-up has finished, carrying the prepared numbers and how the point is to be reported.
  static constexpr std::int32_t kReportNowCache = 6;
  static constexpr std::int32_t kReportNowSend = 7;
  // SubmitCacheNow handed over the same way.
  static constexpr std::int32_t kSubmitCacheNow = 8;
  static constexpr std::uint32_t kNameSize = 260;

  std::int32_t type = kNone;
  std::int32_t first = -1;
  std::int32_t second = -1;
  std::int32_t hasParam = 0;
  char paramName[kNameSize] = {};
  std::int32_t paramValue = 0;

  // Only a set parameter ever writes the name, so the buffer needs clearing only then.
  void Reset() {
    type = kNone;
    first = -1;
    second = -1;
    if (hasParam != 0 || paramName[0] != '\0') std::memset(paramName, 0, sizeof paramName);
    hasParam = 0;
    paramValue = 0;
  }
};

}  // namespace orin
