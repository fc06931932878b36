#pragma once
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

#include "platform/os.h"

namespace orin::testing {

// A fresh folder under the system's temporary folder, removed with all it holds at the end.
class ScratchDir {
 public:
  ScratchDir() {
    static std::atomic<unsigned> counter{0};
    const std::filesystem::path p = std::filesystem::temp_directory_path() /
        ("orin-test-" + std::to_string(std::random_device{}()) + "-" + std::to_string(counter++));
    std::error_code ec;
    if (std::filesystem::create_directory(p, ec)) path_ = p.string();
    while (path_.size() > 1 && path_.back() == platform::kPathSep) path_.pop_back();
  }
  ~ScratchDir() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + platform::kPathSep + name; }

 private:
  std::string path_;
};

inline void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

inline std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool Exists(const std::string& path) {
  std::error_code ec;
  return std::filesystem::exists(path, ec);
}

}  // namespace orin::testing
