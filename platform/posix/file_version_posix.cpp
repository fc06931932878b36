#include "platform/file_version.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "platform/pe_version.h"

namespace orin::platform {
namespace {

// Reads what the PE walk asks for straight from the file, so a large executable is never
// loaded whole.
class FileSource final : public ByteSource {
 public:
  explicit FileSource(int fd) : fd_(fd) {}
  bool ReadAt(std::uint64_t offset, void* out, std::size_t size) const override {
    auto* p = static_cast<char*>(out);
    while (size > 0) {
      if (offset > std::uint64_t(INT64_MAX)) return false;
      const ssize_t n = ::pread(fd_, p, size, static_cast<off_t>(offset));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return false;
      p += n;
      offset += std::uint64_t(n);
      size -= std::size_t(n);
    }
    return true;
  }

 private:
  int fd_;
};

}  // namespace

bool ReadFileVersion(const char* path, FileVersion& out) {
  if (path == nullptr) return false;
  int fd;
  do {
    fd = ::open(path, O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return false;
  const bool ok = ReadPeFileVersion(FileSource(fd), out);
  ::close(fd);
  return ok;
}

}  // namespace orin::platform
