#include <gtest/gtest.h>
#include <httplib.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Tests/Support/Process.h"
#include "Tests/Support/RawServer.h"
#include "Tests/Support/Requests.h"
#include "Tests/Support/TestHome.h"
#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

using zn::HttpTransport;
using zn::Value;
using zn::test::Process;

class CampaignServerTest : public zn::test::Requests {
 protected:
  static constexpr std::string_view kGreeting = "listening on ";

  void serve(const std::string& folder) {
    process_ = std::make_unique<Process>(std::vector<std::string>{ZN_ZINSERVER, "--folder", folder, "--port=0"});
    const std::string greeting = process_->line();
    ASSERT_TRUE(greeting.starts_with(std::string(kGreeting) + "http://127.0.0.1:")) << greeting;
    const std::string address = greeting.substr(kGreeting.size());
    // The paths are those of the example configuration, the address is this server's.
    std::string error;
    ASSERT_TRUE(ZNConfigDataManager::sharedInstance()->loadFile(ZN_EXAMPLES "/configuration.json", &error)) << error;
    ZNConfigDataManager::sharedInstance()->apply(
        Value::dictionary({{"server", Value::dictionary({{"address", address}})}}));
    client_ = std::make_unique<httplib::Client>(address);
    port_ = std::stoi(address.substr(address.rfind(':') + 1));
    client_->set_read_timeout(60);
  }
  Value ask(ZNService service, const char* body) {
    return start(transport_, *request(service, *zn::parseJson(body))).response();
  }
  static Value bodyOf(const httplib::Result& result) {
    return result ? zn::parseJson(result->body).value_or(zn::nil) : zn::nil;
  }
  Value get(const char* path) { return bodyOf(client_->Get(path)); }
  int postFault(const char* fault) {
    const auto result = client_->Post("/faults", fault, "application/json");
    return result ? result->status : 0;
  }

  HttpTransport transport_{HttpTransport::Options{.timeout = 60}};
  std::unique_ptr<Process> process_;
  std::unique_ptr<httplib::Client> client_;
  int port_ = 0;
};

TEST_F(CampaignServerTest, AnswersEveryServiceFromTheExamplesAndShowsWhatItGot) {
  serve(ZN_EXAMPLES "/campaigns");
  EXPECT_TRUE(ask(ZNService::events, R"({"events": [1]})").isDictionary());
  EXPECT_TRUE(ask(ZNService::categories, R"({"data": []})").isDictionary());
  EXPECT_EQ(ask(ZNService::inbox, "{}")["messagesInfo"].size(), 2u);
  const Value triggers = ask(ZNService::triggerSync, R"({"last_sync_time": 0, "campaign_ids": []})");
  EXPECT_EQ(triggers["campaigns"].size(), 5u);
  EXPECT_TRUE(triggers["only_changed"].isNil()) << "a matter between the file and the server";
  EXPECT_EQ(ask(ZNService::userInSegment, R"({"campaign_id": "cart-reminder"})")["show_notification"], true);
  EXPECT_EQ(ask(ZNService::userInSegment, R"({"campaign_id": "unheard-of"})")["show_notification"], false);

  const Value received = get("/received");
  std::string services;
  for (const Value& each : received.elements()) services += zn::jsonText(each["service"]) + " ";
  EXPECT_EQ(services, "1 8 7 9 10 10 ");
  EXPECT_EQ(received.elements()[0]["body"], *zn::parseJson(R"({"events": [1]})"));
  EXPECT_GT(received.elements()[0]["time"].doubleValue(), 1.7e9);
}

TEST_F(CampaignServerTest, FaultsComeInTheirOrderAndGoAway) {
  serve(ZN_EXAMPLES "/campaigns");
  for (const char* fault :
       {R"({"service": 9, "status": 503, "times": 2, "retryAfterSeconds": 7})",
        R"({"service": 9, "garbage": true, "delaySeconds": 0.01})", R"({"service": 9, "truncate": true})"}) {
    EXPECT_EQ(postFault(fault), 200) << fault;
  }
  EXPECT_EQ(get("/faults").size(), 3u);
  for (const char* reason : {"status 503", "status 503", "not JSON", " bytes "}) {
    EXPECT_EQ(ask(ZNService::triggerSync, "{}"), zn::nil);
    EXPECT_NE(lastFailure().find(reason), std::string::npos) << reason << ": " << lastFailure();
  }
  EXPECT_TRUE(ask(ZNService::triggerSync, "{}").isDictionary());
  const Value received = bodyOf(client_->Delete("/received"));
  ASSERT_EQ(received.size(), 5u);
  EXPECT_EQ(received.elements()[0].validObjectForKeyPath("fault.retryAfterSeconds"), 7);
  EXPECT_TRUE(received.elements()[4]["fault"].isNil());
  EXPECT_EQ(postFault(R"({"service": 9, "close": true, "times": 9})"), 200);
  EXPECT_EQ(ask(ZNService::triggerSync, "{}"), zn::nil);
  EXPECT_TRUE(ask(ZNService::inbox, "{}").isDictionary()) << "other services are well";
  EXPECT_TRUE(client_->Delete("/faults"));
  EXPECT_TRUE(ask(ZNService::triggerSync, "{}").isDictionary());
  for (const char* fault : {R"({"service": 3})", R"({"service": 9, "staus": 500})", "{"}) {
    EXPECT_EQ(postFault(fault), 400) << fault;
  }
  // A long pause must not hold up the end.
  EXPECT_EQ(postFault(R"({"service": 9, "delaySeconds": 3600})"), 200);
  auto& delayed = start(transport_, *request(ZNService::triggerSync));
  while (get("/faults").size() > 0) {  // until that request is there
  }
  EXPECT_EQ(process_->end(SIGTERM), 0);
  delayed.response();
}

