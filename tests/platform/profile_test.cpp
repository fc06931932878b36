#include "platform/profile.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/os.h"
#include "support/TempDir.h"

// One corpus and one set of expectations for both builds: on Windows (and Wine) the kernel's own
// profile functions meet them, so the POSIX backend is held to what they do.

namespace orin::platform {
namespace {

using orin::testing::ReadBytes;
using orin::testing::WriteBytes;

const std::string kLong(300, 'x');

const std::string kBasic =
    "; leading comment\r\n# hash comment\r\n\r\n[General]\r\nName=Alpha\r\n"
    "  Spaced   =   value with spaces   \r\nQuoted=\"  inside quotes  \"\r\nSingle='single'\r\n"
    "Mismatch=\"half'\r\nOneQuote=\"\r\nTwoQuotes=\"\"\r\nEmpty=\r\n"
    "Inline=value ; not a comment\r\nEquals=a=b=c\r\nTabbed\t=\ttabbed\t\r\nNoEquals\r\n"
    "; Commented=1\r\n#Hashed=2\r\nLong=" + kLong + "\r\nQuotedLong=\"abcdef\"\r\n\r\n"
    "[general]\r\nName=Second section\r\nOnlyInSecond=2\r\n"
    "[Dup]\r\nKey=first\r\nKEY=second\r\n[  Padded  ]\r\nx=padded section\r\n";
const std::string kOdd =
    "\xEF\xBB\xBFlead=before any section\n[Odd]\n[k=bracket key\n=empty name\nhidden\n"
    "hidden=shadowed by the line above\n[A]]\nx=last bracket ends the name\n[B] [C] ; tail\ny=3\n";

struct ReadCase {
  const char* file;
  const char* section;
  const char* key;
  const char* def;
  std::uint32_t size;
  std::string expect;  // its length is the expected result
};

const ReadCase kReads[] = {
    {"basic.ini", "General", "Name", "d", 260, "Alpha"},
    {"basic.ini", "  general ", " NAME  ", "d", 260, "Alpha"},  // names trimmed, without case
    {"basic.ini", "General", "Spaced", "d", 260, "value with spaces"},
    {"basic.ini", "General", "Quoted", "d", 260, "  inside quotes  "},
    {"basic.ini", "General", "Mismatch", "d", 260, "\"half'"},
    {"basic.ini", "General", "OneQuote", "d", 260, "\""},
    {"basic.ini", "General", "TwoQuotes", "d", 260, ""},
    {"basic.ini", "General", "Empty", "d", 260, ""},  // present: no default
    {"basic.ini", "General", "Equals", "d", 260, "a=b=c"},
    {"basic.ini", "General", "Tabbed", "d", 260, "tabbed"},
    {"basic.ini", "General", "NoEquals", "d", 260, "d"},
    {"basic.ini", "General", "; Commented", "d", 260, "1"},  // no comment syntax at all
    {"basic.ini", "General", "#Hashed", "d", 260, "2"},
    {"basic.ini", "General", "OnlyInSecond", "d", 260, "d"},  // the first section only
    {"basic.ini", "General", "Long", "d", 260, kLong.substr(0, 259)},
    {"basic.ini", "General", "QuotedLong", "d", 5, "abcd"},
    {"basic.ini", "General", "QuotedLong", "d", 7, "abcde"},  // fitted exactly: one more goes
    {"basic.ini", "General", "QuotedLong", "d", 8, "abcdef"},
    {"basic.ini", "Dup", "key", "d", 260, "first"},
    {"basic.ini", "Padded", "x", "d", 260, "padded section"},
    {"basic.ini", "General", "Missing", "tail  ", 260, "tail"},
    {"basic.ini", "General", "Missing", "'q' ", 260, "q"},  // defaults are unquoted too
    {"basic.ini", "General", "Missing", nullptr, 260, ""},
    {"basic.ini", "General", "Missing", "fallback", 4, "fal"},
    {"basic.ini", "Nowhere", "Name", "none", 260, "none"},
    {"missing.ini", "General", "Name", "none", 260, "none"},
    {"odd.ini", "", "lead", "d", 260, "before any section"},
    {"odd.ini", "Odd", "lead", "d", 260, "d"},
    {"odd.ini", "Odd", "[k", "d", 260, "bracket key"},
    {"odd.ini", "Odd", "", "d", 260, "empty name"},
    {"odd.ini", "Odd", "hidden", "d", 260, "d"},
    {"odd.ini", "A]", "x", "d", 260, "last bracket ends the name"},
    {"odd.ini", "B] [C", "y", "d", 260, "3"},
    {"nonl.ini", "S", "k", "d", 260, "v"},
    {"empty.ini", "S", "k", "d", 260, "d"},
};

// Each value is stored under [Numbers] as n<index>; the default is 5.
const struct {
  const char* text;
  std::uint32_t expect;
} kInts[] = {
    {"42", 42},   {"-17", static_cast<std::uint32_t>(-17)},  {"+8", 8},   {"12abc", 12},
    {" 7 9", 7},  {"abc", 0},  {"", 5},  {"0x1A", 26},  {"0X1A", 0},  {"0xZZ", 0},  {"0o17", 15},
    {"0b101", 5}, {"010", 10}, {"-0x10", static_cast<std::uint32_t>(-16)},  {"-", 0},
    {"4294967297", 1},  {"\"55\"", 55},  {"\" 66\"", 66},
};

class ProfileCorpus : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.path().empty());
    std::string numbers = "[Numbers]\n";
    for (std::size_t i = 0; i < std::size(kInts); ++i) {
      numbers += "n" + std::to_string(i) + "=" + kInts[i].text + "\n";
    }
    const std::pair<const char*, std::string> files[] = {
        {"basic.ini", kBasic}, {"odd.ini", kOdd}, {"numbers.ini", numbers},
        {"nonl.ini", "[S]\nk=v"}, {"empty.ini", ""}};
    for (const auto& f : files) WriteBytes(Path(f.first), f.second);
  }
  std::string Path(const char* name) const { return dir_.File(name); }
  std::string Read(const char* file, const char* section, const char* key) {
    char buffer[512] = {};
    ReadProfileString(section, key, "absent", buffer, sizeof buffer, Path(file).c_str());
    return buffer;
  }

  orin::testing::TempDir dir_;
};

