// Matrix-vector operations on packed and band matrices, orders 4 to 5000, beside plain loops that the compiler makes
// vector code of. They are measured by the bytes of the matrix, which are read once, and written once where it changes.

#include <algorithm>

#include "blas.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

constexpr int orders[] = {4, 8, 16, 32, 64, 100, 200, 500, 1000, 2000, 5000};
constexpr int diagonals = 20;  // of a band, on each side that has some

// -------------------------------------------------------------------------------------------------------- plain loops

enum class Shape { upper, lower, general };

Shape shape_of(char uplo) {
  return uplo == 'U' ? Shape::upper : Shape::lower;
}

/// Rows begin(j) ... end(j) - 1 of column j stand at column(j)[row], all counted from zero; those off the diagonal,
/// which stands in its row.
template <class T>
struct Packed {
  Shape shape;
  int n;
  T* a;

  int begin(int j) const { return shape == Shape::upper ? 0 : j + 1; }
  int end(int j) const { return shape == Shape::upper ? j : n; }
  T* column(std::ptrdiff_t j) const { return a + j * (shape == Shape::upper ? j + 1 : 2 * n - j - 1) / 2; }
};

/// The same for a band; all rows of a general one.
template <class T>
struct Band {
  Shape shape;
  int n;
  T* a;

  int begin(int j) const { return shape == Shape::lower ? j + 1 : std::max(0, j - diagonals); }
  int end(int j) const { return shape == Shape::upper ? j : std::min(n, j + diagonals + 1); }
  int rows() const { return shape == Shape::general ? 2 * diagonals + 1 : diagonals + 1; }
  T* column(std::ptrdiff_t j) const { return a + j * (rows() - 1) + (shape == Shape::lower ? 0 : diagonals); }
};

template <class T>
void add_multiple(T factor, const T* a, int begin, int end, T* __restrict__ y) {
  for (int i = begin; i < end; ++i) y[i] += factor * a[i];
}

template <class T>
T inner_product(const T* a, int begin, int end, const T* x) {
  T sum(0);
  for (int i = begin; i < end; ++i) sum += a[i] * x[i];
  return sum;
}

/// y := A x, or A^T x
template <class Storage, class T>
void multiply(const Storage& A, bool transposed, const T* x, T* y) {
  std::fill_n(y, A.n, T(0));
  for (int j = 0; j < A.n; ++j) {
    if (transposed) y[j] = inner_product(A.column(j), A.begin(j), A.end(j), x);
    else add_multiple(x[j], A.column(j), A.begin(j), A.end(j), y);
  }
}

/// y := A x for the symmetric matrix of which a triangle is stored.
template <class Storage, class T>
void multiply_symmetric(const Storage& A, const T* x, T* __restrict__ y) {
  std::fill_n(y, A.n, T(0));
  for (int j = 0; j < A.n; ++j) {
    const T* const a = A.column(j);
    T sum = a[j] * x[j];
    for (int i = A.begin(j); i < A.end(j); ++i) {
      y[i] += x[j] * a[i];
      sum += a[i] * x[i];
    }
    y[j] += sum;
  }
}

/// A := alpha x x^T + A
template <class Storage, class T>
void update(const Storage& A, T alpha, const T* x) {
  for (int j = 0; j < A.n; ++j) {
    T* const a = A.column(j);
    add_multiple(alpha * x[j], x, A.begin(j), A.end(j), a);
    a[j] += alpha * x[j] * x[j];
  }
}

/// Solves A x = b, or with A^T, for a triangle with a unit diagonal.
template <class Storage, class T>
void solve(const Storage& A, bool transposed, T* x) {
  const bool ascending = (A.shape == Shape::upper) == transposed;
  for (int step = 0; step < A.n; ++step) {
    const int j = ascending ? step : A.n - 1 - step;
    if (transposed) x[j] -= inner_product(A.column(j), A.begin(j), A.end(j), x);
    else add_multiple(-x[j], A.column(j), A.begin(j), A.end(j), x);
  }
}

// --------------------------------------------------------------------------------------------------------- benchmarks

