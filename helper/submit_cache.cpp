// Delivery of the cache. The helper lock keeps helpers one at a time; the cache lock is held only
// for the rename that claims the live cache, never across a request. Progress is recorded after
// every delivered batch, so a helper killed at any moment resends at most the batch that was in
// flight (a power cut, the batches since the count's last flush: helper/inflight.h), under the
// same keys, and the collector stores them once.
#include <string>
#include <utility>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "helper/batch_key.h"
#include "helper/collector_client.h"
#include "helper/commands.h"
#include "helper/damage_aside.h"
#include "helper/helper_lock.h"
#include "helper/inflight.h"
#include "helper/quarantine.h"
#include "helper/side_job.h"
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
  out.key = CachedBatchKey(claim, first, out.text.body);
  return true;
}

// What one delivery of the claimed file works with.
struct Run {
  const InflightFiles& files;
  const Endpoint& endpoint;
  std::int32_t batch;
  std::uint32_t deadlineMs;
  const Report& report;
  Delivered& total;
};

// Delivers the loaded claimed file from its recorded count on. With `damaged`, a batch holding a
// text that does not parse is not posted: the count stays before it, flushed, and *damaged is set.
Result DeliverLoaded(const Run& run, CAnalyticsFile& file, ClaimProgress& progress,
                     const std::string& claim, bool* damaged) {
  const InflightFiles& files = run.files;
  const std::int32_t done = progress.Read();
  if (done > 0) {
    run.report.Note("resuming a claimed cache: " + std::to_string(done) + " records already delivered");
    Json::Value skipped;
    std::int32_t count = done;
    file.ReadNextBatch(skipped, count);
  }
  // While this thread posts a batch, a side thread reads the next one and flushes the counts when
  // due. A count is written before the next batch goes out, so a kill resends at most the batch in
  // flight.
  SideJob side;
  Batch current, next;
  bool more = Take(file, claim, run.batch, current);
  bool flushed = true;
  while (more) {
    if (damaged != nullptr && current.text.unparsed > 0) {
      *damaged = true;
      return progress.Settle() ? Result::Ok()
                               : Result::Fail(kLocalFiles, "cannot record progress in " + files.progress);
    }
    side.Start([&] {
      flushed = progress.FlushIfDue();
      more = Take(file, claim, run.batch, next);
    });
    PostOutcome outcome;
    outcome.delivered = true;
    if (current.text.events > 0) {
      outcome = PostBody(run.endpoint, current.text.body, current.key, run.deadlineMs);
    }
    side.Wait();
    if (!flushed) run.report.Note("cannot record progress in " + files.progress);
    const bool setAside = !outcome.delivered &&
                          SetAsideWhenRefusedForGood(files.cache, current.text.body, outcome, run.report);
    if (!outcome.delivered && !setAside) {
      file.PutBack(current.count + (more ? next.count : 0));
      const std::string kept = std::to_string(file.recordCount() - file.readIndex());
      if ((progress.recorded() != file.readIndex() &&
           !progress.Record(file.readIndex(), file.RecordOffset(file.readIndex()))) ||
          !progress.Settle()) {
        return Result::Fail(kLocalFiles, outcome.reason + "; cannot record progress in " +
                                             files.progress +
                                             " (the delivered part will be sent again)");
      }
      run.report.Note(kept + " records kept in " + files.claimed);
      return Result::Fail(kNotDelivered, outcome.reason + " on batch " +
                                             std::to_string(run.total.batches + 1) + "; " + kept +
                                             " records kept for the next run");
    }
    if (current.text.events > 0 && !setAside) {
      ++run.total.batches;
      run.total.events += current.text.events;
      run.report.Note("batch " + std::to_string(run.total.batches) + ": " +
                      std::to_string(current.text.events) + " events delivered (status " +
                      std::to_string(outcome.status) + ")");
    }
    // The batch read ahead is not delivered yet.
    const std::int32_t delivered = file.readIndex() - (more ? next.count : 0);
    if (!progress.Record(delivered, file.RecordOffset(delivered))) {
      run.report.Note("cannot record progress in " + files.progress);
    }
    std::swap(current, next);
  }
  // Everything was taken, so nothing is written.
  if (file.CommitConsumed(files.claimedNext().c_str()) && !RemoveDeliveredClaim(files)) {
    progress.Settle();
    return Result::Fail(kLocalFiles, "cannot remove " + files.claimed +
                                         "; all of it is delivered and it will not be sent again");
  }
  return Result::Ok();
}

// Delivers the claimed file. On a refused batch the claimed file stays as it is, with its count:
// its records keep their places, and so their keys, for the next run (handing them back to the
// live cache would give a batch the collector may have stored a new key).
//
// Damage is set aside before anything is posted from beyond it. Loading checks every length;
// whether each text parses shows as its batch is read, so the file is read and scanned once. When
// one does not, the whole walk runs and delivery goes on after the same records: the count is
// carried into the rewritten file by where it ended, since damage before it moves them.
Result DeliverClaimed(const Run& run) {
  const InflightFiles& files = run.files;
  bool walked = false;
  for (;;) {
    CAnalyticsFile file;
    const std::int64_t size = FileSize(files.claimed);
    if (size < 0 || !file.LoadFile(files.claimed.c_str())) {
      return Result::Fail(kLocalFiles, "cannot read " + files.claimed);
    }
    const std::string claim = CurrentClaimId(files);
    ClaimProgress progress(files, claim, size);
    bool damaged = !walked && !file.LoadedOnlyRecords();
    if (!damaged) {
      const Result result = DeliverLoaded(run, file, progress, claim, walked ? nullptr : &damaged);
      if (!damaged || result.code != 0) return result;
    }
    progress.Read();
    DeliveredPart delivered{progress.recorded(), progress.recordedBytes()};
    if (!SetDamageAside(files.claimed, files.damaged, run.report, &delivered)) {
      return Result::Fail(kLocalFiles, "cannot set the damaged bytes of " + files.claimed +
                                           " aside in " + files.damaged);
    }
    walked = true;
    // A kill before this count is written leaves one for the old size: the next run sends the
    // file from its start, batches from the damage on under new keys.
    ClaimProgress moved(files, claim, FileSize(files.claimed));
    moved.Read();
    if (delivered.records > 0 && !moved.Record(delivered.records, delivered.bytes)) {
      run.report.Note("cannot record progress in " + files.progress +
                      " (the delivered part will be sent again, under the same keys)");
    }
  }
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
  bool mayClaim = true;
  const Result restamped = RestampBackup(settings, report, mayClaim);
  if (restamped.code != 0) {
    if (!mayClaim) return restamped;
    report.Note(restamped.reason);
  }

  const InflightFiles files(settings.cachePath);
  Delivered total;
  for (int round = 0; round < kMaxRounds; ++round) {
    if (FileExists(files.claimed)) {
      report.Note("delivering " + files.claimed);
    } else {
      const Claim claim = ClaimCache(files);
      if (claim == Claim::kNothing) break;
      if (claim == Claim::kFailed) {
        return Result::Fail(kLocalFiles, "cannot claim " + files.cache + " (kept as it is)");
      }
      report.Note("claimed " + files.cache);
    }
    const Result result =
        DeliverClaimed(Run{files, endpoint, batch, settings.requestDeadlineMs, report, total});
    if (result.code != 0) return result;
  }
  ForgetRefusals(settings.cachePath);
  report.Note(std::to_string(total.events) + " events delivered in " +
              std::to_string(total.batches) + " batches");
  return Result::Ok();
}

}  // namespace orin::helper
