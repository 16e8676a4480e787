#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "ZNPlatform/Foundation/Value.h"

namespace push {

/// What is sent to a device, and how (RFC 8030).
struct Message {
  static constexpr int kLongestLife = 28 * 24 * 3600;

  std::string text{};             ///< the payload, in JSON without comments
  int secondsToLive = 24 * 3600;  ///< how long push servers keep it for a device that is away
  std::string urgency{};          ///< "": not said
  std::string topic{};            ///< an undelivered message of the same topic is replaced; "": none
};

// All throw zn::Exception, for people.

/// For "urgency" and "topic", which begin with these words.
void checkUrgency(const std::string& urgency);
void checkTopic(const std::string& topic);
/// The text that is sent. A payload that is no dictionary is refused; its size is left to the sender.
std::string textOf(const zn::Value& payload);
/// Of {"payload": …, "ttl": SECONDS, "urgency": …, "topic": …}, which may have those other keys too.
Message messageOf(const zn::Value& description, std::initializer_list<std::string_view> otherKeys);

}  // namespace push
