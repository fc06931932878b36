// orinhlp: the helper the module starts beside the host's executable.
//   orinhlp.exe -submit_cache | -submit "JSON" | -update_cache  [--verbose] [--batch N]
//   orinhlp.exe --version
// Settings come from OrAnacfg.ini beside this program. Exit 0 on success; otherwise one line on
// stderr saying why (codes in helper/report.h).
#include <cstdio>
#include <cstdlib>
#include <string>

#include "helper/commands.h"

namespace {

int Usage(const std::string& why) {
  std::fprintf(stderr,
               "orinhlp: %s\n"
               "usage: orinhlp -submit_cache | -submit \"JSON\" | -update_cache [--verbose] "
               "[--batch N]\n",
               why.c_str());
  return orin::helper::kBadUsage;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace orin::helper;
  std::string command, json;
  bool verbose = false;
  long batch = kDefaultBatch;
  // The module's switches have a single dash and long names, which option libraries read as
  // bundles of letters; the command line is short enough to walk by hand.
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--version") {
      std::printf("orinhlp %s\n", ORIN_VERSION);
      return 0;
    } else if (arg == "--verbose" || arg == "-v") {
      verbose = true;
    } else if (arg == "--batch" && i + 1 < argc) {
      char* end = nullptr;
      batch = std::strtol(argv[++i], &end, 10);
      if (end == argv[i] || *end != '\0' || batch < 1 || batch > 100000) {
        return Usage("--batch needs a number from 1 to 100000");
      }
    } else if (command.empty() && (arg == "-submit_cache" || arg == "-update_cache")) {
      command = arg;
    } else if (command.empty() && arg == "-submit" && i + 1 < argc) {
      command = arg;
      json = argv[++i];
    } else {
      return Usage("unexpected argument '" + arg + "'");
    }
  }
  if (command.empty()) return Usage("no command");

  const Report report(verbose);
  const Settings settings = ReadSettings();
  report.Note("cache " + settings.cachePath + ", collector " + settings.address);
  Result result;
  if (command == "-submit_cache") {
    result = SubmitCache(settings, static_cast<std::int32_t>(batch), report);
  } else if (command == "-submit") {
    result = SubmitEvents(settings, json, report);
  } else {
    result = UpdateCache(settings, report);
  }
  if (result.code != 0) std::fprintf(stderr, "orinhlp: %s\n", result.reason.c_str());
  return result.code;
}
