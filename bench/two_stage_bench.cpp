// Reduction of a symmetric matrix to tridiagonal form in two stages, beside that in one.
//
// The first stage is what the whole takes without what its second stage takes; both are measured by turns.

#include <algorithm>
#include <chrono>

#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

constexpr int width = 40;

/// 4/3 n^3 flops for the first stage, 6 n^2 kd for the second.
template <class T>
double first_stage_multiply_adds(double n) {
  return 2 * n * n * n / 3;
}
template <class T>
double second_stage_multiply_adds(double n) {
  return 3 * n * n * width;
}

template <class T>
std::vector<T> symmetric(int n) {
  return random_numbers<T>(std::size_t(n) * n);
}

/// One reduction: of a whole matrix, or of a band.
template <class T>
struct Reduction {
  int n;
  std::vector<T> a = symmetric<T>(n), w = a, tau = std::vector<T>(n), z = {},
                 work = std::vector<T>(std::size_t(3 * width + 3) * n);
  std::vector<Real<T>> d = std::vector<Real<T>>(n), e = d;

  void restore() { w = a; }
  void whole(char jobz) {
    int info = 0;
    routine_call::syrdb(jobz, 'L', n, width, Matrix<T>{w.data(), n}, d.data(), e.data(), tau.data(),
                        Matrix<T>{w.data(), n}, work.data(), int(work.size()), info);
  }
  void in_one_stage() {
    int info = 0;
    layer::sytrd('L', n, Matrix<T>{w.data(), n}, d.data(), e.data(), tau.data(), work.data(), int(work.size()), info);
  }
  void band(char vect) {
    int info = 0;
    routine_call::sbrdb(vect, 'L', n, width, Matrix<T>{w.data(), 2 * width + 1}, d.data(), e.data(),
                        Matrix<T>{z.data(), n}, work.data(), int(work.size()), info);
  }
};

template <class T>
struct Whole : Reduction<T> {
  char jobz;
  void operator()() { this->whole(jobz); }
};

template <class T>
struct OneStage : Reduction<T> {
  void operator()() { this->in_one_stage(); }
};

template <class T>
struct Band : Reduction<T> {
  char vect;
  void operator()() { this->band(vect); }
};

template <class T>
void add_reductions(int n) {
  const std::string precision(1, letter<T>);
  const double first = first_stage_multiply_adds<T>(n), second = second_stage_multiply_adds<T>(n), q = 2.0 * n * n * n;
  add(precision + "syrdb_N", "nuv", n, multiply_adds<T>(first + second), [=] { return Whole<T>{{n}, 'N'}; });
  add(precision + "syrdb_N", "one_stage", n, multiply_adds<T>(first), [=] { return OneStage<T>{{n}}; });
  add(precision + "sbrdb_N", "nuv", n, multiply_adds<T>(second), [=] { return Band<T>{{n}, 'N'}; });
  add(precision + "syrdb_V", "nuv", n, multiply_adds<T>(first + second + first + q / 2), [=] {
    return Whole<T>{{n}, 'V'};
  });
  add(precision + "sbrdb_V", "nuv", n, multiply_adds<T>(second + q / 2), [=] {
    Band<T> band{{n}, 'V'};
    band.z.resize(std::size_t(n) * n);
    return band;
  });
}

/// The first stage beside a product of matrices of the same order.
template <class T>
void add_first_stage(int n) {
  const std::string name = std::string(1, letter<T>) + "syrdb_first_stage/nuv/" + std::to_string(n);
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    const auto seconds_of = [](auto work) {
      const Clock::time_point start = Clock::now();
      work();
      return std::chrono::duration<double>(Clock::now() - start).count();
    };
    Reduction<T> reduction{n};
    double stage = 0, product = 0;
    for (auto _ : state) {
      reduction.restore();
      product += seconds_of([&] {
        blas::gemm('N', 'N', n, n, n, T(1), Matrix<const T>{reduction.a.data(), n},
                   Matrix<const T>{reduction.a.data(), n}, T(0), Matrix<T>{reduction.w.data(), n});
      });
      reduction.restore();
      const double whole = seconds_of([&] { reduction.whole('N'); });
      reduction.restore();
      const double first = whole - seconds_of([&] { reduction.band('N'); });
      state.SetIterationTime(first);
      stage += first;
    }
    // Rates of both: 4/3 n^3 flops and 2 n^3.
    state.counters["of_product"] = product / stage * 2 / 3;
  })->UseManualTime();
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 200, 500, 1000, 2000, 4000}) {
    add_reductions<double>(n);
    if (n <= 2000) add_reductions<std::complex<double>>(n);
  }
  for (const int n : {1000, 2000, 4000}) add_first_stage<double>(n);
  return run(argc, argv);
}
