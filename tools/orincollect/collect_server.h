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
};

// Serves until killed; returns an exit code when it cannot start.
int Serve(const ServeOptions& options);

}  // namespace orincollect
