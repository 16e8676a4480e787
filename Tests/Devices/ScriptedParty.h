#pragma once

#include <future>
#include <string>

#include "ZNDevices/Freedesktop/Bus/SessionBus_p.h"

namespace zn::test {

/// Somebody on the bus who does as a test says.
class ScriptedParty : protected SessionBus::Part {
 protected:
  ScriptedParty(const std::string& address, std::string name) : name_(std::move(name)), bus_(device_, address) {}

  /// In the constructor of what derives from it: on the bus when it returns, and the name's owner, or next in line.
  void appear() {
    bus_.connect({this});
    isThere_.get_future().wait();
  }
  virtual void exportObjects() = 0;

  const std::string name_;
  Device device_;
  SessionBus bus_;  // to be stopped in the destructor of what derives from it

 private:
  void connected() override {
    exportObjects();
    constexpr const char* kBus = "org.freedesktop.DBus";
    constexpr unsigned kWaitsInLine = 0;
    BusMessage request = bus_.makeCall(kBus, "/org/freedesktop/DBus", kBus, "RequestName");
    bus_.call(request.append("su", name_.c_str(), kWaitsInLine), 60, [this](BusMessage&, const std::string&) {
      if (!std::exchange(wasThere_, true)) isThere_.set_value();
    });
  }

  std::promise<void> isThere_;
  bool wasThere_ = false;
};

}  // namespace zn::test
