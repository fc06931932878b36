// orinhlp's other commands and its refusals: -update_cache, -submit, the user-experience
// switch, and command lines or settings it cannot use.
#include <cstring>

#include "common/fnv1a.h"
#include "helper/restamp_marker.h"
#include "helper_fixture.h"
#include "pinned_file.h"

namespace orin::testing {
namespace {

using CommandsTest = HelperTest;

const char* const kNewId = "dev_id_3f2a6c1e-0b7d-4e59-9a81-2c4d6e8f0a1b";

Json::Value CacheEvents(const std::string& path) {
  Json::Value events;
  CAnalyticsFile().ReadAllEvents(path.c_str(), events);
  return events;
}

TEST_F(CommandsTest, UpdateCacheGivesTheBackupTheCurrentDeviceIdAndAppendsItToTheLiveCache) {
  const std::string backup = cache_ + "-bak", usercfg = dir_.File("usercfg.ini");
  Fill(backup, 500);
  Fill(cache_, 10, 7);  // the module went on caching after it moved the old cache aside
  // Without a device id to give it, the backup waits and the cache stays as it was.
  const std::string backupBytes = ReadBytes(backup), cacheBytes = ReadBytes(cache_);
  for (bool userFile : {false, true}) {
    SCOPED_TRACE(userFile ? "usercfg.ini without DevID" : "no usercfg.ini");
    if (userFile) platform::WriteProfileString("User", "Other", "x", usercfg.c_str());
    EXPECT_EQ(Run("-update_cache"), 2);
    EXPECT_EQ(ReadBytes(backup), backupBytes);
    EXPECT_EQ(ReadBytes(cache_), cacheBytes);
  }
  ASSERT_TRUE(platform::WriteProfileString("User", "DevID", kNewId, usercfg.c_str()));

  ASSERT_EQ(Run("-update_cache"), 0);
  EXPECT_FALSE(Exists(backup));
  const Json::Value events = CacheEvents(cache_);
  ASSERT_EQ(events.size(), 510u);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(events[i], Event(7, i));
  for (int i = 0; i < 500; ++i) ASSERT_EQ(events[10 + i], Event(1001, i, kNewId)) << i;
  EXPECT_EQ(Collector::Requests().size(), 0u);

  // Nothing left to update: a second run changes nothing.
  const std::string before = ReadBytes(cache_);
  EXPECT_EQ(Run("-update_cache"), 0);
  EXPECT_EQ(ReadBytes(cache_), before);

  // -submit_cache does the same with a backup that waits, and delivers it with the live cache.
  platform::RemoveFile(cache_.c_str());
  Fill(backup, 300);
  Fill(cache_, 10, 7);
  ASSERT_EQ(Run("-submit_cache"), 0);
  EXPECT_FALSE(Exists(backup));
  EXPECT_FALSE(Exists(cache_));
  const Json::Value delivered = Collector::Events();
  ASSERT_EQ(delivered.size(), 310u);
  for (int i = 0; i < 300; ++i) ASSERT_EQ(delivered[10 + i], Event(1001, i, kNewId)) << i;

  // A run that ended just before or just after its append leaves its marker, its staged records
  // and the cache without or with them; a backup a scanner holds cannot be removed. Either way
  // the backup's events reach the cache once.
  const std::string marker = cache_ + ".updated";
  for (bool appended : {false, true}) {
    SCOPED_TRACE(appended ? "ended after the append" : "ended before the append");
    Fill(backup, 40);
    Fill(cache_, 3, 7);
    CAnalyticsFile staging;
    for (int i = 0; i < 40; ++i) {
      ASSERT_TRUE(staging.AppendEvent((cache_ + ".update").c_str(), Event(1001, i, kNewId)));
    }
    const std::string backupBytes = ReadBytes(backup), live = ReadBytes(cache_);
    ASSERT_TRUE(helper::WriteRestampMarker(
        marker, {helper::RestampMarker::kAppending, backupBytes.size(),
                 Fnv1a64(backupBytes), static_cast<std::int64_t>(live.size())}));
    if (appended) WriteBytes(cache_, live + ReadBytes(cache_ + ".update"));
    ASSERT_EQ(Run("-update_cache"), 0);
    CountEachOnce(CacheEvents(cache_), 43);
    EXPECT_FALSE(Exists(backup) || Exists(marker));
    platform::RemoveFile(cache_.c_str());
  }
  Collector::Stage();
  Fill(backup, 40);
  Fill(cache_, 3, 7);
  {
    PinnedFile pinned(backup);
    if (!pinned.pinned()) GTEST_SKIP() << "this system cannot pin a file";
    EXPECT_EQ(Run("-update_cache"), 3);
    EXPECT_EQ(Run("-update_cache"), 3);
    EXPECT_EQ(Run("-submit_cache"), 0);
  }
  EXPECT_EQ(Run("-update_cache"), 0);
  EXPECT_FALSE(Exists(backup) || Exists(marker) || Exists(cache_));
  CountEachOnce(Collector::Events(), 43);
}

// The JSON text as the module passes it: every double quote escaped with a backslash.
std::string SubmitArgs(const Json::Value& events) {
  std::string text = ToFastText(events), escaped;
  for (char c : text) {
    if (c == '\n') break;
    if (c == '"') escaped += '\\';
    escaped += c;
  }
  return "-submit \"" + escaped + "\"";
}

// Values the module's escaping and the C runtime's argument rules cannot carry through argv.
TEST_F(CommandsTest, SubmitPostsTheArrayAndCachesItWhenTheCollectorRefuses) {
  struct Case {
    const char* name;
    const char* stage;
    int exitCode;
    bool cached;
    const char* value;
    const char* address = kCollectUrl;
  } cases[] = {
      {"delivered", "{}", 0, false, "plain"},
      {"delivered, a path ending in a backslash", "{}", 0, false, "D:\\Backups\\"},
      {"delivered, a quoted word", "{}", 0, false, "say \"hi\""},
      {"delivered, an option in quotes", "{}", 0, false, "\" --batch 5 \""},
      {"refused", "{\"fail\":{\"1\":500}}", 1, true, "D:\\Backups\\"},
      {"nobody listening", "{}", 1, true, "plain", "https://127.0.0.3/api/v2/soft/collect"},
      {"unusable address", "{}", 1, true, "say \"hi\"", "collect.example"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Json::Value events(Json::arrayValue);
    events.append(Event(1001, 1));
    events.append(Event(1001, 2));
    events[1]["p"]["path"] = c.value;
    Collector::Stage(c.stage);
    platform::RemoveFile(cache_.c_str());
    WriteIni("Analyze", "Address", c.address);
    EXPECT_EQ(Run(SubmitArgs(events)), c.exitCode);
    EXPECT_EQ(CacheEvents(cache_), c.cached ? events : Json::Value());
    EXPECT_EQ(Collector::Events(), c.cached ? Json::Value(Json::arrayValue) : events);
  }
  // The same events submitted twice are two batches to the collector, not one sent again.
  Collector::Stage();
  platform::RemoveFile(cache_.c_str());
  WriteIni("Analyze", "Address", kCollectUrl);
  Json::Value once(Json::arrayValue);
  once.append(Event(1001, 3));
  EXPECT_EQ(Run(SubmitArgs(once)), 0);
  EXPECT_EQ(Run(SubmitArgs(once)), 0);
  EXPECT_EQ(Collector::Events().size(), 2u);
}

// Nothing to send, or the user experience switched off: success, and nothing sent or changed.
TEST_F(CommandsTest, NothingToSendOrTheUserExperienceSwitchedOffSendsAndChangesNothing) {
  const Json::Value none(Json::arrayValue);
  Json::Value one(Json::arrayValue);
  one.append(Event(1001, 1));
  const struct {
    const char* experience;
    int cached;  // events in the cache; -1: no cache file
    const Json::Value& submitted;
  } cases[] = {{"1", -1, none}, {"1", 0, none}, {"0", 100, one}, {"2", 100, one}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("ExperienceValue=") + c.experience + ", " +
                 std::to_string(c.cached) + " cached");
    WriteIni("UserExperience", "ExperienceValue", c.experience, "other.ini");
    platform::RemoveFile(cache_.c_str());
    if (c.cached >= 0) WriteBytes(cache_, "");
    Fill(cache_, c.cached);
    const std::string before = ReadBytes(cache_);
    for (const std::string& args : {std::string("-submit_cache"), SubmitArgs(c.submitted)}) {
      SCOPED_TRACE(args);
      EXPECT_EQ(Run(args), 0);
      EXPECT_EQ(Collector::Requests().size(), 0u);
      EXPECT_EQ(ReadBytes(cache_), before);
      EXPECT_TRUE(c.cached >= 0 || !Exists(cache_));
    }
  }
  // Switched back on, the same cache goes out.
  WriteIni("UserExperience", "ExperienceValue", "1", "other.ini");
  EXPECT_EQ(Run("-submit_cache"), 0);
  EXPECT_EQ(Collector::Events().size(), 100u);
}

// A -submit text that is no JSON array is not lost either: it waits in the quarantine file, as
// one record holding the text, for support staff.
TEST_F(CommandsTest, UnusableCommandLinesAndSettingsAreRefusedWithoutTouchingTheCache) {
  Fill(cache_, 5);
  const std::string before = ReadBytes(cache_);
  const std::string quarantine = cache_ + ".quarantine";
  struct Case {
    const char* name;
    std::string args;
    const char* keptText;  // set aside instead of refused
    const char* address = kCollectUrl;
  } cases[] = {
      {"no command", "", nullptr},
      {"unknown switch", "-upload", nullptr},
      {"two commands", "-submit_cache -update_cache", nullptr},
      {"batch of zero", "-submit_cache --batch 0", nullptr},
      {"batch not a number", "-submit_cache --batch ten", nullptr},
      {"submit without JSON", "-submit", nullptr},
      {"submit of a non-array", "-submit \"42\"", "42"},
      {"submit of broken JSON", "-submit \"[{\\\"l\\\":\"", "[{\"l\":"},
      {"address without scheme", "-submit_cache", nullptr, "127.0.0.1/api/v2/soft/collect"},
      {"address without path", "-submit_cache", nullptr, "https://127.0.0.1"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    platform::RemoveFile(quarantine.c_str());
    WriteIni("Analyze", "Address", c.address);
    EXPECT_EQ(Run(c.args), c.keptText != nullptr ? 1 : 2);
    EXPECT_EQ(ReadBytes(cache_), before);
    EXPECT_EQ(Collector::Requests().size(), 0u);
    const std::string aside = ReadBytes(quarantine);
    if (c.keptText == nullptr) {
      EXPECT_TRUE(aside.empty());
    } else {
      const std::size_t record = record::kHeaderSize + std::strlen(c.keptText);
      ASSERT_EQ(aside.size(), record);
      EXPECT_EQ(static_cast<std::size_t>(record::ReadLength(aside.data())), record);
    }
  }
  // POSIX: no file may grow (a full disk), so the claim cannot be written: said, not taken for
  // nothing to send.
  if (!platform::kIsWindows) {
    WriteIni("Analyze", "Address", kCollectUrl);
    EXPECT_EQ(ExitCodeOf(platform::StartProcess("/bin/sh -c \"trap '' XFSZ; ulimit -f 0; exec '" +
                                                 helper() + "' -submit_cache\"")),
              3);
    EXPECT_EQ(ReadBytes(cache_), before);
    EXPECT_EQ(Collector::Requests().size(), 0u);
  }
}

}  // namespace
}  // namespace orin::testing
