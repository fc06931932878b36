// Delivery of the cache. The helper lock keeps helpers one at a time; the cache lock is held only
// for the two renames that move records between the live cache and the claimed file, never
// across a request. Progress is recorded after every delivered batch, so a helper killed at any
// moment resends at most the batch that was in flight.
#include <string>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "helper/collector_client.h"
#include "helper/commands.h"
#include "helper/helper_lock.h"
#include "helper/inflight.h"
#include "platform/files.h"

namespace orin::helper {
namespace {

// Appends made while a round delivers are claimed by the next round; a module that never stops
// appending must not keep one helper running for ever.
constexpr int kMaxRounds = 16;

struct Delivered {
  std::int64_t events = 0;
  std::int32_t batches = 0;
};

// Delivers the claimed file from its recorded progress on. On a refused batch the undelivered
// records are written back as the claimed file, byte for byte, and handed to the live cache
// when that is still empty.
Result DeliverClaimed(const InflightFiles& files, const Endpoint& endpoint, std::int32_t batch,
                      const Report& report, Delivered& total) {
  CAnalyticsFile file;
  const std::int64_t size = FileSize(files.claimed);
  if (size < 0 || !file.LoadFile(files.claimed.c_str())) {
    return Result::Fail(kLocalFiles, "cannot read " + files.claimed);
  }
  const std::int32_t done = ReadProgress(files, size);
  if (done > 0) {
    report.Note("resuming a claimed cache: " + std::to_string(done) + " records already delivered");
    Json::Value skipped;
    std::int32_t count = done;
    file.ReadNextBatch(skipped, count);
  }
  for (;;) {
    Json::Value events(Json::arrayValue);
    std::int32_t count = batch;
    if (!file.ReadNextBatch(events, count)) break;
    // Records that no longer parse count as taken and are dropped; nothing to post for them.
    if (!events.empty()) {
      const PostOutcome outcome = PostEvents(endpoint, events);
      if (!outcome.delivered) {
        file.PutBack(count);
        const std::string kept = std::to_string(file.recordCount() - file.readIndex());
        if (file.readIndex() > 0) {
          // Only the undelivered tail is kept; it replaces the claimed file in one rename. A
          // tail left by a helper killed here must not stand in for this one.
          platform::RemoveFile(files.claimedNext().c_str());
          if (file.CommitConsumed(files.claimedNext().c_str()) ||
              !platform::MoveFileReplacing(files.claimedNext().c_str(), files.claimed.c_str())) {
            return Result::Fail(kLocalFiles, outcome.reason + "; cannot rewrite " + files.claimed +
                                                 " (the delivered part may be sent again)");
          }
        }
        const bool returned = ReturnClaim(files);
        report.Note(kept + " records " +
                    (returned ? "back in the cache" : "kept in " + files.claimed));
        return Result::Fail(kNotDelivered, outcome.reason + " on batch " +
                                               std::to_string(total.batches + 1) + "; " + kept +
                                               " records kept for the next run");
      }
      ++total.batches;
      total.events += events.size();
      report.Note("batch " + std::to_string(total.batches) + ": " +
                  std::to_string(events.size()) + " events delivered (status " +
                  std::to_string(outcome.status) + ")");
    }
    if (!WriteProgress(files, file.readIndex(), size)) {
      report.Note("cannot record progress in " + files.progress);
    }
  }
  if (file.CommitConsumed(files.claimed.c_str())) {
    // The claimed file first: a count without its file is recognised as stale.
    platform::RemoveFile(files.claimed.c_str());
    platform::RemoveFile(files.progress.c_str());
  }
  return Result::Ok();
}

}  // namespace

Result SubmitCache(const Settings& settings, std::int32_t batch, const Report& report) {
  if (!settings.experienceOn) {
    report.Note("user experience is off: nothing sent");
    return Result::Ok();
  }
  if (settings.cachePath.empty()) return Result::Fail(kBadUsage, "no cache path in OrAnacfg.ini");
  Endpoint endpoint;
  if (!SplitAddress(settings.address, endpoint)) {
    return Result::Fail(kBadUsage, "unusable collect address '" + settings.address + "'");
  }
  HelperLock lock;
  if (!lock.Acquire()) return Result::Fail(kLocalFiles, "cannot take the helper lock");

  const InflightFiles files(settings.cachePath);
  Delivered total;
  for (int round = 0; round < kMaxRounds; ++round) {
    if (FileExists(files.claimed)) {
      report.Note("delivering " + files.claimed);
    } else if (ClaimCache(files)) {
      report.Note("claimed " + files.cache);
    } else {
      break;
    }
    const Result result = DeliverClaimed(files, endpoint, batch, report, total);
    if (result.code != 0) return result;
  }
  report.Note(std::to_string(total.events) + " events delivered in " +
              std::to_string(total.batches) + " batches");
  return Result::Ok();
}

}  // namespace orin::helper
