// Schur forms of small Hessenberg matrices: lahqr, with two shifts for real matrices and with one for complex ones.

#include <cmath>
#include <limits>

#include "nonsymmetric/plain_iterations.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// A call of lahqr and what comes of it. Z begins as the identity.
template <Scalar T>
struct Iterated {
  using R = Real<T>;

  Int n, ilo, ihi, iloz, ihiz, info = 99;
  Logical wantt = 1, wantz = 1;
  GuardedMatrix<T> H, Z;
  GuardedVector<R> wr, wi;
  GuardedVector<T> w;

  explicit Iterated(const GuardedMatrix<T>& matrix)
      : n(matrix.rows()),
        ilo(1),
        ihi(n),
        iloz(1),
        ihiz(n),
        H(matrix),
        Z(identity_matrix<T>(n, std::max(1, n) + 1)),
        wr(n),
        wi(n),
        w(n) {}

  Iterated& active(Int first, Int last) {
    ilo = first;
    ihi = last;
    return *this;
  }
  Iterated& wants(Logical t, Logical z) {
    wantt = t;
    wantz = z;
    return *this;
  }

  Iterated& run() {
    if constexpr (ComplexScalar<T>) {
      routine_call::lahqr(wantt, wantz, n, ilo, ihi, Matrix<T>(H), w.data(), iloz, ihiz, Matrix<T>(Z), info);
    } else {
      routine_call::lahqr(wantt, wantz, n, ilo, ihi, Matrix<T>(H), wr.data(), wi.data(), iloz, ihiz, Matrix<T>(Z),
                          info);
    }
    return *this;
  }

  std::complex<double> value(Int i) const {
    if constexpr (ComplexScalar<T>) return std::complex<double>(w(i));
    else return {double(wr(i)), double(wi(i))};
  }
  std::vector<std::complex<double>> values() const {
    std::vector<std::complex<double>> all;
    for (Int i = ilo; i <= ihi; ++i) all.push_back(value(i));
    return all;
  }

  bool guards_unchanged() const {
    return H.guards_unchanged() && Z.guards_unchanged() && w.unchanged_outside(ilo, ihi) &&
           wr.unchanged_outside(ilo, ihi) && wi.unchanged_outside(ilo, ihi);
  }
  bool has_same_values(const Iterated& other) const {
    return w.same_as(other.w) && wr.same_as(other.wr) && wi.same_as(other.wi);
  }
};

/// A with guards where lahqr reads nothing: below the third subdiagonal.
template <Scalar T>
GuardedMatrix<T> with_guards_below(GuardedMatrix<T> A) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = j + 4; i <= A.rows(); ++i) A(i, j) = guard<T>();
  }
  A.seal();
  return A;
}

template <Scalar T>
GuardedMatrix<T> with_zeros_below(GuardedMatrix<T> A) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = j + 2; i <= A.rows(); ++i) A(i, j) = T(0);
  }
  return A;
}

/// Whether eigenvalues ilo ... ihi stand on the diagonal of S, those of blocks of order two in standard form too.
template <Scalar T>
void expect_values_on_diagonal(const Iterated<T>& found, const GuardedMatrix<T>& S) {
  for (Int i = found.ilo; i <= found.ihi; ++i) {
    EXPECT_EQ(found.value(i).real(), double(std::real(S(i, i)))) << i;
    if constexpr (ComplexScalar<T>) {
      EXPECT_EQ(found.value(i).imag(), double(S(i, i).imag())) << i;
    } else {
      const auto root = [&](Int k) {
        const bool is_pair = k >= 1 && k < found.n && S(k + 1, k) != 0;
        return is_pair ? double(std::sqrt(std::abs(S(k, k + 1))) * std::sqrt(std::abs(S(k + 1, k)))) : 0;
      };
      EXPECT_EQ(found.value(i).imag(), root(i) - root(i - 1)) << i;
    }
  }
}

