// Routes:
//   POST /api/v2/soft/collect    a JSON array of events (or one event): stored, one transaction;
//                                once per Idempotency-Key (a repeat is acknowledged, not stored)
//   POST /api/tracking/devid     answered {"code":0,"dev_id":"<uuid>"}; recorded
//   GET|POST /api/v2/soft/vid    answered {"code":0,"vid":"<vid>"}; recorded
//   GET /                        the page: charts and tables of what arrived (?l=&n=&u=&rows=&live=1)
//   GET /page.js                 the few lines of its live mode
//   GET /collector/events        every stored event, a JSON array in arrival order;
//                                ?offset=K&limit=L pages through them
//   GET /collector/requests      the collect requests: number, status answered, events stored,
//                                whether it repeated a stored key
//   GET /collector/exchanges     the device-id and virtual-id requests and the answers
//   POST /collector/stage        {"fail":{"N":status},"delay":{"N":ms},"trickle":{"N":ms},
//                                "hold_after_store":{"N":ms}}:
//                                forgets everything received and stages these for the collect
//                                requests to come (a staged 3xx points to /collector/portal, which
//                                answers {"code":0} to anything, as a captive portal might)
//   POST /collector/release      ends every delay now
// The last three only with serve --test-routes, and only for a loopback Host.
#include "collect_server.h"

#include "page.h"

#include <cstdlib>
#include <httplib.h>
#include <json/json.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>
#include <thread>

namespace orincollect {
namespace {

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::string RandomHex(std::mt19937_64& rng, int digits) {
  static const char hex[] = "0123456789abcdef";
  std::string out;
  for (int i = 0; i < digits; ++i) out += hex[rng() % 16];
  return out;
}

const char* const kKeyHeader = "Idempotency-Key";
constexpr std::size_t kMaxKeyBytes = 256;

struct Collector {
  EventStore store;
  RequestLog requests;
  std::mutex rngLock;
  std::mt19937_64 rng{std::random_device{}()};
  std::string vid;
  bool quiet = false;

  std::string NewUuid() {
    std::lock_guard<std::mutex> guard(rngLock);
    return RandomHex(rng, 8) + "-" + RandomHex(rng, 4) + "-4" + RandomHex(rng, 3) + "-a" +
           RandomHex(rng, 3) + "-" + RandomHex(rng, 12);
  }

  void Collect(const httplib::Request& req, httplib::Response& res) {
    int failStatus = 0;
    std::int64_t delayMs = 0;
    std::int64_t trickleMs = 0;
    std::int64_t holdMs = 0;
    const std::int64_t number = requests.Arrive(failStatus, delayMs, trickleMs, holdMs);
    requests.Delay(delayMs);
    if (failStatus != 0) {
      res.status = failStatus;
      if (failStatus >= 300 && failStatus < 400) res.set_header("Location", "/collector/portal");
      requests.Answered(number, failStatus, 0);
      return;
    }
    if (trickleMs > 0) {
      Trickle(number, trickleMs, res);
      return;
    }
    BatchBody events;
    if (!events.Read(req.body)) {
      res.status = 400;
      res.set_content("{\"code\":400,\"msg\":\"not a JSON array of events\"}", "application/json");
      requests.Answered(number, 400, 0);
      return;
    }
    const std::string key = req.get_header_value(kKeyHeader);
    if (key.size() > kMaxKeyBytes) {
      res.status = 400;
      res.set_content("{\"code\":400,\"msg\":\"Idempotency-Key too long\"}", "application/json");
      requests.Answered(number, 400, 0);
      return;
    }
    const EventStore::Stored stored = store.StoreBatch(events.rows(), number, Now(), key);
    if (stored == EventStore::Stored::kFailed) {
      res.status = 500;
      requests.Answered(number, 500, 0);
      if (!quiet) std::fprintf(stderr, "orincollect: cannot store: %s\n", store.error().c_str());
      return;
    }
    requests.Delay(holdMs);
    // A repeat gets the same acknowledgement: the sender only needs to know the batch is stored.
    res.status = 200;
    res.set_content("{\"code\":0}", "application/json");
    const bool repeat = stored == EventStore::Stored::kRepeat;
    requests.Answered(number, 200, repeat ? 0 : static_cast<std::int64_t>(events.rows().size()), repeat);
  }

