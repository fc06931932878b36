#pragma once
#include <cstdint>
#include <string>

// Each batch carries a key, sent as the Idempotency-Key header, that the collector stores in the
// same transaction as the batch's rows: a batch sent again (after a kill, or after an answer that
// never arrived) is acknowledged and not stored twice. A cache batch's key is made of the claim's
// id, the index of the batch's first record in the claimed file, and a hash of the body posted:
// the same records sent again give the same key, and a batch that differs in anything (records
// moved by a damage walk, another batch size) gets a key of its own, so it is never taken for
// one the collector holds.

namespace orin::helper {

// Empty when there is no claim id (it could not be written): the batch then goes without a key
// and the collector stores it as it comes.
std::string CachedBatchKey(const std::string& claimId, std::int32_t firstRecord,
                           const std::string& body);

// A -submit is posted once and never resent as such (what is not delivered joins the cache and
// gets a cache batch's key there): a key of its own, random.
std::string SubmitKey();

}  // namespace orin::helper
