#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include <json/value.h>

namespace orincollect {

// The members the events table keeps in columns of their own, in column order.
inline constexpr const char* kColumnMembers[] = {"l", "n", "u", "t", "re", "v"};
inline constexpr int kColumnCount = 6;

// A member as SQLite's own kind: numbers stay numbers, texts texts, anything else its JSON.
struct Column {
  enum Kind { kNull, kInteger, kReal, kText } kind = kNull;
  std::int64_t integer = 0;
  double real = 0;
  const char* text = nullptr;
  std::size_t size = 0;
};

// One event to store: its text as it arrived and its column members.
struct EventRow {
  const char* text = nullptr;
  std::size_t size = 0;
  Column columns[kColumnCount];
};

// A collect request's body read into the rows to store, pointing into the body (and into the
// parsed tree when there is one), so both must outlive the rows.
class BatchBody {
 public:
  // An event, or an array whose objects are the events (anything else in it left out). False
  // when that gives no event and the body is not an empty array.
  bool Read(const std::string& body);
  const std::vector<EventRow>& rows() const { return rows_; }

 private:
  // What the helper sends: read without building a tree. False when the body holds anything a
  // strict scan cannot vouch for JsonCpp reading the same way, or a column member it would
  // write back differently.
  bool ReadPlain(const char* begin, const char* end, bool& accepted);
  bool ReadParsed(const std::string& body);
  void AddParsed(const Json::Value& event, const std::string& body);

  std::vector<EventRow> rows_;
  Json::Value tree_;
  std::deque<std::string> written_;  // column members that are written back as JSON
};

}  // namespace orincollect
