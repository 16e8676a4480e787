#include "ZintarCore/HttpTransport.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <future>
#include <latch>
#include <string>
#include <vector>

#include "Tests/Support/RawServer.h"
#include "Tests/Support/Requests.h"

namespace {

using zn::HttpTransport;
using zn::Value;
using zn::test::Outcome;
using zn::test::RawConnection;
using zn::test::RawServer;

constexpr double kPatience = 60;      // a limit that must not be what ends the request
constexpr double kImpatience = 0.15;  // a limit that must be
constexpr std::int64_t kMebibyte = 1 << 20;

class HttpTransportTest : public zn::test::Requests {
 protected:
  /// What comes of a request to a server of its own, whose answer may have so many bytes.
  Value ask(const RawServer::Script& script, std::int64_t limit) {
    RawServer server(script);
    configure(server.port());
    HttpTransport transport({.connectTimeout = kPatience, .timeout = kPatience, .maximumResponseBytes = limit});
    return start(transport).response();
  }
};

/// Answers every request on a connection with that object.
RawServer::Script answering(const std::string& body, const char* header = "") {
  return [=](RawConnection& connection) {
    while (!connection.request().empty() && connection.answer(body, "200 OK", header)) {
    }
  };
}

/// libcurl has one text for each phase in which the limit may end a transfer.
bool isTimeout(const std::string& failure) {
  return failure.find("timed out") != failure.npos || failure.find("timeout") != failure.npos;
}

constexpr const char* kSilentHost = "silent.invalid";
std::atomic<bool> nameServiceAnswers{false};

struct NameServiceAnswers {
  ~NameServiceAnswers() {
    nameServiceAnswers = true;
    nameServiceAnswers.notify_all();
  }
};

std::string bodyOf(const std::string& request) { return request.substr(request.find("\r\n\r\n") + 4); }

TEST_F(HttpTransportTest, PostsTheBodyWithItsPathParametersAndHeaders) {
  std::promise<std::string> seen;
  RawServer server([&](RawConnection& connection) {
    seen.set_value(connection.request());
    connection.answer(R"({"messagesInfo": [], "name": "Zoë"})", "201 Created");
  });
  configure("http://127.0.0.1:" + std::to_string(server.port()) + "/base/");
  HttpTransport transport;
  const auto request = ZNNetworkRequest::initWithService(
      ZNService::triggerSync, zn::test::json(R"({"city": "São Paulo", "a&b": "c=d/e?", "n": 5, "none": null})"),
      zn::test::json(R"({"X-Token": "t 1", "X-Empty": "", "accept": "application/vnd.shop+json"})"),
      zn::test::json(R"({"last_sync_time": 0, "word": "blå"})"), "shops/7 8");
  EXPECT_EQ(start(transport, *request).response(),
            Value::dictionary({{"messagesInfo", Value::array()}, {"name", "Zoë"}}));

  const std::string text = seen.get_future().get();
  const auto has = [&](const char* part) { return text.find(part) != std::string::npos; };
  EXPECT_TRUE(text.starts_with("POST /base/v1/9/shops/7%208?a%26b=c%3Dd%2Fe%3F&city=S%C3%A3o%20Paulo&n=5 HTTP/1.1\r\n"))
      << text;
  EXPECT_EQ(bodyOf(text), "{\"last_sync_time\":0,\"word\":\"blå\"}");
  for (const char* header :
       {"\r\nContent-Type: application/json\r\n", "\r\naccept: application/vnd.shop+json\r\n", "\r\nX-Token: t 1\r\n",
        "\r\nX-Empty:", "\r\nUser-Agent: ZNMessaging/1.", "\r\nAccept-Encoding: gzip, deflate\r\n"}) {
    EXPECT_TRUE(has(header)) << header << " is missing in " << text;
  }
  EXPECT_FALSE(has("Accept:") || has("Expect")) << text;
}

/// An object with a list that repeats the text up to that size.
std::string manyTimes(const std::string& element, std::size_t size) {
  std::string body = R"({"list": [)" + element;
  while (body.size() < size) body += "," + element;
  return body + "]}";
}

struct Misbehaviour {
  const char* what;
  RawServer::Script script;
  const char* reason;
};

std::vector<Misbehaviour> misbehaviours() {
  const auto saying = [](const std::string& bytes) {
    return [bytes](RawConnection& connection) {
      connection.request();
      connection.send(bytes);
    };
  };
  const auto answers = [](const std::string& body, const char* status = "200 OK") {
    return [=](RawConnection& connection) {
      connection.request();
      connection.answer(body, status);
    };
  };
  return {
      {"closes without an answer", saying(""), "Empty reply"},
      {"closes within the body", saying("HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n{\"a\": 1}"), " 12 bytes "},
      {"speaks something else", saying("SSH-2.0-server\r\n"), "HTTP/0.9"},
      {"hangs", [](RawConnection& connection) { connection.waitUntilGone(); }, "timed out"},
      {"sends byte by byte",
       [](RawConnection& connection) {
         connection.request();
         connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
         while (!connection.isGoneWithin(10) && connection.send(" ")) {
         }
       },
       "timed out"},
      {"redirects", saying("HTTP/1.1 307 Temporary Redirect\r\nLocation: /v1/elsewhere\r\nContent-Length: 0\r\n\r\n"),
       "status 307"},
      {"answers 500", answers(R"({"a": 1})", "500 Oops"), "status 500"},
      {"answers 204", answers("", "204 No Content"), "not JSON"},
      {"answers an array", answers("[1]"), "no JSON object"},
      {"fills the memory", answers(manyTimes("[[[[]]]]", 400'000)), "too much memory"},
  };
}

TEST_F(HttpTransportTest, WhateverTheServerDoesTheAnswerIsNilOnce) {
  HttpTransport transport({.connectTimeout = kPatience, .timeout = kPatience, .maximumResponseBytes = kMebibyte});
  HttpTransport impatient({.connectTimeout = kPatience, .timeout = kImpatience});
  for (const Misbehaviour& each : misbehaviours()) {
    RawServer server(each.script);
    configure(server.port());
    const bool never = std::string(each.reason) == "timed out";
    EXPECT_EQ(start(never ? impatient : transport).response(), zn::nil) << each.what;
    const std::string failure = lastFailure();
    EXPECT_TRUE(failure.starts_with("Network -- Request to service 7 failed: ")) << failure;
    EXPECT_TRUE(never ? isTimeout(failure) : failure.find(each.reason) != failure.npos) << each.what << ": " << failure;
  }
  configure(RawServer([](RawConnection&) {}).port());  // which is closed again
  EXPECT_EQ(start(transport).response(), zn::nil);
  EXPECT_NE(lastFailure().find("connect"), std::string::npos) << lastFailure();

  RawServer sane(answering("{}"));
  configure(sane.port());
  EXPECT_EQ(start(transport).response(), Value::dictionary()) << "the transport still works";
}

TEST_F(HttpTransportTest, WhatDoesNotComeUpHasALimitOfItsOwnAndHoldsUpNothing) {
  RawServer mute([](RawConnection& connection) { connection.waitUntilGone(); });  // and never shakes hands for TLS
  configure("https://127.0.0.1:" + std::to_string(mute.port()));
  HttpTransport transport({.connectTimeout = kImpatience, .timeout = kPatience});
  EXPECT_EQ(start(transport).response(), zn::nil);
  EXPECT_TRUE(isTimeout(lastFailure())) << lastFailure();

  const NameServiceAnswers atTheEnd;
  configure("http://" + std::string(kSilentHost), Value::dictionary({{"allowPlainHttp", true}}));
  EXPECT_EQ(start(transport).response(), zn::nil);
  RawServer sane(answering("{}"));
  configure(sane.port());
  EXPECT_EQ(start(transport).response(), Value::dictionary());
  transport.shutDown();
}

TEST_F(HttpTransportTest, AnAnswerThatIsTooLongIsNotReceived) {
  constexpr std::int64_t kHuge = 100 * kMebibyte;
  constexpr std::int64_t kMostInBuffers = 32 * kMebibyte;
  const std::string piece(64 << 10, ' ');
  const std::string header = "X-Filler: " + std::string(1000, 'x') + "\r\n";
  const std::string chunk = "1;" + std::string(4000, 'x') + "\r\n \r\n";  // mostly an extension, which is no body
  for (const auto& [start_, filler] : {std::pair<std::string, std::string>("HTTP/1.1 200 OK\r\n\r\n", piece),
                                       {"HTTP/1.1 200 OK\r\nContent-Length: 104857600\r\n\r\n", piece},
                                       {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", chunk},
                                       {"HTTP/1.1 200 OK\r\n", header}}) {
    std::promise<std::size_t> sent;
    const auto sendHugely = [&, from = start_, more = filler](RawConnection& connection) {
      connection.request();
      connection.send(from);
      while (connection.sent() < kHuge && connection.send(more)) {
      }
      sent.set_value(connection.sent());
    };
    EXPECT_EQ(ask(sendHugely, 100000), zn::nil);
    EXPECT_LT(sent.get_future().get(), static_cast<std::size_t>(kMostInBuffers));
    EXPECT_FALSE(lastFailure().empty());
  }
}

TEST_F(HttpTransportTest, AnAnswerOfExactlyTheLimitIsRead) {
  constexpr std::string_view kHeader = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n";
  RawServer server([&](RawConnection& connection) {
    while (!connection.request().empty()) connection.send(std::string(kHeader) + R"({"a": 123})");
  });
  const auto ask = [&](std::int64_t limit) {
    configure("http://127.0.0.1:" + std::to_string(server.port()),
              Value::dictionary({{"maximumResponseBytes", limit}, {"timeout", kPatience}}));
    HttpTransport transport;  // the limits are the configuration's
    return start(transport).response();
  };
  constexpr std::int64_t kWhole = kHeader.size() + 10;
  EXPECT_EQ(ask(kWhole), Value::dictionary({{"a", 123}}));
  EXPECT_EQ(ask(kWhole - 1), zn::nil);
  EXPECT_NE(lastFailure().find("longer than " + std::to_string(kWhole - 1)), std::string::npos) << lastFailure();
}

TEST_F(HttpTransportTest, ARequestThatTheServerTookIsNotSentAgain) {
  constexpr int kKept = 6;
  std::latch allArrived(kKept);
  std::atomic<int> taken{0};
  RawServer server([&](RawConnection& connection) {
    connection.request();
    allArrived.arrive_and_wait();
    connection.answer("{}");
    if (!connection.request().empty()) ++taken;  // and is closed without an answer
  });
  configure(server.port());
  HttpTransport transport({.timeout = kPatience});
  std::vector<Outcome*> outcomes;
  for (int count = 0; count < kKept; ++count) outcomes.push_back(&start(transport));
  for (Outcome* each : outcomes) EXPECT_EQ(each->response(), Value::dictionary());
  EXPECT_EQ(start(transport).response(), zn::nil);
  EXPECT_EQ(taken, 1);
  EXPECT_NE(lastFailure().find("without an answer"), std::string::npos) << lastFailure();
}

TEST_F(HttpTransportTest, APackedAnswerIsUnpackedAsFarAsTheLimitAllows) {
  using namespace std::string_literals;
  const std::string object =
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xab\x56\x4a\x54\xb2\x52\x30\xac\x05\x00\x97\x8e\xa1\xfb\x08\x00\x00\x00"s;
  const std::string hundredThousandBlanksAndAnObject =
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xed\xc1\x41\x11\x00\x00\x0c\x02\xa0\x2a\xf6\xf4\xec\xbe\x1a\x7b\x00\x09\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xf0\x55\x77\xc9\xdd\x31\x3e\xa2\x86\x01\x00"s;
  const auto packed = [](const std::string& body) { return answering(body, "Content-Encoding: gzip\r\n"); };
  EXPECT_EQ(ask(packed(object), 1000), Value::dictionary({{"a", 1}}));
  EXPECT_EQ(ask(packed(hundredThousandBlanksAndAnObject), 101000), Value::dictionary());
  const auto isTooLong = [&] { return lastFailure().find("longer than") != std::string::npos; };
  EXPECT_EQ(ask(packed(hundredThousandBlanksAndAnObject), 99000), zn::nil);
  EXPECT_TRUE(isTooLong()) << lastFailure();
  const auto unpacksToNothing = [](RawConnection& connection) {
    connection.request();
    connection.send("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\n\x1f\x8b\x08\0\0\0\0\0\0\xff"s);
    while (connection.send("\0\0\0\xff\xff"s)) {  // an empty block, and never the last one
    }
  };
  EXPECT_EQ(ask(unpacksToNothing, 99000), zn::nil);
  EXPECT_TRUE(isTooLong()) << lastFailure();
}

TEST_F(HttpTransportTest, ASlowCompletionDoesNotHoldUpOthers) {
  RawServer server(answering("{}"));
  configure(server.port());
  HttpTransport transport({.timeout = kPatience});
  std::promise<void> secondIsDone;
  std::promise<void> firstIsDone;
  transport.execute(*request(), [&, second = secondIsDone.get_future().share()](const Value&) {
    second.wait();
    firstIsDone.set_value();
  });
  EXPECT_EQ(start(transport).response(), Value::dictionary());
  secondIsDone.set_value();
  firstIsDone.get_future().wait();
}

TEST_F(HttpTransportTest, ShuttingDownAnswersWhatIsUnderWayAndWhatComesLater) {
  constexpr int kCount = 10;
  std::latch allArrived(kCount);
  RawServer server([&](RawConnection& connection) {
    if (connection.request().empty()) return;
    allArrived.count_down();
    connection.waitUntilGone();
  });
  configure(server.port());
  std::vector<Outcome*> outcomes;
  {
    HttpTransport transport({.timeout = kPatience});
    for (int count = 0; count < kCount; ++count) outcomes.push_back(&start(transport));
    allArrived.wait();
    transport.shutDown();
    outcomes.push_back(&start(transport));
    transport.shutDown();
  }
  for (int count = 0; count < kCount; ++count) {  // these may not have left at all
    HttpTransport transport({.timeout = kPatience});
    outcomes.push_back(&start(transport));
  }
  for (Outcome* each : outcomes) EXPECT_EQ(each->response(), zn::nil);
  EXPECT_NE(lastFailure().find("shut down"), std::string::npos);
}

std::promise<void> clientIsGone;

TEST_F(HttpTransportTest, TheEndOfTheProcessBreaksRequestsOff) {
  const auto endWithARequestUnderWay = [&] {
    // Runs after the transport's own exit handler, which is registered with the first request.
    static const std::filesystem::path home = device.home();  // of this process, which puts nothing else away
    std::atexit([] {
      clientIsGone.get_future().wait();
      std::filesystem::remove_all(home.parent_path());
      std::_Exit(0);
    });
    std::promise<void> arrived;
    RawServer server([&](RawConnection& connection) {
      connection.request();
      arrived.set_value();
      connection.waitUntilGone();
      clientIsGone.set_value();
    });
    configure(server.port());
    request()->executeRequestWithCompletionBlock({});
    arrived.get_future().wait();
    std::exit(2);  // which the handler replaces
  };
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(endWithARequestUnderWay(), ::testing::ExitedWithCode(0), "");
}

TEST_F(HttpTransportTest, WhatTheConfigurationDoesNotNameFailsAndIsReportedOnce) {
  HttpTransport transport;
  for (int count = 0; count < 2; ++count) EXPECT_EQ(start(transport).response(), zn::nil);
  const std::string noAddress = "requests fail, because the configuration names no \"server.address\"";
  EXPECT_EQ(systemLog().take(), std::vector{noAddress});
  ZNConfigDataManager::sharedInstance()->apply(zn::test::json(R"({"server": {"address": "http://127.0.0.1:1"}})"));
  for (const auto service : {ZNService::inbox, ZNService::triggerSync, ZNService::triggerSync}) {
    EXPECT_EQ(start(transport, *request(service)).response(), zn::nil);
  }
  EXPECT_EQ(systemLog().take().size(), 2u) << "one for each service";
}

TEST_F(HttpTransportTest, AHeaderThatWouldChangeWhereTheMessageEndsIsNotSent) {
  std::atomic<int> connections{0};
  RawServer server([&](RawConnection&) { ++connections; });
  configure(server.port());
  HttpTransport transport;
  for (const auto& [name, value] : {std::pair("X-A", "1\r\nX-B: 2"), {"X-A: 1\r\nX-B", "2"}, {"HOST", "elsewhere"}}) {
    const auto request = ZNNetworkRequest::initWithService(ZNService::inbox, zn::nil,
                                                           Value::dictionary({{name, value}}), zn::nil, zn::nil);
    EXPECT_EQ(start(transport, *request).response(), zn::nil) << name;
  }
  EXPECT_EQ(connections, 0);
}

}  // namespace

/// Stands before the system's, for libcurl too: for one host there is no answer until the test allows it.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (!node || std::strcmp(node, kSilentHost) != 0) return system(node, service, hints, result);
  nameServiceAnswers.wait(false);
  return EAI_AGAIN;
}
