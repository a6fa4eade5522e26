// The reduction of a symmetric or Hermitian matrix to tridiagonal form by way of a band: syrdb, herdb and their panels.

#include <algorithm>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "symmetric/tridiagonal_form.hpp"

namespace nuv::test {
namespace {

template <class T>
class TwoStage : public ReportingTest {
 protected:
  Random random{72};
};
TYPED_TEST_SUITE(TwoStage, Precisions, PrecisionLetter);

// --------------------------------------------------------------------------------------------------- whole reductions

/// A matrix of which one triangle is stored; the other holds guards.
template <Scalar T>
struct Stored {
  char uplo;
  Int n;
  GuardedMatrix<T> a;

  Stored(Random& random, char uplo_, Int n_, Int more_rows) : uplo(uplo_), n(n_), a(n, n, std::max(1, n + more_rows)) {
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) {
        if (is_in_triangle(uplo, i, j)) a(i, j) = random.scalar<T>();
      }
    }
    a.seal();
  }

  WideMatrix<T> dense() const { return wide_hermitian(a, is_upper(uplo)); }
};

Int best_workspace(Int n, Int kd) {
  return (3 * kd + 3) * n;
}

/// The band, and what its reduction asks for.
Int least_workspace(char jobz, Int n, Int kd) {
  const Int band = std::min(kd, n - 1);
  return n <= 1 ? 1 : (2 * band + 1) * n + (same_letter(jobz, 'N') ? band : n);
}

template <Scalar T>
struct Reduced {
  GuardedMatrix<T> a;
  TridiagonalForm<T> form;
};

/// Reduces a copy; Z takes Q where jobz says so.
template <Scalar T>
Reduced<T> reduce(const Stored<T>& A, char jobz, Int kd, Int lwork, GuardedMatrix<T>& Z) {
  Reduced<T> result{A.a, TridiagonalForm<T>(A.n)};
  GuardedVector<T> work(lwork), tau(A.n);
  Int info = 99;
  routine_call::syrdb(jobz, A.uplo, A.n, kd, result.a, result.form.d.data(), result.form.e.data(), tau.data(), Z,
                      work.data(), lwork, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(work(1), T(Real<T>(A.n == 0 ? 1 : best_workspace(A.n, kd))));
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(tau.guards_unchanged());
  EXPECT_TRUE(result.form.guards_unchanged());
  EXPECT_TRUE(result.a.guards_unchanged());
  if (!same_letter(jobz, 'V')) {
    EXPECT_TRUE(result.a.unchanged_except([&](Int i, Int j) { return is_in_triangle(A.uplo, i, j); }));
  }
  return result;
}

struct Sizes {
  Int n, kd;
};

constexpr Sizes all_sizes[] = {{1, 1},   {2, 1},   {2, 2},   {3, 1},   {3, 2},   {3, 5},    {4, 2},   {5, 1},
                               {5, 4},   {5, 5},   {5, 9},   {6, 2},   {7, 3},   {8, 3},    {9, 3},   {12, 4},
                               {13, 4},  {14, 4},  {20, 19}, {20, 18}, {20, 17}, {31, 8},   {33, 8},  {41, 40},
                               {42, 40}, {79, 40}, {80, 40}, {81, 40}, {82, 40}, {121, 40}, {150, 24}};

TYPED_TEST(TwoStage, IsASimilarMatrix) {
  using T = TypeParam;
  for (const auto& [n, kd] : all_sizes) {
    for (const char uplo : uplos) {
      const Stored<T> A(this->random, uplo, n, this->random.integer(0, 3));
      const WideMatrix<T> dense = A.dense();
      const Int least = least_workspace('V', n, kd), best = best_workspace(n, kd);
      for (const Int lwork : {least, best - 1, best, best + 9, this->random.integer(least, best)}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", width " << kd << ", workspace " << lwork);
        GuardedMatrix<T> none(0, 0, 1);
        const Reduced<T> reduced = reduce(A, this->random.in_some_case('V'), kd, lwork, none);
        expect_similar(dense, reduced.a, reduced.form);
      }
    }
  }
}

TYPED_TEST(TwoStage, HasTheSameFormWithAndWithoutQ) {
  using T = TypeParam;
  for (const auto& [n, kd] : {Sizes{1, 1}, {2, 1}, {7, 3}, {42, 40}, {90, 20}}) {
    for (const char uplo : uplos) {
      const Stored<T> A(this->random, uplo, n, 0);
      GuardedMatrix<T> none(0, 0, 1);
      const Int best = best_workspace(n, kd);
      const TridiagonalForm<T> with_q = reduce(A, 'V', kd, best, none).form;
      EXPECT_TRUE(reduce(A, this->random.in_some_case('N'), kd, best, none).form.same_as(with_q));
      for (const Int lwork : {least_workspace('N', n, kd), best - 1}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", width " << kd << ", workspace " << lwork);
        expect_same_values(reduce(A, 'N', kd, lwork, none).form, with_q);
      }
      EXPECT_TRUE(none.unchanged());
    }
  }
}

