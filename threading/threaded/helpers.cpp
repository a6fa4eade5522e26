#include "threading/threaded/helpers.hpp"

#include <pthread.h>
#include <sched.h>
#include <signal.h>

#include <algorithm>
#include <cstdint>

#include "frame/plain_word.hpp"
#include "threading/runtime.hpp"
#include "threading/threaded/waiting.hpp"

namespace nuv::threading {
namespace {

/// How long a helper watches for the next work before it sleeps, and the caller for the end of the last piece, in
/// microseconds: longer than what lies between two products of a routine, or between two small factorisations of a
/// program that copies its matrices; shorter than anybody else would notice.
constexpr int watch_for_work = 100, watch_for_end = 20;

/// What a helper on the owner's processor counts as having been waited for, in microseconds: the system runs one of
/// them at a time, for about that long.
constexpr int turn_of_another = 1000;

constexpr std::size_t stack_bytes = 2 << 20;

/// What is left of the work in hand, in one word: pieces first ... last - 1 are not taken, and so many helpers may take
/// part. The owner takes pieces from the front and helpers from the back: where a routine shares one product after the
/// other over the columns of a matrix, most columns stay in the cache of one processor.
struct Rest {
  int first, last, helpers;

  static constexpr int bits = 12;
  static constexpr std::uint32_t mask = (1u << bits) - 1;
  static_assert(most_threads * pieces_per_thread <= mask && most_threads <= 1 << (32 - 2 * bits));

  explicit Rest(std::uint32_t word)
      : first(word & mask), last(word >> bits & mask), helpers(static_cast<int>(word >> 2 * bits)) {}
  Rest(int pieces, int helpers_) : first(0), last(pieces), helpers(helpers_) {}

  std::uint32_t word() const {
    return static_cast<std::uint32_t>(first) | static_cast<std::uint32_t>(last) << bits |
           static_cast<std::uint32_t>(helpers) << 2 * bits;
  }

  bool offers_to(int helper) const { return first < last && helper < helpers; }

  /// The piece that the helper, or the owner (-1), gets.
  int take(int helper) { return helper < 0 ? first++ : --last; }
};

/// The work in hand. One thread at a time, the owner, has work to share; the words besides these two stand still from
/// the taking of the first piece to the end of the last.
struct alignas(64) Work {
  Piece piece;
  void* context;
  std::uint32_t pieces;
  int processor;  ///< that the owner began it on

