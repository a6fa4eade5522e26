// The small factorisations at the bottom of the blocked ones, sweeps of rotations, and reflectors of two and three
// elements.

#include <span>

#include "blas.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// Registers a factorisation in place of a matrix of order n: `work(n, w)` on a fresh copy of a dominant one.
template <class T, class Work>
void add_factorisation(const std::string& routine, double multiply_adds_per_cube, std::span<const int> orders,
                       Work work) {
  for (const int n : orders) {
    const Measure measure = multiply_adds<T>(multiply_adds_per_cube * n * n * n);
    add(std::string(1, letter<T>) + routine, "nuv", n, measure, [=] {
      std::vector<T> a = random_numbers<T>(std::size_t(n) * n);
      for (int i = 0; i < n; ++i) a[std::size_t(i) * (n + 1)] = T(Real<T>(4 * n));
      return [=, w = a, pivots = std::vector<int>(n)]() mutable {
        w = a;
        work(n, w.data(), pivots.data());
      };
    });
  }
}

template <class T>
void add_cholesky() {
  constexpr int orders[] = {4, 8, 16, 32, 64, 100, 128, 200, 256};
  add_factorisation<T>("potrf_l_small", 1.0 / 6, orders, [](int n, T* a, int*) {
    int info = 0;
    blas::potrf_l_small('L', n, Matrix<T>{a, n}, info);
  });
  add_factorisation<T>("potrf_u_small", 1.0 / 6, orders, [](int n, T* a, int*) {
    int info = 0;
    blas::potrf_u_small('U', n, Matrix<T>{a, n}, info);
  });
}

template <class T>
void add_indefinite() {
  constexpr int orders[] = {8, 16, 32, 64, 100, 128};
  add_factorisation<T>("sytrf_l_small", 1.0 / 6, orders, [](int n, T* a, int* pivots) {
    int info = 0;
    blas::sytrf_l_small('L', n, Matrix<T>{a, n}, pivots, info);
  });
  add_factorisation<T>("sytrf_u_small", 1.0 / 6, orders, [](int n, T* a, int* pivots) {
    int info = 0;
    blas::sytrf_u_small('U', n, Matrix<T>{a, n}, pivots, info);
  });
}

/// A rotation of two numbers: four multiplications and two additions, counted as three multiply-adds.
template <class T>
void add_rotations() {
  using R = Real<T>;
  for (const int n : {16, 64, 200, 500, 1000}) {
    const auto sweep = [=](const char* routine, auto apply) {
      add(std::string(1, letter<T>) + routine, "nuv", n, multiply_adds<R>(3.0 * sizeof(T) / sizeof(R) * (n - 1) * n),
          [=] {
            return [=, c = std::vector<R>(n, R(0.8)), s = std::vector<R>(n, R(0.6)),
                    a = random_numbers<T>(std::size_t(n) * n)]() mutable { apply(n, c.data(), s.data(), a.data()); };
          });
    };
    sweep("lasr_lvf", [](int n, R* c, R* s, T* a) { blas::lasr_lvf(n, n, c, s, Matrix<T>{a, n}); });
    sweep("lasr_lvb", [](int n, R* c, R* s, T* a) { blas::lasr_lvb(n, n, c, s, Matrix<T>{a, n}); });
    sweep("lasr_ltf", [](int n, R* c, R* s, T* a) { blas::lasr_ltf(n, n, c, s, Matrix<T>{a, n}); });
    sweep("lasr_lbb", [](int n, R* c, R* s, T* a) { blas::lasr_lbb(n, n, c, s, Matrix<T>{a, n}); });
  }
}

/// Reflectors of two and three elements, from the right: on two and three columns of n numbers.
template <class T>
void add_small_reflectors() {
  for (const int n : {16, 64, 256, 1024, 4096}) {
    add(std::string(1, letter<T>) + "rot2", "nuv", n, multiply_adds<T>(4.0 * n), [=] {
      return [=, x = random_numbers<T>(n), y = random_numbers<T>(n)]() mutable {
        // t (1 + v^2) = 2: a reflection, so that the numbers keep their size.
        blas::rot2(n, Vector<T>{x.data(), 1}, Vector<T>{y.data(), 1}, T(1), T(1));
      };
    });
    add(std::string(1, letter<T>) + "rot3", "nuv", n, multiply_adds<T>(6.0 * n), [=] {
      return [=, x = random_numbers<T>(n), y = random_numbers<T>(n), z = random_numbers<T>(n)]() mutable {
        blas::rot3(n, Vector<T>{x.data(), 1}, Vector<T>{y.data(), 1}, Vector<T>{z.data(), 1}, T(Real<T>(2) / 3), T(1),
                   T(1));
      };
    });
  }
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  add_cholesky<double>();
  add_cholesky<float>();
  add_cholesky<std::complex<double>>();
  add_cholesky<std::complex<float>>();
  add_indefinite<double>();
  add_indefinite<float>();
  add_rotations<double>();
  add_rotations<std::complex<double>>();
  add_small_reflectors<double>();
  add_small_reflectors<std::complex<double>>();
  return run(argc, argv);
}
