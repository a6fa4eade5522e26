// Pencils of known condition: ?latm6.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class PencilsOfKnownCondition : public testing::Test {};
TYPED_TEST_SUITE(PencilsOfKnownCondition, Precisions, PrecisionLetter);

/// Of a random complex number the real part, for real members.
template <Scalar T>
T parameter(Random& random) {
  if constexpr (ComplexScalar<T>) {
    const double re = random.real();
    return T(Real<T>(re), Real<T>(random.real()));
  } else {
    return T(random.real());
  }
}

template <Scalar T>
struct Known {
  using R = Real<T>;

  Int type, n;
  T alpha, beta, wx, wy;
  GuardedMatrix<T> A, B, X, Y;
  GuardedVector<R> s, dif;

  Known(Random& random, Int type_, Int n_)
      : type(type_),
        n(n_),
        alpha(parameter<T>(random)),
        beta(parameter<T>(random)),
        wx(parameter<T>(random) * R(3)),
        wy(parameter<T>(random) * R(2)),
        A(n, n, n + 1),
        B(n, n, n + 1),
        X(n, n, n + 2),
        Y(n, n, n + 3),
        s(n),
        dif(n) {
    routine_call::latm6(type, n, Matrix<T>(A), B.data(), Matrix<T>(X), Matrix<T>(Y), alpha, beta, wx, wy, s.data(),
                        dif.data());
    EXPECT_TRUE(A.guards_unchanged() && B.guards_unchanged() && X.guards_unchanged() && Y.guards_unchanged());
    EXPECT_TRUE(s.guards_unchanged() && dif.guards_unchanged());
  }

  bool has_pairs() const { return RealScalar<T> && type == 2; }

  /// The eigenvalue that each place has.
  std::complex<double> value(Int i) const {
    const std::complex<double> a(alpha), b(beta);
    if (type != 2 || i > 5) return double(i) + a;
    const std::complex<double> far(1 + a.real(), 1 + b.real());
    const std::complex<double> values[] = {{1, 1}, {1, -1}, {1, 0}, far, std::conj(far)};
    return values[i - 1];
  }

  /// D as it is to be.
  WideMatrix<T> diagonal() const {
    WideMatrix<T> D = WideMatrix<T>::Zero(n, n);
    for (Int i = 1; i <= n; ++i) {
      if constexpr (ComplexScalar<T>) {
        D(i - 1, i - 1) = Wide<T>(value(i));
      } else {
        D(i - 1, i - 1) = value(i).real();
      }
    }
    if (has_pairs()) {
      D(0, 1) = -1;
      D(1, 0) = 1;
      D(3, 4) = Wide<T>(1) + Wide<T>(beta);
      D(4, 3) = -D(3, 4);
    }
    return D;
  }
};

TYPED_TEST(PencilsOfKnownCondition, AreMadeOfTheirVectorsAndValues) {
  using T = TypeParam;
  Random random(91);
  for (const Int type : {1, 2}) {
    for (const Int n : {5, 6, 8}) {
      SCOPED_TRACE(testing::Message() << type << ", order " << n);
      const Known<T> p(random, type, n);
      const WideMatrix<T> X = wide(p.X), YH = op<T>('C', wide(p.Y));
      const WideMatrix<T> unit = WideMatrix<T>::Identity(n, n);
      EXPECT_LT(one_norm<T>(product<T>(product<T>(YH, wide(p.A)), X) - p.diagonal()), 200 * epsilon<T>);
      EXPECT_LT(one_norm<T>(product<T>(product<T>(YH, wide(p.B)), X) - unit), 200 * epsilon<T>);
      // The signs.
      const int sx[2][3] = {{-1, -1, 1}, {1, -1, -1}}, sy[3] = {-1, 1, -1};
      WideMatrix<T> expected_x = unit, expected_yh = unit;
      for (Int j = 0; j < 3; ++j) {
        for (Int i = 0; i < 2; ++i) {
          expected_x(i, 2 + j) = Wide<T>(sx[i][j]) * wide(p.wx);
          expected_yh(i, 2 + j) = Wide<T>(sy[j]) * wide(p.wy);
        }
      }
      EXPECT_EQ(one_norm<T>(X - expected_x), 0);
      EXPECT_EQ(one_norm<T>(YH - expected_yh), 0);
    }
  }
}