  // A 200 whose body comes a byte at a time, never the acknowledgement, storing nothing: a
  // client with only per-wait limits waits as long as it lasts. Logged 499 when the client hangs
  // up first, 200 when it stayed to the end.
  void Trickle(std::int64_t number, std::int64_t ms, httplib::Response& res) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    res.status = 200;
    res.set_chunked_content_provider(
        "application/json", [this, number, end](std::size_t, httplib::DataSink& sink) {
          if (std::chrono::steady_clock::now() < end && !requests.Delay(200)) {
            if (sink.is_writable() && sink.write(" ", 1)) return true;
            requests.Answered(number, 499, 0);
            return false;
          }
          requests.Answered(number, 200, 0);
          sink.write("{\"code\":503}", 12);
          sink.done();
          return true;
        });
  }

  void Identity(const httplib::Request& req, httplib::Response& res, const std::string& reply) {
    store.StoreExchange(req.path, req.method, req.body, reply, Now());
    res.status = 200;
    res.set_content(reply, "application/json");
  }

  void Stage(const httplib::Request& req, httplib::Response& res) {
    Json::Value json;
    Json::CharReaderBuilder builder;
    std::string errors;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    orincollect::Stage stage;
    const bool empty = req.body.empty();
    if (!empty && (!reader->parse(req.body.data(), req.body.data() + req.body.size(), &json,
                                  &errors) ||
                   !ParseStage(json, stage))) {
      res.status = 400;
      return;
    }
    requests.Release();
    requests.Reset(stage);
    store.Clear();
    res.status = 200;
  }

  static bool LoopbackHost(const httplib::Request& req) {
    std::string host = req.get_header_value("Host");
    if (!host.empty() && host[0] == '[') {
      host = host.substr(0, host.find(']') + 1);
    } else {
      host = host.substr(0, host.find(':'));
    }
    return host == "localhost" || host == "[::1]" || host.rfind("127.", 0) == 0;
  }

  // Test routes answer only a request addressed to this machine by name: a page elsewhere that
  // makes a browser post here names its own host.
  template <typename Handler>
  static auto LoopbackOnly(Handler handler) {
    return [handler](const httplib::Request& q, httplib::Response& r) {
      if (!LoopbackHost(q)) {
        r.status = 403;
        return;
      }
      handler(q, r);
    };
  }

