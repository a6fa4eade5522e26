#pragma once

// What a thread layer brings: a number of threads, and ways to let them share work. One source folder in each layer
// defines these functions; in the sequential layer there is one thread and nothing to share.

#include <algorithm>
#include <limits>

#include "base/types.hpp"

namespace nuv::threading {

/// Number of threads that a call may use now: 1 in the sequential layer, inside somebody else's parallel region, in a
/// forked child, inside a piece of shared work, and while another thread's team is at work.
int available_threads();

/// Whether the layer has threads at all. Where sharing the work changes the order of sums, it is shared in such a layer
/// whatever the number of threads, by the size of the problem alone; the other layer leaves it to the serial body.
bool has_threads();

/// As available_threads, for work of some milliseconds at most; but 1 for some time after note_wait told of a thread
/// that waited long for another: the machine has other work to do then, and what such work gains is less than one more
/// wait.
int threads_for_short_work();
void note_wait(int microseconds);

/// Runs piece(context, 0) ... piece(context, pieces - 1), on at most `threads` threads that take the next piece as they
/// come free, and waits for all. The calling thread takes part, and never waits for a thread that has taken nothing.
void run_pieces(int threads, int pieces, void (*piece)(void* context, int index), void* context);

/// One team for a routine of several shared pieces of work: while such an object lives, the threads belong to the
/// thread that made it, and stay at hand between one piece of work and the next. Where they can't be had, or belong to
/// that thread already, it does nothing.
class Team {
 public:
  /// A routine of less than `least` real multiply-adds stays on its own thread: while products pass between threads,
  /// their operands pass between caches. So does one of some milliseconds for some time after another such had to wait
  /// long for a thread.
  Team(double multiply_adds, double least);
  ~Team();
  Team(const Team&) = delete;
  Team& operator=(const Team&) = delete;

  /// Tells how long this thread slept, in microseconds, when it waited for another otherwise than for the end of shared
  /// work.
  void note_sleep(int microseconds) { slept_ = std::max(slept_, microseconds); }

 private:
  bool mine_, is_short_;
  int slept_ = 0;
};

/// A count of changes to what several threads look at.
class Changes {
 public:
  std::uint32_t seen() const { return __atomic_load_n(&count_, __ATOMIC_ACQUIRE); }

  /// Returns when there has been a change since the count was `seen`; sleeps if that takes longer than microseconds,
  /// and gives how many it slept.
  int wait_beyond(std::uint32_t seen);

  void announce();

 private:
  std::uint32_t count_ = 0, sleepers_ = 0;
};

/// Real multiply-adds below which a second thread costs more than it brings; a piece of shared work has a quarter of
/// them at least.
inline constexpr double work_for_two_threads = 200e3;

/// Pieces for each thread: enough that a thread that is held up leaves most of its share to others.
inline constexpr int pieces_per_thread = 4;

/// How a range may be cut.
struct Cuts {
  Int grain;  ///< at multiples of it
  Int wide;   ///< a part of that many pays what it must do for itself, such as packing an operand; narrower ones are
              ///< only made to give each thread one
  Int most = std::numeric_limits<Int>::max();  ///< parts, > 0
};

/// Cuts 0 ... n, n > 0, into contiguous parts and runs work(from, until) on each, on all threads, or on the whole where
/// there is little to do. The parts must write to different places; what is computed for an index must not depend on
/// where the cuts are.
///
/// multiply_adds   of the whole, real ones
template <class Work>
void split(Int n, Cuts cuts, double multiply_adds, Work work) {
  if (multiply_adds < work_for_two_threads || n <= cuts.grain) return work(Int{0}, n);
  const Int grains = (n - 1) / cuts.grain + 1;
  const double most = multiply_adds / (work_for_two_threads / 4);
  const Int most_pieces = std::min(cuts.most, most < grains ? static_cast<Int>(most) : grains);
  const Int threads = std::min<Int>(available_threads(), most_pieces);
  if (threads <= 1) return work(Int{0}, n);
  struct Context {
    Int n, grain, grains, pieces;
    Work* work;
  } context{n, cuts.grain, grains,
            std::min(most_pieces, std::clamp(n / cuts.wide, threads, threads * pieces_per_thread)), &work};
  run_pieces(
      threads, context.pieces,
      [](void* pointer, int index) {
        const Context& c = *static_cast<const Context*>(pointer);
        const auto cut = [&](int i) {
          return static_cast<Int>(std::min<std::int64_t>(c.n, std::int64_t{c.grains} * i / c.pieces * c.grain));
        };
        (*c.work)(cut(index), cut(index + 1));
      },
      &context);
}

}  // namespace nuv::threading
