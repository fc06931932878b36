#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "cache_test_util.h"
#include "common/json_text.h"
#include "support/TempDir.h"

namespace orin {
namespace {

using testing::EventText;
using testing::RawRecord;
using testing::ReadBytes;
using testing::TempDir;
using testing::WriteBytes;

Json::Value Event(int n) {
  Json::Value e;
  e["l"] = 1;
  e["n"] = n;
  e["m"] = "test";
  return e;
}

std::vector<int> Numbers(const Json::Value& events) {
  std::vector<int> out;
  for (const Json::Value& e : events) out.push_back(e["n"].asInt());
  return out;
}

std::vector<int> Range(int from, int to) {
  std::vector<int> out;
  for (int i = from; i < to; ++i) out.push_back(i);
  return out;
}

struct OwnedChunks {
  std::vector<Json::Value*> chunks;
  ~OwnedChunks() {
    for (Json::Value* c : chunks) delete c;
  }
  std::vector<int> AllNumbers() const {
    std::vector<int> out;
    for (const Json::Value* c : chunks) {
      for (int n : Numbers(*c)) out.push_back(n);
    }
    return out;
  }
};

TEST(CacheAppend, WritesOneLengthPrefixedScrambledRecordPerEvent) {
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  CAnalyticsFile file;
  ASSERT_TRUE(file.AppendEvent(path.c_str(), Event(7)));
  ASSERT_TRUE(file.AppendText(path.c_str(), "plain text"));
  EXPECT_EQ(ReadBytes(path), RawRecord(ToFastText(Event(7))) + RawRecord("plain text"));
  EXPECT_FALSE(file.AppendEvent(dir.File("missing/KD_OF.dat").c_str(), Event(1)));
  EXPECT_FALSE(file.AppendText(path.c_str(), nullptr));
}

TEST(CacheAppend, EveryReaderReturnsTheEventsInFileOrder) {
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  CAnalyticsFile file;
  // About 3 chunks' worth, so the chunked readers cross chunk boundaries.
  constexpr int kEvents = 3000;
  std::size_t bytes = 0;
  int inFirstChunk = 0;
  for (int i = 0; i < kEvents; ++i) {
    Json::Value e = Event(i);
    e["pad"] = std::string(60, 'x');
    ASSERT_TRUE(file.AppendEvent(path.c_str(), e));
    bytes += RawRecord(ToFastText(e)).size();
    if (bytes <= 102400) inFirstChunk = i + 1;
  }

  ASSERT_TRUE(file.LoadFile(path.c_str()));
  Json::Value batch;
  std::int32_t count = kEvents + 5;
  ASSERT_TRUE(file.ReadNextBatch(batch, count));
  EXPECT_EQ(count, kEvents);
  EXPECT_EQ(Numbers(batch), Range(0, kEvents));

  // The whole-file text reader ends at the first record that straddles a chunk, by design.
  Json::Value all;
  ASSERT_TRUE(file.ReadAllEvents(path.c_str(), all));
  EXPECT_EQ(Numbers(all), Range(0, inFirstChunk));

  OwnedChunks chunks;
  ASSERT_TRUE(file.ReadChunks(path.c_str(), chunks.chunks));
  EXPECT_GE(chunks.chunks.size(), 3u);
  EXPECT_EQ(chunks.AllNumbers(), Range(0, kEvents));
}

TEST(CacheRead, RecordLargerThanAChunkStopsTheChunkedReadersOnly) {
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  const std::string big = "{\"n\":0,\"big\":\"" + std::string(150000, 'b') + "\"}";
  WriteBytes(path, RawRecord(big) + RawRecord(EventText(1)));
  CAnalyticsFile file;

  OwnedChunks chunks;
  EXPECT_TRUE(file.ReadChunks(path.c_str(), chunks.chunks));
  EXPECT_TRUE(chunks.chunks.empty());
  std::vector<std::string> texts;
  EXPECT_TRUE(file.ReadRecordTexts(path.c_str(), texts));
  EXPECT_TRUE(texts.empty());

  // The batch reader holds the whole file and sizes its scratch to each record.
  ASSERT_TRUE(file.LoadFile(path.c_str()));
  Json::Value batch;
  std::int32_t count = 10;
  ASSERT_TRUE(file.ReadNextBatch(batch, count));
  EXPECT_EQ(count, 2);
  EXPECT_EQ(Numbers(batch), (std::vector<int>{0, 1}));
  EXPECT_EQ(batch[0]["big"].asString().size(), 150000u);
}

TEST(CacheRead, MissingAndEmptyFiles) {
  TempDir dir;
  const std::string missing = dir.File("none.dat");
  CAnalyticsFile file;
  EXPECT_FALSE(file.LoadFile(missing.c_str()));
  Json::Value out;
  EXPECT_FALSE(file.ReadAllEvents(missing.c_str(), out));
  std::vector<std::string> texts;
  EXPECT_FALSE(file.ReadRecordTexts(missing.c_str(), texts));
  OwnedChunks chunks;
  EXPECT_TRUE(file.ReadChunks(missing.c_str(), chunks.chunks));
  EXPECT_TRUE(chunks.chunks.empty());

  const std::string empty = dir.File("empty.dat");
  WriteBytes(empty, "");
  ASSERT_TRUE(file.LoadFile(empty.c_str()));
  std::int32_t count = 4;
  EXPECT_FALSE(file.ReadNextBatch(out, count));
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(file.CommitConsumed(empty.c_str()));
  std::int64_t offset = 0;
  EXPECT_FALSE(file.ReadChunk(empty.c_str(), texts, offset));
}

TEST(CacheRead, EmptyAndUnparsableRecordsAreTakenButAddNothing) {
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  WriteBytes(path, RawRecord("{}") + RawRecord("not json") + RawRecord("[]") + RawRecord(EventText(3)));
  CAnalyticsFile file;
  ASSERT_TRUE(file.LoadFile(path.c_str()));
  Json::Value batch;
  std::int32_t count = 3;
  EXPECT_TRUE(file.ReadNextBatch(batch, count));
  EXPECT_EQ(count, 3);
  EXPECT_TRUE(batch.isNull());
  count = 3;
  EXPECT_TRUE(file.ReadNextBatch(batch, count));
  EXPECT_EQ(count, 1);
  EXPECT_EQ(Numbers(batch), (std::vector<int>{3}));
}

TEST(CacheRead, BatchWithUserSetsOrReplacesU) {
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  WriteBytes(path, RawRecord("{\"n\":1,\"u\":\"old\"}") + RawRecord("{\"n\":2}") + RawRecord("5"));
  CAnalyticsFile file;
  ASSERT_TRUE(file.LoadFile(path.c_str()));
  Json::Value batch;
  std::int32_t count = 3;
  ASSERT_TRUE(file.ReadNextBatchWithUser(batch, count, "abc"));
  ASSERT_EQ(batch.size(), 3u);
  EXPECT_EQ(batch[0]["u"].asString(), "abc");
  EXPECT_EQ(batch[1]["u"].asString(), "abc");
  EXPECT_EQ(batch[2].asInt(), 5);  // not an object: passed through untouched
}

TEST(CacheDelivery, PutBackFloorsAtZeroAndCommitKeepsExactlyTheUnreadBytes) {
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  const std::string r1 = RawRecord(EventText(1)), r2 = RawRecord(EventText(2)),
                    r3 = RawRecord(EventText(3));
  const std::string torn = testing::LengthField(64) + "{\"l\":";
  WriteBytes(path, r1 + r2 + r3 + torn);

  CAnalyticsFile file;
  ASSERT_TRUE(file.LoadFile(path.c_str()));
  EXPECT_EQ(file.recordCount(), 3u);
  Json::Value batch;
  std::int32_t count = 2;
  ASSERT_TRUE(file.ReadNextBatch(batch, count));
  EXPECT_EQ(Numbers(batch), (std::vector<int>{1, 2}));

  file.PutBack(5);
  EXPECT_EQ(file.readIndex(), 0);
  Json::Value again;
  count = 2;
  ASSERT_TRUE(file.ReadNextBatch(again, count));
  EXPECT_EQ(Numbers(again), (std::vector<int>{1, 2}));

  // The torn tail lies after the unread record, so it survives the rewrite.
  EXPECT_FALSE(file.CommitConsumed(path.c_str()));
  EXPECT_EQ(ReadBytes(path), r3 + torn);

  ASSERT_TRUE(file.LoadFile(path.c_str()));
  count = 10;
  ASSERT_TRUE(file.ReadNextBatch(batch, count));
  EXPECT_EQ(count, 1);
  EXPECT_TRUE(file.CommitConsumed(path.c_str()));
  EXPECT_EQ(ReadBytes(path), r3 + torn) << "a full delivery leaves the file to the caller";
}

TEST(CacheDelivery, LoadFileDiscardsThePreviousImage) {
  TempDir dir;
  const std::string a = dir.File("a.dat"), b = dir.File("b.dat");
  WriteBytes(a, RawRecord(EventText(1)) + RawRecord(EventText(2)));
  WriteBytes(b, RawRecord(EventText(9)));
  CAnalyticsFile file;
  ASSERT_TRUE(file.LoadFile(a.c_str()));
  Json::Value batch;
  std::int32_t count = 1;
  ASSERT_TRUE(file.ReadNextBatch(batch, count));
  ASSERT_TRUE(file.LoadFile(b.c_str()));
  EXPECT_EQ(file.readIndex(), 0);
  Json::Value next;
  count = 5;
  ASSERT_TRUE(file.ReadNextBatch(next, count));
  EXPECT_EQ(Numbers(next), (std::vector<int>{9}));
  EXPECT_FALSE(file.LoadFile(dir.File("gone.dat").c_str()));
  EXPECT_EQ(file.recordCount(), 0u);
}

}  // namespace
}  // namespace orin
