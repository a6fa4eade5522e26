#include "generalised/pencil_checks.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace nuv::test {
namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// The numbers of a wide matrix, rounded.
template <Scalar T>
GuardedMatrix<T> rounded(const WideMatrix<T>& X, Int ld) {
  GuardedMatrix<T> A(Int(X.rows()), Int(X.cols()), ld);
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) A(i, j) = T(X(i - 1, j - 1));
  }
  A.seal();
  return A;
}

template <Scalar T>
void clear_below(GuardedMatrix<T>& A, Int subdiagonals) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = j + 1 + subdiagonals; i <= A.rows(); ++i) A(i, j) = T(0);
  }
}

/// Norm one, and zero for what has no direction.
PencilValue normalised(const PencilValue& x) {
  const double size = std::max({std::abs(x.alpha.real()), std::abs(x.alpha.imag()), std::abs(x.beta)});
  if (!std::isfinite(size)) return {not_a_number, not_a_number};
  if (size == 0) return {0, 0};
  // By a power of two first, so that nothing is lost of tiny numbers.
  const int power = -std::ilogb(size);
  const PencilValue y{{std::scalbn(x.alpha.real(), power), std::scalbn(x.alpha.imag(), power)},
                      std::scalbn(x.beta, power)};
  const double length = std::hypot(std::abs(y.alpha), y.beta);
  return {y.alpha / length, y.beta / length};
}

}  // namespace

// ------------------------------------------------------------------------------------------------------------ pencils

template <Scalar T>
Pencil<T> random_pencil(Random& random, Int n, Int ld) {
  GuardedMatrix<T> A = random_matrix<T>(random, n, n, ld);
  return {A, random_matrix<T>(random, n, n, ld)};
}

template <Scalar T>
Pencil<T> random_hessenberg_triangular(Random& random, Int n, Int ld) {
  Pencil<T> pencil{random_hessenberg<T>(random, n, ld), random_matrix<T>(random, n, n, ld)};
  clear_below(pencil.B, 0);
  for (Int j = 1; j <= n; ++j) pencil.B(j, j) = random.divisor<T>();
  pencil.B.seal();
  return pencil;
}

template <Scalar T>
Pencil<T> random_pencil_schur_form(Random& random, const std::vector<Int>& blocks, Int ld) {
  const Int n = std::accumulate(blocks.begin(), blocks.end(), 0);
  GuardedMatrix<T> S = random_schur_form<T>(random, blocks, ld);
  Pencil<T> pencil{S, random_matrix<T>(random, n, n, ld)};
  clear_below(pencil.B, 0);
  for (Int j = 1; j <= n; ++j) pencil.B(j, j) = T(Real<T>(std::abs(std::complex<double>(random.divisor<T>()))));
  if constexpr (RealScalar<T>) {
    Int at = 1;
    for (const Int order : blocks) {
      // With equal diagonal elements of B, the eigenvalues of a block of A in standard form remain conjugate.
      if (order == 2) {
        pencil.B(at, at + 1) = 0;
        pencil.B(at + 1, at + 1) = pencil.B(at, at);
      }
      at += order;
    }
  }
  pencil.B.seal();
  return pencil;
}

template <Scalar T>
Pencil<T> random_pencil_schur_form(Random& random, Int n, Int ld) {
  return random_pencil_schur_form<T>(random, random_blocks<T>(random, n), ld);
}

template <Scalar T>
Pencil<T> distinct_pencil_schur_form(Random& random, const std::vector<Int>& blocks) {
  const Int ld = std::accumulate(blocks.begin(), blocks.end(), 1);
  Pencil<T> pencil = random_pencil_schur_form<T>(random, blocks, ld);
  Int at = 1;
  for (std::size_t k = 0; k < blocks.size(); at += blocks[k], ++k) {
    for (Int j = at; j < at + blocks[k]; ++j) pencil.A(j, j) = pencil.B(j, j) * T(Real<T>(k + 1) / 2);
  }
  pencil.A.seal();
  return pencil;
}

