#pragma once

// Arrays that take a matrix element by element in one of the packed forms of test matrices.

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/norms_general.hpp"

namespace nuv {

// In the order of their letters, SNH and NULCRBQZ.
enum class Symmetry : Int { bad = -1, symmetric, none, hermitian };
enum class Packing : Int { bad = -1, none, upper, lower, upper_packed, lower_packed, lower_band, upper_band, band };

/// The array that takes a matrix in one of its packed forms.
template <Scalar T>
class PackedMatrix {
 public:
  PackedMatrix(Packing packing, Symmetry symmetry, Int m, Int n, Int kl, Int ku, T* a, Int lda)
      : packing_(packing), symmetry_(symmetry), m_(m), n_(n), kl_(kl), ku_(ku), A_(a, lda) {}

  /// Least leading dimension.
  std::int64_t least_ld() const {
    switch (packing_) {
      case Packing::upper_packed:
      case Packing::lower_packed:
        return 1;
      default:
        return std::max<std::int64_t>(1, length(1));
    }
  }

  /// Stores the element (i, j), and with it (j, i) of a symmetric matrix.
  void put(Int i, Int j, T x) const {
    if (symmetry_ == Symmetry::hermitian && i == j) x = std::real(x);
    if (holds(i, j)) *at(i, j) = x;
    if (symmetry_ == Symmetry::none || i == j) return;
    if (holds(j, i)) *at(j, i) = symmetry_ == Symmetry::hermitian ? conjugate(x) : x;
  }

  void clear() const {
    for_each_run([](Int count, T* x) { std::fill_n(x, count, T(0)); });
  }

  Real<T> largest_magnitude() const {
    Real<T> largest = 0;
    for_each_run([&](Int count, T* x) { largest = std::max(largest, lange<T>('M', count, 1, x, count, nullptr)); });
    return largest;
  }

  void scale(Real<T> factor) const {
    for_each_run([&](Int count, T* x) { blas::scal(count, factor, Vector<T>(x, 1)); });
  }

 private:
  /// Whether an element has a place of its own.
  bool holds(Int i, Int j) const {
    switch (packing_) {
      case Packing::upper:
      case Packing::upper_packed:
      case Packing::upper_band:
        return i <= j;
      case Packing::lower:
      case Packing::lower_packed:
      case Packing::lower_band:
        return i >= j;
      default:
        return true;
    }
  }

  T* at(Int i, Int j) const {
    const std::ptrdiff_t row = i, column = j;
    switch (packing_) {
      case Packing::upper_packed:
        return A_.data + column * (column - 1) / 2 + (i - 1);
      case Packing::lower_packed:
        return A_.data + row * (row - 1) / 2 + (j - 1);
      case Packing::lower_band:
        return A_.at(i - j + 1, j);
      case Packing::upper_band:
        return A_.at(i - j + ku_ + 1, j);
      case Packing::band:
        return A_.at(i - j + kl_ + ku_ + 1, j);
      default:
        return A_.at(i, j);
    }
  }

  /// Number of elements of the array that belong to column j, or to row j of a packed lower triangle.
  std::int64_t length(Int j) const {
    switch (packing_) {
      case Packing::upper_packed:
      case Packing::lower_packed:
        return j;
      case Packing::lower_band:
      case Packing::upper_band:
        return std::int64_t{ku_} + 1;
      case Packing::band:
        return 2 * std::int64_t{kl_} + ku_ + 1;
      default:
        return m_;
    }
  }

  template <class Function>
  void for_each_run(Function function) const {
    for (Int j = 1; j <= n_; ++j) {
      switch (packing_) {
        case Packing::upper_packed:
          function(static_cast<Int>(length(j)), at(1, j));
          break;
        case Packing::lower_packed:
          function(static_cast<Int>(length(j)), at(j, 1));
          break;
        default:
          function(static_cast<Int>(length(j)), A_.at(1, j));
      }
    }
  }

  Packing packing_;
  Symmetry symmetry_;
  Int m_, n_, kl_, ku_;
  Matrix<T> A_;
};

}  // namespace nuv
