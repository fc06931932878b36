#include "platform/process.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "platform/host_paths.h"
#include "platform/os.h"
#include "support/TempDir.h"

namespace orin::platform {
namespace {

using Args = std::vector<std::string>;

constexpr std::uint32_t kForever = 0xFFFFFFFFu;
constexpr std::uint32_t kChildLimitMs = 120000;  // only a hung child gets near it

// Argument tails after a program name, and what the Microsoft C runtime makes of them.
const struct {
  const char* tail;
  Args args;
} kSplits[] = {
    {"a b  c", {"a", "b", "c"}},
    {"\ta\t\tb   ", {"a", "b"}},
    {"\"a b\" c", {"a b", "c"}},
    {"a\"b c\"d", {"ab cd"}},
    {"\"\" \"\" x", {"", "", "x"}},
    {"a\\\"b", {"a\"b"}},          // odd run before a quote: a literal quote
    {"a\\\\\"b c\"", {"a\\b c"}},  // even run: halved, the quote toggles
    {"a\\\\\\\"b", {"a\\\"b"}},
    {"a\\\\b \\\\srv\\share\\", {"a\\\\b", "\\\\srv\\share\\"}},  // not before a quote
    {"\"ends with slash\\\\\"", {"ends with slash\\"}},
    {"\"a\"\"b c\"", {"a\"b c"}},  // "" inside quotes: a quote, still quoted
    {"\"a\"\"\"b\"", {"a\"b"}},
    {"\"\"\"\"", {"\""}},
    {"\"in\tquote\" \"open b", {"in\tquote", "open b"}},
    {"\"{\\\"a\\\":\\\"b c\\\"}\"", {"{\"a\":\"b c\"}"}},
};

TEST(SplitCommandLine, FollowsTheMicrosoftRuntimeRules) {
  for (const auto& c : kSplits) {
    Args expect = c.args;
    expect.insert(expect.begin(), "prog");
    EXPECT_EQ(SplitCommandLine(std::string("prog ") + c.tail), expect) << c.tail;
  }
  // A quoted program name ends at the next quote, with no escapes.
  EXPECT_EQ(SplitCommandLine("\"C:\\Program Files\\h.exe\" -x"),
            (Args{"C:\\Program Files\\h.exe", "-x"}));
  EXPECT_EQ(SplitCommandLine("\"C:\\dir\\\" x"), (Args{"C:\\dir\\", "x"}));
  EXPECT_EQ(SplitCommandLine("\"a\"b c"), (Args{"a", "b", "c"}));
  EXPECT_EQ(SplitCommandLine(""), (Args{""}));
}

std::string ArgDumpPath() {  // built next to this test program
  char self[1024] = {};
  std::string path(self, HostExecutablePath(self, sizeof self));
  return path.substr(0, path.rfind(kPathSep) + 1) + "orin_argdump" + (kIsWindows ? ".exe" : "");
}

// One hex line per argument (an empty line is an empty argument).
Args ReadDump(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  Args args;
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

// Under Windows (and Wine) the child's own C runtime splits the line: the reference for the
// table above. Elsewhere this proves the split arguments reach the child unchanged.
TEST(StartProcess, ChildReceivesTheSplitArguments) {
  orin::testing::TempDir dir;
  const std::string exe = ArgDumpPath();
  const std::string out = dir.File("args.txt");
  for (const bool quotedProgram : {true, false}) {
    for (const auto& c : kSplits) {
      std::remove(out.c_str());
      const std::string program = quotedProgram ? "\"" + exe + "\"" : exe;
      const std::string line = program + " --dump \"" + out + "\" " + c.tail;
      SCOPED_TRACE(line);
      ProcessHandle child = StartProcess(line);
      ASSERT_NE(child, nullptr);
      EXPECT_TRUE(WaitProcess(child, kChildLimitMs));
      CloseProcess(child);
      Args expect = {exe, "--dump", out};
      expect.insert(expect.end(), c.args.begin(), c.args.end());
      EXPECT_EQ(ReadDump(out), expect);
    }
  }
}

TEST(StartProcess, WaitReportsWhetherTheChildEnded) {
  orin::testing::TempDir dir;
  EXPECT_EQ(StartProcess("\"" + dir.File("no-such-program.exe") + "\" -x"), nullptr);
  EXPECT_EQ(StartProcess(""), nullptr);

  ProcessHandle quick = StartProcess("\"" + ArgDumpPath() + "\" --sleep 0");
  ASSERT_NE(quick, nullptr);
  EXPECT_TRUE(WaitProcess(quick, kChildLimitMs));
  EXPECT_TRUE(WaitProcess(quick, 0)) << "an ended child stays ended";
  CloseProcess(quick);

  ProcessHandle slow = StartProcess("\"" + ArgDumpPath() + "\" --sleep 3000");
  ASSERT_NE(slow, nullptr);
  EXPECT_FALSE(WaitProcess(slow, 0));
  EXPECT_FALSE(WaitProcess(slow, 50));
  EXPECT_TRUE(WaitProcess(slow, kForever));
  CloseProcess(slow);

  EXPECT_FALSE(WaitProcess(nullptr, 0));
  CloseProcess(nullptr);
}

}  // namespace
}  // namespace orin::platform
