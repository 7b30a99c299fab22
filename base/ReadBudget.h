#ifndef KXCMS_BASE_READBUDGET_H
#define KXCMS_BASE_READBUDGET_H

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ICC40 {
namespace ICCFILE {

/// What every object made for a profile costs besides its tables: the object itself (a lookup tag
/// is the largest), its reference count, its place in a list and the allocator's headers.
constexpr std::uint64_t kObjectOverheadBytes = 256;

/// The memory that one read may still make the library hold, whatever the file claims. Made once
/// per read (from `ReaderLimit`) and handed down; every allocation is taken from it first.
class ReadBudget {
 public:
  explicit ReadBudget(std::uint64_t bytes) : left_(bytes) {}

  /// Takes `bytes`; false, and nothing taken, if there is not that much left.
  [[nodiscard]] bool Take(std::uint64_t bytes) {
    if (bytes > left_) return false;
    left_ -= bytes;
    return true;
  }

  std::uint64_t left() const { return left_; }

 private:
  std::uint64_t left_;
};

/// A table of `count` zeros, or null if the budget does not allow it: the table is then held as
/// absent. May throw bad_alloc.
template <class Value>
std::unique_ptr<Value[]> NewTable(std::uint64_t count, ReadBudget& budget) {
  if (count > budget.left() / sizeof(Value) || !budget.Take(count * sizeof(Value))) return nullptr;
  return std::make_unique<Value[]>(static_cast<std::size_t>(count));
}

/// Puts `table` in the place of the owned array that `member` points to, which is freed.
template <class Value>
void Replace(Value*& member, std::unique_ptr<Value[]> table) {
  delete[] member;
  member = table.release();
}

}  // namespace ICCFILE
}  // namespace ICC40

#endif
