#include "ZintarCore/UserSession.h"

#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace zn {

namespace {

constexpr const char* kUserKey = "kUserDefaultsKeyUser";
constexpr const char* kResetsKey = "kUserDefaultsKeyUserResets";

/// Nobody, for nil.
void setUser(const Value& user) {
  bool leaves = false;
  ZNCoreUtils::getSDKUserDefault()->transaction([&](Value& contents) {
    const Value before = contents[kUserKey];
    leaves = !before.isNil() && before != user;
    if (leaves) contents.setObjectNilHandled(contents[kResetsKey].integer() + 1, kResetsKey);
    contents.removeValidObjectForKey(kUserKey);
    contents.setObjectNilHandled(user, kUserKey);
  });
  if (leaves) NSNotificationCenter::defaultCenter()->postNotificationName(kNotificationNameUserReset);
}

}  // namespace

void UserSession::logIn(const std::string& user) { setUser(user.empty() ? nil : Value(user)); }
void UserSession::logOut() { setUser(nil); }
Value UserSession::user() { return ZNCoreUtils::getSDKUserDefault()->objectForKey(kUserKey); }
std::int64_t UserSession::resets() { return ZNCoreUtils::getSDKUserDefault()->objectForKey(kResetsKey).integer(); }

}  // namespace zn
