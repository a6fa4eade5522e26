#include "generalised/pair_checks.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "support/norms.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
GuardedMatrix<T> rounded(const WideMatrix<T>& A) {
  GuardedMatrix<T> result(Int(A.rows()), Int(A.cols()), std::max(1, Int(A.rows())) + 2);
  for (Int j = 1; j <= Int(A.cols()); ++j) {
    for (Int i = 1; i <= Int(A.rows()); ++i) result(i, j) = T(A(i - 1, j - 1));
  }
  result.seal();
  return result;
}

/// D1 and D2 with given pairs on their diagonals.
template <Scalar T>
struct PairDiagonals {
  WideMatrix<T> d1, d2;

  template <class Cosine, class Sine>
  PairDiagonals(const PairShape& shape, Cosine cosine, Sine sine) {
    const auto [m, p, n, k, l] = shape;
    d1 = WideMatrix<T>::Zero(m, k + l);
    d2 = WideMatrix<T>::Zero(p, k + l);
    for (Int i = 0; i < k; ++i) d1(i, i) = cosine(i);
    for (Int i = 0; i < l; ++i) {
      if (k + i < m) d1(k + i, k + i) = cosine(k + i);
      d2(i, k + i) = sine(k + i);
    }
  }
};

template <Scalar T>
WideMatrix<T> behind_zeros(const WideMatrix<T>& R, Int n) {
  WideMatrix<T> result = WideMatrix<T>::Zero(R.rows(), n);
  result.rightCols(R.cols()) = R;
  return result;
}

}  // namespace

std::string PairShape::text() const {
  return "m " + std::to_string(m) + ", p " + std::to_string(p) + ", n " + std::to_string(n) + ", k " +
         std::to_string(k) + ", l " + std::to_string(l);
}

std::vector<PairShape> shapes_of(Int m, Int p, Int n) {
  std::vector<PairShape> all;
  for (Int l = 0; l <= std::min(p, n); ++l) {
    for (Int k = 0; k <= std::min(m, n - l); ++k) all.push_back({m, p, n, k, l});
  }
  return all;
}

template <Scalar T>
WideMatrix<T> random_unitary(Random& random, Int n) {
  WideMatrix<T> Q = WideMatrix<T>::Identity(n, n);
  for (Int step = 0; step < n; ++step) {
    WideMatrix<T> v(n, 1);
    for (Int i = 0; i < n; ++i) v(i, 0) = wide(random.scalar<T>());
    v /= Wide<T>(v.norm());
    for (Int j = 0; j < n; ++j) {
      const Wide<T> along = Wide<T>(2) * v.col(0).dot(Q.col(j));
      Q.col(j) -= along * v.col(0);
    }
  }
  return Q;
}

template <Scalar T>
KnownPair<T>::KnownPair(Random& random, const PairShape& shape_)
    : shape(shape_), A(shape.m, shape.n, std::max(1, shape.m)), B(shape.p, shape.n, std::max(1, shape.p)) {
  const auto [m, p, n, k, l] = shape;
  const Int pairs = std::max(shape.pairs(), 0), order = k + l;
  std::vector<double> angles(static_cast<std::size_t>(pairs));
  for (Int i = 0; i < pairs; ++i) {
    angles[std::size_t(i)] = (i + 0.5 + 0.3 * random.real()) / pairs * (std::numbers::pi / 2);
    alpha.push_back(std::cos(angles[std::size_t(i)]));
  }
  const auto cosine = [&](Int i) {
    return i < k ? Wide<T>(1) : Wide<T>(std::cos(WideReal<T>(angles[std::size_t(i - k)])));
  };
  const auto sine = [&](Int i) {
    return i - k < pairs ? Wide<T>(std::sin(WideReal<T>(angles[std::size_t(i - k)]))) : Wide<T>(1);
  };
  const PairDiagonals<T> diagonals(shape, cosine, sine);
  WideMatrix<T> R = WideMatrix<T>::Zero(order, order);
  for (Int j = 0; j < order; ++j) {
    for (Int i = 0; i < j; ++i) R(i, j) = wide(random.scalar<T>()) / Wide<T>(order);
    R(j, j) = wide(random.divisor<T>());
  }
  const WideMatrix<T> turned = product<T>(behind_zeros<T>(R, n), WideMatrix<T>(random_unitary<T>(random, n).adjoint()));
  A = rounded<T>(product<T>(random_unitary<T>(random, m), product<T>(diagonals.d1, turned)));
  B = rounded<T>(product<T>(random_unitary<T>(random, p), product<T>(diagonals.d2, turned)));
}

template <Scalar T>
double unitarity(const WideMatrix<T>& U) {
  const WideMatrix<T> rest =
      product<T>(WideMatrix<T>(U.adjoint()), U) - WideMatrix<T>(WideMatrix<T>::Identity(U.cols(), U.cols()));
  return ratio(norm(rest), WideReal<T>(U.rows()) * epsilon<T>);
}

template <Scalar T>
double form_residual(const WideMatrix<T>& A, const WideMatrix<T>& U, const WideMatrix<T>& Q, const WideMatrix<T>& F) {
  const WideMatrix<T> rest = product<T>(WideMatrix<T>(U.adjoint()), product<T>(A, Q)) - F;
  return ratio(norm(rest), norm(A) * WideReal<T>(std::max(A.rows(), A.cols())) * epsilon<T>);
}

template <Scalar T>
PairForms<T>::PairForms(const PairShape& shape, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B,
                        const GuardedVector<Real<T>>& alpha, const GuardedVector<Real<T>>& beta) {
  const auto [m, p, n, k, l] = shape;
  const Int order = k + l;
  WideMatrix<T> R = WideMatrix<T>::Zero(order, order);
  for (Int j = 1; j <= order; ++j) {
    for (Int i = 1; i <= j; ++i) R(i - 1, j - 1) = wide(i <= m ? A(i, n - order + j) : B(i - k, n - order + j));
  }
  const PairDiagonals<T> diagonals(
      shape, [&](Int i) { return Wide<T>(alpha(i + 1)); }, [&](Int i) { return Wide<T>(beta(i + 1)); });
  of_a = product<T>(diagonals.d1, behind_zeros<T>(R, n));
  of_b = product<T>(diagonals.d2, behind_zeros<T>(R, n));
}

template <Scalar T>
std::vector<double> wide_quotients(const GuardedMatrix<T>& A, const GuardedMatrix<T>& B) {
  const WideVector<T> values = wide_singular_values<T>(product<T>(wide(A), inverse<T>(wide(B))));
  return {values.data(), values.data() + values.size()};
}

#define NUV_INSTANTIATE(T)                                                                           \
  template WideMatrix<T> random_unitary<T>(Random&, Int);                                            \
  template struct KnownPair<T>;                                                                      \
  template double unitarity<T>(const WideMatrix<T>&);                                                \
  template double form_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&, const WideMatrix<T>&, \
                                   const WideMatrix<T>&);                                            \
  template struct PairForms<T>;                                                                      \
  template std::vector<double> wide_quotients<T>(const GuardedMatrix<T>&, const GuardedMatrix<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
