// An array of plain records that grows by realloc(3), which moves large blocks without
// touching their pages: unlike a vector's, growth takes no second copy, and what has been
// reserved takes no memory until it is used.
#ifndef FENRA_BASE_GROWING_ARRAY_H
#define FENRA_BASE_GROWING_ARRAY_H

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace ostren::fenra {

template <typename T>
class GrowingArray {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  GrowingArray() = default;
  ~GrowingArray() { free(items_); }
  GrowingArray(GrowingArray&& other) noexcept { swap(other); }
  GrowingArray& operator=(GrowingArray&& other) noexcept {
    swap(other);
    return *this;
  }
  GrowingArray(const GrowingArray&) = delete;
  GrowingArray& operator=(const GrowingArray&) = delete;

  size_t size() const { return size_; }
  T& operator[](size_t i) { return items_[i]; }
  const T& operator[](size_t i) const { return items_[i]; }
  T* begin() { return items_; }
  T* end() { return items_ + size_; }
  const T* begin() const { return items_; }
  const T* end() const { return items_ + size_; }

  void push_back(const T& item) {
    if (size_ == capacity_) {
      reserve(size_ + 1);
    }
    items_[size_++] = item;
  }

  void append(const T* items, size_t count) {
    if (count > capacity_ - size_) {
      reserve(size_ + count);
    }
    if (count != 0) {
      memcpy(static_cast<void*>(items_ + size_), items, count * sizeof(T));
      size_ += count;
    }
  }

  // Makes it an array of `count` records of zero bytes.
  void assign_zeros(size_t count) {
    GrowingArray().swap(*this);
    items_ = static_cast<T*>(calloc(count, sizeof(T)));
    if (items_ == nullptr && count != 0) {
      throw std::bad_alloc();
    }
    size_ = capacity_ = count;
  }

  // Empties it, for others of about the same number.
  void truncate() { size_ = 0; }

  // Gives the memory back.
  void clear() { GrowingArray().swap(*this); }

  void swap(GrowingArray& other) noexcept {
    std::swap(items_, other.items_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
  }

 private:
  void reserve(size_t wanted) {
    size_t capacity = capacity_ < 8 ? 8 : capacity_;
    while (capacity < wanted) {
      capacity *= 2;
    }
    void* items = realloc(static_cast<void*>(items_), capacity * sizeof(T));
    if (items == nullptr) {
      throw std::bad_alloc();
    }
    items_ = static_cast<T*>(items);
    capacity_ = capacity;
  }

  T* items_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace ostren::fenra

#endif  // FENRA_BASE_GROWING_ARRAY_H
