#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "Apps/zindistributor/Options.h"
#include "Apps/zindistributor/Store.h"
#include "ZNDevices/Freedesktop/Bus/SessionBus_p.h"

namespace zindistributor {

std::string busName(const Options& options);

/// What the distributor does on the bus: registers applications, hands them their messages in order, and comes back to
/// those that fail. Everything happens on the bus's thread.
class Distributor final : public zn::SessionBus::Part {
 public:
  /// `address`: of the HTTP server. Throws zn::Exception where the folder cannot be used.
  Distributor(zn::Device& device, const Options& options, std::string address);

  void start() { bus_.connect({this}); }
  void stop() { bus_.stop(); }

  /// What comes to an endpoint.
  struct Post {
    std::string path;
    std::string body;
    std::optional<double> secondsToLive;  ///< nothing where its sender does not say
    std::string authorization;
    std::string topic;
  };
  /// What became of it.
  struct Receipt {
    int status = 201;
    std::string id{};
    std::string error{};  ///< for people, where it was not taken
  };
  /// Stores a message before it answers. Thread: any but the bus's, before `stop`.
  Receipt post(const Post& message);

 private:
  using Shared = std::shared_ptr<Registration>;
  struct Request {
    int version;
    std::string service;
    std::string token;
    std::string vapid{};  ///< the only sender's public key, in base64url
  };

  void connected() override;
  void disconnected() override;

  // Distributor.cpp: registrations.
  void exportVersion1();
  void exportVersion2();
  /// `answer` takes "REGISTRATION_SUCCEEDED" or "REGISTRATION_FAILED", and why.
  void registerService(const Request& request,
                       std::function<void(const char* result, const std::string& reason)> answer);
  void unregister(const std::string& token);
  void watch(const std::string& service);
  std::string endpointOf(const Registration& registration) const { return address_ + "/" + registration.path; }

  // Distributor_Delivery.cpp
  Receipt take(const Post& message);
  /// Why a message is not taken; nothing where it is.
  std::optional<Receipt> refusalOf(const Post& message, const Registration& registration) const;
  /// Of the messages that wait those go whose place the newest one takes, except one that is on its way.
  void removeReplaced(const Shared& registration);
  /// Does what is to be done next for an application, unless something is on its way.
  void deliver(const Shared& registration);
  void announce(const Shared& registration);
  void sendFirst(const Shared& registration);
  void wasDelivered(const Shared& registration);
  void hasFailed(const Shared& registration, const std::string& why);
  zn::BusMessage callTo(const Registration& registration, const char* member);
  zn::BusMessage messageCall(const Registration& registration, const std::string& token, const Message& message);
  /// Sends without waiting for an answer.
  void sendOnly(zn::BusMessage call);
  void tellUnregistered(const Shared& registration);

  void log(const char* event, zn::Value more) const;
  void log(const char* event, const Registration& registration, zn::Value more = zn::Value::dictionary()) const;
  zn::Value shown(const std::string& endpoint) const;

  zn::Device& device_;
  const Options options_;
  const std::string address_;
  Faults faults_;
  Store store_;
  std::set<std::string> watched_;  // services, on this connection
  zn::SessionBus bus_;             // last: its thread uses all of this
};

}  // namespace zindistributor