TEST_F(ProfileCorpus, ReadsAsTheWindowsReaderDoes) {
  for (const ReadCase& c : kReads) {
    SCOPED_TRACE(std::string(c.file) + " [" + c.section + "] " + c.key + " / " +
                 std::to_string(c.size));
    std::vector<char> buffer(c.size + 8, '#');
    EXPECT_EQ(ReadProfileString(c.section, c.key, c.def, buffer.data(), c.size,
                                Path(c.file).c_str()),
              c.expect.size());
    EXPECT_EQ(std::string(buffer.data()), c.expect);
    EXPECT_EQ(buffer[c.size], '#') << "wrote past the buffer";
  }
  for (std::size_t i = 0; i < std::size(kInts); ++i) {
    const std::string key = "n" + std::to_string(i);
    EXPECT_EQ(ReadProfileInt("Numbers", key.c_str(), 5, Path("numbers.ini").c_str()),
              kInts[i].expect) << kInts[i].text;
  }
  EXPECT_EQ(ReadProfileInt("Numbers", "absent", -3, Path("numbers.ini").c_str()),
            static_cast<std::uint32_t>(-3));
  EXPECT_EQ(ReadProfileInt("Numbers", "n0", 9, Path("missing.ini").c_str()), 9u);
}

const struct {
  const char* file;
  const char* section;
  const char* key;
  const char* value;
  const char* readBack;  // the same key afterwards
} kWrites[] = {
    {"basic.ini", "General", "Name", "Changed", "Changed"},
    {"basic.ini", "GENERAL", "spaced", "lower", "lower"},
    {"basic.ini", "General", "OnlyInSecond", "into first", "into first"},
    {"basic.ini", "Brand New", "k", "v", "v"},
    {"basic.ini", "Padded", "q", "  \"quoted\"  ", "quoted"},
    {"basic.ini", "Padded", "Empty", "", ""},
    {"nonl.ini", "S", "k2", "v2", "v2"},
    {"empty.ini", "A", "b", "c", "c"},
    {"new.ini", "Fresh", "Key", "Value", "Value"},
    {"odd.ini", "", "lead2", "v", "v"},
    {"odd.ini", "Odd", "hidden", "now set", "now set"},
    {"odd.ini", "Odd", "[k", "b", "b"},
    {"odd.ini", "Odd", "k=", " kept=", "absent"},  // a name ends at the first "="
};

