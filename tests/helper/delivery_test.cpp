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

// Only the collector's own acknowledgement counts: anything else on the third batch keeps it and
// everything after it, in order, for the next run. A status that will never change is tried
// again on the next runs and then set aside in the quarantine file, so the rest can go.
TEST_F(DeliveryTest, AnUnacknowledgedThirdBatchLeavesTheRestInTheCacheByteForByteForTheNextRun) {
  constexpr int kEvents = 1000, kBatch = 100;
  struct Case {
    const char* name;
    const char* stage;  // for the third request of the first run
    const char* args;
    int refusedEveryTime;  // 0: staged once; else the status every later run gets too
  } cases[] = {
      {"500", "{\"fail\":{\"3\":500}}", "", 0},
      {"503", "{\"fail\":{\"3\":503}}", "", 0},
      {"404 once", "{\"fail\":{\"3\":404}}", "", 0},
      {"302 to a page that acknowledges anything", "{\"fail\":{\"3\":302}}", "", 0},
      {"200 without the acknowledgement", "{\"fail\":{\"3\":200}}", "", 0},
      {"a reply trickled past the deadline", "{\"trickle\":{\"3\":120000}}", " --deadline 2", 0},
      {"413 every time", "{\"fail\":{\"3\":413}}", "", 413},
      {"400 every time", "{\"fail\":{\"3\":400}}", "", 400},
  };
  const std::string quarantine = cache_ + ".quarantine";
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Collector::Stage(c.stage);
    platform::RemoveFile(quarantine.c_str());
    Fill(cache_, kEvents);
    const std::string original = ReadBytes(cache_);
    const std::string args = std::string("-submit_cache --batch 100") + c.args;

    EXPECT_EQ(Run(args), 1);
    EXPECT_EQ(Collector::Events().size(), 2u * kBatch);
    EXPECT_EQ(ReadBytes(cache_), original.substr(OffsetOfRecord(original, 2 * kBatch)));
    EXPECT_FALSE(Exists(claimed()));
    EXPECT_FALSE(Exists(progress()));
    if (std::string(c.stage).find("trickle") != std::string::npos) {
      // The helper hung up while the collector was still trickling.
      ASSERT_TRUE(WaitUntil([] { return Collector::Requests()[2]["status"].asInt() != 0; }));
      EXPECT_EQ(Collector::Requests()[2]["status"].asInt(), 499);
    }

    if (c.refusedEveryTime != 0) {
      const std::string again = "{\"fail\":{\"1\":" + std::to_string(c.refusedEveryTime) + "}}";
      Collector::Stage(again);
      EXPECT_EQ(Run(args), 1);
      EXPECT_EQ(ReadBytes(cache_), original.substr(OffsetOfRecord(original, 2 * kBatch)));
      EXPECT_FALSE(Exists(quarantine));
      Collector::Stage(again);
      ASSERT_EQ(Run(args), 0);
      const auto counts = CountByPoint(Collector::Events());
      EXPECT_EQ(counts.size(), static_cast<std::size_t>(kEvents - 3 * kBatch));
      Json::Value aside;
      CAnalyticsFile().ReadAllEvents(quarantine.c_str(), aside);
      ASSERT_EQ(aside.size(), static_cast<Json::ArrayIndex>(kBatch));
      for (int i = 0; i < kBatch; ++i) EXPECT_EQ(aside[i], Event(1001, 2 * kBatch + i));
      EXPECT_FALSE(Exists(cache_));
      continue;
    }
    Collector::Stage();
    ASSERT_EQ(Run(args), 0);
    const auto counts = CountByPoint(Collector::Events());
    ASSERT_EQ(counts.size(), static_cast<std::size_t>(kEvents - 2 * kBatch));
    for (const auto& [point, times] : counts) EXPECT_EQ(times, 1) << point.second;
    EXPECT_EQ(counts.begin()->first.second, 2 * kBatch);
    EXPECT_FALSE(Exists(cache_));
    EXPECT_FALSE(Exists(quarantine));
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

TEST_F(DeliveryTest, DamagedRecordsAreDroppedAndEverythingWholeIsDelivered) {
  Fill(cache_, 10);
  std::string bytes = ReadBytes(cache_);
  const std::size_t third = OffsetOfRecord(bytes, 2), fourth = OffsetOfRecord(bytes, 3);
  for (std::size_t i = third + 4; i < fourth; ++i) bytes[i] = static_cast<char>(bytes[i] ^ 0x5A);
  WriteBytes(cache_, bytes + std::string("\x30\x00\x00\x00" "tail", 8));

  ASSERT_EQ(Run("-submit_cache --batch 4"), 0);
  const auto counts = CountByPoint(Collector::Events());
  EXPECT_EQ(counts.size(), 9u);
  EXPECT_EQ(counts.count({1001, 2}), 0u);
  EXPECT_FALSE(Exists(cache_));
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
