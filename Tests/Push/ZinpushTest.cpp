#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "Tests/Push/PushServer.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/TestHome.h"
#include "ZNPlatform/Foundation/File.h"

namespace {

using zn::test::Process;
using zn::test::PushDevice;
using zn::test::PushServer;
using Texts = std::vector<std::string>;

class ZinpushTest : public ::testing::Test {
 protected:
  void SetUp() override {
    write("payload.json", R"({"aps": {"alert": "Hi"}, "zintar": {"cid": "secret-campaign"}} // a comment)");
  }
  std::string write(const std::string& name, const std::string& text) {
    std::ofstream(folder_ / name) << text;
    return folder_ / name;
  }
  struct Ended {
    int status;
    std::string output;  // both
  };
  Ended run(Texts arguments, const std::string& input = "") {
    Texts all = {"sh", "-c", R"(output=$1; shift; exec "$0" "$@" 2>"$output")", ZN_ZINPUSH, folder_ / "errors"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    Process process(all, {{"XDG_CONFIG_HOME", folder_ / "config"}});
    if (!input.empty()) process.say(input);
    process.endInput();
    std::string output;
    for (std::string line = process.line(); !line.empty(); line = process.line()) output += line + "\n";
    const int status = process.end(0);
    std::ifstream errors(folder_ / "errors");
    return {status, output + std::string(std::istreambuf_iterator<char>(errors), {})};
  }

  zn::test::TemporaryFolder folder_;
  PushServer server_;
  const PushDevice device_{server_.endpoint("secret-endpoint")};
};

TEST_F(ZinpushTest, WhatThePushServerAnswersIsToldInWordsAndAsTheExitStatus) {
  const std::string to = write("subscription", device_.subscription());
  const std::string payload = folder_ / "payload.json";
  struct Case {
    PushServer::Answer answer;
    int status;
    const char* text;
  };
  const Case cases[] = {{{201}, 0, "accepted\n"},
                        {{200}, 0, "accepted\n"},
                        {{404}, 3, "the subscription is gone: forget it\n"},
                        {{410}, 3, "the subscription is gone: forget it\n"},
                        {{413}, 4, "too large"},
                        {{429, "17"}, 5, "slow down: again in 17 seconds\n"},
                        {{503}, 5, "slow down: again later\n"},
                        {{401}, 6, "does not know this sender's key"},
                        {{403}, 6, "does not know this sender's key"},
                        {{301}, 1, "status 301"},
                        {{500}, 1, "status 500"}};
  for (const Case& each : cases) {
    server_.answerWith(each.answer);
    const Ended ended = run({"--to", to, payload});
    EXPECT_EQ(ended.status, each.status) << each.answer.status;
    EXPECT_NE(ended.output.find(each.text), std::string::npos) << ended.output;
    EXPECT_EQ(ended.output.find("secret"), std::string::npos) << ended.output;
  }
  EXPECT_EQ(server_.requests().size(), std::size(cases)) << "no redirect is followed";

  server_.answerWith({});
  EXPECT_EQ(run({"--to", to, "--ttl=60", "--urgency=high", "--topic=news", "-"}, "{\"a\": 1}").status, 0);
  const auto last = server_.requests().back();
  EXPECT_EQ(device_.opened(last.body), R"({"a":1})");
  EXPECT_EQ(last.get_header_value("Content-Encoding"), "aes128gcm");
  EXPECT_EQ(last.get_header_value("TTL"), "60");
  EXPECT_EQ(last.get_header_value("Urgency"), "high");
  EXPECT_EQ(last.get_header_value("Topic"), "news");
  const std::string key = run({"--print-key"}).output;
  EXPECT_TRUE(last.get_header_value("Authorization").ends_with("k=" + key.substr(0, key.size() - 1)));
  EXPECT_EQ(device_.opened(server_.requests().front().body),
            R"({"aps":{"alert":"Hi"},"zintar":{"cid":"secret-campaign"}})");
}

TEST_F(ZinpushTest, WhatCannotBeSentIsSaidBeforeAnythingIs) {
  const std::string to = write("subscription", device_.token());
  const std::string payload = folder_ / "payload.json";
  const std::string most = "{\"a\":\"" + std::string(3993 - 8, 'x') + "\"}";
  const struct {
    Texts arguments;
    std::string input;
    int status;
    const char* text;
  } cases[] = {
      {{"--to", to, "-"}, "{\n\"a\": }", 2, "standard input:2:6: error"},
      {{"--to", to, "-"}, "[1]", 2, "must be a JSON object"},
      {{"--to", to, "-"}, most.substr(0, 7) + most.substr(6), 4, "3994 bytes, and may have 3993"},
      {{"--to", to, "--strict", "-"},
       R"({"zintar": {"campain_id": 1}})",
       1,
       "standard input:1:13: error: \"campain_id\""},
      {{"--to", to, "secret-file"}, "", 2, "there is no such file"},
      {{"--to", "{\"endpoint\":\"secret\"}", payload}, "", 2, "neither a file"},
      {{"--to", to, payload, device_.token()}, "", 2, "zinpush: a device token goes with --to\n"},
      {{"--to", payload, payload}, "", 2, "neither hexadecimal nor JSON"},
      {{"--to", to, "--topic", "a b", payload}, "", 2, "option --topic: topic must have"},
      {{"--to", to, "--urgency", "urgent", payload}, "", 2, "very-low, low, normal or high"},
      {{"--to", to, "--ttl", "-1", payload}, "", 2, "--ttl"},
      {{"--to", to, "--contact", "me", payload}, "", 2, "mailto:"},
      {{"--to", to, "--all", payload}, "", 2, "one of --to, --device and --all"},
      {{"--all", payload}, "", 2, "--via"},
      {{"--all", "--via", "http://example.com", payload}, "", 2, "--via: the address must begin with https"},
      {{"--to", to}, "", 2, "a PAYLOAD is needed"},
  };
  for (const auto& each : cases) {
    const Ended ended = run(each.arguments, each.input);
    EXPECT_EQ(ended.status, each.status) << each.text;
    EXPECT_NE(ended.output.find(each.text), std::string::npos) << each.text << ": " << ended.output;
    EXPECT_EQ(ended.output.find("\"secret"), std::string::npos) << ended.output;
  }
  EXPECT_EQ(server_.requests().size(), 0u);
  EXPECT_EQ(run({"--to", to, "-"}, most).status, 0);
  const Ended lines = run({"--to", to, "--stdin"}, "{\"a\": 1}\n{\n{\"b\": 2}");
  EXPECT_EQ(lines.status, 2);
  EXPECT_TRUE(lines.output.starts_with("accepted\nnot sent: payload 2:1:2: error: ")) << lines.output;
  EXPECT_EQ(run({"--to", to, "--repeat=3", payload}).output, "accepted\naccepted\naccepted\n");
  EXPECT_EQ(server_.requests().size(), 6u);
  const PushDevice away("http://127.0.0.1:1/nobody-listens-at-this-port");
  EXPECT_EQ(run({"--to", away.token(), "--repeat=9", payload}).status, 7);
}

TEST_F(ZinpushTest, ATokenOnTheCommandLineIsGoneAtOnceAndNoCoreIsDumped) {
  for (const char* form : {"--to=", ""}) {
    const std::string command =
        "echo $$; exec " ZN_ZINPUSH " " + std::string(*form ? "" : "--to ") + form + device_.token() + " --stdin";
    Process process({"sh", "-c", command}, {{"XDG_CONFIG_HOME", folder_ / "config"}});
    const std::string process_folder = "/proc/" + process.line();
    process.say("{}");
    EXPECT_EQ(process.line(), "accepted");
    std::ifstream arguments(process_folder + "/cmdline");
    const std::string shown(std::istreambuf_iterator<char>(arguments), {});
    EXPECT_NE(shown.find("--stdin"), std::string::npos);
    EXPECT_EQ(shown.find(device_.token().substr(0, 16)), std::string::npos) << shown;
    EXPECT_NE(shown.find("xxxx"), std::string::npos);
    std::ifstream limits(process_folder + "/limits");
    const std::string all(std::istreambuf_iterator<char>(limits), {});
    EXPECT_NE(all.find("Max core file size        1 "), std::string::npos) << all;
    process.endInput();
    EXPECT_EQ(process.end(0), 0);
  }
}

}  // namespace
