#pragma once

// Two stand-ins for tests of the workspace pool: an allocator whose addresses are made up, and the pool itself written
// down plainly, one rule after the other, without any shortcut of the real one.

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace nuv::test {

/// What an allocator was asked: "+SIZE" for a request, "-ADDRESS" for a block that came back.
inline std::string allocator_event(char sign, std::uintptr_t value) {
  return std::string(1, sign).append(std::to_string(value));
}

/// Hands out addresses that nobody may touch, notes what it is asked, and gives freed addresses out again, the last
/// freed first.
class FakeAllocator {
 public:
  void* allocate(std::size_t size);
  void free(void* block);

  /// The next answers, before any address of its own; null refuses.
  std::deque<void*> answers;

  /// What was asked since the last look, in order.
  std::vector<std::string> take_events();

 private:
  std::vector<std::string> events_;
  std::vector<void*> freed_;
  std::uintptr_t count_ = 0;
};

inline void* address(std::uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

/// Slots, counters and operations as in the pool. The allocator is the caller's.
class PoolModel {
 public:
  struct Slot {
    void* mem = nullptr;
    void* mem_align = nullptr;
    std::uint32_t mem_size = 0;
    std::uint32_t mem_size_r = 0;
    std::uintptr_t mem_th = 0;
    std::uint8_t mem_in_use = 0;

    bool operator==(const Slot&) const = default;
  };

  explicit PoolModel(FakeAllocator& allocator) : allocator_(allocator) {}

  void* allocate(std::uint32_t size, std::int32_t alignment, std::uintptr_t thread);
  void deallocate(void* pointer);
  void free_extra_memory();
  void free_all();
  void shrink();

  std::array<Slot, 1024> slots;
  std::uint32_t mem_banks_used = 0;
  std::uint32_t mem_banks_really_used = 0;
  std::uint32_t mem_total_allocated = 0;
  std::uint32_t mem_total_used = 0;

 private:
  void empty(Slot& slot);
  void fill(Slot& slot, std::uint32_t size, std::int32_t alignment, std::uintptr_t thread);
  FakeAllocator& allocator_;
};

}  // namespace nuv::test
