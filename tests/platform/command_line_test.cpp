#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/process.h"

namespace orin::platform {
namespace {

using Args = std::vector<std::string>;

struct SplitCase {
  const char* line;
  Args expect;
};

TEST(SplitCommandLine, FollowsTheMicrosoftRuntimeRules) {
  const SplitCase cases[] = {
      {"prog", {"prog"}},
      {"prog a b  c", {"prog", "a", "b", "c"}},
      {"prog\ta\t\tb", {"prog", "a", "b"}},
      {"prog   ", {"prog"}},
      {"prog \"a b\" c", {"prog", "a b", "c"}},
      {"prog a\"b c\"d", {"prog", "ab cd"}},
      {"prog \"\"", {"prog", ""}},
      {"prog \"\" \"\"", {"prog", "", ""}},
      {"prog a\\\"b", {"prog", "a\"b"}},              // odd run: literal quote
      {"prog a\\\\\"b c\"", {"prog", "a\\b c"}},      // even run: half, quote toggles
      {"prog a\\\\\\\"b", {"prog", "a\\\"b"}},
      {"prog a\\\\b", {"prog", "a\\\\b"}},            // not before a quote: literal
      {"prog a\\", {"prog", "a\\"}},
      {"prog \"a\\\\\"", {"prog", "a\\"}},
      {"prog \"a\"\"b c\"", {"prog", "a\"b c"}},      // "" inside quotes
      {"prog \"a\tb\"", {"prog", "a\tb"}},
      {"prog \"unterminated b", {"prog", "unterminated b"}},
      {"\"C:\\Program Files\\App\\helper.exe\" -submit_cache",
       {"C:\\Program Files\\App\\helper.exe", "-submit_cache"}},
      {"\"C:\\dir\\\" x", {"C:\\dir\\", "x"}},         // no escapes in the program name
      {"\"a\"b c", {"a", "b", "c"}},
      {"C:\\x\\p.exe \"{\\\"a\\\":\\\"b\\\"}\"", {"C:\\x\\p.exe", "{\"a\":\"b\"}"}},
      {"", {""}},
  };
  for (const SplitCase& c : cases) {
    EXPECT_EQ(SplitCommandLine(c.line), c.expect) << "line: " << c.line;
  }
}

}  // namespace
}  // namespace orin::platform
