#include <bit>
#include <cstring>

#include "ZNPlatform/Foundation/BinaryPropertyList_p.h"

namespace zn {

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

/// A big-endian number of one to eight bytes.
inline std::uint64_t load(const std::uint8_t* at, std::size_t size) noexcept {
  if (size == 2) return static_cast<std::uint64_t>(at[0] << 8 | at[1]);
  if (size == 4) {
    std::uint32_t word;
    std::memcpy(&word, at, 4);
    return __builtin_bswap32(word);
  }
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = value << 8 | at[i];
  return value;
}

}  // namespace

bool BinaryListReader::isBinary(std::span<const std::uint8_t> bytes) noexcept {
  return bytes.size() >= kHeaderSize && std::memcmp(bytes.data(), "bplist0", 7) == 0;
}

std::optional<BinaryListReader> BinaryListReader::open(std::span<const std::uint8_t> bytes, std::string& error) {
  const auto refuse = [&](const char* reason, std::size_t offset) {
    error = std::string(reason) + " (at byte " + std::to_string(offset) + ")";
    return std::nullopt;
  };
  if (!isBinary(bytes)) return refuse("not a binary property list", 0);
  if (bytes.size() < kHeaderSize + kTrailerSize) return refuse("the trailer is missing", bytes.size());
  const std::size_t trailerAt = bytes.size() - kTrailerSize;
  const std::uint8_t* trailer = bytes.data() + trailerAt;
  BinaryListReader reader;
  reader.offsetSize_ = trailer[6];
  reader.referenceSize_ = trailer[7];
  const std::uint64_t objects = load(trailer + 8, 8);
  const std::uint64_t table = load(trailer + 24, 8);
  reader.top_ = load(trailer + 16, 8);
  if (reader.offsetSize_ < 1 || reader.offsetSize_ > 8) return refuse("offsets of an impossible size", trailerAt + 6);
  if (reader.referenceSize_ < 1 || reader.referenceSize_ > 8)
    return refuse("references of an impossible size", trailerAt + 7);
  if (table < kHeaderSize || table > trailerAt) return refuse("the offset table lies outside the file", trailerAt + 24);
  if (objects > (trailerAt - table) / reader.offsetSize_) return refuse("more objects than offsets", trailerAt + 8);
  if (reader.top_ >= objects) return refuse("the top object does not exist", trailerAt + 16);
  reader.size_ = bytes.size();
  reader.begin_ = bytes.data();
  reader.offsets_ = bytes.data() + table;
  reader.objectCount_ = static_cast<std::size_t>(objects);
  return reader;
}

std::size_t BinaryListReader::offsetOf(Ref object) const noexcept {
  return object < objectCount_ ? static_cast<std::size_t>(load(offsets_ + object * offsetSize_, offsetSize_)) : 0;
}

BinaryListReader::Ref BinaryListReader::elementAt(const Token& list, std::size_t index) const noexcept {
  return load(list.bytes + index * referenceSize_, referenceSize_);
}

bool BinaryListReader::readInteger(const std::uint8_t* at, std::size_t size, Token& token) const noexcept {
  if (size > static_cast<std::size_t>(offsets_ - at)) return false;
  token.kind = Kind::integer;
  if (size <= 8) {
    token.integer = static_cast<std::int64_t>(load(at, size));
    return true;
  }
  const auto high = static_cast<std::int64_t>(load(at, 8));
  const std::uint64_t low = load(at + 8, 8);
  token.integer = static_cast<std::int64_t>(low);
  if (high != (token.integer < 0 ? -1 : 0)) {  // beyond 64 bits with a sign
    token.kind = Kind::real;
    token.real = static_cast<double>(high) * 0x1p64 + static_cast<double>(low);
  }
  return true;
}

/// The count after a marker, which has it in its low half or, if that is full, in an integer behind it.
bool BinaryListReader::readCount(const std::uint8_t*& at, Token& token) const noexcept {
  token.count = *at++ & 0x0F;
  if (token.count != 15) return true;
  if (at == offsets_ || (*at & 0xF0) != 0x10 || (*at & 0x0F) > 3) return false;
  const std::size_t size = std::size_t{1} << (*at & 0x0F);
  if (size >= static_cast<std::size_t>(offsets_ - at)) return false;
  token.count = static_cast<std::size_t>(load(at + 1, size));
  at += 1 + size;
  return true;
}

bool BinaryListReader::read(Ref object, Token& token) const noexcept {
  if (object >= objectCount_) return false;
  const std::uint64_t offset = load(offsets_ + object * offsetSize_, offsetSize_);
  if (offset < kHeaderSize || offset >= static_cast<std::size_t>(offsets_ - begin_)) return false;
  const std::uint8_t* at = begin_ + offset;
  const std::uint8_t marker = *at;
  const std::uint8_t low = marker & 0x0F;
  std::size_t width = 1;  // bytes that one of `count` takes
  switch (marker >> 4) {
    case 0x0:
      if (low != 0 && low != 8 && low != 9) return false;
      token.kind = low == 0 ? Kind::null : Kind::boolean;
      token.integer = low == 9;
      return true;
    case 0x1:
      return low <= 4 && readInteger(at + 1, std::size_t{1} << low, token);
    case 0x2:
    case 0x3: {
      const bool isDate = marker >> 4 == 3;
      if ((low != 3 && (low != 2 || isDate)) || offsets_ - (at + 1) < (1 << low)) return false;
      const std::uint64_t bits = load(at + 1, std::size_t{1} << low);
      token.kind = isDate ? Kind::date : Kind::real;
      token.real = low == 3 ? std::bit_cast<double>(bits) : std::bit_cast<float>(static_cast<std::uint32_t>(bits));
      if (isDate) token.real += kSecondsFrom1970To2001;
      return true;
    }
    case 0x4:
      token.kind = Kind::data;
      break;
    case 0x5:
      token.kind = Kind::ascii;
      break;
    case 0x6:
      token.kind = Kind::utf16;
      width = 2;
      break;
    case 0x8:
      token.kind = Kind::uid;
      if (low > 7 || offsets_ - (at + 1) <= low) return false;
      token.integer = static_cast<std::int64_t>(load(at + 1, low + 1u));
      return true;
    case 0xA:
      token.kind = Kind::array;
      width = referenceSize_;
      break;
    case 0xC:
      token.kind = Kind::set;
      width = referenceSize_;
      break;
    case 0xD:
      token.kind = Kind::dictionary;
      width = 2 * referenceSize_;
      break;
    default:
      return false;
  }
  if (!readCount(at, token)) return false;
  token.bytes = at;
  return token.count <= static_cast<std::size_t>(offsets_ - at) / width;
}

bool BinaryListReader::isText(Ref object, std::string_view text) const noexcept {
  Token token;
  return read(object, token) && token.kind == Kind::ascii && token.count == text.size() &&
         std::memcmp(token.bytes, text.data(), text.size()) == 0;
}

}  // namespace zn
