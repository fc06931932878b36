#include "platform/profile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/scratch_dir.h"

// One corpus, one table of expectations, the same in both builds: on Windows (and under Wine)
// the kernel's own profile functions produce them, so the POSIX backend is held to that.

namespace orin::platform {
namespace {

using orin::testing::ScratchDir;

const std::string kLong(300, 'x');

struct CorpusFile {
  const char* name;
  std::string text;
};

std::vector<CorpusFile> Corpus() {
  return {
      {"basic.ini",
       "; leading comment\r\n"
       "# hash comment\r\n"
       "\r\n"
       "[General]\r\n"
       "Name=Alpha\r\n"
       "  Spaced   =   value with spaces   \r\n"
       "Quoted=\"  inside quotes  \"\r\n"
       "Single='single'\r\n"
       "Mismatch=\"half'\r\n"
       "OneQuote=\"\r\n"
       "TwoQuotes=\"\"\r\n"
       "Empty=\r\n"
       "Inline=value ; not a comment\r\n"
       "Equals=a=b=c\r\n"
       "Tabbed\t=\ttabbed\t\r\n"
       "NoEquals\r\n"
       "; Commented=1\r\n"
       "#Hashed=2\r\n"
       "Long=" + kLong + "\r\n"
       "QuotedLong=\"abcdef\"\r\n"
       "\r\n"
       "[general]\r\n"
       "Name=Second section\r\n"
       "OnlyInSecond=2\r\n"
       "[Dup]\r\n"
       "Key=first\r\n"
       "KEY=second\r\n"
       "[  Padded  ]\r\n"
       "x=padded section\r\n"
       "[Case]\r\n"
       "MiXeD=yes\r\n"},
      {"numbers.ini",
       "[Numbers]\n"
       "Plain=42\n"
       "Neg=-17\n"
       "Plus=+8\n"
       "Trail=12abc\n"
       "Inner= 7 9\n"
       "Abc=abc\n"
       "Empty=\n"
       "Hex=0x1A\n"
       "Big=4294967297\n"
       "Quoted=\"55\"\n"
       "QuotedSpace=\" 66\"\n"
       "Minus=-\n"
       "Zero=0\n"
       "Octal=0o17\n"
       "Bin=0b101\n"
       "Lead0=010\n"
       "HexUpper=0X1A\n"
       "NegHex=-0x10\n"
       "HexBad=0xZZ\n"
       "Spaces=   12\n"},
      {"odd.ini",
       "\xEF\xBB\xBF"
       "lead=before any section\n"
       "[Odd]\n"
       "[k=bracket key\n"
       "=empty name\n"
       "hidden\n"
       "hidden=shadowed by the line above\n"
       "[A]]\n"
       "x=last bracket ends the name\n"
       "[B] [C] ; tail\n"
       "y=3\n"},
      {"nonl.ini", "[S]\nk=v"},
      {"empty.ini", ""},
  };
}

struct ReadCase {
  const char* file;
  const char* section;
  const char* key;
  const char* def;
  std::uint32_t size;
  const char* expect;
  std::uint32_t count;
};

const ReadCase kReads[] = {
    {"basic.ini", "General", "Name", "d", 260, "Alpha", 5},
    {"basic.ini", "general", "name", "d", 260, "Alpha", 5},           // names without case
    {"basic.ini", "  General ", " Name  ", "d", 260, "Alpha", 5},     // names trimmed
    {"basic.ini", "General", "Spaced", "d", 260, "value with spaces", 17},
    {"basic.ini", "General", "Quoted", "d", 260, "  inside quotes  ", 17},
    {"basic.ini", "General", "Single", "d", 260, "single", 6},
    {"basic.ini", "General", "Mismatch", "d", 260, "\"half'", 6},
    {"basic.ini", "General", "OneQuote", "d", 260, "\"", 1},
    {"basic.ini", "General", "TwoQuotes", "d", 260, "", 0},
    {"basic.ini", "General", "Empty", "d", 260, "", 0},               // present: no default
    {"basic.ini", "General", "Inline", "d", 260, "value ; not a comment", 21},
    {"basic.ini", "General", "Equals", "d", 260, "a=b=c", 5},
    {"basic.ini", "General", "Tabbed", "d", 260, "tabbed", 6},
    {"basic.ini", "General", "NoEquals", "d", 260, "d", 1},
    {"basic.ini", "General", "Commented", "d", 260, "d", 1},
    {"basic.ini", "General", "OnlyInSecond", "d", 260, "d", 1},       // first section only
    {"basic.ini", "General", "Long", "d", 260, nullptr, 259},         // size-1 characters
    {"basic.ini", "General", "Long", "d", 400, nullptr, 300},
    {"basic.ini", "General", "Name", "d", 3, "Al", 2},
    {"basic.ini", "General", "QuotedLong", "d", 260, "abcdef", 6},
    {"basic.ini", "General", "QuotedLong", "d", 5, "abcd", 4},
    {"basic.ini", "General", "QuotedLong", "d", 6, "abcde", 5},
    {"basic.ini", "General", "QuotedLong", "d", 7, "abcde", 5},      // fitted exactly
    {"basic.ini", "General", "#Hashed", "d", 260, "2", 1},           // no comment syntax
    {"basic.ini", "General", "; Commented", "d", 260, "1", 1},
    {"basic.ini", "Dup", "key", "d", 260, "first", 5},                // first duplicate key
    {"basic.ini", "Padded", "x", "d", 260, "padded section", 14},
    {"basic.ini", "Case", "mixed", "d", 260, "yes", 3},
    {"basic.ini", "General", "Missing", "fallback", 260, "fallback", 8},
    {"basic.ini", "General", "Missing", "tail  ", 260, "tail", 4},    // default's blanks go
    {"basic.ini", "General", "Missing", "  lead", 260, "  lead", 6},
    {"basic.ini", "General", "Missing", "\"q\"", 260, "q", 1},       // default unquoted too
    {"basic.ini", "General", "Missing", "'q' ", 260, "q", 1},
    {"basic.ini", "General", "Missing", nullptr, 260, "", 0},
    {"basic.ini", "General", "Missing", "fallback", 4, "fal", 3},
    {"basic.ini", "Nowhere", "Name", "none", 260, "none", 4},
    {"missing.ini", "General", "Name", "none", 260, "none", 4},
    {"odd.ini", "", "lead", "d", 260, "before any section", 18},
    {"odd.ini", "Odd", "lead", "d", 260, "d", 1},
    {"odd.ini", "Odd", "[k", "d", 260, "bracket key", 11},
    {"odd.ini", "Odd", "", "d", 260, "empty name", 10},
    {"odd.ini", "Odd", "hidden", "d", 260, "d", 1},
    {"odd.ini", "A]", "x", "d", 260, "last bracket ends the name", 26},
    {"odd.ini", "A", "x", "d", 260, "d", 1},
    {"odd.ini", "B] [C", "y", "d", 260, "3", 1},
    {"nonl.ini", "S", "k", "d", 260, "v", 1},
    {"empty.ini", "S", "k", "d", 260, "d", 1},
};

struct IntCase {
  const char* file;
  const char* key;
  std::int32_t def;
  std::uint32_t expect;
};

const IntCase kInts[] = {
    {"numbers.ini", "Plain", 5, 42},
    {"numbers.ini", "Neg", 5, static_cast<std::uint32_t>(-17)},
    {"numbers.ini", "Plus", 5, 8},
    {"numbers.ini", "Trail", 5, 12},
    {"numbers.ini", "Inner", 5, 7},
    {"numbers.ini", "Abc", 5, 0},
    {"numbers.ini", "Empty", 5, 5},
    {"numbers.ini", "Hex", 5, 26},
    {"numbers.ini", "Big", 5, 1},
    {"numbers.ini", "Quoted", 5, 55},
    {"numbers.ini", "QuotedSpace", 5, 66},
    {"numbers.ini", "Minus", 5, 0},
    {"numbers.ini", "Zero", 5, 0},
    {"numbers.ini", "Octal", 5, 15},
    {"numbers.ini", "Bin", 5, 5},
    {"numbers.ini", "Lead0", 5, 10},
    {"numbers.ini", "HexUpper", 5, 0},
    {"numbers.ini", "NegHex", 5, static_cast<std::uint32_t>(-16)},
    {"numbers.ini", "HexBad", 5, 0},
    {"numbers.ini", "Spaces", 5, 12},
    {"numbers.ini", "Absent", -3, static_cast<std::uint32_t>(-3)},
    {"missing.ini", "Plain", 9, 9},
};

class ProfileCorpus : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.path().empty());
    for (const CorpusFile& f : Corpus()) orin::testing::WriteText(dir_.File(f.name), f.text);
  }
  std::string Path(const char* name) const { return dir_.File(name); }
  std::string Read(const char* file, const char* section, const char* key, const char* def = "") {
    char buffer[512] = {};
    ReadProfileString(section, key, def, buffer, sizeof buffer, Path(file).c_str());
    return buffer;
  }

  ScratchDir dir_;
};

