#include "frame/pool.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/lock.hpp"
#include "frame/plain_word.hpp"

void* (*i_malloc)(std::size_t) = std::malloc;
void* (*i_calloc)(std::size_t, std::size_t) = std::calloc;
void* (*i_realloc)(void*, std::size_t) = std::realloc;
void (*i_free)(void*) = std::free;

namespace nuv {

WorkspacePool pool;
int env_readed = -1;
int disable_fast_mm = -1;

namespace {

constexpr unsigned no_slot = pool_slots;

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

/// Acquire and release keep disable_fast_mm behind env_readed; on x86 they cost nothing.
bool pool_is_off() {
  if (__atomic_load_n(&env_readed, __ATOMIC_ACQUIRE) == -1) NUV_read_env();
  return plain_load(disable_fast_mm) == 1;
}

struct Request {
  std::uint32_t size;
  std::uint32_t room;  ///< bytes beyond size, so that the pointer can move up to a boundary
  std::uintptr_t mask;
  std::uintptr_t thread;

  Request(unsigned size_, int alignment, std::uintptr_t thread_)
      : size(size_),
        room(alignment < 8 ? 0 : static_cast<std::uint32_t>(alignment)),
        mask(alignment < 8 ? 0 : static_cast<std::uintptr_t>(alignment) - 1),
        thread(thread_) {}

  std::uint32_t real_size() const { return size + room; }

