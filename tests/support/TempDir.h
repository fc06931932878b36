#pragma once
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <string>
#include <system_error>

namespace orin::testing {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
 public:
  TempDir() {
    static std::atomic<int> counter{0};
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = (std::filesystem::temp_directory_path() /
             ("orin-test-" + std::to_string(stamp) + "-" + std::to_string(counter++))).string();
    std::filesystem::create_directories(path_);
  }
  ~TempDir() { std::error_code ec; std::filesystem::remove_all(path_, ec); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const {
    return (std::filesystem::path(path_) / name).string();
  }

 private:
  std::string path_;
};

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

// Sets a variable of this process's environment for the rest of its life (putenv keeps the text).
inline void SetEnvironment(const std::string& name, const std::string& value) {
  static std::list<std::string> kept;
  kept.push_back(name + "=" + value);
  putenv(kept.back().data());
}

inline bool Exists(const std::string& path) {
  std::error_code ec;
  return std::filesystem::exists(path, ec);
}

}  // namespace orin::testing
