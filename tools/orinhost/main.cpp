// orinhost: a stand-in for the host product. It loads the module by path at run time, reports
// points through the facade the way the product does, and prints what the cache then holds.
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/orinhost/host_session.h"

namespace {

using Op = std::vector<std::string>;

struct Point {
  std::int32_t l = 0;
  std::int32_t n = 0;
  std::string param;  // NAME=VALUE, optional
};

// A short working session of the product: start, a backup with its size, a backup done, and
// the upload of the cache.
std::vector<Op> DefaultScenario() {
  return {{"point", "1", "100"}, {"record"},
          {"point", "2", "200"}, {"param", "0", "size_gb", "42"}, {"record"},
          {"point", "2", "201"}, {"param", "0", "seconds", "315"}, {"record"},
          {"wait", "3"}, {"submit"}};
}

// Replaces each "repeat N" ... "end" block by N copies of its calls, "$i" in a word by the round.
bool ExpandRepeats(std::vector<Op>& ops, std::string& problem) {
  std::vector<Op> out;
  for (std::size_t k = 0; k < ops.size(); ++k) {
    if (ops[k].empty() || ops[k][0] != "repeat") {
      if (!ops[k].empty() && ops[k][0] == "end") {
        problem = "'end' without 'repeat'";
        return false;
      }
      out.push_back(ops[k]);
      continue;
    }
    char* rest = nullptr;
    const long rounds = ops[k].size() == 2 ? std::strtol(ops[k][1].c_str(), &rest, 10) : -1;
    if (rest == nullptr || *rest != '\0' || rounds < 0 || rounds > 10000000) {
      problem = "'repeat' wants one count";
      return false;
    }
    std::size_t end = k + 1;
    while (end < ops.size() && !(ops[end].size() == 1 && ops[end][0] == "end")) ++end;
    if (end == ops.size()) {
      problem = "'repeat' without 'end'";
      return false;
    }
    for (long round = 1; round <= rounds; ++round) {
      for (std::size_t j = k + 1; j < end; ++j) {
        Op op = ops[j];
        for (std::string& word : op) {
          if (word == "$i") word = std::to_string(round);
        }
        out.push_back(std::move(op));
      }
    }
    k = end;
  }
  ops.swap(out);
  return true;
}

std::string Describe(const Op& op) {
  std::string text;
  for (const std::string& word : op) text += (text.empty() ? "" : " ") + word;
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Stand-in host: loads the orinpoint module, reports points through GetOrinPointObj, then "
      "prints the decoded cache. Without a command it runs a short product session."};
  app.set_version_flag("--version", std::string("orinhost ") + ORIN_VERSION);
  std::string module = orin::orinhost::DefaultModulePath();
  int timeoutSeconds = 30;
  int settleMs = 1500;
  app.add_option("--module", module, "the module to load")->capture_default_str();
  app.add_option("--timeout", timeoutSeconds, "seconds to wait for points to reach the cache")
      ->capture_default_str()->check(CLI::PositiveNumber);
  app.add_option("--settle", settleMs, "ms to wait after a queued cache upload")
      ->capture_default_str()->check(CLI::NonNegativeNumber);

  Point point;
  auto* record = app.add_subcommand("record", "SetPoint, optional SetPointParam, RecordPoint");
  record->add_option("L", point.l, "first point number")->required();
  record->add_option("N", point.n, "second point number")->required();
  record->add_option("--param", point.param, "a named number, NAME=VALUE");
  auto* submit = app.add_subcommand("submit", "SubmitCache: the helper uploads the cache");
  auto* now = app.add_subcommand("now", "PreparePoint and ReportPointNow on this thread");
  now->add_option("L", point.l, "first point number")->required();
  now->add_option("N", point.n, "second point number")->required();
  auto* script = app.add_subcommand(
      "script", "Facade calls in order, separated by ',': point L N, param KIND NAME VALUE, "
                "record, submit, prepsubmit, prepare L N, now, submitnow, wait COUNT, "
                "cached COUNT, sleep MS, unload, lockcache, unlockcache; 'repeat N , CALLS , end' runs CALLS N times "
                "with $i standing for the round (1 to N)");
  script->prefix_command();  // the calls reuse command words ("record", "submit")
  // One command: after it, even a first call named like another command belongs to the script.
  app.require_subcommand(0, 1);

  if (argc > 1 && argv[1][0] != '-' &&
      app.get_subcommands([&](CLI::App* s) { return s->check_name(argv[1]); }).empty()) {
    std::cerr << "orinhost: unknown command '" << argv[1] << "' (try --help)\n";
    return 2;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);
    std::cerr << "orinhost: " << e.what() << " (try --help)\n";
    return 2;
  }

  std::vector<Op> ops;
  if (record->parsed()) {
    ops.push_back({"point", std::to_string(point.l), std::to_string(point.n)});
    if (!point.param.empty()) {
      const std::string::size_type eq = point.param.find('=');
      if (eq == std::string::npos || eq == 0) {
        std::cerr << "orinhost: --param wants NAME=VALUE, got '" << point.param << "'\n";
        return 2;
      }
      ops.push_back({"param", "0", point.param.substr(0, eq), point.param.substr(eq + 1)});
    }
    ops.push_back({"record"});
    ops.push_back({"wait", "1"});
  } else if (submit->parsed()) {
    ops.push_back({"submit"});
  } else if (now->parsed()) {
    ops.push_back({"prepare", std::to_string(point.l), std::to_string(point.n)});
    ops.push_back({"now"});
  } else if (script->parsed()) {
    ops.emplace_back();
    for (const std::string& w : script->remaining()) {
      if (w == ",") {
        ops.emplace_back();
      } else {
        ops.back().push_back(w);
      }
    }
    std::string problem;
    if (!ExpandRepeats(ops, problem)) {
      std::cerr << "orinhost: " << problem << '\n';
      return 2;
    }
  } else {
    ops = DefaultScenario();
  }

  orin::orinhost::HostSession session(std::cout, std::cerr);
  session.set_timeout_ms(timeoutSeconds * 1000);
  if (!session.Load(module)) return 2;
  bool ok = true;
  bool queuedUpload = false;
  for (const Op& op : ops) {
    if (op.empty()) continue;
    std::cout << "> " << Describe(op) << '\n';
    // SubmitCacheNow is queued too while the module is still starting.
    if (op[0] == "submit" || op[0] == "prepsubmit" || op[0] == "submitnow") queuedUpload = true;
    if (!session.Run(op)) {
      if (op[0] != "wait") {
        std::cerr << "orinhost: cannot run '" << Describe(op) << "'\n";
        return 2;
      }
      ok = false;
      break;
    }
  }
  // A queued upload leaves no trace the host could wait for: give the module's thread time to
  // start the helper before the process ends.
  if (ok && queuedUpload) session.Run({"sleep", std::to_string(settleMs)});
  session.PrintCache();
  return ok ? 0 : 1;
}
