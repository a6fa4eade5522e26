#pragma once

// How the benchmarks name and count what they measure. A benchmark is called ROUTINE/WHO/SIZE; its counters are the
// rate and the share of the machine's limit, so that a script can draw ROUTINE's plot with a line for each WHO.

#include <benchmark/benchmark.h>

#include <complex>
#include <random>
#include <string>
#include <vector>

#include "support/limits.hpp"

namespace nuv::bench {

template <class T>
struct RealOf {
  using type = T;
};
template <class R>
struct RealOf<std::complex<R>> {
  using type = R;
};
template <class T>
using Real = typename RealOf<T>::type;

/// Operations of one multiply-add.
template <class T>
inline constexpr double flops_per_multiply_add = std::is_same_v<T, Real<T>> ? 2 : 8;

/// What a run is measured by: an amount of work, its unit, and the limit of the machine in units per second.
struct Measure {
  double amount;
  const char* unit;
  double (*limit)();
};

template <class T>
Measure multiply_adds(double count) {
  return {count * flops_per_multiply_add<T>, "FLOP/s", arithmetic_limit<Real<T>>};
}
inline Measure bytes_read(double bytes) {
  return {bytes, "B/s", read_limit};
}
inline Measure bytes_written(double bytes) {
  return {bytes, "B/s", write_limit};
}
inline Measure bytes_read_and_written(double bytes) {
  return {bytes, "B/s", read_write_limit};
}

/// Registers ROUTINE/WHO/SIZE. `prepare` runs once and gives the work of an iteration. Work that destroys its operands
/// may have a member restore(), which is not timed; where it takes microseconds, stopping the clock would cost more
/// than to copy the operands within.
template <class Prepare>
void add(const std::string& routine, const std::string& who, long size, Measure measure, Prepare prepare) {
  const std::string name = routine + "/" + who + "/" + std::to_string(size);
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    auto work = prepare();
    work();
    for (auto _ : state) {
      if constexpr (requires { work.restore(); }) {
        state.PauseTiming();
        work.restore();
        state.ResumeTiming();
      }
      work();
      benchmark::ClobberMemory();
    }
    using benchmark::Counter;
    state.counters[measure.unit] = Counter(measure.amount, Counter::kIsIterationInvariantRate);
    state.counters["of_limit"] = Counter(measure.amount / measure.limit(), Counter::kIsIterationInvariantRate);
  });
}

/// Numbers between -1 and 1, the same in every run.
template <class T>
std::vector<T> random_numbers(std::size_t count) {
  std::mt19937 engine(7);
  std::uniform_real_distribution<double> number(-1, 1);
  std::vector<T> x(count);
  for (T& value : x) {
    if constexpr (std::is_same_v<T, Real<T>>) {
      value = static_cast<T>(number(engine));
    } else {
      value = T(static_cast<Real<T>>(number(engine)), static_cast<Real<T>>(number(engine)));
    }
  }
  return x;
}

/// Letter of a precision.
template <class T>
inline constexpr char letter = std::is_same_v<T, float>                 ? 's'
                               : std::is_same_v<T, double>              ? 'd'
                               : std::is_same_v<T, std::complex<float>> ? 'c'
                                                                        : 'z';

/// Calls drive(work, lwork), once to ask for the workspace, which then stays.
template <class T, class Drive>
void with_workspace(std::vector<T>& work, Drive drive) {
  if (work.empty()) {
    T best;
    drive(&best, -1);
    work.resize(static_cast<std::size_t>(std::real(best)));
  }
  drive(work.data(), static_cast<int>(work.size()));
}

/// Runs what is registered, with the library's own arguments; benchmarks are chosen by --benchmark_filter.
int run(int argc, char** argv);

}  // namespace nuv::bench
