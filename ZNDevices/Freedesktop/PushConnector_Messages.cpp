#include <algorithm>

#include "ZNDevices/Freedesktop/PushConnector_p.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn {

namespace {

constexpr std::size_t kMostSeen = 1000;

bool contains(const std::deque<std::string>& list, const std::string& wanted) {
  return std::find(list.begin(), list.end(), wanted) != list.end();
}

bool looksPlain(const Data& bytes) {
  const auto first = std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte > ' '; });
  return first != bytes.end() && *first == '{';
}

}  // namespace

/// Tells nothing of the message itself.
void PushConnector::leave(const std::string& why) const {
  device_.systemLog->diagnostic("push: a message is left unused: " + why);
}

PushConnector::Message PushConnector::opened(const Data& bytes, const std::string& identifier) const {
  if (bytes.size() > webpush::kMostBody) {
    leave("it has " + std::to_string(bytes.size()) + " bytes");
    return {};
  }
  webpush::Opened message = webpush::open(*keys_, bytes);
  if (message.text) return {std::move(message.text), hexText(message.salt)};
  if (!looksPlain(bytes)) {
    leave(message.problem);
  } else if (!options_.acceptsPlainMessages) {
    leave("it is not encrypted; for development, FreedesktopDevice::Options::acceptPlainPushes takes such ones");
  } else {
    return {bytes, identifier};
  }
  return {};
}

void PushConnector::message(BusCall call, const std::string& token, const Data& bytes, const std::string& identifier) {
  if (token_.empty() || token != token_) return;
  const auto [text, identity] = opened(bytes, identifier);
  if (!text) return;
  const bool isRepeated = !identity.empty() && contains(unkept_, identity);
  if (!identity.empty() && !isRepeated) {
    if (contains(seen_, identity)) return leave("it came before");
    seen_.push_back(identity);
    if (seen_.size() > kMostSeen) seen_.pop_front();
  }
  const std::string_view whole(reinterpret_cast<const char*>(text->data()), text->size());
  if (receiver_.received(whole, identity, isRepeated)) {
    std::erase(unkept_, identity);
    store_.changed();
    return;
  }
  if (!identity.empty() && !isRepeated) unkept_.push_back(identity);
  call.fail(SD_BUS_ERROR_FAILED, "it cannot be kept now");
}

}  // namespace zn
