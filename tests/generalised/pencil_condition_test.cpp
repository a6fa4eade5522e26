// Condition numbers of single eigenvalues and eigenvectors of a generalised Schur form: ?tgsna.

#include <cmath>
#include <limits>
#include <numeric>

#include "frame/option_matching.hpp"
#include "nonsymmetric/eigenvalue_conditions.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
using ComplexOf = std::complex<Real<T>>;

/// Columns that span what the columns of X span, and behind them others that make a unitary matrix of them.
template <ComplexScalar C>
WideMatrix<C> unitary_from(const WideMatrix<C>& X) {
  const Eigen::Index n = X.rows();
  WideMatrix<C> Q(n, n), candidates(n, X.cols() + n);
  candidates << X, WideMatrix<C>::Identity(n, n);
  for (Eigen::Index k = 0; k < n; ++k) {
    for (const int repeat : {1, 2}) {
      static_cast<void>(repeat);
      for (Eigen::Index j = 0; j < candidates.cols(); ++j) {
        for (Eigen::Index i = 0; i < k; ++i) candidates.col(j) -= Q.col(i) * Q.col(i).dot(candidates.col(j));
      }
    }
    Eigen::Index best = k;
    if (k >= X.cols()) candidates.colwise().norm().maxCoeff(&best);
    Q.col(k) = candidates.col(best) / candidates.col(best).norm();
  }
  return Q;
}

/// Dif((A, D), (B, E))
template <ComplexScalar C>
double exact_separation(const WideMatrix<C>& A, const WideMatrix<C>& D, const WideMatrix<C>& B,
                        const WideMatrix<C>& E) {
  const Eigen::Index m = A.rows(), n = B.rows(), half = m * n;
  WideMatrix<C> K = WideMatrix<C>::Zero(2 * half, 2 * half);
  for (Eigen::Index j = 0; j < n; ++j) {
    K.block(j * m, j * m, m, m) = A;
    K.block(half + j * m, j * m, m, m) = D;
    for (Eigen::Index l = 0; l < n; ++l) {
      K.block(j * m, half + l * m, m, m) = -B(l, j) * WideMatrix<C>::Identity(m, m);
      K.block(half + j * m, half + l * m, m, m) = -E(l, j) * WideMatrix<C>::Identity(m, m);
    }
  }
  return double(wide_singular_values<C>(K).minCoeff());
}

/// A generalised Schur form in complex numbers, with what is known of its eigenvalues.
template <Scalar T>
struct PencilSpectrum {
  using C = ComplexOf<T>;
  using W = WideMatrix<C>;

  W A, B;
  std::vector<Wide<C>> values;

