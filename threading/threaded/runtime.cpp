// The layer that works on several threads. They are its own: a program's OpenMP, with its settings, its threads and
// what they keep, is asked for two things and never touched.

#include "threading/runtime.hpp"

#include <nuv/nuv_services.h>
#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>

#include "frame/plain_word.hpp"
#include "threading/threaded/application.hpp"
#include "threading/threaded/helpers.hpp"
#include "threading/threaded/waiting.hpp"

namespace {

using nuv::plain_load;
using nuv::plain_store;
using namespace nuv::threading;

/// Number of threads that a call asked for; 0 leaves it to the environment.
int requested_threads = 0;

/// A child made by fork has the one thread that made it.
bool in_forked_child = false;

[[gnu::constructor]] void watch_forks() {
  pthread_atfork(nullptr, nullptr, [] { plain_store(in_forked_child, true); });
}

/// The number that a variable of the environment gives, cut to most_threads; 0 if it is not a decimal number above zero
/// that fits an int, and nothing else. `end` is a character behind which the rest of the text doesn't count.
int number_from(const char* variable, char end) {
  const char* text = std::getenv(variable);
  if (text == nullptr) return 0;
  long long number = 0;
  const char* c = text;
  for (; *c >= '0' && *c <= '9'; ++c) {
    number = 10 * number + (*c - '0');
    if (number > INT32_MAX) return 0;
  }
  if (c == text || (*c != '\0' && *c != end)) return 0;
  return static_cast<int>(std::min<long long>(number, most_threads));
}

int first_above_zero(std::initializer_list<int (*)()> candidates) {
  for (const auto candidate : candidates) {
    if (const int number = candidate(); number > 0) return number;
  }
  return 1;
}

int configured_threads() {
  const int threads = first_above_zero({
      [] { return plain_load(requested_threads); },
      [] { return number_from("NUV_NUM_THREADS", '\0'); },
      threads_of_openmp,
      [] { return number_from("OMP_NUM_THREADS", ','); },
      processors,
  });
  return std::min(threads, most_threads);
}

/// A wait that no task of short work explains; how many times as long such work is done alone then, so that the waits
/// take a small part of the time, and the longest such time.
constexpr int long_wait = 500, times_alone = 16, most_milliseconds_alone = 200;

/// Real multiply-adds of a routine below which it is short work: some milliseconds.
constexpr double longest_short_work = 100e6;

/// When short work may be shared again, in milliseconds of the clock, modulo 2^32.
std::uint32_t shared_again = 0;

std::uint32_t now_in_milliseconds() {
  return static_cast<std::uint32_t>(now_in_microseconds() / 1000);
}

bool may_have_helpers() {
  return !plain_load(in_forked_child) && (helpers_are_ready() || helpers_are_free()) && !in_parallel_region();
}

}  // namespace

namespace nuv::threading {

int available_threads() {
  return may_have_helpers() ? configured_threads() : 1;
}

bool has_threads() {
  return true;
}

int threads_for_short_work() {
  const int threads = available_threads();
  if (threads == 1) return 1;
  const std::uint32_t still_alone = plain_load(shared_again) - now_in_milliseconds();
  return still_alone - 1 < most_milliseconds_alone ? 1 : threads;
}

void note_wait(int microseconds) {
  if (microseconds < long_wait) return;
  const int milliseconds = std::min(microseconds / 1000 * times_alone + times_alone, most_milliseconds_alone);
  plain_store(shared_again, now_in_milliseconds() + static_cast<std::uint32_t>(milliseconds));
}

void run_pieces(int threads, int pieces, Piece piece, void* context) {
  const bool has_team = helpers_are_ready();
  if (threads <= 1 || pieces <= 1 || (!has_team && !take_helpers())) {
    for (int index = 0; index < pieces; ++index) piece(context, index);
    return;
  }
  share_pieces(threads, pieces, piece, context);
  if (!has_team) release_helpers();
}

Team::Team(double multiply_adds, double least)
    : mine_(multiply_adds >= work_for_two_threads && may_have_helpers() && take_helpers()),
      is_short_(multiply_adds < longest_short_work) {
  if (mine_ && (multiply_adds < least || (is_short_ && threads_for_short_work() == 1))) rest_helpers();
}

Team::~Team() {
  if (!mine_) return;
  const int waited = std::max(release_helpers(), slept_);
  if (is_short_) note_wait(waited);
}

namespace {

/// What others do while a thread waits for a change takes longer than what it does between two products.
constexpr int watch_for_change = 50;

}  // namespace

int Changes::wait_beyond(std::uint32_t seen) {
  if (watch(count_, seen, watch_for_change)) return 0;
  const std::int64_t start = now_in_microseconds();
  __atomic_add_fetch(&sleepers_, 1, __ATOMIC_SEQ_CST);
  while (__atomic_load_n(&count_, __ATOMIC_SEQ_CST) == seen) sleep_while(count_, seen);
  __atomic_sub_fetch(&sleepers_, 1, __ATOMIC_SEQ_CST);
  return static_cast<int>(std::min<std::int64_t>(now_in_microseconds() - start, INT32_MAX));
}

void Changes::announce() {
  __atomic_add_fetch(&count_, 1, __ATOMIC_SEQ_CST);
  if (__atomic_load_n(&sleepers_, __ATOMIC_SEQ_CST) != 0) wake_all(count_);
}

}  // namespace nuv::threading

int nuv_serv_nuv_get_max_threads() {
  return nuv::threading::available_threads();
}

void nuv_thread_set_num_threads(int threads) {
  plain_store(requested_threads, threads > 0 ? threads : 0);
  // Whoever asks for threads gets them, whatever the last ones were like.
  plain_store(shared_again, 0u);
}

int nuv_thread_get_num_threads() {
  return configured_threads();
}
