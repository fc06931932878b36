// Child of the exit test: posts events to the process-wide engine and returns from main while its
// worker is still storing them, as a host that never calls StopWorker does.
// Arguments: CACHE ID_INI REPORT. REPORT gets "quiet" when, once every other object of static
// lifetime has been destroyed, nothing more is appended to CACHE and (where /proc tells) no other
// thread runs; otherwise what it saw. A crash at exit leaves it unwritten.
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <orinpoint/IQuillAnalyze.h>

#include "platform/thread.h"

namespace {

std::streamoff SizeOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  return in ? static_cast<std::streamoff>(in.tellg()) : -1;
}

// Threads of this process, or 1 where the system does not say.
int Threads() {
  std::error_code ec;
  int n = 0;
  for (std::filesystem::directory_iterator it("/proc/self/task", ec), end; !ec && it != end;
       it.increment(ec)) {
    ++n;
  }
  return n > 0 ? n : 1;
}

// Built before the engine, so destroyed after it and after everything the worker uses.
struct LastWord {
  std::string cache, report;
  ~LastWord() {
    const std::streamoff before = SizeOf(cache);
    orin::platform::SleepMs(1500);  // several worker passes
    std::string seen;
    if (SizeOf(cache) != before) seen += "still appending ";
    if (Threads() != 1) seen += "still running ";
    std::ofstream(report) << (seen.empty() ? "quiet" : seen);
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  static LastWord last;
  last.cache = argv[1];
  last.report = argv[3];
  orin::IQuillAnalyze* engine = orin::GetAnalyzeEngine();
  if (!engine->InitializeWithIdFile(argv[1], argv[2], "", nullptr)) return 3;
  engine->SetCommonString("m", "exit test");  // opens the worker's gate
  for (int i = 0; i < 40; ++i) {
    engine->SetEventIds(1, i);
    if (!engine->PostEvent(0)) return 4;
  }
  // Leave once the worker is under way, with most events still queued.
  for (int waited = 0; SizeOf(argv[1]) <= 0 && waited < 60000; waited += 10) {
    orin::platform::SleepMs(10);
  }
  return 0;
}