/// A matrix in some storage and two vectors. Its elements are small beside the unit diagonal that triangles have, so
/// that repeated solutions stay finite.
template <class T>
struct Operands {
  std::vector<T> a, x, y;

  Operands(std::size_t size, int n) : a(random_numbers<T>(size)), x(random_numbers<T>(n)), y(random_numbers<T>(n)) {
    for (T& element : a) element /= T(n) * T(n);
  }
};

/// Registers an operation on a matrix of that many elements, as kernel(a, x, y) and loop(a, x, y) do it.
template <class T, class Kernel, class Loop>
void add_pair(const std::string& operation, int n, std::size_t elements, Measure measure, Kernel kernel, Loop loop) {
  const auto prepare = [=](auto work) {
    return [=] { return [=, o = Operands<T>(elements, n)]() mutable { work(o.a.data(), o.x.data(), o.y.data()); }; };
  };
  add(letter<T> + operation, "nuv", n, measure, prepare(kernel));
  add(letter<T> + operation, "loop", n, measure, prepare(loop));
}

template <class T>
void add_packed(int n, char uplo) {
  const Shape shape = shape_of(uplo);
  const std::size_t size = std::size_t(n) * (n + 1) / 2;
  const double bytes = double(size) * sizeof(T);
  const T tiny(1e-9);
  add_pair<T>(
      std::string("spmv_") + uplo, n, size, bytes_read(bytes),
      [=](T* a, T* x, T* y) {
        blas::spmv(uplo, n, T(1), a, {x, 1}, T(0), {y, 1});
      },
      [=](T* a, T* x, T* y) {
        multiply_symmetric(Packed<T>{shape, n, a}, x, y);
      });
  add_pair<T>(
      std::string("spr_") + uplo, n, size, bytes_read_and_written(2 * bytes),
      [=](T* a, T* x, T*) {
        blas::spr(uplo, n, tiny, {x, 1}, a);
      },
      [=](T* a, T* x, T*) {
        update(Packed<T>{shape, n, a}, tiny, x);
      });
  for (const char trans : {'N', 'T'}) {
    add_pair<T>(
        std::string("tpsv_") + uplo + trans, n, size, bytes_read(bytes),
        [=](T* a, T* x, T*) {
          blas::tpsv(uplo, trans, 'U', n, a, {x, 1});
        },
        [=](T* a, T* x, T*) {
          solve(Packed<T>{shape, n, a}, trans == 'T', x);
        });
  }
}

template <class T>
void add_general_bands(int n) {
  constexpr int k = diagonals, rows = 2 * k + 1;
  const std::size_t size = std::size_t(rows) * n;
  for (const char trans : {'N', 'T'}) {
    add_pair<T>(
        std::string("gbmv_") + trans, n, size, bytes_read(double(size) * sizeof(T)),
        [=](T* a, T* x, T* y) {
          blas::gbmv(trans, n, n, k, k, T(1), {a, rows}, {x, 1}, T(0), {y, 1});
        },
        [=](T* a, T* x, T* y) {
          multiply(Band<T>{Shape::general, n, a}, trans == 'T', x, y);
        });
  }
}

template <class T>
void add_triangular_bands(int n, char uplo) {
  constexpr int k = diagonals, rows = k + 1;
  const Shape shape = shape_of(uplo);
  const std::size_t size = std::size_t(rows) * n;
  for (const char trans : {'N', 'T'}) {
    add_pair<T>(
        std::string("tbsv_") + uplo + trans, n, size, bytes_read(double(size) * sizeof(T)),
        [=](T* a, T* x, T*) {
          blas::tbsv(uplo, trans, 'U', n, k, {a, rows}, {x, 1});
        },
        [=](T* a, T* x, T*) {
          solve(Band<T>{shape, n, a}, trans == 'T', x);
        });
  }
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : orders) {
    add_general_bands<double>(n);
    for (const char uplo : {'U', 'L'}) {
      add_packed<double>(n, uplo);
      add_triangular_bands<double>(n, uplo);
    }
  }
  return run(argc, argv);
}
