// orinhlp -submit_cache against the real collector: whole deliveries, refused batches, and what
// a second run does with what the first one left.
#include <sys/stat.h>

#include <cstdlib>

#include "helper_fixture.h"

namespace orin::testing {
namespace {

using DeliveryTest = HelperTest;

TEST_F(DeliveryTest, DeliversTenThousandEventsInBatchesInCacheOrder) {
  struct Case {
    const char* name;
    const char* address;
    int batch;
  } cases[] = {
      {"https, 200 a batch", "https://127.0.0.1/api/v2/soft/collect", 200},
      {"http, 1000 a batch", "http://127.0.0.1/api/v2/soft/collect", 1000},
  };
  constexpr int kEvents = 10000;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Collector::Stage();
    WriteIni("Analyze", "Address", c.address);
    Fill(cache_, kEvents);
    ASSERT_EQ(Run("-submit_cache --batch " + std::to_string(c.batch)), 0);

    const Json::Value events = Collector::Events();
    ASSERT_EQ(events.size(), static_cast<Json::ArrayIndex>(kEvents));
    for (int i = 0; i < kEvents; ++i) {
      ASSERT_EQ(events[i], Event(1001, i)) << "event " << i;
    }
    const Json::Value requests = Collector::Requests();
    ASSERT_EQ(requests.size(), static_cast<Json::ArrayIndex>(kEvents / c.batch));
    for (const Json::Value& r : requests) EXPECT_EQ(r["events"].asInt(), c.batch);
    EXPECT_FALSE(Exists(cache_));
    EXPECT_FALSE(Exists(claimed()));
    EXPECT_FALSE(Exists(progress()));
  }
  // POSIX: the cache's lock lives in the shared data folder, open to its owner and group only.
  const char* appData = std::getenv("ORIN_COMMON_APPDATA");
  if (!platform::kIsWindows && appData != nullptr && std::getenv("ORIN_LOCK_DIR") == nullptr) {
    const std::string lock = std::string(appData) +
                             "/QuillBR/orinpoint-GLOBAL_2f_{C5FD4B75-0292-4B34-9408-0B6CFB5FAE48}.lock";
    struct stat st {};
    ASSERT_EQ(stat(lock.c_str(), &st), 0) << lock;
    EXPECT_EQ(st.st_mode & 0777, 0660u);
  }
}

// Only the collector's own acknowledgement counts: anything else on the third batch keeps it and
// everything after it claimed, in order and under their keys, for the next run, which sends them
// before what the module appended meanwhile. A status that will never change is tried again on
// the next runs and then set aside in the quarantine file, so the rest can go.
TEST_F(DeliveryTest, AnUnacknowledgedThirdBatchKeepsItAndTheRestClaimedByteForByteForTheNextRun) {
  constexpr int kEvents = 1000, kBatch = 100;
  struct Case {
    const char* name;
    const char* stage;  // for the third request of the first run
    const char* args;
    int refusedEveryTime;  // 0: staged once; else the status every later run gets too
    bool forGood = true;   // such a status sets the batch aside at the third run
    bool appendMeanwhile = false;  // while the collector holds the third batch
    bool zeroedBeforeCount = false;  // then records 50 to 59 lost to a power cut
  } cases[] = {
      {"500", "{\"fail\":{\"3\":500}}", "", 0},
      {"503", "{\"fail\":{\"3\":503}}", "", 0},
      {"500 after new appends", "{\"fail\":{\"3\":500},\"delay\":{\"3\":600000}}", "", 0, true, true},
      {"500, then zeros before the count", "{\"fail\":{\"3\":500}}", "", 0, true, false, true},
      {"404 once", "{\"fail\":{\"3\":404}}", "", 0},
      {"302 to a page that acknowledges anything", "{\"fail\":{\"3\":302}}", "", 0},
      {"200 without the acknowledgement", "{\"fail\":{\"3\":200}}", "", 0},
      {"a reply trickled past the deadline", "{\"trickle\":{\"3\":120000}}", " --deadline 2", 0},
      {"413 every time", "{\"fail\":{\"3\":413}}", "", 413},
      {"400 every time", "{\"fail\":{\"3\":400}}", "", 400},
      {"429 every time: never set aside", "{\"fail\":{\"3\":429}}", "", 429, false},
  };
  const std::string quarantine = cache_ + ".quarantine";
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Collector::Stage(c.stage);
    platform::RemoveFile(quarantine.c_str());
    Fill(cache_, kEvents);
    const std::string original = ReadBytes(cache_);
    const std::string args = std::string("-submit_cache --batch 100") + c.args;

    std::string appended;
    if (c.appendMeanwhile) {
      platform::ProcessHandle helper = Start(args);
      ASSERT_TRUE(WaitUntil([] { return Collector::Requests().size() >= 3; }));
      Fill(cache_, 50, 7);
      appended = ReadBytes(cache_);
      Collector::Release();
      EXPECT_EQ(ExitCodeOf(helper), 1);
    } else {
      EXPECT_EQ(Run(args), 1);
    }
    EXPECT_EQ(ReadBytes(claimed()), original);
    EXPECT_EQ(ReadBytes(progress()).substr(0, 4), "200 ");
    EXPECT_EQ(Exists(cache_), c.appendMeanwhile);
    EXPECT_EQ(ReadBytes(cache_), appended);
    EXPECT_EQ(Collector::Events().size(), 2u * kBatch);
    if (std::string(c.stage).find("trickle") != std::string::npos) {
      // The helper hung up while the collector was still trickling.
      ASSERT_TRUE(WaitUntil([] { return Collector::Requests()[2]["status"].asInt() != 0; }));
      EXPECT_EQ(Collector::Requests()[2]["status"].asInt(), 499);
    }

    if (c.refusedEveryTime != 0) {
      const std::string again = "{\"fail\":{\"1\":" + std::to_string(c.refusedEveryTime) + "}}";
      Collector::Stage(again);
      EXPECT_EQ(Run(args), 1);
      EXPECT_EQ(ReadBytes(claimed()), original);
      EXPECT_FALSE(Exists(quarantine));
      Collector::Stage(again);
      ASSERT_EQ(Run(args), c.forGood ? 0 : 1);
      if (!c.forGood) {
        EXPECT_EQ(ReadBytes(claimed()), original);
        EXPECT_FALSE(Exists(quarantine));
        platform::RemoveFile(claimed().c_str());
        continue;
      }
      CountEachOnce(Collector::Events(), kEvents - 3 * kBatch);
      Json::Value aside;
      CAnalyticsFile().ReadAllEvents(quarantine.c_str(), aside);
      ASSERT_EQ(aside.size(), static_cast<Json::ArrayIndex>(kBatch));
      for (int i = 0; i < kBatch; ++i) EXPECT_EQ(aside[i], Event(1001, 2 * kBatch + i));
      EXPECT_FALSE(Exists(cache_));
      continue;
    }
    if (c.zeroedBeforeCount) {
      std::string bytes = ReadBytes(claimed());
      const std::size_t from = OffsetOfRecord(bytes, 50), to = OffsetOfRecord(bytes, 60);
      bytes.replace(from, to - from, to - from, '\0');
      WriteBytes(claimed(), bytes);
    }
    Collector::Stage();
    ASSERT_EQ(Run(args), 0);
    // Only what was not delivered goes: the count is carried past the damage before it.
    const Json::Value events = Collector::Events();
    const int kept = kEvents - 2 * kBatch, sent = kept + (c.appendMeanwhile ? 50 : 0);
    ASSERT_EQ(events.size(), static_cast<Json::ArrayIndex>(sent));
    for (int i = 0; i < sent; ++i) {
      ASSERT_EQ(events[i], i < kept ? Event(1001, 2 * kBatch + i) : Event(7, i - kept)) << i;
    }
    EXPECT_FALSE(Exists(cache_));
    EXPECT_FALSE(Exists(quarantine));
    EXPECT_FALSE(Exists(claimed()));
    EXPECT_EQ(Exists(cache_ + ".damaged"), c.zeroedBeforeCount);
    platform::RemoveFile((cache_ + ".damaged").c_str());
  }
}

