#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/process.h"
#include "tests/platform/command_line_cases.h"

namespace orin::platform {
namespace {

using Args = std::vector<std::string>;

TEST(SplitCommandLine, FollowsTheMicrosoftRuntimeRules) {
  for (const auto& c : orin::testing::SplitCases()) {
    Args expect = c.args;
    expect.insert(expect.begin(), "prog");
    EXPECT_EQ(SplitCommandLine(std::string("prog ") + c.tail), expect) << c.tail;
  }
  // The program name: a quoted one ends at the next quote, with no escapes.
  const struct {
    const char* line;
    Args expect;
  } programs[] = {
      {"\"C:\\Program Files\\A\\h.exe\" -x", {"C:\\Program Files\\A\\h.exe", "-x"}},
      {"\"C:\\dir\\\" x", {"C:\\dir\\", "x"}},
      {"\"a\"b c", {"a", "b", "c"}},
      {"C:\\a\\p.exe", {"C:\\a\\p.exe"}},
      {"", {""}},
  };
  for (const auto& c : programs) EXPECT_EQ(SplitCommandLine(c.line), c.expect) << c.line;
}

}  // namespace
}  // namespace orin::platform
