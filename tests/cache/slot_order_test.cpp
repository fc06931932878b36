// The slot of each virtual operation, read from its member pointer under the Itanium C++ ABI
// (GCC, Clang, MinGW-w64): 1 + the slot's byte offset in the virtual table.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "cache/CAnalyticsFile.h"
#include "cache/CMyEncrypt.h"

namespace orin {
namespace {

template <typename M>
std::ptrdiff_t Slot(M member) {
  static_assert(sizeof member == 2 * sizeof(void*), "Itanium member pointer expected");
  std::uintptr_t raw[2];
  std::memcpy(raw, &member, sizeof raw);
  return static_cast<std::ptrdiff_t>((raw[0] - 1) / sizeof(void*));
}

TEST(SlotOrder, OperationsComeFirstInTheirOrderAndTheDestructorAfterThem) {
  const std::ptrdiff_t cipher[] = {
      Slot(&CMyEncrypt::SetKey),    Slot(&CMyEncrypt::Encrypt),   Slot(&CMyEncrypt::Decrypt),
      Slot(&CMyEncrypt::DoEncrypt), Slot(&CMyEncrypt::DoDecrypt), Slot(&CMyEncrypt::XorWithKey)};
  const std::ptrdiff_t file[] = {
      Slot(&CAnalyticsFile::LoadFile),         Slot(&CAnalyticsFile::ReadChunks),
      Slot(&CAnalyticsFile::ReadAllEvents),    Slot(&CAnalyticsFile::AppendText),
      Slot(&CAnalyticsFile::AppendEvent),      Slot(&CAnalyticsFile::ReadNextBatch),
      Slot(&CAnalyticsFile::CommitConsumed),   Slot(&CAnalyticsFile::PutBack),
      Slot(&CAnalyticsFile::ReadNextBatchWithUser), Slot(&CAnalyticsFile::WriteUnread),
      Slot(&CAnalyticsFile::LoadRecords),      Slot(&CAnalyticsFile::ReadChunk),
      Slot(&CAnalyticsFile::ReadRecordTexts),  Slot(&CAnalyticsFile::ParseRecords),
      Slot(&CAnalyticsFile::ParseRecordsWithUser), Slot(&CAnalyticsFile::AppendRecord),
      Slot(&CAnalyticsFile::NewRecord)};
  for (std::ptrdiff_t i = 0; i < 6; ++i) EXPECT_EQ(cipher[i], i);
  for (std::ptrdiff_t i = 0; i < 17; ++i) EXPECT_EQ(file[i], i);
}

}  // namespace
}  // namespace orin
