#include "platform/profile.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/os.h"
#include "support/TempDir.h"

// One corpus and one set of expectations for both builds: under Windows (and Wine) the kernel's
// own profile functions meet them, so the POSIX backend is held to what they do.

namespace orin::platform {
namespace {

using namespace orin::testing;

// Stored under [Numbers] as n<index>, read with the default 5.
const std::pair<const char*, std::uint32_t> kInts[] = {
    {"42", 42},   {"-17", 0u - 17}, {"+8", 8},    {"12abc", 12}, {"abc", 0},         {"", 5},
    {"0x1A", 26}, {"0X1A", 0},      {"0o17", 15}, {"0b101", 5},  {"010", 10},        {"-", 0},
    {"-0x10", 0u - 16},             {"\" 66\"", 66},             {"4294967297", 1},
};

const std::string kLong(300, 'x');
const std::string kCorpus = [] {
  std::string numbers = "[Numbers]\r\n";
  for (std::size_t i = 0; i < std::size(kInts); ++i) {
    numbers += "n" + std::to_string(i) + "=" + kInts[i].first + "\r\n";
  }
  return "\xEF\xBB\xBFlead=before any section\r\n; leading comment\r\n# hash comment\r\n\r\n"
         "[General]\r\nName=Alpha\r\n  Spaced   =   value with spaces   \r\n"
         "Quoted=\"  inside quotes  \"\r\nMismatch=\"half'\r\nOneQuote=\"\r\nTwoQuotes=\"\"\r\n"
         "Empty=\r\nEquals=a=b=c\r\nNoEquals\r\n; Commented=1\r\n#Hashed=2\r\n"
         "Long=" + kLong + "\r\nQuotedLong=\"abcdef\"\r\n\r\n"
         "[general]\r\nName=Second section\r\nOnlyInSecond=2\r\n"
         "[Dup]\r\nKey=first\r\nKEY=second\r\n[  Padded  ]\r\nx=padded section\r\n[Odd]\r\n"
         "[k=bracket key\r\n=empty name\r\nhidden\r\nhidden=shadowed by the line above\r\n"
         "[B] [C] ; tail\r\ny=3\r\n" + numbers + "[NoBreak]\r\nk=v";  // no final line break
}();

const struct {
  const char *section, *key;
  std::string expect;  // its length is the expected result
  const char* def = "d";
  std::uint32_t size = 260;
} kReads[] = {
    {"  general ", " NAME  ", "Alpha"},  // names trimmed, without case
    {"General", "Spaced", "value with spaces"}, {"General", "Quoted", "  inside quotes  "},
    {"General", "Mismatch", "\"half'"},        {"General", "OneQuote", "\""},
    {"General", "TwoQuotes", ""},              {"General", "Empty", ""},  // present: no default
    {"General", "Equals", "a=b=c"},            {"General", "NoEquals", "d"},
    {"General", "; Commented", "1"},           {"General", "#Hashed", "2"},  // no comment syntax
    {"General", "OnlyInSecond", "d"},          {"Dup", "key", "first"},  // the first one only
    {"Padded", "x", "padded section"},         {"General", "Long", kLong.substr(0, 259)},
    {"General", "QuotedLong", "abcd", "d", 5}, {"General", "QuotedLong", "abcdef", "d", 8},
    {"General", "QuotedLong", "abcde", "d", 7},  // fitted exactly: one more goes
    {"General", "Missing", "q", "'q'  "},      {"General", "Missing", "", nullptr},
    {"Nowhere", "Name", "none", "none"},       {"", "lead", "before any section"},
    {"Odd", "[k", "bracket key"},              {"Odd", "", "empty name"},
    {"Odd", "hidden", "d"},                    {"B] [C", "y", "3"},  // up to the last bracket
    {"NoBreak", "k", "v"},
};

class ProfileCorpus : public ::testing::Test {
 protected:
  void SetUp() override { WriteBytes(path_, kCorpus); }
  std::string Read(const char* section, const char* key) {
    char buffer[512] = {};
    ReadProfileString(section, key, "absent", buffer, sizeof buffer, path_.c_str());
    return buffer;
  }

