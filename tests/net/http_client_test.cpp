// The HTTP client against a real server on 127.0.0.1 (ports 80 and 443 of a private network
// namespace): what goes out, what comes back, and which certificates pass.
#include <string>
#include <thread>

#include "net/http_client.h"
#include "platform/os.h"
#include "support/Programs.h"
#include "test_server.h"

namespace orin {
namespace {

using net::ErrorInfo;
using net::HttpRequestInfo;
using net::HttpResponseInfo;
using testing::TestServer;
using HttpClientTest = testing::ServerTest;

const std::string kBinaryBody = std::string("a\0b\xff\r\n\"", 7) + std::string(5000, 'z');

// One exchange per row on both schemes: the request goes out as given (the caller's header under
// the name it was given; nothing else but the user agent, the host and the length) and the answer
// comes back whole, over whatever the call held before.
TEST_F(HttpClientTest, SendsTheRequestAsGivenAndHandsBackStatusHeadersAndBody) {
  const struct Case {
    const char* name;
    HttpRequestInfo request;
    const char *method, *target, *contentType;
    TestServer::Reply reply;
  } cases[] = {
      {"json post", {"127.0.0.1", "/api/tracking/devid", "content-type:application/json",
                     "{\"xid\":\"ab\"}\n"}, "POST", "/api/tracking/devid", "application/json",
       {200, "{\"ok\":1}"}},
      {"multipart get, a 500 is still delivered",
       {"127.0.0.1", "/api/v2/soft/vid", "content-type:multipart/form-data", "", true}, "GET",
       "/api/v2/soft/vid", "multipart/form-data", {500, "broken"}},
      {"binary body, a large answer in several reads",
       {"127.0.0.1", "/b", "content-type:application/octet-stream", kBinaryBody}, "POST", "/b",
       "application/octet-stream", {200, std::string(10000, 'L')}},
      {"nothing given, only so much is kept", {"127.0.0.1", "", "", ""}, "POST", "/", "<absent>",
       {200, std::string(net::kReplyBodyLimit, 'K') + "dropped"}},
      {"skipReply ignores what is sent", {"127.0.0.1", "/r", "", "x", false, false, true}, "POST",
       "/r", "<absent>", {200, "unread"}},
      // The server announces more than it sends: a failed read keeps what arrived.
      {"cut short", {"127.0.0.1", "/r", "", "x"}, "POST", "/r", "<absent>",
       {200, "partial", {}, 0, 100}},
  };
  for (bool secure : {false, true}) {
    for (Case c : cases) {
      SCOPED_TRACE(std::string(c.name) + (secure ? " over https" : " over http"));
      c.reply.headers = {{"X-Orin", "yes"}};
      TestServer::Reset({c.reply});
      c.request.secure = secure;
      HttpResponseInfo response{0, "stale", "stale"};
      ErrorInfo error{12345, L"stale"};
      ASSERT_TRUE(net::PostRequest(response, c.request, error));
      EXPECT_EQ(error.code, 0);
      EXPECT_EQ(error.message, L"");
      EXPECT_EQ(response.statusCode, static_cast<unsigned>(c.reply.status));
      if (c.request.skipReply) {
        EXPECT_EQ(response.rawHeaders + response.body, "");
      } else {
        EXPECT_EQ(response.body, c.reply.body.substr(0, net::kReplyBodyLimit));
        ASSERT_FALSE(response.rawHeaders.empty());
        EXPECT_EQ(response.rawHeaders.back(), '\0');
        EXPECT_EQ(response.rawHeaders.rfind("HTTP/1.1 " + std::to_string(c.reply.status), 0), 0u)
            << response.rawHeaders;
        EXPECT_NE(response.rawHeaders.find("\r\nX-Orin: yes\r\n"), std::string::npos);
      }

      const auto received = TestServer::Received();
      ASSERT_EQ(received.size(), 1u);
      const auto& q = received[0];
      EXPECT_EQ(q.line(), std::string(secure ? "https " : "http ") + c.method + " 127.0.0.1" +
                              c.target + " " + c.contentType + " " + c.request.body);
      EXPECT_EQ(q.version, "HTTP/1.1");
      for (const auto& name : q.names) {
        const std::string n = name.asString();
        EXPECT_TRUE(n == "content-type" || n == "User-Agent" || n == "Host" ||
                    n == "Content-Length")
            << n;
      }
      EXPECT_EQ(q.header("user-agent"),
                "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1;Trident/4.0)");
    }
  }
}

// The certificates WinInet is told to accept pass, a name that does not match does not, and a
// port in the host text is part of the name; a failed send is the only one OrThrow raises for.
TEST_F(HttpClientTest, AcceptsTheCertificatesWinInetIsToldToAndNoOthers) {
  const struct {
    const char* cert;
    const char* host;
    bool secure, accepted;
  } cases[] = {{"good", "127.0.0.1", true, true},        {"expired", "127.0.0.1", true, true},
               {"notyet", "127.0.0.1", true, true},      {"otherhost", "127.0.0.1", true, false},
               {"good", "127.0.0.1:80", false, false},   {"good", "127.0.0.1:80", true, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.cert) + " " + c.host);
    TestServer::Reset({{500, "ok"}}, c.cert);
    const HttpRequestInfo request{c.host, "/tls", "", "", true, c.secure};
    HttpResponseInfo response;
    ErrorInfo error;
    EXPECT_EQ(net::PostRequest(response, request, error), c.accepted);
    EXPECT_EQ(TestServer::Received().size(), c.accepted ? 1u : 0u);
    EXPECT_EQ(response.statusCode, c.accepted ? 500u : 0u);
    EXPECT_EQ(error.code != 0, !c.accepted);
    EXPECT_EQ(error.message, c.accepted ? L"" : L"Send http request failed");
    try {
      net::PostRequestOrThrow(response, request);
      EXPECT_TRUE(c.accepted) << "no exception";
    } catch (const net::HttpError& e) {
      EXPECT_FALSE(c.accepted);
      EXPECT_EQ(e.info().message, L"Send http request failed");
    }
  }
}

// Redirects as Wine's WinInet follows them with the module's flags: 301, 302 and 303 go on as a
// GET, 307 keeps the verb, neither sends the body or the caller's headers again, 308 is an
// answer, and the Location's host and path are used. Beyond that, Wine's WinInet follows any
// number of redirects and https to http; WinInet on Windows stops after five (12156) and refuses
// the downgrade (12040), as the POSIX client does: those rows are Windows' and not Wine's.
TEST_F(HttpClientTest, FollowsRedirectsAsWinInetDoes) {
  const std::vector<std::string> kFiveLoops(5, "http GET 127.0.0.1/loop");
  const struct Row {
    const char* name;
    int status;
    std::string location;  // "//" is the request's own scheme
    int redirects;         // answers with the redirect before a 200 "final"
    bool useGet, secure;
    std::int64_t error;    // 0: sent
    unsigned finalStatus;
    std::vector<std::string> arrivals;  // after the first: scheme, verb, address reached, target
    bool notWine = false;
  } rows[] = {
      {"301", 301, "//127.0.0.2/moved", 1, false, false, 0, 200, {"http GET 127.0.0.2/moved"}},
      {"302", 302, "//127.0.0.2/moved", 1, false, false, 0, 200, {"http GET 127.0.0.2/moved"}},
      {"303 over https", 303, "//127.0.0.3/moved", 1, false, true, 0, 200,
       {"https GET 127.0.0.3/moved"}},
      // The POST goes again without a body and announces none; the test server waits for one,
      // gives up after its read time-out and refuses the request unlogged.
      {"307", 307, "//127.0.0.2/moved", 1, false, false, 0, 400, {}},
      {"308 is an answer", 308, "//127.0.0.2/moved", 1, false, false, 0, 308, {}},
      {"302 to a GET", 302, "//127.0.0.2/moved", 1, true, false, 0, 200,
       {"http GET 127.0.0.2/moved"}},
      {"a path alone", 302, "/rel", 1, false, false, 0, 200, {"http GET 127.0.0.1/rel"}},
      {"http to https", 302, "https://127.0.0.1/sec", 1, false, false, 0, 200,
       {"https GET 127.0.0.1/sec"}},
      {"five redirects", 302, "/loop", 5, false, false, 0, 200, kFiveLoops},
      {"a failing hop", 302, "http://nowhere.invalid/x", 1, false, false, 12007, 0, {}},
      {"six redirects", 302, "/loop", 6, false, false, 12156, 0, kFiveLoops, true},
      {"https to http", 302, "http://127.0.0.1/plain", 1, false, true, 12040, 0, {}, true},
  };
  for (const Row& r : rows) {
    if (r.notWine && platform::kIsWindows) continue;
    SCOPED_TRACE(r.name);
    const std::string location =
        r.location.rfind("//", 0) == 0 ? (r.secure ? "https:" : "http:") + r.location : r.location;
    std::vector<TestServer::Reply> replies(r.redirects,
                                           {r.status, "redirect body", {{"Location", location}}});
    replies.push_back({200, "final"});
    TestServer::Reset(replies);
    HttpRequestInfo request{"127.0.0.1", "/start", "content-type:application/json",
                            r.useGet ? "" : "{\"a\":1}", r.useGet, r.secure};
    HttpResponseInfo response;
    ErrorInfo error;
    EXPECT_EQ(net::PostRequest(response, request, error), r.error == 0);
    EXPECT_EQ(error.code, r.error);
    EXPECT_EQ(response.statusCode, r.finalStatus);
    EXPECT_EQ(response.body, r.finalStatus == 200   ? "final"
                             : r.finalStatus == 308 ? "redirect body"
                                                    : "");
    // Only the first request carries the caller's body and headers.
    std::vector<std::string> arrivals, expected = {
        std::string(r.secure ? "https " : "http ") + (r.useGet ? "GET" : "POST") +
        " 127.0.0.1/start application/json " + request.body};
    for (const std::string& a : r.arrivals) expected.push_back(a + " <absent> ");
    for (const auto& q : TestServer::Received()) arrivals.push_back(q.line());
    EXPECT_EQ(arrivals, expected);
  }
}

// Last of the server tests: the flag stays set for the rest of the program. The server holds its
// answer for 30 s; the held request must end long before (ctest's time-out catches a hang).
TEST_F(HttpClientTest, AnExitEndsTheRequestInFlightAndRefusesEveryLaterOne) {
  net::PrepareTransportForExit();
  TestServer::Reset({{200, "late", {}, 30000}});
  ErrorInfo held;
  bool heldSent = true;
  std::thread request;
  // WinInet's threads end with the process; only the next send is refused there.
  if (!platform::kIsWindows) {
    request = std::thread([&] {
      HttpResponseInfo response;
      heldSent = net::PostRequest(response, {"127.0.0.1", "/held", "", "", false, false}, held);
    });
    EXPECT_TRUE(testing::WaitUntil([] { return TestServer::Received().size() == 1; }));
  }
  net::AbortRequestsForExit();
  if (request.joinable()) {
    request.join();
    EXPECT_FALSE(heldSent);
    EXPECT_NE(held.code, 0);
    EXPECT_EQ(held.message, L"Send http request failed");
  }
  const std::size_t before = TestServer::Received().size();
  for (bool secure : {false, true}) {
    HttpResponseInfo response;
    ErrorInfo error;
    EXPECT_FALSE(net::PostRequest(response, {"127.0.0.1", "/later", "", "", false, secure}, error));
    EXPECT_NE(error.code, 0);
    EXPECT_EQ(error.message, L"Send http request failed");
  }
  EXPECT_EQ(TestServer::Received().size(), before);
}

TEST(FormQueryTest, JoinsKeptPairsAndKeepsTheSeparatorOfASkippedLastPair) {
  const struct {
    std::vector<std::pair<std::string, std::string>> pairs;
    const char* expected;
  } cases[] = {
      {{{"a", "1"}, {"b", "2"}}, "a=1&b=2"},
      {{{"a", "1"}, {"b", ""}}, "a=1&"},
      {{{"", "1"}, {"b", "2"}}, "b=2"},
      {{{"a", "1"}, {"", ""}, {"c", "3"}}, "a=1&c=3"},
      {{{"a b", "x&y"}}, "a b=x&y"},
      {{}, ""},
  };
  for (const auto& c : cases) {
    std::string out = "pre:";
    net::BuildFormQuery(out, c.pairs);
    EXPECT_EQ(out, std::string("pre:") + c.expected);
  }
}

}  // namespace
}  // namespace orin

