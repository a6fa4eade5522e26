// Long made-up sequences of pool operations, from two threads, against the pool written down plainly.

#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <random>
#include <vector>

#include "frame/pool.hpp"
#include "frame/pool_fixture.hpp"
#include "frame/pool_model.hpp"

namespace nuv::test {
namespace {

class PoolAgainstModel : public Pool, public testing::WithParamInterface<unsigned> {
 protected:
  PoolAgainstModel() : random(GetParam()), model(model_allocator) { NUV_read_env(); }

  unsigned below(unsigned bound) { return std::uniform_int_distribution<unsigned>(0, bound - 1)(random); }

  unsigned some_size() {
    const unsigned sizes[] = {0, 1, 100, 1000, 1000, 5000, 40 * mebibyte, 41943041};
    return below(4) == 0 ? below(20000) : sizes[below(std::size(sizes))];
  }

  void allocate() {
    const int alignments[] = {0, 4, 8, 16, 128, 128, 128, 4096};
    const unsigned size = some_size();
    const int alignment = alignments[below(std::size(alignments))];
    if (below(20) == 0) {
      fake.answers.push_back(nullptr);
      model_allocator.answers.push_back(nullptr);
    }
    void* pointer = nullptr;
    const auto work = [&] {
      pointer = nuv_serv_allocate(size, alignment);
      EXPECT_EQ(model.allocate(size, alignment, pthread_self()), pointer);
    };
    below(20) == 0 ? in_another_thread(work) : work();
    if (pointer != nullptr || below(8) == 0) pointers.push_back(pointer);
  }

  // Mostly a block that is out, now and then one that came back long ago or a null pointer.
  void deallocate() {
    if (pointers.empty()) return;
    const unsigned index = below(2) == 0 ? pointers.size() - 1 : below(pointers.size());
    void* pointer = below(100) == 0 ? nullptr : pointers[index];
    nuv_serv_deallocate(pointer);
    model.deallocate(pointer);
    if (below(200) != 0) pointers.erase(pointers.begin() + index);
  }

  void tidy_up() {
    switch (below(4)) {
      case 0:
        nuv_free_extra_mem();
        return model.free_extra_memory();
      case 1:
        NUV_shrink_mem_slots();
        return model.shrink();
      case 2:
        nuv_free_extra_mem();
        NUV_shrink_mem_slots();
        model.free_extra_memory();
        return model.shrink();
      default:
        testing::internal::CaptureStdout();
        nuv_serv_freebuffers();
        testing::internal::GetCapturedStdout();
        return model.free_all();
    }
  }

  void expect_agreement() {
    expect_counters(model.mem_banks_used, model.mem_banks_really_used, model.mem_total_allocated, model.mem_total_used);
    EXPECT_EQ(fake.take_events(), model_allocator.take_events());
    for (unsigned i = 0; i < pool_slots; ++i) {
      const PoolModel::Slot slot = {pool.mem[i],        pool.mem_align[i], pool.mem_size[i],
                                    pool.mem_size_r[i], pool.mem_th[i],    pool.mem_in_use[i]};
      ASSERT_EQ(slot, model.slots[i]) << "slot " << i;
    }
  }

  std::mt19937 random;
  FakeAllocator model_allocator;
  PoolModel model;
  std::vector<void*> pointers;
};

TEST_P(PoolAgainstModel, AnySequenceLeavesTheSameState) {
  // Every other sequence begins with a table that is nearly full.
  for (int i = 0; i < 1000 && GetParam() % 2 == 0; ++i) allocate();
  // Runs of mostly requests, to fill the table, alternate with runs of mostly releases.
  for (int step = 0; step < 12000; ++step) {
    const unsigned releases = step / 1500 % 2 == 0 ? 35 : 65;
    if (below(1500) == 0) {
      tidy_up();
    } else if (below(100) < releases) {
      deallocate();
    } else {
      allocate();
    }
    expect_agreement();
    if (HasFailure()) FAIL() << "in step " << step << " of seed " << GetParam();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PoolAgainstModel, testing::Range(1u, 7u));

}  // namespace
}  // namespace nuv::test
