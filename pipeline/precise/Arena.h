#ifndef KXCMS_PIPELINE_PRECISE_ARENA_H
#define KXCMS_PIPELINE_PRECISE_ARENA_H

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

namespace kxcms {

/// Owns arrays of plain data, at addresses that do not change when the arena is moved.
class Arena {
 public:
  /// `count` elements at a multiple of 64 bytes, unset. May throw bad_alloc.
  template <typename T>
  T* New(std::size_t count) {
    static_assert(std::is_trivially_destructible_v<T> && alignof(T) <= kAlignment);
    blocks_.reserve(blocks_.size() + 1);
    if (count > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_alloc();
    void* memory = ::operator new (count * sizeof(T), std::align_val_t{kAlignment});
    blocks_.emplace_back(memory);
    return static_cast<T*>(memory);
  }

 private:
  static constexpr std::size_t kAlignment = 64;
  struct Delete {
    void operator()(void* memory) const {
      ::operator delete (memory, std::align_val_t{kAlignment});
    }
  };
  std::vector<std::unique_ptr<void, Delete>> blocks_;
};

}  // namespace kxcms

#endif
