#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "cache/CAnalyticsFile.h"
#include "cache/record_format.h"
#include "support/TempDir.h"
#include "tools/orincache/commands.h"

namespace orin::orincache {
namespace {

using testing::ReadBytes;
using testing::TempDir;
using testing::WriteBytes;

struct Outcome {
  int code;
  std::string out;
  std::string err;
};

template <typename F>
Outcome Capture(F&& command) {
  std::ostringstream out, err;
  const int code = command(out, err);
  return {code, out.str(), err.str()};
}

class OrincacheTest : public ::testing::Test {
 protected:
  void AppendTwoAndTear() {
    ASSERT_EQ(Capture([&](auto& o, auto& e) { return Append(path_, R"({"n":1,"l":2})", o, e); }).code, 0);
    ASSERT_EQ(Capture([&](auto& o, auto& e) { return Append(path_, R"({"n":2,"p":{"x":1}})", o, e); }).code, 0);
    good_ = ReadBytes(path_);
    std::string torn(4, '\0');
    record::WriteLength(torn.data(), 64);
    WriteBytes(path_, good_ + torn + "{\"l\":");
  }

  TempDir dir_;
  std::string path_ = dir_.File("KD_OF.dat");
  std::string good_;
};

TEST_F(OrincacheTest, AppendWritesWhatTheModuleWrites) {
  ASSERT_EQ(Capture([&](auto& o, auto& e) { return Append(path_, R"({"n":1,"l":2})", o, e); }).code, 0);
  const std::string viaTool = ReadBytes(path_);
  const std::string direct = dir_.File("direct.dat");
  Json::Value event;
  event["n"] = 1;
  event["l"] = 2;
  ASSERT_TRUE(GetAnalyticsFile()->AppendEvent(direct.c_str(), event));
  EXPECT_EQ(viaTool, ReadBytes(direct));
}

TEST_F(OrincacheTest, ListDumpAndVerifyReportATornTail) {
  AppendTwoAndTear();
  const Outcome list = Capture([&](auto& o, auto& e) { return List(path_, o, e); });
  EXPECT_EQ(list.code, 0);
  std::istringstream lines(list.out);
  std::string l1, l2, l3, l4;
  std::getline(lines, l1);
  std::getline(lines, l2);
  std::getline(lines, l3);
  EXPECT_FALSE(std::getline(lines, l4));
  EXPECT_NE(l1.find(" ok"), std::string::npos) << l1;
  EXPECT_NE(l3.find(std::to_string(good_.size())), std::string::npos) << l3;
  EXPECT_NE(l3.find("torn tail"), std::string::npos) << l3;

  const Outcome dump = Capture([&](auto& o, auto& e) { return Dump(path_, false, o, e); });
  EXPECT_EQ(dump.code, 0);
  EXPECT_EQ(dump.out, "{\"l\":2,\"n\":1}\n{\"n\":2,\"p\":{\"x\":1}}\n");
  const Outcome all = Capture([&](auto& o, auto& e) { return Dump(path_, true, o, e); });
  EXPECT_EQ(all.out, dump.out + "error at offset " + std::to_string(good_.size()) + ": torn tail\n");

  const Outcome bad = Capture([&](auto& o, auto& e) { return Verify(path_, o, e); });
  EXPECT_EQ(bad.code, 1);
  EXPECT_NE(bad.out.find("offset " + std::to_string(good_.size()) + ": torn tail"), std::string::npos);
  WriteBytes(path_, good_);
  const Outcome ok = Capture([&](auto& o, auto& e) { return Verify(path_, o, e); });
  EXPECT_EQ(ok.code, 0) << ok.out;
}

TEST_F(OrincacheTest, UnreadableFilesAndBadEventsExitTwoWithOneLine) {
  const std::string missing = dir_.File("none.dat");
  for (const Outcome& r : {Capture([&](auto& o, auto& e) { return List(missing, o, e); }),
                       Capture([&](auto& o, auto& e) { return Dump(missing, true, o, e); }),
                       Capture([&](auto& o, auto& e) { return Verify(missing, o, e); }),
                       Capture([&](auto& o, auto& e) { return Append(path_, "{oops", o, e); }),
                       Capture([&](auto& o, auto& e) { return Append(path_, "[1,2]", o, e); }),
                       Capture([&](auto& o, auto& e) {
                         return Append(dir_.File("no/such/dir.dat"), "{}", o, e);
                       })}) {
    EXPECT_EQ(r.code, 2);
    EXPECT_TRUE(r.out.empty()) << r.out;
    ASSERT_FALSE(r.err.empty());
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
  }
  EXPECT_TRUE(ReadBytes(path_).empty());
}

}  // namespace
}  // namespace orin::orincache
