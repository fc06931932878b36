// orincache: inspect and append to an event cache file.
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/orincache/commands.h"

int main(int argc, char** argv) {
  CLI::App app{"Inspect an orinpoint event cache file (scrambled, length-prefixed records)."};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("orincache ") + ORIN_VERSION);

  std::string path;
  std::string json;
  bool all = false;

  auto* dump = app.add_subcommand("dump", "Print each record's event, one JSON line each, in file order");
  dump->add_option("FILE", path, "cache file")->required();
  dump->add_flag("--all", all, "also print an error line for each record that does not parse");

  auto* list = app.add_subcommand("list", "One line per record or damaged stretch: offset, length, status");
  list->add_option("FILE", path, "cache file")->required();

  auto* verify = app.add_subcommand(
      "verify", "Exit 0 when every record is whole and parses, else 1 naming the first bad one");
  verify->add_option("FILE", path, "cache file")->required();

  std::string cache;
  auto* salvage = app.add_subcommand(
      "salvage", "Append the whole records found in a file of damaged bytes (KD_OF.dat.damaged) to a cache");
  salvage->add_option("DAMAGED", path, "the side file of damaged bytes")->required();
  salvage->add_option("CACHE", cache, "cache file to append them to")->required();

  auto* status = app.add_subcommand(
      "status", "What waits beside a cache: claimed, backed-up, set-aside and damaged records");
  status->add_option("CACHE", path, "cache file (KD_OF.dat)")->required();

  auto* append = app.add_subcommand("append", "Append one event exactly as the module does");
  append->add_option("FILE", path, "cache file")->required();
  append->add_option("JSON", json, "the event, a JSON object")->required();

  // CLI11 would only say that a subcommand is required; name the word it did not know.
  if (argc > 1 && argv[1][0] != '-' && app.get_subcommands([&](CLI::App* s) { return s->check_name(argv[1]); }).empty()) {
    std::cerr << "orincache: unknown command '" << argv[1] << "' (try --help)\n";
    return 2;
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);  // --help
    std::cerr << "orincache: " << e.what() << " (try --help)\n";
    return 2;
  }

  if (dump->parsed()) return orin::orincache::Dump(path, all, std::cout, std::cerr);
  if (list->parsed()) return orin::orincache::List(path, std::cout, std::cerr);
  if (verify->parsed()) return orin::orincache::Verify(path, std::cout, std::cerr);
  if (salvage->parsed()) return orin::orincache::Salvage(path, cache, std::cout, std::cerr);
  if (status->parsed()) return orin::orincache::Status(path, std::cout, std::cerr);
  return orin::orincache::Append(path, json, std::cout, std::cerr);
}
