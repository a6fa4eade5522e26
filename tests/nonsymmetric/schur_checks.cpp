#include "nonsymmetric/schur_checks.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace nuv::test {

template <Scalar T>
std::vector<Int> random_blocks(Random& random, Int n) {
  std::vector<Int> blocks;
  for (Int left = n; left > 0; left -= blocks.back()) {
    blocks.push_back(RealScalar<T> && left > 1 ? random.integer(1, 2) : 1);
  }
  return blocks;
}

template <Scalar T>
GuardedMatrix<T> random_schur_form(Random& random, const std::vector<Int>& blocks, Int ld) {
  const Int n = std::accumulate(blocks.begin(), blocks.end(), 0);
  GuardedMatrix<T> S = random_matrix<T>(random, n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1; i <= n; ++i) S(i, j) = T(0);
  }
  if constexpr (RealScalar<T>) {
    Int at = 1;
    for (const Int order : blocks) {
      if (order == 2) {
        S(at + 1, at + 1) = S(at, at);
        S(at, at + 1) = T(random.divisor<double>() / 2);
        S(at + 1, at) = T(S(at, at + 1) < 0 ? 0.625 : -0.625) * T(random.real() / 2 + 1);
      }
      at += order;
    }
  }
  S.seal();
  return S;
}

template <Scalar T>
GuardedMatrix<T> random_schur_form(Random& random, Int n, Int ld) {
  return random_schur_form<T>(random, random_blocks<T>(random, n), ld);
}

template <Scalar T>
GuardedMatrix<T> distinct_schur_form(Random& random, const std::vector<Int>& blocks) {
  GuardedMatrix<T> S = random_schur_form<T>(random, blocks, std::accumulate(blocks.begin(), blocks.end(), 1));
  Int at = 1;
  for (std::size_t k = 0; k < blocks.size(); at += blocks[k], ++k) {
    for (Int j = at; j < at + blocks[k]; ++j) S(j, j) = T(Real<T>(k + 1) / 2);
  }
  S.seal();
  return S;
}

template <RealScalar R>
GuardedMatrix<R> close_pairs(Random& random) {
  GuardedMatrix<R> S = random_schur_form<R>(random, {2, 2}, 5);
  const int power = std::numeric_limits<R>::digits / 2, distance = -random.integer(1, power);
  const auto like = [&](R x) { return x * (1 + std::ldexp(R(random.real()), distance)); };
  S(1, 2) = std::ldexp(S(1, 2), power);
  S(2, 1) = std::ldexp(S(2, 1), -power);
  S(3, 3) = S(4, 4) = like(S(1, 1));
  S(3, 4) = like(S(1, 2));
  S(4, 3) = like(S(2, 1));
  S.seal();
  return S;
}

template <Scalar T>
GuardedMatrix<T> random_hessenberg(Random& random, Int n, Int ld) {
  GuardedMatrix<T> H = random_matrix<T>(random, n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 2; i <= n; ++i) H(i, j) = T(0);
  }
  H.seal();
  return H;
}

template <Scalar T>
GuardedMatrix<T> identity_matrix(Int n, Int ld) {
  GuardedMatrix<T> I(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) I(i, j) = T(Real<T>(i == j));
  }
  I.seal();
  return I;
}

/// Gram and Schmidt's columns in the wider type, rounded.
template <Scalar T>
GuardedMatrix<T> random_unitary(Random& random, Int n, Int ld) {
  WideMatrix<T> Q = wide(random_matrix<T>(random, n, n, std::max(1, n)));
  for (Eigen::Index j = 0; j < n; ++j) {
    for (const int repeat : {1, 2}) {
      static_cast<void>(repeat);
      for (Eigen::Index k = 0; k < j; ++k) {
        const Wide<T> part = Q.col(k).dot(Q.col(j));
        Q.col(j) -= part * Q.col(k);
      }
      Q.col(j) /= Q.col(j).norm();
    }
  }
  GuardedMatrix<T> rounded(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) rounded(i, j) = T(Q(i - 1, j - 1));
  }
  rounded.seal();
  return rounded;
}

template <Scalar T>
WideMatrix<T> sylvester_operator(const WideMatrix<T>& A, const WideMatrix<T>& B, Int isgn) {
  const Eigen::Index m = A.cols(), n = B.cols();
  WideMatrix<T> K = WideMatrix<T>::Zero(m * n, m * n);
  for (Eigen::Index j = 0; j < n; ++j) {
    K.block(m * j, m * j, m, m) += A;
    for (Eigen::Index l = 0; l < n; ++l) K.block(m * j, m * l, m, m).diagonal().array() += Wide<T>(isgn) * B(l, j);
  }
  return K;
}

