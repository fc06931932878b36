#pragma once
#include <cstdint>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

// The readers under test take a path, so each input is handed over as a file: one anonymous
// memory file (memfd) per process, named through /proc/self/fd. No disk, no folder entry to make
// or remove per input, nothing left behind when the process ends; the file is emptied after each
// input, so no input sees another's bytes.
class FuzzFile {
 public:
  FuzzFile(const std::uint8_t* data, std::size_t size) {
    const int fd = Fd();
    if (fd < 0 || ::ftruncate(fd, 0) != 0) return;
    std::size_t done = 0;
    while (done < size) {
      const ssize_t n = ::pwrite(fd, data + done, size - done, static_cast<off_t>(done));
      if (n <= 0) return;
      done += static_cast<std::size_t>(n);
    }
    ok_ = true;
  }
  ~FuzzFile() {
    if (Fd() >= 0) (void)::ftruncate(Fd(), 0);
  }
  FuzzFile(const FuzzFile&) = delete;
  FuzzFile& operator=(const FuzzFile&) = delete;

  // nullptr when the input could not be written.
  const char* path() const { return ok_ ? Path().c_str() : nullptr; }
  // What the file holds now.
  std::string Contents() const {
    std::string out;
    char buffer[4096];
    for (ssize_t n; (n = ::pread(Fd(), buffer, sizeof buffer, static_cast<off_t>(out.size()))) > 0;) {
      out.append(buffer, static_cast<std::size_t>(n));
    }
    return out;
  }

 private:
  static int Fd() {
    static const int fd = ::memfd_create("orin-fuzz", MFD_CLOEXEC);
    return fd;
  }
  static const std::string& Path() {
    static const std::string path = "/proc/self/fd/" + std::to_string(Fd());
    return path;
  }
  bool ok_ = false;
};