TEST_F(ProfileCorpus, ReadsStringsAsTheWindowsReaderDoes) {
  for (const ReadCase& c : kReads) {
    SCOPED_TRACE(std::string(c.file) + " [" + c.section + "] " + c.key + " size " +
                 std::to_string(c.size));
    std::vector<char> buffer(c.size + 8, '#');
    const std::uint32_t n =
        ReadProfileString(c.section, c.key, c.def, buffer.data(), c.size, Path(c.file).c_str());
    EXPECT_EQ(n, c.count);
    const std::string expect = c.expect != nullptr ? c.expect : kLong.substr(0, c.count);
    if (c.size > 0) {
      EXPECT_EQ(std::string(buffer.data()), expect);
    }
    EXPECT_EQ(buffer[c.size], '#') << "wrote past the buffer";
  }
}

TEST_F(ProfileCorpus, ReadsIntegersAsTheWindowsReaderDoes) {
  for (const IntCase& c : kInts) {
    SCOPED_TRACE(std::string(c.file) + " " + c.key);
    EXPECT_EQ(ReadProfileInt("Numbers", c.key, c.def, Path(c.file).c_str()), c.expect);
  }
}

struct WriteCase {
  const char* file;  // in the scratch folder; "sub/x.ini" style names use a missing folder
  const char* section;
  const char* key;
  const char* value;
  bool ok;
  const char* readBack;  // what the same key reads as afterwards
};

