#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Tests/Devices/DistributorProcess.h"
#include "Tests/Devices/HostProcess.h"
#include "Tests/Devices/ScriptedServer.h"

namespace zn {

inline void PrintTo(const Value& value, std::ostream* out) { *out << jsonText(value); }

}  // namespace zn

namespace zn::test {

/// An application in a session of its own.
class DesktopTest : public testing::Test {
 protected:
  using Values = std::vector<Value>;
  using Texts = std::vector<std::string>;

  void SetUp() override {
    const std::string lack = lackOf({"dbus-daemon"});
    if (!lack.empty()) GTEST_SKIP() << lack;
    session_ = std::make_unique<PrivateSession>();
    host_ = std::make_unique<HostProcess>(*session_);
  }
  void TearDown() override {
    if (!host_ || !host_->isRunning()) return;
    EXPECT_EQ(host_->end(), 0);
  }

  void startServer(std::vector<std::string> capabilities = {"actions", "body", "body-markup", "persistence", "sound"},
                   ScriptedServer::Manner manner = ScriptedServer::Manner::answers) {
    server_.reset();
    server_ = std::make_unique<ScriptedServer>(session_->address(), std::move(capabilities), manner);
  }
  /// Starts the application; it may show notifications.
  void startHost() {
    host_->start();
    host_->ask("authorize", "authorized");
  }
  /// The notification that the server is asked for next.
  Value nextShown() {
    const Values all = server_->shown.wait(++seen_);
    return all.size() < seen_ ? nil : all[seen_ - 1];
  }
  static Value titles(const Values& notifications) {
    Value list = Value::array();
    for (const Value& each : notifications) list.append(each["title"]);
    return list;
  }

  std::unique_ptr<PrivateSession> session_;
  std::unique_ptr<ScriptedServer> server_;
  std::unique_ptr<HostProcess> host_;
  std::size_t seen_ = 0;  // notifications of this server
};

}  // namespace zn::test
