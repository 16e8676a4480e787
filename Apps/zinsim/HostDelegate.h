#pragma once

#include <string>
#include <vector>

#include "Apps/zinsim/Session.h"
#include "ZNMessaging/ZNMessaging.h"

namespace zinsim {

/// The host's messaging delegate: prints each call of an operation that it implements, then raises an exception if that
/// one is said to throw.
class HostDelegate : public ZNMessagingDelegate {
 public:
  /// Throws UsageError for an operation that messaging delegates do not have.
  HostDelegate(Session& session, std::vector<std::string> implements, std::vector<std::string> throws);

  void notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value& kvPairs) override;
  void notificationClickedWithScreenNameKVPairsAndPushPayload(const zn::Value& screenName, const zn::Value& kvPairs,
                                                              const zn::Value& pushPayload) override;

 private:
  void called(const std::string& selector, const std::vector<zn::Value>& arguments) const;

  Session& session_;
  const std::vector<std::string> implements_;
  const std::vector<std::string> throws_;
};

}  // namespace zinsim
