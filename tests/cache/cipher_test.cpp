#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "cache/CMyEncrypt.h"
#include "cache/record_format.h"
#include "platform/checksum.h"

namespace orin {
namespace {

// The word-wise transform against a byte loop over the three low bytes of the key's CRC-32 (the
// top byte never takes part), from unaligned sources and in place.
TEST(Cipher, MatchesAByteLoopOverTheKeyChecksumAtEveryLengthAndAlignment) {
  EXPECT_EQ(platform::Crc32("123456789", 9), 0xCBF43926u);
  CMyEncrypt c;
  c.SetKey(record::kCacheKey, record::kCacheKeyLength);
  // Without the host's library every build keys the cache the same way.
  ASSERT_EQ(c.keyState(), 0x0CCCDB48u);
  for (int misalign = 0; misalign < 8; ++misalign) {
    for (std::size_t length = 0; length <= 300; ++length) {
      std::string data(length, '\0'), expected(length, '\0');
      for (std::size_t i = 0; i < length; ++i) {
        data[i] = static_cast<char>(i * 37 + misalign);
        expected[i] = static_cast<char>(data[i] ^ (0x0CCCDB48u >> (8 * (i % 3))));
      }
      const auto n = static_cast<std::int32_t>(length);
      std::string src(length + 16, '\0'), dst(length + 2, '\x5a');
      src.replace(misalign, length, data);
      char* in = &src[misalign];
      ASSERT_TRUE(c.Encrypt(in, n, &dst[1], n));
      ASSERT_EQ(dst.substr(1, length), expected) << length << " bytes, misaligned " << misalign;
      EXPECT_EQ(dst.back(), '\x5a') << "wrote past the end";

      ASSERT_TRUE(c.Encrypt(in, n, in, n));
      ASSERT_EQ(src.substr(misalign, length), expected);
      ASSERT_TRUE(c.Decrypt(in, n, in, n));
      ASSERT_EQ(src.substr(misalign, length), data);
    }
  }
  // An output smaller than the input is refused untouched.
  char out[4] = {'x', 'x', 'x', 'x'};
  EXPECT_FALSE(c.Encrypt("abcd", 4, out, 3) || c.Decrypt("abcd", 4, out, 3));
  EXPECT_EQ(std::string(out, 4), "xxxx");
}

}  // namespace
}  // namespace orin