template <Scalar T>
Pencil<T> pencil_with_values(Random& random, const std::vector<PencilValue>& values, Int ld) {
  const Int n = Int(values.size());
  WideMatrix<T> S = wide(random_matrix<T>(random, n, n, std::max(1, n))),
                P = wide(random_matrix<T>(random, n, n, std::max(1, n)));
  S = S.template triangularView<Eigen::Upper>();
  P = P.template triangularView<Eigen::Upper>();
  for (Int k = 0; k < n; ++k) {
    const auto& [alpha, beta] = values[std::size_t(k)];
    P(k, k) = Wide<T>(WideReal<T>(beta));
    if constexpr (ComplexScalar<T>) {
      S(k, k) = Wide<T>(WideReal<T>(alpha.real()), WideReal<T>(alpha.imag()));
    } else {
      S(k, k) = WideReal<T>(alpha.real());
      if (alpha.imag() <= 0) continue;
      S(k, k + 1) = WideReal<T>(alpha.imag());
      S(k + 1, k) = -WideReal<T>(alpha.imag());
      P(k, k + 1) = 0;
    }
  }
  const Int tight = std::max(1, n);
  const WideMatrix<T> Q = wide(random_unitary<T>(random, n, tight)), Z = wide(random_unitary<T>(random, n, tight));
  const WideMatrix<T> ZH = op<T>('C', Z);
  return {rounded<T>(product<T>(Q, product<T>(S, ZH)), ld), rounded<T>(product<T>(Q, product<T>(P, ZH)), ld)};
}

template <Scalar T>
Pencil<T> pencil_with_infinities(Random& random, Int n, Int rank, Int ld) {
  Pencil<T> pencil = random_pencil<T>(random, n, ld);
  for (Int k = 0; k < n - rank; ++k) {
    // Every other one first.
    const Int place = k < n / 2 ? 2 * k + 2 : 2 * (k - n / 2) + 1;
    for (Int i = 1; i <= n; ++i) pencil.B(place, i) = pencil.B(i, n + 1 - place) = T(0);
  }
  pencil.B.seal();
  return pencil;
}

template <Scalar T>
Pencil<T> singular_pencil(Random& random, Int n, Int ld) {
  Pencil<T> pencil = random_pencil<T>(random, n, ld);
  for (GuardedMatrix<T>* M : {&pencil.A, &pencil.B}) {
    for (Int i = 1; i <= n; ++i) (*M)(i, n) = (*M)(i, 1);
    M->seal();
  }
  return pencil;
}

template <Scalar T>
void scale_by_power(GuardedMatrix<T>& A, int exponent) {
  const Real<T> factor = std::ldexp(Real<T>(1), exponent);
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) A(i, j) *= factor;
  }
  A.seal();
}

// ----------------------------------------------------------------------------------------------------------- measures

template <Scalar T>
double pencil_residual(const WideMatrix<T>& A, const WideMatrix<T>& Q, const WideMatrix<T>& S, const WideMatrix<T>& Z) {
  if (A.size() == 0) return 0;
  return product_residual<T>(product<T>(A, Z), Q, S);
}

template <Scalar T>
double pencil_residual(const GuardedMatrix<T>& A, const GuardedMatrix<T>& Q, const GuardedMatrix<T>& S,
                       const GuardedMatrix<T>& Z) {
  return pencil_residual<T>(wide(A), wide(Q), wide(S), wide(Z));
}

template <Scalar T>
double unitary_residual(const GuardedMatrix<T>& Q) {
  const WideMatrix<T> W = wide(Q);
  if (W.size() == 0) return 0;
  const WideMatrix<T> square = product<T>(op<T>('C', W), W);
  return one_norm<T>(square - WideMatrix<T>::Identity(W.cols(), W.cols())) / (double(W.rows()) * epsilon<T>);
}