TEST_F(CampaignServerTest, FilesAreReadForEveryRequestAndComplainedAboutByName) {
  zn::test::TemporaryFolder folder;
  const auto write = [&](const char* name, const char* text) { std::ofstream(folder / name) << text; };
  serve(folder.path());
  const auto complaint = [&](const char* path) {
    const auto result = client_->Post(path, "{}", "application/json");
    return result && result->status == 500 ? std::string(bodyOf(result)["error"].string()) : "no complaint";
  };
  EXPECT_EQ(complaint("/v1/inbox"), "inbox.json: there is no such file in the folder");
  write("inbox.json", "{\n \"messagesInfo\": [}");
  EXPECT_TRUE(complaint("/v1/inbox").starts_with("inbox.json: line 2, column 19")) << complaint("/v1/inbox");
  write("inbox.json", R"({"messagesInfo": []})");
  EXPECT_EQ(ask(ZNService::inbox, "{}"), Value::dictionary({{"messagesInfo", Value::array()}}));

  write("triggers.json", R"({"only_changed": true, "campaigns":
      [{"campaign_id": "old", "last_updated": 1000}, {"campaign_id": "new", "last_updated": 1001}]})");
  EXPECT_EQ(ask(ZNService::triggerSync, R"({"last_sync_time": 1000})")["campaigns"].size(), 1u);
  EXPECT_EQ(ask(ZNService::triggerSync, R"({"last_sync_time": 0})")["campaigns"].size(), 2u);

  write("faults.json", R"([{"service": 7, "status": 418}])");
  for (int count = 0; count < 2; ++count) EXPECT_EQ(ask(ZNService::inbox, "{}"), zn::nil);
  write("faults.json", R"([{"service": 7, "sttus": 418}])");
  EXPECT_EQ(complaint("/v1/inbox"), "faults.json: a fault has no \"sttus\"");
  std::filesystem::remove(folder / "faults.json");
  EXPECT_TRUE(ask(ZNService::inbox, "{}").isDictionary());
  EXPECT_EQ(client_->Post("/v1/inbox", "hello", "text/plain")->status, 400);
}

TEST_F(CampaignServerTest, WebPagesAreRefusedAndHalfARequestHoldsUpNobody) {
  serve(ZN_EXAMPLES "/campaigns");
  const std::string ours = "127.0.0.1:" + std::to_string(port_);
  const auto status = [&](const std::string& host, const std::string& origin) {
    const httplib::Headers headers = {{"Host", host}, {"Origin", origin}};
    const auto result = client_->Post("/faults", headers, R"({"service": 7, "status": 500})", "text/plain");
    return result ? result->status : 0;
  };
  EXPECT_EQ(status(ours, "http://pages.example"), 403);
  EXPECT_EQ(status("pages.example:80", "http://pages.example:80"), 403) << "a name that was made to lead here";
  EXPECT_EQ(get("/faults"), Value::array());
  EXPECT_EQ(status(ours, "http://" + ours), 200);
  EXPECT_EQ(status("LocalHost", ""), 200);
  EXPECT_TRUE(client_->Delete("/faults"));

  std::vector<zn::Descriptor> others;
  const sockaddr_in address = zn::test::loopbackAddress(port_);
  constexpr std::string_view kBeginning = "POST /v1/inbox HTTP/1.1\r\n";
  for (int count = 0; count < 100; ++count) {
    others.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::connect(others.back().get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_GT(::send(others.back().get(), kBeginning.data(), kBeginning.size(), MSG_NOSIGNAL), 0);
  }
  client_->set_read_timeout(3);  // the server waits longer for the rest of those
  EXPECT_EQ(get("/faults"), Value::array());
  EXPECT_EQ(process_->end(SIGTERM), 0);
}

}  // namespace
