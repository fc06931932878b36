// Delivery of the cache. The helper lock keeps helpers one at a time; the cache lock is held only
// for the rename that claims the live cache, never across a request. Progress is recorded after
// every delivered batch, so a helper killed at any moment resends at most the batch that was in
// flight, under the same key, and the collector stores it once.
#include <string>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "helper/batch_key.h"
#include "helper/collector_client.h"
#include "helper/commands.h"
#include "helper/damage_aside.h"
#include "helper/helper_lock.h"
#include "helper/inflight.h"
#include "helper/quarantine.h"
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

// One batch taken from the claimed file: the stored texts themselves, joined into the body.
struct Batch {
  std::int32_t count = 0;  // records taken, whether they parsed or not
  BatchText text;
  std::string key;
};

bool Take(CAnalyticsFile& file, const std::string& claim, std::int32_t size, Batch& out) {
  const std::int32_t first = file.readIndex();
  out.count = size;
  // Records that no longer parse count as taken and are dropped; nothing to post for them.
  if (!file.ReadNextBatchText(out.text, out.count)) return false;
  out.key = CachedBatchKey(claim, first, out.text.first);
  return true;
}

// Delivers the claimed file from its recorded progress on. On a refused batch the claimed file
// stays as it is, with its count: its records keep their places, and so their keys, for the next
// run (handing them back to the live cache would give a batch the collector may have stored a
// new key).
Result DeliverClaimed(const InflightFiles& files, const Endpoint& endpoint, std::int32_t batch,
                      std::uint32_t deadlineMs, const Report& report, Delivered& total) {
  if (!SetDamageAside(files.claimed, files.damaged, report)) {
    return Result::Fail(kLocalFiles, "cannot set the damaged bytes of " + files.claimed +
                                         " aside in " + files.damaged);
  }
  CAnalyticsFile file;
  const std::int64_t size = FileSize(files.claimed);
  if (size < 0 || !file.LoadFile(files.claimed.c_str())) {
    return Result::Fail(kLocalFiles, "cannot read " + files.claimed);
  }
  const std::string claim = CurrentClaimId(files);
  const std::int32_t done = ReadProgress(files, claim, size);
  if (done > 0) {
    report.Note("resuming a claimed cache: " + std::to_string(done) + " records already delivered");
    Json::Value skipped;
    std::int32_t count = done;
    file.ReadNextBatch(skipped, count);
  }
  // One batch at a time, posted on this thread: reading the stored texts costs little beside
  // posting them. Its buffers serve every batch in turn.
  Batch current;
  while (Take(file, claim, batch, current)) {
    PostOutcome outcome;
    outcome.delivered = true;
    if (current.text.events > 0) {
      outcome = PostBody(endpoint, current.text.body, current.key, deadlineMs);
    }
    const bool setAside =
        !outcome.delivered && SetAsideWhenRefusedForGood(files.cache, current.text.body, outcome, report);
    if (!outcome.delivered && !setAside) {
      file.PutBack(current.count);
      const std::string kept = std::to_string(file.recordCount() - file.readIndex());
      if (ReadProgress(files, claim, size) != file.readIndex() &&
          !WriteProgress(files, claim, file.readIndex(), size)) {
        return Result::Fail(kLocalFiles, outcome.reason + "; cannot record progress in " +
                                             files.progress +
                                             " (the delivered part will be sent again)");
      }
      report.Note(kept + " records kept in " + files.claimed);
      return Result::Fail(kNotDelivered, outcome.reason + " on batch " +
                                             std::to_string(total.batches + 1) + "; " + kept +
                                             " records kept for the next run");
    }
    if (current.text.events > 0 && !setAside) {
      ++total.batches;
      total.events += current.text.events;
      report.Note("batch " + std::to_string(total.batches) + ": " +
                  std::to_string(current.text.events) + " events delivered (status " +
                  std::to_string(outcome.status) + ")");
    }
    if (!WriteProgress(files, claim, file.readIndex(), size)) {
      report.Note("cannot record progress in " + files.progress);
    }
  }
  // Everything was taken, so nothing is written.
  if (file.CommitConsumed(files.claimedNext().c_str()) && !RemoveDeliveredClaim(files)) {
    return Result::Fail(kLocalFiles, "cannot remove " + files.claimed +
                                         "; all of it is delivered and it will not be sent again");
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
  Result ended;
  if (!TakeHelperLock(lock, settings.lockWaitMs, report, ended)) return ended;
  // A backup the module moved aside goes out in this run too, under the current device id.
  const Result restamped = RestampBackup(settings, report);
  if (restamped.code != 0) report.Note(restamped.reason);

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
    const Result result = DeliverClaimed(files, endpoint, batch, settings.requestDeadlineMs, report, total);
    if (result.code != 0) return result;
  }
  ForgetRefusals(settings.cachePath);
  report.Note(std::to_string(total.events) + " events delivered in " +
              std::to_string(total.batches) + " batches");
  return Result::Ok();
}

}  // namespace orin::helper