/// The whole Schur form of A: A Z = Z T, Z unitary, T as it must be, and eigenvalues those that stand on its diagonal.
/// Without the one or the other, the rest comes out with the same bits.
template <Scalar T>
void expect_schur_form(const GuardedMatrix<T>& A, Int ilo, Int ihi) {
  const GuardedMatrix<T> start = with_guards_below(A);
  const Iterated<T> whole = Iterated<T>(start).active(ilo, ihi).run();
  ASSERT_EQ(whole.info, 0);
  EXPECT_TRUE(whole.guards_unchanged());
  const GuardedMatrix<T> S = with_zeros_below(whole.H);
  EXPECT_TRUE(is_schur_form(S));
  EXPECT_LT(schur_residual<T>(wide(A), wide(whole.Z), wide(S)), schur_threshold);
  EXPECT_LT(orthonormality<T>(wide(whole.Z)), schur_threshold);
  expect_values_on_diagonal(whole, S);
  // What stands two and three below the diagonal is cleared, and no more.
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = j + 2; i <= A.rows(); ++i) {
      const bool is_cleared = j >= ilo && i <= ihi && i <= j + 3;
      EXPECT_TRUE(is_cleared ? whole.H(i, j) == T(0) : whole.H.is_sealed(i, j)) << i << ", " << j;
    }
  }

  const Iterated<T> without_vectors = Iterated<T>(start).active(ilo, ihi).wants(1, 0).run();
  EXPECT_EQ(without_vectors.info, 0);
  EXPECT_TRUE(without_vectors.H.same_as(whole.H) && without_vectors.Z.unchanged());
  EXPECT_TRUE(without_vectors.has_same_values(whole));

  const Iterated<T> of_values = Iterated<T>(start).active(ilo, ihi).wants(0, 1).run();
  EXPECT_EQ(of_values.info, 0);
  EXPECT_TRUE(of_values.Z.same_as(whole.Z) && of_values.has_same_values(whole));
  EXPECT_TRUE(of_values.H.unchanged_except(
      [&](Int i, Int j) { return i >= ilo && i <= ihi && j >= ilo && j <= ihi && i <= j + 3; }));
}

template <class T>
class DoubleShiftQr : public testing::Test {
 protected:
  using R = Real<T>;

  Random random{17};

  /// Of order n, from what element (i, j) is.
  template <class Element>
  static GuardedMatrix<T> matrix(Int n, Element element) {
    GuardedMatrix<T> A(n, n, n + 2);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = i <= j + 1 ? T(element(i, j)) : T(0);
    }
    A.seal();
    return A;
  }

  static GuardedMatrix<T> cyclic(Int n) {
    return matrix(n, [n](Int i, Int j) { return R(i == j + 1 || (i == 1 && j == n)); });
  }

  /// A unit of which the powers are not real, if T is complex.
  static T unit() {
    if constexpr (ComplexScalar<T>) return T(R(0.6), R(0.8));
    else return T(1);
  }
};
TYPED_TEST_SUITE(DoubleShiftQr, Precisions, PrecisionLetter);

TYPED_TEST(DoubleShiftQr, FindsTheSchurFormOfEveryOrder) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 25, 50}) {
    SCOPED_TRACE(n);
    expect_schur_form(random_hessenberg<T>(this->random, n, n + 1), 1, n);
  }
}

/// Rows above and columns behind the active ones go with it.
TYPED_TEST(DoubleShiftQr, LeavesWhatIsTriangular) {
  using T = TypeParam;
  for (const auto& [n, ilo, ihi] :
       {std::array{9, 3, 7}, {9, 1, 5}, {9, 4, 9}, {9, 4, 5}, {9, 4, 6}, {9, 6, 6}, {30, 5, 26}}) {
    SCOPED_TRACE(testing::Message() << n << ", " << ilo << " to " << ihi);
    GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n + 1);
    for (Int j = 1; j < n; ++j) {
      if (j < ilo || j >= ihi) A(j + 1, j) = T(0);
    }
    expect_schur_form(A, ilo, ihi);
  }
}

