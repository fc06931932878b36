#include "batch_body.h"

#include <cstring>
#include <exception>
#include <memory>

#include <json/reader.h>
#include <json/writer.h>

#include "common/json_scan.h"

namespace orincollect {
namespace {

const char* SkipSpace(const char* p, const char* end) {
  while (p < end && (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r')) ++p;
  return p;
}

// A column member's text as JsonCpp would give it to the column: false for what it would read
// into another form (an escaped text, a fraction, a number near the 64-bit edge, an object).
bool PlainColumn(const char* p, const char* end, Column& c) {
  switch (*p) {
    case '"':
      if (std::memchr(p + 1, '\\', static_cast<std::size_t>(end - p - 2)) != nullptr) return false;
      c.kind = Column::kText;
      c.text = p + 1;
      c.size = static_cast<std::size_t>(end - p - 2);
      return true;
    case 'n':
      c.kind = Column::kNull;
      return true;
    case 't':
    case 'f':
      c.kind = Column::kText;
      c.text = p;
      c.size = static_cast<std::size_t>(end - p);
      return true;
    case '{':
    case '[':
      return false;
    default:
      break;
  }
  const bool negative = *p == '-';
  if (negative) ++p;
  if (end - p > 18) return false;
  std::int64_t v = 0;
  for (; p < end; ++p) {
    if (*p < '0' || *p > '9') return false;
    v = v * 10 + (*p - '0');
  }
  c.kind = Column::kInteger;
  c.integer = negative ? -v : v;
  return true;
}

struct RowScan {
  EventRow* row;
  bool plain = true;
};

void TakeColumn(void* context, const orin::PlainMember& m) {
  auto& scan = *static_cast<RowScan*>(context);
  for (int i = 0; i < kColumnCount; ++i) {
    const char* name = kColumnMembers[i];
    if (std::strlen(name) == m.nameSize && std::memcmp(name, m.name, m.nameSize) == 0) {
      if (!PlainColumn(m.value, m.valueEnd, scan.row->columns[i])) scan.plain = false;
      return;
    }
  }
}

std::string Compact(const Json::Value& v) {
  Json::StreamWriterBuilder w;
  w["indentation"] = "";
  return Json::writeString(w, v);
}

}  // namespace

bool BatchBody::Read(const std::string& body) {
  rows_.clear();
  written_.clear();
  tree_ = Json::Value();
  bool emptyArray = false;
  if (ReadPlain(body.data(), body.data() + body.size(), emptyArray)) {
    return !rows_.empty() || emptyArray;
  }
  rows_.clear();
  return ReadParsed(body);
}

bool BatchBody::ReadPlain(const char* begin, const char* end, bool& emptyArray) {
  // One element: an object becomes a row, anything else is only checked.
  auto element = [this, end](const char* p) -> const char* {
    if (*p != '{') return orin::PlainJsonValueEnd(p, end);
    rows_.emplace_back();
    RowScan scan{&rows_.back()};
    const char* e = orin::PlainJsonValueEnd(p, end, TakeColumn, &scan);
    if (e == nullptr || !scan.plain) return nullptr;
    rows_.back().text = p;
    rows_.back().size = static_cast<std::size_t>(e - p);
    return e;
  };
  const char* p = SkipSpace(begin, end);
  if (p == end) return false;
  if (*p == '{') {
    p = element(p);
    if (p == nullptr) return false;
  } else if (*p == '[') {
    p = SkipSpace(p + 1, end);
    emptyArray = p < end && *p == ']';
    if (emptyArray) ++p;
    while (!emptyArray) {
      if (p == end || (p = element(p)) == nullptr) return false;
      p = SkipSpace(p, end);
      if (p == end) return false;
      if (*p == ']') {
        ++p;
        break;
      }
      if (*p != ',') return false;
      p = SkipSpace(p + 1, end);
    }
  } else {
    return false;
  }
  return SkipSpace(p, end) == end;
}

bool BatchBody::ReadParsed(const std::string& body) {
  Json::CharReaderBuilder builder;
  std::string errors;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  bool parsed = false;
  try {
    parsed = reader->parse(body.data(), body.data() + body.size(), &tree_, &errors);
  } catch (const std::exception&) {
    // Nesting past the reader's limit throws: a malformed body like any other, refused for good.
    tree_ = Json::Value();
  }
  if (parsed) {
    if (tree_.isObject()) AddParsed(tree_, body);
    if (tree_.isArray()) {
      for (const Json::Value& e : tree_) {
        if (e.isObject()) AddParsed(e, body);
      }
    }
  }
  // A body whose array breaks off before its first element counts as an empty one, as it always has.
  return !rows_.empty() || (tree_.isArray() && tree_.empty());
}

void BatchBody::AddParsed(const Json::Value& event, const std::string& body) {
  EventRow& row = rows_.emplace_back();
  row.text = body.data() + event.getOffsetStart();
  row.size = static_cast<std::size_t>(event.getOffsetLimit() - event.getOffsetStart());
  // The readers of the stored texts take them as C strings: one holding a NUL byte (which the
  // parser lets by in a string) would be cut short, so it goes in as the writer writes it.
  if (std::memchr(row.text, '\0', row.size) != nullptr) {
    row.text = written_.emplace_back(Compact(event)).data();
    row.size = written_.back().size();
  }
  for (int i = 0; i < kColumnCount; ++i) {
    const char* key = kColumnMembers[i];
    const Json::Value* v = event.find(key, key + std::strlen(key));
    Column& c = row.columns[i];
    if (v == nullptr || v->isNull()) {
      c.kind = Column::kNull;
    } else if (v->isInt64() || v->isUInt64()) {
      c.kind = Column::kInteger;
      c.integer = v->isInt64() ? v->asInt64() : static_cast<std::int64_t>(v->asUInt64());
    } else if (v->isDouble()) {
      c.kind = Column::kReal;
      c.real = v->asDouble();
    } else if (v->isString()) {
      c.kind = Column::kText;
      c.text = v->asCString();
      c.size = std::strlen(c.text);
    } else {
      c.kind = Column::kText;
      c.text = written_.emplace_back(Compact(*v)).data();
      c.size = written_.back().size();
    }
  }
}

}  // namespace orincollect
