#include "event_store.h"

#include <sqlite3.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>

#include <json/writer.h>

namespace orincollect {
namespace {

const char* const kSchema =
    "CREATE TABLE IF NOT EXISTS events("
    " id INTEGER PRIMARY KEY, arrived INTEGER NOT NULL, request INTEGER NOT NULL,"
    " l, n, u, t, re, v, json TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS exchanges("
    " id INTEGER PRIMARY KEY, arrived INTEGER NOT NULL, path TEXT, method TEXT, body TEXT,"
    " reply TEXT);";

// What the page filters and groups by: a point (with its days), a device, a day.
std::string Indexes() {
  return std::string("CREATE INDEX IF NOT EXISTS events_point ON events(l, n, ") + kEventDay +
         ");CREATE INDEX IF NOT EXISTS events_device ON events(u);"
         "CREATE INDEX IF NOT EXISTS events_day ON events(" + kEventDay + ");";
}

void Bind(sqlite3_stmt* s, int index, const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const long long v = std::strtoll(text.c_str(), &end, 10);
  if (!text.empty() && *end == '\0' && errno == 0 && !std::isspace(static_cast<unsigned char>(text[0]))) {
    sqlite3_bind_int64(s, index, v);
  } else {
    sqlite3_bind_text(s, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  }
}

// Kept for as long as the database: a resend may come whenever a device is next switched on.
const char* const kKeySchema =
    "CREATE TABLE IF NOT EXISTS batch_keys("
    " key TEXT PRIMARY KEY, request INTEGER NOT NULL, arrived INTEGER NOT NULL,"
    " repeats INTEGER NOT NULL DEFAULT 0) WITHOUT ROWID;";

struct Statement {
  sqlite3_stmt* s = nullptr;
  ~Statement() { sqlite3_finalize(s); }
};

void BindColumn(sqlite3_stmt* s, int index, const Column& c) {
  switch (c.kind) {
    case Column::kNull: sqlite3_bind_null(s, index); break;
    case Column::kInteger: sqlite3_bind_int64(s, index, c.integer); break;
    case Column::kReal: sqlite3_bind_double(s, index, c.real); break;
    // The request's body outlives the statement.
    case Column::kText: sqlite3_bind_text(s, index, c.text, static_cast<int>(c.size), SQLITE_STATIC); break;
  }
}

std::string Compact(const Json::Value& v) {
  Json::StreamWriterBuilder w;
  w["indentation"] = "";
  return Json::writeString(w, v);
}

}  // namespace

EventStore::~EventStore() { sqlite3_close(db_); }

bool EventStore::Open(const std::string& path) {
  if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) {
    error_ = db_ != nullptr ? sqlite3_errmsg(db_) : "out of memory";
    return false;
  }
  sqlite3_busy_timeout(db_, 5000);
  // WAL lets `report` read while the server writes.
  return Exec("PRAGMA journal_mode=WAL") && Exec("PRAGMA synchronous=NORMAL") && Exec(kSchema) &&
         Exec(Indexes().c_str()) && Exec(kKeySchema);
}

bool EventStore::Exec(const char* sql) {
  char* message = nullptr;
  if (sqlite3_exec(db_, sql, nullptr, nullptr, &message) == SQLITE_OK) return true;
  error_ = message != nullptr ? message : "sqlite error";
  sqlite3_free(message);
  return false;
}

bool EventStore::InsertKey(const std::string& key, std::int64_t request, std::int64_t arrived,
                           bool& repeat) {
  Statement st;
  if (sqlite3_prepare_v2(db_, "INSERT INTO batch_keys(key, request, arrived) VALUES(?,?,?)", -1,
                         &st.s, nullptr) != SQLITE_OK) {
    return false;
  }
  sqlite3_bind_text(st.s, 1, key.data(), static_cast<int>(key.size()), SQLITE_TRANSIENT);
  sqlite3_bind_int64(st.s, 2, request);
  sqlite3_bind_int64(st.s, 3, arrived);
  const int rc = sqlite3_step(st.s);
  repeat = sqlite3_extended_errcode(db_) == SQLITE_CONSTRAINT_PRIMARYKEY;
  return rc == SQLITE_DONE;
}

void EventStore::CountRepeat(const std::string& key) {
  Statement st;
  if (sqlite3_prepare_v2(db_, "UPDATE batch_keys SET repeats = repeats + 1 WHERE key = ?", -1,
                         &st.s, nullptr) == SQLITE_OK) {
    sqlite3_bind_text(st.s, 1, key.data(), static_cast<int>(key.size()), SQLITE_TRANSIENT);
    sqlite3_step(st.s);
  }
}

EventStore::Stored EventStore::StoreBatch(const std::vector<EventRow>& events,
                                          std::int64_t request, std::int64_t arrived,
                                          const std::string& key) {
  std::lock_guard<std::mutex> guard(lock_);
  if (!Exec("BEGIN")) return Stored::kFailed;
  bool repeat = false;
  if (!key.empty() && !InsertKey(key, request, arrived, repeat)) {
    if (!repeat) error_ = sqlite3_errmsg(db_);
    Exec("ROLLBACK");
    if (!repeat) return Stored::kFailed;
    CountRepeat(key);
    return Stored::kRepeat;
  }
  Statement st;
  bool ok = sqlite3_prepare_v2(db_,
                               "INSERT INTO events(arrived, request, l, n, u, t, re, v, json)"
                               " VALUES(?,?,?,?,?,?,?,?,?)",
                               -1, &st.s, nullptr) == SQLITE_OK;
  if (ok) {
    sqlite3_bind_int64(st.s, 1, arrived);
    sqlite3_bind_int64(st.s, 2, request);
  }
  for (const EventRow& event : events) {
    if (!ok) break;
    sqlite3_reset(st.s);
    for (int i = 0; i < kColumnCount; ++i) BindColumn(st.s, 3 + i, event.columns[i]);
    sqlite3_bind_text(st.s, 3 + kColumnCount, event.text, static_cast<int>(event.size), SQLITE_STATIC);
    ok = sqlite3_step(st.s) == SQLITE_DONE;
  }
  if (!ok) {
    error_ = sqlite3_errmsg(db_);
    Exec("ROLLBACK");
    return Stored::kFailed;
  }
  if (Exec("COMMIT")) return Stored::kNew;
  // A transaction left open would make every later batch fail too.
  const std::string why = error_;
  Exec("ROLLBACK");
  error_ = why;
  return Stored::kFailed;
}

bool EventStore::StoreExchange(const std::string& path, const std::string& method,
                               const std::string& body, const std::string& reply,
                               std::int64_t arrived) {
  std::lock_guard<std::mutex> guard(lock_);
  Statement st;
  if (sqlite3_prepare_v2(db_,
                         "INSERT INTO exchanges(arrived, path, method, body, reply) VALUES(?,?,?,?,?)",
                         -1, &st.s, nullptr) != SQLITE_OK) {
    return false;
  }
  sqlite3_bind_int64(st.s, 1, arrived);
  sqlite3_bind_text(st.s, 2, path.c_str(), -1, SQLITE_TRANSIENT);
  sqlite3_bind_text(st.s, 3, method.c_str(), -1, SQLITE_TRANSIENT);
  sqlite3_bind_text(st.s, 4, body.data(), static_cast<int>(body.size()), SQLITE_TRANSIENT);
  sqlite3_bind_text(st.s, 5, reply.c_str(), -1, SQLITE_TRANSIENT);
  return sqlite3_step(st.s) == SQLITE_DONE;
}

std::string EventStore::EventsAsJsonArray(std::int64_t offset, std::int64_t limit) {
  Rows rows;
  Query("SELECT json FROM events ORDER BY id LIMIT " + std::to_string(limit) + " OFFSET " +
            std::to_string(offset),
        rows);
  std::string out = "[";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i > 0) out += ",";
    out += rows[i][0];
  }
  return out + "]";
}

