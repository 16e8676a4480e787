#include "Apps/Push/Sender.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>

#include "Apps/Push/Vapid.h"
#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace push {

namespace {

constexpr std::size_t kMostAnswer = 64 << 10;  // bytes

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

Result resultOf(long status, double retryAfter, std::size_t size) {
  const std::string shown = " (status " + std::to_string(status) + ")";
  if (status >= 200 && status <= 299) return {Outcome::accepted, "accepted"};
  switch (status) {
    case 401:
    case 403:
      return {Outcome::senderRefused, "refused: the push server does not know this sender's key" + shown};
    case 404:
    case 410:
      return {Outcome::gone, "the subscription is gone: forget it"};
    case 413:
      return {Outcome::tooLarge, "too large: the push server does not take " + std::to_string(size) + " bytes"};
    case 429:
    case 503: {
      const long seconds = std::lround(retryAfter);
      const std::string unit = seconds == 1 ? " second" : " seconds";
      const std::string when = seconds > 0 ? "in " + std::to_string(seconds) + unit : "later";
      return {Outcome::slowDown, "slow down: again " + when, retryAfter};
    }
    default:
      return {Outcome::failed, "failed: the push server answered with status " + std::to_string(status)};
  }
}

}  // namespace

/// One libcurl handle, which keeps its connections.
class Sender::Transfer {
 public:
  explicit Transfer(const std::atomic<bool>& stopped) : stopped_(stopped) {
    if (!handle_) throw std::bad_alloc();
  }

  void prepare(const Url& url, const Options& options);
  void addHeader(const std::string& line);
  Result post(const zn::Data& body);

 private:
  template <class T>
  void set(CURLoption option, T value) {
    const CURLcode code = curl_easy_setopt(handle_.get(), option, value);
    if (code != CURLE_OK) throw zn::Exception(std::string("libcurl refuses a setting: ") + curl_easy_strerror(code));
  }
  Result failure(CURLcode code);

  static std::size_t receive(char*, std::size_t size, std::size_t count, void* self) noexcept {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.received_ += size * count;
    return transfer.received_ <= kMostAnswer ? size * count : 0;  // nothing in it is of use
  }
  static int progress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
    return static_cast<Transfer*>(self)->stopped_ ? 1 : 0;
  }

  const std::atomic<bool>& stopped_;
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_{nullptr, curl_slist_free_all};
  char problem_[CURL_ERROR_SIZE] = "";
  std::size_t received_ = 0;
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_{curl_easy_init(), curl_easy_cleanup};
};

