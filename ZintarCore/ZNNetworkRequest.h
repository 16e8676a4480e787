#pragma once

#include <functional>
#include <memory>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// Number of a server service. The configuration names each one's path under "server.endpoints" by its number.
enum class ZNService : int { events = 1, inbox = 7, categories = 8, triggerSync = 9, userInSegment = 10 };

class ZNNetworkRequest;

namespace zn {

/// What became of a request, for who acts on the reason of a failure.
struct NetworkAnswer {
  Value response;         ///< a dictionary, or nil when the request failed
  int status = 0;         ///< the server's HTTP status; 0: it gave no answer, or the transport does not tell
  double retryAfter = 0;  ///< seconds that the server wants to be left alone (`Retry-After`); 0: it does not say
};

}  // namespace zn

/// Carries requests to the server. `execute` must call the completion exactly once, later, on a queue of its choosing:
/// with a dictionary for an answer, or nil for a failed request. Called on the thread that executes the request; must
/// not block it and must not throw.
class ZN_EXPORT ZNNetworkTransport {
 public:
  virtual ~ZNNetworkTransport();
  virtual void execute(const ZNNetworkRequest& request, std::function<void(zn::Value response)> completion) = 0;
  /// The same with the reason of a failure. The base version calls `execute`, and so knows none.
  virtual void executeForAnswer(const ZNNetworkRequest& request,
                                std::function<void(const zn::NetworkAnswer& answer)> completion);
};

class ZN_EXPORT ZNNetworkConfiguration {
 public:
  static const std::shared_ptr<ZNNetworkConfiguration>& sharedInstance();
  /// The standard query parameters of a service: a dictionary, or nil.
  zn::Value getQueryParamsBodyDictForService(ZNService service) const;
};

/// One JSON request to a service. Thread: any; a request is immutable once made.
class ZN_EXPORT ZNNetworkRequest {
 public:
  /// Called exactly once, whatever happens. `response` is a dictionary, or nil when the request failed; `success` says
  /// the same.
  using Completion = std::function<void(bool success, const zn::Value& response)>;

  /// `initWithService:params:additionalHeaders:requestBody:andAdditionalPathComponent:`. params, headers and body are
  /// dictionaries, the path component a string; all may be nil.
  static std::shared_ptr<ZNNetworkRequest> initWithService(ZNService service, const zn::Value& params,
                                                           const zn::Value& additionalHeaders,
                                                           const zn::Value& requestBody,
                                                           const zn::Value& additionalPathComponent);

  /// `executeRequestWithCompletionBlock:`. The transport decides where the completion runs; zn::HttpTransport takes the
  /// global queue. An exception that the completion raises is stopped and reported to the device's system log.
  void executeRequestWithCompletionBlock(Completion completion) const;

  /// The same for who acts on the reason of a failure.
  void executeForAnswer(std::function<void(const zn::NetworkAnswer& answer)> completion) const;

  /// Replaces the transport of the whole process; none: zn::HttpTransport, which is also what stands at the start.
  /// Requests that are under way stay with the transport that has them.
  static void setTransport(std::shared_ptr<ZNNetworkTransport> transport);

  ZNService service() const { return service_; }
  const zn::Value& params() const { return params_; }
  const zn::Value& additionalHeaders() const { return additionalHeaders_; }
  const zn::Value& requestBody() const { return requestBody_; }
  const zn::Value& additionalPathComponent() const { return additionalPathComponent_; }

  ZNNetworkRequest(ZNService service, zn::Value params, zn::Value additionalHeaders, zn::Value requestBody,
                   zn::Value additionalPathComponent);

 private:
  ZNService service_;
  zn::Value params_;
  zn::Value additionalHeaders_;
  zn::Value requestBody_;
  zn::Value additionalPathComponent_;
};
