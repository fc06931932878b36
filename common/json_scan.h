#pragma once
#include <cstddef>

// A check of a record's text that builds nothing, so a text can be sent as it is stored.

namespace orin {

// Where the object that [begin, end) holds ends (one past its '}'), or nullptr. Only what every
// JSON reader takes the same way, and JsonCpp keeps: one object with at least one member, then
// nothing but whitespace; no comments; names without escapes, each once per object; strings of
// well-formed UTF-8 whose escapes are well formed (surrogates in pairs); numbers without an
// exponent and at most 24 characters long; nesting at most 32 deep. Anything else, JSON or
// not, gets nullptr: such a text has to be parsed to know what it holds.
const char* PlainJsonObjectEnd(const char* begin, const char* end);

// One member of an object as the scan passed it: its name (never escaped) and its value's text.
struct PlainMember {
  const char* name;
  std::size_t nameSize;
  const char* value;
  const char* valueEnd;
};
using PlainMemberVisitor = void (*)(void* context, const PlainMember& member);

// Where the one value at begin ends (one past it), or nullptr, under the same limits; whatever
// follows it is the caller's. An empty object is a value here. When the value is an object,
// `visit` (if given) is handed each of its own members in order, nested ones not.
const char* PlainJsonValueEnd(const char* begin, const char* end,
                              PlainMemberVisitor visit = nullptr, void* context = nullptr);

}  // namespace orin
