#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "ZNPlatform/Foundation/AddressTable_p.h"
#include "ZNPlatform/Foundation/ArchiveTexts_p.h"
#include "ZNPlatform/Foundation/GrowingBuffer_p.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"

namespace zn {

// What a record is encoded as: words that do not depend on where in a file it will stand. They hold its objects, in
// the order of their places, the record itself first. An object is a head and what follows it:
//   record       shape, then a word for each field
//   dictionary   `count` keys, `count` values
//   array        `count` elements
//   date, real   a double, in two words; of a date since 2001
//   integer      two words
//   data         `count` bytes, in as many words as they need

enum class EncodedKind : std::uint32_t { record, dictionary, array, date, integer, real, data };

/// A word that means an object: how it is found, in the two highest bits, and its number.
using EncodedRef = std::uint32_t;
namespace ref {
inline constexpr std::uint32_t kNumber = (1u << 30) - 1;
inline constexpr std::uint32_t kOwn = 0;           ///< an object of the same record
inline constexpr std::uint32_t kText = 1u << 30;   ///< a text of the archive
inline constexpr std::uint32_t kFixed = 2u << 30;  ///< one of those below
inline constexpr std::uint32_t kOther = 3u
                                        << 30;  ///< an object of another record: a number in `others` of this archive
enum Fixed : std::uint32_t {
  kNil,
  kTrue,
  kFalse,
  kNull,
  kInlineTrue,  ///< a record's boolean stands in its place
  kInlineFalse,
  kInlineInteger,  ///< so does its integer, which is the next word
  kFixedCount
};
constexpr std::uint32_t how(EncodedRef ref) { return ref & ~kNumber; }
constexpr std::uint32_t number(EncodedRef ref) { return ref & kNumber; }
}  // namespace ref

struct EncodedObject {
  EncodedKind kind;
  bool isMutable;
  std::uint32_t count;
  std::uint32_t shape;  ///< of a record
  std::span<const std::uint32_t> body;

  std::int64_t integer() const noexcept {
    return static_cast<std::int64_t>(body[0] | static_cast<std::uint64_t>(body[1]) << 32);
  }
  double real() const noexcept { return std::bit_cast<double>(integer()); }
  std::span<const std::uint8_t> data() const noexcept {
    return {reinterpret_cast<const std::uint8_t*>(body.data()), count};
  }
};

constexpr std::uint32_t encodedHead(EncodedKind kind, bool isMutable, std::uint32_t count) {
  return static_cast<std::uint32_t>(kind) | (isMutable ? 8u : 0u) | count << 4;
}
inline constexpr std::uint32_t kLargestEncodedCount = (1u << 28) - 1;

/// Reads the object at `at` and goes to the next one.
inline EncodedObject nextEncodedObject(const std::uint32_t*& at) noexcept {
  const std::uint32_t head = *at++;
  EncodedObject object{static_cast<EncodedKind>(head & 7), (head & 8) != 0, head >> 4, 0, {}};
  std::size_t words = 2;
  if (object.kind == EncodedKind::record) {
    object.shape = *at++;
    words = object.count;
  } else if (object.kind == EncodedKind::dictionary) {
    words = std::size_t{2} * object.count;
  } else if (object.kind == EncodedKind::array) {
    words = object.count;
  } else if (object.kind == EncodedKind::data) {
    words = (std::size_t{object.count} + 3) / 4;
  }
  object.body = {at, words};
  at += words;
  return object;
}

template <class Look>
void forEachObject(std::span<const std::uint32_t> words, const Look& look) {
  const std::uint32_t* at = words.data();
  for (const std::uint32_t* const end = at + words.size(); at != end;) look(nextEncodedObject(at));
}

/// Which fields a record of a class has, in their order.
struct EncodedShape {
  std::string className;
  std::vector<ArchiveTexts::Id> keys;  ///< the last: "$class"
  ArchiveTexts::Id classText = 0;
  std::vector<const char*> literals;  ///< the same keys, where this process has encoded such a record
  std::uint32_t users = 0;
};

struct EncodedRecord {
  /// What an encoded record needs to live on, unless it was loaded: one piece of memory, with what it shows.
  struct Held {
    std::span<Value> values;                          ///< of fields: they keep the addresses theirs,
    std::vector<std::shared_ptr<const void>> owners;  ///< and so do these
    std::span<const std::uintptr_t> addresses;        ///< of its containers and records, by place
    std::span<const std::uint32_t> words;

    struct End {
      void operator()(Held* ended) const noexcept;
    };
  };
  using HeldPtr = std::unique_ptr<Held, Held::End>;
  std::span<const std::uint32_t> words;
  HeldPtr held;
  std::uintptr_t address = 0;  ///< its own; 0: it was loaded
  std::uint64_t revision = 0;  ///< 0: not kept beyond the archive
  std::uint32_t places = 0;
  std::uint32_t objects = 0;     ///< that these are written as, without references to places
  std::size_t references = 0;    ///< in these objects
  std::size_t bytes = 0;         ///< of these objects, but for the references
  std::uint32_t round = 0;       ///< the last archive that it is in
  std::uint32_t firstPlace = 0;  ///< in that archive
};

class LoadedArchive;

/// What the records of one archive file were encoded as. An archive of them is put together of what is kept and of what
/// is encoded anew: the root object, and those records in its lists whose revision is another one.
///
/// Thread: one at a time.
class EncodedRecords {
 public:
  EncodedRecords();
  ~EncodedRecords();
  EncodedRecords(const EncodedRecords&) = delete;

