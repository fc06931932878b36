#pragma once
#include <string>
#include <string_view>

namespace orincollect {

// Text for an element's content or a quoted attribute value: every character that could end
// either (& < > " ') becomes an entity, so a posted text can never become markup.
std::string EscapeHtml(std::string_view text);

// A query-string value: everything but unreserved characters percent-encoded.
std::string EncodeQueryValue(std::string_view text);

// At most `chars` characters (UTF-8 sequences kept whole), with "…" when something was cut.
std::string Shorten(std::string_view text, std::size_t chars);

}  // namespace orincollect
