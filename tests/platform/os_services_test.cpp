// Files, processes, threads, host paths and host texts: the thin services the engine gets
// from the OS.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/process.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "support/Programs.h"
#include "support/TempDir.h"

namespace orin::platform {
namespace {

using namespace orin::testing;

TEST(Files, TellAMissingLastLevelFromAMissingFolderAndReplaceTargetsOnlyOnSuccess) {
  TempDir dir;
  const std::string a = dir.File("a.dat");
  const std::string b = dir.File("a.dat-bak");
  const std::string absent = dir.File("absent");
  const std::string deeper = absent + kPathSep + "deeper";
  WriteBytes(a, "new");
  EXPECT_EQ(QueryPath(dir.path().c_str()), PathStatus::kExists);
  EXPECT_EQ(QueryPath(absent.c_str()), PathStatus::kNotFound);
  EXPECT_EQ(QueryPath(deeper.c_str()), PathStatus::kOtherError);
  EXPECT_EQ(QueryPath((a + kPathSep + "below-a-file").c_str()), PathStatus::kOtherError);
  EXPECT_FALSE(CreateDir(deeper.c_str())) << "one level only";
  EXPECT_TRUE(CreateDir(absent.c_str()));
  EXPECT_FALSE(RemoveFile(absent.c_str())) << "folders are not files";
  EXPECT_EQ(QueryPath(deeper.c_str()), PathStatus::kNotFound);

  WriteBytes(b, std::string(100000, 'z'));
  EXPECT_TRUE(MoveFileReplacing(a.c_str(), b.c_str()));
  EXPECT_FALSE(Exists(a));
  EXPECT_EQ(ReadBytes(b), "new");
  WriteBytes(a, std::string(100000, 'z'));
  EXPECT_TRUE(CopyFileOverwriting(b.c_str(), a.c_str()));
  EXPECT_EQ(ReadBytes(a), "new");
  EXPECT_FALSE(CopyFileOverwriting(dir.File("none").c_str(), a.c_str()));
  EXPECT_EQ(ReadBytes(a), "new") << "a failed copy keeps the target";
  EXPECT_TRUE(RemoveFile(a.c_str()));
  EXPECT_FALSE(Exists(a));
}

using Args = std::vector<std::string>;

// Argument tails after the program name, and what the Microsoft C runtime makes of them.
const std::pair<const char*, Args> kSplits[] = {
    {"\ta\t\tb   ", {"a", "b"}},       {"\"a b\" c", {"a b", "c"}},
    {"a\"b c\"d", {"ab cd"}},           {"\"\" \"\" x", {"", "", "x"}},
    {"a\\\"b", {"a\"b"}},  {"a\\\\\\\"b", {"a\\\"b"}},  // odd run before a quote: a literal quote
    {"\"ends with slash\\\\\"", {"ends with slash\\"}},  // even run: halved, the quote toggles
    {"a\\\\b \\\\srv\\share\\", {"a\\\\b", "\\\\srv\\share\\"}},  // not before a quote
    {"\"a\"\"b c\"", {"a\"b c"}},  {"\"\"\"\"", {"\""}},  // "" inside quotes: a quote
    {"\"in\tquote\" \"open b", {"in\tquote", "open b"}},
    {"\"{\\\"a\\\":\\\"b c\\\"}\"", {"{\"a\":\"b c\"}"}},
};

// Under Windows (and Wine) the child's own C runtime splits the line: the reference for the
// POSIX splitter. Elsewhere this proves the split arguments reach the child unchanged.
TEST(Processes, SplitterAndChildAgreeOnAwkwardCommandLinesAndWaitsTimeOut) {
  TempDir dir;
  const std::string exe = ProgramFolder() + "orin_argdump" + (kIsWindows ? ".exe" : "");
  const std::string out = dir.File("args.txt");
  for (const auto& c : kSplits) {
    Args expect = {exe, "--dump", out};
    expect.insert(expect.end(), c.second.begin(), c.second.end());
    for (const std::string& program : {"\"" + exe + "\"", exe}) {
      const std::string line = program + " --dump \"" + out + "\" " + c.first;
      EXPECT_EQ(SplitCommandLine(line), expect) << line;
      std::remove(out.c_str());
      ProcessHandle child = StartProcess(line);
      ASSERT_NE(child, nullptr) << line;
      EXPECT_TRUE(WaitProcess(child, 0xFFFFFFFFu));
      CloseProcess(child);
      std::string dump;  // the child ends each argument with a NUL
      for (const std::string& arg : expect) dump += arg + '\0';
      EXPECT_EQ(ReadBytes(out), dump) << line;
    }
  }
  // A quoted program name ends at the next quote, with no escapes.
  EXPECT_EQ(SplitCommandLine("\"C:\\Program Files\\\" x"), (Args{"C:\\Program Files\\", "x"}));
  EXPECT_EQ(SplitCommandLine("\"a\"b c"), (Args{"a", "b", "c"}));

  EXPECT_EQ(StartProcess("\"" + dir.File("no-such-program.exe") + "\" -x"), nullptr);
  const std::string gate = dir.File("gate");
  ProcessHandle child = StartProcess("\"" + exe + "\" --wait \"" + gate + "\"");
  ASSERT_NE(child, nullptr);
  EXPECT_FALSE(WaitProcess(child, 0));
  EXPECT_FALSE(WaitProcess(child, 50));
  WriteBytes(gate, "");
  EXPECT_TRUE(WaitProcess(child, 0xFFFFFFFFu));
  EXPECT_TRUE(WaitProcess(child, 0)) << "an ended child stays ended";
  CloseProcess(child);
}

std::atomic<bool> gOpen{false};
std::atomic<int> gRuns{0};

unsigned WaitForGate(void*) {
  while (!gOpen) SleepMs(1);
  return static_cast<unsigned>(++gRuns);
}

TEST(Threads, TimedWaitsSeeTheEndAndEarlyCloseIsSafe) {
  ThreadHandle t = StartThread(&WaitForGate, nullptr);
  ASSERT_NE(t, nullptr);
  EXPECT_FALSE(WaitThread(t, 20));
  // Closed while still running: whichever side lets go last frees the state.
  for (int i = 0; i < 50; ++i) CloseThread(StartThread(&WaitForGate, nullptr));
  gOpen = true;
  EXPECT_TRUE(WaitThread(t, 0xFFFFFFFFu));
  EXPECT_TRUE(WaitThread(t, 0)) << "an ended thread stays ended";
  CloseThread(t);
  while (gRuns < 51) SleepMs(1);
}

TEST(HostPaths, NameThisProgramAndCutLikeTheWin32Calls) {
  char full[1024];
  const std::uint32_t n = HostExecutablePath(full, sizeof full);
  const std::string path(full);
  const std::string name = kPathSep + std::string("platform_tests") + (kIsWindows ? ".exe" : "");
  ASSERT_EQ(path.size(), n);
  EXPECT_EQ(path.substr(n - name.size()), name);
  // A short buffer gets size-1 characters and the NUL; the result is then the buffer size.
  for (const std::uint32_t size : {6u, n}) {
    std::string cut(size + 4, '#');
    EXPECT_EQ(HostExecutablePath(&cut[0], size), size);
    EXPECT_EQ(std::string(cut.c_str()), path.substr(0, size - 1));
  }

  char data[260];
  ASSERT_TRUE(CommonAppDataFolder(data, sizeof data));
  ASSERT_NE(data[0], '\0');
  EXPECT_NE(std::string(data).back(), kPathSep);
}

// Windows reads the host's texts in its ANSI code page (cp1252 here); POSIX keeps UTF-8 and, in
// a UTF-8 or "C" locale, replaces each byte that does not fit on its own.
TEST(HostText, BecomesUtf8WithEveryByteAccountedFor) {
  const struct {
    const char* text;
    const char* windows;
    const char* posix;
  } cases[] = {
      {"size_gb", "size_gb", "size_gb"},
      {"gr\xF6\xDF" "e", u8"größe", u8"gr\uFFFD\uFFFDe"},
      {"\x80 5", u8"€ 5", u8"\uFFFD 5"},
      {u8"größe", u8"grÃ¶ÃŸe", u8"größe"},
      {"\xC0\xAF", u8"À¯", u8"\uFFFD\uFFFD"},  // an overlong "/" is no UTF-8
      {"ab\xC3", u8"abÃ", u8"ab\uFFFD"},        // a sequence cut off at the end
  };
  for (const auto& c : cases) {
    EXPECT_EQ(HostTextToUtf8(c.text), kIsWindows ? c.windows : c.posix) << c.text;
  }
}

}  // namespace
}  // namespace orin::platform
