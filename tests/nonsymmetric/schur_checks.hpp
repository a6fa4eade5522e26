#pragma once

// Schur and Hessenberg forms to try methods on, and how good such a form is, judged in the next wider type. Measures
// are in units of eps, and NaN where a result is NaN.

#include <complex>
#include <vector>

#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"
#include "svd/decomposition_checks.hpp"  // orthonormality

namespace nuv::test {

/// For all of these measures.
inline constexpr double schur_threshold = 10;

/// Orders of the diagonal blocks of a Schur form of order n: ones, and among real forms twos, each as likely.
template <Scalar T>
std::vector<Int> random_blocks(Random& random, Int n);

/// A Schur form with diagonal blocks of these orders, those of order two in standard form: equal diagonal elements,
/// off-diagonal ones of opposite signs. Complex forms take two eigenvalues for a two. Elements are of magnitude 1 and
/// less, and below the quasi-triangle there are zeros.
template <Scalar T>
GuardedMatrix<T> random_schur_form(Random& random, const std::vector<Int>& blocks, Int ld);
template <Scalar T>
GuardedMatrix<T> random_schur_form(Random& random, Int n, Int ld);

/// The same with eigenvalues about 1/2, 1, 3/2, ..., one for each block, so that they can be told apart.
template <Scalar T>
GuardedMatrix<T> distinct_schur_form(Random& random, const std::vector<Int>& blocks);

/// Two pairs far from normal with like eigenvalues: what a swap would make of them is often too far from a Schur form,
/// since the basis of the invariant subspace, which it makes orthonormal, is close to dependent.
template <RealScalar R>
GuardedMatrix<R> close_pairs(Random& random);

/// Upper Hessenberg of order n, with zeros below.
template <Scalar T>
GuardedMatrix<T> random_hessenberg(Random& random, Int n, Int ld);

template <Scalar T>
GuardedMatrix<T> identity_matrix(Int n, Int ld);

/// A unitary matrix of order n.
template <Scalar T>
GuardedMatrix<T> random_unitary(Random& random, Int n, Int ld);

/// I (x) A + isgn B^T (x) I, the matrix of X -> A X + isgn X B with the columns of X below each other.
template <Scalar T>
WideMatrix<T> sylvester_operator(const WideMatrix<T>& A, const WideMatrix<T>& B, Int isgn);

/// Whether no element is infinite or NaN.
template <Scalar T>
bool is_finite(const GuardedMatrix<T>& A);

/// ||(A Z - Z S) V|| / (||A Z|| n eps) for a few columns V of random signs.
template <Scalar T>
double schur_residual(const WideMatrix<T>& A, const WideMatrix<T>& Z, const WideMatrix<T>& S);

/// Whether S is upper triangular or, real, quasi-triangular with blocks in standard form, as far as its zeros and signs
/// tell.
template <Scalar T>
testing::AssertionResult is_schur_form(const GuardedMatrix<T>& S);

/// The eigenvalues of a Schur form in the order of its diagonal; of a pair, the one with positive imaginary part first.
template <Scalar T>
std::vector<std::complex<double>> eigenvalues_of(const GuardedMatrix<T>& S);

/// That lists of numbers differ by no more, one by one.
void expect_close(const std::vector<std::complex<double>>& values, const std::vector<std::complex<double>>& expected,
                  double tolerance);

/// The largest distance between eigenvalues of two lists of one length when each of the first takes the nearest that is
/// left of the second.
double spectrum_distance(const std::vector<std::complex<double>>& found, std::vector<std::complex<double>> expected);

}  // namespace nuv::test
