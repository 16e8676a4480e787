#include "ZintarCore/ZNNetworkRequest.h"

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/Once.h"
#include "ZintarCore/GuardedFields.h"
#include "ZintarCore/HttpTransport.h"
#include "ZintarCore/ZNConfigDataManager.h"

ZNNetworkTransport::~ZNNetworkTransport() = default;

void ZNNetworkTransport::executeForAnswer(const ZNNetworkRequest& request,
                                          std::function<void(const zn::NetworkAnswer& answer)> completion) {
  execute(request, [completion = std::move(completion)](const zn::Value& response) { completion({response}); });
}

const std::shared_ptr<ZNNetworkConfiguration>& ZNNetworkConfiguration::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNNetworkConfiguration>());
  return *instance;
}

zn::Value ZNNetworkConfiguration::getQueryParamsBodyDictForService(ZNService) const {
  return ZNConfigDataManager::sharedInstance()->queryParams();
}

namespace {

using Installed = zn::GuardedFields<std::shared_ptr<ZNNetworkTransport>>;

Installed& installed() {
  static zn::NeverDestroyed<Installed> instance;
  return *instance;
}

void hand(zn::NetworkAnswer answer, const std::function<void(const zn::NetworkAnswer&)>& completion) {
  if (!answer.response.isDictionary()) answer.response = zn::nil;
  zn::stopExceptions(
      [&] { completion(answer); },
      [] {
        zn::Device::current().systemLog->diagnostic("a request's completion failed: " + zn::currentExceptionText());
      });
}

}  // namespace

ZNNetworkRequest::ZNNetworkRequest(ZNService service, zn::Value params, zn::Value additionalHeaders,
                                   zn::Value requestBody, zn::Value additionalPathComponent)
    : service_(service),
      params_(std::move(params)),
      additionalHeaders_(std::move(additionalHeaders)),
      requestBody_(std::move(requestBody)),
      additionalPathComponent_(std::move(additionalPathComponent)) {}

std::shared_ptr<ZNNetworkRequest> ZNNetworkRequest::initWithService(ZNService service, const zn::Value& params,
                                                                    const zn::Value& additionalHeaders,
                                                                    const zn::Value& requestBody,
                                                                    const zn::Value& additionalPathComponent) {
  return std::make_shared<ZNNetworkRequest>(service, params, additionalHeaders, requestBody, additionalPathComponent);
}

void ZNNetworkRequest::setTransport(std::shared_ptr<ZNNetworkTransport> transport) {
  installed().replace(std::move(transport));
}

void ZNNetworkRequest::executeRequestWithCompletionBlock(Completion completion) const {
  executeForAnswer([completion = std::move(completion)](const zn::NetworkAnswer& answer) {
    if (completion) completion(!answer.response.isNil(), answer.response);
  });
}

void ZNNetworkRequest::executeForAnswer(std::function<void(const zn::NetworkAnswer& answer)> completion) const {
  const auto answer = zn::once(std::function<void(const zn::NetworkAnswer&)>(
      [completion = std::move(completion)](const zn::NetworkAnswer& given) { hand(given, completion); }));
  const auto transport = installed().all();
  (transport ? transport : zn::HttpTransport::sharedInstance())->executeForAnswer(*this, answer);
}
