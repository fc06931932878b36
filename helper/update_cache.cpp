// The module moves the cache aside (cache + "-bak") when the device id changes; here its events
// come back into the live cache under the new id. The re-stamped records are first gathered in a
// staging file and then appended in one write under the cache lock, with a marker around the
// append, so a helper killed at any step, or a backup that cannot be removed, neither loses the
// backup's events nor adds them twice.
#include <algorithm>
#include <string>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "common/fnv1a.h"
#include "helper/commands.h"
#include "helper/damage_aside.h"
#include "helper/helper_lock.h"
#include "helper/inflight.h"
#include "helper/restamp_marker.h"
#include "platform/files.h"

namespace orin::helper {

namespace {

// Stages the backup's events under `user`, then appends them to the live cache in one durable
// write, with the marker saying so around it. `settled` turns false when the append is done but
// the marker could not say so: it still says "appending", which the next run can only check
// against the live cache as it is now.
Result AppendRestamped(const Settings& settings, const std::string& backupBytes,
                       const std::string& user, std::int64_t& events, bool& settled) {
  const std::string backup = settings.cachePath + "-bak";
  const std::string staging = settings.cachePath + ".update";
  const std::string markerPath = settings.cachePath + ".updated";
  CAnalyticsFile file;
  if (!file.LoadFile(backup.c_str())) return Result::Fail(kLocalFiles, "cannot read " + backup);
  platform::RemoveFile(staging.c_str());
  for (;;) {
    Json::Value batch(Json::arrayValue);
    std::int32_t count = kDefaultBatch;
    if (!file.ReadNextBatchWithUser(batch, count, user.c_str())) break;
    for (const Json::Value& event : batch) {
      if (!file.AppendEvent(staging.c_str(), event)) {
        platform::RemoveFile(staging.c_str());
        return Result::Fail(kLocalFiles, "cannot write " + staging + "; backup kept");
      }
      ++events;
    }
  }
  // Every record of the backup must have been taken before it may go.
  if (!file.CommitConsumed(staging.c_str())) {
    platform::RemoveFile(staging.c_str());
    return Result::Fail(kLocalFiles, "cannot take every record of " + backup + "; backup kept");
  }
  if (events == 0) return Result::Ok();
  RestampMarker marker;
  marker.state = RestampMarker::kAppending;
  marker.size = backupBytes.size();
  marker.hash = Fnv1a64(backupBytes);
  marker.cacheBefore = std::max<std::int64_t>(FileSize(settings.cachePath), 0);
  std::string bytes;
  if (!ReadWholeFile(staging, bytes) || bytes.size() > 0x7FFFFFFFu ||
      !platform::SyncFile(staging.c_str()) || !WriteRestampMarker(markerPath, marker)) {
    platform::RemoveFile(staging.c_str());
    return Result::Fail(kLocalFiles, "cannot stage the events of " + backup + "; backup kept");
  }
  // The appended events reach stable storage before the marker says so and the backup goes.
  if (!file.AppendRecord(settings.cachePath.c_str(), bytes.data(), static_cast<std::int32_t>(bytes.size())) ||
      !platform::SyncFile(settings.cachePath.c_str())) {
    platform::RemoveFile(markerPath.c_str());
    platform::RemoveFile(staging.c_str());
    return Result::Fail(kLocalFiles, "cannot append to " + settings.cachePath + "; backup kept");
  }
  marker.state = RestampMarker::kAppended;
  settled = WriteRestampMarker(markerPath, marker);
  return Result::Ok();
}

}  // namespace

Result UpdateCache(const Settings& settings, const Report& report) {
  if (settings.cachePath.empty()) return Result::Fail(kBadUsage, "no cache path in OrAnacfg.ini");
  HelperLock lock;
  Result ended;
  if (!TakeHelperLock(lock, settings.lockWaitMs, report, ended)) return ended;
  bool mayClaim = true;
  return RestampBackup(settings, report, mayClaim);
}

Result RestampBackup(const Settings& settings, const Report& report, bool& mayClaim) {
  const std::string backup = settings.cachePath + "-bak";
  const std::string staging = settings.cachePath + ".update";
  const std::string markerPath = settings.cachePath + ".updated";
  if (!FileExists(backup)) {
    platform::RemoveFile(markerPath.c_str());
    platform::RemoveFile(staging.c_str());
    report.Note("no " + backup + ": nothing to update");
    return Result::Ok();
  }
  const std::string user = ReadDeviceId(settings.userConfigPath);
  if (user.empty()) {
    return Result::Fail(kBadUsage, "no device id in " + settings.userConfigPath + "; backup kept");
  }

  if (!SetDamageAside(backup, settings.cachePath + ".damaged", report)) {
    return Result::Fail(kLocalFiles, "cannot set the damaged bytes of " + backup + " aside; backup kept");
  }
  std::string backupBytes;
  if (!ReadWholeFile(backup, backupBytes)) return Result::Fail(kLocalFiles, "cannot read " + backup);
  RestampMarker marker = ReadRestampMarker(markerPath);
  if (!marker.Names(backupBytes)) marker = RestampMarker();
  if (marker.state == RestampMarker::kAppending) {
    // A run ended around its append: it happened if the staged records lie in the live cache
    // after where the cache ended then.
    std::string staged, cache;
    const bool appended = ReadWholeFile(staging, staged) && !staged.empty() &&
                          ReadWholeFile(settings.cachePath, cache) &&
                          cache.find(staged, static_cast<std::size_t>(marker.cacheBefore)) != std::string::npos;
    marker.state = appended ? RestampMarker::kAppended : RestampMarker::kNone;
    if (appended && !WriteRestampMarker(markerPath, marker)) {
      return Result::Fail(kLocalFiles, "cannot write " + markerPath + "; backup kept");
    }
  }

  std::int64_t events = 0;
  bool settled = true;
  if (marker.state == RestampMarker::kAppended) {
    report.Note("the events of " + backup + " are in the cache already");
  } else {
    const Result appended = AppendRestamped(settings, backupBytes, user, events, settled);
    if (appended.code != 0) return appended;
  }
  if (!platform::RemoveFile(backup.c_str())) {
    if (!settled) {
      // Claimed now, the live cache would no longer show the next run that the append happened.
      mayClaim = false;
      return Result::Fail(kLocalFiles, "cannot write " + markerPath + " nor remove " + backup +
                                           "; the cache is not delivered until a run settles it");
    }
    return Result::Fail(kLocalFiles, "cannot remove " + backup + "; its events are in the cache and will not be added again");
  }
  platform::SyncFolderOf(backup.c_str());
  platform::RemoveFile(markerPath.c_str());
  platform::RemoveFile(staging.c_str());
  report.Note(std::to_string(events) + " events moved from " + backup + " with u=" + user);
  return Result::Ok();
}

}  // namespace orin::helper
