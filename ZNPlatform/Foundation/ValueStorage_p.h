#pragma once

#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// The characters follow the header in the same allocation.
struct Value::StringStorage : Shared {
  explicit StringStorage(std::size_t characters) noexcept { size = static_cast<std::uint32_t>(characters); }

  char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
  static StringStorage* make(std::string_view text) {
    if (text.size() > UINT32_MAX) throw std::length_error("a string is longer than 4 GiB");
    auto* storage = new (::operator new(sizeof(StringStorage) + text.size())) StringStorage(text.size());
    if (!text.empty()) std::memcpy(storage->text(), text.data(), text.size());
    return storage;
  }
  static void destroy(StringStorage* storage) noexcept {
    storage->~StringStorage();
    ::operator delete(storage);
  }
};

struct Value::DataStorage : Shared {
  explicit DataStorage(Data b) noexcept : bytes(std::move(b)) {}
  Data bytes;
};

inline Value::Shared::Container::Container(bool dictionary, std::size_t room) noexcept
    : isDictionary(dictionary), capacity(static_cast<std::uint32_t>(room)) {}

inline std::int16_t Value::Shared::Container::checkedDepth(int deepestChild) {
  if (deepestChild >= maximumDepth) {
    throw Exception("a value may not nest deeper than " + std::to_string(maximumDepth) + " levels");
  }
  return static_cast<std::int16_t>(deepestChild + 1);
}

/// The items follow the header in the same allocation: small containers are what answers are full of.
template <class Item>
struct Value::Block : Shared::Container {
  explicit Block(std::size_t room) noexcept : Container(std::is_same_v<Item, Entry>, room) {}

  Item* begin() noexcept { return reinterpret_cast<Item*>(this + 1); }
  Item* end() noexcept { return begin() + size; }
  std::span<Item> items() noexcept { return {begin(), size}; }

  static Block* make(std::size_t room) {
    if (room > UINT32_MAX) throw std::length_error("a container holds more than 4 billion values");
    return new (::operator new(sizeof(Block) + room * sizeof(Item))) Block(room);
  }
  /// With the items, which are left empty there.
  static Block* taking(std::span<Item> from, std::size_t room) {
    Block* block = make(room);
    std::uninitialized_move(from.begin(), from.end(), block->begin());
    block->size = static_cast<std::uint32_t>(from.size());
    return block;
  }
  static void destroy(Block* block) noexcept {
    std::destroy(block->begin(), block->end());
    block->~Block();
    ::operator delete(block);
  }

  /// There must be room.
  void insert(std::size_t index, Item item) noexcept {
    if (index == size) {
      new (end()) Item(std::move(item));
    } else {
      new (end()) Item(std::move(*(end() - 1)));
      std::move_backward(begin() + index, end() - 1, end());
      begin()[index] = std::move(item);
    }
    ++size;
  }
  void erase(std::size_t index) noexcept {
    std::move(begin() + index + 1, end(), begin() + index);
    std::destroy_at(end() - 1);
    --size;
  }
};

}  // namespace zn
