#include "ZNPlatform/Foundation/NSURL.h"

#include <arpa/inet.h>

#include <algorithm>

#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace {

using zn::isAsciiDigit;
using zn::isAsciiLetter;

/// RFC 3986's unreserved characters and sub-delims: what may stand in every component but the scheme.
bool isCommon(char c) noexcept {
  return zn::isUnreserved(c) || (c != '\0' && std::string_view("!$&'()*+,;=").find(c) != std::string_view::npos);
}

/// Common characters, percent escapes and the component's own additions.
bool isComponent(std::string_view text, std::string_view additions) noexcept {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '%') {
      if (at + 2 >= text.size() || zn::hexDigit(text[at + 1]) < 0 || zn::hexDigit(text[at + 2]) < 0) return false;
      at += 2;
    } else if (!isCommon(text[at]) && additions.find(text[at]) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

/// A URL reference cut at its delimiters (RFC 3986, appendix B); nothing is checked.
struct Parts {
  bool hasScheme = false;
  std::string_view scheme;
  std::string_view authority;
  std::string_view path;
  std::string_view query;
  std::string_view fragment;
};

/// Takes what stands before the first of the delimiters, which stay.
std::string_view takeUntil(std::string_view& text, std::string_view delimiters) noexcept {
  const auto end = std::min(text.find_first_of(delimiters), text.size());
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(end);
  return taken;
}

Parts partsOf(std::string_view text) noexcept {
  Parts parts;
  const auto colon = text.find_first_of(":/?#");
  if (colon != std::string_view::npos && text[colon] == ':') {
    parts.hasScheme = true;
    parts.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    parts.authority = takeUntil(text, "/?#");
  }
  parts.path = takeUntil(text, "?#");
  if (text.starts_with('?')) {
    text.remove_prefix(1);
    parts.query = takeUntil(text, "#");
  }
  if (text.starts_with('#')) parts.fragment = text.substr(1);
  return parts;
}

struct Authority {
  std::string_view user;
  std::string_view host;  ///< with the brackets of an address
  std::string_view port;
};

Authority authorityOf(std::string_view text) noexcept {
  Authority result;
  if (const auto at = text.rfind('@'); at != std::string_view::npos) {
    result.user = text.substr(0, at);
    text.remove_prefix(at + 1);
  }
  const auto bracket = text.rfind(']');
  const auto colon = text.find(':', bracket == std::string_view::npos ? 0 : bracket);
  result.host = text.substr(0, colon);
  if (colon != std::string_view::npos) result.port = text.substr(colon + 1);
  return result;
}

bool isScheme(std::string_view text) noexcept {
  const auto mayFollow = [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '-' || c == '.'; };
  return !text.empty() && isAsciiLetter(text[0]) && std::all_of(text.begin(), text.end(), mayFollow);
}

bool isHost(std::string_view host) {
  if (!host.starts_with('[')) return isComponent(host, "");
  in6_addr address;
  return host.ends_with(']') &&
         ::inet_pton(AF_INET6, std::string(host.substr(1, host.size() - 2)).c_str(), &address) == 1;
}

bool isWellFormed(std::string_view text) {
  const Parts parts = partsOf(text);
  // A colon in the first segment of a relative reference would read as a scheme, so it is none of ours either.
  if (parts.hasScheme && !isScheme(parts.scheme)) return false;
  const Authority authority = authorityOf(parts.authority);
  return isComponent(authority.user, ":") && isHost(authority.host) &&
         std::all_of(authority.port.begin(), authority.port.end(), isAsciiDigit) && isComponent(parts.path, ":@/") &&
         isComponent(parts.query, ":@/?") && isComponent(parts.fragment, ":@/?");
}

}  // namespace

std::optional<NSURL> NSURL::URLWithString(std::string_view text) {
  if (text.empty() || !zn::isValidUtf8(text)) return std::nullopt;
  std::string escaped = zn::percentEncoded(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (!isWellFormed(escaped)) return std::nullopt;
  return NSURL(std::move(escaped));
}

std::string_view NSURL::scheme() const { return partsOf(text_).scheme; }

std::string_view NSURL::host() const {
  const std::string_view host = authorityOf(partsOf(text_).authority).host;
  return host.starts_with('[') ? host.substr(1, host.size() - 2) : host;
}

std::string_view NSURL::path() const { return partsOf(text_).path; }

std::string_view NSURL::query() const { return partsOf(text_).query; }
