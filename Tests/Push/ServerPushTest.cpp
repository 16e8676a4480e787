#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "Tests/Push/PushServer.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/TestHome.h"

namespace {

using zn::Value;
using zn::test::Process;
using zn::test::PushDevice;
using zn::test::PushServer;

class ServerPushTest : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directory(folder_ / "campaigns"); }

  void serve() {
    process_ = std::make_unique<Process>(
        std::vector<std::string>{"sh", "-c", R"(exec "$0" --folder "$1" --state "$2" --port 0 2>>"$3")", ZN_ZINSERVER,
                                 folder_ / "campaigns", folder_ / "state", folder_ / "log"});
    const std::string greeting = process_->line();
    address_ = greeting.substr(greeting.rfind(' ') + 1);
    client_ = std::make_unique<httplib::Client>(address_);
  }
  void restart() {
    EXPECT_EQ(process_->end(SIGTERM), 0);
    serve();
  }
  void sendRecord(const char* installation, const std::string& token) {
    Value record = Value::dictionary(
        {{"installation", installation}, {"attributes", Value::dictionary({{"kUserAttributeNameGDPRPushOptOut", 0}})}});
    if (!token.empty()) record.setObjectNilHandled(token, "pushToken");
    const Value event = Value::dictionary({{"device", record}});
    const Value body = Value::dictionary({{"events", Value::array({Value::dictionary({{"name", "e"}}), event})}});
    const auto answer = client_->Post("/v1/events", zn::jsonText(body), "application/json");
    EXPECT_TRUE(answer && answer->status == 200);
  }
  Value devices() { return zn::parseJson(client_->Get("/devices")->body).value_or(zn::nil); }
  int zinpush(std::vector<std::string> whom, std::string* output = nullptr) {
    whom.insert(whom.begin(), ZN_ZINPUSH);
    whom.insert(whom.end(), {"--via", address_, "-"});
    Process process(whom);
    process.say(R"({"zintar": {"cid": "sent"}})");
    process.endInput();
    const std::string line = process.line();
    if (output) *output = line;
    return process.end(0);
  }
  void writePushes(const std::string& text) {
    std::ofstream(folder_ / "campaigns/new") << text;
    std::filesystem::rename(folder_ / "campaigns/new", folder_ / "campaigns/pushes.json");
  }
  std::ptrdiff_t timesLogged(const std::string& text) {
    std::ifstream log(folder_ / "log");
    std::string line;
    std::ptrdiff_t times = 0;
    while (std::getline(log, line)) times += line.find(text) != std::string::npos;
    return times;
  }

  zn::test::TemporaryFolder folder_;
  PushServer server_;
  std::string address_;
  std::unique_ptr<Process> process_;
  std::unique_ptr<httplib::Client> client_;
};

TEST_F(ServerPushTest, DevicesAreKnownByTheirRecordsAndStayTheSameWhenTheySubscribeAnew) {
  serve();
  const PushDevice first(server_.endpoint("first"));
  const PushDevice renewed(server_.endpoint("renewed"));
  sendRecord("a", first.token());
  sendRecord("b", "c0de");  // of another kind
  sendRecord("", first.token());
  const Value shown = devices();
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown.elements()[0]["id"], "a");
  EXPECT_EQ(shown.elements()[0].validObjectForKeyPath("attributes.kUserAttributeNameGDPRPushOptOut"), 0);
  const std::string text = zn::jsonText(shown);
  EXPECT_EQ(text.find("of-many-devices"), std::string::npos) << text;
  EXPECT_EQ(text.find(zn::base64UrlText(first.secrets.auth)), std::string::npos) << text;

  EXPECT_EQ(zinpush({"--device", "a"}), 0);
  EXPECT_EQ(first.opened(server_.awaited(1)[0].body), R"({"zintar":{"cid":"sent"}})");
  const auto key = zn::parseJson(client_->Get("/push")->body).value_or(zn::nil)["key"];
  EXPECT_TRUE(server_.requests()[0].get_header_value("Authorization").ends_with("k=" + std::string(key.string())));
  restart();
  EXPECT_EQ(zn::parseJson(client_->Get("/push")->body).value_or(zn::nil)["key"], key);
  sendRecord("a", renewed.token());
  EXPECT_EQ(devices().size(), 1u);
  std::string output;
  EXPECT_EQ(zinpush({"--all"}, &output), 0);
  EXPECT_EQ(output, "a: accepted");
  EXPECT_NE(renewed.opened(server_.awaited(2)[1].body), "cannot be opened");
  EXPECT_EQ(zinpush({"--device", "b"}), 1) << "it is not known";

  sendRecord("a", "");
  EXPECT_EQ(devices().size(), 0u) << "it is subscribed no more";
  sendRecord("a", first.token());
  sendRecord("c", renewed.token());
  EXPECT_EQ(client_->Delete("/devices/c")->status, 200);
  EXPECT_EQ(client_->Delete("/devices/c")->status, 404);
  server_.answerWith({410});
  EXPECT_EQ(zinpush({"--device", "a"}), 3);
  EXPECT_EQ(devices().size(), 0u) << "it is forgotten";
  for (const char* body : {"{", "[]", R"({"all": true})", R"({"payload": {}})", R"({"all": true, "payload": 1})",
                           R"({"all": true, "device": "a", "payload": {}})",
                           R"({"all": true, "payload": {}, "tll": 1})", R"({"all": true, "payload": {}, "ttl": -1})"}) {
    EXPECT_EQ(client_->Post("/push", body, "application/json")->status, 400) << body;
  }
  const httplib::Headers page = {{"Origin", "http://example.com"}};
  EXPECT_EQ(client_->Get("/devices", page)->status, 403);
  EXPECT_EQ(client_->Post("/push", page, "{}", "application/json")->status, 403);
  EXPECT_EQ(client_->Delete("/devices/a", page)->status, 403);
}

