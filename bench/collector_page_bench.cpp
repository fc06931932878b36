// The collector's page over a million stored events, beside a plain COUNT(*) over the same table
// in the same database. The database is made once (one transaction, one prepared statement) and
// kept in the build tree between runs.
#include <cstdio>
#include <string>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "event_store.h"
#include "page.h"

namespace {

constexpr int kEvents = 1000000;
constexpr int kFilled = 20251124;  // user_version of a database filled to the end
const char* const kDb = "orin-bench-page.db";

// Events as the module writes them: 300 points, 5,000 devices, 90 days, a few parameters.
bool Fill() {
  std::remove(kDb);
  {
    orincollect::EventStore store;  // the collector's own tables and indexes
    if (!store.Open(kDb)) return false;
  }
  sqlite3* db = nullptr;
  sqlite3_stmt* insert = nullptr;
  // No journal while filling: a million rows in one write-ahead transaction would log gigabytes.
  bool ok = sqlite3_open(kDb, &db) == SQLITE_OK &&
            sqlite3_exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
                             " PRAGMA cache_size=-262144; BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK &&
            sqlite3_prepare_v2(db, "INSERT INTO events(arrived, request, l, n, u, t, re, v, json)"
                                   " VALUES(?,?,?,?,?,?,?,?,?)", -1, &insert, nullptr) == SQLITE_OK;
  char u[64], json[512];
  for (int i = 0; ok && i < kEvents; ++i) {
    const int l = 1 + i % 5, n = 100 + (i / 5) % 60;
    const long long t = 1763856000LL + (static_cast<long long>(i) * 90 * 86400) / kEvents;
    std::snprintf(u, sizeof u, "dev_id_6f1c2a9e-4b7d-4e21-9a3c-%012lld", i * 7919LL % 5000);
    const int len = std::snprintf(
        json, sizeof json,
        "{\"c\":\"demo-pid\",\"i\":\"Home\",\"id\":20250114,\"l\":%d,\"la\":\"en\",\"m\":"
        "\"3f2b9c1e7a6d4b0c8e5f1a2b3c4d5e6f\",\"n\":%d,\"o\":\"Windows 10 Pro\",\"p\":{\"size_gb\":%d,"
        "\"xid\":\"ab12cd34\"},\"re\":70301,\"t\":%lld,\"u\":\"%s\",\"v\":53,\"w\":19045}",
        l, n, i % 977, t, u);
    sqlite3_reset(insert);
    sqlite3_bind_int64(insert, 1, t + 5);
    sqlite3_bind_int64(insert, 2, 1 + i / 200);
    sqlite3_bind_int(insert, 3, l);
    sqlite3_bind_int(insert, 4, n);
    sqlite3_bind_text(insert, 5, u, -1, SQLITE_TRANSIENT);
    sqlite3_bind_int64(insert, 6, t);
    sqlite3_bind_int(insert, 7, 70301);
    sqlite3_bind_int(insert, 8, 53);
    sqlite3_bind_text(insert, 9, json, len, SQLITE_TRANSIENT);
    ok = sqlite3_step(insert) == SQLITE_DONE;
  }
  sqlite3_finalize(insert);
  ok = ok && sqlite3_exec(db, ("COMMIT; PRAGMA user_version=" + std::to_string(kFilled)).c_str(),
                          nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(db);
  return ok;
}

orincollect::EventStore* Store() {
  static orincollect::EventStore* store = []() -> orincollect::EventStore* {
    auto* s = new orincollect::EventStore;
    orincollect::EventStore::Rows version;
    if (s->Open(kDb) && s->Query("PRAGMA user_version", version) &&
        version[0][0] == std::to_string(kFilled)) {
      return s;
    }
    delete s;
    if (!Fill()) return nullptr;
    s = new orincollect::EventStore;
    return s->Open(kDb) ? s : nullptr;
  }();
  return store;
}

void BM_CollectorPage(benchmark::State& state) {
  orincollect::EventStore* store = Store();
  if (store == nullptr) {
    state.SkipWithError("cannot make the database of a million events");
    return;
  }
  std::string html;
  for (auto _ : state) {
    if (!orincollect::RenderPage(*store, orincollect::PageQuery{}, html)) {
      state.SkipWithError(store->error().c_str());
      return;
    }
    benchmark::DoNotOptimize(html.data());
  }
  state.counters["page_bytes"] = static_cast<double>(html.size());
}
BENCHMARK(BM_CollectorPage)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_CollectorPage_Floor(benchmark::State& state) {
  orincollect::EventStore* store = Store();
  if (store == nullptr) {
    state.SkipWithError("cannot make the database of a million events");
    return;
  }
  orincollect::EventStore::Rows count;
  for (auto _ : state) {
    count.clear();
    store->Query("SELECT COUNT(*) FROM events", count);
    benchmark::DoNotOptimize(count.data());
  }
}
BENCHMARK(BM_CollectorPage_Floor)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
