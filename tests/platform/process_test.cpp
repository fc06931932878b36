#include "platform/process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "platform/host_paths.h"
#include "platform/os.h"
#include "tests/platform/command_line_cases.h"
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

// One hex line per argument (an empty line is an empty argument).
std::vector<std::string> ReadDump(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<std::string> args;
  std::string hex;
  int count = 0;
  in >> count;
  std::getline(in, hex);
  while (count-- > 0 && std::getline(in, hex)) {
    std::string arg;
    for (std::size_t k = 0; k + 1 < hex.size(); k += 2) {
      arg += static_cast<char>(std::stoi(hex.substr(k, 2), nullptr, 16));
    }
    args.push_back(arg);
  }
  return args;
}

// Under Windows (and Wine) the child's own C runtime splits the line: the reference for
// SplitCommandLine. Elsewhere this proves the split arguments reach the child unchanged.
TEST(StartProcess, ChildReceivesTheSplitArguments) {
  ScratchDir dir;
  const std::string exe = ArgDumpPath();
  const std::string out = dir.File("args.txt");
  for (const bool quotedProgram : {true, false}) {
    for (const auto& c : orin::testing::SplitCases()) {
      std::remove(out.c_str());
      const std::string program = quotedProgram ? "\"" + exe + "\"" : exe;
      const std::string line = program + " --dump \"" + out + "\" " + c.tail;
      SCOPED_TRACE(line);
      ProcessHandle child = StartProcess(line);
      ASSERT_NE(child, nullptr);
      EXPECT_TRUE(WaitProcess(child, kChildLimitMs));
      CloseProcess(child);
      std::vector<std::string> expect = {exe, "--dump", out};
      expect.insert(expect.end(), c.args.begin(), c.args.end());
      EXPECT_EQ(SplitCommandLine(line), expect);
      EXPECT_EQ(ReadDump(out), expect);
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