TYPED_TEST(TwoStage, MultipliesAGivenMatrixByQ) {
  using T = TypeParam;
  for (const auto& [n, kd] : {Sizes{1, 1}, {2, 1}, {3, 2}, {9, 4}, {30, 7}, {70, 20}}) {
    for (const char uplo : uplos) {
      const Stored<T> A(this->random, uplo, n, 1);
      for (const Int lwork : {least_workspace('U', n, kd), best_workspace(n, kd) - 1, best_workspace(n, kd)}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", width " << kd << ", workspace " << lwork);
        // From the identity comes Q itself.
        GuardedMatrix<T> Q(n, n, n), X = random_matrix<T>(this->random, n, n, n + 2);
        for (Int j = 1; j <= n; ++j) {
          for (Int i = 1; i <= n; ++i) Q(i, j) = T(i == j);
        }
        const GuardedMatrix<T> G = X;
        const TridiagonalForm<T> form = reduce(A, this->random.in_some_case('U'), kd, lwork, Q).form;
        expect_similar(A.dense(), Q, form);
        EXPECT_TRUE(reduce(A, 'U', kd, lwork, X).form.same_as(form));
        EXPECT_TRUE(X.guards_unchanged());
        EXPECT_LT(product_error(X, G, Q), 10);
      }
    }
  }
}

TYPED_TEST(TwoStage, TakesAWideBandForTheWholeMatrix) {
  using T = TypeParam;
  const Int n = 9;
  for (const char uplo : uplos) {
    const Stored<T> A(this->random, uplo, n, 0);
    GuardedMatrix<T> none(0, 0, 1);
    const Reduced<T> by_whole = reduce(A, 'V', n - 1, best_workspace(n, n - 1), none);
    for (const Int kd : {n, n + 7}) {
      const Reduced<T> wider = reduce(A, 'V', kd, best_workspace(n, kd), none);
      EXPECT_TRUE(wider.form.same_as(by_whole.form));
      EXPECT_TRUE(wider.a.same_as(by_whole.a));
    }
  }
}

TYPED_TEST(TwoStage, AnswersHowMuchWorkspaceIsBest) {
  using T = TypeParam;
  for (const auto& [n, kd] : {Sizes{0, 1}, {0, 40}, {1, 1}, {7, 3}, {50, 40}}) {
    for (const char jobz : {'N', 'V', 'U'}) {
      const Stored<T> A(this->random, 'U', n, 0);
      GuardedMatrix<T> a = A.a, z(n, n, std::max(1, n));
      TridiagonalForm<T> form(n);
      GuardedVector<T> work(2), tau(n);
      Int info = 99;
      routine_call::syrdb(jobz, 'u', n, kd, a, form.d.data(), form.e.data(), tau.data(), z, work.data(), -1, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work(1), T(Real<T>(best_workspace(n, kd))));
      EXPECT_TRUE(work.unchanged_outside(1, 1));
      EXPECT_TRUE(a.unchanged());
    }
  }
  // Without rows it asks for one element.
  const Stored<T> A(this->random, 'L', 0, 0);
  GuardedMatrix<T> none(0, 0, 1);
  for (const char jobz : {'N', 'V', 'U'}) reduce(A, jobz, 3, 1, none);
}

template <Scalar T>
struct ReductionCall {
  char jobz = 'U', uplo = 'L';
  Int n = 5, kd = 2, lda = 5, ldz = 5, lwork = 30;
  Random random{2};
  Stored<T> A{random, 'L', 5, 0};
  GuardedMatrix<T> z = random_matrix<T>(random, 5, 5, 5);
  TridiagonalForm<T> form{5};
  GuardedVector<T> tau{5}, work{30};

  Int run() {
    Int info = 99;
    routine_call::syrdb(jobz, uplo, n, kd, Matrix<T>(A.a.data(), lda), form.d.data(), form.e.data(), tau.data(),
                        Matrix<T>(z.data(), ldz), work.data(), lwork, info);
    return info;
  }
  bool unchanged() const {
    return A.a.unchanged() && z.unchanged() && form.d.unchanged() && form.e.unchanged() && tau.unchanged() &&
           work.unchanged();
  }
};

