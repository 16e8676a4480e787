#include "ZNPlatform/Foundation/NSUserDefaults.h"

#include <algorithm>

#include "ZNPlatform/Foundation/DefaultsStore_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

bool NSUserDefaults::canNameSuite(std::string_view name) {
  constexpr std::size_t kLongest = 200;  // leaves room for what temporary and lock files add
  const auto isForbidden = [](unsigned char c) { return c < 0x20 || c == 0x7f || c == '/'; };
  return !name.empty() && name.size() <= kLongest && name.front() != '.' &&
         std::none_of(name.begin(), name.end(), isForbidden);
}

NSUserDefaults::NSUserDefaults(const std::string& name) : store_(zn::DefaultsStore::named(name)) {}

std::shared_ptr<NSUserDefaults> NSUserDefaults::standardUserDefaults() {
  static const zn::NeverDestroyed shared(std::shared_ptr<NSUserDefaults>(new NSUserDefaults("standard")));
  return *shared;
}

std::shared_ptr<NSUserDefaults> NSUserDefaults::initWithSuiteName(const std::string& name) {
  if (!canNameSuite(name)) throw zn::Exception("\"" + name + "\" cannot name a user-defaults suite");
  return std::shared_ptr<NSUserDefaults>(new NSUserDefaults(name));
}

zn::Value NSUserDefaults::objectForKey(std::string_view key) const { return store_->contents()[key]; }

bool NSUserDefaults::boolForKey(std::string_view key) const {
  const zn::Value value = objectForKey(key);
  return (value.isNumber() || value.isString()) && value.boolValue();
}

void NSUserDefaults::setObject(const zn::Value& value, std::string_view key) {
  if (value.isNull()) throw zn::Exception("null cannot be stored in user defaults");
  if (!store_->hasUnwritten() && zn::isSameInPropertyList(objectForKey(key), value)) return;
  transaction([&](zn::Value& contents) {
    if (value) {
      contents.setObjectNilHandled(value, key);
    } else {
      contents.removeValidObjectForKey(key);
    }
  });
}

void NSUserDefaults::removeObjectForKey(std::string_view key) { setObject(zn::nil, key); }

bool NSUserDefaults::synchronize() {
  if (store_->hasUnwritten()) transaction([](zn::Value&) {});
  return !store_->hasUnwritten();
}

void NSUserDefaults::transaction(const std::function<void(zn::Value& contents)>& change) {
  std::string error;
  store_->transaction(change, {}, error);
}

bool NSUserDefaults::transaction(const std::function<void(zn::Value&)>& change, std::chrono::milliseconds patience) {
  std::string error;
  return store_->transaction(change, {.patience = patience}, error) != zn::DefaultsStore::Outcome::busy;
}

bool NSUserDefaults::tryAppend(const zn::Value& element, const std::vector<std::string>& keys, std::string& error,
                               std::optional<std::chrono::milliseconds> patience) {
  if (keys.empty()) throw zn::Exception("a list in user defaults needs a key");
  return store_->append(keys, element, patience, error);
}

bool NSUserDefaults::tryTransaction(const std::function<void(zn::Value&)>& change, std::string& error,
                                    std::optional<std::chrono::milliseconds> patience) {
  const zn::DefaultsStore::Terms terms{.orNothing = true, .patience = patience};
  return store_->transaction(change, terms, error) == zn::DefaultsStore::Outcome::written;
}
