// The reduction of a symmetric or Hermitian band matrix to tridiagonal form: sbrdb, hbrdb.

#include <algorithm>
#include <cctype>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "symmetric/tridiagonal_form.hpp"

namespace nuv::test {
namespace {

template <class T>
class BandToTridiagonal : public ReportingTest {
 protected:
  Random random{63};
};
TYPED_TEST_SUITE(BandToTridiagonal, Precisions, PrecisionLetter);

struct BandSizes {
  Int n, kd;
};

/// Orders around multiples of the width, and widths around the order.
constexpr BandSizes band_sizes[] = {{1, 0},   {3, 0},   {1, 1},   {2, 1},   {3, 1},  {9, 1},   {1, 2},    {2, 2},
                                    {3, 2},   {4, 2},   {5, 2},   {6, 2},   {7, 2},  {1, 3},   {2, 3},    {3, 3},
                                    {4, 3},   {5, 3},   {6, 3},   {7, 3},   {8, 3},  {11, 3},  {13, 4},   {10, 9},
                                    {10, 8},  {10, 10}, {10, 12}, {16, 8},  {17, 8}, {18, 8},  {19, 8},   {26, 8},
                                    {33, 16}, {34, 16}, {35, 16}, {64, 16}, {90, 5}, {83, 40}, {123, 40}, {140, 33}};

/// A band matrix in lower storage, with guards where there are no elements of it.
template <Scalar T>
struct Band {
  Int n, kd;
  GuardedMatrix<T> ab;
  WideMatrix<T> dense;

  Band(Random& random, Int n_, Int kd_, Int more_rows)
      : n(n_), kd(kd_), ab(std::max(kd + 1, 2 * kd), n, std::max(kd + 1, 2 * kd) + more_rows) {
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j; i <= n; ++i) {
        A(i, j) = i - j > kd ? T(0) : random.scalar<T>();
        if (i - j <= kd) ab(1 + i - j, j) = A(i, j);
      }
    }
    ab.seal();
    dense = wide_hermitian(A, false);
  }

  Int best_workspace(bool with_q) const { return with_q ? (kd + 2) * n : kd; }
  Int least_workspace(bool with_q) const { return std::max(1, with_q ? n : kd); }
};

/// Reduces a copy; Q is as vect says.
template <Scalar T>
TridiagonalForm<T> reduce(const Band<T>& band, char vect, GuardedMatrix<T>& Q, Int lwork) {
  GuardedMatrix<T> ab = band.ab;
  TridiagonalForm<T> form(band.n);
  GuardedVector<T> work(std::max(1, lwork));
  Int info = 99;
  routine_call::sbrdb(vect, 'L', band.n, band.kd, ab, form.d.data(), form.e.data(), Q, work.data(), lwork, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(work(1), T(Real<T>(band.best_workspace(!same_letter(vect, 'N')))));
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(form.guards_unchanged());
  EXPECT_TRUE(ab.guards_unchanged());
  return form;
}

TYPED_TEST(BandToTridiagonal, IsASimilarMatrix) {
  using T = TypeParam;
  for (const auto& [n, kd] : band_sizes) {
    const Band<T> band(this->random, n, kd, this->random.integer(0, 2));
    for (const Int lwork : {band.least_workspace(true), band.best_workspace(true) - 1, band.best_workspace(true),
                            band.best_workspace(true) + 7}) {
      SCOPED_TRACE(testing::Message() << "order " << n << ", width " << kd << ", workspace " << lwork);
      if (lwork < band.least_workspace(true)) continue;
      GuardedMatrix<T> Q(n, n, n + this->random.integer(0, 2));
      const TridiagonalForm<T> form = reduce(band, this->random.in_some_case('V'), Q, lwork);
      if (kd > 0) {
        expect_similar(band.dense, Q, form);
      } else {
        EXPECT_TRUE(form.e.unchanged());
        for (Int i = 1; i <= n; ++i) EXPECT_EQ(form.d(i), std::real(band.ab(1, i)));
      }
    }
  }
}

TYPED_TEST(BandToTridiagonal, HasTheSameFormWithAndWithoutQ) {
  using T = TypeParam;
  for (const auto& [n, kd] : band_sizes) {
    const Band<T> band(this->random, n, kd, 0);
    GuardedMatrix<T> none(0, 0, 1), Q(n, n, n);
    const TridiagonalForm<T> alone = reduce(band, this->random.in_some_case('N'), none, band.least_workspace(false));
    EXPECT_TRUE(none.unchanged());
    for (const Int lwork : {band.least_workspace(true), band.best_workspace(true)}) {
      EXPECT_TRUE(reduce(band, 'V', Q, std::max(1, lwork)).same_as(alone)) << "order " << n << ", width " << kd;
    }
    EXPECT_TRUE(reduce(band, 'N', none, band.best_workspace(false) + 9).same_as(alone));
  }
}

TYPED_TEST(BandToTridiagonal, MultipliesAGivenMatrixByQ) {
  using T = TypeParam;
  for (const auto& [n, kd] : {BandSizes{2, 1}, {5, 1}, {3, 2}, {9, 4}, {50, 7}}) {
    const Band<T> band(this->random, n, kd, 1);
    for (const Int lwork : {band.least_workspace(true), band.best_workspace(true)}) {
      SCOPED_TRACE(testing::Message() << "order " << n << ", width " << kd << ", workspace " << lwork);
      const GuardedMatrix<T> G = random_matrix<T>(this->random, n, n, n + 1);
      GuardedMatrix<T> X = G, Q(n, n, n);
      const TridiagonalForm<T> form = reduce(band, this->random.in_some_case('U'), X, lwork);
      EXPECT_TRUE(reduce(band, 'V', Q, lwork).same_as(form));
      EXPECT_TRUE(X.guards_unchanged());
      EXPECT_LT(product_error(X, G, Q), 10);
    }
  }
}

TYPED_TEST(BandToTridiagonal, CopiesWhatIsTridiagonal) {
  using T = TypeParam;
  const Int n = 6;
  Band<T> band(this->random, n, 1, 1);
  for (Int j = 1; j < n; ++j) band.ab(2, j) = std::real(band.ab(2, j));
  GuardedMatrix<T> Q(n, n, n);
  const TridiagonalForm<T> form = reduce(band, 'V', Q, n);
  for (Int j = 1; j <= n; ++j) {
    EXPECT_EQ(form.d(j), std::real(band.ab(1, j)));
    if (j < n) {
      EXPECT_EQ(form.e(j), std::real(band.ab(2, j)));
    }
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(Q(i, j), T(i == j));
  }
}

TYPED_TEST(BandToTridiagonal, LeavesZerosAlone) {
  using T = TypeParam;
  const Int n = 30, kd = 6;
  Band<T> band(this->random, n, kd, 0);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 2; i <= std::min(kd, n - j) + 1; ++i) band.ab(i, j) = T(0);
  }
  GuardedMatrix<T> Q(n, n, n);
  const TridiagonalForm<T> form = reduce(band, 'V', Q, band.best_workspace(true));
  for (Int j = 1; j <= n; ++j) {
    EXPECT_EQ(form.d(j), std::real(band.ab(1, j)));
    if (j < n) {
      EXPECT_EQ(form.e(j), Real<T>(0));
    }
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(Q(i, j), T(i == j));
  }
}

