#pragma once

// What a thread layer brings: a number of threads, and a way to run a piece of work on each of them. One source file in
// each layer defines these functions.

#include <algorithm>

#include "base/types.hpp"

namespace nuv::threading {

/// Number of threads that a call may use now: 1 in the sequential layer, inside somebody else's parallel region and in
/// a forked child.
int available_threads();

/// Runs piece(context, 0) ... piece(context, pieces - 1), each on a thread of its own, and waits for all.
void run_pieces(int pieces, void (*piece)(void* context, int index), void* context);

/// Cuts 0 ... n, n > 0, into contiguous parts, one for each thread, at multiples of `grain`, and runs work(from, until)
/// on each, or all on one thread where there is little to do. The parts must write to different places; what is
/// computed for an index must not depend on where the cuts are.
template <class Work>
void split(Int n, Int grain, bool is_little, Work work) {
  const Int grains = (n - 1) / grain + 1;
  const int threads = is_little ? 1 : static_cast<int>(std::min<Int>(available_threads(), grains));
  if (threads <= 1) return work(Int{0}, n);
  struct Context {
    Int n, grain, grains;
    int threads;
    Work* work;
  } context{n, grain, grains, threads, &work};
  run_pieces(
      threads,
      [](void* pointer, int index) {
        const Context& c = *static_cast<const Context*>(pointer);
        const auto cut = [&](int i) {
          return static_cast<Int>(std::min<std::int64_t>(c.n, std::int64_t{c.grains} * i / c.threads * c.grain));
        };
        (*c.work)(cut(index), index + 1 == c.threads ? c.n : cut(index + 1));
      },
      &context);
}

}  // namespace nuv::threading
