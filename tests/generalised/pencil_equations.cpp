#include "generalised/pencil_equations.hpp"

#include "support/wide_spectrum.hpp"

#include <algorithm>

#include "routines.hpp"

namespace nuv::test {
namespace {

/// The upper Hessenberg part, with zeros below; where `triangular`, without the subdiagonal.
template <Scalar T>
WideMatrix<T> upper_part(const GuardedMatrix<T>& S, bool triangular) {
  WideMatrix<T> U = WideMatrix<T>::Zero(S.rows(), S.columns());
  for (Int j = 1; j <= S.columns(); ++j) {
    for (Int i = 1; i <= std::min(S.rows(), triangular ? j : j + 1); ++i) U(i - 1, j - 1) = wide(S(i, j));
  }
  return U;
}

template <Scalar T>
WideMatrix<T> form_of(const GuardedMatrix<T>& S) {
  return upper_part(S, ComplexScalar<T>);
}

/// With zeros for guards, and the leading dimension that both pairs share.
template <Scalar T>
GuardedMatrix<T> plain(const WideMatrix<T>& S, Int ld) {
  const Int n = Int(S.cols());
  GuardedMatrix<T> A(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) = T(S(i - 1, j - 1));
  }
  return A;
}

template <Scalar T>
void multiply(GuardedMatrix<T>& A, Real<T> factor, bool (*is_element)(Int, Int)) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      if (is_element(i, j)) A(i, j) *= factor;
    }
  }
  A.seal();
}

}  // namespace

template <Scalar T>
SchurPair<T>::SchurPair(Random& random, const std::vector<Int>& blocks, Int lds, Int ldp)
    : S(random_schur_form<T>(random, blocks, lds)), P(random_triangle<T>(random, true, false, S.rows(), ldp)) {
  for (Int j = 1; j <= S.rows(); ++j) {
    for (Int i = j + (RealScalar<T> ? 2 : 1); i <= S.rows(); ++i) S(i, j) = guard<T>();
  }
  S.seal();
}

template <Scalar T>
EquationData<T>::EquationData(Random& random, const std::vector<Int>& left, const std::vector<Int>& right)
    : m(std::accumulate(left.begin(), left.end(), 0)),
      n(std::accumulate(right.begin(), right.end(), 0)),
      lda(m + 1),
      ldb(n + 2),
      ldc(m + 3),
      ldd(std::max(1, m)),
      lde(n + 1),
      ldf(m + 2),
      A(0, 0, 1),
      B(0, 0, 1),
      C(random_matrix<T>(random, m, n, ldc)),
      D(0, 0, 1),
      E(0, 0, 1),
      F(random_matrix<T>(random, m, n, ldf)) {
  SchurPair<T> first(random, left, lda, ldd), second(random, right, ldb, lde);
  for (Int j = 1; j <= m; ++j) first.S(j, j) += T(R(8));
  first.S.seal();
  A = first.S;
  D = first.P;
  B = second.S;
  E = second.P;
}

template <Scalar T>
void EquationData<T>::scale_coefficients(R factor) {
  for (GuardedMatrix<T>* S : {&A, &B}) {
    multiply(*S, factor, [](Int i, Int j) { return i <= j + (RealScalar<T> ? 1 : 0); });
  }
  for (GuardedMatrix<T>* P : {&D, &E}) multiply(*P, factor, [](Int i, Int j) { return i <= j; });
}

template <Scalar T>
void EquationData<T>::scale_right_side(R factor) {
  for (GuardedMatrix<T>* X : {&C, &F}) multiply(*X, factor, [](Int, Int) { return true; });
}

template <Scalar T>
void EquationData<T>::scale_half(bool upper, R factor, bool is_adjoint) {
  if (upper) {
    for (GuardedMatrix<T>* S : {&A, &B}) {
      multiply(*S, factor, [](Int i, Int j) { return i <= j + (RealScalar<T> ? 1 : 0); });
    }
  } else {
    for (GuardedMatrix<T>* P : {&D, &E}) multiply(*P, factor, [](Int i, Int j) { return i <= j; });
  }
  if (!is_adjoint) multiply(upper ? C : F, factor, [](Int, Int) { return true; });
}

template <Scalar T>
void EquationData<T>::couple_weakly() {
  for (GuardedMatrix<T>* S : {&A, &B, &D, &E}) multiply(*S, R(0.1), [](Int i, Int j) { return i <= j - 2; });
}

