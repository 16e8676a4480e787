#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "Apps/Servers/HttpServer.h"
#include "Apps/zinserver/CampaignFolder.h"
#include "Apps/zinserver/Devices.h"
#include "Apps/zinserver/Faults.h"
#include "Apps/zinserver/Journal.h"
#include "Apps/zinserver/Options.h"
#include "Apps/zinserver/Pusher.h"
#include "Apps/zinserver/Services.h"

namespace zinserver {

class Server {
 public:
  /// Will listen at the host's address. Throws zn::Exception where the state cannot be used.
  explicit Server(const Options& options);

  /// As apps::HttpServer.
  void bind(int port) { server_.bind(host_, port); }
  std::string address() const { return server_.address(); }
  void serve() { server_.serve(); }
  /// Thread: any, once, also before `serve` got going. Breaks off what is under way.
  void stop();

 private:
  using Answerer = std::function<void(const httplib::Request&, httplib::Response&)>;
  /// Answers only those who may ask.
  httplib::Server::Handler forVisitors(Answerer answer) const;
  void addRoutes();
  void addRoutesOfFaults();
  // Server_Pushes.cpp
  void addRoutesOfPushes();
  void push(const httplib::Request& request, httplib::Response& response);
  void serve(const Service& service, const httplib::Request& request, httplib::Response& response);
  std::pair<int, zn::Value> answer(const Service& service, const httplib::Request& request,
                                   const std::optional<Fault>& fault);
  std::optional<Fault> faultFor(int service);
  void misbehave(const Fault& fault, const httplib::Request& request, httplib::Response& response, std::string& text);
  void pause(double seconds);

  CampaignFolder folder_;
  const std::string host_;
  Faults faults_;
  Journal journal_;
  Devices devices_;
  Pusher pusher_;
  apps::HttpServer server_;

  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;  // guarded by mutex_
};

}  // namespace zinserver