template <Scalar T>
testing::AssertionResult is_hessenberg_triangular(const GuardedMatrix<T>& H, const GuardedMatrix<T>& P, Int ilo,
                                                  Int ihi) {
  for (Int j = 1; j <= H.columns(); ++j) {
    for (Int i = j + 1; i <= H.rows(); ++i) {
      const bool is_subdiagonal = i == j + 1 && j >= ilo && i <= ihi;
      if (!is_subdiagonal && H(i, j) != T(0)) {
        return testing::AssertionFailure() << "(" << i << ", " << j << ") of H is " << H(i, j);
      }
      if (P(i, j) != T(0)) return testing::AssertionFailure() << "(" << i << ", " << j << ") of T is " << P(i, j);
    }
  }
  return testing::AssertionSuccess();
}

namespace {

/// Whether rows j and j + 1 have conjugate eigenvalues and a diagonal block of P: the discriminant of s P^-1.
template <RealScalar R>
testing::AssertionResult is_standard_pair(const GuardedMatrix<R>& S, const GuardedMatrix<R>& P, Int j) {
  if (P(j, j + 1) != 0 || !(P(j, j) > 0) || !(P(j + 1, j + 1) > 0)) {
    return testing::AssertionFailure() << "the block of T in row " << j << " is not diagonal and positive";
  }
  using W = WideReal<R>;
  const W a = W(S(j, j)) / W(P(j, j)), d = W(S(j + 1, j + 1)) / W(P(j + 1, j + 1));
  const W bc = W(S(j, j + 1)) / W(P(j + 1, j + 1)) * (W(S(j + 1, j)) / W(P(j, j)));
  const W half = (a - d) / 2;
  // As far as rounding in the working precision lets it be told.
  if (half * half + bc >= 10 * W(epsilon<R>) * (half * half + std::abs(bc))) {
    return testing::AssertionFailure() << "the eigenvalues of the block in row " << j << " are real";
  }
  return testing::AssertionSuccess();
}

}  // namespace

template <Scalar T>
testing::AssertionResult is_pencil_schur_form(const GuardedMatrix<T>& S, const GuardedMatrix<T>& P) {
  const Int n = S.rows();
  for (Int j = 1; j <= n; ++j) {
    if (!(std::real(P(j, j)) >= 0) || std::imag(P(j, j)) != 0) {
      return testing::AssertionFailure() << "(" << j << ", " << j << ") of T is " << P(j, j);
    }
    for (Int i = j + 1; i <= n; ++i) {
      if (P(i, j) != T(0)) return testing::AssertionFailure() << "(" << i << ", " << j << ") of T is " << P(i, j);
      if (S(i, j) == T(0)) continue;
      if (ComplexScalar<T> || i > j + 1) {
        return testing::AssertionFailure() << "(" << i << ", " << j << ") of S is " << S(i, j);
      }
      if constexpr (RealScalar<T>) {
        if (j > 1 && S(j, j - 1) != 0) return testing::AssertionFailure() << "blocks meet in row " << j;
        if (const auto standard = is_standard_pair(S, P, j); !standard) return standard;
      }
    }
  }
  return testing::AssertionSuccess();
}

template <Scalar T>
std::vector<PencilValue> values_of_form(const GuardedMatrix<T>& S, const GuardedMatrix<T>& P) {
  std::vector<PencilValue> values;
  for (Int j = 1; j <= S.rows(); ++j) {
    if constexpr (RealScalar<T>) {
      if (j < S.rows() && S(j + 1, j) != 0) {
        // P^-1 S of the block, P upper triangular.
        using W = WideReal<T>;
        const W p11 = P(j, j), p12 = P(j, j + 1), p22 = P(j + 1, j + 1);
        const W c = W(S(j + 1, j)) / p22, d = W(S(j + 1, j + 1)) / p22;
        const W a = (W(S(j, j)) - p12 * c) / p11, b = (W(S(j, j + 1)) - p12 * d) / p11;
        const W mean = (a + d) / 2, half = (a - d) / 2;
        const std::complex<W> root = std::sqrt(std::complex<W>(half * half + b * c));
        for (const std::complex<W>& value : {mean + root, mean - root}) {
          values.push_back({std::complex<double>(value), 1});
        }
        ++j;
        continue;
      }
    }
    values.push_back({std::complex<double>(S(j, j)), double(std::real(P(j, j)))});
  }
  return values;
}

