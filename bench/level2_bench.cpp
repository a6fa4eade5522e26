// Matrix-vector operations, sizes 4 to 8000. Up to what the first cache holds they are measured against the arithmetic
// limit; where the matrix exceeds the last cache, against that of memory.

#include <algorithm>
#include <cstddef>

#include "blas.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

constexpr int sizes[] = {4, 8, 16, 32, 64, 100, 128, 200, 300, 500, 1000, 2000, 4000, 8000};
constexpr double last_cache = 64e6;  // bytes; no less than the machines at hand have

enum class Traffic { reads, updates };

/// The measure of an operation with `count` multiply-adds that goes over `elements` of a matrix.
template <class T>
Measure measure_of(double count, double elements, Traffic traffic) {
  const double bytes = elements * sizeof(T);
  if (bytes < last_cache) return multiply_adds<T>(count);
  return traffic == Traffic::reads ? bytes_read(bytes) : bytes_read_and_written(2 * bytes);
}

/// A matrix with small entries and ones on the diagonal, so that repeated products, solves and updates stay finite, and
/// two vectors.
template <class T>
struct Operands {
  std::vector<T> a, x, y;

  explicit Operands(int n)
      : a(random_numbers<T>(std::size_t(n) * n)), x(random_numbers<T>(n)), y(random_numbers<T>(n)) {
    for (T& value : a) value /= T(n);
    for (int i = 0; i < n; ++i) a[std::size_t(i) * (n + 1)] = T(1);
  }
};

/// Registers an operation of order n for nuv; `work(n, A, x, y)` does one.
template <class T, class Work>
void add_nuv(const std::string& routine, int n, Measure measure, Work work) {
  add(letter<T> + routine, "nuv", n, measure, [=] {
    return [=, data = Operands<T>(n)]() mutable {
      work(n, Matrix<T>{data.a.data(), n}, Vector<T>{data.x.data(), 1}, Vector<T>{data.y.data(), 1});
    };
  });
}

template <class T>
using EigenVector = Eigen::Matrix<T, Eigen::Dynamic, 1>;

/// The same for the peer, whose A, x and y are its own.
template <class T, class Work>
void add_eigen(const std::string& routine, int n, Measure measure, Work work) {
  add(letter<T> + routine, "eigen", n, measure, [=] {
    const Operands<T> data(n);
    return [=, A = EigenMatrix<T>(Eigen::Map<const EigenMatrix<T>>(data.a.data(), n, n)),
            x = EigenVector<T>(Eigen::Map<const EigenVector<T>>(data.x.data(), n)),
            y = EigenVector<T>(Eigen::Map<const EigenVector<T>>(data.y.data(), n))]() mutable {
      work(A, x, y);
      benchmark::DoNotOptimize(A.data());
      benchmark::DoNotOptimize(x.data());
      benchmark::DoNotOptimize(y.data());
    };
  });
}

/// A factor that doesn't let repeated updates grow.
template <class T>
const T small = T(1e-9);

template <class T>
void add_general_products() {
  for (const int n : sizes) {
    const double square = double(n) * n;
    const Measure measure = measure_of<T>(square, square, Traffic::reads);
    for (const char trans : {'N', 'T'}) {
      add_nuv<T>(std::string("gemv_") + trans, n, measure,
                 [=](int n, auto A, auto x, auto y) { blas::gemv(trans, n, n, T(1), A, x, T(0), y); });
    }
    add_eigen<T>("gemv_N", n, measure, [](auto& A, auto& x, auto& y) { y.noalias() = A * x; });
    add_eigen<T>("gemv_T", n, measure, [](auto& A, auto& x, auto& y) { y.noalias() = A.transpose() * x; });
  }
}

template <class T>
void add_outer_products() {
  for (const int n : sizes) {
    const double square = double(n) * n;
    const Measure measure = measure_of<T>(square, square, Traffic::updates);
    const std::string routine = std::is_same_v<T, double> ? "ger" : "geru";
    add_nuv<T>(routine, n, measure, [](int n, auto A, auto x, auto y) {
      if constexpr (std::is_same_v<T, double>) {
        blas::ger(n, n, small<T>, x, y, A);
      } else {
        blas::geru(n, n, small<T>, x, y, A);
      }
    });
    add_eigen<T>(routine, n, measure, [](auto& A, auto& x, auto& y) { A.noalias() += small<T> * x * y.transpose(); });
  }
}

