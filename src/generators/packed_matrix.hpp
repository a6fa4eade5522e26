#pragma once

// Arrays that take a matrix element by element in one of the storages of test matrices.

#include <algorithm>

#include "blas.hpp"
#include "environment/norms_general.hpp"
#include "generators/storage.hpp"
#include "generators/symmetry.hpp"

namespace nuv {

template <Scalar T>
class PackedMatrix {
 public:
  PackedMatrix(const Storage& storage, const ArrayShape& shape, Symmetry symmetry, Int n, T* a, Int lda)
      : storage_(storage),
        symmetry_(symmetry),
        rows_(static_cast<Int>(shape.rows)),
        n_(n),
        array_{a, lda},
        elements_(elements_of(storage, shape, a, lda)) {}

  /// Stores the element (i, j), and with it (j, i) of a symmetric matrix.
  void put(Int i, Int j, T x) const {
    if (i == j) return store(i, i, on_diagonal(symmetry_, x));
    store(i, j, x);
    if (is_symmetric(symmetry_)) store(j, i, mirrored(symmetry_, x));
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
  void store(Int i, Int j, T x) const {
    const bool has_place = storage_.part == Part::all || (storage_.part == Part::upper ? i <= j : i >= j);
    if (has_place) *at(i, j) = x;
  }

  bool is_packed() const { return storage_.layout == Layout::packed; }

  T* at(Int i, Int j) const {
    if (!is_packed()) return elements_.at(i, j);
    return storage_.part == Part::upper ? packed_run(j) + (i - 1) : packed_run(i) + (j - 1);
  }

  /// Column k of a packed upper triangle, or row k of a lower one, both of k elements.
  T* packed_run(std::ptrdiff_t k) const { return array_.data + k * (k - 1) / 2; }

  template <class Function>
  void for_each_run(Function function) const {
    for (Int k = 1; k <= n_; ++k) {
      if (is_packed()) function(k, packed_run(k));
      else function(rows_, array_.at(1, k));
    }
  }

  const Storage& storage_;
  Symmetry symmetry_;
  Int rows_, n_;
  Matrix<T> array_, elements_;
};

}  // namespace nuv
