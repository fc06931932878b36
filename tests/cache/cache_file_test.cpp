#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "cache/record_format.h"
#include "common/json_text.h"
#include "support/TempDir.h"

namespace orin {
namespace {

using namespace orin::testing;
using Ints = std::vector<int>;

std::string LengthField(std::int32_t length) {
  std::string bytes(4, '\0');
  record::WriteLength(bytes.data(), length);
  return bytes;
}

// One record's bytes, built by hand so the tests see the format independently of the writer.
std::string RawRecord(const std::string& text) {
  CMyEncrypt cipher;
  cipher.SetKey(record::kCacheKey, record::kCacheKeyLength);
  std::string bytes = LengthField(static_cast<std::int32_t>(4 + text.size())) + text;
  const auto n = static_cast<std::int32_t>(text.size());
  cipher.Encrypt(text.data(), n, bytes.data() + 4, n);
  return bytes;
}

std::string EventText(int n) { return "{\"l\":1,\"n\":" + std::to_string(n) + "}\n"; }

// Each event's "n"; -1 for a value that is not an object.
Ints Numbers(const Json::Value& events) {
  Ints out;
  for (const Json::Value& e : events) out.push_back(e.isObject() ? e["n"].asInt() : -1);
  return out;
}

class CacheFile : public ::testing::Test {
 protected:
  // The loaded records' next batch of up to `count`.
  Ints NextBatch(std::int32_t count = 1 << 20) {
    Json::Value batch;
    file_.ReadNextBatch(batch, count);
    return Numbers(batch);
  }
  Ints TextNumbers() {
    std::vector<std::string> texts;
    EXPECT_TRUE(file_.ReadRecordTexts(path_.c_str(), texts));
    Json::Value parsed;
    file_.ParseRecords(parsed, texts);
    return Numbers(parsed);
  }
  // ReadChunks' events, one list per chunk.
  std::vector<Ints> ChunkNumbers(const std::string& path) {
    std::vector<Json::Value*> chunks;
    EXPECT_TRUE(file_.ReadChunks(path.c_str(), chunks));
    std::vector<Ints> out;
    for (Json::Value* c : chunks) {
      out.push_back(Numbers(*c));
      delete c;
    }
    return out;
  }

