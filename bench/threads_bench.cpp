// What a second thread brings, on a quiet machine and beside busy processes that want the same processors.
//
// A benchmark is called ROUTINE/NEIGHBOURS/SIZE, with the number of busy processes that it starts. It works on one
// thread and on several by turns, a quarter of a second each, so that both see the same machine. Its time is the mean
// of a call on several threads; `gain` is the mean on one thread over that.
//
// The number of threads is that of the processors, or NUV_NUM_THREADS.

#include <nuv/nuv_services.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <vector>

#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// Processes that do nothing but take processor time, as long as this object lives.
class BusyNeighbours {
 public:
  explicit BusyNeighbours(int count) : children_(count) {
    for (pid_t& child : children_) {
      child = fork();
      if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (volatile unsigned turns = 0;;) turns = turns + 1;
      }
    }
  }
  ~BusyNeighbours() {
    for (const pid_t child : children_) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }
  BusyNeighbours(const BusyNeighbours&) = delete;
  BusyNeighbours& operator=(const BusyNeighbours&) = delete;

 private:
  std::vector<pid_t> children_;
};

using Clock = std::chrono::steady_clock;

/// Calls, and the time that they took.
struct Turns {
  long calls = 0;
  double seconds = 0;

  template <class Work>
  void add(double at_least, Work work) {
    const Clock::time_point start = Clock::now();
    double passed = 0;
    while (passed < at_least) {
      work();
      ++calls;
      passed = std::chrono::duration<double>(Clock::now() - start).count();
    }
    seconds += passed;
  }
  double mean() const { return seconds / static_cast<double>(calls); }
};

template <class Prepare>
void add_comparison(const std::string& routine, int neighbours, int size, Prepare prepare) {
  const std::string name = routine + "/" + std::to_string(neighbours) + "/" + std::to_string(size);
  auto* const benchmark = benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    const int threads = nuv_thread_get_num_threads();
    auto work = prepare();
    const BusyNeighbours busy(neighbours);
    Turns alone, together;
    for (auto _ : state) {
      constexpr double turn = 0.25;
      nuv_thread_set_num_threads(1);
      alone.add(turn, work);
      nuv_thread_set_num_threads(threads);
      const Turns before = together;
      together.add(turn, work);
      state.SetIterationTime((together.seconds - before.seconds) / static_cast<double>(together.calls - before.calls));
    }
    nuv_thread_set_num_threads(0);
    state.counters["alone_ms"] = alone.mean() * 1e3;
    state.counters["together_ms"] = together.mean() * 1e3;
    state.counters["gain"] = alone.mean() / together.mean();
  });
  benchmark->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
}