TEST_F(ServerPushTest, ThePushesOfTheFolderReachEveryDeviceOnce) {
  serve();
  const PushDevice first(server_.endpoint("first"));
  const PushDevice second(server_.endpoint("second"));
  sendRecord("a", first.token());
  writePushes(R"([{"id": "1", "payload": {"n": 1}, "ttl": 7}, // of today
                  {"id": "2", "payload": {"n": 2}, "tll": 7}, {"id": "1", "payload": {}}])");
  EXPECT_EQ(first.opened(server_.awaited(1)[0].body), R"({"n":1})");
  EXPECT_EQ(server_.requests()[0].get_header_value("TTL"), "7");
  sendRecord("b", second.token());
  EXPECT_EQ(second.opened(server_.awaited(2)[1].body), R"({"n":1})");
  zn::test::waitUntil([&] { return timesLogged("push to b: accepted") == 1; });
  EXPECT_EQ(timesLogged("pushes.json: push 2: a push has no \"tll\""), 1);
  EXPECT_EQ(timesLogged("pushes.json: push 3: another push has the \"id\" 1"), 1);
  restart();
  writePushes(R"([{"id": "1", "payload": {"n": 1}}, {"id": "3", "payload": {"n": 3}}])");
  server_.awaited(4);
  EXPECT_EQ(first.opened(server_.requests()[2].body), R"({"n":3})");
  EXPECT_EQ(second.opened(server_.requests()[3].body), R"({"n":3})");
  server_.answerWith({503});
  writePushes(R"([{"id": "4", "payload": {"n": 4}}])");
  server_.awaited(5);
  server_.answerWith({});  // another try reaches both
  EXPECT_EQ(first.opened(server_.awaited(7)[5].body), R"({"n":4})");
  EXPECT_EQ(second.opened(server_.requests()[6].body), R"({"n":4})");
  writePushes("[\n{");
  zn::test::waitUntil([&] { return timesLogged("pushes.json: line 2") == 1; });
  // Whoever asks for a push comes after what the file held.
  EXPECT_EQ(zinpush({"--all"}), 0);
  EXPECT_EQ(server_.requests().size(), 9u) << "nothing came twice";
}

TEST_F(ServerPushTest, APushServerThatDoesNotAnswerHoldsUpNeitherAnswersNorTheEnd) {
  serve();
  httplib::Server silent;
  std::promise<void> asked;
  std::promise<void> released;
  silent.Post("/.*", [&](const auto&, auto&) {
    asked.set_value();
    released.get_future().wait();
  });
  const int port = silent.bind_to_any_port("127.0.0.1");
  std::thread serving([&] { silent.listen_after_bind(); });
  sendRecord("a", PushDevice("http://127.0.0.1:" + std::to_string(port) + "/silent").token());
  auto pushing = std::async(std::launch::async, [&] { return zinpush({"--all"}); });
  asked.get_future().wait();
  EXPECT_EQ(devices().size(), 1u);
  sendRecord("b", PushDevice(server_.endpoint("b")).token());
  EXPECT_EQ(process_->end(SIGTERM), 0);
  EXPECT_EQ(pushing.get(), 7);
  released.set_value();
  silent.stop();
  serving.join();
}

}  // namespace
