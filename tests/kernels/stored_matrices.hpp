#pragma once

// Packed and band matrices for the tests of the kernels that take them, and what such a kernel should give.
//
// What an array holds beside the elements of its matrix, and a diagonal that counts as ones, is NaN and infinity in
// turn.

#include <cmath>
#include <limits>
#include <ostream>
#include <vector>

#include "support/guarded.hpp"
#include "support/kernel_cases.hpp"
#include "support/options.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/sanitized.hpp"
#include "support/wide.hpp"

namespace nuv::test {

using ComplexPrecisions = testing::Types<std::complex<float>, std::complex<double>>;

/// Threshold for Sum::error_of. Sums of n terms, each a product of three factors, are off by less than one unit in any
/// order of work; one term left out of a thousand is not.
inline constexpr double stored_threshold = 1;

/// Every order up to several registers of the widest kind, and longer ones.
inline std::vector<Int> stored_orders() {
  std::vector<Int> all;
  for (Int n = 0; n <= 70; n += is_sanitized ? 3 : 1) all.push_back(n);
  all.insert(all.end(), {129, 300});
  return all;
}

/// Numbers of diagonals beside the main one: none, few, about the shortest runs that vector code takes, many, and more
/// than a matrix of order n has.
inline std::vector<Int> bandwidths(Int n) {
  return {0, 1, 2, 7, 12, 33, n + 5};
}

inline constexpr Int strides[] = {1, -1, 2, -3, 101};

template <Scalar T>
T not_to_be_read(Int i) {
  return i % 2 == 0 ? guard<T>() : T(std::numeric_limits<Real<T>>::infinity());
}

// ------------------------------------------------------------------------------------------------------------- storage

template <Scalar T>
class PackedTriangle {
 public:
  using Element = T;

  PackedTriangle(bool upper, Int n) : upper_(upper), n_(n), array_(n * (n + 1) / 2) {}

  Int rows() const { return n_; }
  Int columns() const { return n_; }
  bool holds(Int i, Int j) const { return upper_ ? i <= j : i >= j; }
  T& operator()(Int i, Int j) { return array_(place(i, j)); }
  const T& operator()(Int i, Int j) const { return array_(place(i, j)); }
  const T& sealed(Int i, Int j) const { return array_.sealed(place(i, j)); }

  GuardedVector<T>& array() { return array_; }
  const GuardedVector<T>& array() const { return array_; }

 private:
  Int place(Int i, Int j) const {
    Int before = 0;  // elements in the columns before j
    for (Int c = 1; c < j; ++c) before += upper_ ? c : n_ - c + 1;
    return before + (upper_ ? i : i - j + 1);
  }

  bool upper_;
  Int n_;
  GuardedVector<T> array_;
};

/// An m by n matrix with kl diagonals below the main one and ku above it.
template <Scalar T>
class BandMatrix {
 public:
  using Element = T;

  BandMatrix(Int m, Int n, Int kl, Int ku, Int lda) : m_(m), kl_(kl), ku_(ku), array_(kl + ku + 1, n, lda) {
    for (Int j = 1; j <= n; ++j) {
      for (Int row = 1; row <= array_.rows(); ++row) array_(row, j) = not_to_be_read<T>(row + j);
    }
    array_.seal();
  }

  Int rows() const { return m_; }
  Int columns() const { return array_.columns(); }
  bool holds(Int i, Int j) const { return j - i <= ku_ && i - j <= kl_; }
  T& operator()(Int i, Int j) { return array_(ku_ + 1 + i - j, j); }
  const T& operator()(Int i, Int j) const { return array_(ku_ + 1 + i - j, j); }

  GuardedMatrix<T>& array() { return array_; }
  const GuardedMatrix<T>& array() const { return array_; }

 private:
  Int m_, kl_, ku_;
  GuardedMatrix<T> array_;
};

/// A triangle of order n with k diagonals beside the main one.
template <Scalar T>
BandMatrix<T> band_triangle(bool upper, Int n, Int k, Int lda) {
  return BandMatrix<T>(n, n, upper ? 0 : k, upper ? k : 0, lda);
}

/// Calls visit(i, j) for the elements that a storage holds.
template <class Storage, class Visit>
void for_each_element(const Storage& A, Visit visit) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      if (A.holds(i, j)) visit(i, j);
    }
  }
}

template <class Storage>
void fill(Random& random, Storage& A) {
  for_each_element(A, [&](Int i, Int j) { A(i, j) = random.scalar<typename Storage::Element>(); });
  A.array().seal();
}

/// A triangle with which equations can be solved.
template <class Storage>
void fill_triangle(Random& random, bool unit_diagonal, Storage& A) {
  using T = typename Storage::Element;
  const auto scale = static_cast<Real<T>>(1 / std::sqrt(A.columns() + 1.0));
  for_each_element(A, [&](Int i, Int j) {
    if (i != j) A(i, j) = scale * random.scalar<T>();
    else A(i, j) = unit_diagonal ? not_to_be_read<T>(j) : random.divisor<T>();
  });
  A.array().seal();
}