TYPED_TEST(DoubleShiftQr, ClearsWhatIsLeftBelowTheSubdiagonal) {
  using T = TypeParam;
  for (const Int n : {3, 4, 7}) {
    const GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n + 1);
    const Iterated<T> clean = Iterated<T>(A).run();
    GuardedMatrix<T> dirty = A;
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j + 2; i <= std::min(n, j + 3); ++i) dirty(i, j) = guard<T>();
    }
    const Iterated<T> cleaned = Iterated<T>(dirty).run();
    EXPECT_TRUE(cleaned.has_same_values(clean) && cleaned.H.same_as(clean.H) && cleaned.Z.same_as(clean.Z)) << n;
  }
}

/// Rows of Z from iloz to ihiz, whatever they hold, and columns of the active block.
TYPED_TEST(DoubleShiftQr, TransformsRowsOfZ) {
  using T = TypeParam;
  const Int n = 12, ilo = 3, ihi = 10;
  GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n);
  A(ilo, ilo - 1) = A(ihi + 1, ihi) = T(0);
  const Iterated<T> whole = Iterated<T>(A).active(ilo, ihi).run();
  const GuardedMatrix<T> Z = random_unitary<T>(this->random, n, n + 3);
  for (const auto& [iloz, ihiz] : {std::pair{1, 12}, {4, 9}, {1, 1}, {12, 12}, {5, 4}}) {
    SCOPED_TRACE(testing::Message() << "rows " << iloz << " to " << ihiz);
    Iterated<T> some = Iterated<T>(A).active(ilo, ihi);
    some.iloz = iloz;
    some.ihiz = ihiz;
    some.Z = Z;
    some.run();
    EXPECT_TRUE(some.H.same_as(whole.H));
    EXPECT_TRUE(some.Z.unchanged_except(
        [&, first = iloz, last = ihiz](Int i, Int j) { return i >= first && i <= last && j >= ilo && j <= ihi; }));
    const Eigen::Index rows = ihiz - iloz + 1;
    if (rows <= 0) continue;
    const WideMatrix<T> expected = product<T>(wide(Z), wide(whole.Z)).middleRows(iloz - 1, rows);
    EXPECT_LT(one_norm<T>(WideMatrix<T>(wide(some.Z).middleRows(iloz - 1, rows) - expected)),
              schur_threshold * n * epsilon<T>);
  }
}

/// What a logical holds besides its lowest bit doesn't count.
TYPED_TEST(DoubleShiftQr, ReadsTheLowestBitOfLogicals) {
  using T = TypeParam;
  const GuardedMatrix<T> A = random_hessenberg<T>(this->random, 8, 9);
  const Iterated<T> none = Iterated<T>(A).wants(0, 0).run(), other = Iterated<T>(A).wants(2, -2).run();
  EXPECT_TRUE(other.Z.unchanged() && other.H.same_as(none.H));
  const Iterated<T> both = Iterated<T>(A).wants(1, 1).run(), all_bits = Iterated<T>(A).wants(-1, 3).run();
  EXPECT_TRUE(all_bits.Z.same_as(both.Z) && all_bits.H.same_as(both.H));
  EXPECT_FALSE(both.H.same_as(none.H));
}

/// Shifts, starts of sweeps and deflations are those of the plain iteration: eigenvalues come out in its order.
template <Scalar T>
void expect_order_of_values(const GuardedMatrix<T>& A, bool is_stuck_first) {
  const PlainIteration<T> plain = plain_schur_form<T>(wide(A));
  EXPECT_EQ(plain.was_stuck, is_stuck_first);
  const Iterated<T> found = Iterated<T>(A).run();
  ASSERT_EQ(found.info, 0);
  for (Int i = 1; i <= A.rows(); ++i) {
    const std::complex<double> expected(plain.values[std::size_t(i - 1)]);
    EXPECT_LT(std::abs(found.value(i) - expected), 100 * A.rows() * epsilon<T> * one_norm<T>(wide(A))) << i;
  }
}

TYPED_TEST(DoubleShiftQr, GoesTheWayOfThePlainIteration) {
  using T = TypeParam;
  for (const Int n : {2, 3, 4, 5, 6, 8, 10, 14}) {
    SCOPED_TRACE(n);
    expect_order_of_values(random_hessenberg<T>(this->random, n, n), false);
  }
}

