#pragma once
#include <ostream>
#include <string>

namespace orincollect {

// Prints what the database at `db` holds: events per point ("l"/"n"), per day, per product
// version ("re") and per edition ("v"), and the identity exchanges. 0, or 1 with a reason on `err`.
int Report(const std::string& db, std::ostream& out, std::ostream& err);

}  // namespace orincollect
