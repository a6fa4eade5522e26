// What work memory costs: a pair of nuv_serv_allocate and nuv_serv_deallocate beside malloc and free of the same size,
// from one thread, warm, while other blocks are handed out. The pool searches its table from the start, so the block
// that goes back and forth stands behind all the live ones, which is the worst place for it.

#include <benchmark/benchmark.h>
#include <nuv/nuv_services.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

constexpr unsigned block_size = 64 << 10;  // bytes
constexpr int alignment = 128;

// Leaves the pool as at the start, so that no benchmark measures what another left.
void empty_pool(const std::vector<void*>& blocks) {
  for (void* block : blocks) nuv_serv_deallocate(block);
  nuv_free_extra_mem();
  NUV_shrink_mem_slots();
}

void allocator_pair(benchmark::State& state) {
  std::vector<void*> live(state.range(0));
  for (void*& block : live) block = std::malloc(block_size);
  for (auto _ : state) {
    void* block = std::malloc(block_size);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
  for (void* block : live) std::free(block);
}

void pool_pair(benchmark::State& state) {
  std::vector<void*> live(state.range(0));
  for (void*& block : live) block = nuv_serv_allocate(block_size, alignment);
  for (auto _ : state) {
    void* block = nuv_serv_allocate(block_size, alignment);
    benchmark::DoNotOptimize(block);
    nuv_serv_deallocate(block);
  }
  empty_pool(live);
}

// Two blocks in turn, given back in the opposite order: every search for a pointer goes through the whole table. Time
// per pair.
void pool_nested_pairs(benchmark::State& state) {
  std::vector<void*> live(state.range(0));
  for (void*& block : live) block = nuv_serv_allocate(block_size, alignment);
  for (auto _ : state) {
    void* outer = nuv_serv_allocate(block_size, alignment);
    void* inner = nuv_serv_allocate(block_size, alignment);
    benchmark::DoNotOptimize(outer);
    benchmark::DoNotOptimize(inner);
    nuv_serv_deallocate(inner);
    nuv_serv_deallocate(outer);
  }
  state.SetItemsProcessed(2 * state.iterations());
  empty_pool(live);
}

// Idle blocks of a smaller size stand before the one that fits: every search looks at each of them.
void pool_pair_behind_idle(benchmark::State& state) {
  std::vector<void*> idle(state.range(0));
  for (void*& block : idle) block = nuv_serv_allocate(block_size / 2, alignment);
  void* fitting = nuv_serv_allocate(block_size, alignment);
  for (void* block : idle) nuv_serv_deallocate(block);
  nuv_serv_deallocate(fitting);
  for (auto _ : state) {
    void* block = nuv_serv_allocate(block_size, alignment);
    benchmark::DoNotOptimize(block);
    nuv_serv_deallocate(block);
  }
  empty_pool({});
}

BENCHMARK(allocator_pair)->Arg(1)->Arg(16)->Arg(512);
BENCHMARK(pool_pair)->Arg(1)->Arg(16)->Arg(512);
BENCHMARK(pool_nested_pairs)->Arg(1)->Arg(16)->Arg(512);
BENCHMARK(pool_pair_behind_idle)->Arg(1)->Arg(16)->Arg(512);

}  // namespace