void Sender::Transfer::prepare(const Url& url, const Options& options) {
  constexpr double kMilliseconds = 1000;
  curl_easy_reset(handle_.get());
  headers_.reset();
  received_ = 0;
  *problem_ = '\0';
  set(CURLOPT_ERRORBUFFER, problem_);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // a name service that does not answer holds up no end
  set(CURLOPT_URL, url.text().c_str());
  set(CURLOPT_PATH_AS_IS, 1L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  if (url.isLoopback()) set(CURLOPT_PROXY, "");
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  if (!options.certificateAuthorities.empty()) {
    set(CURLOPT_CAINFO, options.certificateAuthorities.c_str());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  set(CURLOPT_CONNECTTIMEOUT_MS, std::lround(options.connectTimeout * kMilliseconds));
  set(CURLOPT_TIMEOUT_MS, std::lround(options.timeout * kMilliseconds));
  for (const CURLoption each : {CURLOPT_WRITEFUNCTION, CURLOPT_HEADERFUNCTION}) set(each, &receive);
  for (const CURLoption each : {CURLOPT_WRITEDATA, CURLOPT_HEADERDATA}) set(each, static_cast<void*>(this));
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, &progress);
  set(CURLOPT_XFERINFODATA, static_cast<void*>(this));
  for (const char* line : {"Expect:", "Content-Type: application/octet-stream", "Content-Encoding: aes128gcm"}) {
    addHeader(line);
  }
}

void Sender::Transfer::addHeader(const std::string& line) {
  curl_slist* const longer = curl_slist_append(headers_.get(), line.c_str());
  if (!longer) throw std::bad_alloc();
  headers_.release();
  headers_.reset(longer);
}

Result Sender::Transfer::post(const zn::Data& body) {
  set(CURLOPT_POST, 1L);
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  set(CURLOPT_POSTFIELDS, body.data());
  set(CURLOPT_HTTPHEADER, headers_.get());
  const CURLcode code = curl_easy_perform(handle_.get());
  if (code != CURLE_OK) return failure(code);
  long status = 0;
  curl_off_t retryAfter = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(handle_.get(), CURLINFO_RETRY_AFTER, &retryAfter);
  return resultOf(status, static_cast<double>(retryAfter), body.size());
}

Result Sender::Transfer::failure(CURLcode code) {
  if (stopped_) return {Outcome::notReached, "not reached: this program ends"};
  const std::string why = zn::singleLine(*problem_ ? problem_ : curl_easy_strerror(code));
  curl_off_t uploaded = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
  if (uploaded == 0) return {Outcome::notReached, "not reached: " + why};
  return {Outcome::failed, "failed: whether the push server took it is not known (" + why + ")"};
}

Sender::Sender(zn::P256Key key, Options options)
    : key_(std::move(key)), options_(std::move(options)), transfer_(std::make_unique<Transfer>(stopped_)) {}

Sender::~Sender() = default;

Result Sender::send(const Subscription& to, const Message& message) {
  if (message.text.size() > zn::webpush::kMostText) {
    return {Outcome::tooLarge, "too large: the payload has " + std::to_string(message.text.size()) +
                                   " bytes, and may have " + std::to_string(zn::webpush::kMostText)};
  }
  if (stopped_) return {Outcome::notReached, "not reached: this program ends"};
  const auto* const text = reinterpret_cast<const std::uint8_t*>(message.text.data());
  const zn::Data body = zn::webpush::seal(to.key, to.auth, {text, message.text.size()});
  transfer_->prepare(to.endpoint, options_);
  transfer_->addHeader("TTL: " + std::to_string(message.secondsToLive));
  if (!message.urgency.empty()) transfer_->addHeader("Urgency: " + message.urgency);
  if (!message.topic.empty()) transfer_->addHeader("Topic: " + message.topic);
  transfer_->addHeader("Authorization: " + authorizationFor(to.endpoint.origin()));
  return transfer_->post(body);
}

const std::string& Sender::authorizationFor(const std::string& origin) {
  constexpr std::int64_t kLife = 12 * 3600;  // half of what is allowed: clocks differ
  constexpr std::int64_t kLeastLeft = 600;
  constexpr std::size_t kMostOrigins = 1000;
  const auto found = authorizations_.find(origin);
  const std::int64_t left = found == authorizations_.end() ? 0 : found->second.expires - now();
  if (left > kLeastLeft && left <= kLife) return found->second.text;
  if (authorizations_.size() >= kMostOrigins) authorizations_.clear();
  const std::int64_t expires = now() + kLife;
  return (authorizations_[origin] = {vapidAuthorization(key_, origin, options_.contact, expires), expires}).text;
}

namespace {

struct Name {
  Outcome outcome;
  const char* name;
};
constexpr Name kNames[] = {{Outcome::accepted, "accepted"},     {Outcome::gone, "gone"},
                           {Outcome::tooLarge, "tooLarge"},     {Outcome::slowDown, "slowDown"},
                           {Outcome::senderRefused, "refused"}, {Outcome::notReached, "notReached"},
                           {Outcome::failed, "failed"}};

}  // namespace

const char* nameOf(Outcome outcome) {
  return std::find_if(std::begin(kNames), std::end(kNames), [&](const Name& each) { return each.outcome == outcome; })
      ->name;
}

std::optional<Outcome> outcomeNamed(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNames), std::end(kNames), [&](const Name& each) { return each.name == name; });
  return found == std::end(kNames) ? std::nullopt : std::optional(found->outcome);
}

void checkContact(const std::string& contact) {
  const bool isUsable = (contact.starts_with("mailto:") || contact.starts_with("https://")) &&
                        contact.find_first_of(" \t\r\n") == contact.npos && zn::isValidUtf8(contact);
  if (!isUsable) throw zn::Exception("contact must be a URL such as mailto:push@example.com or https://example.com");
}

}  // namespace push
