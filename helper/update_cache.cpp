// The module moves the cache aside (cache + "-bak") when the device id changes; here its events
// come back into the live cache under the new id. The re-stamped records are first gathered in a
// staging file and then appended in one write under the cache lock, so a helper killed before
// that write leaves the backup whole for the next run.
#include <string>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "helper/commands.h"
#include "helper/damage_aside.h"
#include "helper/helper_lock.h"
#include "helper/inflight.h"
#include "platform/files.h"

namespace orin::helper {

Result UpdateCache(const Settings& settings, const Report& report) {
  if (settings.cachePath.empty()) return Result::Fail(kBadUsage, "no cache path in OrAnacfg.ini");
  HelperLock lock;
  Result ended;
  if (!TakeHelperLock(lock, settings.lockWaitMs, report, ended)) return ended;
  return RestampBackup(settings, report);
}

Result RestampBackup(const Settings& settings, const Report& report) {
  const std::string backup = settings.cachePath + "-bak";
  const std::string staging = settings.cachePath + ".update";
  if (!FileExists(backup)) {
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
  CAnalyticsFile file;
  if (!file.LoadFile(backup.c_str())) return Result::Fail(kLocalFiles, "cannot read " + backup);
  platform::RemoveFile(staging.c_str());
  std::int64_t events = 0;
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
  if (events > 0) {
    std::string bytes;
    // The appended events reach stable storage before the backup is removed.
    if (!ReadWholeFile(staging, bytes) || bytes.size() > 0x7FFFFFFFu ||
        !file.AppendRecord(settings.cachePath.c_str(), bytes.data(),
                           static_cast<std::int32_t>(bytes.size())) ||
        !platform::SyncFile(settings.cachePath.c_str())) {
      platform::RemoveFile(staging.c_str());
      return Result::Fail(kLocalFiles, "cannot append to " + settings.cachePath + "; backup kept");
    }
  }
  platform::RemoveFile(backup.c_str());
  platform::SyncFolderOf(backup.c_str());
  platform::RemoveFile(staging.c_str());
  report.Note(std::to_string(events) + " events moved from " + backup + " with u=" + user);
  return Result::Ok();
}

}  // namespace orin::helper