  PencilSpectrum(const GuardedMatrix<T>& S, const GuardedMatrix<T>& P)
      : A(W::Zero(S.rows(), S.rows())), B(W::Zero(S.rows(), S.rows())) {
    const Int n = S.rows();
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= std::min(n, RealScalar<T> ? j + 1 : j); ++i) A(i - 1, j - 1) = Wide<C>(S(i, j));
      for (Int i = 1; i <= j; ++i) B(i - 1, j - 1) = Wide<C>(P(i, j));
    }
    for (Int j = 0; j < n; ++j) {
      if (j + 1 < n && A(j + 1, j) != Wide<C>(0)) {
        const Wide<C> a = A(j, j), b = A(j, j + 1), c = A(j + 1, j), d = A(j + 1, j + 1), p = B(j, j),
                      q = B(j + 1, j + 1), r = B(j, j + 1);
        const Wide<C> half = (a * q + d * p - c * r) / (p * q) / WideReal<T>(2), product = (a * d - b * c) / (p * q);
        const Wide<C> root = std::sqrt(half * half - product);
        values.push_back(half + root);
        values.push_back(half - root);
        ++j;
      } else {
        values.push_back(A(j, j) / B(j, j));
      }
    }
  }

  Eigen::Index order() const { return A.cols(); }

  /// Of length one, by inverse iteration.
  W vector(Int j, bool is_left) const {
    W inverted = inverse<C>(W(A - (values[std::size_t(j - 1)] + Wide<C>(1e-7)) * B));
    if (is_left) inverted.adjointInPlace();
    W x = W::Constant(order(), 1, 1);
    for (int step = 0; step < 6; ++step) {
      x = product<C>(inverted, is_left ? W(x) : product<C>(B, x));
      if (is_left && step < 5) x = product<C>(B.adjoint(), x);
      x /= x.norm();
    }
    return x;
  }

  double condition(Int j) const {
    const W u = vector(j, true), v = vector(j, false);
    const auto a = product<C>(u.adjoint(), product<C>(A, v))(0, 0), b = product<C>(u.adjoint(), product<C>(B, v))(0, 0);
    return double(std::sqrt(std::norm(a) + std::norm(b)));
  }

  struct Separation {
    double from_others, within;  ///< the second of a pair
  };

  /// Of eigenvalue j, and the one behind it of a pair.
  Separation separation(Int j, bool of_pair) const {
    const Eigen::Index n = order(), first = of_pair ? 2 : 1;
    W basis(n, first);
    for (Eigen::Index k = 0; k < first; ++k) basis.col(k) = vector(j + Int(k), false);
    const W V = unitary_from<C>(basis), U = unitary_from<C>(product<C>(B, V.leftCols(first)));
    const W S = product<C>(U.adjoint(), product<C>(A, V)), P = product<C>(U.adjoint(), product<C>(B, V));
    Separation found{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
    if (n > first) {
      found.from_others =
          exact_separation<C>(S.bottomRightCorner(n - first, n - first), P.bottomRightCorner(n - first, n - first),
                              S.topLeftCorner(first, first), P.topLeftCorner(first, first));
    }
    if (of_pair) {
      // The first vector of the basis is an eigenvector: both are triangular.
      found.within =
          exact_separation<C>(S.block(0, 0, 1, 1), P.block(0, 0, 1, 1), S.block(1, 1, 1, 1), P.block(1, 1, 1, 1));
    }
    return found;
  }
};

template <Scalar T>
struct PencilConditions {
  using R = Real<T>;

  char job = 'B', howmny = 'A';
  Int n, lda, ldb, ldvl, ldvr, mm, lwork, m = -7, info = 99;
  GuardedMatrix<T> S, P, VL, VR;
  GuardedVector<T> work;
  GuardedVector<Logical> select;
  GuardedVector<R> s, dif;
  GuardedVector<Int> iwork;

  PencilConditions(const GuardedMatrix<T>& form, const GuardedMatrix<T>& triangle)
      : n(form.rows()),
        lda(form.ld()),
        ldb(triangle.ld()),
        ldvl(n + 1),
        ldvr(std::max(1, n)),
        mm(n),
        lwork(n == 0          ? 1
              : RealScalar<T> ? 2 * n * (n + 2) + 16
                              : 2 * n * n),
        S(form),
        P(triangle),
        VL(n, n, ldvl),
        VR(n, n, ldvr),
        work(lwork),
        select(n),
        s(n),
        dif(n),
        iwork(n + (RealScalar<T> ? 6 : 2)) {
    for (Int j = 1; j <= n; ++j) select(j) = j % 2 * 2;
    select.seal();
  }

  bool is_pair(Int j) const { return RealScalar<T> && j >= 1 && j < n && S(j + 1, j) != T(0); }
  bool in_pair(Int j) const { return is_pair(j) || is_pair(j - 1); }

  /// For another job there is just as much workspace as it takes.
  PencilConditions& with_job(char letter) {
    job = letter;
    if (same_letter(job, 'E')) lwork = std::max(1, n);
    work = GuardedVector<T>(lwork);
    return *this;
  }

  /// Eigenvectors of all eigenvalues, or of the selected ones; lengths, and arguments, are anything.
  PencilConditions& find_vectors(const PencilSpectrum<T>& spectrum) {
    using C = ComplexOf<T>;
    Int k = 1;
    for (Int j = 1; j <= n; ++j) {
      const bool pair = is_pair(j);
      const bool is_wanted = same_letter(howmny, 'A') || (select(j) & 1) != 0 || (pair && (select(j + 1) & 1) != 0);
      if (is_wanted) {
        for (const bool is_left : {true, false}) {
          GuardedMatrix<T>& V = is_left ? VL : VR;
          Random random(std::uint64_t(31 + 2 * j + is_left));  // the same for each selection
          const WideMatrix<C> unit = spectrum.vector(j, is_left);
          const WideMatrix<C> x = Wide<C>(random.divisor<C>()) * WideReal<T>(is_left ? 3 : 0.25) * unit;
          put_vector<T>(x, pair, V, k);
        }
        k += pair ? 2 : 1;
      }
      if (pair) ++j;
    }
    VL.seal();
    VR.seal();
    return *this;
  }

