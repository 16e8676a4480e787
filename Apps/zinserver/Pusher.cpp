#include "Apps/zinserver/Pusher.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <utility>

#include "Apps/Push/VapidKeyFile.h"
#include "Apps/zinserver/Log.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZintarCore/RetryPolicy_p.h"

namespace zinserver {

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{500};  // at pushes.json
constexpr zn::RetryPause kPause{1, 600};
constexpr double kBetweenSaves = 1;  // seconds

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

zn::P256Key keyIn(const std::string& state) {
  if (state.empty()) return zn::P256Key::generate();
  return push::vapidKeyIn(zn::stringByAppendingPathComponent(state, "vapid.pem"));
}

}  // namespace

Pusher::Pusher(Devices& devices, const CampaignFolder& folder, const Options& options)
    : devices_(devices),
      folder_(folder),
      sender_(keyIn(options.state), {.contact = options.contact}),
      thread_([this] { run(); }) {}

std::string Pusher::publicKey() const { return zn::base64UrlText(sender_.key().publicKey()); }

std::vector<Pusher::Outcome> Pusher::push(const std::vector<std::string>& devices, const push::Message& message) {
  const auto done = std::make_shared<std::promise<std::vector<Outcome>>>();
  const auto answer = [this, done, devices, message] {
    std::vector<Outcome> outcomes;
    for (const std::string& device : devices) {
      const auto subscription = devices_.subscriptionOf(device);
      outcomes.push_back({device, subscription ? send(device, *subscription, message)
                                               : push::Result{push::Outcome::gone, "it is not subscribed any more"}});
    }
    done->set_value(std::move(outcomes));
  };
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isStopping_) throw zn::Exception("this server ends");
    jobs_.push_back(answer);
  }
  changed_.notify_all();
  return done->get_future().get();
}

void Pusher::wake() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isAwake_ = true;
  }
  changed_.notify_all();
}

void Pusher::stop() {
  sender_.stop();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isStopping_ = true;
  }
  changed_.notify_all();
  const std::lock_guard<std::mutex> turn(ending_);
  if (thread_.joinable()) thread_.join();
}

/// Waiting requests are answered also when it stops: then nothing is sent any more.
void Pusher::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!isStopping_ || !jobs_.empty()) {
    if (!jobs_.empty()) {
      const auto job = std::move(jobs_.front());
      jobs_.pop_front();
      lock.unlock();
      job();
      lock.lock();
      continue;
    }
    changed_.wait_for(lock, kBetweenLooks, [this] { return isStopping_ || isAwake_ || !jobs_.empty(); });
    if (isStopping_ || !jobs_.empty()) continue;
    const bool hasNews = std::exchange(isAwake_, false);
    lock.unlock();
    if (readFileIfChanged() || hasNews || now() >= nextTry_) pushCampaigns();
    lock.lock();
  }
}

push::Result Pusher::send(const std::string& device, const push::Subscription& subscription,
                          const push::Message& message) {
  push::Result result;
  try {
    result = sender_.send(subscription, message);
  } catch (const std::exception& problem) {
    result = {push::Outcome::failed, std::string("failed: ") + problem.what()};
  }
  log("push to " + device + ": " + result.text);
  if (result.outcome == push::Outcome::gone) devices_.forget(device, subscription);
  return result;
}

/// What comes before the pushes of the file.
bool Pusher::hasMoreUrgentWork() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return isStopping_ || !jobs_.empty();
}

void Pusher::pushCampaigns() {
  nextTry_ = kNever;
  for (const std::string& device : devices_.subscribed()) {
    pushCampaignsTo(device);
    if (hasMoreUrgentWork()) {
      wake();  // for the rest
      break;
    }
  }
  if (isUnsaved_) save();
}

void Pusher::pushCampaignsTo(const std::string& device) {
  for (const Push& push : pushes_) {
    if (devices_.hasGot(device, push.id)) continue;
    const auto subscription = devices_.subscriptionOf(device);
    if (!subscription || hasMoreUrgentWork()) return;
    const auto pause = pauses_.find(subscription->endpoint.origin());
    if (pause != pauses_.end() && now() < pause->second.until) {
      nextTry_ = std::min(nextTry_, pause->second.until);
      return;
    }
    settle(device, push.id, subscription->endpoint.origin(), send(device, *subscription, push.message));
    // Not after each one: the file grows with the devices.
    if (isUnsaved_ && now() - savedAt_ > kBetweenSaves) save();
  }
}

/// Whether a push counts as done. One that may have arrived is not sent a second time. A push server that fails is left
/// alone for all its devices.
void Pusher::settle(const std::string& device, const std::string& push, const std::string& origin,
                    const push::Result& result) {
  if (result.outcome == push::Outcome::notReached || result.outcome == push::Outcome::slowDown) {
    Pause& pause = pauses_[origin];
    pause.until = now() + kPause.after(++pause.failures, result.retryAfter, zn::Device::current().random->fraction());
    nextTry_ = std::min(nextTry_, pause.until);
    return;
  }
  pauses_.erase(origin);
  if (result.outcome == push::Outcome::gone) return;
  devices_.setGot(device, push);
  isUnsaved_ = true;
}

void Pusher::save() {
  devices_.save();
  savedAt_ = now();
  isUnsaved_ = false;
}

}  // namespace zinserver
