#pragma once

// Results judged in the next wider type: double for float; for double x86's long double, which carries 64 bits of
// mantissa, eleven more. Measures are in units of eps, the distance from 1 to the next number.

#include <Eigen/Core>
#include <complex>
#include <type_traits>
#include <vector>

#include "support/guarded.hpp"
#include "support/precisions.hpp"

namespace nuv::test {

template <Scalar T>
using WideReal = std::conditional_t<std::same_as<Real<T>, float>, double, long double>;

template <Scalar T>
using Wide = std::conditional_t<ComplexScalar<T>, std::complex<WideReal<T>>, WideReal<T>>;

/// Counted from zero, as Eigen's are.
template <Scalar T>
using WideMatrix = Eigen::Matrix<Wide<T>, Eigen::Dynamic, Eigen::Dynamic>;

template <Scalar T>
Wide<T> wide(T x) {
  return Wide<T>(x);
}

template <Scalar T>
WideMatrix<T> wide(const GuardedMatrix<T>& A);

/// As a column.
template <Scalar T>
WideMatrix<T> wide(const GuardedVector<T>& x);

/// The matrix that a triangle stands for; the rest of A may hold anything.
template <Scalar T>
WideMatrix<T> wide_triangle(const GuardedMatrix<T>& A, bool upper, bool unit_diagonal);

/// The Hermitian matrix of which A stores a triangle; the rest of A, and imaginary parts on its diagonal, may be
/// anything.
template <Scalar T>
WideMatrix<T> wide_hermitian(const GuardedMatrix<T>& A, bool upper);

/// op(A) for an option letter 'N', 'T' or 'C'.
template <Scalar T>
WideMatrix<T> op(char trans, const WideMatrix<T>& A);

template <Scalar T>
WideMatrix<T> product(const WideMatrix<T>& A, const WideMatrix<T>& B);

/// What is left of X without its part in the space that the columns of A span; they are linearly independent.
template <Scalar T>
WideMatrix<T> outside_of_span(WideMatrix<T> A, WideMatrix<T> X);

/// ||B - A X|| / (||A|| ||X|| n eps) in the one-norm, as all of them; for empty matrices zero.
template <Scalar T>
double solution_residual(const WideMatrix<T>& A, const WideMatrix<T>& X, const WideMatrix<T>& B);

/// ||(I - X A) V|| / (||X|| ||A|| n eps)
///
/// V are a few columns of random signs: where a residual E would take a product of matrices, E V takes far less and
/// says no less, since the norm of E v is on average at least that of any column of E over the square root of two (the
/// inequality of Khintchine for each row).
template <Scalar T>
double inverse_residual(const WideMatrix<T>& A, const WideMatrix<T>& X);

/// ||(P A - L U) V|| / (||A|| n eps) for the factors of an m by n matrix, with n the larger size and V as above.
template <Scalar T>
double factor_residual(const WideMatrix<T>& A, const GuardedMatrix<T>& factors, const GuardedVector<Int>& ipiv);

/// ||(A - F G) V|| / (||A|| n eps) for a square A and its factors, with V as above.
template <Scalar T>
double product_residual(const WideMatrix<T>& A, const WideMatrix<T>& F, const WideMatrix<T>& G);

/// The row exchanges, counted from one, that partial pivoting makes in plain elimination.
template <Scalar T>
std::vector<Int> wide_pivots(WideMatrix<T> A);

/// A^-1 of a square matrix that is not singular to the wide type.
template <Scalar T>
WideMatrix<T> inverse(WideMatrix<T> A);

/// ||A|| in the one-norm.
template <Scalar T>
double one_norm(const WideMatrix<T>& A);

/// A sum of matrices and products of matrices, and for each element the sum of the magnitudes of all its terms: what a
/// careful computation of that element may be off is proportional to it, whatever the order of work.
template <Scalar T>
class Sum {
 public:
  Sum(Int rows, Int columns);

  /// += factor A
  Sum& add(T factor, const WideMatrix<T>& A);

  /// += factor A B
  Sum& add(T factor, const WideMatrix<T>& A, const WideMatrix<T>& B);

  /// The largest error of an element of X in units of that bound, the number of its terms and eps.
  double error_of(const WideMatrix<T>& X) const;

  /// The same for the zero matrix: how far the terms are from cancelling.
  double distance_from_zero() const;

 private:
  WideMatrix<T> value_;
  WideMatrix<Real<T>> magnitude_;
  Eigen::Index terms_ = 0;
};

}  // namespace nuv::test
