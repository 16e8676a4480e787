#include "ZintarCore/HttpTransport.h"

#include <malloc.h>

#include <algorithm>
#include <mutex>
#include <string_view>
#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZintarCore/HttpWorker_p.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNLogger.h"

namespace zn {

/// A request that the configuration does not allow; its user is told.
struct HttpTransport::Refusal {
  std::string text;
};

namespace {

using Completion = std::function<void(const NetworkAnswer& answer)>;

void appendPath(std::string& url, std::string_view path) {
  if (path.empty()) return;
  while (url.ends_with('/')) url.pop_back();
  if (!path.starts_with('/')) url += '/';
  url += path;
}

std::string urlOf(const ZNNetworkRequest& request, std::string_view address, std::string_view endpoint) {
  std::string url(address);
  appendPath(url, endpoint);
  const Value& component = request.additionalPathComponent();
  if (component.isString())
    appendPath(url, percentEncoded(component.string(), [](char c) { return isUnreserved(c) || c == '/'; }));
  char separator = '?';
  for (const auto& [key, value] : request.params().entries()) {
    if (value.isNull()) continue;
    url +=
        separator + percentEncoded(key.string(), isUnreserved) + '=' + percentEncoded(description(value), isUnreserved);
    separator = '&';
  }
  return url;
}

bool isSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

/// Headers that say where a message ends, how it is packed, or what becomes of the connection: the transport's own.
constexpr std::string_view kTransportsOwn[] = {
    "Accept-Encoding",  "Connection", "Content-Encoding", "Content-Length",
    "Expect",           "Host",       "HTTP2-Settings",   "Keep-Alive",
    "Proxy-Connection", "TE",         "Trailer",          "Transfer-Encoding",
    "Upgrade"};

/// RFC 9110: a name is a token; a value holds no control characters but tabs, so it cannot end its line.
void checkHeader(std::string_view name, std::string_view value) {
  constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
  const auto isToken = [&](char c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || kMarks.find(c) != std::string_view::npos;
  };
  const auto isControl = [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f; };
  if (name.empty() || !std::all_of(name.begin(), name.end(), isToken) ||
      std::any_of(value.begin(), value.end(), isControl) ||
      std::ranges::any_of(kTransportsOwn, [&](std::string_view own) { return isSameName(own, name); })) {
    throw Exception("an additional header cannot be sent: " + jsonText(std::string(name)));
  }
}

std::vector<std::string> headersOf(const ZNNetworkRequest& request) {
  // libcurl would ask for leave ("Expect") before it sends a long body, which many servers leave unanswered.
  std::vector<std::string> headers = {"Expect:"};
  const auto additional = request.additionalHeaders().entries();
  for (const char* name : {"Content-Type", "Accept"}) {
    const bool isGiven = std::any_of(additional.begin(), additional.end(),
                                     [&](const auto& each) { return isSameName(each.name(), name); });
    if (!isGiven) headers.push_back(std::string(name) + ": application/json");
  }
  for (const auto& [key, value] : additional) {
    if (value.isNull()) continue;
    const std::string text = description(value);
    checkHeader(key.string(), text);
    // A name with nothing after its colon means to libcurl: leave that header out.
    headers.push_back(std::string(key.string()) + (text.empty() ? ";" : ": " + text));
  }
  return headers;
}

HttpTransport::Options configuredOptions() {
  const auto& configuration = *ZNConfigDataManager::sharedInstance();
  HttpTransport::Options options;
  options.connectTimeout = configuration.serverConnectTimeout().value_or(options.connectTimeout);
  options.timeout = configuration.serverTimeout().value_or(options.timeout);
  options.maximumResponseBytes = configuration.serverMaximumResponseBytes().value_or(options.maximumResponseBytes);
  return options;
}

HttpTransport::Options checked(HttpTransport::Options options) {
  const bool usable = options.connectTimeout > 0 && options.timeout > 0 && options.maximumResponseBytes > 0;
  if (!usable) throw Exception("a limit of the HTTP transport must be a number above 0");
  return options;
}

/// Bytes that reading an answer of that size may take. Real answers need three to five times their size.
std::size_t memoryToRead(std::size_t size) {
  constexpr std::size_t kAlways = 2 << 20;
  constexpr std::size_t kMostForMiddling = 52 << 20;
  return std::max({kAlways, std::min(10 * size, kMostForMiddling), 6 * size + size / 2});
}

/// Large answers are read one at a time: what the reader takes besides its result is there once.
std::unique_lock<std::mutex> turnToRead(std::size_t size) {
  constexpr std::size_t kLarge = 1 << 20;
  static NeverDestroyed<std::mutex> large;
  return size > kLarge ? std::unique_lock(*large) : std::unique_lock<std::mutex>();
}

/// The dictionary of a good answer; else nil, and what is wrong with it. The body is gone afterwards.
Value responseOf(HttpAnswer& answer, std::string& problem) {
  const std::string body = std::exchange(answer.body, {});
  problem = answer.failure;
  if (problem.empty() && (answer.status < 200 || answer.status > 299)) {
    problem = zn::format("the server answered with status %ld", answer.status);
  }
  if (!problem.empty()) return nil;
  const auto turn = turnToRead(body.size());
  JsonError error;
  const auto value = parseJson(body, &error, {.maximumMemory = memoryToRead(body.size())});
  if (error.isTooLarge) {
    ::malloc_trim(0);  // else each thread's heap keeps what was refused there
    problem = "the answer takes too much memory: " + error.text;
  } else if (!value) {
    problem = "the answer is not JSON: " + error.text;
  }
  if (value && !value->isDictionary()) problem = "the answer is no JSON object";
  return problem.empty() ? *value : nil;
}

/// Reads the answer and passes it on, on the global queue: neither may hold up other requests.
void deliver(int service, HttpAnswer answer, const Completion& completion) {
  dispatchAsync(Queue::global, [service, answer = std::move(answer), completion]() mutable {
    std::string problem;
    const Value response = responseOf(answer, problem);
    if (!problem.empty()) zn::logError("Network -- Request to service %d failed: %@", service, problem);
    if (completion) completion({response, static_cast<int>(answer.status), answer.retryAfter});
  });
}

}  // namespace

HttpTransport::HttpTransport() = default;

HttpTransport::HttpTransport(Options options) : fixed_(checked(std::move(options))) {}

HttpTransport::~HttpTransport() { shutDown(); }

const std::shared_ptr<HttpTransport>& HttpTransport::sharedInstance() {
  static const NeverDestroyed instance(std::make_shared<HttpTransport>());
  return *instance;
}

void HttpTransport::execute(const ZNNetworkRequest& request, std::function<void(Value response)> completion) {
  executeForAnswer(request, [completion = std::move(completion)](const NetworkAnswer& answer) {
    if (completion) completion(answer.response);
  });
}

void HttpTransport::executeForAnswer(const ZNNetworkRequest& request, Completion completion) {
  const int service = static_cast<int>(request.service());
  std::string failure;
  try {
    const std::string number = std::to_string(service);
    const auto& configuration = *ZNConfigDataManager::sharedInstance();
    const Value address = configuration.serverAddress();
    if (address.isNil()) throw Refusal{"requests fail, because the configuration names no \"server.address\""};
    const Value endpoint = configuration.endpointForService(number);
    if (endpoint.isNil()) {
      throw Refusal{"requests to service " + number + " fail, because the configuration names no \"server.endpoints." +
                    number + "\""};
    }
    HttpJob job;
    job.url = urlOf(request, address.string(), endpoint.string());
    job.headers = headersOf(request);
    job.body = jsonText(request.requestBody().isNil() ? Value::dictionary() : request.requestBody());
    job.limits = fixed_ ? *fixed_ : configuredOptions();
    job.done = [service, completion](HttpAnswer answer) { deliver(service, std::move(answer), completion); };
    const auto carrier = worker();
    if (carrier && carrier->add(job)) return;
    failure = "the transport was shut down";
  } catch (const Refusal& refusal) {
    reportOnce(refusal.text);
    failure = refusal.text;
  } catch (...) {
    failure = currentExceptionText();
  }
  deliver(service, {.failure = failure}, completion);
}

void HttpTransport::shutDown() {
  std::shared_ptr<HttpWorker> ending;
  {
    Lock lock(mutex_);
    closed_ = true;
    ending = worker_;
  }
  if (ending) ending->shutDown();
}

/// None once the transport is shut down. The lock is held over the start: no request can do without it.
std::shared_ptr<HttpWorker> HttpTransport::worker() {
  Lock lock(mutex_);
  if (!worker_ && !closed_) worker_ = HttpWorker::start();
  return closed_ ? nullptr : worker_;
}

void HttpTransport::reportOnce(const std::string& text) {
  {
    Lock lock(mutex_);
    if (!reported_.insert(text).second) return;
  }
  Device::current().systemLog->diagnostic(text);
}

}  // namespace zn
