// orin_test_server STATE_DIR
// Serves HTTP on port 80 and HTTPS on 443 of every local address (run it in a private network
// namespace). Each request is appended to STATE_DIR/requests.log as one JSON line
// {"secure","local","method","target","version","headers" (lower-case names),"names" (as sent,
// in order),"body_hex","ms"} ("local": the address the request reached) and answered with
// entry k of "replies" in STATE_DIR/control.json, k being the number of lines the log held
// before it (the last entry once they run out; 200 and nothing without a file):
//   {"cert": "good" | "expired" | "notyet" | "otherhost",
//    "replies": [{"status", "body", "headers": {}, "delay_ms", "declared_length"}]}
// A reply with "delay_ms" is held that long before it is answered (other requests go on); one
// with a "declared_length" beyond its body announces that length, sends the body and hangs up.
// The certificate is chosen afresh at each TLS handshake. STATE_DIR/ready appears once both
// ports listen.
#include <httplib.h>
#include <json/json.h>
#include <openssl/ssl.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <mutex>
#include <thread>
#include <vector>

#include "certificates.h"

namespace {

std::string stateDir;
std::mutex logLock;
const auto started = std::chrono::steady_clock::now();

KeyPtr key;
CertPtr goodCert, expiredCert, notYetCert, otherHostCert;

Json::Value ReadControl() {
  std::ifstream in(stateDir + "/control.json");
  Json::Value control;
  if (in) {
    Json::CharReaderBuilder builder;
    std::string errors;
    Json::parseFromStream(builder, in, &control, &errors);
  }
  return control;
}

std::size_t LoggedCount() {
  std::ifstream in(stateDir + "/requests.log", std::ios::binary);
  return static_cast<std::size_t>(
      std::count(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>(), '\n'));
}

std::string Hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) {
    out += digits[c >> 4];
    out += digits[c & 15];
  }
  return out;
}

// Logs the request and picks its reply; returns how long the reply is to be held.
int Answer(bool secure, const httplib::Request& req, httplib::Response& res) {
  std::lock_guard<std::mutex> guard(logLock);
  Json::Value entry;
  entry["secure"] = secure;
  entry["local"] = req.local_addr;
  entry["method"] = req.method;
  entry["target"] = req.target;
  entry["version"] = req.version;
  Json::Value headers(Json::objectValue), names(Json::arrayValue);
  for (const auto& [name, value] : req.headers) {
    // The server library adds these itself.
    if (name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
        name == "LOCAL_PORT") {
      continue;
    }
    names.append(name);
    std::string lower = name;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    headers[lower] = value;
  }
  entry["headers"] = headers;
  entry["names"] = names;
  entry["body_hex"] = Hex(req.body);
  entry["ms"] = static_cast<Json::Int64>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                             std::chrono::steady_clock::now() - started)
                                             .count());
  const std::size_t index = LoggedCount();
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  std::ofstream(stateDir + "/requests.log", std::ios::binary | std::ios::app)
      << Json::writeString(writer, entry) << "\n";

  const Json::Value replies = ReadControl()["replies"];
  res.status = 200;
  if (!replies.isArray() || replies.empty()) return 0;
  const Json::Value& reply = replies[std::min<Json::ArrayIndex>(index, replies.size() - 1)];
  res.status = reply.get("status", 200).asInt();
  for (const auto& name : reply["headers"].getMemberNames()) {
    res.set_header(name, reply["headers"][name].asString());
  }
  const std::string body = reply["body"].asString();
  const std::size_t declared = reply.get("declared_length", 0).asUInt();
  if (declared > body.size()) {
    res.set_content_provider(declared, "application/json",
                             [body](std::size_t, std::size_t, httplib::DataSink& sink) {
                               sink.write(body.data(), body.size());
                               return false;
                             });
  } else if (!body.empty()) {
    res.set_content(body, "application/json");
  }
  return reply.get("delay_ms", 0).asInt();
}

int ChooseCertificate(SSL* ssl, void*) {
  const std::string mode = ReadControl().get("cert", "good").asString();
  X509* cert = mode == "expired"     ? expiredCert.get()
               : mode == "notyet"    ? notYetCert.get()
               : mode == "otherhost" ? otherHostCert.get()
                                     : goodCert.get();
  return SSL_use_certificate(ssl, cert) == 1 && SSL_use_PrivateKey(ssl, key.get()) == 1;
}

template <typename ServerT>
void Route(ServerT& server, bool secure) {
  auto handler = [secure](const httplib::Request& req, httplib::Response& res) {
    std::this_thread::sleep_for(std::chrono::milliseconds(Answer(secure, req, res)));
  };
  server.Get(".*", handler);
  server.Post(".*", handler);
  server.set_keep_alive_max_count(1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: orin_test_server STATE_DIR\n");
    return 2;
  }
  stateDir = argv[1];
  key = MakeKey();
  // Every loopback address a test build's hosts use.
  const std::vector<std::string> local = {"127.0.0.1", "127.0.0.2", "127.0.0.3"};
  goodCert = MakeCertificate(key.get(), local, -1, 365);
  expiredCert = MakeCertificate(key.get(), local, -30, -1);
  notYetCert = MakeCertificate(key.get(), local, 2, 365);
  otherHostCert = MakeCertificate(key.get(), {"other.invalid"}, -1, 365);

  httplib::Server plain;
  httplib::SSLServer secure([](SSL_CTX& ctx) {
    SSL_CTX_set_cert_cb(&ctx, ChooseCertificate, nullptr);
    return true;
  });
  Route(plain, false);
  Route(secure, true);
  if (!plain.bind_to_port("0.0.0.0", 80) || !secure.bind_to_port("0.0.0.0", 443)) {
    std::perror("orin_test_server: bind");
    return 1;
  }
  std::thread plainThread([&] { plain.listen_after_bind(); });
  std::thread secureThread([&] { secure.listen_after_bind(); });
  std::ofstream(stateDir + "/ready") << "ready\n";
  plainThread.join();
  secureThread.join();
}
