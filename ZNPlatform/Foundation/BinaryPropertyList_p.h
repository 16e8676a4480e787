#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/BinaryListBytes_p.h"
#include "ZNPlatform/Foundation/GrowingBuffer_p.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Streams objects into one growing buffer. Every operation returns the number of the object that it made. Scalars are
/// written at once; lists of references wait until `finish`, when the number of objects, and with it the smallest width
/// of a reference, is known. Equal strings are one object. Throws Exception beyond 2 GB.
class BinaryListWriter {
 public:
  using Ref = std::uint32_t;

  BinaryListWriter();

  Ref boolean(bool value);
  Ref integer(std::int64_t value);
  Ref real(double value);
  Ref date(Date date);
  Ref data(std::span<const std::uint8_t> bytes);
  Ref string(std::string_view text);  ///< UTF-8 that is not valid becomes U+FFFD
  Ref array(std::span<const Ref> elements);
  Ref dictionary(std::span<const Ref> keys, std::span<const Ref> values);

  /// The whole file, which lies in the writer. The writer is used up then.
  std::span<const std::uint8_t> finish(Ref top);

 private:
  static constexpr Ref kNone = UINT32_MAX;

  struct List {
    Ref object;
    std::uint32_t count;
    std::uint8_t kind;
  };
  /// A string of the list: where its characters stand.
  struct Text {
    std::uint32_t position;
    std::uint32_t size : 31;  ///< in bytes as written
    std::uint32_t wide : 1;
    Ref object;
  };
  std::uint8_t* start(std::size_t bytes);
  Ref last() const noexcept { return static_cast<Ref>(offsets_.size() - 1); }
  Ref newList(std::uint8_t kind, std::size_t count);
  template <class RefType>
  std::uint8_t* writeLists(std::uint8_t* at, std::uint32_t position);

  GrowingBuffer<std::uint8_t> bytes_;     // header and scalars
  GrowingBuffer<std::uint32_t> offsets_;  // of every object
  GrowingBuffer<List> lists_;
  GrowingBuffer<Ref> references_;  // of all lists, one after the other
  GrowingBuffer<Text> texts_;
  list::TextIndex index_;
  Ref booleans_[2] = {kNone, kNone};
};

/// Reads objects of a binary property list where they lie: nothing is decoded before it is asked for, and no count or
/// offset is believed before it was compared with the bytes that are there.
class BinaryListReader {
 public:
  using Ref = std::uint64_t;
  enum class Kind { null, boolean, integer, real, date, data, ascii, utf16, uid, array, set, dictionary };

  /// One object. `bytes` are the contents: text, data, or references of an array (of a dictionary: keys, then values).
  struct Token {
    Kind kind = Kind::null;
    std::int64_t integer = 0;  ///< also a boolean and an archive index
    double real = 0;           ///< also a date, in seconds since 1970
    const std::uint8_t* bytes = nullptr;
    std::size_t count = 0;  ///< bytes, UTF-16 units, elements or entries
    /// Bytes of a value made of this; of a container, without what is in it.
    double weight() const noexcept { return 16 + (isText() || kind == Kind::data ? static_cast<double>(count) : 0); }
    bool isList() const noexcept { return kind == Kind::array || kind == Kind::set; }
    bool isText() const noexcept { return kind == Kind::ascii || kind == Kind::utf16; }
  };

  /// Nothing where header or trailer are not those of a binary property list; `error` says what is wrong.
  static std::optional<BinaryListReader> open(std::span<const std::uint8_t> bytes, std::string& error);
  static bool isBinary(std::span<const std::uint8_t> bytes) noexcept;

  std::size_t size() const noexcept { return size_; }  ///< of the file
  Ref top() const noexcept { return top_; }
  std::size_t objectCount() const noexcept { return objectCount_; }
  std::size_t referenceSize() const noexcept { return referenceSize_; }

  /// False where there is no such object or its contents reach beyond the file.
  bool read(Ref object, Token& token) const noexcept;
  Ref elementAt(const Token& list, std::size_t index) const noexcept;
  Ref valueAt(const Token& dictionary, std::size_t index) const noexcept {
    return elementAt(dictionary, dictionary.count + index);
  }
  /// Where an object lies, for messages.
  std::size_t offsetOf(Ref object) const noexcept;
  bool isText(Ref object, std::string_view text) const noexcept;

 private:
  bool readInteger(const std::uint8_t* at, std::size_t size, Token& token) const noexcept;
  bool readCount(const std::uint8_t*& at, Token& token) const noexcept;

  const std::uint8_t* begin_ = nullptr;
  const std::uint8_t* offsets_ = nullptr;  // end of the objects, too
  std::size_t size_ = 0;
  std::size_t objectCount_ = 0;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  Ref top_ = 0;
};

}  // namespace zn