/// Each routine of double numbers; those that destroy their matrix work on a copy, which is taken within.
void add_routines(int neighbours, int n) {
  const std::size_t size = std::size_t(n) * n;
  add_comparison("dgemm", neighbours, n, [=] {
    return [=, a = random_numbers<double>(size), b = random_numbers<double>(size),
            c = std::vector<double>(size)]() mutable {
      blas::gemm('N', 'N', n, n, n, 1.0, {a.data(), n}, {b.data(), n}, 0.0, {c.data(), n});
    };
  });
  add_comparison("dgetrf", neighbours, n, [=] {
    return
        [=, a = random_numbers<double>(size), w = std::vector<double>(size), pivots = std::vector<int>(n)]() mutable {
          w = a;
          int info = 0;
          layer::getrf(n, n, {w.data(), n}, pivots.data(), info);
        };
  });
  add_comparison("dpotrf", neighbours, n, [=] {
    std::vector<double> a = random_numbers<double>(size);
    for (int i = 0; i < n; ++i) a[std::size_t(i) * (n + 1)] = 2 * std::sqrt(n + 1.0) + 2;
    return [=, w = std::vector<double>(size)]() mutable {
      w = a;
      int info = 0;
      layer::potrf('L', n, {w.data(), n}, info);
    };
  });
  add_comparison("dgeqrf", neighbours, n, [=] {
    return [=, a = random_numbers<double>(size), w = std::vector<double>(size), tau = std::vector<double>(n),
            work = std::vector<double>(std::size_t(n) * 128)]() mutable {
      w = a;
      int info = 0;
      layer::geqrf(n, n, {w.data(), n}, tau.data(), work.data(), static_cast<int>(work.size()), info);
    };
  });
  add_comparison("dsytrd", neighbours, n, [=] {
    return [=, a = random_numbers<double>(size), w = std::vector<double>(size), d = std::vector<double>(n),
            e = std::vector<double>(n), tau = std::vector<double>(n),
            work = std::vector<double>(std::size_t(n) * 32)]() mutable {
      w = a;
      int info = 0;
      layer::sytrd('L', n, {w.data(), n}, d.data(), e.data(), tau.data(), work.data(), static_cast<int>(work.size()),
                   info);
    };
  });
  add_comparison("dsyrdb_N", neighbours, n, [=] {
    constexpr int kd = 40;
    return [=, a = random_numbers<double>(size), w = std::vector<double>(size), d = std::vector<double>(n),
            e = std::vector<double>(n), tau = std::vector<double>(n),
            work = std::vector<double>(std::size_t(n) * (3 * kd + 3))]() mutable {
      w = a;
      int info = 0;
      routine_call::syrdb('N', 'L', n, kd, {w.data(), n}, d.data(), e.data(), tau.data(), {w.data(), n}, work.data(),
                          static_cast<int>(work.size()), info);
    };
  });
  add_comparison("dsteqr", neighbours, n, [=] {
    return [=, d0 = random_numbers<double>(n), e0 = random_numbers<double>(n), d = std::vector<double>(n),
            e = std::vector<double>(n), work = std::vector<double>(2 * std::size_t(n)),
            z = std::vector<double>(size)]() mutable {
      d = d0;
      e = e0;
      int info = 0;
      routine_call::steqr('I', n, d.data(), e.data(), Matrix<double>{z.data(), n}, work.data(), info);
    };
  });
  add_comparison("dsyevd_V", neighbours, n, [=] {
    double lwork = 0;
    int liwork = 0, none = 0;
    routine_call::syevd('V', 'L', n, Matrix<double>{nullptr, n}, nullptr, &lwork, -1, &liwork, -1, none);
    return [=, a = random_numbers<double>(size), w = std::vector<double>(size), values = std::vector<double>(n),
            work = std::vector<double>(std::size_t(lwork)), iwork = std::vector<int>(std::size_t(liwork))]() mutable {
      w = a;
      int info = 0;
      routine_call::syevd('V', 'L', n, {w.data(), n}, values.data(), work.data(), static_cast<int>(work.size()),
                          iwork.data(), static_cast<int>(iwork.size()), info);
    };
  });
  add_comparison("dsytrf", neighbours, n, [=] {
    return [=, a = random_numbers<double>(size), w = std::vector<double>(size), pivots = std::vector<int>(n),
            work = std::vector<double>(std::size_t(n) * 64)]() mutable {
      w = a;
      int info = 0;
      routine_call::sytrf('L', n, {w.data(), n}, pivots.data(), work.data(), static_cast<int>(work.size()), info);
    };
  });
  add_comparison("dgehrd", neighbours, n, [=] {
    return [=, a = random_numbers<double>(size), w = std::vector<double>(size), tau = std::vector<double>(n),
            work = std::vector<double>(std::size_t(n) * 32)]() mutable {
      w = a;
      int info = 0;
      routine_call::gehrd(n, 1, n, {w.data(), n}, tau.data(), work.data(), static_cast<int>(work.size()), info);
    };
  });
  add_comparison("dgeev_V", neighbours, n, [=] {
    double lwork = 0;
    int none = 0;
    const Matrix<double> no_matrix{nullptr, n};
    routine_call::geev('N', 'V', n, no_matrix, nullptr, nullptr, no_matrix, no_matrix, &lwork, -1, none);
    return [=, a = random_numbers<double>(size), w = std::vector<double>(size), re = std::vector<double>(n),
            im = std::vector<double>(n), v = std::vector<double>(size),
            work = std::vector<double>(std::size_t(lwork))]() mutable {
      w = a;
      int info = 0;
      routine_call::geev('N', 'V', n, {w.data(), n}, re.data(), im.data(), no_matrix, {v.data(), n}, work.data(),
                         static_cast<int>(work.size()), info);
    };
  });
  add_comparison("dgetrs", neighbours, n, [=] {
    constexpr int right_hand_sides = 500;
    std::vector<double> lu = random_numbers<double>(size);
    std::vector<int> pivots(n);
    int none = 0;
    layer::getrf(n, n, {lu.data(), n}, pivots.data(), none);
    return [=, b = random_numbers<double>(std::size_t(n) * right_hand_sides),
            x = std::vector<double>(std::size_t(n) * right_hand_sides)]() mutable {
      x = b;
      int info = 0;
      routine_call::getrs('N', n, right_hand_sides, Matrix<const double>{lu.data(), n}, pivots.data(), {x.data(), n},
                          info);
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  benchmark::AddCustomContext("threads", std::to_string(nuv_thread_get_num_threads()));
  for (const int neighbours : {0, 1, 4}) {
    for (const int n : {300, 700, 1500, 2000}) add_routines(neighbours, n);
  }
  return run(argc, argv);
}
