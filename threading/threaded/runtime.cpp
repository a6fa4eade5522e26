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
    : mine_(multiply_adds >= work_for_two_threads && may_have_helpers() && take_helpers()) {
  if (mine_ && multiply_adds < least) rest_helpers();
}

Team::~Team() {
  if (mine_) release_helpers();
}

namespace {

/// What others do while a thread waits for a change takes longer than what it does between two products.
constexpr int watch_for_change = 50;

}  // namespace

void Changes::wait_beyond(std::uint32_t seen) {
  if (watch(count_, seen, watch_for_change)) return;
  __atomic_add_fetch(&sleepers_, 1, __ATOMIC_SEQ_CST);
  while (__atomic_load_n(&count_, __ATOMIC_SEQ_CST) == seen) sleep_while(count_, seen);
  __atomic_sub_fetch(&sleepers_, 1, __ATOMIC_SEQ_CST);
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
}

int nuv_thread_get_num_threads() {
  return configured_threads();
}
