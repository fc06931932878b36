#pragma once
// A file that cannot be removed or replaced while pinned, as one held by a virus scanner: open
// without delete sharing on Windows (the C runtime opens so), immutable on Linux.
#include <cstdio>
#include <string>

#include "platform/os.h"
#include "platform/process.h"
#include "support/HostFiles.h"

namespace orin::testing {

class PinnedFile {
 public:
  explicit PinnedFile(std::string path) : path_(std::move(path)) {
    if (platform::kIsWindows) {
      held_ = std::fopen(path_.c_str(), "rb");
      pinned_ = held_ != nullptr;
    } else {
      pinned_ = Chattr("+i");
    }
  }
  ~PinnedFile() { Unpin(); }
  PinnedFile(const PinnedFile&) = delete;
  PinnedFile& operator=(const PinnedFile&) = delete;

  bool pinned() const { return pinned_; }
  void Unpin() {
    if (!pinned_) return;
    if (held_ != nullptr) std::fclose(held_);
    held_ = nullptr;
    if (!platform::kIsWindows) Chattr("-i");
    pinned_ = false;
  }

 private:
  bool Chattr(const char* flag) {
    return ExitCodeOf(platform::StartProcess(std::string("/usr/bin/chattr ") + flag + " \"" +
                                             path_ + "\"")) == 0;
  }

  std::string path_;
  std::FILE* held_ = nullptr;
  bool pinned_ = false;
};

}  // namespace orin::testing
