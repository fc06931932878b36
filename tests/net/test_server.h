#pragma once
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include "platform/os.h"
#include "support/TempDir.h"

namespace orin::testing {

// One request as the test server received it.
struct ReceivedRequest {
  bool secure = false;
  std::string local;  // the address the request reached
  std::string method, target, version, body;
  Json::Value headers;  // lower-case names
  Json::Value names;    // header names as sent, in order
  long long ms = 0;     // the server's clock
  std::string header(const char* name) const { return headers.get(name, "<absent>").asString(); }
  // "https POST 127.0.0.1/target content-type body": the whole request, to compare in one go.
  std::string line() const {
    return std::string(secure ? "https " : "http ") + method + " " + local + target + " " +
           header("content-type") + " " + body;
  }
};

// The server that with-servers starts for this test program: what it answers and what it got.
class TestServer {
 public:
  // Empty when the program runs outside with-servers.
  static std::string Folder() {
    const char* dir = std::getenv("ORIN_TEST_SERVER_DIR");
    if (dir == nullptr) return {};
    // A Windows program under Wine reaches the host's files through drive Z:.
    return platform::kIsWindows ? std::string("Z:") + dir : std::string(dir);
  }

  struct Reply {
    int status = 200;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers = {};
    int delayMs = 0;                 // held that long before the answer
    std::size_t declaredLength = 0;  // beyond the body: announced, then the server hangs up
  };

  // Forgets what was received; the next requests get these replies in turn (the last repeats).
  static void Reset(const std::vector<Reply>& replies, const char* cert = "good") {
    Json::Value control;
    control["cert"] = cert;
    control["replies"] = Json::Value(Json::arrayValue);
    for (const Reply& r : replies) {
      Json::Value& reply = control["replies"].append(Json::objectValue);
      reply["status"] = r.status;
      reply["body"] = r.body;
      reply["headers"] = Json::objectValue;
      for (const auto& [name, value] : r.headers) reply["headers"][name] = value;
      reply["delay_ms"] = r.delayMs;
      reply["declared_length"] = static_cast<Json::UInt64>(r.declaredLength);
    }
    std::remove((Folder() + "/requests.log").c_str());
    std::ofstream(Folder() + "/control.json", std::ios::binary) << control.toStyledString();
  }

  static std::vector<ReceivedRequest> Received() {
    std::vector<ReceivedRequest> out;
    std::istringstream lines(ReadBytes(Folder() + "/requests.log"));
    std::string line;
    Json::CharReaderBuilder builder;
    while (std::getline(lines, line)) {
      Json::Value v;
      std::string errors;
      std::istringstream in(line);
      if (!Json::parseFromStream(builder, in, &v, &errors)) continue;
      ReceivedRequest r{v["secure"].asBool(), v["local"].asString(), v["method"].asString(),
                        v["target"].asString(), v["version"].asString(), "",
                        v["headers"], v["names"], v["ms"].asInt64()};
      const std::string hex = v["body_hex"].asString();
      for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        r.body.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
      }
      out.push_back(r);
    }
    return out;
  }
};

// Base of every test that talks to the server.
class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (TestServer::Folder().empty()) GTEST_SKIP() << "run through ctest (tests/net/with-servers)";
    TestServer::Reset({});
  }
};

}  // namespace orin::testing