TYPED_TEST(BandToTridiagonal, AnswersHowMuchWorkspaceIsBest) {
  using T = TypeParam;
  for (const auto& [n, kd] : {BandSizes{0, 0}, {0, 5}, {7, 0}, {7, 3}, {3, 9}}) {
    for (const char vect : {'N', 'V', 'U'}) {
      GuardedMatrix<T> ab(2 * kd, n, std::max(1, 2 * kd)), q(n, n, std::max(1, n));
      TridiagonalForm<T> form(n);
      const T best(Real<T>(vect == 'N' ? kd : (kd + 2) * n));
      for (const Int lwork : {-1, n + kd + 1}) {
        if (lwork != -1 && n != 0) continue;
        GuardedVector<T> work(3);
        Int info = 99;
        routine_call::sbrdb(vect, 'l', n, kd, ab, form.d.data(), form.e.data(), q, work.data(), lwork, info);
        EXPECT_EQ(info, 0);
        EXPECT_EQ(work(1), best);
        EXPECT_TRUE(work.unchanged_outside(1, 1));
        EXPECT_TRUE(ab.unchanged());
        EXPECT_TRUE(q.unchanged());
      }
    }
  }
}

template <Scalar T>
struct BandCall {
  char vect = 'V', uplo = 'L';
  Int n = 5, kd = 3, ldab = 6, ldq = 5, lwork = 5;
  Random random{1};
  Band<T> band{random, 5, 3, 0};
  GuardedMatrix<T> q{5, 5, 5};
  TridiagonalForm<T> form{5};
  GuardedVector<T> work{5};

  Int run() {
    Int info = 99;
    routine_call::sbrdb(vect, uplo, n, kd, Matrix<T>(band.ab.data(), ldab), form.d.data(), form.e.data(),
                        Matrix<T>(q.data(), ldq), work.data(), lwork, info);
    return info;
  }
  bool unchanged() const {
    return band.ab.unchanged() && q.unchanged() && form.d.unchanged() && form.e.unchanged() && work.unchanged();
  }
};

TYPED_TEST(BandToTridiagonal, ReportsBadArguments) {
  using T = TypeParam;
  using Call = BandCall<T>;
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HBRDB" : "SBRDB");
  expect_argument_checks<Call>(name, {{1, [](Call& call) { call.vect = 'X'; }},
                                      {2, [](Call& call) { call.uplo = 'U'; }},
                                      {3, [](Call& call) { call.n = -1; }},
                                      {4, [](Call& call) { call.kd = -1; }},
                                      {6, [](Call& call) { call.ldab = 5; }},
                                      {10, [](Call& call) { call.ldq = 4; }},
                                      {12, [](Call& call) { call.lwork = 4; }}});
  Call alone;
  alone.vect = 'N';
  alone.ldq = 1;
  alone.lwork = 2;
  expect_report(alone, name, 12);
  alone.lwork = 3;
  expect_report(alone, name, 0);
  Call empty;
  empty.n = empty.lwork = 0;
  expect_report(empty, name, 12);
  for (const Int lwork : {0, -2}) {
    Call narrow;
    narrow.vect = 'N';
    narrow.kd = 0;
    narrow.lwork = lwork;
    expect_report(narrow, name, 12);
  }
  Call question;
  question.lwork = -1;
  question.ldab = 5;
  expect_report(question, name, 6);
}

}  // namespace
}  // namespace nuv::test
