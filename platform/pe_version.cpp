#include "platform/pe_version.h"

#include <cstring>
#include <vector>

namespace orin::platform {
namespace {

constexpr std::uint32_t kResourceTypeVersion = 16;  // RT_VERSION
constexpr std::uint32_t kFixedInfoSignature = 0xFEEF04BD;
constexpr std::uint32_t kHighBit = 0x80000000u;
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::size_t kFixedInfoSize = 52;           // VS_FIXEDFILEINFO
constexpr std::size_t kFixedInfoOffset = 40;         // after the header and its padded key
constexpr char16_t kVersionKey[] = u"VS_VERSION_INFO";

std::uint32_t Le16(const unsigned char* p) { return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8; }
std::uint32_t Le32(const unsigned char* p) { return Le16(p) | Le16(p + 2) << 16; }

struct Section {
  std::uint32_t virtualAddress;
  std::uint32_t rawSize;
  std::uint32_t rawPointer;
};

class Image {
 public:
  explicit Image(const ByteSource& source) : source_(source) {}

  bool U16(std::uint64_t offset, std::uint32_t& value) const {
    unsigned char b[2];
    if (!source_.ReadAt(offset, b, sizeof b)) return false;
    value = Le16(b);
    return true;
  }
  bool U32(std::uint64_t offset, std::uint32_t& value) const {
    unsigned char b[4];
    if (!source_.ReadAt(offset, b, sizeof b)) return false;
    value = Le32(b);
    return true;
  }

  bool LoadHeaders(std::uint32_t& resourceRva) {
    std::uint32_t mz = 0, peOffset = 0, signature = 0;
    if (!U16(0, mz) || mz != 0x5A4D || !U32(0x3C, peOffset)) return false;
    if (!U32(peOffset, signature) || signature != 0x00004550) return false;
    const std::uint64_t coff = std::uint64_t(peOffset) + 4;
    std::uint32_t sectionCount = 0, optionalSize = 0, magic = 0;
    if (!U16(coff + 2, sectionCount) || !U16(coff + 16, optionalSize)) return false;
    const std::uint64_t optional = coff + 20;
    if (!U16(optional, magic)) return false;
    std::uint32_t countAt, directoriesAt;
    if (magic == 0x10B) {
      countAt = 92, directoriesAt = 96;
    } else if (magic == 0x20B) {
      countAt = 108, directoriesAt = 112;
    } else {
      return false;
    }
    // The resource directory is entry 2; it must lie inside the declared optional header.
    std::uint32_t directoryCount = 0, resourceSize = 0;
    if (optionalSize < directoriesAt + 3 * 8 || !U32(optional + countAt, directoryCount) ||
        directoryCount < 3 || !U32(optional + directoriesAt + 16, resourceRva) ||
        !U32(optional + directoriesAt + 20, resourceSize) || resourceRva == 0 ||
        resourceSize == 0) {
      return false;
    }
    const std::uint64_t table = optional + optionalSize;
    sections_.reserve(sectionCount < 96 ? sectionCount : 96);
    for (std::uint32_t i = 0; i < sectionCount; ++i) {
      unsigned char h[kSectionHeaderSize];
      if (!source_.ReadAt(table + i * kSectionHeaderSize, h, sizeof h)) return false;
      sections_.push_back({Le32(h + 12), Le32(h + 16), Le32(h + 20)});
    }
    return true;
  }

  // Bytes at an RVA, taken from the raw data of the one section that holds all of them.
  bool ReadRva(std::uint64_t rva, void* out, std::size_t size) const {
    for (const Section& s : sections_) {
      if (rva < s.virtualAddress) continue;
      const std::uint64_t into = rva - s.virtualAddress;
      if (into > s.rawSize || s.rawSize - into < size) continue;
      return source_.ReadAt(std::uint64_t(s.rawPointer) + into, out, size);
    }
    return false;
  }
  bool RvaU32(std::uint64_t rva, std::uint32_t& value) const {
    unsigned char b[4];
    if (!ReadRva(rva, b, sizeof b)) return false;
    value = Le32(b);
    return true;
  }

