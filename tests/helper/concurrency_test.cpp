// orinhlp while other processes work on the same cache: the module appending, a second helper,
// and a helper killed part-way.
#include <cinttypes>
#include <cstdio>

#include "helper/progress_record.h"
#include "helper_fixture.h"
#include "pinned_file.h"

namespace orin::testing {
namespace {

using ConcurrencyTest = HelperTest;

std::string AppendWorker() {
  return ProgramFolder() + ".." + kSep + "cache" + kSep +
         (platform::kIsWindows ? "cache_append_worker.exe" : "cache_append_worker");
}

Json::Value RequestNumber(int n) { return Collector::Requests()[n - 1]; }

// A second helper waits for the first; one that cannot have the helper lock in its time leaves
// the work to the running one and ends, so helpers never pile up behind a slow collector. While
// the collector holds a batch, another process appends: it finishes while that request is still
// open (so it never waited on the network), and its events are delivered too, each once.
TEST_F(ConcurrencyTest, TwoHelpersStartedTogetherDeliverEveryEventExactlyOnce) {
  enum class Second { kAtOnce, kMidUpload, kGivesUp };
  for (Second mode : {Second::kAtOnce, Second::kMidUpload, Second::kGivesUp}) {
    const bool midUpload = mode != Second::kAtOnce;
    SCOPED_TRACE(mode == Second::kAtOnce     ? "both at once"
                 : mode == Second::kMidUpload ? "second starts while the first's batch is held"
                                              : "second gives up while the first's batch is held");
    Collector::Stage(midUpload ? "{\"delay\":{\"2\":600000}}" : "{}");
    Fill(cache_, 3000);
    platform::ProcessHandle first = Start("-submit_cache --batch 100");
    if (midUpload) {
      ASSERT_TRUE(WaitUntil([] { return Collector::Requests().size() >= 2; }));
    }
    const bool givesUp = mode == Second::kGivesUp;
    platform::ProcessHandle second =
        Start(givesUp ? "-submit_cache --batch 100 --lock-wait 1" : "-submit_cache --batch 100");
    if (givesUp) {
      EXPECT_TRUE(WaitUntil([second] { return platform::WaitProcess(second, 0); }));
    } else if (midUpload) {
      EXPECT_EQ(ExitCodeOf(platform::StartProcess("\"" + AppendWorker() + "\" \"" + cache_ + "\" 500 7")), 0);
    }
    if (midUpload) {
      EXPECT_EQ(RequestNumber(2)["status"].asInt(), 0) << "it did not wait for the held batch";
      Collector::Release();
    }
    EXPECT_EQ(ExitCodeOf(first), 0);
    EXPECT_EQ(ExitCodeOf(second), 0);

    const auto counts = CountEachOnce(Collector::Events(), mode == Second::kMidUpload ? 3500 : 3000);
    EXPECT_EQ(counts.count({7, 499}), mode == Second::kMidUpload ? 1u : 0u);
    EXPECT_FALSE(Exists(cache_));
  }
}

// Killed at each step of delivering batch k: while the collector holds it, after the collector
// stored it but before the answer reached the helper, and after the answer but before the count
// was recorded. The next run sends batch k again under the same key; the collector acknowledges
// it as a repeat and stores every event exactly once.
TEST_F(ConcurrencyTest, AHelperKilledAtAnyStepOfADeliveryLeavesEveryEventStoredExactlyOnce) {
  constexpr int kEvents = 1000, kBatch = 100;
  enum class Step { kHeld, kStoredAnswerHeld, kAnsweredNotRecorded };
  const struct {
    const char* name;
    Step step;
    int k;
    int nextBatch = kBatch;
  } cases[] = {
      {"held before storing batch 1", Step::kHeld, 1},
      {"held before storing batch 10", Step::kHeld, 10},
      {"batch 4 stored, its answer held", Step::kStoredAnswerHeld, 4},
      // POSIX: no file may grow, so the helper dies at its first write, the count after batch 1.
      {"batch 1 answered, its count not written", Step::kAnsweredNotRecorded, 1},
      // Other records at the same place are another batch: stored, never taken for the held one.
      {"batch 2 stored, its answer held, resumed in batches of 200", Step::kStoredAnswerHeld, 2,
       200},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const int k = c.k;
    if (c.step == Step::kAnsweredNotRecorded) {
      if (platform::kIsWindows) continue;
      Collector::Stage();
      // A claim left by an earlier run, so that nothing but the count is written before it dies.
      Fill(claimed(), kEvents);
      WriteBytes(cache_ + ".claim", "a-killed-run\n");
      EXPECT_NE(ExitCodeOf(platform::StartProcess("/bin/sh -c \"ulimit -f 0; exec '" + helper() +
                                              "' -submit_cache --batch 100\"")),
                0);
      ASSERT_EQ(Collector::Requests().size(), 1u);
      EXPECT_EQ(RequestNumber(1)["status"].asInt(), 200);
      EXPECT_FALSE(Exists(progress()));
    } else {
      const char* stage = c.step == Step::kHeld ? "delay" : "hold_after_store";
      Collector::Stage("{\"" + std::string(stage) + "\":{\"" + std::to_string(k) + "\":600000}}");
      Fill(cache_, kEvents);
      platform::ProcessHandle helper = Start("-submit_cache --batch 100");
      ASSERT_NE(helper, nullptr);
      // Held: batch k has reached the collector, and been stored if its answer is what waits.
      const bool stored = c.step == Step::kStoredAnswerHeld;
      ASSERT_TRUE(WaitUntil([k, stored] {
        return stored ? Collector::Events().size() >= static_cast<Json::ArrayIndex>(k * kBatch)
                      : Collector::Requests().size() >= static_cast<Json::ArrayIndex>(k);
      }));
      ASSERT_TRUE(platform::KillProcess(helper));
      ExitCodeOf(helper);
      Collector::Release();
      ASSERT_TRUE(WaitUntil([k] { return RequestNumber(k)["status"].asInt() != 0; }));
    }

    const Json::ArrayIndex firstOfNextRun = Collector::Requests().size();
    ASSERT_EQ(Run("-submit_cache --batch " + std::to_string(c.nextBatch)), 0);
    const Json::Value requests = Collector::Requests();
    int repeats = 0;
    for (const Json::Value& r : requests) repeats += r["repeat"].asBool() ? 1 : 0;
    if (c.nextBatch == kBatch) {
      CountEachOnce(Collector::Events(), kEvents);
      EXPECT_EQ(repeats, 1);
      EXPECT_TRUE(requests[firstOfNextRun]["repeat"].asBool());
      EXPECT_EQ(requests[firstOfNextRun]["events"].asInt(), 0);
    } else {
      // Every event arrives; the held batch's twice.
      std::map<int, int> times;
      for (const Json::Value& e : Collector::Events()) ++times[e["n"].asInt()];
      EXPECT_EQ(times.size(), static_cast<std::size_t>(kEvents));
      int wrong = 0;
      for (const auto& [n, t] : times) wrong += t != ((n / kBatch == k - 1) ? 2 : 1);
      EXPECT_EQ(wrong, 0);
      EXPECT_EQ(repeats, 0);
    }
    EXPECT_FALSE(Exists(cache_));
    EXPECT_FALSE(Exists(claimed()));
    EXPECT_FALSE(Exists(progress()));
  }
}

// What a helper killed between two steps leaves on disk, and what the next run makes of it; and
// files it cannot remove (a scanner holding them).
TEST_F(ConcurrencyTest, TheNextRunFinishesWhatAKilledHelperLeftOnDisk) {
  enum Pin { kNone, kClaimed, kCount };
  struct Case {
    const char* name;
    bool claimedFile;
    const char* progressText;  // %lld: the claimed file's size; the claim's id is "this-claim"
                               // "copies": two checked copies of the counts 200 and 300
    int live;                  // events in the live cache (l = 7)
    int firstDelivered;        // first claimed event (l = 1001) the collector must get
    Pin pin = kNone;
  } cases[] = {
      {"claimed, no progress yet", true, nullptr, 0, 0},
      {"claimed, 300 delivered", true, "300 %lld this-claim\n", 0, 300},
      {"claimed, all delivered but not yet removed", true, "500 %lld this-claim\n", 40, 500},
      {"claimed, a count for a file of another size", true, "300 12 this-claim\n", 0, 0},
      {"claimed, a count of another claim of the same size", true, "300 %lld other-claim\n", 0, 0},
      {"claimed, a count without a claim id", true, "300 %lld\n", 0, 0},
      {"claimed, unreadable count", true, "x\n", 25, 0},
      {"claimed, two copies, the newer second", true, "copies", 0, 300},
      {"claimed, both copies of a count spoilt", true,
       "300 %104lld this-claim00000000\n300 %104lld this-claim00000000\n", 0, 0},
      {"a count whose claimed file is gone", false, "300 %lld this-claim\n", 40, 500},
      {"a count that cannot be removed, the next claim of its size", false,
       "300 %lld this-claim\n", 40, 500, kCount},
      {"claimed, cannot be removed", true, nullptr, 0, 0, kClaimed},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Collector::Stage();
    platform::RemoveFile(progress().c_str());
    const std::string staged = dir_.File("staged.dat");
    Fill(staged, 500);
    if (c.claimedFile) {
      ASSERT_TRUE(platform::MoveFileReplacing(staged.c_str(), claimed().c_str()));
      WriteBytes(cache_ + ".claim", "this-claim\n");
    }
    platform::RemoveFile(staged.c_str());
    if (c.live > 0) Fill(cache_, c.live, 7);
    // Without a claimed file the count names the live cache's size, so only its being stale
    // keeps it from applying to the next claim.
    const long long size =
        static_cast<long long>(ReadBytes(c.claimedFile ? claimed() : cache_).size());
    if (c.progressText != nullptr && std::string(c.progressText) == "copies") {
      const auto copy = [size](int n) { return helper::ProgressSlot({n, size, "this-claim"}); };
      WriteBytes(progress(), copy(200) + copy(300));
    } else if (c.progressText != nullptr) {
      char text[512];
      std::snprintf(text, sizeof text, c.progressText, size, size);
      WriteBytes(progress(), text);
    }
    const int expected = (c.claimedFile ? 500 - c.firstDelivered : 0) + c.live;
    const auto deliveredOnce = [&] {
      const auto counts = CountEachOnce(Collector::Events(), expected);
      if (c.claimedFile && c.firstDelivered < 500) {
        EXPECT_EQ(counts.count({1001, c.firstDelivered}), 1u);
        if (c.firstDelivered > 0) {
          EXPECT_EQ(counts.count({1001, c.firstDelivered - 1}), 0u);
        }
      }
    };

    PinnedFile pinned(c.pin == kClaimed ? claimed() : progress());
    if (c.pin == kNone) {
      pinned.Unpin();
    } else if (!pinned.pinned()) {
      GTEST_SKIP() << "this system cannot pin a file";
    }
    if (c.pin == kClaimed) {
      // Delivered once, then kept as delivered for as long as it stays: never sent again.
      EXPECT_EQ(Run("-submit_cache --batch 100"), 3);
      EXPECT_EQ(Run("-submit_cache --batch 100"), 3);
      deliveredOnce();
      EXPECT_TRUE(Exists(claimed()));
      pinned.Unpin();
    }
    ASSERT_EQ(Run("-submit_cache --batch 100"), 0);
    deliveredOnce();
    EXPECT_FALSE(Exists(cache_));
    EXPECT_FALSE(Exists(claimed()));
    EXPECT_EQ(Exists(progress()), c.pin == kCount);
  }
}

}  // namespace
}  // namespace orin::testing