/// sqrt(|y^H A x|^2 + |y^H B x|^2) / (|x| |y|) with the vectors of the pencil; those of a pair are put together.
TYPED_TEST(PencilsOfKnownCondition, GiveConditionNumbersOfEigenvaluesByTheirDefinition) {
  using T = TypeParam;
  using C = std::complex<WideReal<T>>;
  using ComplexMatrix = WideMatrix<std::complex<Real<T>>>;
  Random random(92);
  for (const Int type : {1, 2}) {
    for (const Int n : {5, 7}) {
      const Known<T> p(random, type, n);
      const ComplexMatrix A = wide(p.A).template cast<C>(), B = wide(p.B).template cast<C>(),
                          X = wide(p.X).template cast<C>(), Y = wide(p.Y).template cast<C>();
      for (Int i = 1; i <= n; ++i) {
        ComplexMatrix x = X.col(i - 1), y = Y.col(i - 1);
        if (p.has_pairs() && i != 3 && i <= 5) {
          const Eigen::Index first = i <= 2 ? 0 : 3;
          // Of [ re -im; im re ] and [ re im; -im re ], for re + i im.
          const C unit(0, i <= 2 ? -1 : 1);
          x = X.col(first) + unit * X.col(first + 1);
          y = Y.col(first) + unit * Y.col(first + 1);
        }
        const double of_a = std::abs(std::complex<double>(C(y.col(0).dot((A * x).col(0))))),
                     of_b = std::abs(std::complex<double>(C(y.col(0).dot((B * x).col(0)))));
        EXPECT_NEAR(double(p.s(i)), std::hypot(of_a, of_b) / double(x.norm() * y.norm()), 100 * epsilon<T>)
            << type << ", " << i;
      }
    }
  }
}

/// The smallest singular value of the Sylvester operator that parts these rows and columns from the others: the root of
/// the least eigenvalue of Z^H Z, by iteration with its inverse.
template <Scalar T>
double separation(const WideMatrix<T>& A, const WideMatrix<T>& B, const std::vector<Eigen::Index>& rows,
                  const std::vector<Eigen::Index>& others) {
  const Eigen::Index m = Eigen::Index(rows.size()), n = Eigen::Index(others.size()), mn = m * n;
  WideMatrix<T> Z = WideMatrix<T>::Zero(2 * mn, 2 * mn);
  for (Eigen::Index j = 0; j < n; ++j) {
    for (Eigen::Index i = 0; i < m; ++i) {
      for (Eigen::Index k = 0; k < m; ++k) {
        Z(j * m + i, j * m + k) = A(rows[i], rows[k]);
        Z(mn + j * m + i, j * m + k) = B(rows[i], rows[k]);
      }
      for (Eigen::Index k = 0; k < n; ++k) {
        Z(j * m + i, mn + k * m + i) -= A(others[k], others[j]);
        Z(mn + j * m + i, mn + k * m + i) -= B(others[k], others[j]);
      }
    }
  }
  const WideMatrix<T> inverted = inverse<T>(Z), square = inverted * inverted.adjoint();
  WideMatrix<T> v = WideMatrix<T>::Ones(2 * mn, 1);
  for (Eigen::Index i = 0; i < v.rows(); ++i) v(i, 0) += Wide<T>(WideReal<T>(0.1) * WideReal<T>(i * i % 7));
  for (int step = 0; step < 3000; ++step) {
    v = square * v;
    v /= Wide<T>(v.norm());
  }
  return 1 / std::sqrt(double((square * v).norm()));
}

TYPED_TEST(PencilsOfKnownCondition, GiveThoseOfEigenvectorsAsLeastSingularValues) {
  using T = TypeParam;
  Random random(93);
  for (const Int type : {1, 2}) {
    for (const Int n : {5, 7}) {
      SCOPED_TRACE(testing::Message() << type << ", order " << n);
      const Known<T> p(random, type, n);
      const WideMatrix<T> A = wide(p.A), B = wide(p.B);
      // The fifth stands behind the others in its core.
      std::vector<Eigen::Index> first{0}, behind_first, before_last{0, 1, 2}, last;
      (p.has_pairs() ? first : behind_first).push_back(1);
      for (const Eigen::Index i : {2, 3, 4}) behind_first.push_back(i);
      (p.has_pairs() ? last : before_last).push_back(3);
      last.push_back(4);
      for (Eigen::Index i = 5; i < n; ++i) {
        behind_first.push_back(i);
        before_last.push_back(i);
      }
      EXPECT_NEAR(double(p.dif(1)) / separation<T>(A, B, first, behind_first), 1, 1e4 * epsilon<T>);
      EXPECT_NEAR(double(p.dif(5)) / separation<T>(A, B, before_last, last), 1, 1e4 * epsilon<T>);
      for (const Int i : {2, 3, 4}) EXPECT_TRUE(same_bits(p.dif(i), guard<Real<T>>()));
    }
  }
}

TYPED_TEST(PencilsOfKnownCondition, AreNotMadeOfLowerOrder) {
  using T = TypeParam;
  Random random(94);
  const Known<T> p(random, 1, 4);
  EXPECT_TRUE(p.A.unchanged() && p.B.unchanged() && p.X.unchanged() && p.Y.unchanged());
  EXPECT_TRUE(p.s.unchanged() && p.dif.unchanged());
}

}  // namespace
}  // namespace nuv::test