/// Shifts of zero turn a cyclic matrix into itself, until the exceptional one comes. It takes what the last sum was
/// that something was scaled by: one, not the sum of two subdiagonal elements.
TYPED_TEST(DoubleShiftQr, TakesAnExceptionalShiftWhereOthersLeadNowhere) {
  using T = TypeParam;
  for (const Int n : {3, 4, 5, 6, 7, 8, 12}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->cyclic(n);
    expect_schur_form(A, 1, n);
    // Those of larger ones are found in an order that rounding errors decide.
    if (n <= 4 || n == 6) expect_order_of_values(A, true);
    std::vector<std::complex<double>> roots;
    for (Int k = 0; k < n; ++k) roots.push_back(std::polar(1.0, 2 * 3.14159265358979323846 * k / n));
    EXPECT_LT(spectrum_distance(Iterated<T>(A).run().values(), roots), schur_threshold * n * epsilon<T>);
  }
}

/// Shifts of zero turn the weights of a cyclic matrix round, so that what the exceptional shift meets tells after how
/// many sweeps it came.
TYPED_TEST(DoubleShiftQr, TakesItAfterTenSweeps) {
  using T = TypeParam;
  for (const Int n : {3, 4, 5, 6}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A =
        this->matrix(n, [n](Int i, Int j) { return i == j + 1 || (i == 1 && j == n) ? Real<T>(j * j) : Real<T>(0); });
    expect_schur_form(A, 1, n);
    expect_order_of_values(A, true);
  }
}

/// Where that leads nowhere another one follows after twenty sweeps: cyclic matrices with powers of two for weights, on
/// which one alone is not enough.
TYPED_TEST(DoubleShiftQr, TakesAnotherAfterTwentySweeps) {
  using T = TypeParam;
  using R = Real<T>;
  struct Weights {
    Int n;
    int (*exponent)(Int j, Int n);
  };
  std::vector<Weights> matrices;
  if constexpr (std::same_as<T, float>) {
    matrices = {{9, [](Int j, Int) { return -10 * (j % 2); }}};
  } else if constexpr (std::same_as<T, double>) {
    matrices = {{6, [](Int j, Int) { return 6 * (j - 1); }}, {7, [](Int j, Int) { return 4 * (j - 1); }}};
  } else {
    matrices = {{8, [](Int j, Int n) { return j == 1 ? -9 : j == n ? -18 : 0; }}};
    if (std::same_as<R, double>) matrices.push_back({8, [](Int j, Int) { return 2 * (j - 1); }});
  }
  for (const auto& [n, exponent] : matrices) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix(n, [n = n, exponent = exponent](Int i, Int j) {
      return i == j + 1 || (i == 1 && j == n) ? std::ldexp(R(1), exponent(j, n)) : R(0);
    });
    expect_schur_form(A, 1, n);
  }
}

/// A small element below the diagonal stays if eigenvalues depend on it: where a large one stands above it, or where
/// the diagonal elements are equal. A complex sweep then has no more digits of them than it has of that element.
TYPED_TEST(DoubleShiftQr, DeflatesNothingThatEigenvaluesDependOn) {
  using T = TypeParam;
  using R = Real<T>;
  const R small = epsilon<T> / 16;
  for (const R above : {std::sqrt(1 / epsilon<T>), R(0.5)}) {
    if (ComplexScalar<T> && above < 1) continue;
    const GuardedMatrix<T> A = this->matrix(2, [=](Int i, Int j) { return i == j ? R(1) : i < j ? above : small; });
    const Iterated<T> found = Iterated<T>(A).run();
    EXPECT_EQ(found.info, 0);
    const double root = std::sqrt(double(small) * double(above));
    EXPECT_LT(spectrum_distance(found.values(), {1 + root, 1 - root}), root / 100 + epsilon<T>);
  }
}

