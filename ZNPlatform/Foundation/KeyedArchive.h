#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

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
/// and time are linear.
///
/// Thread: one archiver belongs to the call that made it, and makes one archive. The memory of one that ended is kept
/// for the next, up to 8 MB. Throws Exception where a value nests deeper than `Value::maximumReadDepth` or records do,
/// so that nothing is written which could not be read again, and beyond 2 GB.
class ZN_EXPORT NSKeyedArchiver {
 public:
  /// The archive whose root object is `root`.
  static Data archivedDataWithRootObject(const Coding& root);

  NSKeyedArchiver();
  /// The same without a copy: the bytes lie in the archiver.
  std::span<const std::uint8_t> archiveRootObject(const Coding& root);

  // For encodeWithCoder. Keys must be ASCII string literals (their addresses are kept), each used once in a record.
  void encodeObject(const Value& value, const char* key);
  void encodeObject(const std::shared_ptr<const Coding>& record, const char* key);  ///< a null pointer is nil
  /// An array of records, as NSMutableArray or NSArray.
  void encodeObjects(std::span<const std::shared_ptr<const Coding>> records, bool isMutable, const char* key);
  void encodeBool(bool value, const char* key);
  void encodeInt(std::int32_t value, const char* key);

  NSKeyedArchiver(const NSKeyedArchiver&) = delete;
  ~NSKeyedArchiver();

 private:
  struct State;
  struct Spare;
  std::unique_ptr<State> state_;
};

/// Reads a keyed archive, also one that Foundation wrote on another system: NSArray, NSDictionary, NSSet, NSString,
/// NSNumber, NSDate, NSData, NSNull and their mutable forms, strings in ASCII, UTF-16 or as "NS.string". Every count
/// and offset is checked; reference cycles, dangling references and objects below `Value::maximumReadDepth` levels read
/// as nil; so do a field that is asked for as another type, and shared objects that a reader of the value would unfold
/// to more than 64 MB and 16 times the file. All of these are damage. Objects that several places share are made once
/// and shared, so time and memory stay within a small multiple of the file. No input ends the process; an exception of
/// `initWithCoder` leaves out its record.
class ZN_EXPORT NSKeyedUnarchiver {
 public:
  struct Result {
    std::shared_ptr<Coding> root;  ///< empty: no archive, or one that cannot be read at all
    bool damaged = false;          ///< something in it could not be read and was left out, or all of it
    std::string error;             ///< what was wrong first; empty for an intact archive and for a missing file
    bool isUnread = false;         ///< there may be a file, but it cannot be read now; that is no damage
  };
  static Result unarchiveObjectWithData(std::span<const std::uint8_t> bytes, std::span<const ArchivedClass> classes);
  /// `unarchiveObjectWithFile:`. Neither a missing file nor one that cannot be read now is damage; what is no regular
  /// file, or larger than `maximumSize` bytes, is.
  static Result unarchiveObjectWithFile(const std::string& path, std::span<const ArchivedClass> classes,
                                        std::size_t maximumSize = kMaximumMessageFile);

  // For initWithCoder: fields of the record being made.
  Value decodeObjectForKey(std::string_view key);  ///< nil for a missing key and for a record
  bool decodeBoolForKey(std::string_view key);     ///< false for a missing key; numbers count, inline or archived
  std::int32_t decodeIntForKey(std::string_view key);
  std::shared_ptr<Coding> decodeRecordForKey(std::string_view key);
  /// The records in an array; what is no record of a class named to the reader is left out. `isNil`, if given, tells a
  /// missing or nil field from an empty array.
  std::vector<std::shared_ptr<Coding>> decodeRecordsForKey(std::string_view key, bool* isNil = nullptr);

  NSKeyedUnarchiver(const NSKeyedUnarchiver&) = delete;
  ~NSKeyedUnarchiver();

 private:
  NSKeyedUnarchiver();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace zn