template <Scalar T>
std::vector<PencilValue> pencil_values(const GuardedVector<T>& alphar, const GuardedVector<T>& alphai,
                                       const GuardedVector<T>& beta) {
  std::vector<PencilValue> values;
  for (Int k = 1; k <= beta.size(); ++k) {
    std::complex<double> alpha(alphar(k));
    if constexpr (RealScalar<T>) alpha = {double(alphar(k)), double(alphai(k))};
    values.push_back({alpha, double(std::real(beta(k)))});
  }
  return values;
}

double chordal_distance(const PencilValue& x, const PencilValue& y) {
  const PencilValue u = normalised(x), v = normalised(y);
  const bool u_is_none = u.alpha == 0.0 && u.beta == 0, v_is_none = v.alpha == 0.0 && v.beta == 0;
  if (u_is_none || v_is_none) return u_is_none && v_is_none ? 0 : not_a_number;
  return std::abs(u.alpha * v.beta - v.alpha * u.beta);
}

double spectrum_distance(const std::vector<PencilValue>& found, std::vector<PencilValue> expected) {
  if (found.size() != expected.size()) return std::numeric_limits<double>::infinity();
  double largest = 0;
  for (const PencilValue& value : found) {
    std::vector<double> distances;
    for (const PencilValue& other : expected) distances.push_back(chordal_distance(value, other));
    const auto is_nan = [](double x) { return std::isnan(x); };
    if (std::ranges::all_of(distances, is_nan)) return not_a_number;
    std::ranges::replace_if(distances, is_nan, 2.0);
    const auto nearest = std::ranges::min_element(distances);
    largest = std::max(largest, *nearest);
    expected.erase(expected.begin() + (nearest - distances.begin()));
  }
  return largest;
}

void expect_close(const std::vector<PencilValue>& found, const std::vector<PencilValue>& expected, double tolerance) {
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t k = 0; k < found.size(); ++k) {
    EXPECT_LE(chordal_distance(found[k], expected[k]), tolerance) << "eigenvalue " << k + 1;
  }
}

testing::AssertionResult are_proper(const std::vector<PencilValue>& values, bool is_real) {
  for (std::size_t k = 0; k < values.size(); ++k) {
    const auto& [alpha, beta] = values[k];
    if (!std::isfinite(alpha.real()) || !std::isfinite(alpha.imag()) || !std::isfinite(beta) || !(beta >= 0)) {
      return testing::AssertionFailure() << "eigenvalue " << k + 1 << " is " << alpha << " / " << beta;
    }
    if (!is_real || alpha.imag() == 0) continue;
    const bool has_partner = alpha.imag() > 0 && k + 1 < values.size() && values[k + 1].alpha.imag() < 0;
    if (!has_partner || chordal_distance({std::conj(alpha), beta}, values[k + 1]) > 1e-5) {
      return testing::AssertionFailure() << "eigenvalue " << k + 1 << ", " << alpha << " / " << beta
                                         << ", has no conjugate beside it";
    }
    ++k;
  }
  return testing::AssertionSuccess();
}

template <Scalar T>
PencilVectors<T> pencil_vectors(const GuardedMatrix<T>& V, const std::vector<PencilValue>& values) {
  const WideMatrix<T> W = wide(V);
  PencilVectors<T> complex_vectors = W.template cast<Wide<std::complex<Real<T>>>>();
  if constexpr (RealScalar<T>) {
    for (Eigen::Index k = 0; k + 1 < W.cols(); ++k) {
      if (!(values[std::size_t(k)].alpha.imag() > 0)) continue;
      for (Eigen::Index i = 0; i < W.rows(); ++i) {
        complex_vectors(i, k) = {W(i, k), W(i, k + 1)};
        complex_vectors(i, k + 1) = {W(i, k), -W(i, k + 1)};
      }
      ++k;
    }
  }
  return complex_vectors;
}

