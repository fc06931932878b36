// Test child: "--dump FILE ..." writes its argument count and every argument (hex, so that
// blanks, quotes and empty arguments survive) to FILE; "--sleep MS" just sleeps.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

int main(int argc, char** argv) {
  if (argc >= 3 && std::strcmp(argv[1], "--sleep") == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(argv[2])));
    return 0;
  }
  if (argc >= 3 && std::strcmp(argv[1], "--dump") == 0) {
    std::FILE* out = std::fopen(argv[2], "wb");
    if (out == nullptr) return 2;
    std::fprintf(out, "%d\n", argc);
    for (int i = 0; i < argc; ++i) {
      for (const char* p = argv[i]; *p != '\0'; ++p) {
        std::fprintf(out, "%02x", static_cast<unsigned>(static_cast<unsigned char>(*p)));
      }
      std::fprintf(out, "\n");
    }
    return std::fclose(out) == 0 ? 0 : 3;
  }
  return 1;
}
