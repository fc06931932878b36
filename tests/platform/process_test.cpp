#include "platform/process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "platform/host_paths.h"
#include "platform/os.h"
#include "tests/platform/scratch_dir.h"

namespace orin::platform {
namespace {

using orin::testing::ScratchDir;

constexpr std::uint32_t kForever = 0xFFFFFFFFu;
// Generous: only a hung child should ever reach it.
constexpr std::uint32_t kChildLimitMs = 120000;

// The child program is built next to this test program.
std::string ArgDumpPath() {
  char self[1024] = {};
  const std::uint32_t n = HostExecutablePath(self, sizeof self);
  std::string path(self, n);
  const std::size_t sep = path.rfind(kPathSep);
  path = sep == std::string::npos ? std::string() : path.substr(0, sep + 1);
  return path + "orin_argdump" + (kIsWindows ? ".exe" : "");
}

std::vector<std::string> ReadDump(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<std::string> args;
  int count = -1;
  if (!(in >> count)) return args;
  std::string line;
  std::getline(in, line);
  for (int i = 0; i < count && std::getline(in, line); ++i) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::string arg;
    for (std::size_t k = 0; k + 1 < line.size(); k += 2) {
      arg += static_cast<char>(std::strtoul(line.substr(k, 2).c_str(), nullptr, 16));
    }
    args.push_back(arg);
  }
  return args;
}

// What a real child receives is the reference for the splitting rules: under Windows (and Wine)
// its C runtime splits the line; elsewhere SplitCommandLine does, so both must agree.
TEST(StartProcess, ChildReceivesTheArgumentsSplitCommandLineGives) {
  ScratchDir dir;
  const std::string exe = ArgDumpPath();
  const char* tails[] = {
      "plain words here",
      "\"quoted words\" next",
      "a\\\"b",
      "a\\\\\"b c\"",
      "a\\\\\\\"b",
      "a\\\\b \\\\server\\share\\",
      "\"\" \"\" x",
      "\"ends with slash\\\\\"",
      "tab\there \"in\tquote\"",
      "\"a\"\"b c\"",
      "\"a\"\"\"b\"",
      "\"\"\"\"",
      "x\"y z\"w",
      "{\\\"a\\\":\\\"b c\\\"}",
      "\"{\\\"a\\\":\\\"b c\\\"}\"",
      "trailing\\",
  };
  for (const bool quotedProgram : {true, false}) {
    for (const char* tail : tails) {
      const std::string out = dir.File("args.txt");
      std::remove(out.c_str());
      const std::string program = quotedProgram ? "\"" + exe + "\"" : exe;
      const std::string line = program + " --dump \"" + out + "\" " + tail;
      SCOPED_TRACE(line);
      ProcessHandle child = StartProcess(line);
      ASSERT_NE(child, nullptr);
      EXPECT_TRUE(WaitProcess(child, kChildLimitMs));
      CloseProcess(child);
      std::vector<std::string> expect = SplitCommandLine(line);
      std::vector<std::string> got = ReadDump(out);
      // The child sees its program name as the loader reports it, not necessarily as written.
      ASSERT_FALSE(got.empty());
      ASSERT_FALSE(expect.empty());
      EXPECT_EQ(expect[0], exe);
      got.erase(got.begin());
      expect.erase(expect.begin());
      EXPECT_EQ(got, expect);
    }
  }
}

TEST(StartProcess, MissingProgramStartsNothing) {
  ScratchDir dir;
  EXPECT_EQ(StartProcess("\"" + dir.File("no-such-program.exe") + "\" -x"), nullptr);
  EXPECT_EQ(StartProcess(""), nullptr);
}

TEST(WaitProcess, ReportsWhetherTheChildEnded) {
  ProcessHandle shortChild = StartProcess("\"" + ArgDumpPath() + "\" --sleep 0");
  ASSERT_NE(shortChild, nullptr);
  EXPECT_TRUE(WaitProcess(shortChild, kChildLimitMs));
  EXPECT_TRUE(WaitProcess(shortChild, 0)) << "an ended child stays ended";
  CloseProcess(shortChild);

  ProcessHandle longChild = StartProcess("\"" + ArgDumpPath() + "\" --sleep 3000");
  ASSERT_NE(longChild, nullptr);
  EXPECT_FALSE(WaitProcess(longChild, 0));
  EXPECT_FALSE(WaitProcess(longChild, 50));
  EXPECT_TRUE(WaitProcess(longChild, kForever));
  CloseProcess(longChild);

  EXPECT_FALSE(WaitProcess(nullptr, 0));
  CloseProcess(nullptr);
}

}  // namespace
}  // namespace orin::platform