  TempDir dir_;
  const std::string path_ = dir_.File("corpus.ini");
};

TEST_F(ProfileCorpus, ReadsAsTheWindowsReaderDoes) {
  for (const auto& c : kReads) {
    SCOPED_TRACE(std::string("[") + c.section + "] " + c.key + " / " + std::to_string(c.size));
    std::vector<char> buffer(c.size + 8, '#');
    EXPECT_EQ(ReadProfileString(c.section, c.key, c.def, buffer.data(), c.size, path_.c_str()),
              c.expect.size());
    EXPECT_EQ(std::string(buffer.data()), c.expect);
    EXPECT_EQ(buffer[c.size], '#') << "wrote past the buffer";
  }
  for (std::size_t i = 0; i < std::size(kInts); ++i) {
    const std::string key = "n" + std::to_string(i);
    EXPECT_EQ(ReadProfileInt("Numbers", key.c_str(), 5, path_.c_str()), kInts[i].second)
        << kInts[i].first;
  }
  EXPECT_EQ(ReadProfileInt("Numbers", "n0", 9, dir_.File("missing.ini").c_str()), 9u);
}

TEST_F(ProfileCorpus, WritesChangeKeysInPlaceKeepTheRestOfTheFileAndEachOthersKeys) {
  const struct {
    const char *section, *key, *value;
  } writes[] = {
      {"NoBreak", "k2", "v2"}, {"General", "Name", "Changed"}, {"GENERAL", "spaced", "lower"},
      {"General", "OnlyInSecond", "first"}, {"Brand New", "k", "v"}, {"", "lead2", "v"},
      {"Odd", "hidden", "now set"},
  };
  for (const auto& w : writes) {
    EXPECT_TRUE(WriteProfileString(w.section, w.key, w.value, path_.c_str())) << w.key;
    EXPECT_EQ(Read(w.section, w.key), w.value) << w.key;
  }
  // A name ends at the first "="; leading blanks of a value are not stored.
  EXPECT_TRUE(WriteProfileString("Odd", "k=", " kept=", path_.c_str()));
  EXPECT_EQ(Read("Odd", "k"), "=kept=");
  EXPECT_EQ(Read("General", "Long"), kLong);
  EXPECT_EQ(Read("NoBreak", "k"), "v");
  const std::string text = ReadBytes(path_);
  EXPECT_NE(text.find("\r\n; leading comment\r\n# hash comment\r\n"), std::string::npos);
  EXPECT_NE(text.find("\r\nName=Second section\r\n"), std::string::npos);
  EXPECT_EQ(text.find("Name=Alpha"), std::string::npos);
  EXPECT_EQ(text.find("Spaced"), text.rfind("Spaced"));
  std::vector<std::thread> writers;  // concurrent, into one new section
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([this, t] {
      for (int i = t; i < 100; i += 4) {
        WriteProfileString("Shared", std::to_string(i).c_str(), "v", path_.c_str());
      }
    });
  }
  for (std::thread& w : writers) w.join();
  for (int i = 0; i < 100; ++i) EXPECT_EQ(Read("Shared", std::to_string(i).c_str()), "v") << i;
}

TEST_F(ProfileCorpus, ImpossibleOrNullArgumentsGiveDefaultsAndChangeNothing) {
  const std::string folder = dir_.File("no-such-folder");
  char buffer[16];
  for (const std::string& path : {folder + kPathSep + "x.ini", dir_.path()}) {
    EXPECT_FALSE(WriteProfileString("S", "k", "v", path.c_str())) << path;
    EXPECT_EQ(ReadProfileString("S", "k", "d", buffer, sizeof buffer, path.c_str()), 1u);
  }
  EXPECT_FALSE(Exists(folder));
  // No name-listing forms, no win.ini.
  EXPECT_EQ(ReadProfileString(nullptr, "k", "d", buffer, sizeof buffer, path_.c_str()), 0u);
  EXPECT_EQ(std::string(buffer), "");
  EXPECT_EQ(ReadProfileString("S", "k", "d", buffer, sizeof buffer, nullptr), 0u);
  EXPECT_EQ(ReadProfileInt("General", nullptr, 6, path_.c_str()), 6u);
  EXPECT_FALSE(WriteProfileString("General", "Name", nullptr, path_.c_str()));
  EXPECT_FALSE(WriteProfileString(nullptr, "k", "v", path_.c_str()));
  EXPECT_FALSE(WriteProfileString("S", "k", "v", nullptr));
  EXPECT_EQ(ReadBytes(path_), kCorpus);
}

}  // namespace
}  // namespace orin::platform
