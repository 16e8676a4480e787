#pragma once

#include <httplib.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <string>

#include "Apps/zinserver/CampaignFolder.h"
#include "Apps/zinserver/Faults.h"
#include "Apps/zinserver/Journal.h"
#include "Apps/zinserver/Services.h"

namespace zinserver {

class Server {
 public:
  explicit Server(std::string folder);

  /// Listens at the address from now on, and returns the port. Throws zn::Exception.
  int bind(const std::string& host, int port);
  /// Serves until `stop`. Once.
  void serve();
  /// Thread: any, once, also before `serve` got going. Breaks off what is under way.
  void stop();

 private:
  void addRoutes();
  void serve(const Service& service, const httplib::Request& request, httplib::Response& response);
  zn::Value answer(const Service& service, const httplib::Request& request, int& status);
  std::optional<Fault> faultFor(int service);
  void misbehave(const Fault& fault, const httplib::Request& request, httplib::Response& response, std::string& text);
  void pause(double seconds);

  CampaignFolder folder_;
  Faults faults_;
  Journal journal_;
  httplib::Server http_;
  int port_ = 0;
  int listener_ = -1;  // the library's
  std::promise<void> running_;

  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;  // guarded by mutex_
};

}  // namespace zinserver
