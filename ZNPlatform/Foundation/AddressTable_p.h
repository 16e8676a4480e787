#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

namespace zn {

/// Finds what belongs to an address.
template <class Item>
class AddressTable {
 public:
  AddressTable() : places_(64) {}

  /// What belongs to the address; null where nothing does. Valid until the next `set`.
  Item* find(std::uintptr_t address) noexcept {
    Place& place = placeOf(address);
    return place.address != 0 ? &place.item : nullptr;
  }
  /// Asks the processor for the memory that `find` will look at.
  void prefetch(std::uintptr_t address) const noexcept { __builtin_prefetch(&places_[indexOf(address)]); }
  /// `isKept` tells of an address and its item whether it is still of use, once the table is full.
  template <class IsKept>
  void set(std::uintptr_t address, const Item& item, const IsKept& isKept) {
    Place* place = &placeOf(address);
    if (place->address == 0 && 2 * ++count_ >= places_.size()) {
      grow(isKept);
      place = &placeOf(address);
      ++count_;
    }
    *place = {address, item};
  }
  void set(std::uintptr_t address, const Item& item) {
    set(address, item, [](std::uintptr_t, const Item&) { return true; });
  }
  void clear() noexcept {
    std::fill(places_.begin(), places_.end(), Place{});
    count_ = 0;
  }
  std::size_t capacity() const noexcept { return places_.capacity() * sizeof(Place); }

 private:
  struct Place {
    std::uintptr_t address = 0;
    Item item{};
  };
  std::size_t indexOf(std::uintptr_t address) const noexcept {
    return (address * 0x9E3779B97F4A7C15) >> 32 & (places_.size() - 1);
  }
  Place& placeOf(std::uintptr_t address) noexcept {
    std::size_t i = indexOf(address);
    while (places_[i].address != 0 && places_[i].address != address) i = (i + 1) & (places_.size() - 1);
    return places_[i];
  }
  template <class IsKept>
  void grow(const IsKept& isKept) {
    std::vector<Place> kept;
    for (const Place& place : places_) {
      if (place.address != 0 && isKept(place.address, place.item)) kept.push_back(place);
    }
    places_.assign(std::bit_ceil(4 * kept.size() + 64), {});
    for (const Place& place : kept) placeOf(place.address) = place;
    count_ = kept.size();
  }

  std::vector<Place> places_;
  std::size_t count_ = 0;
};

}  // namespace zn