  template <typename Server>
  void Route(Server& server, bool testRoutes) {
    server.Post("/api/v2/soft/collect",
                [this](const httplib::Request& q, httplib::Response& r) { Collect(q, r); });
    server.Post("/api/tracking/devid", [this](const httplib::Request& q, httplib::Response& r) {
      Identity(q, r, "{\"code\":0,\"dev_id\":\"" + NewUuid() + "\"}");
    });
    auto vidHandler = [this](const httplib::Request& q, httplib::Response& r) {
      Identity(q, r, "{\"code\":0,\"vid\":\"" + vid + "\"}");
    };
    server.Get("/api/v2/soft/vid", vidHandler);
    server.Post("/api/v2/soft/vid", vidHandler);
    server.Get("/", [this](const httplib::Request& q, httplib::Response& r) {
      std::string html;
      if (!RenderPage(store, PageQueryFrom(q.params), html)) {
        r.status = 500;
        r.set_content(store.error(), "text/plain");
        return;
      }
      r.set_header("Cache-Control", "no-store");
      r.set_content(html, "text/html; charset=utf-8");
    });
    server.Get("/page.js", [](const httplib::Request&, httplib::Response& r) {
      r.set_content(kLiveScript, "text/javascript");
    });
    server.Get("/collector/events", [this](const httplib::Request& q, httplib::Response& r) {
      auto number = [&q](const char* name, std::int64_t fallback) {
        const std::string text = q.get_param_value(name);
        char* end = nullptr;
        const long long v = std::strtoll(text.c_str(), &end, 10);
        return text.empty() || *end != '\0' ? fallback : static_cast<std::int64_t>(v);
      };
      r.set_content(store.EventsAsJsonArray(number("offset", 0), number("limit", -1)),
                    "application/json");
    });
    server.Get("/collector/exchanges", [this](const httplib::Request&, httplib::Response& r) {
      r.set_content(store.ExchangesAsJsonArray(), "application/json");
    });
    server.Get("/collector/requests", [this](const httplib::Request&, httplib::Response& r) {
      Json::StreamWriterBuilder w;
      w["indentation"] = "";
      r.set_content(Json::writeString(w, requests.ToJson()), "application/json");
    });
    if (testRoutes) {
      server.Post("/collector/stage", LoopbackOnly([this](const httplib::Request& q,
                                                          httplib::Response& r) { Stage(q, r); }));
      server.Post("/collector/release",
                  LoopbackOnly([this](const httplib::Request&, httplib::Response& r) {
                    requests.Release();
                    r.status = 200;
                  }));
      const auto portal = LoopbackOnly([](const httplib::Request&, httplib::Response& r) {
        r.set_content("{\"code\":0}", "application/json");
      });
      server.Get("/collector/portal", portal);
      server.Post("/collector/portal", portal);
    }
    // Many short connections from one client: no keep-alive to hold threads.
    server.set_keep_alive_max_count(1);
    server.set_payload_max_length(64 * 1024 * 1024);
  }
};

}  // namespace

int Serve(const ServeOptions& options) {
  Collector collector;
  collector.quiet = options.quiet;
  if (!collector.store.Open(options.db)) {
    std::fprintf(stderr, "orincollect: %s: %s\n", options.db.c_str(), collector.store.error().c_str());
    return 1;
  }
  collector.vid = "vid-" + collector.NewUuid();
  collector.requests.Reset(options.stage);

  httplib::Server plain;
  std::unique_ptr<httplib::SSLServer> secure;
  if (options.httpsPort != 0) {
    secure = std::make_unique<httplib::SSLServer>(options.cert.c_str(), options.key.c_str());
    if (!secure->is_valid()) {
      std::fprintf(stderr, "orincollect: cannot use certificate %s with key %s\n",
                   options.cert.c_str(), options.key.c_str());
      return 1;
    }
    // Every client call opens a fresh TLS session, so tickets would only cost both ends work.
    SSL_CTX_set_num_tickets(secure->ssl_context(), 0);
    collector.Route(*secure, options.testRoutes);
  }
  collector.Route(plain, options.testRoutes);
  if (options.httpPort != 0 && !plain.bind_to_port(options.bind.c_str(), options.httpPort)) {
    std::fprintf(stderr, "orincollect: cannot listen on %s:%d\n", options.bind.c_str(), options.httpPort);
    return 1;
  }
  if (secure && !secure->bind_to_port(options.bind.c_str(), options.httpsPort)) {
    std::fprintf(stderr, "orincollect: cannot listen on %s:%d\n", options.bind.c_str(), options.httpsPort);
    return 1;
  }
  std::thread plainThread, secureThread;
  if (options.httpPort != 0) plainThread = std::thread([&] { plain.listen_after_bind(); });
  if (secure) secureThread = std::thread([&] { secure->listen_after_bind(); });
  if (!options.readyFile.empty()) std::ofstream(options.readyFile) << "ready\n";
  if (!options.quiet) {
    std::fprintf(stderr, "orincollect: listening on %s (http %d, https %d), storing in %s\n",
                 options.bind.c_str(), options.httpPort, options.httpsPort, options.db.c_str());
  }
  if (plainThread.joinable()) plainThread.join();
  if (secureThread.joinable()) secureThread.join();
  return 0;
}

}  // namespace orincollect
