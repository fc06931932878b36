#pragma once
#include <iosfwd>
#include <string>

// The inspector's commands. Each returns the process exit code: 0 success, 1 a damaged cache
// (verify only), 2 an unreadable file or a bad argument (with a one-line message on err).

namespace orin::orincache {

int Dump(const std::string& path, bool all, std::ostream& out, std::ostream& err);
int List(const std::string& path, std::ostream& out, std::ostream& err);
int Verify(const std::string& path, std::ostream& out, std::ostream& err);
// Appends every whole record found in a side file of damaged bytes (KD_OF.dat.damaged) to the
// cache, for the next delivery; the side file stays as it is.
int Salvage(const std::string& damaged, const std::string& cache, std::ostream& out,
            std::ostream& err);
int Append(const std::string& path, const std::string& json, std::ostream& out, std::ostream& err);
// What waits beside a cache for support staff: the live cache, a claimed file and its delivered
// count, a backup after a device-id change, the batches set aside as refused for good, and the
// damaged bytes, one line each (absent files say so).
int Status(const std::string& cache, std::ostream& out, std::ostream& err);

}  // namespace orin::orincache