  Int run() {
    const bool with_vectors = !same_letter(job, 'V');
    routine_call::tgsna(job, howmny, same_letter(howmny, 'S') ? select.data() : nullptr, n,
                        Matrix<const T>(S.data(), lda), Matrix<const T>(P.data(), ldb),
                        Matrix<const T>(with_vectors ? VL.data() : nullptr, ldvl),
                        Matrix<const T>(with_vectors ? VR.data() : nullptr, ldvr), s.data(), dif.data(), mm, m,
                        work.data(), lwork, same_letter(job, 'E') ? nullptr : iwork.data(), info);
    return info;
  }

  bool vectors_workspace_unchanged() const { return iwork.unchanged(); }

  PencilConditions& judge() {
    run();
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(R(lwork)));
    EXPECT_TRUE(S.unchanged() && P.unchanged() && VL.unchanged() && VR.unchanged() && select.unchanged());
    EXPECT_TRUE(work.guards_unchanged() && s.guards_unchanged() && dif.guards_unchanged() && iwork.guards_unchanged());
    return *this;
  }
};

template <class T>
class PencilCondition : public ReportingTest {
 protected:
  /// With eigenvalues that can be told apart. Nothing below the diagonal blocks is to be read for condition numbers of
  /// eigenvalues.
  PencilConditions<T> problem(std::vector<Int> blocks, bool guarded = false) {
    if (ComplexScalar<T>) blocks.assign(std::size_t(std::accumulate(blocks.begin(), blocks.end(), 0)), 1);
    GuardedMatrix<T> S = distinct_schur_form<T>(random, blocks), P(S.rows(), S.rows(), S.rows() + 2);
    const Int n = S.rows();
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) {
        P(i, j) = i < j ? random.scalar<T>() : T(Real<T>(i == j ? 1 + random.real() / 8 : 0));
      }
      if (RealScalar<T> && j > 1 && S(j, j - 1) != T(0)) P(j - 1, j) = T(Real<T>(0));
    }
    if (guarded) {
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j + 1; i <= n; ++i) {
          P(i, j) = guard<T>();
          if (ComplexScalar<T> || i > j + 1) S(i, j) = guard<T>();
        }
      }
    }
    S.seal();
    P.seal();
    return {S, P};
  }

  Random random{103};
};
TYPED_TEST_SUITE(PencilCondition, Precisions, PrecisionLetter);

const std::vector<Int> shapes[] = {{1, 1}, {2}, {1, 2}, {2, 1}, {1, 2, 1}, {2, 2, 1}, {1, 1, 2, 1}};

TYPED_TEST(PencilCondition, OfEigenvaluesIsByTheirVectors) {
  using T = TypeParam;
  for (const std::vector<Int>& shape : shapes) {
    PencilConditions<T> call = this->problem(shape, true);
    const PencilSpectrum<T> spectrum(call.S, call.P);
    call.with_job('E').find_vectors(spectrum).judge();
    EXPECT_EQ(call.m, call.n);
    for (Int j = 1; j <= call.n; ++j) {
      const double expected = spectrum.condition(j);
      EXPECT_NEAR(call.s(j) / expected, 1, 200 * epsilon<T> / expected) << j << " of " << call.n;
    }
  }
}

