#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

class EncodedRecords;
class LoadedArchive;
class NSKeyedArchiver;
class NSKeyedUnarchiver;

/// A record that can be archived. Encoding runs on the saving thread and must see one consistent state of the record
/// (records copy their fields under their own lock).
class ZN_EXPORT Coding {
 public:
  virtual ~Coding() = default;
  /// The class name that the archive carries, such as "ZNInboxModel". Must be a string literal.
  virtual const char* archivedClassName() const = 0;
  virtual void encodeWithCoder(NSKeyedArchiver& coder) const = 0;
  /// Tells the states of records apart: a number from `nextRevision`, another one after each change, also of a record
  /// that this one encodes. What was encoded is kept, and is used again while the number stays. 0: the record is
  /// encoded for every archive. Asked before encodeWithCoder, on the saving thread.
  virtual std::uint64_t revision() const { return 0; }
};

/// A number that no call gave before; larger than those, never 0. Thread: any.
ZN_EXPORT std::uint64_t nextRevision() noexcept;

/// How an archive's class becomes a record: only classes that a reader names are made, all others read as nil.
struct ArchivedClass {
  const char* name;
  std::shared_ptr<Coding> (*initWithCoder)(NSKeyedUnarchiver& coder);
};

/// Writes a keyed archive in Foundation's own form: a binary property list with `$archiver`, `$objects`, `$top`. Equal
/// strings are stored once; a container that several places share is stored once too. nil fields are written as
/// references to "$null". Mutable containers are written as NSMutableDictionary and NSMutableArray. Dates, numbers,
/// data and null take Foundation's usual archived forms; text that is not valid UTF-8 is written with U+FFFD. Memory
/// and time are linear in what is encoded; what is kept from the archive before is copied.
///
/// Thread: one archiver belongs to the call that made it, and makes one archive. The memory of one that ended is kept
/// for the next, up to 8 MB. Throws Exception where a value nests deeper than `Value::maximumReadDepth` or records do,
/// so that nothing is written which could not be read again, beyond 2 GB, and for data beyond 256 MB.
class ZN_EXPORT NSKeyedArchiver {
 public:
  /// The archive whose root object is `root`.
  static Data archivedDataWithRootObject(const Coding& root);

  NSKeyedArchiver();
  /// For one of several archives of the same file: `kept` holds what the records in lists of the root were encoded as,
  /// and changes with each archive; it is made where it is null. One thread at a time.
  explicit NSKeyedArchiver(std::shared_ptr<EncodedRecords>& kept);
  /// The same without a copy: the bytes lie in the archiver, or in what is kept.
  std::span<const std::uint8_t> archiveRootObject(const Coding& root);

  // For encodeWithCoder. Keys must be ASCII string literals (their addresses are kept), each used once in a record.
  void encodeObject(const Value& value, const char* key);
  void encodeObject(const std::shared_ptr<const Coding>& record, const char* key);  ///< a null pointer is nil
  /// An array of records, as NSMutableArray or NSArray.
  void encodeObjects(std::span<const std::shared_ptr<const Coding>> records, bool isMutable, const char* key);
  /// The same for records that `owner` keeps alive; none may be null.
  void encodeObjects(std::shared_ptr<const void> owner, std::span<const Coding* const> records, bool isMutable,
                     const char* key);
  void encodeBool(bool value, const char* key);
  void encodeInt(std::int32_t value, const char* key);

  NSKeyedArchiver(const NSKeyedArchiver&) = delete;
  ~NSKeyedArchiver();

 private:
  std::shared_ptr<EncodedRecords> records_;
  const bool isSpare_ = false;
};

/// The fields of a record that stay in the archive until they are asked for, which is possible where the archive is one
/// of ours and intact: what is read later cannot fail. Copies mean the same fields. Thread: any.
class ZN_EXPORT FieldsForLater {
 public:
  /// False: there are none, all is read.
  explicit operator bool() const noexcept { return archive_ != nullptr; }
  /// Calls `decode` with a reader of the fields.
  void read(const std::function<void(NSKeyedUnarchiver& coder)>& decode) const;

 private:
  friend class NSKeyedUnarchiver;
  std::shared_ptr<const LoadedArchive> archive_;
  std::size_t record_ = 0;
};

/// Reads a keyed archive, also one that Foundation wrote on another system: NSArray, NSDictionary, NSSet, NSString,
/// NSNumber, NSDate, NSData, NSNull and their mutable forms, strings in ASCII, UTF-16 or as "NS.string". Every count
/// and offset is checked; reference cycles, dangling references and objects below `Value::maximumReadDepth` levels read
/// as nil; so do a field that is asked for as another type, and shared objects that a reader of the value would unfold
/// to more than 64 MB and 16 times the file. All of these are damage. Objects that several places share are made once
/// and shared, so time and memory stay within a small multiple of the file. No input ends the process; an exception of
/// `initWithCoder` leaves out its record.
///
/// An intact archive of ours is read without making its values, in a fraction of the time: `fieldsForLater`.
class ZN_EXPORT NSKeyedUnarchiver {
 public:
  struct Result {
    std::shared_ptr<Coding> root;  ///< empty: no archive, or one that cannot be read at all
    bool damaged = false;          ///< something in it could not be read and was left out, or all of it
    std::string error;             ///< what was wrong first; empty for an intact archive and for a missing file
    bool isUnread = false;         ///< there may be a file, but it cannot be read now; that is no damage
    /// What the records are encoded as, for NSKeyedArchiver; null where that is not known.
    std::shared_ptr<EncodedRecords> encoded;
  };
  static Result unarchiveObjectWithData(std::span<const std::uint8_t> bytes, std::span<const ArchivedClass> classes);
  /// `unarchiveObjectWithFile:`. Neither a missing file nor one that cannot be read now is damage; what is no regular
  /// file, or larger than `maximumSize` bytes, is.
  static Result unarchiveObjectWithFile(const std::string& path, std::span<const ArchivedClass> classes,
                                        std::size_t maximumSize = kMaximumMessageFile);

  // For initWithCoder: fields of the record being made.
  Value decodeObjectForKey(std::string_view key);      ///< nil for a missing key and for a record
  bool decodesDictionaryForKey(std::string_view key);  ///< decodeObjectForKey gives one; nothing is made of it
  bool decodeBoolForKey(std::string_view key);         ///< false for a missing key; numbers count, inline or archived
  std::int32_t decodeIntForKey(std::string_view key);
  std::shared_ptr<Coding> decodeRecordForKey(std::string_view key);
  /// The records in an array; what is no record of a class named to the reader is left out. `isNil`, if given, tells a
  /// missing or nil field from an empty array.
  std::vector<std::shared_ptr<Coding>> decodeRecordsForKey(std::string_view key, bool* isNil = nullptr);
  /// The fields of this record for later; none where all that is needed must be decoded now.
  FieldsForLater fieldsForLater() const;

  NSKeyedUnarchiver(const NSKeyedUnarchiver&) = delete;
  ~NSKeyedUnarchiver();

 private:
  friend class FieldsForLater;
  friend struct ArchiveReaders;
  struct State;
  struct Thorough;
  struct Loaded;
  explicit NSKeyedUnarchiver(std::unique_ptr<State> state);
  static Result readThoroughly(std::span<const std::uint8_t> bytes, std::span<const ArchivedClass> classes);
  static bool readEncoded(std::span<const std::uint8_t> bytes, std::span<const ArchivedClass> classes, Result& result);
  static Data rewritten(std::span<const std::uint8_t> bytes);
  std::unique_ptr<State> state_;
};

}  // namespace zn