const WriteCase kWrites[] = {
    {"basic.ini", "General", "Name", "Changed", true, "Changed"},
    {"basic.ini", "GENERAL", "spaced", "lower", true, "lower"},
    {"basic.ini", "General", "OnlyInSecond", "into first", true, "into first"},
    {"basic.ini", "Brand New", "k", "v", true, "v"},
    {"basic.ini", "Case", "Padded", "  spaced out  ", true, "spaced out"},
    {"basic.ini", "Case", "Quoted", "\"q\"", true, "q"},
    {"basic.ini", "Case", "Empty", "", true, ""},
    {"nonl.ini", "S", "k2", "v2", true, "v2"},
    {"nonl.ini", "T", "k", "t", true, "t"},
    {"empty.ini", "A", "b", "c", true, "c"},
    {"new.ini", "Fresh", "Key", "Value", true, "Value"},
    {"odd.ini", "", "lead2", "v", true, "v"},
    {"odd.ini", "Odd", "hidden", "now set", true, "now set"},
    {"odd.ini", "Odd", "[k", "b", true, "b"},
    {"odd.ini", "Odd", "k=", " kept=", true, "absent"},  // a name ends at the first "="
};

TEST_F(ProfileCorpus, WritesKeepTheRestOfTheFile) {
  for (const WriteCase& c : kWrites) {
    SCOPED_TRACE(std::string(c.file) + " [" + c.section + "] " + c.key);
    EXPECT_EQ(WriteProfileString(c.section, c.key, c.value, Path(c.file).c_str()), c.ok);
    EXPECT_EQ(Read(c.file, c.section, c.key, "absent"), c.readBack);
  }
  // Everything not written reads as before.
  EXPECT_EQ(Read("basic.ini", "General", "Quoted"), "  inside quotes  ");
  EXPECT_EQ(Read("basic.ini", "General", "Long"), std::string(kLong));
  EXPECT_EQ(Read("basic.ini", "Dup", "Key"), "first");
  EXPECT_EQ(Read("basic.ini", "Padded", "x"), "padded section");
  EXPECT_EQ(Read("basic.ini", "Case", "MiXeD"), "yes");
  EXPECT_EQ(Read("basic.ini", "General", "Tabbed"), "tabbed");
  EXPECT_EQ(Read("nonl.ini", "S", "k"), "v");
  EXPECT_EQ(Read("odd.ini", "", "lead"), "before any section");
  EXPECT_EQ(Read("odd.ini", "B] [C", "y"), "3");
  EXPECT_EQ(Read("odd.ini", "Odd", "k"), "=kept=") << "the value's leading blanks are not stored";
  const std::string text = orin::testing::ReadText(Path("basic.ini"));
  EXPECT_NE(text.find("; leading comment"), std::string::npos);
  EXPECT_NE(text.find("# hash comment"), std::string::npos);
  EXPECT_NE(text.find("Name=Second section"), std::string::npos);
  // The key was changed where it stood, not added a second time.
  EXPECT_EQ(text.find("Name=Alpha"), std::string::npos);
  EXPECT_EQ(text.find("Spaced"), text.rfind("Spaced"));
  EXPECT_LT(text.find("[General]"), text.find("[general]"));
}

