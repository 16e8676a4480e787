#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "ZNPlatform/Foundation/EncodedRecords_p.h"

namespace zn {

/// Classes of Foundation that archives name.
enum class FoundationClass : std::uint32_t { dictionary, mutableDictionary, array, mutableArray, date, null };
inline constexpr std::size_t kFoundationClasses = 6;

/// Of an object that is one of theirs, and has a class at all: a container or a date.
inline FoundationClass foundationClassOf(const EncodedObject& object) noexcept {
  if (object.kind == EncodedKind::date) return FoundationClass::date;
  if (object.kind == EncodedKind::array)
    return object.isMutable ? FoundationClass::mutableArray : FoundationClass::array;
  return object.isMutable ? FoundationClass::mutableDictionary : FoundationClass::dictionary;
}
/// By its name; nothing for another class.
std::optional<FoundationClass> foundationClassNamed(std::string_view name) noexcept;

/// Gives each field of a record: what it refers to, and its integer where that stands in place.
template <class Look>
void forEachField(const EncodedObject& record, const Look& look) {
  for (std::size_t i = 0; i < record.body.size(); ++i) {
    const EncodedRef field = record.body[i];
    const bool hasInteger = field == (ref::kFixed | ref::kInlineInteger);
    look(field, hasInteger ? static_cast<std::int32_t>(record.body[++i]) : 0);
  }
}

/// Writes the file of an archive. Its objects stand in this order:
///   references to places    object N means place N, so that every other object refers to place N as object N
///   texts                   in the order of their numbers
///   true, false, classes    those that are needed
///   records                 the root first; each with its own objects, in the order of its places
///   "$objects"              the list of places: "$null"; what is fixed; texts; the objects of records
///   "$version", "$top", and the dictionary of all
/// So what a record takes is one piece of the file, and only the numbers in it depend on where it stands.
class ArchiveWriter {
 public:
  explicit ArchiveWriter(EncodedRecords& records)
      : records_(records),
        texts_(records.texts_),
        textPlaces_(records.textPlaces_),
        textObjects_(records.textObjects_) {}
  void write(GrowingBuffer<std::uint8_t>& output);

 private:
  /// An object outside records.
  struct Fixed {
    std::uint8_t kind;                      // as in the file
    std::vector<std::uint32_t> references;  // of a dictionary: keys, then values
    std::int64_t integer = 0;
    std::size_t bytes() const noexcept;  // without the references
  };
  struct Class {
    ArchiveTexts::Id name;
    std::optional<ArchiveTexts::Id> parent;
    std::uint32_t place = 0;
  };
  template <class Ref>
  class Body;

  void collectNames();
  void number();
  std::uint32_t add(Fixed object);
  std::uint32_t place(std::uint32_t object);
  void addFixedObjects();
  void addTail();
  template <class Ref>
  void writeObjects(std::uint8_t* begin, std::size_t table, std::uint8_t offsetSize);
  ArchiveTexts::Id literal(const char* text) const { return texts_.idOfLiteral(text); }
  std::uint32_t objectOf(const char* text) const { return textObjects_[literal(text)]; }

  EncodedRecords& records_;
  ArchiveTexts& texts_;
  std::vector<Class> classes_;
  std::array<std::size_t, kFoundationClasses> foundationClasses_{};  // in `classes_`
  std::vector<std::size_t> shapeClasses_;                            // likewise
  std::vector<std::uint32_t>& textPlaces_;                           // by number of the text
  std::vector<std::uint32_t>& textObjects_;                          // likewise
  std::vector<Fixed> fixed_, tail_;
  std::vector<std::uint32_t> fixedPlaces_;  // the objects in the first places
  std::array<std::uint32_t, ref::kFixedCount> fixedRefs_{};
  std::uint32_t places_ = 0;
  std::uint32_t firstRecordPlace_ = 0;
  std::uint32_t objects_ = 0;  // so far
  std::size_t bytes_ = 0;      // likewise, without references
};

}  // namespace zn
