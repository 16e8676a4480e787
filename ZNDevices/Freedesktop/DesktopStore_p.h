#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ZNDevices/Freedesktop/Bus/SessionBus_p.h"

namespace zn {

/// A state of the device in a file of its home, as JSON. It is written soon after a change, many changes at once; where
/// that fails, it is tried again until it succeeds, and Storage tells of it; what is still to be written when the bus
/// stops is written then. Thread: the bus's.
class DesktopStore {
 public:
  /// `state` gives what is to be written.
  DesktopStore(Device& device, SessionBus& bus, std::string path, std::function<Value()> state);

  /// What an earlier process wrote; an empty dictionary where there is nothing. A file that is no JSON object is kept
  /// aside, and reported.
  Value load();
  /// Calls `saved`, if given, once this state is on the disk, or could not be written for now.
  void changed(Task saved = nullptr);

 private:
  void save();

  Device& device_;
  SessionBus& bus_;
  const std::string path_;
  const std::function<Value()> state_;
  bool isScheduled_ = false;
  double lastSave_ = 0;  // on the device's clock
  std::vector<Task> waiting_;
};

}  // namespace zn
