#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/Mutex.h"
#include "Platform/Foundation/Value.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace zn {

class HttpWorker;

/// Carries requests over HTTP and HTTPS; what every process uses that installs no transport of its own.
///
/// A request is a POST of its body as JSON to
///
///     server.address + server.endpoints[service] / additional path component ? params
///
/// with both taken from the configuration when the request is executed; path and parameters are percent-encoded, null
/// parameters left out. The answer is a dictionary exactly when the server's status is 2xx and its body a JSON object
/// (UTF-8). Everything else is nil, and the log says why: no connection, a time limit, a body that is cut off, too long
/// or something else, one whose values take many times the memory of its text ("[[],[],…"), any other status. Redirects
/// are not followed, so neither the body nor a header ever reaches a place that the configuration does not name: a 3xx
/// status is a failed request. Where the configuration names no address, or no endpoint for the service, the answer is
/// nil, and the device's system log is told once.
///
/// A request is sent once. One whose body left, and whose connection then ended without an answer, has failed: whether
/// the server acted on it is not known. Only a kept connection that the server had closed before is replaced.
/// Additional headers cannot be those that frame a message or steer the connection ("Content-Length",
/// "Transfer-Encoding", "Host" and their like): such a request fails. Answers may be packed with gzip or deflate.
///
/// HTTPS needs TLS 1.2 or newer, a certificate from an authority that the system trusts, and the right host name.
/// Proxies are taken from the environment (`https_proxy`, `no_proxy`). Connections are kept and used again.
///
/// Thread: any. `execute` neither blocks nor throws. One thread of the transport's own, started with the first request,
/// carries all requests, any number at once. Completions run on the device's global queue, exactly once each; after the
/// device was shut down none runs. At the process's normal end every transport is shut down.
class ZN_EXPORT HttpTransport : public ZNNetworkTransport {
 public:
  struct Options {
    /// Seconds until the connection stands, TLS included.
    double connectTimeout = 10;
    /// Seconds for the whole request, however busy the server seems.
    double timeout = 30;
    /// Bytes of an answer, header included, counted unpacked. The transfer is stopped when there are more.
    std::int64_t maximumResponseBytes = 8 << 20;
    /// File of certificate authorities (PEM) that are trusted instead of the system's; "": the system's.
    std::string certificateAuthorities = {};
  };

  /// With these limits, or without any with those of the configuration ("server.connectTimeout", "server.timeout",
  /// "server.maximumResponseBytes") as they are when a request is executed, and the defaults above for what it leaves
  /// open. Throws Exception for a limit that is not a positive number.
  HttpTransport();
  explicit HttpTransport(Options options);
  /// As `shutDown`.
  ~HttpTransport() override;

  /// What requests use when no transport is installed.
  static const std::shared_ptr<HttpTransport>& sharedInstance();

  void execute(const ZNNetworkRequest& request, std::function<void(Value response)> completion) override;
  void executeForAnswer(const ZNNetworkRequest& request,
                        std::function<void(const NetworkAnswer& answer)> completion) override;

  /// Breaks off what is under way and waits for the thread. Open requests, and those executed later, complete with nil.
  /// May be called again.
  void shutDown();

 private:
  struct Refusal;
  std::shared_ptr<HttpWorker> worker();
  void reportOnce(const std::string& text);

  const std::optional<Options> fixed_;
  Mutex mutex_;
  std::shared_ptr<HttpWorker> worker_ ZN_GUARDED_BY(mutex_);
  bool closed_ ZN_GUARDED_BY(mutex_) = false;
  std::set<std::string> reported_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