/// Of eigenvectors of a triangle one product counts alone; of others all do.
TYPED_TEST(PencilCondition, OfEigenvaluesIsByAnyVectorsThatAreGiven) {
  using T = TypeParam;
  using C = ComplexOf<T>;
  PencilConditions<T> call = this->problem({1, 2, 1}, true);
  const PencilSpectrum<T> spectrum(call.S, call.P);
  call.VL = random_matrix<T>(this->random, call.n, call.n, call.ldvl);
  call.VR = random_matrix<T>(this->random, call.n, call.n, call.ldvr);
  call.with_job('E').judge();
  const WideMatrix<C> U = wide(call.VL).template cast<Wide<C>>(), V = wide(call.VR).template cast<Wide<C>>();
  for (Int j = 1; j <= call.n; ++j) {
    const Int k = call.is_pair(j - 1) ? j - 2 : j - 1;
    WideMatrix<C> u = U.col(k), v = V.col(k);
    if (call.in_pair(j)) {
      u += Wide<C>(0, 1) * U.col(k + 1);
      v += Wide<C>(0, 1) * V.col(k + 1);
    }
    const auto a = product<C>(u.adjoint(), product<C>(spectrum.A, v))(0, 0),
               b = product<C>(u.adjoint(), product<C>(spectrum.B, v))(0, 0);
    const double expected = double(std::sqrt(std::norm(a) + std::norm(b)) / (u.norm() * v.norm()));
    EXPECT_NEAR(call.s(j) / expected, 1, 100 * epsilon<T> / expected) << j;
  }
}

/// What nothing has to be moved for, to the last bit.
TYPED_TEST(PencilCondition, OfTheFirstEigenvectorLooksAhead) {
  using T = TypeParam;
  using R = Real<T>;
  PencilConditions<T> call = this->problem({1, 2, 1});
  call.with_job('V').judge();
  const Int m = call.n - 1;
  GuardedMatrix<T> C(m, 1, m), F(m, 1, m);
  R scale, dif;
  T work;
  Int info;
  GuardedVector<Int> iwork(m + 7);
  const Matrix<const T> S = call.S, P = call.P;
  routine_call::tgsyl('N', 3, m, 1, block(S, 2, 2), S, Matrix<T>(C), block(P, 2, 2), P, Matrix<T>(F), scale, dif, &work,
                      1, iwork.data(), info);
  EXPECT_EQ(call.dif(1), dif);
}

TYPED_TEST(PencilCondition, OfEigenvectorsIsTheirSeparation) {
  using T = TypeParam;
  double sum = 0;
  int count = 0;
  for (int round = 0; round < 3; ++round) {
    for (const std::vector<Int>& shape : shapes) {
      PencilConditions<T> call = this->problem(shape, true);
      const PencilSpectrum<T> spectrum(call.S, call.P);
      call.ldvl = call.ldvr = 1;
      call.with_job('v').judge();
      for (Int j = 1; j <= call.n; ++j) {
        const bool of_pair = call.in_pair(j);
        const auto exact = spectrum.separation(call.is_pair(j - 1) && !call.is_pair(j) ? j - 1 : j, of_pair);
        const double least = std::min(exact.from_others, exact.within), tolerance = 3000 * epsilon<T>;
        EXPECT_GT(call.dif(j) / least, 1 - tolerance) << j << " of " << call.n;
        EXPECT_LT(call.dif(j) / std::min(10 * exact.from_others, exact.within), 1 + tolerance) << j << " of " << call.n;
        sum += call.dif(j) / least;
        ++count;
        if (call.is_pair(j)) {
          EXPECT_EQ(call.dif(j), call.dif(j + 1));
        }
      }
    }
  }
  EXPECT_LT(sum / count, 3);
}

TYPED_TEST(PencilCondition, TakesTheSelectedEigenvalues) {
  using T = TypeParam;
  const PencilConditions<T> problem = this->problem({1, 2, 1, 2});
  expect_selected_conditions(problem, PencilSpectrum<T>(problem.S, problem.P), &PencilConditions<T>::dif, 15);
}

TYPED_TEST(PencilCondition, GivesWhatTheJobNames) {
  using T = TypeParam;
  const PencilConditions<T> problem = this->problem({1, 2, 1});
  expect_conditions_of_jobs(problem, PencilSpectrum<T>(problem.S, problem.P), &PencilConditions<T>::dif);
}

