#pragma once
#include <string>

#include "event_store.h"
#include "staging.h"

namespace orincollect {

struct ServeOptions {
  std::string db;
  std::string bind = "127.0.0.1";
  int httpPort = 80;   // 0: no plain HTTP
  int httpsPort = 443;  // 0: no HTTPS
  std::string cert, key;  // PEM files, needed for HTTPS
  std::string readyFile;  // written once every port listens
  Stage stage;
  bool quiet = false;
  // /collector/stage and /collector/release (and the portal a staged redirect points to) are
  // answered only when asked for, and only to requests addressed to the loopback host.
  bool testRoutes = false;
};

// Serves until killed; returns an exit code when it cannot start.
int Serve(const ServeOptions& options);

}  // namespace orincollect