std::string EventStore::ExchangesAsJsonArray() {
  Rows rows;
  Query("SELECT path, method, body, reply FROM exchanges ORDER BY id", rows);
  Json::Value out(Json::arrayValue);
  for (const auto& r : rows) {
    Json::Value e;
    e["path"] = r[0];
    e["method"] = r[1];
    e["body"] = r[2];
    e["reply"] = r[3];
    out.append(e);
  }
  return Compact(out);
}

bool EventStore::Clear() {
  std::lock_guard<std::mutex> guard(lock_);
  return Exec("DELETE FROM events; DELETE FROM exchanges;") && Exec("DELETE FROM batch_keys;");
}

bool EventStore::Query(const std::string& sql, const std::vector<std::string>& params,
                       Rows& rows) {
  std::lock_guard<std::mutex> guard(lock_);
  Statement st;
  if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &st.s, nullptr) != SQLITE_OK) {
    error_ = sqlite3_errmsg(db_);
    return false;
  }
  for (std::size_t i = 0; i < params.size(); ++i) Bind(st.s, static_cast<int>(i + 1), params[i]);
  int rc;
  while ((rc = sqlite3_step(st.s)) == SQLITE_ROW) {
    std::vector<std::string> row;
    for (int c = 0; c < sqlite3_column_count(st.s); ++c) {
      const unsigned char* text = sqlite3_column_text(st.s, c);
      row.emplace_back(text != nullptr ? reinterpret_cast<const char*>(text) : "");
    }
    rows.push_back(std::move(row));
  }
  if (rc != SQLITE_DONE) error_ = sqlite3_errmsg(db_);
  return rc == SQLITE_DONE;
}

}  // namespace orincollect