TYPED_TEST(PencilCondition, OfOneIsByItsElements) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> S(1, 1, 1), P(1, 1, 1), V(1, 1, 1);
  S(1, 1) = ComplexScalar<T> ? T(std::complex<R>(0, -4).imag()) : T(R(-4));
  if constexpr (ComplexScalar<T>) S(1, 1) = T(R(0), R(-4));
  P(1, 1) = T(R(3));
  S.seal();
  P.seal();
  PencilConditions<T> call(S, P);
  call.VL(1, 1) = T(R(2));
  call.VR(1, 1) = T(R(-0.5));
  call.VL.seal();
  call.VR.seal();
  call.judge();
  EXPECT_EQ(call.s(1), R(5));
  EXPECT_EQ(call.dif(1), R(5));
  EXPECT_EQ(call.m, 1);
  PencilConditions<T> empty(GuardedMatrix<T>(0, 0, 1), GuardedMatrix<T>(0, 0, 1));
  empty.judge();
  EXPECT_EQ(empty.m, 0);
}

TYPED_TEST(PencilCondition, OfASingularPencilIsMinusOne) {
  using T = TypeParam;
  using R = Real<T>;
  PencilConditions<T> call = this->problem({1, 1});
  for (Int j = 1; j <= 2; ++j) {
    for (Int i = 1; i <= 2; ++i) {
      call.VL(i, j) = call.VR(i, j) = T(R(i == j ? 1 : 0));
      if (j == 2) call.S(i, j) = call.P(i, j) = T(R(0));
    }
  }
  for (GuardedMatrix<T>* A : {&call.S, &call.P, &call.VL, &call.VR}) A->seal();
  call.judge();
  EXPECT_GT(call.s(1), R(0));
  EXPECT_EQ(call.s(2), R(-1));
  for (const Int j : {1, 2}) EXPECT_LT(call.dif(j), 10 * epsilon<T>);
}

/// Elements far from one: both condition numbers go with them.
TYPED_TEST(PencilCondition, GoesWithTheScaleOfThePencil) {
  using T = TypeParam;
  using R = Real<T>;
  PencilConditions<T> call = this->problem({1, 2});
  const PencilSpectrum<T> spectrum(call.S, call.P);
  call.find_vectors(spectrum).judge();
  for (const int exponent : {-40, 40}) {
    PencilConditions<T> scaled = call;
    for (GuardedMatrix<T>* A : {&scaled.S, &scaled.P}) {
      for (Int j = 1; j <= call.n; ++j) {
        for (Int i = 1; i <= call.n; ++i) (*A)(i, j) *= std::ldexp(R(1), exponent);
      }
      A->seal();
    }
    scaled.judge();
    for (Int j = 1; j <= call.n; ++j) {
      EXPECT_NEAR(std::ldexp(scaled.s(j), -exponent) / call.s(j), 1, 100 * epsilon<T>);
      EXPECT_NEAR(std::ldexp(scaled.dif(j), -exponent) / call.dif(j), 1, 1000 * epsilon<T>);
    }
  }
}

template <class R>
class RealPencilCondition : public ReportingTest {};
TYPED_TEST_SUITE(RealPencilCondition, RealPrecisions, PrecisionLetter);

/// Of a pair far from normal the eigenvector is told by one row much better than by the other.
TYPED_TEST(RealPencilCondition, OfAPairFarFromNormal) {
  using R = TypeParam;
  for (const bool upper_is_large : {true, false}) {
    GuardedMatrix<R> S(2, 2, 2), P(2, 2, 2);
    S(1, 1) = S(2, 2) = R(1.25);
    S(1, 2) = upper_is_large ? R(1) : R(-0x1p-20);
    S(2, 1) = upper_is_large ? R(-0x1p-20) : R(1);
    P(1, 1) = P(2, 2) = R(1);
    P(1, 2) = P(2, 1) = R(0);
    S.seal();
    P.seal();
    PencilConditions<R> call(S, P);
    call.with_job('V').judge();
    const double exact = PencilSpectrum<R>(S, P).separation(1, true).within;
    for (const Int j : {1, 2}) EXPECT_NEAR(call.dif(j) / exact, 1, 100 * epsilon<R>);
  }
}

