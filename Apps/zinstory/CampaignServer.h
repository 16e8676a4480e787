#pragma once

#include <sys/types.h>

#include <string>

#include "ZNPlatform/Foundation/Descriptor_p.h"

namespace zinstory {

/// A zinserver of the story's own, on a free port of this machine; it ends with this object at the latest. To be made
/// before this process has a second thread.
class CampaignServer {
 public:
  /// Throws zn::Exception when the server does not start.
  explicit CampaignServer(const std::string& folder);
  ~CampaignServer() { stop(); }
  CampaignServer(const CampaignServer&) = delete;
  CampaignServer& operator=(const CampaignServer&) = delete;

  const std::string& address() const { return address_; }
  void stop();

 private:
  std::string readLine();
  bool readSome(std::string& text);

  zn::Descriptor output_;
  pid_t process_ = 0;
  std::string address_;
};

}  // namespace zinstory
