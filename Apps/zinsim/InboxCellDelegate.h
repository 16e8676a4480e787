#pragma once

#include <string>
#include <vector>

#include "Apps/zinsim/Session.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxCellSelectedDelegate.h"

namespace zinsim {

/// The host's delegate of the inbox screen: prints each call of an operation that it implements.
class InboxCellDelegate : public ZNInboxCellSelectedDelegate {
 public:
  /// Throws UsageError for an operation that such delegates do not have.
  InboxCellDelegate(Session& session, std::vector<std::string> implements);

  void inboxCellSelectedWithData(const zn::Value& data) override;
  void inboxCellSelectedWithPushDict(const zn::Value& payload) override;

 private:
  void called(const std::string& selector, const zn::Value& argument) const;

  Session& session_;
  const std::vector<std::string> implements_;
};

}  // namespace zinsim