template <Scalar T>
double pencil_vector_residual(char side, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B,
                              const std::vector<PencilValue>& values, const PencilVectors<T>& V) {
  using C = std::complex<Real<T>>;
  using W = WideReal<T>;
  const auto matrix = [&](const GuardedMatrix<T>& M) {
    const WideMatrix<C> full = wide(M).template cast<Wide<C>>();
    return side == 'R' ? full : op<C>('C', full);
  };
  const WideMatrix<C> a = matrix(A), b = matrix(B);
  const double norm_a = one_norm<C>(a), norm_b = one_norm<C>(b);
  double largest = 0;
  for (Eigen::Index k = 0; k < V.cols(); ++k) {
    const PencilValue value = normalised(values[std::size_t(k)]);
    const Wide<C> alpha(W(value.alpha.real()), W(side == 'R' ? value.alpha.imag() : -value.alpha.imag()));
    const WideMatrix<C> x = V.col(k);
    const WideMatrix<C> rest = Wide<C>(W(value.beta)) * product<C>(a, x) - alpha * product<C>(b, x);
    const double scale = (value.beta * norm_a + std::abs(value.alpha) * norm_b) * one_norm<C>(x);
    const double residual = one_norm<C>(rest) / (scale * double(A.rows()) * epsilon<T>);
    if (!(residual <= largest)) largest = residual;
    if (std::isnan(residual)) return residual;
  }
  return largest;
}

#define NUV_INSTANTIATE(T)                                                                                             \
  template Pencil<T> random_pencil<T>(Random&, Int, Int);                                                              \
  template Pencil<T> random_hessenberg_triangular<T>(Random&, Int, Int);                                               \
  template Pencil<T> random_pencil_schur_form<T>(Random&, const std::vector<Int>&, Int);                               \
  template Pencil<T> random_pencil_schur_form<T>(Random&, Int, Int);                                                   \
  template Pencil<T> distinct_pencil_schur_form<T>(Random&, const std::vector<Int>&);                                  \
  template Pencil<T> pencil_with_values<T>(Random&, const std::vector<PencilValue>&, Int);                             \
  template Pencil<T> pencil_with_infinities<T>(Random&, Int, Int, Int);                                                \
  template Pencil<T> singular_pencil<T>(Random&, Int, Int);                                                            \
  template void scale_by_power<T>(GuardedMatrix<T>&, int);                                                             \
  template double pencil_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&, const WideMatrix<T>&,                 \
                                     const WideMatrix<T>&);                                                            \
  template double pencil_residual<T>(const GuardedMatrix<T>&, const GuardedMatrix<T>&, const GuardedMatrix<T>&,        \
                                     const GuardedMatrix<T>&);                                                         \
  template double unitary_residual<T>(const GuardedMatrix<T>&);                                                        \
  template testing::AssertionResult is_hessenberg_triangular<T>(const GuardedMatrix<T>&, const GuardedMatrix<T>&, Int, \
                                                                Int);                                                  \
  template testing::AssertionResult is_pencil_schur_form<T>(const GuardedMatrix<T>&, const GuardedMatrix<T>&);         \
  template std::vector<PencilValue> values_of_form<T>(const GuardedMatrix<T>&, const GuardedMatrix<T>&);               \
  template std::vector<PencilValue> pencil_values<T>(const GuardedVector<T>&, const GuardedVector<T>&,                 \
                                                     const GuardedVector<T>&);                                         \
  template PencilVectors<T> pencil_vectors<T>(const GuardedMatrix<T>&, const std::vector<PencilValue>&);               \
  template double pencil_vector_residual<T>(char, const GuardedMatrix<T>&, const GuardedMatrix<T>&,                    \
                                            const std::vector<PencilValue>&, const PencilVectors<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