  TempDir dir_;
  const std::string path_ = dir_.File("KD_OF.dat");
  CAnalyticsFile file_;
};

TEST_F(CacheFile, AppendWritesOneLengthPrefixedScrambledRecordPerEvent) {
  Json::Value event;
  event["n"] = 7;
  ASSERT_TRUE(file_.AppendEvent(path_.c_str(), event));
  ASSERT_TRUE(file_.AppendText(path_.c_str(), "plain text"));
  EXPECT_EQ(ReadBytes(path_), RawRecord(ToFastText(event)) + RawRecord("plain text"));
  EXPECT_FALSE(file_.AppendEvent(dir_.File("missing/KD_OF.dat").c_str(), event));
  EXPECT_FALSE(file_.AppendText(path_.c_str(), nullptr));

  // Byte for byte the JsonCpp writer's text, whatever an event holds.
  std::string expected = ReadBytes(path_);
  for (const char* text : {
           "{\"z\":1,\"a\":2,\"A\":3,\"_\":4,\"aa\":5,\"a a\":6,\"~\":7}",
           "{\"s\":\"q\\\" b\\\\ / \\t\\n\\r\\b\\f \\u0001 \\u007f <&>\"}",
           "{\"s\":\"\\u0000 after a nul\"}",
           "{\"s\":\"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80\"}",
           "{\"s\":\"\xff\xfe bad\"}",
           "{\"na\\\"me\":1,\"\xc3\xa9\":2,\"\":3}",
           "{\"i\":-9223372036854775808,\"j\":9223372036854775807,\"u\":18446744073709551615,"
           "\"m\":-1,\"z\":0}",
           "{\"d\":0.1,\"e\":1e300,\"f\":-0.0,\"g\":123456789012345678901234,\"h\":2.5e-7}",
           "{\"l\":1201,\"p\":{\"b\":true,\"f\":false,\"n\":null,\"a\":[1,[2,{\"x\":\"y\"}],[]],"
           "\"o\":{},\"e\":\"\"}}",
       }) {
    Json::Value e;
    ASSERT_TRUE(ParseJsonText(text, text + std::char_traits<char>::length(text), e)) << text;
    ASSERT_TRUE(file_.AppendEvent(path_.c_str(), e));
    expected += RawRecord(ToFastText(e));
  }
  EXPECT_EQ(ReadBytes(path_), expected);
}

TEST_F(CacheFile, EveryReaderReturnsAppendedEventsInFileOrder) {
  // About 3 chunks' worth, so the chunked readers cross chunk boundaries.
  constexpr int kEvents = 3000;
  std::size_t bytes = 0;
  Ints all, inFirstChunk;
  for (int i = 0; i < kEvents; ++i) {
    Json::Value e;
    e["n"] = i;
    e["pad"] = std::string(60, 'x');
    ASSERT_TRUE(file_.AppendEvent(path_.c_str(), e));
    all.push_back(i);
    bytes += RawRecord(ToFastText(e)).size();
    if (bytes <= record::kChunkSize) inFirstChunk.push_back(i);
  }
  ASSERT_TRUE(file_.LoadFile(path_.c_str()));
  EXPECT_EQ(NextBatch(), all);

  // The whole-file text reader ends at the first record that straddles a chunk, by design.
  Json::Value events;
  ASSERT_TRUE(file_.ReadAllEvents(path_.c_str(), events));
  EXPECT_EQ(Numbers(events), inFirstChunk);

  const std::vector<Ints> chunks = ChunkNumbers(path_);
  EXPECT_GE(chunks.size(), 3u);
  Ints joined;
  for (const Ints& c : chunks) joined.insert(joined.end(), c.begin(), c.end());
  EXPECT_EQ(joined, all);
}

// A record larger than a chunk stops the chunked readers only; a chunk whose records all fail to
// parse adds no array but does not end the read.
TEST_F(CacheFile, ChunkedReadersStopAtARecordLargerThanAChunkButGoOnPastAChunkThatKeepsNothing) {
  const std::string big = "{\"n\":0,\"big\":\"" + std::string(150000, 'b') + "\"}";
  WriteBytes(path_, RawRecord(big) + RawRecord(EventText(1)));
  EXPECT_TRUE(ChunkNumbers(path_).empty());
  EXPECT_TRUE(TextNumbers().empty());
  ASSERT_TRUE(file_.LoadFile(path_.c_str()));
  EXPECT_EQ(NextBatch(), (Ints{0, 1}));

  std::string bytes;
  const std::string junk = RawRecord(std::string(1000, 'x'));
  while (bytes.size() < static_cast<std::size_t>(record::kChunkSize) + 2 * junk.size()) bytes += junk;
  WriteBytes(path_, bytes + RawRecord(EventText(1)) + RawRecord("{}") + RawRecord(EventText(2)));
  EXPECT_EQ(ChunkNumbers(path_), (std::vector<Ints>{{1, 2}}));
}

// Direct calls of the class's own operations, in orders the delivery cycle never makes.
TEST_F(CacheFile, OperationsOutOfOrderNeitherEmptyTheCacheNorReadAFreedImage) {
  const std::string first = RawRecord(EventText(1)) + RawRecord(EventText(2));
  const std::string second = RawRecord(EventText(7)) + RawRecord(EventText(8));
  const std::string other = dir_.File("other.dat"), rewritten = dir_.File("rewritten.dat");
  WriteBytes(path_, first);
  WriteBytes(other, second);
  EXPECT_FALSE(file_.WriteUnread(path_.c_str()));  // nothing loaded
  EXPECT_EQ(ReadBytes(path_), first);

  ASSERT_TRUE(file_.LoadFile(path_.c_str()));
  EXPECT_EQ(NextBatch(1), Ints{1});
  std::vector<const char*> records;
  ASSERT_TRUE(file_.LoadRecords(other.c_str(), records));
  EXPECT_EQ(records.size(), 2u);
  // The records of the first image went with it; nothing of the new one was handed out.
  EXPECT_EQ(NextBatch(), Ints{});
  EXPECT_TRUE(file_.WriteUnread(rewritten.c_str()));
  EXPECT_EQ(ReadBytes(rewritten), second);
}

// An override that throws stands for anything that can fail by throwing inside an operation (an
// allocation sized by a stored length, JsonCpp). The interface operation stops it, answers with
// its failure value, and has taken nothing.
class ThrowingFile : public CAnalyticsFile {
 public:
  enum Where { kNowhere, kLoad, kChunk, kTexts, kParse, kParseWithUser, kAppend, kRewrite };
  Where where = kNowhere;
  bool LoadRecords(const char* p, std::vector<const char*>& out) override {
    Throw(kLoad);
    return CAnalyticsFile::LoadRecords(p, out);
  }
  bool ReadChunk(const char* p, std::vector<std::string>& out, std::int64_t& offset) override {
    Throw(kChunk);
    return CAnalyticsFile::ReadChunk(p, out, offset);
  }
  bool ReadRecordTexts(const char* p, std::vector<std::string>& out) override {
    Throw(kTexts);
    return CAnalyticsFile::ReadRecordTexts(p, out);
  }
  void ParseRecords(Json::Value& out, const std::vector<std::string>& texts) override {
    Throw(kParse);
    CAnalyticsFile::ParseRecords(out, texts);
  }
  void ParseRecordsWithUser(Json::Value& out, const std::vector<std::string>& texts,
                            const char* user) override {
    Throw(kParseWithUser);
    CAnalyticsFile::ParseRecordsWithUser(out, texts, user);
  }
  bool AppendRecord(const char* p, const void* r, std::int32_t size) override {
    Throw(kAppend);
    return CAnalyticsFile::AppendRecord(p, r, size);
  }
  bool WriteUnread(const char* p) override {
    Throw(kRewrite);
    return CAnalyticsFile::WriteUnread(p);
  }

