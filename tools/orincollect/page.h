#pragma once
#include <map>
#include <string>

#include "event_store.h"

namespace orincollect {

// What the page shows: filters by point ("l", "n") and device ("u"), how many of the latest
// events, whether it refreshes itself.
struct PageQuery {
  std::string l, n, u;
  int rows = 100;
  bool live = false;
  // A page saved to a file: no form, no links back to a server, no live mode.
  bool standalone = false;
};

// From a request's query parameters; anything unusable falls back to the default.
PageQuery PageQueryFrom(const std::multimap<std::string, std::string>& params);

// The whole page, read from the store; false with the reason in store.error().
bool RenderPage(EventStore& store, const PageQuery& query, std::string& html);

// The few lines behind live mode, served beside the page (the page allows no inline script).
extern const char* const kLiveScript;

}  // namespace orincollect
