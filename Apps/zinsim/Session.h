#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "ZNDevices/Simulator/Simulator.h"
#include "ZNPlatform/Foundation/Value.h"

class ZNInboxCellSelectedDelegate;
class ZNMessagingDelegate;
namespace zn {
class InboxScreen;
}

namespace zinsim {

/// What all lines of one run share: the device, the way to print, and what the host application holds.
class Session {
 public:
  using Show = std::function<void(const zn::Effect&)>;

  Session(std::shared_ptr<zn::Simulator> device, Show show);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  zn::Simulator& device() { return *device_; }

  /// Prints an effect: what stands under the kind's own key, and the other keys; nil as null.
  void print(std::string_view kind, const zn::Value& value,
             std::initializer_list<std::pair<std::string_view, zn::Value>> others = {}) const;

  /// The module holds its delegate weakly, so the session owns it.
  std::shared_ptr<ZNMessagingDelegate> messagingDelegate;
  std::shared_ptr<zn::InboxScreen> inboxScreen;  ///< the open one
  /// The screen holds its delegate weakly too.
  std::shared_ptr<ZNInboxCellSelectedDelegate> inboxCellDelegate;

 private:
  const std::shared_ptr<zn::Simulator> device_;
  const Show show_;
};

/// Runs one line of a scenario to its end: the command, then everything that is due afterwards. Blank lines and lines
/// that start with '#' do nothing. Throws UsageError, before anything is done, for a line that cannot be used; what it
/// ignores goes to `warn` before that, too, which may throw one.
void runLine(std::string_view line, Session& session, const std::function<void(const std::string&)>& warn);

/// null for nil.
inline zn::Value orNull(const zn::Value& value) { return value.isNil() ? zn::Value::null() : value; }

}  // namespace zinsim