/// Where diagonal elements are zero the next elements of the subdiagonal are the measure: row 3, and row 1, come off at
/// once, and the others are those of a matrix of order two.
TYPED_TEST(DoubleShiftQr, MeasuresByNeighbours) {
  using T = TypeParam;
  using R = Real<T>;
  const R small = epsilon<T> / 4;
  const auto pair = [](R first, R last) {
    return Iterated<T>(TestFixture::matrix(2, [=](Int i, Int j) { return i != j   ? R(1)
                                                                         : i == 1 ? first
                                                                                  : last; }))
        .run();
  };
  const Iterated<T> above = pair(R(0.7), 0), below = pair(0, R(0.7));
  const Iterated<T> last = Iterated<T>(this->matrix(3, [=](Int i, Int j) {
                             return i + j == 3 ? R(1) : i == 3 && j == 2 ? small : i + j == 2 ? R(0.7) : R(0);
                           })).run();
  const Iterated<T> first = Iterated<T>(this->matrix(3, [=](Int i, Int j) {
                              return i + j == 5 ? R(1) : i == 2 && j == 1 ? small : i + j == 6 ? R(0.7) : R(0);
                            })).run();
  EXPECT_EQ(last.value(3), 0.0);
  EXPECT_EQ(first.value(1), 0.0);
  for (const Int i : {1, 2}) {
    EXPECT_EQ(last.value(i), above.value(i)) << i;
    EXPECT_EQ(first.value(i + 1), below.value(i)) << i;
  }
}

TYPED_TEST(DoubleShiftQr, FindsKnownSpectra) {
  using T = TypeParam;
  using R = Real<T>;
  // The companion matrix of (x - 1) (x + 2) (x - 3) (x + 4): x^4 + 2 x^3 - 13 x^2 - 14 x + 24.
  const GuardedMatrix<T> companion = this->matrix(4, [](Int i, Int j) {
    constexpr R first[] = {-2, 13, 14, -24};
    return i == 1 ? first[j - 1] : R(i == j + 1);
  });
  expect_schur_form(companion, 1, 4);
  EXPECT_LT(spectrum_distance(Iterated<T>(companion).run().values(), {1, -2, 3, -4}), 1000 * epsilon<T>);

  // Tridiagonal Toeplitz: 2 cos(k pi / (n + 1)) sqrt(b c) + a.
  for (const Int n : {5, 20}) {
    const T phase = TestFixture::unit();
    const GuardedMatrix<T> toeplitz = this->matrix(n, [phase](Int i, Int j) {
      return i == j ? T(3) : i == j + 1 ? phase : i + 1 == j ? conjugate(phase) : T(0);
    });
    expect_schur_form(toeplitz, 1, n);
    std::vector<std::complex<double>> values;
    for (Int k = 1; k <= n; ++k) values.push_back(3 + 2 * std::cos(k * 3.14159265358979323846 / (n + 1)));
    EXPECT_LT(spectrum_distance(Iterated<T>(toeplitz).run().values(), values), schur_threshold * n * 5 * epsilon<T>);
  }
}

TYPED_TEST(DoubleShiftQr, TakesMatricesOfAllKinds) {
  using T = TypeParam;
  using R = Real<T>;
  const T unit = TestFixture::unit();
  const auto expect_whole = [&](const char* kind, const GuardedMatrix<T>& A) {
    SCOPED_TRACE(kind);
    expect_schur_form(A, 1, A.rows());
  };
  expect_whole("Frank", this->matrix(10, [](Int i, Int j) { return R(11 - std::max(i, j)); }));
  expect_whole("zero", this->matrix(6, [](Int, Int) { return R(0); }));
  expect_whole("identity", this->matrix(6, [](Int i, Int j) { return R(i == j); }));
  expect_whole("lower shift", this->matrix(7, [&](Int i, Int j) { return i == j + 1 ? unit : T(0); }));
  expect_whole("nilpotent", this->matrix(7, [](Int i, Int j) { return R(i < j); }));
  expect_whole("Jordan block", this->matrix(8, [](Int i, Int j) { return R(i == j ? 2 : i + 1 == j); }));
  expect_whole("Jordan block below", this->matrix(8, [&](Int i, Int j) {
    return i == j ? T(2) : i == j + 1 ? unit : T(0);
  }));
  expect_whole("graded", this->matrix(9, [](Int i, Int j) { return std::ldexp(R(1 + (i * j) % 3), -4 * (i + j)); }));
  expect_whole("skew", this->matrix(9, [](Int i, Int j) { return R(i == j + 1) - R(i + 1 == j); }));
  expect_whole("equal rows", this->matrix(9, [&](Int, Int j) { return R(j) * unit; }));

  GuardedMatrix<T> divided = random_hessenberg<T>(this->random, 14, 15);
  divided(4, 3) = divided(6, 5) = divided(7, 6) = divided(14, 13) = T(0);
  expect_whole("zeros on the subdiagonal", divided);
  GuardedMatrix<T> blocks = divided;
  for (Int j = 7; j <= 14; ++j) {
    for (Int i = 1; i <= 6; ++i) blocks(i, j) = T(0);
  }
  expect_whole("block diagonal", blocks);
  for (const R scale : {std::sqrt(std::numeric_limits<R>::min()), std::numeric_limits<R>::max() / 4096}) {
    GuardedMatrix<T> scaled = random_hessenberg<T>(this->random, 8, 9);
    for (Int j = 1; j <= 8; ++j) {
      for (Int i = 1; i <= std::min(8, j + 1); ++i) scaled(i, j) *= scale;
    }
    expect_whole("of extreme scale", scaled);
  }
}

