#pragma once

// Threads that work through the tasks of one routine, each of which may run when certain others have ended.

#include <pthread.h>

#include <algorithm>
#include <utility>

#include "threading/runtime.hpp"

namespace nuv::threading::inline NUV_ISA {

/// Runs the tasks of a schedule, which says what may be done next:
///
///     bool is_complete() const               no task is left, none is at work
///     Task begin(bool is_caller)             the most urgent task that may run, marked as begun, or one that is none;
///                                            the thread that called the routine may be offered others than helpers
///     void end(const Task&, Int outcome)     notes its end and what came out of it
///
/// One thread at a time asks or tells the schedule. A task is an object with `bool is_none() const`; run(task) does it.
template <class Schedule, class Run>
class TaskCrew {
 public:
  TaskCrew(Schedule& schedule, const Run& run) : schedule_(schedule), run_(run) {}

  /// Gives the longest time that the calling thread slept until another ended a task, in microseconds.
  int work(int threads) {
    run_pieces(
        threads, threads, [](void* crew, int index) { static_cast<TaskCrew*>(crew)->work_as(index == 0); }, this);
    return longest_sleep_;
  }

 private:
  using Task = decltype(std::declval<Schedule&>().begin(true));

  /// What each thread does: task after task until all are done. While there is none, it waits for the end of another's.
  void work_as(bool is_caller) {
    Task task{};
    for (Int outcome = 0;;) {
      const bool has_worked = !task.is_none();
      pthread_mutex_lock(&mutex_);
      if (has_worked) schedule_.end(task, outcome);
      const bool is_complete = schedule_.is_complete();
      task = is_complete ? Task{} : schedule_.begin(is_caller);
      const std::uint32_t seen = ends_.seen();
      pthread_mutex_unlock(&mutex_);
      if (has_worked) ends_.announce();
      if (is_complete) return;
      if (!task.is_none()) {
        outcome = run_(task);
      } else {
        const int slept = ends_.wait_beyond(seen);
        if (is_caller) longest_sleep_ = std::max(longest_sleep_, slept);
      }
    }
  }

  Schedule& schedule_;
  int longest_sleep_ = 0;
  const Run& run_;
  // Held for a fraction of a microsecond, so whoever finds it taken looks again before going to sleep.
  alignas(64) pthread_mutex_t mutex_ = PTHREAD_ADAPTIVE_MUTEX_INITIALIZER_NP;
  Changes ends_;  ///< of tasks
};

}  // namespace nuv::threading::inline NUV_ISA
