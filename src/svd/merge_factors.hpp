#pragma once

// Singular vectors of a merge as factors (svd/compact_merges.hpp), and products with them.

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/pool.hpp"
#include "svd/merged_halves.hpp"
#include "svd/real_products.hpp"

namespace nuv {

/// The secular equation of a merge, of order k, and its vectors.
template <RealScalar R>
class SecularVectors {
 public:
  /// poles   n by 2: roots and poles;  difl, difr  distances of each root from the pole before it and behind it; the
  ///         second column of difr holds lengths of the right vectors;  z  the joining row
  SecularVectors(Int k, Matrix<const R> poles, const R* difl, Matrix<const R> difr, const R* z)
      : k_(k),
        roots_(poles.at(1, 1)),
        poles_(poles.at(1, 2)),
        from_before_(difl),
        from_behind_(difr.at(1, 1)),
        lengths_(difr.at(1, 2)),
        z_(z),
        has_zeros_(std::find(z, z + k, R(0)) != z + k) {}

  /// x := left vector j, of length one.
  void form_left(Int j, R* x) const {
    fill_left(0, j, j, poles_[j - 1], from_before_[j - 1], x);
    if (j < k_) fill_left(j, k_, j, poles_[j], from_behind_[j - 1], x);
    for (Int i = 0; i < k_ && has_zeros_; ++i) {
      if (z_[i] == 0) x[i] = 0;
    }
    x[0] = -1;
    blas::scal(k_, 1 / blas::nrm2(k_, Vector<const R>{x, 1}), Vector<R>{x, 1});
  }

  /// x := elements j of all right vectors, which have length one.
  void form_right(Int j, R* __restrict x) const {
    const R pole = poles_[j - 1], weight = z_[j - 1];
    if (weight == 0) {
      std::fill_n(x, k_, R(0));
      return;
    }
    const R* const behind = poles_ + 1;
    for (Int i = 0; i < j - 1; ++i) {
      x[i] = weight / ((pole - behind[i]) - from_behind_[i]) / (pole + roots_[i]) / lengths_[i];
    }
    for (Int i = j - 1; i < k_; ++i) {
      x[i] = weight / ((pole - poles_[i]) - from_before_[i]) / (pole + roots_[i]) / lengths_[i];
    }
  }

 private:
  /// Elements from + 1 ... until of left vector j, of any length, for a root at that distance from a pole.
  void fill_left(Int from, Int until, Int j, R pole, R distance, R* __restrict x) const {
    const R root = roots_[j - 1];
    for (Int i = from; i < until; ++i) {
      x[i] = poles_[i] * z_[i] / ((poles_[i] - pole) - distance) / (poles_[i] + root);
    }
  }

  Int k_;
  const R *roots_, *poles_, *from_before_, *from_behind_, *lengths_, *z_;
  bool has_zeros_;  ///< of z: where a root is a pole, the quotient that belongs to it is none
};

/// What a merge adds to the vectors of its halves.
template <RealScalar R>
struct MergeFactors {
  MergedHalves halves;
  const Int* perm;
  Int givptr;
  Matrix<const Int> givcol;
  Matrix<const R> givnum, poles;
  const R* difl;
  Matrix<const R> difr;
  const R* z;
  Int k;
  R c, s;

  /// B := U^T B; scratch as large.
  ///
  /// vector  k elements
  template <Scalar T>
  void apply_left(Int nrhs, Matrix<T> B, Matrix<T> Scratch, R* vector) const;

  /// B := V B for a B of m rows.
  template <Scalar T>
  void apply_right(Int nrhs, Matrix<T> B, Matrix<T> Scratch, R* vector) const;

 private:
  /// The line that is first behind the permutation is that of the row, or the null vector, in the middle.
  Int line_of_place(Int i) const { return i == 1 ? halves.null_line() : perm[i - 1]; }

  /// x := c x + s y, y := c y - s x
  template <Scalar T>
  static void turn(T& x, T& y, R c, R s) {
    const T turned = c * x + s * y;
    y = c * y - s * x;
    x = turned;
  }

  /// Rows 1 ... k of Y := rows form(1) ... form(k) times X.
  template <Scalar T, class Form>
  void multiply(Int nrhs, Form form, Matrix<const T> X, Matrix<T> Y, R* vector) const;

  template <Scalar T>
  void copy_rest(Int nrhs, Matrix<const T> from, Matrix<T> to) const {
    for (Int j = 1; j <= nrhs; ++j) std::copy_n(from.at(k + 1, j), halves.n() - k, to.at(k + 1, j));
  }
};

template <RealScalar R>
template <Scalar T, class Form>
void MergeFactors<R>::multiply(Int nrhs, Form form, Matrix<const T> X, Matrix<T> Y, R* vector) const {
  constexpr Int most_vectors = 64;
  if (nrhs > 1) {
    const Int together = std::min(k, most_vectors);
    const Workspace<R> room(std::size_t(k) * std::size_t(together));
    if (room.data() != nullptr) {
      const Matrix<R> vectors{room.data(), k};
      for (Int first = 1, count; first <= k; first += count) {
        count = std::min(together, k - first + 1);
        for (Int j = 1; j <= count; ++j) form(first + j - 1, vectors.at(1, j));
        multiply_by_transpose<T>(k, count, nrhs, vectors, X, block(Y, first, 1));
      }
      return;
    }
  }
  for (Int j = 1; j <= k; ++j) {
    form(j, vector);
    multiply_row<T>(k, nrhs, vector, X, row(Y, j, 1));
  }
}

template <RealScalar R>
template <Scalar T>
void MergeFactors<R>::apply_left(Int nrhs, Matrix<T> B, Matrix<T> Scratch, R* vector) const {
  for (Int j = 1; j <= nrhs; ++j) {
    for (Int i = 1; i <= givptr; ++i) turn(B(givcol(i, 2), j), B(givcol(i, 1), j), givnum(i, 2), givnum(i, 1));
    for (Int i = 1; i <= halves.n(); ++i) Scratch(i, j) = B(line_of_place(i), j);
  }
  if (k == 1) {
    for (Int j = 1; j <= nrhs; ++j) B(1, j) = z[0] < 0 ? negated(Scratch(1, j)) : Scratch(1, j);
  } else {
    const SecularVectors<R> vectors(k, poles, difl, difr, z);
    multiply<T>(
        nrhs, [&](Int i, R* x) { vectors.form_left(i, x); }, Scratch, B, vector);
  }
  copy_rest<T>(nrhs, Scratch, B);
}

template <RealScalar R>
template <Scalar T>
void MergeFactors<R>::apply_right(Int nrhs, Matrix<T> B, Matrix<T> Scratch, R* vector) const {
  if (k == 1) {
    for (Int j = 1; j <= nrhs; ++j) Scratch(1, j) = B(1, j);
  } else {
    const SecularVectors<R> vectors(k, poles, difl, difr, z);
    multiply<T>(
        nrhs, [&](Int i, R* x) { vectors.form_right(i, x); }, B, Scratch, vector);
  }
  copy_rest<T>(nrhs, B, Scratch);
  for (Int j = 1; j <= nrhs; ++j) {
    if (halves.sqre == 1) turn(Scratch(1, j), B(halves.m(), j), c, negated(s));
    for (Int i = 1; i <= halves.n(); ++i) B(line_of_place(i), j) = Scratch(i, j);
    for (Int i = givptr; i >= 1; --i) turn(B(givcol(i, 2), j), B(givcol(i, 1), j), givnum(i, 2), negated(givnum(i, 1)));
  }
}

}  // namespace nuv