  /// A block on the boundary stays, any other moves up to the next one.
  void* align(void* block) const {
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t below = address - (address & mask);
    return reinterpret_cast<void*>(below == address ? below : below + room);
  }
};

void hand_out(unsigned slot, void* pointer) {
  if (pool.mem_align[slot] == pointer) return;
  pool.mem_align[slot] = pointer;
  pool.last_found.valid = false;
}

void clear_block(unsigned slot) {
  pool.mem[slot] = nullptr;
  hand_out(slot, nullptr);
  pool.mem_size[slot] = 0;
  pool.mem_size_r[slot] = 0;
  pool.mem_th[slot] = 0;
}

/// Gives a block back to the allocator and leaves the slot empty.
void release_block(unsigned slot) {
  i_free(pool.mem[slot]);
  pool.mem_total_allocated -= pool.mem_size_r[slot];
  --pool.mem_banks_really_used;
  clear_block(slot);
}

/// Frees the idle blocks of all threads.
void trim() {
  for (unsigned slot = pool.mem_banks_used; slot-- > 0;) {
    if (pool.mem_in_use[slot] == 0 && pool.mem_size_r[slot] != 0) release_block(slot);
  }
}

/// The first slot from `slot` on that is not in use, or the number of slots searched.
unsigned next_not_in_use(unsigned slot) {
  if (slot >= pool.mem_banks_used) return pool.mem_banks_used;
  if (pool.mem_in_use[slot] == 0) return slot;
  const std::uint8_t* from = pool.mem_in_use + slot;
  const void* found = std::memchr(from, 0, pool.mem_banks_used - slot);
  if (found == nullptr) return pool.mem_banks_used;
  return slot + static_cast<unsigned>(static_cast<const std::uint8_t*>(found) - from);
}

std::uint32_t low_word(std::uintptr_t word) {
  return static_cast<std::uint32_t>(word);
}
std::uint32_t low_word(const void* word) {
  return low_word(reinterpret_cast<std::uintptr_t>(word));
}

/// Slots looked at in one go, from a multiple of their number on.
constexpr unsigned scan_width = 32;
static_assert(pool_slots % scan_width == 0);

/// False if none of scan_width words is the one wanted. Their low halves compared without an early way out go through
/// vector registers, several slots at a time.
template <class Word>
bool may_hold(const Word* words, const Word wanted) {
  std::uint32_t found = 0;
  for (unsigned i = 0; i < scan_width; ++i) found |= low_word(words[i]) == low_word(wanted);
  return found != 0;
}

/// What a thread's own free slots offer to a request: the first slot of each kind.
struct Offer {
  unsigned fitting = no_slot;  ///< of exactly the real size, else the first larger one
  unsigned smaller = no_slot;
  bool empty = false;  ///< a slot whose block has no size was seen
};

Offer search_slots(const Request& request) {
  Offer offer;
  const std::uint32_t wanted = request.real_size();
  for (unsigned slot = next_not_in_use(0); slot < pool.mem_banks_used; slot = next_not_in_use(slot + 1)) {
    if (pool.mem_th[slot] != request.thread) {
      const bool at_stretch = slot % scan_width == 0;
      if (at_stretch && !may_hold(pool.mem_th + slot, request.thread)) slot += scan_width - 1;
      continue;
    }
    const std::uint32_t held = pool.mem_size_r[slot];
    if (held == wanted) {
      offer.fitting = slot;
      return offer;
    }
    if (held == 0) {
      offer.empty = true;
    } else if (held > wanted) {
      if (offer.fitting == no_slot) offer.fitting = slot;
    } else if (offer.smaller == no_slot) {
      offer.smaller = slot;
    }
  }
  return offer;
}

/// Hands out the block that a slot holds; the whole block counts as used.
void reuse_block(unsigned slot, const Request& request) {
  pool.mem_in_use[slot] = 1;
  pool.mem_size[slot] = request.size;
  pool.mem_total_used += pool.mem_size_r[slot];
  hand_out(slot, request.align(pool.mem[slot]));
}

/// Puts a new block into a slot. A refusal counts like a block, until a full table needs the slot.
void fill_slot(unsigned slot, const Request& request) {
  pool.mem[slot] = i_malloc(request.real_size());
  pool.mem_th[slot] = request.thread;
  pool.mem_in_use[slot] = 1;
  pool.mem_size[slot] = request.size;
  pool.mem_size_r[slot] = request.real_size();
  pool.mem_total_allocated += request.real_size();
  pool.mem_total_used += request.real_size();
  hand_out(slot, request.align(pool.mem[slot]));
}

/// The first slot that counts as in use although its request was refused, so that nobody holds it; or no_slot.
unsigned first_refused() {
  void* const no_block = nullptr;
  for (unsigned first = 0; first < pool.mem_banks_used; first += scan_width) {
    if (!may_hold(pool.mem + first, no_block)) continue;
    for (unsigned slot = first; slot < first + scan_width; ++slot) {
      if (pool.mem[slot] == no_block && pool.mem_in_use[slot] != 0) return slot;
    }
  }
  return no_slot;
}

/// The slot that serves a request, or no_slot when the table is full of others.
unsigned serve(const Request& request) {
  const Offer offer = search_slots(request);
  if (offer.fitting != no_slot) {
    reuse_block(offer.fitting, request);
    return offer.fitting;
  }
  if (const unsigned end = pool.mem_banks_used; end < pool_slots) {
    fill_slot(end, request);
    ++pool.mem_banks_really_used;
    // Behind a slot whose block has no size, which only a request of size 0 without room leaves, the new block stays
    // out of the search: its pointer goes back through i_free, and the next block appended takes over the slot.
    if (!offer.empty) ++pool.mem_banks_used;
    return end;
  }
  if (offer.smaller != no_slot) {
    i_free(pool.mem[offer.smaller]);
    pool.mem_total_allocated -= pool.mem_size_r[offer.smaller];
    fill_slot(offer.smaller, request);
    return offer.smaller;
  }
  const unsigned refused = first_refused();
  if (refused != no_slot) {
    pool.mem_total_allocated -= pool.mem_size_r[refused];
    pool.mem_total_used -= pool.mem_size_r[refused];
    fill_slot(refused, request);
  }
  return refused;
}

unsigned scan_for_pointer(void* pointer) {
  for (unsigned first = 0; first < pool.mem_banks_used; first += scan_width) {
    if (!may_hold(pool.mem_align + first, pointer)) continue;
    const unsigned end = std::min(first + scan_width, pool.mem_banks_used);
    for (unsigned slot = first; slot < end; ++slot) {
      if (pool.mem_align[slot] == pointer) return slot;
    }
  }
  return no_slot;
}

/// The first slot with that pointer, or no_slot.
unsigned find_pointer(void* pointer) {
  auto& last = pool.last_found;
  if (last.valid && last.pointer == pointer) return last.slot;
  const unsigned slot = scan_for_pointer(pointer);
  if (slot != no_slot) last = {true, pointer, slot};
  return slot;
}

void print_report() {
  std::printf("\n------------------------");
  for (unsigned i = 0; i < pool.mem_banks_used; ++i) {
    std::printf("\nbank:%3d  USED:%1d   size(%6d %6d)  thr:%016lx   %16p %16p", static_cast<int>(i), pool.mem_in_use[i],
                static_cast<int>(pool.mem_size[i]), static_cast<int>(pool.mem_size_r[i]),
                static_cast<unsigned long>(pool.mem_th[i]), pool.mem[i], pool.mem_align[i]);
  }
  std::printf("\n\nAlocated   %d\nused       %d", static_cast<int>(pool.mem_total_allocated),
              static_cast<int>(pool.mem_total_used));
  std::printf("\n\nbanks      %d\nreally     %d", static_cast<int>(pool.mem_banks_used),
              static_cast<int>(pool.mem_banks_really_used));
  std::printf("\n------------------------");
}

void move_slot(unsigned from, unsigned to) {
  pool.mem[to] = pool.mem[from];
  hand_out(to, pool.mem_align[from]);
  pool.mem_size[to] = pool.mem_size[from];
  pool.mem_size_r[to] = pool.mem_size_r[from];
  pool.mem_th[to] = pool.mem_th[from];
  pool.mem_in_use[to] = pool.mem_in_use[from];
  clear_block(from);
  pool.mem_in_use[from] = 0;
}

/// The lowest slot without a block; `end` if all below it hold one.
unsigned first_without_block(unsigned end) {
  unsigned slot = 0;
  while (slot < end && pool.mem[slot] != nullptr) ++slot;
  return slot;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

void* nuv_serv_allocate(unsigned size, int alignment) {
  if (pool_is_off() || size > largest_pooled_request) return i_malloc(size);
  const Request request(size, alignment, pthread_self());
  {
    const Lock lock;
    if (pool.mem_total_allocated - pool.mem_total_used > max_mem_nonused) trim();
    const unsigned slot = serve(request);
    if (slot != no_slot) return pool.mem_align[slot];
  }
  return i_malloc(size);
}

void nuv_serv_deallocate(void* pointer) {
  if (!pool_is_off()) {
    const Lock lock;
    const unsigned slot = find_pointer(pointer);
    if (slot != no_slot) {
      pool.mem_in_use[slot] = 0;
      pool.mem_total_used -= pool.mem_size_r[slot];
      return;
    }
  }
  i_free(pointer);
}

void nuv_free_extra_mem() {
  trim();
}

void nuv_serv_freebuffers() {
  if (pool_is_off()) return;
  const Lock lock;
  print_report();
  for (unsigned slot = 0; slot < pool.mem_banks_used; ++slot) {
    if (pool.mem_size[slot] != 0 && pool.mem[slot] != nullptr) release_block(slot);
  }
  pool.mem_banks_used = 0;
  pool.mem_banks_really_used = 0;
  pool.mem_total_allocated = 0;
  pool.mem_total_used = 0;
  pool.last_found.valid = false;
}

/// Only slots without a block move, and the count of blocks becomes the count of slots whatever moved: a block held
/// above it drops out of the search. Blocks that were kept out of the search can make that count exceed the table.
int NUV_shrink_mem_slots() {
  std::uint32_t left = pool.mem_banks_used;
  for (unsigned slot = pool.mem_banks_used; slot-- > 0 && left != pool.mem_banks_really_used;) {
    if (pool.mem[slot] != nullptr) continue;
    const unsigned target = first_without_block(slot);
    if (target == slot) continue;
    move_slot(slot, target);
    --left;
  }
  pool.mem_banks_used = std::min(pool.mem_banks_really_used, pool_slots);
  pool.last_found.valid = false;
  return 0;
}

int NUV_read_env() {
  const Lock lock;
  if (env_readed != 1) {
    plain_store(disable_fast_mm, is_set("NUV_DISABLE_FAST_MM") || is_set("NUV_MM_DISABLE") ? 1 : 0);
    __atomic_store_n(&env_readed, 1, __ATOMIC_RELEASE);
  }
  return 0;
}

unsigned long NUV_ThreadID() {
  return pthread_self();
}
