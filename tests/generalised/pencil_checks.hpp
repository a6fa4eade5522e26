#pragma once

// Pencils A - lambda B to try methods on, and how good their Schur forms and vectors are, judged in the next wider
// type. Measures are in units of eps, and NaN where a result is NaN.
//
// In the library nuv_pencil_test_support. What Schur forms of matrices and of pencils share comes with it:
// random_blocks, identity_matrix, random_unitary, random_hessenberg, is_finite, and orthonormality, which judges Q and
// Z.

#include <complex>
#include <vector>

#include "nonsymmetric/schur_checks.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// For all of these measures.
inline constexpr double pencil_threshold = 10;

template <Scalar T>
struct Pencil {
  GuardedMatrix<T> A, B;
};

/// An eigenvalue alpha / beta. With beta = 0 it is infinite; with alpha = 0 as well any number is one, since the pencil
/// is singular.
struct PencilValue {
  std::complex<double> alpha;
  double beta;
};

// ------------------------------------------------------------------------------------------------------------ pencils

/// Random elements everywhere.
template <Scalar T>
Pencil<T> random_pencil(Random& random, Int n, Int ld);

/// A random Hessenberg matrix and a random triangular one whose diagonal is of magnitude 1 to 2; zeros below.
template <Scalar T>
Pencil<T> random_hessenberg_triangular(Random& random, Int n, Int ld);

/// A generalised Schur form with diagonal blocks of these orders: B has a positive diagonal, and real pairs of rows
/// have conjugate eigenvalues and a diagonal block of B that is diagonal. Complex forms take two eigenvalues for a two.
/// Zeros below.
template <Scalar T>
Pencil<T> random_pencil_schur_form(Random& random, const std::vector<Int>& blocks, Int ld);
template <Scalar T>
Pencil<T> random_pencil_schur_form(Random& random, Int n, Int ld);

/// The same with eigenvalues about 1/2, 1, 3/2, ..., one (or a pair) for each block, so that they can be told apart.
template <Scalar T>
Pencil<T> distinct_pencil_schur_form(Random& random, const std::vector<Int>& blocks);

/// A full pencil with these eigenvalues, up to the rounding of its elements: Q S Z^H and Q P Z^H for random unitary Q
/// and Z. Of real pencils, conjugate pairs stand beside each other.
template <Scalar T>
Pencil<T> pencil_with_values(Random& random, const std::vector<PencilValue>& values, Int ld);

/// A full pencil whose B is of that rank to the last bit: n - rank of its columns, and as many rows, are zero. At least
/// n - rank eigenvalues are infinite.
template <Scalar T>
Pencil<T> pencil_with_infinities(Random& random, Int n, Int rank, Int ld);

/// A full pencil that is singular to the last bit: two columns of A - lambda B are equal for every lambda.
template <Scalar T>
Pencil<T> singular_pencil(Random& random, Int n, Int ld);

/// Multiplies all elements of a matrix by 2^exponent, and seals it.
template <Scalar T>
void scale_by_power(GuardedMatrix<T>& A, int exponent);

// ----------------------------------------------------------------------------------------------------------- measures

/// ||(A Z - Q S) V|| / (||A|| n eps) for a few columns V of random signs. Both matrices of a pencil are judged so.
template <Scalar T>
double pencil_residual(const WideMatrix<T>& A, const WideMatrix<T>& Q, const WideMatrix<T>& S, const WideMatrix<T>& Z);
template <Scalar T>
double pencil_residual(const GuardedMatrix<T>& A, const GuardedMatrix<T>& Q, const GuardedMatrix<T>& S,
                       const GuardedMatrix<T>& Z);

/// ||Q^H Q - I|| / (n eps) in the one-norm of the whole.
template <Scalar T>
double unitary_residual(const GuardedMatrix<T>& Q);

/// Whether H is upper Hessenberg in rows and columns ilo ... ihi and triangular outside, and P triangular, to the last
/// bit.
template <Scalar T>
testing::AssertionResult is_hessenberg_triangular(const GuardedMatrix<T>& H, const GuardedMatrix<T>& P, Int ilo,
                                                  Int ihi);

/// Whether S is upper triangular or, real, quasi-triangular, and P triangular with a diagonal that is real and not
/// negative; whether blocks of order two of a real form have conjugate eigenvalues and a diagonal block of P with a
/// positive diagonal.
template <Scalar T>
testing::AssertionResult is_pencil_schur_form(const GuardedMatrix<T>& S, const GuardedMatrix<T>& P);

/// The eigenvalues of a generalised Schur form in the order of its diagonal; of a pair, the one with positive imaginary
/// part first. Pairs need not be in standard form, but their block of P is triangular and not singular.
template <Scalar T>
std::vector<PencilValue> values_of_form(const GuardedMatrix<T>& S, const GuardedMatrix<T>& P);

/// The eigenvalues that a routine returned; alphai is not looked at for complex members.
template <Scalar T>
std::vector<PencilValue> pencil_values(const GuardedVector<T>& alphar, const GuardedVector<T>& alphai,
                                       const GuardedVector<T>& beta);

/// Distance of two eigenvalues on the sphere, which is the same near infinity as near zero: between 0 and 1. NaN for
/// one that is no eigenvalue, 0 / 0, unless both are.
double chordal_distance(const PencilValue& x, const PencilValue& y);

/// The largest distance between eigenvalues of two lists of one length when each of the first takes the nearest that is
/// left of the second.
double spectrum_distance(const std::vector<PencilValue>& found, std::vector<PencilValue> expected);

/// That eigenvalues of two lists are no farther apart, one by one.
void expect_close(const std::vector<PencilValue>& found, const std::vector<PencilValue>& expected, double tolerance);

/// Whether alpha and beta are finite numbers, beta is not negative, and conjugates stand side by side, positive
/// imaginary part first.
testing::AssertionResult are_proper(const std::vector<PencilValue>& values, bool is_real);

/// Complex vectors for both members of a precision, counted from zero.
template <Scalar T>
using PencilVectors = WideMatrix<std::complex<Real<T>>>;

/// The vectors that a routine gave for these eigenvalues, one a column; those of real pairs are put together.
template <Scalar T>
PencilVectors<T> pencil_vectors(const GuardedMatrix<T>& V, const std::vector<PencilValue>& values);

/// The largest ||(beta A - alpha B) x|| / ((|beta| ||A|| + |alpha| ||B||) ||x|| n eps) of a right ('R') vector, with
/// x^H (beta A - alpha B) of a left ('L') one.
template <Scalar T>
double pencil_vector_residual(char side, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B,
                              const std::vector<PencilValue>& values, const PencilVectors<T>& V);

}  // namespace nuv::test
