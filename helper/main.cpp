// orinhlp: the helper the module starts beside the host's executable.
//   orinhlp.exe -submit_cache | -submit "JSON" | -update_cache
//               [--verbose] [--batch N] [--deadline S] [--lock-wait S]
//   orinhlp.exe --version
// Settings come from OrAnacfg.ini beside this program. Exit 0 on success; otherwise one line on
// stderr saying why (codes in helper/report.h).
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "helper/commands.h"
#include "helper/raw_submit.h"
#include "platform/process.h"
#include "platform/raw_command_line.h"

namespace {

int Usage(const std::string& why) {
  std::fprintf(stderr,
               "orinhlp: %s\n"
               "usage: orinhlp -submit_cache | -submit \"JSON\" | -update_cache [--verbose] "
               "[--batch N] [--deadline SECONDS] [--lock-wait SECONDS]\n",
               why.c_str());
  return orin::helper::kBadUsage;
}

bool ReadNumber(const std::string& text, long low, long high, long& out) {
  char* end = nullptr;
  out = std::strtol(text.c_str(), &end, 10);
  return end != text.c_str() && *end == '\0' && out >= low && out <= high;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace orin::helper;
  std::vector<std::string> args(argv, argv + argc);
  std::string command, json;
  bool rawJson = false;
  // A -submit text is read from the line the module wrote, since argv cannot give it back
  // whole; the options after it are split as usual.
  {
    std::string text, rest;
    if (TakeSubmitText(orin::platform::RawCommandLine(argc, argv), text, rest)) {
      command = "-submit";
      json = text;
      rawJson = true;
      args = orin::platform::SplitCommandLine("orinhlp " + rest);
    }
  }
  bool verbose = false;
  long batch = kDefaultBatch, deadline = -1, lockWait = -1;
  // The module's switches have a single dash and long names, which option libraries read as
  // bundles of letters; the command line is short enough to walk by hand.
  for (std::size_t i = 1; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const bool hasValue = i + 1 < args.size();
    if (arg == "--version") {
      std::printf("orinhlp %s\n", ORIN_VERSION);
      return 0;
    } else if (arg == "--verbose" || arg == "-v") {
      verbose = true;
    } else if (arg == "--batch" && hasValue) {
      if (!ReadNumber(args[++i], 1, 100000, batch)) {
        return Usage("--batch needs a number from 1 to 100000");
      }
    } else if ((arg == "--deadline" || arg == "--lock-wait") && hasValue) {
      long& value = arg == "--deadline" ? deadline : lockWait;
      if (!ReadNumber(args[++i], 0, 86400, value)) return Usage(arg + " needs seconds, 0 to 86400");
    } else if (command.empty() && (arg == "-submit_cache" || arg == "-update_cache")) {
      command = arg;
    } else if (command.empty() && arg == "-submit" && hasValue) {
      command = arg;
      json = args[++i];
    } else {
      return Usage("unexpected argument '" + arg + "'");
    }
  }
  if (command.empty()) return Usage("no command");

  const Report report(verbose);
  Settings settings = ReadSettings();
  if (deadline >= 0) settings.requestDeadlineMs = static_cast<std::uint32_t>(deadline) * 1000u;
  if (lockWait >= 0) settings.lockWaitMs = static_cast<std::uint32_t>(lockWait) * 1000u;
  report.Note("cache " + settings.cachePath + ", collector " + settings.address);
  if (command == "-submit") report.Note(rawJson ? "-submit text read from the raw command line" : "-submit text read from argv");
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
