// What encrypts and signs here, line by line, for another implementation to check.
//
//   push_interop open     reads PRIVATE PUBLIC AUTH BODY, prints the text, or "!" and why there is none
//   push_interop seal     reads PUBLIC AUTH TEXT, prints a body
//   push_interop sign     reads ORIGIN CONTACT EXPIRES, prints a public key and what "Authorization" says
//
// All bytes are in base64url; a text is a word of its own: "-" where it is empty.

#include <iostream>
#include <sstream>
#include <string>

#include "Apps/Push/Vapid.h"
#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace {

zn::Data next(std::istream& line) {
  std::string word;
  line >> word;
  return word == "-" ? zn::Data() : zn::dataFromBase64UrlText(word).value();
}

std::string shown(const zn::Data& bytes) { return bytes.empty() ? "-" : zn::base64UrlText(bytes); }

std::string open(std::istream& line) {
  const zn::Data privateKey = next(line);
  const zn::Data publicKey = next(line);
  const zn::Data auth = next(line);
  const auto opened = zn::webpush::open({zn::P256Key::ofPair(privateKey, publicKey).value(), auth}, next(line));
  return opened.text ? shown(*opened.text) : "! " + opened.problem;
}

std::string seal(std::istream& line) {
  const auto key = zn::P256Key::ofPublic(next(line)).value();
  const zn::Data auth = next(line);
  return shown(zn::webpush::seal(key, auth, next(line)));
}

std::string sign(std::istream& line) {
  std::string origin;
  std::string contact;
  std::int64_t expires = 0;
  line >> origin >> contact >> expires;
  const auto key = zn::P256Key::ofPem(zn::P256Key::generate().pem()).value();  // as from a file
  return shown(key.publicKey()) + " " + push::vapidAuthorization(key, origin, contact, expires);
}

}  // namespace

int main(int, char** arguments) {
  const std::string what = arguments[1];
  std::ios::sync_with_stdio(false);
  for (std::string text; std::getline(std::cin, text);) {
    std::istringstream line(text);
    std::cout << (what == "open" ? open(line) : what == "seal" ? seal(line) : sign(line)) << "\n";
  }
}
