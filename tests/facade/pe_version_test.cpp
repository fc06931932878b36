// The two readers of a file's version: the system's (the version API on Windows) and the portable
// PE reader, which every build compiles. Both must read real MinGW-built images the same way.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "facade/env_text.h"
#include "platform/file_version.h"
#include "platform/os.h"
#include "platform/pe_version.h"
#include "support/Programs.h"
#include "support/TempDir.h"

namespace orin::platform {
namespace {

using namespace orin::testing;

std::string BesideTest(const char* name) { return ProgramFolder() + name; }

std::vector<std::uint8_t> Image(const std::string& path) {
  const std::string bytes = ReadBytes(path);
  return {bytes.begin(), bytes.end()};
}

bool Portable(const std::vector<std::uint8_t>& bytes, FileVersion& out) {
  return ReadPeFileVersion(bytes.data(), bytes.size(), out);
}

std::vector<std::uint16_t> Parts(const FileVersion& v) { return {v.part, v.part + 4}; }

const std::vector<std::uint16_t> kExpected = {7, 3, 1, 9};

class PeVersion : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Exists(BesideTest("pe_versioned.exe"))) GTEST_SKIP() << "no MinGW: test images not built";
  }
};

TEST_F(PeVersion, BothReadersAgreeOnRealImages) {
  FileVersion system, portable;
  EXPECT_TRUE(ReadFileVersion(BesideTest("pe_versioned.exe").c_str(), system));
  EXPECT_TRUE(Portable(Image(BesideTest("pe_versioned.exe")), portable));
  EXPECT_EQ(Parts(system), kExpected);
  EXPECT_EQ(Parts(portable), kExpected);

  FileVersion untouched;
  untouched.part[0] = 42;
  EXPECT_FALSE(ReadFileVersion(BesideTest("pe_plain.exe").c_str(), untouched));
  EXPECT_FALSE(Portable(Image(BesideTest("pe_plain.exe")), untouched));
  EXPECT_FALSE(ReadFileVersion(BesideTest("no-such-file.exe").c_str(), untouched));
  // What the project ships carries its version, as numbers and as the texts Windows shows.
  const std::string stamped = ORIN_VERSION;
  std::vector<std::uint8_t> wide;
  for (char c : stamped) wide.insert(wide.end(), {std::uint8_t(c), 0});
  const std::vector<std::uint16_t> project = {ORIN_VERSION_PARTS, 0};
  for (const char* name : {"orinpoint.dll", "orinhlp.exe", "orincache.exe"}) {
    const std::string path = BesideTest("shipped") + kPathSep + name;
    if (!Exists(path)) continue;  // the Windows images come only from the cross build
    SCOPED_TRACE(name);
    FileVersion fromSystem, fromBytes;
    EXPECT_TRUE(ReadFileVersion(path.c_str(), fromSystem));
    const std::vector<std::uint8_t> image = Image(path);
    EXPECT_TRUE(Portable(image, fromBytes));
    EXPECT_EQ(Parts(fromSystem), project);
    EXPECT_EQ(Parts(fromBytes), project);
    EXPECT_LT(std::search(image.begin(), image.end(), wide.begin(), wide.end()), image.end());
  }

  TempDir dir;
  WriteBytes(dir.File("text.exe"), "MZ but nothing else");
  EXPECT_FALSE(ReadFileVersion(dir.File("text.exe").c_str(), untouched));
  EXPECT_EQ(untouched.part[0], 42) << "a failed read leaves the result alone";
}

std::size_t Find(const std::vector<std::uint8_t>& bytes, const std::vector<std::uint8_t>& what) {
  return std::size_t(std::search(bytes.begin(), bytes.end(), what.begin(), what.end()) - bytes.begin());
}

// Every prefix of the image sits in a buffer of exactly its size, so under ASan any read past
// the input shows; a prefix either fails or gives the whole, right answer. A damaged marker fails.
TEST_F(PeVersion, TruncatedOrDamagedImagesFailCleanly) {
  const std::vector<std::uint8_t> full = Image(BesideTest("pe_versioned.exe"));
  std::size_t shortestGood = full.size() + 1;
  for (std::size_t n = 0; n < full.size(); ++n) {
    const std::vector<std::uint8_t> prefix(full.begin(), full.begin() + std::ptrdiff_t(n));
    FileVersion v;
    if (Portable(prefix, v)) {
      ASSERT_EQ(Parts(v), kExpected) << n;
      shortestGood = std::min(shortestGood, n);
    }
  }
  EXPECT_GT(shortestGood, 512u) << "the resource lies past the headers";

  const std::size_t peAt = full[0x3C] | std::size_t(full[0x3D]) << 8;
  const std::vector<std::uint8_t> key = {'V', 0, 'S', 0, '_', 0, 'V', 0, 'E', 0, 'R', 0};
  const struct {
    const char* what;
    std::size_t at;
  } damage[] = {
      {"MZ", 0},
      {"PE signature", peAt},
      {"optional header magic", peAt + 24},
      {"VS_VERSION_INFO key", Find(full, key)},
      {"fixed-info signature", Find(full, {0xBD, 0x04, 0xEF, 0xFE})},
  };
  for (const auto& d : damage) {
    ASSERT_LT(d.at, full.size()) << d.what;
    std::vector<std::uint8_t> bytes = full;
    bytes[d.at] ^= 0x20;
    FileVersion v;
    EXPECT_FALSE(Portable(bytes, v)) << d.what;
  }
}

TEST(ProductVersionText, PartsCombineAsMajorMinorBuild) {
  const std::pair<const char*, std::int32_t> cases[] = {
      {"7.3.1", 70301}, {"12", 120000}, {"", 0},        {"7.3", 70300},
      {"7..1", 70001},  {"1.2.3.4", 10203}, {"a.b.c", 0}, {" 7.03.1x", 70301},
      {"65535.65535.65535", 655350000 + 6553500 + 65535},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(facade_detail::ProductVersionFromText(c.first), c.second) << c.first;
  }
}

}  // namespace
}  // namespace orin::platform