TEST_F(ProfileCorpus, ImpossibleReadsAndWritesGiveDefaultsAndChangeNothing) {
  const std::string folder = dir_.File("no-such-folder");
  const std::string inMissing = folder + kPathSep + "x.ini";
  const std::string aFolder = dir_.path();
  for (const std::string& path : {inMissing, aFolder}) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(WriteProfileString("S", "k", "v", path.c_str()));
    char buffer[16];
    EXPECT_EQ(ReadProfileString("S", "k", "d", buffer, sizeof buffer, path.c_str()), 1u);
    EXPECT_EQ(ReadProfileInt("S", "k", 4, path.c_str()), 4u);
  }
  EXPECT_FALSE(orin::testing::Exists(folder));
  EXPECT_FALSE(WriteProfileString("S", "k", nullptr, Path("basic.ini").c_str()));
  EXPECT_FALSE(WriteProfileString(nullptr, "k", "v", Path("basic.ini").c_str()));
  char buffer[16] = "junk";
  const std::string basic = Path("basic.ini");
  EXPECT_EQ(ReadProfileString(nullptr, "k", "d", buffer, sizeof buffer, basic.c_str()), 0u);
  EXPECT_EQ(std::string(buffer), "");
  EXPECT_EQ(ReadProfileString("S", "k", "d", buffer, sizeof buffer, nullptr), 0u);
  EXPECT_EQ(ReadProfileInt("Numbers", nullptr, 6, Path("numbers.ini").c_str()), 6u);
  EXPECT_EQ(ReadProfileInt("Numbers", "Plain", 6, nullptr), 6u);
  EXPECT_FALSE(WriteProfileString("S", "k", "v", nullptr));
  EXPECT_EQ(Read("basic.ini", "General", "Name"), "Alpha");
}

TEST_F(ProfileCorpus, ConcurrentWritesOfDifferentKeysAreAllKept) {
  const std::string path = Path("shared.ini");
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&path, t] {
      for (int i = 0; i < 25; ++i) {
        const std::string key = "k" + std::to_string(t) + "_" + std::to_string(i);
        WriteProfileString(t % 2 == 0 ? "Even" : "Odd", key.c_str(), key.c_str(), path.c_str());
      }
    });
  }
  for (std::thread& w : writers) w.join();
  for (int t = 0; t < 4; ++t) {
    for (int i = 0; i < 25; ++i) {
      const std::string key = "k" + std::to_string(t) + "_" + std::to_string(i);
      EXPECT_EQ(Read("shared.ini", t % 2 == 0 ? "Even" : "Odd", key.c_str()), key);
    }
  }
}

}  // namespace
}  // namespace orin::platform
