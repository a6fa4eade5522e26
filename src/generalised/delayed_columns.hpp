#pragma once

// Rotations and reflectors of the columns of Q and Z, which nothing reads before the end of a reduction or an
// iteration.

#include <algorithm>
#include <complex>
#include <type_traits>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "generalised/pencil_rotations.hpp"

namespace nuv {

/// Transformations of columns on their way to a matrix: as many as there is room for wait, and are applied to a strip
/// of rows after the other. So a matrix that does not stay in the cache is met once for all of them. Each element sees
/// the same ones in the same order as without the delay.
template <Scalar T>
class DelayedColumns {
 public:
  /// M       n by n. Nothing is done to it if it is not wanted
  DelayedColumns(bool wanted, Int n, Matrix<T> M) : wanted_(wanted), n_(n), M_(M), rows_of_strip_(strip(n)) {}
  ~DelayedColumns() { apply_all(); }
  DelayedColumns(const DelayedColumns&) = delete;
  DelayedColumns& operator=(const DelayedColumns&) = delete;

  /// Turns columns x and y.
  void turn(const PlaneRotation<T>& rotation, Int x, Int y) {
    if (wanted_) add({Kind::rotation, x, y, T(rotation.c), rotation.s, T(0)});
  }

  /// Reflects columns j ... j + 2 by I - tau v v^H with v = (1, v2, v3).
  void reflect(T tau, T v2, T v3, Int j) {
    if (wanted_) add({Kind::reflector, j, j, tau, v2, v3});
  }

  /// Multiplies column j; where numbers are real, by minus one.
  void turn_round(T factor, Int j) {
    if (wanted_) add({Kind::turn, j, j, factor, T(0), T(0)});
  }

 private:
  enum class Kind { rotation, reflector, turn };

  /// A complex number that an array of them has not to be filled with zeros for.
  struct Parts {
    Real<T> re, im;

    Parts() = default;
    Parts(std::complex<Real<T>> z) : re(z.real()), im(z.imag()) {}
    operator std::complex<Real<T>>() const { return {re, im}; }
  };
  using Number = std::conditional_t<ComplexScalar<T>, Parts, T>;

  struct Transformation {
    Kind kind;
    Int x, y;
    Number a, b, c;
  };

  /// Those of Q and of Z wait in one frame, which leaves room in the smallest stacks of threads.
  static constexpr Int most = Int(8192 / sizeof(Transformation));

  /// Matrices of that size and less stay in the cache by themselves; of others, strips of a size that does.
  static constexpr double bytes_in_cache = 65536, bytes_of_strip = 262144;
  static constexpr Int least_strip = 64;

  /// Zero for a matrix whose columns don't wait.
  static Int strip(Int n) {
    const double bytes_of_row = double(n) * sizeof(T);
    if (bytes_of_row * n <= bytes_in_cache) return 0;
    return std::max(least_strip, Int(bytes_of_strip / bytes_of_row) / least_strip * least_strip);
  }

  void add(const Transformation& t) {
    if (rows_of_strip_ == 0) return apply(t, 1, n_);
    waiting_[count_++] = t;
    if (count_ == most) apply_all();
  }

  void apply_all() {
    if (count_ == 0) return;
    for (Int i = 1; i <= n_; i += rows_of_strip_) {
      const Int rows = std::min(rows_of_strip_, n_ - i + 1);
      for (Int k = 0; k < count_; ++k) apply(waiting_[k], i, rows);
    }
    count_ = 0;
  }

  /// To some rows from the i-th on.
  void apply(const Transformation& t, Int i, Int rows) const {
    switch (t.kind) {
      case Kind::rotation:
        return blas::rot(rows, column(M_, i, t.x), column(M_, i, t.y), std::real(T(t.a)), T(t.b));
      case Kind::reflector:
        return blas::rot3(rows, column(M_, i, t.x), column(M_, i, t.x + 1), column(M_, i, t.x + 2), T(t.a), T(t.b),
                          T(t.c));
      case Kind::turn:
        return turn_round(rows, t.a, M_.at(i, t.x));
    }
  }

  static void turn_round(Int rows, T factor, T* x) {
    if constexpr (ComplexScalar<T>) {
      blas::scal(rows, factor, Vector<T>(x, 1));
    } else {
      for (Int i = 0; i < rows; ++i) x[i] = negated(x[i]);
    }
  }

  bool wanted_;
  Int n_;
  Matrix<T> M_;
  Int rows_of_strip_, count_ = 0;
  Transformation waiting_[most];
};

}  // namespace nuv
