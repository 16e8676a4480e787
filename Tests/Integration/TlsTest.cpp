// Certificates are made with the openssl command; the servers are the HTTP library's.
#include <gtest/gtest.h>
#include <httplib.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>

#include "Tests/Support/Requests.h"
#include "Tests/Support/TestHome.h"
#include "ZintarCore/HttpTransport.h"

namespace {

using zn::HttpTransport;
using zn::Value;

/// Makes a certificate that vouches for itself, for 127.0.0.1 and no other host. False without the openssl command.
bool makeCertificate(const std::string& certificate, const std::string& key) {
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
      "-subj /CN=test -addext subjectAltName=IP:127.0.0.1 -keyout " +
      key + " -out " + certificate + " >" + key + ".log 2>&1";
  return std::system(command.c_str()) == 0;
}

class SecureServer {
 public:
  SecureServer(const std::string& certificate, const std::string& key) : http_(certificate.c_str(), key.c_str()) {
    http_.Post("/.*", [this](const auto&, auto& response) {
      ++requests_;
      response.set_content("{}", "application/json");
    });
    http_.set_keep_alive_timeout(1);
    http_.new_task_queue = [this] {
      running_.set_value();
      return new httplib::ThreadPool(2);
    };
    port_ = http_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { http_.listen_after_bind(); });
  }
  ~SecureServer() {
    running_.get_future().wait();
    http_.stop();
    thread_.join();
  }
  std::string address(const char* host) const { return std::string("https://") + host + ":" + std::to_string(port_); }
  int requests() const { return requests_.load(); }

 private:
  httplib::SSLServer http_;
  int port_ = 0;
  std::atomic<int> requests_{0};
  std::promise<void> running_;
  std::thread thread_;
};

using TlsTest = zn::test::Requests;

TEST_F(TlsTest, OnlyATrustedServerOfTheRightNameGetsTheRequest) {
  zn::test::TemporaryFolder folder;
  const std::string certificate = folder / "certificate.pem";
  if (!makeCertificate(certificate, folder / "key.pem"))
    GTEST_SKIP() << "the openssl command makes no certificate here";
  SecureServer server(certificate, folder / "key.pem");

  configure(server.address("127.0.0.1"));
  HttpTransport transport;
  EXPECT_EQ(start(transport).response(), zn::nil) << "nobody vouches for it";
  EXPECT_NE(lastFailure().find("certificate"), std::string::npos) << lastFailure();

  HttpTransport trusting({.certificateAuthorities = certificate});
  configure(server.address("localhost"));
  EXPECT_EQ(start(trusting).response(), zn::nil) << "it is another host";
  EXPECT_NE(lastFailure().find("subject name"), std::string::npos) << lastFailure();
  EXPECT_EQ(server.requests(), 0);

  configure(server.address("127.0.0.1"));
  EXPECT_EQ(start(trusting).response(), Value::dictionary()) << lastFailure();
  EXPECT_EQ(server.requests(), 1);
  trusting.shutDown();
}

}  // namespace