  alignas(64) std::uint32_t rest;
  alignas(64) std::uint32_t done;  ///< pieces
  std::uint32_t owner_sleeps;
};
Work work;

/// Counts the works; helpers watch it.
alignas(64) std::uint32_t works = 0;

/// 1 while helper i sleeps, or is about to.
struct alignas(64) Bed {
  std::uint32_t asleep;
};
Bed beds[most_threads - 1];

/// Helpers that there are; only the owner makes more.
int helper_count = 0;

/// The thread that has the helpers, as pthread_self tells it, or 0; and whether it can't give them work, because it has
/// some in hand or doesn't want to.
std::uintptr_t owner = 0;
bool occupied = false;

/// How long the owner slept at most until the helpers ended their work, in microseconds.
int longest_sleep = 0;

/// 1 if a helper worked where the owner had begun: the system has no other processor for it, and one of them waited
/// while the other ran.
std::uint32_t were_in_one_place = 0;

/// Takes pieces until none is left; the owner counts as helper -1. Tells whether it came where the owner had begun.
bool take_pieces(int helper) {
  bool in_one_place = false;
  std::uint32_t word = __atomic_load_n(&work.rest, __ATOMIC_ACQUIRE);
  while (Rest(word).offers_to(helper)) {
    Rest rest(word);
    const int index = rest.take(helper);
    if (!__atomic_compare_exchange_n(&work.rest, &word, rest.word(), true, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE))
      continue;
    const std::uint32_t pieces = work.pieces;
    if (helper >= 0 && sched_getcpu() == work.processor) {
      in_one_place = true;
      __atomic_store_n(&were_in_one_place, 1, __ATOMIC_RELAXED);
    }
    work.piece(work.context, index);
    // The last touch of this work: the owner may go on to the next.
    if (__atomic_add_fetch(&work.done, 1, __ATOMIC_SEQ_CST) == pieces &&
        __atomic_load_n(&work.owner_sleeps, __ATOMIC_SEQ_CST) != 0) {
      wake_all(work.done);
    }
    word = __atomic_load_n(&work.rest, __ATOMIC_ACQUIRE);
  }
  return in_one_place;
}

void wake_helper(int helper) {
  if (helper >= plain_load(helper_count)) return;
  std::uint32_t& asleep = beds[helper].asleep;
  if (__atomic_load_n(&asleep, __ATOMIC_SEQ_CST) == 0) return;
  __atomic_store_n(&asleep, 0, __ATOMIC_SEQ_CST);
  wake_all(asleep);
}

/// The owner (-1) wakes the first few helpers, each of which wakes a few others, so that many are awake soon.
void wake_those_behind(int helper, int helpers) {
  constexpr int few = 8;
  const int first = (helper + 1) * few;
  for (int i = first; i < std::min(first + few, helpers); ++i) wake_helper(i);
}

void* help(void* argument) {
  const int helper = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
  std::uint32_t& asleep = beds[helper].asleep;
  // A new helper takes part in the work that it was made for.
  for (std::uint32_t seen = __atomic_load_n(&works, __ATOMIC_ACQUIRE);;) {
    // While it watched there, the owner would wait.
    const bool in_one_place = take_pieces(helper);
    if (in_one_place || !watch(works, seen, watch_for_work)) {
      __atomic_store_n(&asleep, 1, __ATOMIC_SEQ_CST);
      while (__atomic_load_n(&works, __ATOMIC_SEQ_CST) == seen && __atomic_load_n(&asleep, __ATOMIC_SEQ_CST) == 1) {
        sleep_while(asleep, 1);
      }
      __atomic_store_n(&asleep, 0, __ATOMIC_SEQ_CST);
    }
    seen = __atomic_load_n(&works, __ATOMIC_ACQUIRE);
    const int helpers = Rest(__atomic_load_n(&work.rest, __ATOMIC_ACQUIRE)).helpers;
    if (helper < helpers) wake_those_behind(helper, helpers);
  }
}

/// Makes helpers until there are so many, as far as the system lets it. They take no signals: these are for the
/// program's own threads.
void make_helpers(int wanted) {
  if (helper_count >= wanted) return;
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_attr_setstacksize(&attributes, stack_bytes);
  while (helper_count < wanted) {
    pthread_t thread;
    void* const number = reinterpret_cast<void*>(std::intptr_t{helper_count});
    if (pthread_create(&thread, &attributes, help, number) != 0) break;
    plain_store(helper_count, helper_count + 1);
  }
  pthread_attr_destroy(&attributes);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

std::uintptr_t self() {
  return static_cast<std::uintptr_t>(pthread_self());
}

void wait_for_the_end(std::uint32_t pieces) {
  for (;;) {
    const std::uint32_t done = __atomic_load_n(&work.done, __ATOMIC_SEQ_CST);
    if (done == pieces) return;
    if (watch(work.done, done, watch_for_end)) continue;
    const std::int64_t start = now_in_microseconds();
    __atomic_store_n(&work.owner_sleeps, 1, __ATOMIC_SEQ_CST);
    sleep_while(work.done, done);
    __atomic_store_n(&work.owner_sleeps, 0, __ATOMIC_SEQ_CST);
    const std::int64_t slept = std::min<std::int64_t>(now_in_microseconds() - start, INT32_MAX);
    longest_sleep = std::max(longest_sleep, static_cast<int>(slept));
  }
}

}  // namespace

bool take_helpers() {
  std::uintptr_t nobody = 0;
  return __atomic_compare_exchange_n(&owner, &nobody, self(), false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
}

void rest_helpers() {
  occupied = true;
}

int release_helpers() {
  const bool in_one_place = __atomic_exchange_n(&were_in_one_place, 0, __ATOMIC_RELAXED) != 0;
  const int waited = in_one_place ? std::max(longest_sleep, turn_of_another) : longest_sleep;
  longest_sleep = 0;
  occupied = false;
  __atomic_store_n(&owner, 0, __ATOMIC_RELEASE);
  return waited;
}

bool helpers_are_ready() {
  return plain_load(owner) == self() && !occupied;
}

bool helpers_are_free() {
  return plain_load(owner) == 0;
}

void share_pieces(int threads, int pieces, Piece piece, void* context) {
  const int helpers = std::min({threads, pieces, most_threads}) - 1;
  make_helpers(helpers);
  occupied = true;
  work.piece = piece;
  work.context = context;
  work.pieces = static_cast<std::uint32_t>(pieces);
  work.processor = sched_getcpu();
  __atomic_store_n(&work.done, 0, __ATOMIC_RELAXED);
  __atomic_store_n(&work.rest, Rest(pieces, helpers).word(), __ATOMIC_SEQ_CST);
  __atomic_add_fetch(&works, 1, __ATOMIC_SEQ_CST);
  wake_those_behind(-1, helpers);

  take_pieces(-1);
  wait_for_the_end(work.pieces);
  occupied = false;
}

}  // namespace nuv::threading
