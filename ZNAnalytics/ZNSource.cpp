#include "ZNAnalytics/ZNSource.h"

#include <algorithm>

#include "ZNPlatform/Foundation/NSURL.h"
#include "ZintarCore/ZNPayloadKeys.h"

namespace {

bool isCampaignParameter(std::string_view name) { return name.starts_with("utm_"); }

bool hasCampaignParameter(std::string_view query) {
  while (!query.empty()) {
    if (isCampaignParameter(query)) return true;
    const std::size_t end = query.find('&');
    query = end == std::string_view::npos ? std::string_view() : query.substr(end + 1);
  }
  return false;
}

bool isValidLink(const zn::Value& link) {
  if (!link.isString()) return false;
  const auto url = NSURL::URLWithString(link.string());
  return url && !url->scheme().empty() && hasCampaignParameter(url->query());
}

}  // namespace

std::shared_ptr<const ZNSource> ZNSource::initSourceWithPushPayload(const zn::Value& payload) {
  return std::make_shared<const ZNSource>(Kind::push, payload);
}

std::shared_ptr<const ZNSource> ZNSource::initZinSourceWithPushPayload(const zn::Value& payload) {
  return std::make_shared<const ZNSource>(Kind::zinPush, payload);
}

std::shared_ptr<const ZNSource> ZNSource::initSourceWithURL(const zn::Value& url) {
  return std::make_shared<const ZNSource>(Kind::url, url);
}

std::shared_ptr<const ZNSource> ZNSource::initSourceWithSourceInfoDict(const zn::Value& pairs) {
  return std::make_shared<const ZNSource>(Kind::info, pairs);
}

bool ZNSource::isValidSource() const {
  switch (kind_) {
    case Kind::push:
      return value_.isDictionary() && !value_.isEmpty();
    case Kind::zinPush:
      return !value_.validObjectForKeyPath(kNotificationPayloadKeyPathCampaignID).isNil();
    case Kind::url:
      return isValidLink(value_);
    case Kind::info:
      return std::any_of(value_.entries().begin(), value_.entries().end(),
                         [](const zn::Value::Entry& pair) { return isCampaignParameter(pair.key.string()); });
  }
  return false;
}
