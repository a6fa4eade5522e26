// The threads of the OpenMP layer. The settings of the process's own OpenMP use stay as they are.

#include "threading/runtime.hpp"

#include <nuv/nuv_services.h>
#include <omp.h>
#include <pthread.h>

#include <cstdlib>

#include "frame/plain_word.hpp"

namespace {

using nuv::plain_load;
using nuv::plain_store;

/// Number of threads that a call asked for; 0 leaves it to the environment.
int requested_threads = 0;

/// A child made by fork has one thread; the team that its copy of the OpenMP runtime remembers is gone, and waiting for
/// it would never end.
bool in_forked_child = false;

/// One team works at a time. A thread that finds another's at work goes on alone.
bool team_at_work = false;

/// The thread whose team stays between calls: the first that needed one. Teams of other threads end with their call, so
/// that a program with many threads of its own does not collect a team for each.
pthread_key_t owner_key;
bool has_owner = false;

void release_ownership(void*) {
  plain_store(has_owner, false);
}

[[gnu::constructor]] void watch_forks_and_owner() {
  pthread_atfork(nullptr, nullptr, [] { plain_store(in_forked_child, true); });
  pthread_key_create(&owner_key, release_ownership);
}

bool is_owner() {
  if (pthread_getspecific(owner_key) != nullptr) return true;
  if (__atomic_exchange_n(&has_owner, true, __ATOMIC_ACQ_REL)) return false;
  pthread_setspecific(owner_key, &has_owner);
  return true;
}

int threads_from_environment() {
  const char* text = std::getenv("NUV_NUM_THREADS");
  const int threads = text != nullptr ? std::atoi(text) : 0;
  return threads > 0 ? threads : omp_get_max_threads();
}

int configured_threads() {
  const int threads = plain_load(requested_threads);
  return threads > 0 ? threads : threads_from_environment();
}

}  // namespace

namespace nuv::threading {

int available_threads() {
  if (plain_load(in_forked_child) || omp_in_parallel() || plain_load(team_at_work)) return 1;
  return configured_threads();
}

void run_pieces(int pieces, void (*piece)(void* context, int index), void* context) {
  if (__atomic_exchange_n(&team_at_work, true, __ATOMIC_ACQUIRE)) {
    for (int index = 0; index < pieces; ++index) piece(context, index);
    return;
  }
  const bool team_stays = is_owner();
#pragma omp parallel num_threads(pieces)
  for (int index = omp_get_thread_num(); index < pieces; index += omp_get_num_threads()) piece(context, index);
  if (!team_stays) omp_pause_resource(omp_pause_soft, omp_get_initial_device());
  __atomic_store_n(&team_at_work, false, __ATOMIC_RELEASE);
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