template <Scalar T>
WideMatrix<T> EquationData<T>::kronecker() const {
  const Int ld = std::max(m, n) + 1, order = 2 * m * n;
  const GuardedMatrix<T> left = plain<T>(form_of(A), ld), right = plain<T>(form_of(B), ld),
                         lower_left = plain<T>(upper_part(D, true), ld),
                         lower_right = plain<T>(upper_part(E, true), ld);
  GuardedMatrix<T> Z(order, order, order);
  routine_call::lakf2(m, n, Matrix<const T>(left), right.data(), lower_left.data(), lower_right.data(), Matrix<T>(Z));
  return wide(Z);
}

template <Scalar T>
testing::AssertionResult EquationData<T>::coefficients_unchanged() const {
  for (const GuardedMatrix<T>* S : {&A, &B, &D, &E}) {
    if (!S->unchanged()) return S->unchanged();
  }
  return testing::AssertionSuccess();
}

template <Scalar T>
WideMatrix<T> stacked(const GuardedMatrix<T>& R, const GuardedMatrix<T>& L) {
  WideMatrix<T> x(2 * Eigen::Index(R.rows()) * R.columns(), 1);
  const WideMatrix<T> r = wide(R), l = wide(L);
  x << r.reshaped(), l.reshaped();
  return x;
}

template <Scalar T>
double least_singular_value(const WideMatrix<T>& K, Real<T> factor_of_upper_half) {
  WideMatrix<T> inverted = inverse<T>(K);
  inverted.leftCols(K.rows() / 2) /= WideReal<T>(factor_of_upper_half);
  return double(1 / wide_singular_values<T>(inverted).maxCoeff());
}

template <Scalar T>
double equation_residual(const EquationData<T>& data, bool is_adjoint, const GuardedMatrix<T>& R,
                         const GuardedMatrix<T>& L, Real<T> scale) {
  const WideMatrix<T> A = form_of(data.A), B = form_of(data.B), D = upper_part(data.D, true),
                      E = upper_part(data.E, true), r = wide(R), l = wide(L);
  const WideReal<T> factor(scale);
  WideMatrix<T> first, second;
  if (is_adjoint) {
    first = product<T>(A.adjoint(), r) + product<T>(D.adjoint(), l) - factor * wide(data.C);
    second = product<T>(r, B.adjoint()) + product<T>(l, E.adjoint()) + factor * wide(data.F);
  } else {
    first = product<T>(A, r) - product<T>(l, B) - factor * wide(data.C);
    second = product<T>(D, r) - product<T>(l, E) - factor * wide(data.F);
  }
  const auto largest = [](const WideMatrix<T>& X) { return X.cwiseAbs().maxCoeff(); };
  const auto size = (largest(A) + largest(B) + largest(D) + largest(E)) * std::max(largest(r), largest(l));
  return double(std::max(largest(first), largest(second)) / (size * WideReal<T>(data.m + data.n))) / epsilon<T>;
}

template <Scalar T>
double equation_error(const EquationData<T>& data, bool is_adjoint, const GuardedMatrix<T>& R,
                      const GuardedMatrix<T>& L, Real<T> scale) {
  WideMatrix<T> K = data.kronecker();
  if (is_adjoint) K.adjointInPlace();
  const WideMatrix<T> inverted = inverse<T>(K), x = stacked(R, L),
                      y = WideReal<T>(scale) * product<T>(inverted, stacked(data.C, data.F));
  const double condition = one_norm<T>(K) * one_norm<T>(inverted);
  return one_norm<T>(WideMatrix<T>(x - y)) / (one_norm<T>(y) * condition * (data.m + data.n) * epsilon<T>);
}

#define NUV_INSTANTIATE(T)                                                                                          \
  template struct SchurPair<T>;                                                                                     \
  template struct EquationData<T>;                                                                                  \
  template WideMatrix<T> stacked(const GuardedMatrix<T>&, const GuardedMatrix<T>&);                                 \
  template double least_singular_value<T>(const WideMatrix<T>&, Real<T>);                                           \
  template double equation_residual(const EquationData<T>&, bool, const GuardedMatrix<T>&, const GuardedMatrix<T>&, \
                                    Real<T>);                                                                       \
  template double equation_error(const EquationData<T>&, bool, const GuardedMatrix<T>&, const GuardedMatrix<T>&,    \
                                 Real<T>);
NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::test