template <Scalar T>
bool is_finite(const GuardedMatrix<T>& A) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      if (!std::isfinite(std::real(A(i, j))) || !std::isfinite(std::imag(A(i, j)))) return false;
    }
  }
  return true;
}

template <Scalar T>
double schur_residual(const WideMatrix<T>& A, const WideMatrix<T>& Z, const WideMatrix<T>& S) {
  return product_residual<T>(product<T>(A, Z), Z, S);
}

template <Scalar T>
testing::AssertionResult is_schur_form(const GuardedMatrix<T>& S) {
  const Int n = S.rows();
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1; i <= n; ++i) {
      if (S(i, j) == T(0)) continue;
      if (ComplexScalar<T> || i > j + 1) {
        return testing::AssertionFailure() << "(" << i << ", " << j << ") is " << S(i, j);
      }
      if constexpr (RealScalar<T>) {
        if (j > 1 && S(j, j - 1) != 0) return testing::AssertionFailure() << "blocks meet in row " << j;
        const bool is_standard = S(j, j) == S(i, i) && (S(j, i) < 0) != (S(i, j) < 0) && S(j, i) != 0;
        if (!is_standard) return testing::AssertionFailure() << "the block in row " << j << " is not in standard form";
      }
    }
  }
  return testing::AssertionSuccess();
}

template <Scalar T>
std::vector<std::complex<double>> eigenvalues_of(const GuardedMatrix<T>& S) {
  std::vector<std::complex<double>> values;
  for (Int j = 1; j <= S.rows(); ++j) {
    if constexpr (RealScalar<T>) {
      if (j < S.rows() && S(j + 1, j) != 0) {
        const double mean = (double(S(j, j)) + double(S(j + 1, j + 1))) / 2;
        const double half = (double(S(j, j)) - double(S(j + 1, j + 1))) / 2;
        const auto root = std::sqrt(std::complex<double>(half * half + double(S(j, j + 1)) * double(S(j + 1, j))));
        values.insert(values.end(), {mean + root, mean - root});
        ++j;
        continue;
      }
    }
    values.push_back(std::complex<double>(S(j, j)));
  }
  return values;
}

void expect_close(const std::vector<std::complex<double>>& values, const std::vector<std::complex<double>>& expected,
                  double tolerance) {
  ASSERT_EQ(values.size(), expected.size());
  for (std::size_t k = 0; k < values.size(); ++k) EXPECT_NEAR(std::abs(values[k] - expected[k]), 0, tolerance) << k;
}

double spectrum_distance(const std::vector<std::complex<double>>& found, std::vector<std::complex<double>> expected) {
  if (found.size() != expected.size()) return std::numeric_limits<double>::infinity();
  double largest = 0;
  for (const std::complex<double>& value : found) {
    if (std::isnan(std::abs(value))) return std::numeric_limits<double>::quiet_NaN();
    const auto nearest = std::ranges::min_element(expected, {}, [&](auto other) { return std::abs(value - other); });
    largest = std::max(largest, std::abs(value - *nearest));
    expected.erase(nearest);
  }
  return largest;
}

#define NUV_INSTANTIATE(T)                                                                             \
  template std::vector<Int> random_blocks<T>(Random&, Int);                                            \
  template GuardedMatrix<T> random_schur_form<T>(Random&, const std::vector<Int>&, Int);               \
  template GuardedMatrix<T> random_schur_form<T>(Random&, Int, Int);                                   \
  template GuardedMatrix<T> distinct_schur_form<T>(Random&, const std::vector<Int>&);                  \
  template GuardedMatrix<T> random_hessenberg<T>(Random&, Int, Int);                                   \
  template GuardedMatrix<T> identity_matrix<T>(Int, Int);                                              \
  template GuardedMatrix<T> random_unitary<T>(Random&, Int, Int);                                      \
  template WideMatrix<T> sylvester_operator<T>(const WideMatrix<T>&, const WideMatrix<T>&, Int);       \
  template bool is_finite<T>(const GuardedMatrix<T>&);                                                 \
  template double schur_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&, const WideMatrix<T>&); \
  template testing::AssertionResult is_schur_form<T>(const GuardedMatrix<T>&);                         \
  template std::vector<std::complex<double>> eigenvalues_of<T>(const GuardedMatrix<T>&);

template GuardedMatrix<float> close_pairs<float>(Random&);
template GuardedMatrix<double> close_pairs<double>(Random&);
NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
