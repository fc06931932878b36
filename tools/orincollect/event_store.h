#pragma once
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "batch_body.h"

struct sqlite3;

namespace orincollect {

// The day an event counts on: its own time when it has one, else its arrival. The day index is
// built on this very expression, so a query must use it as written to be served by the index.
inline constexpr const char* kEventDay =
    "date(CASE WHEN typeof(t)='integer' THEN t ELSE arrived END, 'unixepoch')";

// The collector's SQLite database: one row per received event, one per identity exchange, one per
// batch key.
// Safe from any thread: one connection, one writer at a time.
class EventStore {
 public:
  ~EventStore();
  // Creates the tables and the page's indexes when missing; false with a reason in error().
  bool Open(const std::string& path);
  const std::string& error() const { return error_; }

  enum class Stored { kNew, kRepeat, kFailed };
  // Every event of one request in one transaction: all stored or none. A batch's key (empty:
  // none) is stored in the same transaction under a unique constraint, so a key stored before,
  // however close the two requests came, makes the batch a repeat: nothing of it is stored and
  // the key's repeat count goes up.
  Stored StoreBatch(const std::vector<EventRow>& events, std::int64_t request,
                    std::int64_t arrived, const std::string& key = std::string());
  bool StoreExchange(const std::string& path, const std::string& method, const std::string& body,
                     const std::string& reply, std::int64_t arrived);
  // The stored events' JSON texts joined into one array, in arrival order: `limit` of them
  // (all when negative) from the `offset`-th on.
  std::string EventsAsJsonArray(std::int64_t offset = 0, std::int64_t limit = -1);
  std::string ExchangesAsJsonArray();
  bool Clear();

  // Rows of a query as text cells (null as ""), for the report.
  using Rows = std::vector<std::vector<std::string>>;
  bool Query(const std::string& sql, Rows& rows) { return Query(sql, {}, rows); }
  // The same with the ?s bound in order: a whole integer as an integer, anything else as text.
  bool Query(const std::string& sql, const std::vector<std::string>& params, Rows& rows);

 private:
  bool Exec(const char* sql);
  // Inside StoreBatch's transaction; `repeat` when the key was stored before.
  bool InsertKey(const std::string& key, std::int64_t request, std::int64_t arrived, bool& repeat);
  void CountRepeat(const std::string& key);
  sqlite3* db_ = nullptr;
  std::mutex lock_;
  std::string error_;
};

}  // namespace orincollect
