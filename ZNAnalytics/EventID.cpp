#include "ZNAnalytics/EventID_p.h"

#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn {

namespace {

using Bytes = std::array<unsigned char, 16>;

std::string uuidText(Bytes bytes, unsigned char version) {
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | version << 4);
  bytes[8] = (bytes[8] & 0x3f) | 0x80;
  std::string text = hexText(bytes);
  for (const std::size_t at : {20, 16, 12, 8}) text.insert(at, 1, '-');
  return text;
}

}  // namespace

Value newEventID() {
  Bytes bytes{};
  if (::getentropy(bytes.data(), bytes.size()) != 0) return nil;
  return uuidText(bytes, 4);
}

std::string eventIDOf(std::string_view line) {
  // FNV-1a, forwards and backwards: it has to tell one event of a device from the next, not to withstand anybody.
  constexpr std::uint64_t kStart = 0xcbf29ce484222325;
  constexpr std::uint64_t kPrime = 0x100000001b3;
  std::uint64_t sums[] = {kStart, kStart};
  for (const char byte : line) sums[0] = (sums[0] ^ static_cast<unsigned char>(byte)) * kPrime;
  for (std::size_t i = line.size(); i-- > 0;) sums[1] = (sums[1] ^ static_cast<unsigned char>(line[i])) * kPrime;
  Bytes bytes{};
  std::memcpy(bytes.data(), sums, bytes.size());
  return uuidText(bytes, 8);
}

}  // namespace zn