TYPED_TEST(TwoStage, ReportsBadArguments) {
  using T = TypeParam;
  using Call = ReductionCall<T>;
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HERDB" : "SYRDB");
  // The numbers of a bad ldz and a bad lwork are not their places.
  expect_argument_checks<Call>(name, {{1, [](Call& call) { call.jobz = 'X'; }},
                                      {2, [](Call& call) { call.uplo = 'X'; }},
                                      {3, [](Call& call) { call.n = -1; }},
                                      {4, [](Call& call) { call.kd = 0; }},
                                      {6, [](Call& call) { call.lda = 4; }},
                                      {9, [](Call& call) { call.ldz = 4; }},
                                      {11, [](Call& call) { call.lwork = 0; }}});
  for (const char jobz : {'N', 'V'}) {
    Call without_z;
    without_z.jobz = jobz;
    without_z.ldz = 0;
    expect_report(without_z, name, 9);
    without_z.ldz = 1;
    expect_report(without_z, name, 0);
  }
  for (const auto& [jobz, least] : {std::pair('N', 27), std::pair('V', 30), std::pair('U', 30)}) {
    Call narrow;
    narrow.jobz = jobz;
    narrow.lwork = least - 1;
    expect_report(narrow, name, 11);
  }
  for (const Int lwork : {0, -2}) {
    Call empty;
    empty.n = 0;
    empty.lwork = lwork;
    expect_report(empty, name, 11);
  }
  Call question;
  question.lwork = -1;
  question.kd = 0;
  expect_report(question, name, 4);
}

// ------------------------------------------------------------------------------------------------------------- panels

struct PanelSizes {
  Int m, nb;
};

/// Panels of few columns and of many, which are taken by halves where there are more rows than columns.
constexpr PanelSizes panel_sizes[] = {{1, 1},   {1, 3},   {2, 1},   {2, 2},   {2, 5},   {6, 6},   {6, 9}, {9, 4},
                                      {60, 17}, {50, 45}, {13, 12}, {12, 12}, {11, 12}, {23, 24}, {3, 25}};

/// Zeros come below the diagonal from the upper left corner, or above that from the lower right one.
bool is_made_zero(char uplo, Int m, Int nb, Int i, Int j) {
  return is_upper(uplo) ? i < m - nb + j : i > j;
}

TYPED_TEST(TwoStage, PanelsAreTriangularised) {
  using T = TypeParam;
  for (const auto& [m, nb] : panel_sizes) {
    for (const char uplo : uplos) {
      SCOPED_TRACE(testing::Message() << uplo << ", " << m << " by " << nb);
      const GuardedMatrix<T> before = random_matrix<T>(this->random, m, nb, m + this->random.integer(0, 2));
      GuardedMatrix<T> A = before, V(m, nb, m), Y(m, nb, m + 1);
      GuardedVector<T> tau(nb);
      routine_call::syrb2(this->random.in_some_case(uplo), m, nb, A, tau.data(), V, Y);
      EXPECT_TRUE(A.guards_unchanged());
      EXPECT_TRUE(V.guards_unchanged());
      EXPECT_TRUE(Y.guards_unchanged());
      EXPECT_TRUE(tau.guards_unchanged());

      // Q := I - Y V^H is unitary, and the panel is Q times its triangle.
      const WideMatrix<T> I = WideMatrix<T>::Identity(m, m);
      GuardedMatrix<T> Q(m, m, m);
      const WideMatrix<T> wide_q = I - product<T>(wide(Y), WideMatrix<T>(wide(V).adjoint()));
      EXPECT_LT(one_norm<T>(product<T>(wide_q, WideMatrix<T>(wide_q.adjoint())) - I) / (m * double(epsilon<T>)), 30);
      WideMatrix<T> triangle = wide(A);
      for (Int j = 1; j <= nb; ++j) {
        const Int unit = is_upper(uplo) ? m - nb + j : j;
        const bool reflects = is_upper(uplo) ? unit >= 2 : unit < m;
        EXPECT_EQ(same_bits(tau(j), guard<T>()), !reflects);
        for (Int i = 1; i <= m; ++i) {
          const bool zero = is_made_zero(uplo, m, nb, i, j);
          if (zero) triangle(i - 1, j - 1) = 0;
          const T expected = !reflects ? T(0) : zero ? A(i, j) : T(i == unit);
          EXPECT_EQ(V(i, j), expected) << i << ", " << j;
        }
        if (reflects) {
          EXPECT_EQ(std::imag(A(unit, j)), Real<T>(0));
        }
      }
      EXPECT_LT(product_residual<T>(WideMatrix<T>(product<T>(wide_q, triangle)), I, wide(before)), 10);
    }
  }
}

TYPED_TEST(TwoStage, PanelsWithoutRowsAreLeftAlone) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    GuardedMatrix<T> A(3, 3, 3), V(3, 3, 3), Y(3, 3, 3);
    GuardedVector<T> tau(3);
    routine_call::syrb2(uplo, 0, 3, A, tau.data(), V, Y);
    for (const GuardedMatrix<T>* matrix : {&A, &V, &Y}) EXPECT_TRUE(matrix->unchanged());
    EXPECT_TRUE(tau.unchanged());
  }
}

}  // namespace
}  // namespace nuv::test