/// A triangle of a symmetric or Hermitian matrix. Imaginary parts on a Hermitian diagonal do not count.
template <class Storage>
void fill_symmetric(Random& random, Storage& A) {
  using T = typename Storage::Element;
  for_each_element(A, [&](Int i, Int j) { A(i, j) = random.scalar<T>(); });
  if constexpr (ComplexScalar<T>) {
    for (Int j = 1; j <= A.columns(); ++j) A(j, j).imag(std::imag(not_to_be_read<T>(2 * j)));
  }
  A.array().seal();
}

// ------------------------------------------------------------------------------------------------------- what it means

/// The matrix that a storage stands for: zero where it holds nothing.
template <class Storage>
WideMatrix<typename Storage::Element> whole(const Storage& A, bool unit_diagonal = false) {
  using T = typename Storage::Element;
  WideMatrix<T> all = WideMatrix<T>::Zero(A.rows(), A.columns());
  for_each_element(A, [&](Int i, Int j) { all(i - 1, j - 1) = i == j && unit_diagonal ? Wide<T>(1) : wide(A(i, j)); });
  return all;
}

enum class Mirror { symmetric, hermitian };

/// The matrix of which a triangle is stored.
template <class Storage>
WideMatrix<typename Storage::Element> whole_symmetric(const Storage& A, Mirror mirror) {
  using T = typename Storage::Element;
  WideMatrix<T> all = WideMatrix<T>::Zero(A.rows(), A.columns());
  for_each_element(A, [&](Int i, Int j) {
    const Wide<T> a = mirror == Mirror::hermitian && i == j ? Wide<T>(std::real(A(i, j))) : wide(A(i, j));
    all(i - 1, j - 1) = a;
    if constexpr (ComplexScalar<T>) all(j - 1, i - 1) = mirror == Mirror::hermitian ? std::conj(a) : a;
    else all(j - 1, i - 1) = a;
  });
  return all;
}

// ---------------------------------------------------------------------------------------------------------------
// checks

/// The factors and increments of a product y := alpha A x + beta y.
template <Scalar T>
struct ProductCase {
  T alpha, beta;
  Int incx, incy;

  explicit ProductCase(Random& random, bool contiguous)
      : alpha(random.pick(alphas<T>())),
        beta(random.pick(betas<T>())),
        incx(contiguous ? 1 : random.pick(strides)),
        incy(contiguous ? 1 : random.pick(strides)) {}

  friend std::ostream& operator<<(std::ostream& out, const ProductCase& one) {
    return out << "alpha " << one.alpha << ", beta " << one.beta << ", increments " << one.incx << ", " << one.incy;
  }
};

/// Expects that `product(alpha, x, beta, y)` does y := alpha A x + beta y. What a zero factor makes irrelevant holds
/// guards; an empty A leaves y alone.
template <Scalar T, class Product>
void expect_product(Random& random, const ProductCase<T>& one, const WideMatrix<T>& A, Product product) {
  const Int length_x = Int(A.cols()), length_y = Int(A.rows());
  const bool empty = A.size() == 0;
  GuardedVector<T> x(length_x, one.incx), y(length_y, one.incy);
  Sum<T> expected(length_y, 1);
  if (one.beta != T(0) && !empty) {
    y = random_vector<T>(random, length_y, one.incy);
    expected.add(one.beta, wide(y));
  }
  if (one.alpha != T(0) && !empty) {
    x = random_vector<T>(random, length_x, one.incx);
    expected.add(one.alpha, A, wide(x));
  }
  product(one.alpha, x, one.beta, y);
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(empty ? y.unchanged() : y.guards_unchanged());
  if (!empty) {
    EXPECT_LT(expected.error_of(wide(y)), stored_threshold);
  }
}

/// Expects that `multiply(x)` does x := A x and touches nothing else.
template <Scalar T, class Multiply>
void expect_product_in_place(Random& random, Int inc, const WideMatrix<T>& A, Multiply multiply) {
  GuardedVector<T> x = random_vector<T>(random, Int(A.cols()), inc);
  const Sum<T> expected = Sum<T>(x.size(), 1).add(T(1), A, wide(x));
  multiply(x);
  EXPECT_LT(expected.error_of(wide(x)), stored_threshold);
  EXPECT_TRUE(x.guards_unchanged());
}

/// Expects that `solve(x)` does x := A^-1 x and touches nothing else.
template <Scalar T, class Solve>
void expect_solution_in_place(Random& random, Int inc, const WideMatrix<T>& A, Solve solve) {
  GuardedVector<T> x = random_vector<T>(random, Int(A.cols()), inc);
  Sum<T> rest = Sum<T>(x.size(), 1).add(T(-1), wide(x));
  solve(x);
  EXPECT_LT(rest.add(T(1), A, wide(x)).distance_from_zero(), stored_threshold);
  EXPECT_TRUE(x.guards_unchanged());
}

/// Calls visit(uplo, trans, diag, inc) for both triangles in all forms, with what the diagonal is and with contiguous
/// vectors or others as it happens: there are many sizes.
template <class Visit>
void for_each_triangular_option(Random& random, Visit visit) {
  for (const char uplo : uplos) {
    for (const char trans : transes) {
      const Int inc = random.integer(0, 1) == 0 ? 1 : random.pick(strides);
      visit(random.in_some_case(uplo), random.in_some_case(trans), random.in_some_case(random.pick(diags)), inc);
    }
  }
}

}  // namespace nuv::test
