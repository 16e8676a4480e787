#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zindistributor {

constexpr double kLongestLife = 28.0 * 24 * 3600;  ///< of a message, in seconds

struct Message {
  std::string id;
  zn::Data body;
  double expires = 0;   ///< seconds since 1970
  std::string topic{};  ///< a later one of the same topic takes its place; empty: none
  std::string file{};
  bool wasTried = false;
};

/// Of an application, by its token.
struct Registration {
  std::string token;
  std::string service;            ///< the application's name on the bus
  int version = 2;                ///< of the interface that it came by, and is called back by
  std::string path;               ///< of its endpoint
  std::string vapid{};            ///< public key of the only one who may push, in base64url; empty: anybody
  std::string known{};            ///< the endpoint that the application has been told
  std::deque<Message> waiting{};  ///< oldest first

  bool isCalling = false;  // the rest is not kept
  bool isPausing = false;
  std::uint64_t pauses = 0;
  unsigned failures = 0;  // in a row
  std::int64_t delivered = 0;
};

/// The registrations and their messages, kept in a folder. All operations that write throw zn::Exception. Thread: one
/// at a time.
class Store {
 public:
  using Registrations = std::map<std::string, std::shared_ptr<Registration>>;

  /// Reads what is there; the folder is made where it is missing, and is this process's until the end.
  explicit Store(const std::string& folder);

  const Registrations& registrations() const { return registrations_; }
  std::shared_ptr<Registration> withToken(const std::string& token) const;
  std::shared_ptr<Registration> withPath(const std::string& path) const;
  /// Whether it is still there, and not another of the same token.
  bool holds(const std::shared_ptr<Registration>& registration) const;

  void add(const std::shared_ptr<Registration>& registration);
  void save() const;  ///< after a change of a registration
  void remove(const std::shared_ptr<Registration>& registration);
  void append(Registration& registration, Message message);
  void remove(Registration& registration, std::size_t index);  ///< one of its messages

 private:
  void readRegistrations();
  void readMessages();

  const std::string file_;
  const std::string messages_;
  std::optional<zn::FileLock> lock_;
  Registrations registrations_;
  std::uint64_t last_ = 0;  // the number that the newest message has
};

/// 32 hexadecimal digits that nobody can guess.
std::string randomText();
double now();  ///< seconds since 1970

}  // namespace zindistributor
