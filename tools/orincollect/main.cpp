// orincollect: a loopback collection server for the helper, its tests and the demo.
//   orincollect serve --db FILE [--cert PEM --key PEM] [--fail N:STATUS]... [--delay N:MS]...
//                     [--test-routes]
//   orincollect report FILE [--html PAGE]
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "collect_server.h"
#include "report.h"

int main(int argc, char** argv) {
  CLI::App app{"Loopback collection server: stores received events in SQLite and reports them."};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("orincollect ") + ORIN_VERSION);

  orincollect::ServeOptions serve;
  std::vector<std::string> fails, delays;
  auto* serveCmd = app.add_subcommand("serve", "Serve HTTP and HTTPS until killed");
  serveCmd->add_option("--db", serve.db, "SQLite database (created when missing)")->required();
  serveCmd->add_option("--bind", serve.bind, "address to listen on")->capture_default_str();
  serveCmd->add_option("--http-port", serve.httpPort, "plain HTTP port, 0 for none")->capture_default_str();
  serveCmd->add_option("--https-port", serve.httpsPort, "HTTPS port, 0 for none")->capture_default_str();
  serveCmd->add_option("--cert", serve.cert, "certificate (PEM) for HTTPS");
  serveCmd->add_option("--key", serve.key, "private key (PEM) for HTTPS");
  serveCmd->add_option("--ready", serve.readyFile, "file written once every port listens");
  serveCmd->add_option("--fail", fails, "N:STATUS - answer the Nth collect request with STATUS, storing nothing");
  serveCmd->add_option("--delay", delays, "N:MS - hold the Nth collect request MS milliseconds");
  serveCmd->add_flag("--quiet", serve.quiet, "no start-up line");
  serveCmd->add_flag("--test-routes", serve.testRoutes,
                     "answer /collector/stage and /collector/release (loopback Host only)");

  std::string db, html;
  auto* reportCmd = app.add_subcommand("report", "Events per point, per day, per product version and per edition");
  reportCmd->add_option("DB", db, "the database serve wrote")->required();
  reportCmd->add_option("--html", html, "write the collector's page to this file instead");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);
    std::cerr << "orincollect: " << e.what() << " (try --help)\n";
    return 2;
  }
  if (reportCmd->parsed()) {
    return html.empty() ? orincollect::Report(db, std::cout, std::cerr)
                        : orincollect::WritePage(db, html, std::cerr);
  }

  for (const auto& [list, isFail] : {std::pair{&fails, true}, std::pair{&delays, false}}) {
    for (const std::string& text : *list) {
      std::int64_t n = 0, value = 0;
      if (!orincollect::ParseStagePair(text, n, value)) {
        std::cerr << "orincollect: '" << text << "' is not N:VALUE\n";
        return 2;
      }
      if (isFail) {
        serve.stage.fail[n] = static_cast<int>(value);
      } else {
        serve.stage.delayMs[n] = value;
      }
    }
  }
  if (serve.httpsPort != 0 && (serve.cert.empty() || serve.key.empty())) {
    std::cerr << "orincollect: HTTPS needs --cert and --key (or --https-port 0)\n";
    return 2;
  }
  return orincollect::Serve(serve);
}