/// Two consecutive small subdiagonal elements let a sweep start in the middle.
TYPED_TEST(DoubleShiftQr, StartsBetweenSmallElements) {
  using T = TypeParam;
  for (const Int n : {5, 6, 8, 12}) {
    for (const Real<T> fraction : {2, 8, 64}) {
      SCOPED_TRACE(testing::Message() << n << ", root of eps over " << fraction);
      GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n + 1);
      A(n - 2, n - 3) *= std::sqrt(epsilon<T>) / fraction;
      A(n - 1, n - 2) *= std::sqrt(epsilon<T>) / fraction;
      expect_schur_form(A, 1, n);
      if (n <= 6) expect_order_of_values(A, false);
    }
  }
}

/// Blocks before the one that never converges are left as a Hessenberg matrix; those behind it are done.
TYPED_TEST(DoubleShiftQr, TellsWhereItGaveUp) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 9, stuck = 4;
  GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n);
  A(stuck + 1, stuck) = T(0);
  const Iterated<T> good = Iterated<T>(A).active(stuck + 1, n).run();
  A(2, 3) = T(std::numeric_limits<R>::quiet_NaN());
  for (const Logical wantt : {0, 1}) {
    const Iterated<T> found = Iterated<T>(A).wants(wantt, 1).run();
    EXPECT_EQ(found.info, stuck);
    for (Int i = stuck + 1; i <= n; ++i) EXPECT_EQ(found.value(i), good.value(i)) << i;
    for (Int i = 1; i <= stuck; ++i) {
      EXPECT_TRUE(same_bits(found.wr(i), guard<R>()) && same_bits(found.w(i), guard<T>())) << i;
    }
    EXPECT_TRUE(found.guards_unchanged());
  }
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const auto& [i, j] : {std::pair{1, 1}, {1, n}, {2, 1}, {n, n - 1}, {n, n}, {5, 5}}) {
      GuardedMatrix<T> spoilt = random_hessenberg<T>(this->random, n, n);
      spoilt(i, j) = T(bad);
      const Iterated<T> found = Iterated<T>(spoilt).run();
      EXPECT_TRUE(found.info >= 0 && found.info <= n) << found.info;
      EXPECT_TRUE(found.guards_unchanged());
    }
  }
}

TYPED_TEST(DoubleShiftQr, DoesLittleForLittle) {
  using T = TypeParam;
  const Iterated<T> nothing = Iterated<T>(GuardedMatrix<T>(0, 0, 1)).run();
  EXPECT_EQ(nothing.info, 0);
  EXPECT_TRUE(nothing.H.guards_unchanged() && nothing.Z.unchanged());
  const GuardedMatrix<T> A = random_matrix<T>(this->random, 5, 5, 6);
  const Iterated<T> one = Iterated<T>(A).active(3, 3).run();
  EXPECT_EQ(one.info, 0);
  EXPECT_TRUE(one.H.unchanged() && one.Z.unchanged() && one.guards_unchanged());
  EXPECT_EQ(one.value(3), std::complex<double>(A(3, 3)));
}

}  // namespace
}  // namespace nuv::test
