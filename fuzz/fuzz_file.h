#pragma once
#include <cstdint>
#include <cstdio>
#include <string>

#include <unistd.h>

// The cache readers take a path, so every input goes through a real file, one per process.
inline const std::string& FuzzFilePath() {
  static const std::string path = "/tmp/orin-fuzz-" + std::to_string(::getpid()) + ".dat";
  return path;
}

inline const char* WriteFuzzFile(const std::uint8_t* data, std::size_t size) {
  const std::string& path = FuzzFilePath();
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return nullptr;
  if (size > 0) std::fwrite(data, 1, size, f);
  std::fclose(f);
  return path.c_str();
}
