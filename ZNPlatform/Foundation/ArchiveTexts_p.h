#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/AddressTable_p.h"
#include "ZNPlatform/Foundation/BinaryListBytes_p.h"
#include "ZNPlatform/Foundation/GrowingBuffer_p.h"

namespace zn {

/// The texts of one archive file: each is there once, in its written form, and keeps its number while records use it. A
/// number is given anew once nobody uses its text any more. Texts that the source names (keys, classes) stay.
class ArchiveTexts {
 public:
  using Id = std::uint32_t;

  /// Takes over the texts of an archive that was read: `starts` has one more, where the last one ends. `bytes` must
  /// outlive this. `literals`: those that its source names.
  void load(std::span<const std::uint8_t> bytes, std::span<const std::uint32_t> starts, std::span<const Id> literals);

  Id idOf(std::string_view utf8);
  /// The same for one key after the other: after a key mostly comes the one that came after it before.
  Id idOfKey(std::string_view utf8);
  Id idOfLiteral(const char* text);  ///< by its address, which is kept

  void use(Id id) noexcept { ++texts_[id].users; }
  void release(Id id) {
    if (--texts_[id].users == 0) idle_.push_back(id);
  }
  /// Lets go of what nobody uses. Its bytes are in no archive from then on.
  void sweep();

  /// Begins anew, with the same memory.
  void clear();

  /// Marks those literals, and no others, as needed by the next archive.
  void nameLiterals(std::span<const Id> literals);

  std::size_t size() const noexcept { return texts_.size(); }
  bool isValue(Id id) const noexcept { return texts_[id].users != 0; }  ///< records hold it
  bool isWritten(Id id) const noexcept { return isValue(id) || texts_[id].isNamed; }
  /// As they stand in a file, with their heads.
  std::span<const std::uint8_t> written(Id id) const noexcept {
    const Text& text = texts_[id];
    return {(text.isLoaded ? loaded_ : own_.data()) + text.position, text.size};
  }

  std::size_t capacity() const noexcept;  ///< bytes of memory that it holds

 private:
  struct Text {
    std::uint32_t position;
    std::uint32_t size;  // 0: no text has this number
    std::uint32_t hash;
    std::uint32_t users;
    bool isLoaded;
    bool isLiteral;
    bool isNamed;
  };
  bool isAscii(Id id, std::string_view text) const noexcept;
  Id add(const list::Text& text, std::uint32_t hash);
  void indexLoaded();
  void repack();

  GrowingBuffer<Text> texts_;
  GrowingBuffer<std::uint8_t> own_;  // what was not loaded
  const std::uint8_t* loaded_ = nullptr;
  std::size_t unindexed_ = 0;  // how many were loaded; they are indexed once a text is looked for
  std::vector<Id> loadedLiterals_;
  std::size_t garbage_ = 0;  // in `own_`
  std::vector<Id> free_;
  std::vector<Id> idle_;  // perhaps not used any more
  std::vector<Id> named_;
  std::vector<Id> nextKeys_;  // by key
  Id lastKey_ = 0;
  AddressTable<Id> literals_;
  list::TextIndex index_;
};

}  // namespace zn
