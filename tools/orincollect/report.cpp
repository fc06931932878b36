#include "report.h"

#include <algorithm>
#include <vector>

#include <fstream>

#include "event_store.h"
#include "page.h"
#include <sys/stat.h>

namespace orincollect {
namespace {

bool FileExists(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

// One table: a heading per column, the first left-aligned, numbers right-aligned.
void Table(std::ostream& out, const std::vector<std::string>& heads, const EventStore::Rows& rows) {
  std::vector<std::size_t> width(heads.size());
  for (std::size_t c = 0; c < heads.size(); ++c) width[c] = heads[c].size();
  for (const auto& r : rows) {
    for (std::size_t c = 0; c < r.size() && c < width.size(); ++c) width[c] = std::max(width[c], r[c].size());
  }
  auto line = [&](const std::vector<std::string>& cells) {
    out << "  ";
    for (std::size_t c = 0; c < cells.size(); ++c) {
      const std::string pad(width[c] - cells[c].size(), ' ');
      out << (c == 0 ? cells[c] + pad : pad + cells[c]) << (c + 1 < cells.size() ? "  " : "\n");
    }
  };
  line(heads);
  for (const auto& r : rows) line(r);
  if (rows.empty()) out << "  (none)\n";
}

}  // namespace

int Report(const std::string& db, std::ostream& out, std::ostream& err) {
  if (!FileExists(db)) {
    err << "orincollect: no database at " << db << "\n";
    return 1;
  }
  EventStore store;
  EventStore::Rows total, points, days, versions, editions, exchanges, keys;
  // The event's own time decides its day; an event without one counts on its arrival day.
  const bool ok =
      store.Open(db) &&
      store.Query("SELECT COUNT(*), COUNT(DISTINCT request), COUNT(DISTINCT u) FROM events", total) &&
      store.Query("SELECT COALESCE(l,'?') || '/' || COALESCE(n,'?'), COUNT(*) FROM events"
                  " GROUP BY l, n ORDER BY l, n", points) &&
      store.Query(std::string("SELECT ") + kEventDay + ", COUNT(*) FROM events GROUP BY 1 ORDER BY 1",
                  days) &&
      store.Query("SELECT COALESCE(re,'(none)'), COUNT(*) FROM events GROUP BY re ORDER BY re",
                  versions) &&
      store.Query("SELECT COALESCE(v,'(none)'), COUNT(*) FROM events GROUP BY v ORDER BY v",
                  editions) &&
      store.Query("SELECT path, method, COUNT(*) FROM exchanges GROUP BY path, method"
                  " ORDER BY path, method", exchanges) &&
      store.Query("SELECT COUNT(*), COALESCE(SUM(repeats), 0) FROM batch_keys", keys);
  if (!ok) {
    err << "orincollect: " << db << ": " << store.error() << "\n";
    return 1;
  }
  out << total[0][0] << " events received in " << total[0][1] << " batches from "
      << total[0][2] << " devices\n";
  out << "repeated batches acknowledged without storing: " << keys[0][1] << " (of " << keys[0][0]
      << " batch keys kept)\n\n";
  out << "per point\n";
  Table(out, {"l/n", "events"}, points);
  out << "\nper day (UTC)\n";
  Table(out, {"day", "events"}, days);
  out << "\nper product version\n";
  Table(out, {"re", "events"}, versions);
  out << "\nper edition\n";
  Table(out, {"v", "events"}, editions);
  out << "\nidentity requests\n";
  Table(out, {"path", "method", "requests"}, exchanges);
  return 0;
}

int WritePage(const std::string& db, const std::string& file, std::ostream& err) {
  if (!FileExists(db)) {
    err << "orincollect: no database at " << db << "\n";
    return 1;
  }
  EventStore store;
  PageQuery query;
  query.standalone = true;
  std::string html;
  if (!store.Open(db) || !RenderPage(store, query, html)) {
    err << "orincollect: " << db << ": " << store.error() << "\n";
    return 1;
  }
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  if (!(out << html) || !out.flush()) {
    err << "orincollect: cannot write " << file << "\n";
    return 1;
  }
  return 0;
}

}  // namespace orincollect
