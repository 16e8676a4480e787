#include "Apps/Push/Url.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <memory>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace push {

namespace {

/// "" where the URL has no such part.
std::string partOf(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, 0) != CURLUE_OK) return "";
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return text;
}

bool isThisMachine(const std::string& host) {
  constexpr unsigned kLoopbackNetwork = 127;
  in_addr address{};
  if (::inet_pton(AF_INET, host.c_str(), &address) == 1) return ntohl(address.s_addr) >> 24 == kLoopbackNetwork;
  return host == "localhost" || host == "[::1]";
}

}  // namespace

Url::Url(const std::string& text) : text_(text) {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
  if (!url || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK || text.find('\0') != text.npos) {
    throw zn::Exception("is no URL");
  }
  const std::string scheme = partOf(url.get(), CURLUPART_SCHEME);
  std::string host = partOf(url.get(), CURLUPART_HOST);
  for (char& each : host) each = zn::asciiLower(each);
  if (scheme != "https" && scheme != "http") throw zn::Exception("must begin with https://");
  if (!partOf(url.get(), CURLUPART_USER).empty() || !partOf(url.get(), CURLUPART_PASSWORD).empty()) {
    throw zn::Exception("may hold neither a user's name nor a password");
  }
  isLoopback_ = isThisMachine(host);
  if (scheme == "http" && !isLoopback_) throw zn::Exception("must begin with https:// unless it is of this machine");
  const std::string port = partOf(url.get(), CURLUPART_PORT);
  const bool isUsual = port.empty() || port == (scheme == "http" ? "80" : "443");
  origin_ = scheme + "://" + host + (isUsual ? "" : ":" + port);
  path_ = partOf(url.get(), CURLUPART_PATH);
}

std::string Url::shortened() const {
  constexpr std::size_t kShown = 5;  // of the path, with its slash
  constexpr std::size_t kLeastHidden = 12;
  return origin_ + (path_.size() < kShown + kLeastHidden ? "/" : path_.substr(0, kShown)) + "…";
}

}  // namespace push