/// What takes one stored triangle of a symmetric or Hermitian matrix.
template <class T, char uplo>
void add_symmetric() {
  constexpr bool is_real = std::is_same_v<T, double>;
  constexpr int triangle = uplo == 'U' ? Eigen::Upper : Eigen::Lower;
  const std::string options = std::string("_") + uplo;
  const std::string mv = (is_real ? "symv" : "hemv") + options, mv_nb = (is_real ? "symv_nb" : "hemv_nb") + options,
                    r = (is_real ? "syr" : "her") + options, r2 = (is_real ? "syr2" : "her2") + options;
  for (const int n : sizes) {
    const double square = double(n) * n, stored = square / 2;
    const Measure product = measure_of<T>(square, stored, Traffic::reads);
    add_nuv<T>(mv, n, product, [](int n, auto A, auto x, auto y) {
      if constexpr (is_real) {
        blas::symv(uplo, n, T(1), A, x, T(0), y);
      } else {
        blas::hemv(uplo, n, T(1), A, x, T(0), y);
      }
    });
    add_nuv<T>(mv_nb, n, product, [](int n, auto A, auto x, auto y) {
      if constexpr (is_real) {
        blas::symv_nb(uplo, n, n, T(1), A, x, T(0), y);
      } else {
        blas::hemv_nb(uplo, n, n, T(1), A, x, T(0), y);
      }
    });
    add_eigen<T>(mv, n, product,
                 [](auto& A, auto& x, auto& y) { y.noalias() = A.template selfadjointView<triangle>() * x; });

    const Measure rank_one = measure_of<T>(stored, stored, Traffic::updates);
    add_nuv<T>(r, n, rank_one, [](int n, auto A, auto x, auto) {
      if constexpr (is_real) {
        blas::syr(uplo, n, small<T>, x, A);
      } else {
        blas::her(uplo, n, small<double>, x, A);
      }
    });
    add_eigen<T>(r, n, rank_one,
                 [](auto& A, auto& x, auto&) { A.template selfadjointView<triangle>().rankUpdate(x, small<double>); });

    const Measure rank_two = measure_of<T>(square, stored, Traffic::updates);
    add_nuv<T>(r2, n, rank_two, [](int n, auto A, auto x, auto y) {
      if constexpr (is_real) {
        blas::syr2(uplo, n, small<T>, x, y, A);
      } else {
        blas::her2(uplo, n, small<T>, x, y, A);
      }
    });
    add_eigen<T>(r2, n, rank_two,
                 [](auto& A, auto& x, auto& y) { A.template selfadjointView<triangle>().rankUpdate(x, y, small<T>); });
  }
}

template <class T, char uplo>
void add_triangular() {
  constexpr int triangle = uplo == 'U' ? Eigen::Upper : Eigen::Lower;
  constexpr int transposed_triangle = uplo == 'U' ? Eigen::Lower : Eigen::Upper;
  for (const int n : sizes) {
    const double stored = double(n) * n / 2;
    const Measure measure = measure_of<T>(stored, stored, Traffic::reads);
    for (const char trans : {'N', 'T'}) {
      const std::string options = std::string("_") + uplo + trans;
      // The vector is renewed each time, since repeated products would leave the range of numbers.
      add_nuv<T>("trmv" + options, n, measure, [=](int n, auto A, auto x, auto y) {
        std::copy_n(y.data, n, x.data);
        blas::trmv(uplo, trans, 'N', n, A, x);
      });
      add_nuv<T>("trsv" + options, n, measure, [=](int n, auto A, auto x, auto y) {
        std::copy_n(y.data, n, x.data);
        blas::trsv(uplo, trans, 'N', n, A, x);
      });
    }
    const std::string plain = std::string("_") + uplo + 'N', transposed = std::string("_") + uplo + 'T';
    add_eigen<T>("trmv" + plain, n, measure,
                 [](auto& A, auto& x, auto& y) { x.noalias() = A.template triangularView<triangle>() * y; });
    add_eigen<T>("trmv" + transposed, n, measure, [](auto& A, auto& x, auto& y) {
      x.noalias() = A.transpose().template triangularView<transposed_triangle>() * y;
    });
    add_eigen<T>("trsv" + plain, n, measure, [](auto& A, auto& x, auto& y) {
      x = y;
      A.template triangularView<triangle>().solveInPlace(x);
    });
    add_eigen<T>("trsv" + transposed, n, measure, [](auto& A, auto& x, auto& y) {
      x = y;
      A.transpose().template triangularView<transposed_triangle>().solveInPlace(x);
    });
  }
}

template <class T>
void add_all() {
  add_general_products<T>();
  add_outer_products<T>();
  add_symmetric<T, 'L'>();
  add_symmetric<T, 'U'>();
  add_triangular<T, 'L'>();
  add_triangular<T, 'U'>();
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  add_all<double>();
  add_all<std::complex<double>>();
  add_general_products<float>();
  add_general_products<std::complex<float>>();
  return run(argc, argv);
}
