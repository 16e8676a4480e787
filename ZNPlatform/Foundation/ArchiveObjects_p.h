#pragma once

// The objects of a keyed archive that is being read: everything but the records themselves.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/BinaryPropertyList_p.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// What an object of an archive is made into, as its class decides.
enum class Species : std::uint8_t { unresolved, unknown, record, array, dictionary, string, data, date, null };

/// One place of "$objects". It is looked at once; what was made of it is kept, so objects that many places share stay
/// shared and cost their bytes once.
struct ArchivePlace {
  enum class State : std::uint8_t { fresh, described, inProgress, done };

  Value value;
  double weight = 0;         ///< bytes of the value, were nothing in it shared
  std::uint32_t record = 0;  ///< of a record: which class named by the reader; once made, its number plus one, or 0
  std::uint32_t classIndex = 0;
  State state = State::fresh;
  Species species = Species::unresolved;  ///< of this object
  bool isMutable = false;
  Species classSpecies = Species::unresolved;  ///< of its instances, where it describes a class
  bool classIsMutable = false;
};

/// A key of the archive's own form, and the object that holds its text once it has been met: nearly every later
/// comparison is then one of numbers.
struct ArchiveKey {
  std::string_view text;
  BinaryListReader::Ref object = UINT64_MAX;
};

/// What stands in a field or an element.
struct ArchiveFound {
  const Value* value = &nil;  ///< valid until the next object is read
  double weight = 0;
};

class ArchiveObjects {
 public:
  using Token = BinaryListReader::Token;
  using Kind = BinaryListReader::Kind;
  using Ref = BinaryListReader::Ref;

  ArchiveObjects(const BinaryListReader& reader, std::span<const ArchivedClass> classes, std::size_t fileSize);

  /// The place of the root object; null where this is no archive.
  ArchivePlace* open();
  /// Notes that something was left out; the first reason is kept.
  void fail(const char* reason, Ref object);

  ArchivePlace* placeAt(const Token& reference);  ///< null where nothing like that is in the archive
  bool isNil(const ArchivePlace& place) const noexcept { return &place == places_.data(); }
  Ref objectOf(const ArchivePlace& place) const noexcept {
    return reader_.elementAt(list_, static_cast<std::size_t>(&place - places_.data()));
  }
  /// Finds out what an object is; of containers and records nothing is made yet.
  void describe(ArchivePlace& place);
  /// The value that a field or an element of a container stands for.
  ArchiveFound valueOf(Ref object, int depth);
  /// The list of an object that is an array.
  bool elementsOf(const ArchivePlace& place, Token& list);

  const BinaryListReader& reader() const noexcept { return reader_; }
  bool isDamaged() const noexcept { return damaged_; }
  const std::string& error() const noexcept { return error_; }

 private:
  std::optional<Ref> find(const Token& dictionary, ArchiveKey& key) const;
  bool find(const Token& dictionary, ArchiveKey& key, Token& token) const;
  bool findList(const Token& token, ArchiveKey& key, Token& list, Ref object);
  bool resolveName(ArchivePlace& place, const Token& name) const;
  void resolveClass(ArchivePlace& place);
  Value scalar(const Token& token, Ref object);
  ArchiveFound valueAt(ArchivePlace& place, int depth);
  void make(ArchivePlace& place, int depth);
  void makeArray(ArchivePlace& place, const Token& token, int depth);
  void makeDictionary(ArchivePlace& place, const Token& token, int depth);
  void makeWrapped(ArchivePlace& place, const Token& token);

  BinaryListReader reader_;
  std::span<const ArchivedClass> classes_;
  Token list_;  // "$objects"
  std::vector<ArchivePlace> places_;
  std::vector<Value> texts_;                // strings and data made so far: several places may mean the same bytes
  std::vector<std::uint32_t> textNumbers_;  // by object of the list: place in `texts_` plus one
  double largestWeight_;
  bool damaged_ = false;
  std::string error_;
  Value inline_;
  ArchiveKey classKey_{"$class"}, keysKey_{"NS.keys"}, objectsKey_{"NS.objects"};
};

}  // namespace zn
