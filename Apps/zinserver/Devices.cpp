#include "Apps/zinserver/Devices.h"

#include <algorithm>
#include <utility>

#include "Apps/zinserver/Log.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zinserver {

using zn::Value;

namespace {

constexpr std::size_t kMostDevices = 10000;

std::string textOf(const Value& dictionary, const char* key) { return std::string(dictionary[key].string()); }

/// It stands in addresses and logs.
bool isUsable(const std::string& id) {
  constexpr std::size_t kLongest = 64;
  return !id.empty() && id.size() <= kLongest && std::all_of(id.begin(), id.end(), zn::isUnreserved);
}

/// "" for what none can be made of.
std::string usableToken(const std::string& id, const std::string& token) {
  if (token.empty()) return "";
  try {
    push::Subscription::ofText(token);
    return token;
  } catch (const zn::Exception& problem) {
    log("device " + id + " cannot be pushed to: " + problem.reason());
    return "";
  }
}

/// Of a folder that is made where it is missing.
std::string fileIn(const std::string& folder) {
  if (folder.empty()) return "";
  std::string error;
  if (!zn::createDirectoryAtPath(folder, true, &error)) throw zn::Exception(error);
  return zn::stringByAppendingPathComponent(folder, "devices.json");
}

}  // namespace

Devices::Devices(const std::string& folder) : file_(fileIn(folder)) {
  if (folder.empty()) return;
  std::string error;
  folderLock_ = zn::FileLock::tryNow(zn::stringByAppendingPathComponent(folder, "lock"), &error);
  if (!folderLock_) throw zn::Exception(error.empty() ? folder + " is in use by another process" : error);
  read();
}

void Devices::read() {
  std::string error;
  const auto bytes = zn::readFile(file_, &error);
  if (!bytes && error.empty()) return;
  if (!bytes) throw zn::Exception(error);
  zn::JsonError problem;
  const auto all = zn::parseJson({reinterpret_cast<const char*>(bytes->data()), bytes->size()}, &problem);
  if (!all) throw zn::Exception(file_ + ": " + problem.text + "; move it away to begin without devices");
  zn::Lock lock(mutex_);
  for (const auto& [id, kept] : all->entries()) {
    Device& device = devices_[std::string(id.string())];
    device = {.since = kept["since"].isNumber() ? kept["since"].doubleValue() : 0,
              .lastRecord = kept["lastRecord"].isNumber() ? kept["lastRecord"].doubleValue() : 0,
              .attributes = kept["attributes"],
              .token = usableToken(std::string(id.string()), textOf(kept, "token"))};
    for (const Value& each : kept["got"].elements()) device.got.emplace(each.string());
  }
}

bool Devices::takeRecords(const Value& events, double time) {
  bool hasRecords = false;
  bool hasNews = false;
  for (const Value& event : events.elements()) {
    if (!event["device"].isDictionary()) continue;
    hasRecords = true;
    hasNews = takeRecord(event["device"], time) || hasNews;
  }
  if (hasRecords) save();
  return hasNews;
}

bool Devices::takeRecord(const Value& record, double time) {
  const std::string id = textOf(record, "installation");
  if (!isUsable(id)) {
    log("a device record names no installation, and is not kept");
    return false;
  }
  const std::string token = usableToken(id, textOf(record, "pushToken"));
  {
    zn::Lock lock(mutex_);
    const auto found = devices_.find(id);
    if (found != devices_.end() || devices_.size() < kMostDevices) {
      Device& device = devices_[id];
      if (found == devices_.end()) device.since = time;
      device.lastRecord = time;
      device.attributes = record["attributes"];
      return std::exchange(device.token, token) != token && !token.empty();
    }
  }
  log("there are too many devices: " + id + " is not kept");
  return false;
}

Value Devices::shown() const {
  zn::Lock lock(mutex_);
  Value all = Value::array();
  for (const auto& [id, device] : devices_) {
    if (device.token.empty()) continue;
    all.append(Value::dictionary({{"id", id},
                                  {"since", device.since},
                                  {"lastRecord", device.lastRecord},
                                  {"attributes", device.attributes},
                                  {"endpoint", push::Subscription::ofText(device.token).endpoint.shortened()}}));
  }
  return all;
}

bool Devices::remove(const std::string& id) {
  {
    zn::Lock lock(mutex_);
    if (devices_.erase(id) == 0) return false;
  }
  save();
  return true;
}

std::vector<std::string> Devices::subscribed() const {
  zn::Lock lock(mutex_);
  std::vector<std::string> ids;
  for (const auto& [id, device] : devices_) {
    if (!device.token.empty()) ids.push_back(id);
  }
  return ids;
}

std::optional<push::Subscription> Devices::subscriptionOf(const std::string& id) const {
  zn::Lock lock(mutex_);
  const auto found = devices_.find(id);
  if (found == devices_.end() || found->second.token.empty()) return std::nullopt;
  return push::Subscription::ofText(found->second.token);
}

void Devices::forget(const std::string& id, const push::Subscription& subscription) {
  {
    zn::Lock lock(mutex_);
    const auto found = devices_.find(id);
    if (found == devices_.end() || found->second.token.empty()) return;
    const auto present = push::Subscription::ofText(found->second.token);
    if (present.endpoint.text() != subscription.endpoint.text()) return;
    found->second.token.clear();  // what it got stays known
  }
  save();
}

bool Devices::hasGot(const std::string& id, const std::string& push) const {
  zn::Lock lock(mutex_);
  const auto found = devices_.find(id);
  return found != devices_.end() && found->second.got.contains(push);
}

void Devices::setGot(const std::string& id, const std::string& push) {
  zn::Lock lock(mutex_);
  const auto found = devices_.find(id);
  if (found != devices_.end()) found->second.got.insert(push);
}

std::string Devices::textToSave() const {
  zn::Lock lock(mutex_);
  Value all = Value::dictionary();
  for (const auto& [id, device] : devices_) {
    const std::vector<Value> got(device.got.begin(), device.got.end());
    all.setObjectNilHandled(Value::dictionary({{"since", device.since},
                                               {"lastRecord", device.lastRecord},
                                               {"attributes", device.attributes},
                                               {"token", device.token},
                                               {"got", Value::array(got)}}),
                            id);
  }
  return zn::jsonText(all) + "\n";
}

void Devices::save() {
  if (file_.empty()) return;
  zn::Lock turn(saving_);
  const std::string text = textToSave();
  std::string error;
  if (!zn::replaceFile(file_, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, &error)) log(error);
}

}  // namespace zinserver
