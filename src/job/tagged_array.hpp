// TaggedArray: RAII owner of a large array allocated and freed through the tagged entries.
//
// Meant for plain numbers and records (trivially copyable types); the block is zeroed at
// creation like every tagged allocation. Index base is 0: a table used 1-based allocates one
// more item and leaves item 0 unused.
#pragma once

#include "job/memory.hpp"

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace tesmora {

template <class T> class TaggedArray {
  static_assert(std::is_trivially_copyable_v<T>, "TaggedArray holds plain data only");

public:
  TaggedArray() = default;
  TaggedArray(std::int64_t size, const char *tag)
      : data_(static_cast<T *>(calloc_named(static_cast<std::uint64_t>(size), sizeof(T), tag))), size_(size),
        tag_(tag) {}
  TaggedArray(const TaggedArray &) = delete;
  TaggedArray &operator=(const TaggedArray &) = delete;
  TaggedArray(TaggedArray &&other) noexcept
      : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)), tag_(other.tag_) {}
  TaggedArray &operator=(TaggedArray &&other) noexcept {
    if (this != &other) {
      release();
      data_ = std::exchange(other.data_, nullptr);
      size_ = std::exchange(other.size_, 0);
      tag_ = other.tag_;
    }
    return *this;
  }
  ~TaggedArray() { release(); }

  // Grows or shrinks to new_size items; the old items are kept and the new ones are zero.
  void resize(std::int64_t new_size) {
    if (new_size == 0) { // a zero-byte re-allocation would leave the pool unzeroing
      release();
      return;
    }
    data_ = static_cast<T *>(realloc_named(data_, static_cast<std::uint64_t>(new_size) * sizeof(T), tag_));
    if (new_size > size_)
      std::memset(static_cast<void *>(data_ + size_), 0,
                  static_cast<std::size_t>(new_size - size_) * sizeof(T));
    size_ = new_size;
  }

  // Frees the block now, under its tag.
  void release() {
    free_named(data_, tag_);
    data_ = nullptr;
    size_ = 0;
  }

  T *data() { return data_; }
  const T *data() const { return data_; }
  std::int64_t size() const { return size_; }
  const char *tag() const { return tag_; }
  T &operator[](std::int64_t i) { return data_[i]; }
  const T &operator[](std::int64_t i) const { return data_[i]; }
  T *begin() { return data_; }
  T *end() { return data_ + size_; }
  const T *begin() const { return data_; }
  const T *end() const { return data_ + size_; }

private:
  T *data_ = nullptr;
  std::int64_t size_ = 0;
  const char *tag_ = "";
};

} // namespace tesmora
