#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "Apps/Servers/HttpServer.h"
#include "Apps/zinserver/CampaignFolder.h"
#include "Apps/zinserver/Faults.h"
#include "Apps/zinserver/Journal.h"
#include "Apps/zinserver/Services.h"

namespace zinserver {

class Server {
 public:
  /// Will listen at that address.
  Server(std::string folder, std::string host);

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
  apps::HttpServer server_;

  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;  // guarded by mutex_
};

}  // namespace zinserver
