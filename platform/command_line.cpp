#include "platform/process.h"

namespace orin::platform {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

std::vector<std::string> SplitCommandLine(const std::string& commandLine) {
  std::vector<std::string> args;
  const std::size_t n = commandLine.size();
  std::size_t i = 0;

  // The program name is special: a quoted one runs to the next quote, with backslashes taken
  // literally (a Windows path may end in one).
  std::string program;
  if (i < n && commandLine[i] == '"') {
    ++i;
    while (i < n && commandLine[i] != '"') program += commandLine[i++];
    if (i < n) ++i;
  } else {
    while (i < n && !IsBlank(commandLine[i])) program += commandLine[i++];
  }
  args.push_back(program);

  for (;;) {
    while (i < n && IsBlank(commandLine[i])) ++i;
    if (i >= n) break;

    std::string arg;
    bool inQuote = false;
    while (i < n) {
      std::size_t slashes = 0;
      while (i < n && commandLine[i] == '\\') {
        ++slashes;
        ++i;
      }
      if (i < n && commandLine[i] == '"') {
        arg.append(slashes / 2, '\\');
        if (slashes % 2 == 1) {
          arg += '"';
        } else if (inQuote && i + 1 < n && commandLine[i + 1] == '"') {
          // "" inside a quoted span is one literal quote; the span goes on.
          arg += '"';
          ++i;
        } else {
          inQuote = !inQuote;
        }
        ++i;
        continue;
      }
      arg.append(slashes, '\\');
      if (i >= n) break;
      if (!inQuote && IsBlank(commandLine[i])) break;
      arg += commandLine[i++];
    }
    args.push_back(arg);
  }
  return args;
}

}  // namespace orin::platform
