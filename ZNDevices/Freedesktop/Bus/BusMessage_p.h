#pragma once

#include <systemd/sd-bus.h>

#include <string>
#include <utility>

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// A message on the bus, shared with sd-bus. Null: it could not be made, as where there is no connection. Thread: the
/// bus's.
class BusMessage {
 public:
  BusMessage() = default;
  /// Takes over a reference.
  static BusMessage taking(sd_bus_message* message) { return BusMessage(message); }
  static BusMessage sharing(sd_bus_message* message) { return BusMessage(sd_bus_message_ref(message)); }
  BusMessage(const BusMessage& other) : message_(sd_bus_message_ref(other.message_)) {}
  BusMessage(BusMessage&& other) noexcept : message_(std::exchange(other.message_, nullptr)) {}
  BusMessage& operator=(BusMessage other) noexcept {
    std::swap(message_, other.message_);
    return *this;
  }
  ~BusMessage() { sd_bus_message_unref(message_); }

  explicit operator bool() const { return message_ != nullptr; }
  sd_bus_message* get() const { return message_; }

  // Writing. What cannot be appended, such as text that is not UTF-8, makes the message null.

  /// As sd_bus_message_append.
  template <class... A>
  BusMessage& append(const char* types, A... values) {
    return check(message_ ? sd_bus_message_append(message_, types, values...) : 0);
  }
  /// `type` and `contents` as for sd_bus_message_open_container; `fill` writes what is in it.
  template <class Fill>
  BusMessage& container(char type, const char* contents, Fill&& fill) {
    check(message_ ? sd_bus_message_open_container(message_, type, contents) : 0);
    fill();
    return check(message_ ? sd_bus_message_close_container(message_) : 0);
  }
  BusMessage& appendBytes(const Data& bytes);
  /// An a{sv} of strings, booleans, integers (x) and data (ay); everything else is left out.
  BusMessage& appendDictionary(const Value& dictionary);

  // Reading, in order. Nothing, or an empty text, where something else stands there.

  std::string readString();
  Data readBytes();
  /// What stands next, whatever its type: numbers, texts, arrays, dictionaries with text keys (variants as what they
  /// hold, ay as data). nil at the end.
  Value readValue();

 private:
  explicit BusMessage(sd_bus_message* message) : message_(message) {}
  BusMessage& check(int result);

  sd_bus_message* message_ = nullptr;
};

}  // namespace zn
