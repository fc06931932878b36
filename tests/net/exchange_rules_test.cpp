// The engine's exchange rules with the transport replaced (where the server's side cannot show
// them: the scheme and the reply skipped), and the pure mappings and bodies. How many sends each
// server answer costs is checked against the real server (online_engine_test.cpp).
#include <vector>

#include "analytics/CQuillAnalyze.h"
#include "analytics/language_index.h"
#include "analytics/reply_scan.h"
#include <gtest/gtest.h>

namespace orin {
namespace {

// Answers each send with the next scripted reply (the last repeats) and records the requests.
struct ScriptedTransport {
  struct Answer {
    bool sent;
    std::uint32_t status;
    std::string body;
  };
  std::vector<Answer> answers;
  std::vector<net::HttpRequestInfo> requests;
  CQuillAnalyze::HttpTransport Bind() {
    return [this](net::HttpResponseInfo& response, const net::HttpRequestInfo& request,
                  net::ErrorInfo& error) {
      const Answer& a = answers[std::min(requests.size(), answers.size() - 1)];
      requests.push_back(request);
      response = {};
      error = {};
      if (!a.sent) {
        error.code = 12029;
        return false;
      }
      response.statusCode = a.status;
      response.body = a.body;
      return true;
    };
  }
};

// The device-id request and the bind post go by the vid's scheme; the post skips the reply and
// counts only a 200 or a 204.
TEST(ExchangeRulesTest, ExchangesFollowTheVidSchemeAndTheBindPostCountsOnly200And204) {
  const struct {
    const char* url;
    ScriptedTransport::Answer answer;
    bool delivered;
  } cases[] = {{"https://h.example/v", {true, 200, ""}, true},
               {"http://h.example/v", {true, 204, ""}, true},
               {"https://h.example/v", {true, 201, ""}, false},
               {"http://h.example/v", {true, 500, ""}, false},
               {"https://h.example/v", {false, 0, ""}, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.url + std::to_string(c.answer.status));
    ScriptedTransport transport{{{true, 200, ""}, c.answer}, {}};
    CQuillAnalyze engine;
    engine.SetHttpTransport(transport.Bind());
    engine.ParseVidUrl(c.url);
    std::string id;
    engine.FetchDeviceId("x", id);
    EXPECT_EQ(engine.PostJson("{\"vid\":\"1\"}\n"), c.delivered);
    ASSERT_EQ(transport.requests.size(), 2u);
    const bool secure = c.url[4] == 's';
    EXPECT_EQ(transport.requests[0].secure, secure);
    EXPECT_EQ(transport.requests[1].secure, secure);
    EXPECT_EQ(transport.requests[1].host + transport.requests[1].path, "h.example/v");
    EXPECT_TRUE(transport.requests[1].skipReply);
  }
  // With the first-run flag set the id goes in even when there is none yet.
  std::string body;
  EXPECT_TRUE(CQuillAnalyze().BuildBindBody("v1", body));
  EXPECT_EQ(body, "{\"dev_ids\":[\"\"],\"vid\":\"v1\"}\n");
}

TEST(ExchangeRulesTest, UuidShapeCountsFourHyphensInThirtySixCharacters) {
  const std::pair<std::string, bool> cases[] = {
      {"3f2a6c1e-0b7d-4e59-9a81-2c4d6e8f0a1b", true},
      {"----" + std::string(32, 'z'), true},
      {std::string(32, 'z') + "----", true},
      {"3f2a6c1e-0b7d-4e59-9a812c4d6e8f0a1bc", false},  // three
      {"3f2a6c1e-0b7d-4e59-9a81-2c4d6e8f0a1", false},   // 35
      {"3f2a6c1e-0b7d-4e59-9a81-2c4d6e8f0a1bc", false}, // 37
      {"--------" + std::string(28, 'z'), true},
      {"", false},
  };
  for (const auto& [text, ok] : cases) {
    EXPECT_EQ(IsUuidText(text.c_str(), static_cast<std::int32_t>(text.size())), ok) << text;
  }
  EXPECT_FALSE(IsUuidText(nullptr, 36));
}

TEST(ExchangeRulesTest, LanguageCodesMapIgnoringCase) {
  const std::pair<const char*, int> cases[] = {
      {"en", 1},  {"DE", 2},  {"fr", 3},     {"it", 4},  {"es", 5},     {"jp", 6},
      {"Ja", 6},  {"tw", 7},  {"zh-TW", 7},  {"cn", 8},  {"ZH-CN", 8},  {"ar", 9},
      {"ca", 10}, {"da", 11}, {"hu", 12},    {"kr", 13}, {"nl", 14},    {"nl-be", 15},
      {"pl", 16}, {"pt", 17}, {"ru", 18},    {"tr", 19}, {"se", 21},    {"xx", 1},
      {"", 1},    {"e", 1},   {"enx", 1},    {"nl-", 1}, {nullptr, 1}};
  for (const auto& [code, number] : cases) {
    EXPECT_EQ(LanguageIndexFromCode(code), number) << (code ? code : "(null)");
  }
}

}  // namespace
}  // namespace orin
