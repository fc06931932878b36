#pragma once
#include <ostream>
#include <string>

namespace orincollect {

// Prints what the database at `db` holds: events per point ("l"/"n"), per day, per product
// version ("re") and per edition ("v"), and the identity exchanges. 0, or 1 with a reason on `err`.
int Report(const std::string& db, std::ostream& out, std::ostream& err);
// The collector's page over the database at `db`, written to `file` for attaching to a report.
int WritePage(const std::string& db, const std::string& file, std::ostream& err);

}  // namespace orincollect
