#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "cache_test_util.h"
#include "support/TempDir.h"

namespace orin {
namespace {

using testing::EventText;
using testing::LengthField;
using testing::RawRecord;
using testing::ReadBytes;
using testing::TempDir;
using testing::WriteBytes;

struct Damage {
  const char* name;
  std::string bytes;        // placed between a good record 1 and a good record 2
  std::vector<int> texts;   // what ReadRecordTexts returns
};

std::vector<int> Numbers(const Json::Value& events) {
  std::vector<int> out;
  for (const Json::Value& e : events) out.push_back(e["n"].asInt());
  return out;
}

std::vector<int> NumbersOfTexts(const std::vector<std::string>& texts) {
  Json::Value parsed;
  CAnalyticsFile().ParseRecords(parsed, texts);
  return Numbers(parsed);
}

// Whatever lies behind the damage, the delivery readers stop at it and never move backwards.
TEST(DamagedCache, EveryReaderStopsAtTheDamageAndKeepsWhatCameBefore) {
  const std::vector<Damage> cases = {
      // A zero length skips 8 bytes in the whole-file text reader, so record 2 is still found.
      {"zero length", LengthField(0) + "pad!", {1, 2}},
      {"negative length", LengthField(-8) + "xxxx", {1}},
      {"huge length", LengthField(0x7FFFFFF0), {1}},
      {"length shorter than its field", LengthField(2) + "zz", {1}},
      {"torn length field", std::string("\x10\x00", 2), {1}},
  };
  for (const Damage& d : cases) {
    SCOPED_TRACE(d.name);
    TempDir dir;
    const std::string path = dir.File("KD_OF.dat");
    const std::string good1 = RawRecord(EventText(1));
    const std::string tail = d.bytes + RawRecord(EventText(2));
    WriteBytes(path, good1 + tail);
    CAnalyticsFile file;

    ASSERT_TRUE(file.LoadFile(path.c_str()));
    Json::Value batch;
    std::int32_t count = 10;
    ASSERT_TRUE(file.ReadNextBatch(batch, count));
    EXPECT_EQ(Numbers(batch), std::vector<int>{1});

    std::vector<std::string> texts;
    ASSERT_TRUE(file.ReadRecordTexts(path.c_str(), texts));
    EXPECT_EQ(NumbersOfTexts(texts), d.texts);

    std::vector<Json::Value*> chunks;
    ASSERT_TRUE(file.ReadChunks(path.c_str(), chunks));
    ASSERT_EQ(chunks.size(), 1u);
    EXPECT_EQ(Numbers(*chunks[0]), std::vector<int>{1});
    for (Json::Value* c : chunks) delete c;

    std::int64_t offset = 0;
    texts.clear();
    ASSERT_TRUE(file.ReadChunk(path.c_str(), texts, offset));
    EXPECT_EQ(offset, static_cast<std::int64_t>(good1.size()));

    // Nothing after the damage is lost by a delivery of what could be read.
    file.PutBack(1);
    EXPECT_FALSE(file.LoadFile(dir.File("other").c_str()));
    ASSERT_TRUE(file.LoadFile(path.c_str()));
    count = 10;
    ASSERT_TRUE(file.ReadNextBatch(batch, count));
    file.PutBack(count);
    ASSERT_FALSE(file.CommitConsumed(path.c_str()));
    EXPECT_EQ(ReadBytes(path), good1 + tail);
  }
}

TEST(DamagedCache, ReadChunkRefusesOffsetsAtOrBeyondTheEnd) {
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  const std::string bytes = RawRecord(EventText(1));
  WriteBytes(path, bytes);
  CAnalyticsFile file;
  std::vector<std::string> texts;
  for (std::int64_t start : {static_cast<std::int64_t>(bytes.size()), std::int64_t{1000}}) {
    std::int64_t offset = start;
    EXPECT_FALSE(file.ReadChunk(path.c_str(), texts, offset));
    EXPECT_EQ(offset, start);
  }
  EXPECT_TRUE(texts.empty());
}

// Random content: readers must stay inside their buffers (ASan watches) and the rewrite after a
// partial delivery is always an exact suffix of what was there.
TEST(DamagedCache, RandomBytesNeverBreakTheReadersOrTheRewrite) {
  std::mt19937 rng(20261123);
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  CAnalyticsFile file;
  for (int round = 0; round < 300; ++round) {
    std::string bytes;
    const int pieces = static_cast<int>(rng() % 6);
    for (int p = 0; p < pieces; ++p) {
      switch (rng() % 3) {
        case 0: bytes += RawRecord(EventText(p)); break;
        case 1: bytes += LengthField(static_cast<std::int32_t>(rng() % 64)); break;
        default: {
          const std::size_t n = rng() % 40;
          for (std::size_t i = 0; i < n; ++i) bytes += static_cast<char>(rng());
        }
      }
    }
    WriteBytes(path, bytes);
    Json::Value out;
    ASSERT_TRUE(file.ReadAllEvents(path.c_str(), out));
    std::vector<Json::Value*> chunks;
    ASSERT_TRUE(file.ReadChunks(path.c_str(), chunks));
    for (Json::Value* c : chunks) delete c;

    ASSERT_TRUE(file.LoadFile(path.c_str()));
    Json::Value batch;
    std::int32_t count = 1;
    file.ReadNextBatch(batch, count);
    if (!file.CommitConsumed(path.c_str())) {
      const std::string left = ReadBytes(path);
      ASSERT_LE(left.size(), bytes.size());
      EXPECT_EQ(bytes.substr(bytes.size() - left.size()), left) << "round " << round;
    }
  }
}

}  // namespace
}  // namespace orin
