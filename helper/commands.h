#pragma once
#include <cstdint>
#include <string>

#include "helper/helper_settings.h"
#include "helper/report.h"

namespace orin::helper {

inline constexpr std::int32_t kDefaultBatch = 200;

// -submit_cache: delivers every cached event, in batches of `batch` records.
Result SubmitCache(const Settings& settings, std::int32_t batch, const Report& report);

// -submit "JSON": posts the array (or one object); what the collector does not take is cached.
Result SubmitEvents(const Settings& settings, const std::string& json, const Report& report);

// -update_cache: moves the events of the "-bak" file into the live cache, each with the current
// device id as "u", then removes the backup.
Result UpdateCache(const Settings& settings, const Report& report);
// Its work without the helper lock, for a caller that holds it already. mayClaim turns false when
// the live cache must not be claimed in this run: it holds the backup's events, and neither the
// marker nor the backup's removal could record that.
Result RestampBackup(const Settings& settings, const Report& report, bool& mayClaim);

}  // namespace orin::helper