TYPED_TEST(PencilCondition, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const PencilConditions<T> problem = this->problem({1, 2, 1});
  const PencilSpectrum<T> spectrum(problem.S, problem.P);
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int i = 1; i <= 4; ++i) {
      for (Int j = i; j <= 4; ++j) {
        for (const bool in_form : {true, false}) {
          PencilConditions<T> call = problem;
          call.find_vectors(spectrum);
          (in_form ? call.S : call.P)(i, j) = T(odd);
          call.VL(i, j) = T(odd);
          for (GuardedMatrix<T>* A : {&call.S, &call.P, &call.VL}) A->seal();
          call.judge();
          EXPECT_FALSE(std::isfinite(call.s(j)));
          bool is_seen = false;
          for (Int k = 1; k <= 4; ++k) is_seen = is_seen || std::isnan(call.dif(k));
          EXPECT_TRUE(is_seen || !std::isnan(odd)) << i << ", " << j;
        }
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------ known pencils

/// A pencil whose vectors and condition numbers the generator tells: those of all eigenvalues, those of the first and
/// of the fifth eigenvector.
template <Scalar T>
struct KnownPencil {
  using R = Real<T>;

  GuardedMatrix<T> A, B, X, Y;
  GuardedVector<R> s, dif;

  KnownPencil(Random& random, Int type, Int n) : A(n, n, n), B(n, n, n), X(n, n, n), Y(n, n, n), s(n), dif(n) {
    const T alpha = random.scalar<T>(), beta = random.scalar<T>(), wx = R(3) * random.scalar<T>(),
            wy = R(2) * random.scalar<T>();
    routine_call::latm6(type, n, Matrix<T>(A), B.data(), Matrix<T>(X), Matrix<T>(Y), alpha, beta, wx, wy, s.data(),
                        dif.data());
    A.seal();
    B.seal();
  }

  /// The selected columns of its vectors, which are those of the pencil's own eigenvalues: real pairs have two each.
  void give_vectors_to(PencilConditions<T>& call, const std::vector<Int>& wanted) const {
    for (Int k = 1; k <= Int(wanted.size()); ++k) {
      for (Int i = 1; i <= call.n; ++i) {
        call.VL(i, k) = Y(i, wanted[std::size_t(k - 1)]);
        call.VR(i, k) = X(i, wanted[std::size_t(k - 1)]);
      }
    }
    call.VL.seal();
    call.VR.seal();
  }
};

struct Selection {
  Int type, n;
  int flags;
};

/// All of five eigenvalues, some with two more behind them.
std::vector<Selection> all_selections() {
  std::vector<Selection> all;
  for (const Int type : {1, 2}) {
    for (int flags = 0; flags < 1 << 5; ++flags) all.push_back({type, flags % 3 == 2 ? 7 : 5, flags});
  }
  return all;
}

/// Of the first eigenvector, or the first pair of them, an estimate is no less than the separation and at most ten
/// times as large. That of the fifth is known for its place behind the others, in other bases than where it has been
/// moved in front: both are of one size here. Of a pair, its own two values bound it, too.
template <Scalar T>
void expect_separation(double found, Int j, const PencilConditions<T>& call, const PencilSpectrum<T>& spectrum,
                       const KnownPencil<T>& known) {
  const Int pair = call.is_pair(j) ? j : call.is_pair(j - 1) ? j - 1 : 0;
  const bool is_first = j == 1 || pair == 1;
  if (!is_first && j != 5 && pair != 4) return;
  const double known_dif = known.dif(is_first ? 1 : 5), tolerance = 3000 * epsilon<T>;
  const double within = pair != 0 ? spectrum.separation(pair, true).within : std::numeric_limits<double>::infinity();
  EXPECT_GT(found, std::min((is_first ? 1 : 0.1) * known_dif, within) * (1 - tolerance)) << j;
  EXPECT_LT(found, std::min((is_first ? 10 : 50) * known_dif, within) * (1 + tolerance)) << j;
}

/// With every selection, and each job.
TYPED_TEST(PencilCondition, IsTheTrueOneOfKnownPencils) {
  using T = TypeParam;
  for (const auto& [type, n, flags] : all_selections()) {
    const KnownPencil<T> known(this->random, type, n);
    PencilConditions<T> call(known.A, known.B);
    const PencilSpectrum<T> spectrum(known.A, known.B);
    std::vector<Int> wanted;
    for (Int j = 1; j <= n; ++j) {
      call.select(j) = flags >> (j - 1) & 1;
      const Int partner = call.is_pair(j) ? j + 1 : call.is_pair(j - 1) ? j - 1 : j;
      if ((flags >> (j - 1) | flags >> (partner - 1)) & 1) wanted.push_back(j);
    }
    call.select.seal();
    call.howmny = 'S';
    call.mm = Int(wanted.size());
    known.give_vectors_to(call, wanted);
    for (const char job : {'E', 'V', 'B'}) {
      SCOPED_TRACE(testing::Message() << "type " << type << ", order " << n << ", selection " << flags << job);
      PencilConditions<T> solved = call;
      solved.with_job(job).judge();
      EXPECT_EQ(solved.m, call.mm);
      EXPECT_TRUE(job == 'E' ? solved.dif.unchanged() : solved.dif.unchanged_outside(1, call.mm));
      EXPECT_TRUE(job == 'V' ? solved.s.unchanged() : solved.s.unchanged_outside(1, call.mm));
      for (Int k = 1; k <= call.mm; ++k) {
        const Int j = wanted[std::size_t(k - 1)];
        const double s = known.s(j);
        if (job != 'V') {
          EXPECT_NEAR(solved.s(k) / s, 1, 100 * epsilon<T> / s) << j;
        }
        if (job != 'E') expect_separation<T>(solved.dif(k), j, call, spectrum, known);
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidConditions : PencilConditions<T> {
  static GuardedMatrix<T> form(double diagonal) {
    GuardedMatrix<T> S(3, 3, 4);
    for (Int j = 1; j <= 3; ++j) {
      for (Int i = 1; i <= 3; ++i) S(i, j) = T(Real<T>(i < j ? 0.5 : i == j ? 1 + diagonal * i : 0));
    }
    S.seal();
    return S;
  }
  ValidConditions() : PencilConditions<T>(form(1), form(0)) { this->find_vectors(PencilSpectrum<T>(this->S, this->P)); }
  bool unchanged() const {
    return this->S.unchanged() && this->P.unchanged() && this->VL.unchanged() && this->VR.unchanged() &&
           this->s.unchanged() && this->dif.unchanged() && this->iwork.unchanged();
  }
};

TYPED_TEST(PencilCondition, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidConditions<T>;
  expect_argument_checks<Call>(reported_name<T>("TGSNA"), {{1, [](Call& c) { c.job = 'N'; }},
                                                           {2, [](Call& c) { c.howmny = 'B'; }},
                                                           {4, [](Call& c) { c.n = -1; }},
                                                           {6, [](Call& c) { c.lda = 2; }},
                                                           {8, [](Call& c) { c.ldb = 2; }},
                                                           {10, [](Call& c) { c.ldvl = 2; }},
                                                           {12, [](Call& c) { c.ldvr = 2; }},
                                                           {15, [](Call& c) { c.mm = 2; }},
                                                           {18, [](Call& c) { --c.lwork; }}});
  Call no_vectors;
  no_vectors.job = 'V';
  no_vectors.ldvl = 0;
  EXPECT_EQ(no_vectors.run(), -10);
  no_vectors.ldvl = 1;
  no_vectors.ldvr = 0;
  EXPECT_EQ(no_vectors.run(), -12);
  Call short_work;
  short_work.job = 'E';
  short_work.lwork = 2;
  EXPECT_EQ(short_work.run(), -18);
  EXPECT_EQ(take_error_reports().size(), 3u);
}

TYPED_TEST(PencilCondition, TellsItsWorkspace) {
  using T = TypeParam;
  using R = Real<T>;
  for (const char job : {'E', 'V', 'B'}) {
    ValidConditions<T> query;
    query.job = job;
    query.lwork = -1;
    EXPECT_EQ(query.run(), 0);
    EXPECT_TRUE(query.unchanged());
    EXPECT_EQ(query.m, 3);
    EXPECT_EQ(query.work(1), T(R(job == 'E' ? 3 : RealScalar<T> ? 46 : 18)));
    ValidConditions<T> huge;
    huge.job = job;
    huge.n = huge.lda = huge.ldb = huge.ldvl = huge.ldvr = huge.mm = 50000;
    huge.lwork = job == 'E' ? 49999 : std::numeric_limits<Int>::max();
    EXPECT_EQ(huge.run(), -18);
    EXPECT_EQ(take_error_reports().size(), 1u);
  }
}

}  // namespace
}  // namespace nuv::test
