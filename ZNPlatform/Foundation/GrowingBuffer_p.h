#pragma once

#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace zn {

/// A list of plain things that grows without being cleared or copied by element: for large blocks the C library moves
/// pages instead of bytes, which a std::vector cannot.
template <class T>
class GrowingBuffer {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  GrowingBuffer() = default;
  ~GrowingBuffer() { std::free(data_); }
  GrowingBuffer(const GrowingBuffer&) = delete;
  GrowingBuffer& operator=(const GrowingBuffer&) = delete;

  /// Room for some more at the end, not initialised. Valid until the next growth.
  T* extend(std::size_t count) {
    if (capacity_ - size_ < count) grow(count);
    T* at = data_ + size_;
    size_ += count;
    return at;
  }
  void push_back(T element) { *extend(1) = element; }
  void append(std::span<const T> elements) {
    if (!elements.empty()) std::memcpy(extend(elements.size()), elements.data(), elements.size_bytes());
  }
  void shrink(std::size_t size) noexcept { size_ = size; }
  void swap(GrowingBuffer& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
  }

  std::size_t size() const noexcept { return size_; }
  std::size_t capacity() const noexcept { return capacity_ * sizeof(T); }  ///< in bytes
  const T* data() const noexcept { return data_; }
  const T* begin() const noexcept { return data_; }
  const T* end() const noexcept { return data_ + size_; }
  T& operator[](std::size_t index) noexcept { return data_[index]; }
  const T& operator[](std::size_t index) const noexcept { return data_[index]; }
  operator std::span<const T>() const noexcept { return {data_, size_}; }

 private:
  void grow(std::size_t count) {
    std::size_t capacity = capacity_ < 64 ? 64 : 2 * capacity_;
    if (capacity < size_ + count) capacity = size_ + count;
    void* moved = std::realloc(static_cast<void*>(data_), capacity * sizeof(T));
    if (!moved) throw std::bad_alloc();
    data_ = static_cast<T*>(moved);
    capacity_ = capacity;
  }

  T* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace zn
