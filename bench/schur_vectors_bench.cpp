// Eigenvectors of Schur forms by substitution, and of Hessenberg matrices by inverse iteration.

#include <cmath>

#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// A Schur form of order n with values on a circle: for a real one pairs, but for the last value if n is odd.
template <class T>
std::vector<T> schur_form(int n) {
  using R = Real<T>;
  std::vector<T> s = random_numbers<T>(std::size_t(n) * n);
  const Matrix<T> S{s.data(), n};
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= n; ++i) S(i, j) = i < j ? S(i, j) / R(std::sqrt(n)) : T(0);
    const R angle = R(6.28) * R(j) / R(n);
    if constexpr (std::is_same_v<T, R>) {
      S(j, j) = 2 * std::cos(angle);
      if (j % 2 == 0) {
        S(j, j) = S(j - 1, j - 1);
        S(j - 1, j) = 2 * std::sin(angle) + 3;
        S(j, j - 1) = R(-0.7) * S(j - 1, j);
      }
    } else {
      S(j, j) = std::polar(R(2), angle);
    }
  }
  return s;
}

/// Substitution takes n^3 / 6 multiply-adds, the product with a matrix n^3 / 2.
template <class T>
void add_vectors(char side, char howmny, int n) {
  const double count = (howmny == 'B' ? 4 : 1) / 6.0 * n * double(n) * n;
  add(std::string(1, letter<T>) + "trevc" + side + howmny, "nuv", n, multiply_adds<T>(count), [=] {
    return [=, s = schur_form<T>(n), q = random_numbers<T>(std::size_t(n) * n), v = std::vector<T>(),
            work = std::vector<T>(3 * std::size_t(n)), rwork = std::vector<Real<T>>(std::size_t(n))]() mutable {
      v = q;
      int m = 0, info = 0;
      const Matrix<T> S{s.data(), n}, V{v.data(), n};
      if constexpr (std::is_same_v<T, Real<T>>) {
        routine_call::trevc(side, howmny, nullptr, n, S, V, V, n, m, work.data(), info);
      } else {
        routine_call::trevc(side, howmny, nullptr, n, S, V, V, n, m, work.data(), rwork.data(), info);
      }
    };
  });
}

/// A factorisation and a solve of n^2 / 2 multiply-adds each for a vector; a complex one of a real matrix takes four
/// times as many.
void add_inverse_iteration(int n) {
  add("dhseinR", "nuv", n, multiply_adds<double>(2.0 * n * double(n) * n), [=] {
    std::vector<double> h = schur_form<double>(n), wr(static_cast<std::size_t>(n)), wi = wr;
    for (int j = 1; j < n; j += 2) {
      const Matrix<double> H{h.data(), n};
      wr[j - 1] = wr[j] = H(j, j);
      wi[j - 1] = std::sqrt(-H(j, j + 1) * H(j + 1, j));
      wi[j] = -wi[j - 1];
    }
    return [=, v = std::vector<double>(std::size_t(n) * n), work = std::vector<double>(std::size_t(n) * (n + 2)),
            select = std::vector<int>(std::size_t(n), -1), ifail = std::vector<int>(std::size_t(n))]() mutable {
      int m = 0, info = 0;
      const Matrix<double> H{h.data(), n}, V{v.data(), n};
      routine_call::hsein('R', 'N', 'N', select.data(), n, H, wr.data(), wi.data(), V, V, n, m, work.data(),
                          ifail.data(), ifail.data(), info);
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000, 2000}) {
    for (const char howmny : {'A', 'B'}) {
      for (const char side : {'R', 'L'}) {
        add_vectors<double>(side, howmny, n);
        add_vectors<std::complex<double>>(side, howmny, n);
      }
    }
  }
  add_inverse_iteration(300);
  return run(argc, argv);
}
