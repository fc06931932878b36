#include "facade/env_text.h"

#include <limits>

namespace orin::facade_detail {

std::int64_t LeadingDecimal(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  std::int64_t value = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const int digit = text[i] - '0';
    value = value > (kMax - digit) / 10 ? kMax : value * 10 + digit;
  }
  return negative ? -value : value;
}

std::int32_t ProductVersionFromText(const std::string& text) {
  const std::size_t first = text.find('.');
  const std::size_t second = first == std::string::npos ? first : text.find('.', first + 1);
  const std::string major = text.substr(0, first);
  const std::string minor =
      first == std::string::npos ? "0" : text.substr(first + 1, second - first - 1);
  const std::string build = second == std::string::npos ? "0" : text.substr(second + 1);
  // Each part as atoi reads it into an int; the sum wraps like the host's int arithmetic.
  auto part = [](const std::string& s) {
    const std::int64_t v = LeadingDecimal(s);
    return static_cast<std::int32_t>(v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : v);
  };
  const std::int64_t sum =
      std::int64_t(part(major)) * 10000 + std::int64_t(part(minor)) * 100 + part(build);
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(sum));
}

}  // namespace orin::facade_detail
