#include "frame/pool_model.hpp"

#include <algorithm>
#include <utility>

namespace nuv::test {

void* FakeAllocator::allocate(std::size_t size) {
  events_.push_back(allocator_event('+', size));
  if (!answers.empty()) {
    void* answer = answers.front();
    answers.pop_front();
    return answer;
  }
  if (!freed_.empty()) {
    void* block = freed_.back();
    freed_.pop_back();
    return block;
  }
  // Sixteen bytes apart at least, at every remainder to a larger boundary. Where addresses have room for it, pairs
  // share their low 32 bits.
  const std::uintptr_t high = sizeof(void*) == 8 ? (count_ % 2 + 1) << (sizeof(void*) * 4) : 0;
  const std::uintptr_t low = 0x100000 + (sizeof(void*) == 8 ? count_ / 2 : count_) * 0x1f0;
  ++count_;
  return address(high + low);
}

void FakeAllocator::free(void* block) {
  events_.push_back(allocator_event('-', reinterpret_cast<std::uintptr_t>(block)));
  if (block != nullptr) freed_.push_back(block);
}

std::vector<std::string> FakeAllocator::take_events() {
  return std::exchange(events_, {});
}

namespace {

std::uint32_t room_for(std::int32_t alignment) {
  return alignment < 8 ? 0 : static_cast<std::uint32_t>(alignment);
}

void* aligned(void* block, std::int32_t alignment) {
  const std::uintptr_t mask = alignment < 8 ? 0 : static_cast<std::uintptr_t>(alignment) - 1;
  const auto p = reinterpret_cast<std::uintptr_t>(block);
  std::uintptr_t q = p - (p & mask);
  if (q != p) q += room_for(alignment);
  return address(q);
}

}  // namespace

void PoolModel::empty(Slot& slot) {
  allocator_.free(slot.mem);
  mem_total_allocated -= slot.mem_size_r;
  const std::uint8_t in_use = slot.mem_in_use;
  slot = {};
  slot.mem_in_use = in_use;
  mem_banks_really_used -= 1;
}

void PoolModel::fill(Slot& slot, std::uint32_t size, std::int32_t alignment, std::uintptr_t thread) {
  const std::uint32_t real_size = size + room_for(alignment);
  slot.mem = allocator_.allocate(real_size);
  slot.mem_align = aligned(slot.mem, alignment);
  slot.mem_size = size;
  slot.mem_size_r = real_size;
  slot.mem_th = thread;
  slot.mem_in_use = 1;
  mem_total_allocated += real_size;
  mem_total_used += real_size;
}

void* PoolModel::allocate(std::uint32_t size, std::int32_t alignment, std::uintptr_t thread) {
  if (size > 41943040) return allocator_.allocate(size);
  if (mem_total_allocated - mem_total_used > 130023424) free_extra_memory();
  const std::uint32_t real_size = size + room_for(alignment);

  Slot *exact = nullptr, *larger = nullptr, *smaller = nullptr;
  bool empty_seen = false;
  for (std::uint32_t i = 0; i < mem_banks_used && exact == nullptr; ++i) {
    Slot& slot = slots[i];
    if (slot.mem_th != thread || slot.mem_in_use != 0) continue;
    if (slot.mem_size_r == real_size) {
      exact = &slot;
    } else if (slot.mem_size_r > real_size) {
      if (larger == nullptr) larger = &slot;
    } else if (slot.mem_size_r != 0) {
      if (smaller == nullptr) smaller = &slot;
    } else {
      empty_seen = true;
    }
  }

  if (Slot* slot = exact != nullptr ? exact : larger; slot != nullptr) {
    slot->mem_in_use = 1;
    slot->mem_size = size;
    mem_total_used += slot->mem_size_r;
    return slot->mem_align = aligned(slot->mem, alignment);
  }
  if (empty_seen && mem_banks_used < 1024) {
    Slot& slot = slots[mem_banks_used];
    fill(slot, size, alignment, thread);
    mem_banks_really_used += 1;
    return slot.mem_align;
  }
  if (mem_banks_used < 1024) {
    Slot& slot = slots[mem_banks_used];
    fill(slot, size, alignment, thread);
    mem_banks_used += 1;
    mem_banks_really_used += 1;
    return slot.mem_align;
  }
  if (smaller != nullptr) {
    allocator_.free(smaller->mem);
    mem_total_allocated -= smaller->mem_size_r;
    fill(*smaller, size, alignment, thread);
    return smaller->mem_align;
  }
  for (Slot& slot : slots) {
    if (slot.mem != nullptr || slot.mem_in_use == 0) continue;
    mem_total_allocated -= slot.mem_size_r;
    mem_total_used -= slot.mem_size_r;
    fill(slot, size, alignment, thread);
    return slot.mem_align;
  }
  return allocator_.allocate(size);
}

void PoolModel::deallocate(void* pointer) {
  for (std::uint32_t i = 0; i < mem_banks_used; ++i) {
    if (slots[i].mem_align != pointer) continue;
    slots[i].mem_in_use = 0;
    mem_total_used -= slots[i].mem_size_r;
    return;
  }
  allocator_.free(pointer);
}

void PoolModel::free_extra_memory() {
  for (std::uint32_t i = mem_banks_used; i-- > 0;) {
    if (slots[i].mem_in_use == 0 && slots[i].mem_size_r != 0) empty(slots[i]);
  }
}

void PoolModel::free_all() {
  for (std::uint32_t i = 0; i < mem_banks_used; ++i) {
    if (slots[i].mem_size != 0 && slots[i].mem != nullptr) empty(slots[i]);
  }
  mem_banks_used = mem_banks_really_used = mem_total_allocated = mem_total_used = 0;
}

void PoolModel::shrink() {
  std::uint32_t count = mem_banks_used;
  for (std::uint32_t k = mem_banks_used; k-- > 0;) {
    if (count == mem_banks_really_used) break;
    if (k == 0 || slots[k].mem != nullptr) continue;
    for (std::uint32_t j = 0; j < k; ++j) {
      if (slots[j].mem != nullptr) continue;
      slots[j] = slots[k];
      slots[k] = {};
      count -= 1;
      break;
    }
  }
  mem_banks_used = std::min<std::uint32_t>(mem_banks_really_used, 1024);
}

}  // namespace nuv::test
