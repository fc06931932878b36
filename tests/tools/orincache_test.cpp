#include <regex>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "cache/CAnalyticsFile.h"
#include "helper/progress_record.h"
#include "support/TempDir.h"
#include "tools/orincache/commands.h"

namespace orin::orincache {
namespace {

using namespace orin::testing;

struct Outcome {
  int code;
  std::string out, err;
};

Outcome Tool(const std::string& command, const std::string& path, const std::string& json = "") {
  std::ostringstream out, err;
  const int code = command == "list"       ? List(path, out, err)
                   : command == "verify"   ? Verify(path, out, err)
                   : command == "dump"     ? Dump(path, false, out, err)
                   : command == "dump-all" ? Dump(path, true, out, err)
                   : command == "salvage"  ? Salvage(path, json, out, err)
                   : command == "status"   ? Status(path, out, err)
                                           : Append(path, json, out, err);
  return {code, out.str(), err.str()};
}

TEST(Orincache, AppendWritesWhatTheModuleWrites) {
  TempDir dir;
  const std::string viaTool = dir.File("tool.dat"), direct = dir.File("direct.dat");
  ASSERT_EQ(Tool("append", viaTool, R"({"n":1,"l":2})").code, 0);
  Json::Value event;
  event["n"] = 1;
  event["l"] = 2;
  ASSERT_TRUE(GetAnalyticsFile()->AppendEvent(direct.c_str(), event));
  EXPECT_EQ(ReadBytes(viaTool), ReadBytes(direct));
}

TEST(Orincache, ListDumpAndVerifyReportDamageAndSalvageRecoversTheWholeRecords) {
  TempDir dir;
  const std::string path = dir.File("KD_OF.dat");
  ASSERT_EQ(Tool("append", path, R"({"n":1,"l":2})").code, 0);
  const std::size_t first = ReadBytes(path).size();
  ASSERT_EQ(Tool("append", path, R"({"n":2,"p":{"x":1}})").code, 0);
  const std::string good = ReadBytes(path), end = std::to_string(good.size());
  WriteBytes(path, good + std::string("\x40\0\0\0", 4) + "{\"l\":");  // claims 64 bytes

  const Outcome list = Tool("list", path);
  EXPECT_EQ(list.code, 0);
  // Compared with the column padding collapsed.
  EXPECT_EQ(std::regex_replace(list.out, std::regex(" +"), " "),
            " 0 " + std::to_string(first) + " ok\n " + std::to_string(first) + " " +
                std::to_string(good.size() - first) + " ok\n " + end + " 64 torn tail, 9 bytes skipped\n");
  const Outcome dump = Tool("dump", path);
  EXPECT_EQ(dump.code, 0);
  EXPECT_EQ(dump.out, "{\"l\":2,\"n\":1}\n{\"n\":2,\"p\":{\"x\":1}}\n");
  EXPECT_EQ(Tool("dump-all", path).out, dump.out + "error at offset " + end + ": torn tail\n");

  const Outcome bad = Tool("verify", path);
  EXPECT_EQ(bad.code, 1);
  EXPECT_NE(bad.out.find("offset " + end + ": torn tail"), std::string::npos) << bad.out;
  WriteBytes(path, good);
  EXPECT_EQ(Tool("verify", path).code, 0);

  // A side file of damaged bytes: the walk goes on after the zeros, and salvage appends what it
  // finds whole to a cache.
  const std::string side = dir.File("KD_OF.dat.damaged"), salvaged = dir.File("salvaged.dat");
  WriteBytes(side, std::string(8, '\0') + good + "{\"l\":");
  EXPECT_EQ(std::regex_replace(Tool("list", side).out, std::regex(" +"), " "),
            " 0 0 zero length, 8 bytes skipped\n 8 " + std::to_string(first) + " ok\n " +
                std::to_string(8 + first) + " " + std::to_string(good.size() - first) + " ok\n " +
                std::to_string(8 + good.size()) + " 577512059 torn tail, 5 bytes skipped\n");
  const Outcome salvage = Tool("salvage", side, salvaged);
  EXPECT_EQ(salvage.code, 0);
  EXPECT_EQ(salvage.out, "salvaged 2 records from " + side + " into " + salvaged + "; 13 bytes are no record\n");
  EXPECT_EQ(ReadBytes(salvaged), good);

  // Status: what waits beside the cache, for support staff.
  WriteBytes(path + ".quarantine", good);
  const std::string slot = helper::ProgressSlot({1, 99, "abc"});
  WriteBytes(path + ".sent", std::string(slot.size(), 'x') + slot);  // the first copy torn
  EXPECT_EQ(Tool("status", path).out,
            path + ": 2 events (live cache, waiting for the next delivery)\n" + path +
                ".sending: absent\n" + path + "-bak: absent\n" + path +
                ".quarantine: 2 events (set aside: the collector refused them for good)\n" + path +
                ".sent: records delivered, claimed size, claim id: 1 99 abc\n" + path +
                ".damaged: 2 whole records and 13 other bytes kept for support staff ('orincache "
                "salvage' recovers the records)\n");
}

TEST(Orincache, UnreadableFilesAndBadEventsExitTwoWithOneLine) {
  TempDir dir;
  const std::string missing = dir.File("none.dat"), path = dir.File("KD_OF.dat");
  for (const Outcome& r :
       {Tool("list", missing), Tool("dump-all", missing), Tool("verify", missing),
        Tool("append", path, "{oops"), Tool("append", path, "[1,2]"),
        Tool("append", dir.File("no/such/dir.dat"), "{}")}) {
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.out, "");
    ASSERT_FALSE(r.err.empty());
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
  }
  EXPECT_FALSE(Exists(path));
}

}  // namespace
}  // namespace orin::orincache
