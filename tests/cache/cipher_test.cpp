#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cache/CMyEncrypt.h"
#include "cache/record_format.h"
#include "platform/checksum.h"

namespace orin {
namespace {

CMyEncrypt CacheCipher() {
  CMyEncrypt c;
  c.SetKey(record::kCacheKey, record::kCacheKeyLength);
  return c;
}

std::vector<char> ReferenceXor(std::uint32_t key, const std::vector<char>& in) {
  std::vector<char> out(in.size());
  for (std::size_t i = 0; i < in.size(); ++i) {
    out[i] = static_cast<char>(static_cast<unsigned char>(in[i]) ^ ((key >> (8 * (i % 3))) & 0xFF));
  }
  return out;
}

TEST(Checksum, IsTheStandardCrc32) {
  EXPECT_EQ(platform::Crc32("123456789", 9), 0xCBF43926u);
  EXPECT_EQ(platform::Crc32("", 0), 0u);
  // Without the host's library every build keys the cache the same way.
  EXPECT_EQ(platform::BRCrc32("QuillWorx", 9), 0x0CCCDB48u);
}

TEST(Cipher, KeyStreamCyclesThroughThreeLowBytes) {
  CMyEncrypt c = CacheCipher();
  ASSERT_EQ(c.keyState(), 0x0CCCDB48u);
  const char zeros[7] = {};
  char out[7];
  ASSERT_TRUE(c.Encrypt(zeros, 7, out, 7));
  const unsigned char expected[7] = {0x48, 0xDB, 0xCC, 0x48, 0xDB, 0xCC, 0x48};
  EXPECT_EQ(std::memcmp(out, expected, 7), 0) << "byte 3 reuses key byte 0; the top byte never appears";
}

TEST(Cipher, WordWiseTransformMatchesByteLoopAtEveryLengthAndAlignment) {
  CMyEncrypt c = CacheCipher();
  for (int misalign = 0; misalign < 8; ++misalign) {
    for (int length = 0; length <= 300; ++length) {
      std::vector<char> data(static_cast<std::size_t>(length));
      for (int i = 0; i < length; ++i) data[static_cast<std::size_t>(i)] = static_cast<char>(i * 37 + misalign);
      const std::vector<char> expected = ReferenceXor(c.keyState(), data);

      std::vector<char> src(static_cast<std::size_t>(length + 16)), dst(src.size(), '\x5a');
      std::copy(data.begin(), data.end(), src.begin() + misalign);
      ASSERT_TRUE(c.Encrypt(src.data() + misalign, length, dst.data() + 1, length));
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), dst.begin() + 1))
          << "length " << length << " misalign " << misalign;
      EXPECT_EQ(dst[static_cast<std::size_t>(length) + 1], '\x5a') << "wrote past the end";

      // In place gives the same, and applying it again restores the input.
      ASSERT_TRUE(c.Encrypt(src.data() + misalign, length, src.data() + misalign, length));
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), src.begin() + misalign));
      ASSERT_TRUE(c.Decrypt(src.data() + misalign, length, src.data() + misalign, length));
      ASSERT_TRUE(std::equal(data.begin(), data.end(), src.begin() + misalign));
    }
  }
}

TEST(Cipher, RefusesOutputSmallerThanInputAndIgnoresNonPositiveLengths) {
  CMyEncrypt c = CacheCipher();
  const char in[4] = {'a', 'b', 'c', 'd'};
  char out[4] = {'x', 'x', 'x', 'x'};
  EXPECT_FALSE(c.Encrypt(in, 4, out, 3));
  EXPECT_FALSE(c.Decrypt(in, 4, out, 3));
  EXPECT_EQ(std::string(out, 4), "xxxx");
  EXPECT_TRUE(c.Encrypt(in, 0, out, 4));
  EXPECT_TRUE(c.Encrypt(in, -5, out, 4));
  EXPECT_EQ(std::string(out, 4), "xxxx");
  EXPECT_TRUE(c.Encrypt(in, 4, out, 4));
  EXPECT_NE(std::string(out, 4), "xxxx");
}

}  // namespace
}  // namespace orin
