// Test child: "--dump FILE ..." writes every argument, each ended by a NUL, to FILE;
// "--wait FILE" ends once FILE exists.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

int main(int argc, char** argv) {
  if (argc < 3) return 1;
  const bool wait = std::strcmp(argv[1], "--wait") == 0;
  std::FILE* f;
  while ((f = std::fopen(argv[2], wait ? "rb" : "wb")) == nullptr && wait) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (f == nullptr) return 2;
  for (int i = 0; !wait && i < argc; ++i) std::fwrite(argv[i], 1, std::strlen(argv[i]) + 1, f);
  return std::fclose(f);
}