 private:
  void Throw(Where w) {
    if (w != where) return;
    if (w == kParse) throw std::bad_alloc();
    if (w == kParseWithUser) throw Json::LogicError("from JsonCpp");
    throw 42;
  }
};

TEST_F(CacheFile, InterfaceOperationsStopExceptionsAndTakeNothing) {
  const std::string bytes = RawRecord(EventText(1)) + RawRecord(EventText(2));
  WriteBytes(path_, bytes);
  ThrowingFile file;
  ASSERT_TRUE(file.LoadFile(path_.c_str()));
  Json::Value out;
  std::int32_t count = 1;
  file.where = ThrowingFile::kParse;
  EXPECT_FALSE(file.ReadNextBatch(out, count));
  EXPECT_EQ(count, 0);
  count = 1;
  file.where = ThrowingFile::kParseWithUser;
  EXPECT_FALSE(file.ReadNextBatchWithUser(out, count, "u"));
  EXPECT_EQ(count, 0);
  EXPECT_EQ(file.readIndex(), 0);
  file.where = ThrowingFile::kRewrite;
  EXPECT_FALSE(file.CommitConsumed(path_.c_str()));  // false: the caller keeps the file
  std::vector<Json::Value*> chunks;
  file.where = ThrowingFile::kChunk;
  EXPECT_FALSE(file.ReadChunks(path_.c_str(), chunks));
  file.where = ThrowingFile::kTexts;
  EXPECT_FALSE(file.ReadAllEvents(path_.c_str(), out));
  file.where = ThrowingFile::kAppend;
  EXPECT_FALSE(file.AppendText(path_.c_str(), "x") || file.AppendEvent(path_.c_str(), out));
  EXPECT_EQ(ReadBytes(path_), bytes);

  file.where = ThrowingFile::kNowhere;
  Json::Value all;
  count = 10;
  ASSERT_TRUE(file.ReadNextBatch(all, count));
  EXPECT_EQ(Numbers(all), (Ints{1, 2}));
  file.where = ThrowingFile::kLoad;
  EXPECT_FALSE(file.LoadFile(path_.c_str()));
  EXPECT_EQ(file.recordCount(), 0u);
}

TEST_F(CacheFile, EmptyAndUnparsableRecordsAreTakenButAddNothingAndUserGoesIntoObjects) {
  WriteBytes(path_, RawRecord("{}") + RawRecord("not json") + RawRecord("[]") +
                       RawRecord("{\"n\":1,\"u\":\"old\"}") + RawRecord("{\"n\":2}") +
                       RawRecord("5"));
  ASSERT_TRUE(file_.LoadFile(path_.c_str()));
  Json::Value batch;
  std::int32_t count = 3;
  EXPECT_TRUE(file_.ReadNextBatch(batch, count));
  EXPECT_EQ(count, 3);
  EXPECT_TRUE(batch.isNull());

  count = 10;
  ASSERT_TRUE(file_.ReadNextBatchWithUser(batch, count, "abc"));
  ASSERT_EQ(batch.size(), 3u);
  EXPECT_EQ(batch[0]["u"], "abc");
  EXPECT_EQ(batch[1]["u"], "abc");
  EXPECT_EQ(batch[2], 5);

  // The same records and odder ones as the text to post: what the batch reading keeps, a record
  // that is plain JSON as it is stored, and a body a strict reader takes; but a text with more
  // after its value (a length grown over other records) is damage, not an event.
  std::string bytes = ReadBytes(path_);
  for (const char* text : {"{ \"n\" : 3 }  \n", "{\"n\":4} and more", "/*c*/{\"n\":5}",
                           "{\"n\":6,\"n\":7}", "{\"s\":\"\\ud800\"}", "{\"s\":\"\\udc00\"}",
                           "{\"s\":\"\\ud83d\\ude00\\u00e9\"}", "{\"s\":\"\xff\"}", "{\"s\":\"\xc3\xa9\"}",
                           "{\"x\":1e400}", "{\"x\":-0.25,\"y\":[1,{}],\"z\":null}", "{\"x\":01}",
                           "{\"x\":[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]}",
                           "[{\"n\":8}]", "\"text\"", "{\"s\":\"tab\tin\"}"}) {
    bytes += RawRecord(text);
  }
  WriteBytes(path_, bytes);
  ASSERT_TRUE(file_.LoadFile(path_.c_str()));
  Json::Value kept;
  count = 100;
  ASSERT_TRUE(file_.ReadNextBatch(kept, count));
  const Json::Value andMore = kept[4];
  ASSERT_EQ(andMore["n"], 4);
  kept.removeIndex(4, nullptr);
  ASSERT_TRUE(file_.LoadFile(path_.c_str()));
  BatchText text;
  count = 100;
  ASSERT_TRUE(file_.ReadNextBatchText(text, count));
  EXPECT_EQ(count, 22);
  Json::Value sent;
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  std::string errors;
  ASSERT_TRUE(std::unique_ptr<Json::CharReader>(builder.newCharReader())
                  ->parse(text.body.data(), text.body.data() + text.body.size(), &sent, &errors))
      << errors << text.body;
  EXPECT_EQ(ToFastText(sent), ToFastText(kept));
  EXPECT_EQ(text.events, kept.size());
  EXPECT_NE(text.body.find(",{ \"n\" : 3 },"), std::string::npos) << text.body;
}

TEST_F(CacheFile, PutBackCountsBackTheRecordsGivenAndCommitKeepsExactlyTheUnreadBytes) {
  const std::string r3 = RawRecord(EventText(3)), torn = LengthField(64) + "{\"l\":";
  WriteBytes(path_, RawRecord(EventText(1)) + RawRecord(EventText(2)) + r3 + torn);
  ASSERT_TRUE(file_.LoadFile(path_.c_str()));
  EXPECT_EQ(NextBatch(2), (Ints{1, 2}));
  file_.PutBack(1);  // the second one failed
  EXPECT_EQ(NextBatch(2), (Ints{2, 3}));
  file_.PutBack(5);
  EXPECT_EQ(file_.readIndex(), 0);
  EXPECT_EQ(NextBatch(2), (Ints{1, 2}));

  // The torn tail lies after the unread record, so it survives the rewrite.
  EXPECT_FALSE(file_.CommitConsumed(path_.c_str()));
  EXPECT_EQ(ReadBytes(path_), r3 + torn);

  // A new load starts over on the new image alone.
  ASSERT_TRUE(file_.LoadFile(path_.c_str()));
  EXPECT_EQ(NextBatch(), Ints{3});
  EXPECT_TRUE(file_.CommitConsumed(path_.c_str()));
  EXPECT_EQ(ReadBytes(path_), r3 + torn) << "a full delivery leaves the file to the caller";

  // A missing file fails every reader and empties the loaded records; an empty one loads bare.
  const std::string missing = dir_.File("gone.dat"), empty = dir_.File("empty.dat");
  Json::Value out;
  std::vector<std::string> texts;
  EXPECT_FALSE(file_.LoadFile(missing.c_str()));
  EXPECT_EQ(file_.recordCount(), 0u);
  EXPECT_FALSE(file_.ReadAllEvents(missing.c_str(), out));
  EXPECT_FALSE(file_.ReadRecordTexts(missing.c_str(), texts));
  EXPECT_TRUE(ChunkNumbers(missing).empty());
  WriteBytes(empty, "");
  ASSERT_TRUE(file_.LoadFile(empty.c_str()));
  std::int32_t count = 4;
  EXPECT_FALSE(file_.ReadNextBatch(out, count));
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(file_.CommitConsumed(empty.c_str()));
  std::int64_t offset = 0;
  EXPECT_FALSE(file_.ReadChunk(empty.c_str(), texts, offset));
}

// Whatever lies behind the damage, the delivery readers stop at it and never move backwards.
TEST_F(CacheFile, DamageStopsEveryReaderAndKeepsWhatCameBefore) {
  const struct {
    const char* name;
    std::string bytes;  // placed between a good record 1 and a good record 2
    Ints texts;         // what ReadRecordTexts returns
    bool last = false;  // no record 2: the damage ends the file
  } cases[] = {
      // A zero length skips 8 bytes in the whole-file text reader, so record 2 is still found.
      {"zero length", LengthField(0) + "pad!", {1, 2}},
      {"negative length", LengthField(-8) + "xxxx", {1}},
      {"huge length", LengthField(0x7FFFFFF0), {1}},
      {"length shorter than its field", LengthField(2) + "zz", {1}},
      {"torn length field", std::string("\x10\x00", 2), {1}},
      {"torn tail", LengthField(200) + "{\"l\":", {1}},
      {"the last record one byte short", LengthField(4 + 6) + "{\"l\":", {1}, true},
  };
  const std::string good1 = RawRecord(EventText(1));
  for (const auto& d : cases) {
    SCOPED_TRACE(d.name);
    const std::string bytes = good1 + d.bytes + (d.last ? "" : RawRecord(EventText(2)));
    WriteBytes(path_, bytes);
    ASSERT_TRUE(file_.LoadFile(path_.c_str()));
    EXPECT_EQ(NextBatch(), Ints{1});
    EXPECT_EQ(TextNumbers(), d.texts);
    EXPECT_EQ(ChunkNumbers(path_), std::vector<Ints>{{1}});

    std::vector<std::string> texts;
    std::int64_t offset = 0;
    for (int call = 0; call < 2; ++call) {
      ASSERT_TRUE(file_.ReadChunk(path_.c_str(), texts, offset));
      EXPECT_EQ(offset, static_cast<std::int64_t>(good1.size()));
    }
    EXPECT_EQ(texts.size(), 1u);

    // Nothing after the damage is lost when the delivery is handed back.
    file_.PutBack(1);
    EXPECT_FALSE(file_.CommitConsumed(path_.c_str()));
    EXPECT_EQ(ReadBytes(path_), bytes);
  }
}

}  // namespace
}  // namespace orin
