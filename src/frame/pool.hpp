#pragma once

// The pool of work memory: freed blocks wait in a table for the next request of the same thread. The exported functions
// are declared in <nuv/nuv_services.h>.
//
// A slot of the table is empty (no block), in use, or idle (a block, free for reuse). Empty becomes in use when a block
// is appended; in use becomes idle in nuv_serv_deallocate; idle becomes in use by a later request of the thread that
// owns the slot; idle becomes empty when idle blocks are trimmed. A thread that ends leaves its idle blocks to that.
//
// A request that the allocator refuses takes a slot like any other, in use and without a block. Nobody will give that
// back: once the table is full, such slots serve new requests, so that the pool is whole again when memory is.

#include <nuv/nuv_services.h>

#include <cstddef>
#include <cstdint>

namespace nuv {

inline constexpr unsigned pool_slots = 1024;

/// Idle memory above which the next request frees all idle blocks, in bytes.
inline constexpr unsigned max_mem_nonused = 124u << 20;

/// A larger request is not pooled, in bytes.
inline constexpr unsigned largest_pooled_request = 40u << 20;

/// All but the environment words lies under the lock. The fields of a slot stand in arrays, so that a search reads only
/// what it compares. A block counts with its real size, which is what was asked for and the room for its alignment.
struct WorkspacePool {
  std::uint8_t mem_in_use[pool_slots];   ///< 1 while handed out
  void* mem_align[pool_slots];           ///< what the caller has
  std::uintptr_t mem_th[pool_slots];     ///< thread that owns the slot
  std::uint32_t mem_size_r[pool_slots];  ///< real size, bytes
  std::uint32_t mem_size[pool_slots];    ///< size last asked for, bytes
  void* mem[pool_slots];                 ///< block as the allocator gave it

  std::uint32_t mem_banks_used;         ///< slots that a search covers
  std::uint32_t mem_banks_really_used;  ///< slots that hold a block
  std::uint32_t mem_total_allocated;    ///< real sizes of all blocks held, bytes
  std::uint32_t mem_total_used;         ///< real sizes of the blocks in use, bytes

  /// What the last search for a pointer found. It stands until a word of mem_align changes or slots leave the search.
  struct {
    bool valid;
    void* pointer;
    std::uint32_t slot;
  } last_found;
};

extern WorkspacePool pool;

/// -1 until the environment was read, then 1; tested without the lock.
extern int env_readed;

/// 1 if the environment switches the pool off. Written before env_readed says so.
extern int disable_fast_mm;

/// What a routine that can't go on without memory reports in place of an argument's position.
inline constexpr int memory_refused = -1000;

/// Boundary that every routine asks for, in bytes.
inline constexpr int work_alignment = 128;

/// Work memory of a routine for `count` elements, given back at the end of the scope.
template <class T>
class Workspace {
 public:
  explicit Workspace(std::size_t count)
      : data_(count <= UINT32_MAX / sizeof(T)
                  ? static_cast<T*>(nuv_serv_allocate(static_cast<unsigned>(count * sizeof(T)), work_alignment))
                  : nullptr) {}
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;
  ~Workspace() { give_back(); }

  /// Gives the memory back before the end of its scope.
  void give_back() {
    if (data_ != nullptr) nuv_serv_deallocate(data_);
    data_ = nullptr;
  }

  /// Null if the memory was refused; the routine then takes its slower path.
  T* data() const { return data_; }

 private:
  T* data_;
};

}  // namespace nuv
