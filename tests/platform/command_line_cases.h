#pragma once
#include <string>
#include <vector>

namespace orin::testing {

// Argument tails after a program name, and the arguments the Microsoft C runtime makes of them.
struct SplitCase {
  const char* tail;
  std::vector<std::string> args;
};

inline const std::vector<SplitCase>& SplitCases() {
  static const std::vector<SplitCase> cases = {
      {"a b  c", {"a", "b", "c"}},
      {"\ta\t\tb   ", {"a", "b"}},
      {"\"a b\" c", {"a b", "c"}},
      {"a\"b c\"d", {"ab cd"}},
      {"\"\" \"\" x", {"", "", "x"}},
      {"a\\\"b", {"a\"b"}},                 // odd run before a quote: literal quote
      {"a\\\\\"b c\"", {"a\\b c"}},         // even run: halved, the quote toggles
      {"a\\\\\\\"b", {"a\\\"b"}},
      {"a\\\\b \\\\srv\\share\\", {"a\\\\b", "\\\\srv\\share\\"}},  // not before a quote
      {"\"ends with slash\\\\\"", {"ends with slash\\"}},
      {"\"a\"\"b c\"", {"a\"b c"}},         // "" inside quotes: a quote, still quoted
      {"\"a\"\"\"b\"", {"a\"b"}},
      {"\"\"\"\"", {"\""}},
      {"\"in\tquote\" \"open b", {"in\tquote", "open b"}},
      {"\"{\\\"a\\\":\\\"b c\\\"}\"", {"{\"a\":\"b c\"}"}},
  };
  return cases;
}

}  // namespace orin::testing
