#pragma once
#include <string>

#include "helper/collector_client.h"
#include "helper/report.h"

// A batch the collector refuses with a status that will not change (a proxy's 413, a 400) would
// block everything behind it for ever. Its refusals are counted across runs, and after a few it is
// set aside, whole, in a quarantine file beside the cache, so the rest can go:
//   cache.refused      the refused batch's checksum, its size, and how often it was refused
//   cache.quarantine   the batches set aside, as cache records (the same format as the cache)

namespace orin::helper {

inline constexpr int kTriesBeforeQuarantine = 3;

std::string QuarantinePath(const std::string& cachePath);

// Called for a batch refused for good: counts the refusal and, at the last try, appends the
// batch's events to the quarantine file and makes them durable. True when the batch is set aside
// (the caller then goes on as if it were delivered).
bool SetAsideWhenRefusedForGood(const std::string& cachePath, const std::string& body,
                                const PostOutcome& outcome, const Report& report);

// After a run that delivered everything: no refusal count outlives the batch it was for.
void ForgetRefusals(const std::string& cachePath);

// A -submit text that is not JSON after all: kept as one record of the quarantine file for
// support staff rather than dropped.
bool SetAsideText(const std::string& cachePath, const std::string& text);

}  // namespace orin::helper