// A damaged record loses only itself: every whole record after it is delivered, by -submit_cache
// and by -update_cache, and the bytes that are no record are kept in the side file.
TEST_F(DeliveryTest, DamageLosesOnlyItselfAndItsBytesAreKeptBesideTheCache) {
  Fill(cache_, 100);
  const std::string first = ReadBytes(cache_);
  WriteBytes(cache_, "");
  Fill(cache_, 100, 1002);
  const std::string second = ReadBytes(cache_);
  const std::size_t third = OffsetOfRecord(first, 2), fourth = OffsetOfRecord(first, 3);
  std::string scrambled = first;
  for (std::size_t i = third + 4; i < fourth; ++i) scrambled[i] = static_cast<char>(scrambled[i] ^ 0x5A);
  // Record 2's length grown to the end of the file: every length still fits, and its text parses,
  // with the other records' bytes after it.
  std::string grown = first;
  record::WriteLength(grown.data() + third, static_cast<std::int32_t>(first.size() + second.size() - third));
  const std::string zeros(8, '\0'), garbage = "\x7f\x01\x00\x00{garbage\n\x30\x00";
  const std::string torn = second.substr(0, 30);
  const std::string noJsonFile = dir_.File("no-json.dat");
  ASSERT_TRUE(CAnalyticsFile().AppendText(noJsonFile.c_str(), "{\"l\":1001,\"n\":\n"));
  const std::string noJson = ReadBytes(noJsonFile);
  struct Case {
    const char* name;
    std::string bytes, damaged;
    int lost;  // the scrambled record
    bool viaUpdate = false;
  } cases[] = {
      {"8 zero bytes between whole records", first + zeros + second, zeros, 0},
      {"a torn record at the end", first + second + torn, torn, 0},
      {"a scrambled record, garbage in the middle", scrambled + garbage + second,
       scrambled.substr(third, fourth - third) + garbage, 1},
      {"8 zero bytes in the backup, -update_cache", first + zeros + second, zeros, 0, true},
      {"a whole record whose text is no JSON", first + noJson + second, noJson, 0},
      {"a length grown over the next records", grown + second, grown.substr(third, fourth - third), 1},
  };
  ASSERT_TRUE(platform::WriteProfileString("User", "DevID", "dev_id_new", dir_.File("usercfg.ini").c_str()));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Collector::Stage();
    platform::RemoveFile((cache_ + ".damaged").c_str());
    WriteBytes(c.viaUpdate ? cache_ + "-bak" : cache_, c.bytes);
    if (c.viaUpdate) {
      ASSERT_EQ(Run("-update_cache"), 0);
    }

    ASSERT_EQ(Run("-submit_cache --batch 40"), 0);
    // Damage found part-way sends nothing twice: delivery goes on from the same count.
    EXPECT_EQ(Collector::Requests().size(), 5u);
    const auto counts = CountEachOnce(Collector::Events(), 200u - c.lost);
    for (int n = 0; n < 100; ++n) {
      EXPECT_EQ(counts.count({1001, n}), n == 2 && c.lost > 0 ? 0u : 1u) << n;
      EXPECT_EQ(counts.count({1002, n}), 1u) << n;
    }
    EXPECT_EQ(ReadBytes(cache_ + ".damaged"), c.damaged);
    EXPECT_FALSE(Exists(cache_));
    EXPECT_FALSE(Exists(claimed()));
  }
}

}  // namespace
}  // namespace orin::testing
