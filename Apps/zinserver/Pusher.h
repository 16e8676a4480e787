#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Apps/Push/Sender.h"
#include "Apps/zinserver/CampaignFolder.h"
#include "Apps/zinserver/Devices.h"
#include "Apps/zinserver/Options.h"

namespace zinserver {

/// Pushes to devices, on a thread of its own: what requests ask for first, and what pushes.json holds, which is looked
/// at again and again.
class Pusher {
 public:
  /// Without a folder for the state its key is a new one that is not kept. Throws zn::Exception for a key that cannot
  /// be used.
  Pusher(Devices& devices, const CampaignFolder& folder, const Options& options);
  ~Pusher() { stop(); }

  std::string publicKey() const;  ///< in base64url

  struct Outcome {
    std::string device;
    push::Result result;
  };
  /// Waits for the push servers' answers. Thread: any but its own. Throws zn::Exception after `stop`.
  std::vector<Outcome> push(const std::vector<std::string>& devices, const push::Message& message);
  /// There may be a device that did not get everything. Thread: any.
  void wake();
  /// Breaks off what is under way. Thread: any; may be called again.
  void stop();

 private:
  struct Push {
    std::string id;
    push::Message message;
  };
  struct Pause {
    unsigned failures = 0;  // in a row
    double until = 0;       // seconds on the steady clock
  };

  void run();
  push::Result send(const std::string& device, const push::Subscription& subscription, const push::Message& message);
  bool hasMoreUrgentWork();
  void pushCampaigns();
  void pushCampaignsTo(const std::string& device);
  void settle(const std::string& device, const std::string& push, const std::string& origin,
              const push::Result& result);
  void save();
  // Pusher_File.cpp
  bool readFileIfChanged();
  std::vector<Push> pushesIn(const zn::Value& contents) const;

  static constexpr double kNever = std::numeric_limits<double>::infinity();

  Devices& devices_;
  const CampaignFolder& folder_;
  push::Sender sender_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;  // guarded by mutex_, like the next two
  bool isAwake_ = true;
  bool isStopping_ = false;

  std::vector<Push> pushes_;             // the rest is the thread's
  std::string seen_;                     // what tells one version of the file from the next
  std::map<std::string, Pause> pauses_;  // by the push server's origin
  double nextTry_ = kNever;              // on the steady clock, like the next
  double savedAt_ = 0;
  bool isUnsaved_ = false;
  std::mutex ending_;
  std::thread thread_;
};

}  // namespace zinserver
