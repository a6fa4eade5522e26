// Children made while other threads are in the workspace pool: each child asks the pool and factors a matrix, where a
// lock that a thread of its parent held would let it wait for ever. Every test runs in a process of its own, so that
// the pool is in its first state and a thread layer is there or not.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nuv/nuv_services.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/platform.hpp"
#include "layer.hpp"

namespace nuv::test {
namespace {

constexpr int thread_count = 4;
constexpr int children_at_once = 8;
constexpr int forks = 1000;
constexpr unsigned longest_child = 20, longest_parent = 100;  // seconds

[[noreturn]] void give_up(const std::string& why) {
  std::fprintf(stderr, "%s\n", why.c_str());
  std::_Exit(1);
}

/// Asks the pool for blocks of several sizes at a time. Whether all could be written.
bool allocate() {
  constexpr int count = 4;
  char* blocks[count];
  for (int i = 0; i < count; ++i) {
    const unsigned size = 200u << i;
    blocks[i] = static_cast<char*>(nuv_serv_allocate(size, 128));
    if (blocks[i] == nullptr) return false;
    std::memset(blocks[i], i, size);
  }
  for (char* block : blocks) nuv_serv_deallocate(block);
  return true;
}

/// Factors a matrix of order n and takes Q from it again, with `line` elements of workspace for each column in the one
/// and the least in the other, for which the pool is asked. Whether R is left.
template <Int n, Int line>
bool factor() {
  std::vector<double> a(n * n), c(n * n), tau(n), work(n * line);
  for (Int i = 0; i < n * n; ++i) a[i] = c[i] = (i * 7 % 13) + (i % (n + 1) == 0 ? n : 0);
  Int info = -1;
  layer::geqrf(n, n, Matrix(a.data(), n), tau.data(), work.data(), n * line, info);
  if (info == 0) {
    layer::ormqr('L', 'T', n, n, n, Matrix(a.data(), n), tau.data(), Matrix(c.data(), n), work.data(), n, info);
  }
  if (info != 0) return false;
  for (Int j = 0; j < n; ++j) {
    for (Int i = 0; i < n; ++i) {
      const double r = i <= j ? a[j * n + i] : 0;
      if (!(std::abs(c[j * n + i] - r) < 1e-10)) return false;
    }
  }
  return true;
}

/// A matrix that one thread factors, with the least workspace, and one whose panels and products several threads share.
constexpr auto factor_alone = factor<48, 1>;
constexpr auto factor_together = factor<210, 16>;

using Work = bool();

/// Threads that work until the end of the scope.
class BusyThreads {
 public:
  explicit BusyThreads(Work* work) {
    for (int i = 0; i < thread_count; ++i) {
      threads_.emplace_back([this, work] {
        while (!ends_) {
          if (!work()) give_up("a thread of the parent went wrong");
        }
      });
    }
  }
  ~BusyThreads() {
    ends_ = true;
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  std::atomic<bool> ends_ = false;
  std::vector<std::thread> threads_;
};

/// Forks a child that works and ends. A child that hangs is killed.
pid_t forked_child(Work* work) {
  const pid_t child = fork();
  if (child < 0) give_up("fork failed");
  if (child > 0) return child;
  alarm(longest_child);
  _exit(work() ? 0 : 1);
}

void expect_good_end(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child) give_up("a child is gone");
  if (WIFSIGNALED(status)) give_up("a child ended by signal " + std::to_string(WTERMSIG(status)));
  if (WEXITSTATUS(status) != 0) give_up("a child went wrong");
}

/// Several children at a time, so that busy threads don't hold up each of them.
void fork_children(int count, Work* work) {
  while (count > 0) {
    std::vector<pid_t> children;
    for (; count > 0 && children.size() < children_at_once; --count) children.push_back(forked_child(work));
    for (const pid_t child : children) expect_good_end(child);
  }
}

void* thread_layer = nullptr;

/// Runs in a process of its own, with a thread layer in it unless that is "none". A process that hangs is killed.
template <class Body>
void in_process_with(const std::string& layer, Body body) {
  const auto run = [&] {
    alarm(longest_parent);
    if (layer != "none") {
      thread_layer = dlopen((layer + NUV_LIBRARY_FILE("")).c_str(), RTLD_LAZY);
      if (thread_layer == nullptr) give_up(dlerror());
    }
    body();
    std::exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

int blocks_asked_for = 0;

TEST(Fork, FactorAsksThePool) {
  in_process_with("libnuv_sequential", [] {
    i_malloc = [](std::size_t size) {
      ++blocks_asked_for;
      return std::malloc(size);
    };
    if (!factor_alone() || blocks_asked_for == 0) give_up("no block was asked for");
  });
}

TEST(Fork, WhileThreadsAllocateWithoutAThreadLayer) {
  in_process_with("none", [] {
    const BusyThreads threads(allocate);
    fork_children(forks, allocate);
  });
}

TEST(Fork, WhileThreadsFactor) {
  in_process_with("libnuv_sequential", [] {
    factor_alone();  // a fork while another thread opens a library leaves the loader's lock taken in the child
    const BusyThreads threads(factor_alone);
    fork_children(forks / 2, [] { return allocate() && factor_alone(); });
  });
}

long threads_of_the_process() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

void ask_for_threads(int number) {
  static const auto ask = reinterpret_cast<void (*)(int)>(dlsym(thread_layer, "nuv_thread_set_num_threads"));
  ask(number);
}

/// Factors with helpers if they are free, however long those before had to wait for them: whoever asks for a number of
/// threads gets them at once.
bool factor_with_helpers() {
  constexpr int helpers = 2;
  ask_for_threads(1 + helpers);
  return factor_together();
}

// At most times the helpers of the layer are at work for one of the threads. A child has none to wait for.
TEST(Fork, WhileThreadsFactorWithHelpers) {
  in_process_with("libnuv_orvo_thread", [] {
    ask_for_threads(1);
    factor_together();  // so that all is looked up that a child asks for
    if (threads_of_the_process() != 1) give_up("one thread has helpers");
    factor_with_helpers();
    if (threads_of_the_process() != 3) give_up("no helpers were at work");
    const BusyThreads threads(factor_with_helpers);
    fork_children(forks / 5, [] { return allocate() && factor_together(); });
  });
}

TEST(Fork, FromEachOfSeveralThreads) {
  in_process_with("none", [] {
    std::vector<std::thread> threads;
    for (int i = 0; i < thread_count; ++i) {
      threads.emplace_back([] {
        for (int step = 0; step < forks / 20; ++step) {
          if (!allocate()) give_up("no memory");
          expect_good_end(forked_child(allocate));
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
}

// A process makes its first request while another thread forks.
TEST(Fork, DuringTheFirstRequest) {
  for (int round = 0; round < forks / 20 && !HasFailure(); ++round) {
    in_process_with("none", [] {
      const BusyThreads threads(allocate);
      fork_children(4, allocate);
    });
  }
}

TEST(Fork, OfAThreadThatHoldsTheLock) {
  in_process_with("none", [] {
    const BusyThreads threads(allocate);
    const auto unlock_and_work = [] {
      nuv_serv_unlock();
      return allocate();
    };
    for (int i = 0; i < forks / 20; ++i) {
      nuv_serv_lock();
      const pid_t child = forked_child(unlock_and_work);
      nuv_serv_unlock();
      expect_good_end(child);
    }
  });
}

// The lock may be taken by a host that has not yet asked the pool for anything.
TEST(Fork, WaitsForTheLock) {
  in_process_with("none", [] {
    std::atomic<bool> locked = false;
    std::atomic<bool> released = false;
    std::thread holder([&] {
      nuv_serv_lock();
      locked = true;
      usleep(20'000);
      released = true;
      nuv_serv_unlock();
    });
    while (!locked) std::this_thread::yield();
    const pid_t child = forked_child(allocate);
    if (!released) give_up("a child was made while another thread had the lock");
    expect_good_end(child);
    holder.join();
  });
}

// Children of children.
TEST(Fork, InAForkedChild) {
  in_process_with("none", [] {
    const BusyThreads threads(allocate);
    fork_children(forks / 20, [] {
      if (!allocate()) return false;
      expect_good_end(forked_child(allocate));
      return allocate();
    });
  });
}

}  // namespace
}  // namespace nuv::test
