// orinhlp -submit_cache against the real collector: whole deliveries, refused batches, and what
// a second run does with what the first one left.
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
}

TEST_F(DeliveryTest, ARefusedThirdBatchLeavesTheRestInTheCacheByteForByteForTheNextRun) {
  constexpr int kEvents = 1000, kBatch = 100;
  struct Case {
    int status;
    bool fullDisk;  // POSIX: the helper may write no file past 16 KiB (ulimit -f, SIGXFSZ ignored)
  } cases[] = {{500, false}, {503, false}, {404, false}, {500, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE("collector answers " + std::to_string(c.status) + (c.fullDisk ? ", disk full" : ""));
    if (c.fullDisk && platform::kIsWindows) continue;
    Collector::Stage("{\"fail\":{\"3\":" + std::to_string(c.status) + "}}");
    Fill(cache_, kEvents);
    const std::string original = ReadBytes(cache_);

    if (c.fullDisk) {
      // The undelivered tail cannot be written: the claimed file stays whole, with its count.
      EXPECT_EQ(Finish(platform::StartProcess("/bin/sh -c \"ulimit -f 16; trap '' XFSZ; exec '" +
                                              helper() + "' -submit_cache --batch 100\"")),
                1);
      EXPECT_EQ(ReadBytes(claimed()), original);
      EXPECT_FALSE(Exists(cache_));
    } else {
      EXPECT_EQ(Run("-submit_cache --batch 100"), 1);
      EXPECT_EQ(ReadBytes(cache_), original.substr(OffsetOfRecord(original, 2 * kBatch)));
      EXPECT_FALSE(Exists(claimed()));
      EXPECT_FALSE(Exists(progress()));
    }
    EXPECT_EQ(Collector::Events().size(), 2u * kBatch);

    ASSERT_EQ(Run("-submit_cache --batch 100"), 0);
    const auto counts = CountByPoint(Collector::Events());
    ASSERT_EQ(counts.size(), static_cast<std::size_t>(kEvents));
    for (const auto& [point, times] : counts) EXPECT_EQ(times, 1) << point.second;
    EXPECT_FALSE(Exists(cache_));
    EXPECT_FALSE(Exists(claimed()));
  }
}

// The module appended while the refused upload ran: the live cache is no longer empty, so the
// undelivered records wait in the claimed file and the next run sends them first.
TEST_F(DeliveryTest, ARefusalAfterNewAppendsKeepsTheRestClaimedAndTheNextRunSendsItFirst) {
  Collector::Stage("{\"fail\":{\"2\":500},\"delay\":{\"2\":600000}}");
  Fill(cache_, 300);
  const std::string original = ReadBytes(cache_);
  platform::ProcessHandle helper = Start("-submit_cache --batch 100");
  ASSERT_TRUE(WaitUntil([] { return Collector::Requests().size() >= 2; }));
  Fill(cache_, 50, 7);
  const std::string appended = ReadBytes(cache_);
  Collector::Release();
  EXPECT_EQ(Finish(helper), 1);

  EXPECT_EQ(ReadBytes(claimed()), original.substr(OffsetOfRecord(original, 100)));
  EXPECT_EQ(ReadBytes(cache_), appended);

  Collector::Stage();
  ASSERT_EQ(Run("-submit_cache --batch 100"), 0);
  const Json::Value events = Collector::Events();
  ASSERT_EQ(events.size(), 250u);
  EXPECT_EQ(events[0], Event(1001, 100));
  EXPECT_EQ(events[199], Event(1001, 299));
  EXPECT_EQ(events[200], Event(7, 0));
  EXPECT_FALSE(Exists(claimed()));
  EXPECT_FALSE(Exists(cache_));
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
  const std::string zeros(8, '\0'), garbage = "\x7f\x01\x00\x00{garbage\n\x30\x00";
  const std::string torn = second.substr(0, 30);
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
  };
  ASSERT_TRUE(platform::WriteProfileString("User", "DevID", "dev_id_new", dir_.File("usercfg.ini").c_str()));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Collector::Stage();
    platform::RemoveFile((cache_ + ".damaged").c_str());
    WriteBytes(c.viaUpdate ? cache_ + "-bak" : cache_, c.bytes);
    if (c.viaUpdate) ASSERT_EQ(Run("-update_cache"), 0);

    ASSERT_EQ(Run("-submit_cache --batch 40"), 0);
    const auto counts = CountByPoint(Collector::Events());
    EXPECT_EQ(counts.size(), 200u - c.lost);
    for (int n = 0; n < 100; ++n) {
      EXPECT_EQ(counts.count({1001, n}), n == 2 && c.lost > 0 ? 0u : 1u) << n;
      EXPECT_EQ(counts.count({1002, n}), 1u) << n;
    }
    EXPECT_EQ(ReadBytes(cache_ + ".damaged"), c.damaged);
    EXPECT_FALSE(Exists(cache_));
    EXPECT_FALSE(Exists(claimed()));
  }
}

TEST_F(DeliveryTest, NothingToDeliverIsSuccessAndSendsNothing) {
  for (bool emptyFile : {false, true}) {
    SCOPED_TRACE(emptyFile ? "empty cache file" : "no cache file");
    if (emptyFile) WriteBytes(cache_, "");
    EXPECT_EQ(Run("-submit_cache"), 0);
    EXPECT_EQ(Collector::Requests().size(), 0u);
  }
}

}  // namespace
}  // namespace orin::testing
