#include "frame/lock.hpp"

#include "frame/plain_word.hpp"

extern "C" {

/// By this name pthread_atfork says which library's handlers it is given. It comes with the start-up files, which a
/// library where nothing runs at the start does without.
__attribute__((weak, visibility("hidden"))) void* __dso_handle = &__dso_handle;
}

namespace nuv {

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

namespace {

/// The thread that holds the lock, 0 while it is free. A thread learns from it only whether it is that thread itself.
pthread_t holder = 0;

/// Whether the holder took the lock to fork. Under the lock.
bool is_forking = false;

pthread_once_t watching_forks = PTHREAD_ONCE_INIT;

bool this_thread_holds_it() {
  return plain_load(holder) == pthread_self();
}

void take() {
  pthread_mutex_lock(&mutex);
  plain_store(holder, pthread_self());
}

void release() {
  plain_store(holder, pthread_t{});
  pthread_mutex_unlock(&mutex);
}

void before_fork() {
  if (this_thread_holds_it()) return;
  take();
  is_forking = true;
}

void after_fork() {
  if (!this_thread_holds_it() || !is_forking) return;
  is_forking = false;
  release();
}

}  // namespace
}  // namespace nuv

using namespace nuv;

/// Forks are watched before the lock is first taken, not under it: registering waits for a fork that is under way,
/// whose child would find the lock taken. A child made meanwhile may register a second time, which does no harm.
void nuv_serv_lock() {
  pthread_once(&watching_forks, [] { pthread_atfork(before_fork, after_fork, after_fork); });
  take();
}

void nuv_serv_unlock() {
  release();
}
