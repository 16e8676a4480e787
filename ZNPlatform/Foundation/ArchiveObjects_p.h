#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/ObjectTree_p.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// What an object of an archive is made into, as its class decides.
enum class Species : std::uint8_t { unresolved, unknown, record, array, dictionary, string, data, date, null };

/// One place of "$objects". It is looked at once; what was made of it is kept, so objects that many places share stay
/// shared and cost their bytes once.
struct ArchivePlace : ObjectTree::Node {
  std::uint32_t record = 0;  ///< of a record: which class named by the reader; once made, its number plus one, or 0
  std::uint32_t classIndex = 0;
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

class ArchiveObjects final : public ObjectTree {
 public:
  ArchiveObjects(const BinaryListReader& archive, std::span<const ArchivedClass> classes);

  /// The place of the root object; null where this is no archive.
  ArchivePlace* open();

  ArchivePlace* placeAt(const Token& reference);  ///< null where nothing like that is in the archive
  bool isNil(const ArchivePlace& place) const noexcept { return &place == places_.data(); }
  Ref objectOf(const ArchivePlace& place) const noexcept {
    return reader().elementAt(list_, static_cast<std::size_t>(&place - places_.data()));
  }
  /// Finds out what an object is; of containers and records nothing is made yet.
  void describe(ArchivePlace& place);
  /// The value that a field or an element of a container stands for.
  Found valueOf(Ref object, int depth) override;
  /// The list of an object that is an array.
  bool elementsOf(const ArchivePlace& place, Token& list);

 private:
  std::optional<Ref> find(const Token& dictionary, ArchiveKey& key) const;
  bool find(const Token& dictionary, ArchiveKey& key, Token& token) const;
  bool findList(const Token& token, ArchiveKey& key, Token& list, Ref object);
  bool resolveName(ArchivePlace& place, const Token& name) const;
  void resolveClass(ArchivePlace& place);
  Value sharedScalar(const Token& token, Ref object);
  void make(Node& node, Ref object, int depth) override;
  void makeContainer(ArchivePlace& place, const Token& token, Ref object, int depth);
  void makeWrapped(ArchivePlace& place, const Token& token);

  std::span<const ArchivedClass> classes_;
  Token list_;  // "$objects"
  std::vector<ArchivePlace> places_;
  std::vector<Value> texts_;                // strings and data made so far: several places may mean the same bytes
  std::vector<std::uint32_t> textNumbers_;  // by object of the list: place in `texts_` plus one
  Value inline_;
  ArchiveKey classKey_{"$class"}, keysKey_{"NS.keys"}, objectsKey_{"NS.objects"};
};

}  // namespace zn
