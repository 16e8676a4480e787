#include "ZintarCore/ZNAppDelegateSwizzler.h"

#include <vector>

#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/SameOwner_p.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace {

class Registry {
 public:
  static Registry& shared() {
    static zn::NeverDestroyed<Registry> registry;
    return *registry;
  }

  void startProxying() {
    const zn::Lock lock(mutex_);
    isProxying_ = true;
    publishLocked();
  }

  std::string add(const std::shared_ptr<zn::Object>& interceptor) {
    const zn::Lock lock(mutex_);
    std::erase_if(entries_, [](const Entry& each) { return each.interceptor.expired(); });
    for (const Entry& each : entries_) {
      if (zn::sameOwner(each.interceptor, interceptor)) return each.identifier;
    }
    entries_.push_back({"interceptor-" + std::to_string(++count_), interceptor});
    publishLocked();
    return entries_.back().identifier;
  }

  void remove(const std::string& identifier) {
    const zn::Lock lock(mutex_);
    std::erase_if(entries_, [&](const Entry& each) { return each.identifier == identifier; });
    publishLocked();
  }

 private:
  struct Entry {
    std::string identifier;
    std::weak_ptr<zn::Object> interceptor;
  };

  /// The application keeps the list, so that a callback walks it without asking here.
  void publishLocked() ZN_REQUIRES(mutex_) {
    if (!isProxying_) return;
    const auto list = std::make_shared<UIApplication::Interceptors>();
    for (const Entry& each : entries_) list->push_back(each.interceptor);
    UIApplication::sharedApplication()->setInterceptors(list);
  }

  zn::Mutex mutex_;
  std::vector<Entry> entries_ ZN_GUARDED_BY(mutex_);  // in the order of registration
  unsigned long count_ ZN_GUARDED_BY(mutex_) = 0;
  bool isProxying_ ZN_GUARDED_BY(mutex_) = false;
};

}  // namespace

bool ZNAppDelegateSwizzler::isAppDelegateProxyEnabled() { return ZNCoreUtils::isAppDelegateProxyEnabled(); }

void ZNAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods() { Registry::shared().startProxying(); }

std::string ZNAppDelegateSwizzler::registerAppDelegateInterceptor(const std::shared_ptr<zn::Object>& interceptor) {
  return interceptor ? Registry::shared().add(interceptor) : std::string();
}

void ZNAppDelegateSwizzler::unregisterAppDelegateInterceptorWithID(const std::string& identifier) {
  Registry::shared().remove(identifier);
}