 private:
  const ByteSource& source_;
  std::vector<Section> sections_;
};

// One level of the resource tree: the entry with the given id, or the first entry when id is
// negative. Gives the entry's data word (directory offset with the high bit, or data entry).
bool FindEntry(const Image& image, std::uint64_t directoryRva, std::int64_t id,
               std::uint32_t& data) {
  unsigned char header[16];
  if (!image.ReadRva(directoryRva, header, sizeof header)) return false;
  const std::uint32_t named = Le16(header + 12);
  const std::uint32_t total = named + Le16(header + 14);
  // Id entries follow the named ones.
  for (std::uint32_t i = id < 0 ? 0 : named; i < total; ++i) {
    unsigned char entry[8];
    if (!image.ReadRva(directoryRva + 16 + std::uint64_t(i) * 8, entry, sizeof entry)) return false;
    if (id < 0 || Le32(entry) == std::uint64_t(id)) {
      data = Le32(entry + 4);
      return true;
    }
  }
  return false;
}

class MemorySource final : public ByteSource {
 public:
  MemorySource(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  bool ReadAt(std::uint64_t offset, void* out, std::size_t size) const override {
    if (data_ == nullptr || offset > size_ || size_ - offset < size) return false;
    std::memcpy(out, data_ + offset, size);
    return true;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

}  // namespace

bool ReadPeFileVersion(const ByteSource& source, FileVersion& out) {
  Image image(source);
  std::uint32_t root = 0;
  if (!image.LoadHeaders(root)) return false;
  std::uint32_t type = 0, name = 0, language = 0;
  if (!FindEntry(image, root, kResourceTypeVersion, type) || !(type & kHighBit)) return false;
  if (!FindEntry(image, std::uint64_t(root) + (type & ~kHighBit), -1, name) || !(name & kHighBit)) {
    return false;
  }
  if (!FindEntry(image, std::uint64_t(root) + (name & ~kHighBit), -1, language) ||
      (language & kHighBit)) {
    return false;
  }
  // IMAGE_RESOURCE_DATA_ENTRY: the block's RVA (not relative to the resource root) and size.
  const std::uint64_t entry = std::uint64_t(root) + language;
  std::uint32_t blockRva = 0, blockSize = 0;
  if (!image.RvaU32(entry, blockRva) || !image.RvaU32(entry + 4, blockSize)) return false;
  if (blockSize < kFixedInfoOffset + kFixedInfoSize) return false;

  unsigned char block[kFixedInfoOffset + kFixedInfoSize];
  if (!image.ReadRva(blockRva, block, sizeof block)) return false;
  const std::uint32_t length = Le16(block), valueLength = Le16(block + 2);
  if (length < sizeof block || length > blockSize || valueLength < kFixedInfoSize) return false;
  for (std::size_t i = 0; i < sizeof kVersionKey / sizeof kVersionKey[0]; ++i) {
    if (Le16(block + 6 + 2 * i) != std::uint32_t(kVersionKey[i])) return false;
  }
  const unsigned char* fixed = block + kFixedInfoOffset;
  if (Le32(fixed) != kFixedInfoSignature) return false;
  const std::uint32_t ms = Le32(fixed + 8), ls = Le32(fixed + 12);
  out.part[0] = std::uint16_t(ms >> 16);
  out.part[1] = std::uint16_t(ms & 0xFFFF);
  out.part[2] = std::uint16_t(ls >> 16);
  out.part[3] = std::uint16_t(ls & 0xFFFF);
  return true;
}

bool ReadPeFileVersion(const std::uint8_t* data, std::size_t size, FileVersion& out) {
  return ReadPeFileVersion(MemorySource(data, size), out);
}

}  // namespace orin::platform