TEST_F(ProfileCorpus, WritesKeepTheRestOfTheFile) {
  for (const auto& c : kWrites) {
    SCOPED_TRACE(std::string(c.file) + " [" + c.section + "] " + c.key);
    EXPECT_TRUE(WriteProfileString(c.section, c.key, c.value, Path(c.file).c_str()));
    EXPECT_EQ(Read(c.file, c.section, c.key), c.readBack);
  }
  EXPECT_EQ(Read("basic.ini", "General", "Quoted"), "  inside quotes  ");
  EXPECT_EQ(Read("basic.ini", "General", "Long"), kLong);
  EXPECT_EQ(Read("basic.ini", "Dup", "Key"), "first");
  EXPECT_EQ(Read("nonl.ini", "S", "k"), "v");
  EXPECT_EQ(Read("odd.ini", "B] [C", "y"), "3");
  EXPECT_EQ(Read("odd.ini", "Odd", "k"), "=kept=") << "leading blanks of a value are not stored";
  const std::string text = ReadBytes(Path("basic.ini"));
  for (const char* kept : {"; leading comment", "# hash comment", "Name=Second section"}) {
    EXPECT_NE(text.find(kept), std::string::npos) << kept;
  }
  // Keys change where they stand instead of being added again.
  EXPECT_EQ(text.find("Name=Alpha"), std::string::npos);
  EXPECT_EQ(text.find("Spaced"), text.rfind("Spaced"));
}

TEST_F(ProfileCorpus, ImpossibleReadsAndWritesGiveDefaultsAndChangeNothing) {
  const std::string folder = dir_.File("no-such-folder");
  for (const std::string& path : {folder + kPathSep + "x.ini", dir_.path()}) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(WriteProfileString("S", "k", "v", path.c_str()));
    char buffer[16];
    EXPECT_EQ(ReadProfileString("S", "k", "d", buffer, sizeof buffer, path.c_str()), 1u);
    EXPECT_EQ(ReadProfileInt("S", "k", 4, path.c_str()), 4u);
  }
  EXPECT_FALSE(orin::testing::Exists(folder));
  // Null names and paths: no listing forms, no win.ini.
  const std::string basic = Path("basic.ini");
  char buffer[16] = "junk";
  EXPECT_EQ(ReadProfileString(nullptr, "k", "d", buffer, sizeof buffer, basic.c_str()), 0u);
  EXPECT_EQ(std::string(buffer), "");
  EXPECT_EQ(ReadProfileString("S", "k", "d", buffer, sizeof buffer, nullptr), 0u);
  EXPECT_EQ(ReadProfileInt("General", nullptr, 6, basic.c_str()), 6u);
  EXPECT_FALSE(WriteProfileString("General", "Name", nullptr, basic.c_str()));
  EXPECT_FALSE(WriteProfileString(nullptr, "k", "v", basic.c_str()));
  EXPECT_FALSE(WriteProfileString("S", "k", "v", nullptr));
  EXPECT_EQ(ReadBytes(basic), kBasic);
}

TEST_F(ProfileCorpus, ConcurrentWritersKeepEachOthersKeys) {
  const std::string path = Path("shared.ini");
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&path, t] {
      for (int i = 0; i < 25; ++i) {
        const std::string key = std::to_string(t * 100 + i);
        WriteProfileString(t % 2 ? "Odd" : "Even", key.c_str(), key.c_str(), path.c_str());
      }
    });
  }
  for (std::thread& w : writers) w.join();
  for (int n = 0; n < 400; n += (n % 100 == 24 ? 76 : 1)) {
    const std::string key = std::to_string(n);
    EXPECT_EQ(Read("shared.ini", (n / 100) % 2 ? "Odd" : "Even", key.c_str()), key);
  }
}

}  // namespace
}  // namespace orin::platform