  /// The archive; it lies here, until the next one. After an exception nothing is kept.
  std::span<const std::uint8_t> archive(NSKeyedArchiver& coder, const Coding& root);
  /// Keeps what an archive was read into; before anything else. False where an archive of it is not `bytes`: they are
  /// not what this writes, or they are damaged. Nothing must be done with this then.
  bool load(std::shared_ptr<const LoadedArchive> archive, std::span<const std::uint8_t> bytes);
  std::span<const std::uint8_t> written() const noexcept { return output_; }  ///< what was compared with `bytes`
  /// Of the records that were loaded, in their order; once. 0: one that is not to be kept.
  void setRevisions(std::span<const std::uint64_t> revisions);
  /// Begins anew, with the same memory.
  void clear();
  std::size_t capacity() const noexcept;  ///< bytes of memory that it holds

  // For the coder, within `archive`.
  void addField(const char* key, EncodedRef value);
  void addInteger(const char* key, std::int32_t value);
  EncodedRef refOfField(const Value& value);
  EncodedRef refOf(const std::shared_ptr<const Coding>& record);
  EncodedRef refOf(std::shared_ptr<const void> owner, std::span<const Coding* const> records, bool isMutable);

 private:
  friend class ArchiveWriter;
  static constexpr std::uint32_t kNone = UINT32_MAX;
  static constexpr std::uint32_t kRoot = 0;  // its slot

  /// What waits for its words: one of these.
  struct Waiting {
    const Value* value;
    const Coding* record;
    int level;  // of the record
    std::uint32_t list;
  };
  struct List {
    bool isMutable;
    std::vector<EncodedRef> elements;
  };
  struct Found {
    std::uint32_t slot;
    std::uint32_t place;
  };
  struct Pending {
    std::uint32_t slot;
    const Coding* record;
  };

  void encode(std::uint32_t slot, const Coding& record, NSKeyedArchiver& coder);
  EncodedRecord::HeldPtr hold();
  void encodeWaiting(const Waiting& waiting, NSKeyedArchiver& coder);
  void encodeRecord(const Waiting& waiting, NSKeyedArchiver& coder);
  void encodeValue(const Value& value);
  void putInteger(EncodedKind kind, std::int64_t bits);
  void putData(std::span<const std::uint8_t> bytes);
  EncodedRef refOf(const Value& value, bool isField);
  EncodedRef placeFor(std::uintptr_t address, const Value* value, const Coding* record = nullptr, int level = 0,
                      std::uint32_t list = 0);
  EncodedRef refOf(const Coding& record);
  EncodedRef member(const Coding& record);
  bool find(std::uintptr_t address, EncodedRef& found);
  bool isAt(std::uintptr_t address, const Found& found) const noexcept;
  EncodedRef other(Found found);
  std::uint32_t shapeOf(const Coding& record);
  std::uint32_t slotOf(std::uint64_t revision);
  std::uint32_t newSlot();
  void add(EncodedRecord& record);
  void remove(const EncodedRecord& record);
  void countUsers(const EncodedObject& object, std::uint32_t change);
  void countRef(EncodedRef ref, std::uint32_t change);
  void forgetRemoved();
  void endRound();
  void forget(std::uint32_t slot);

  ArchiveTexts texts_;
  std::vector<EncodedShape> shapes_;
  std::uint32_t classUsers_[6] = {};  // of Foundation's classes
  std::uint32_t fixedUsers_[ref::kFixedCount] = {};
  std::shared_ptr<const LoadedArchive> loaded_;

  std::vector<EncodedRecord> records_;  // the first: the root
  std::vector<std::uint32_t> freeSlots_;
  std::vector<std::uint32_t> order_;                             // those of this archive
  std::vector<std::uint32_t> lastOrder_;                         // and of the one before
  std::size_t expected_ = 0;                                     // in `lastOrder_`: where the next record probably is
  std::uint64_t newest_ = 0;                                     // revision of an archive before
  std::unordered_map<std::uint64_t, std::uint32_t> byRevision_;  // of the archive before, once it is needed
  std::uint32_t round_ = 0;
  AddressTable<Found> seen_;  // containers and records
  std::vector<Found> others_;
  std::vector<Pending> pending_;
  std::vector<std::shared_ptr<const void>> memberOwners_;  // of the records in the root's lists

  // Of the record that is being encoded.
  std::uint32_t slot_ = 0;
  int level_ = 0;
  bool refersToOthers_ = false;
  GrowingBuffer<std::uint32_t> words_;
  std::vector<std::uintptr_t> addresses_;
  std::vector<Waiting> waiting_;
  std::vector<List> lists_;
  std::deque<Value> fieldValues_;
  std::vector<std::shared_ptr<const void>> owners_;
  std::vector<const char*> keys_;
  std::vector<std::uint32_t> fields_;

  // ArchiveWriter's, kept for its next archive.
  std::vector<std::uint32_t> textPlaces_;
  std::vector<std::uint32_t> textObjects_;
  GrowingBuffer<std::uint8_t> output_;
};

}  // namespace zn
