// The drivers for packed and for band matrices, by whose name NUV_TEST_FORM goes: ?spev, ?spevd, ?spevx, ?hpev, ?hpevd,
// ?hpevx, and ?sbev, ?sbevd, ?sbevx, ?hbev, ?hbevd, ?hbevx.

#include "symmetric/stored_drivers.hpp"

#include <cctype>
#include <limits>

#include "support/argument_checks.hpp"
#include "support/wide_spectrum.hpp"
#include "symmetric/eigen_checks.hpp"

namespace nuv::test {
namespace {

/// Inverse iteration is allowed more.
constexpr double threshold = 10, threshold_of_inverse_iteration = 30;

/// The rotations of a band and those of the iteration: each column goes through some 4 n of them, whose errors add up
/// like steps at random.
double threshold_of_rotations(Int n) {
  return std::max(threshold, std::sqrt(4.0 * n));
}

template <Scalar T>
using Form = NUV_TEST_FORM<T>;

struct Shape {
  Int n, kd;
};

/// The packed form takes the bandwidth for what it is there.
constexpr Shape shapes[] = {{1, 0}, {1, 2}, {2, 0}, {2, 1}, {2, 4},   {3, 2},
                            {9, 1}, {9, 3}, {9, 8}, {9, 9}, {34, 33}, {70, 5}};

/// A matrix with all that is known of it.
template <Scalar T>
struct Case {
  char uplo;
  GuardedMatrix<T> A;
  WideMatrix<T> dense;
  std::vector<WideReal<T>> values;
  Form<T> form;

  Case(Random& random, char uplo_, const Shape& shape)
      : Case(uplo_, shape.kd, random_band<T>(random, uplo_, shape.n, shape.kd)) {}
  Case(char uplo_, Int kd, const GuardedMatrix<T>& A_)
      : uplo(uplo_), A(A_), dense(wide_hermitian(A, is_upper(uplo_))), form(uplo_, kd, A) {
    const WideVector<T> exact = wide_eigenvalues<T>(dense);
    values.assign(exact.begin(), exact.end());
  }

  /// Expects the eigenvalues from the first on, counted from one, with their vectors.
  void expect_pairs(const Solution<T>& x, Int first, double limit) const {
    EXPECT_EQ(x.info, 0);
    EXPECT_LT(value_error(x.w, x.m, values, first), threshold);
    EXPECT_LT(eigen_residual(dense, x.Z, x.w, x.m), limit);
    EXPECT_LT(orthogonality(x.Z, x.m), limit);
    EXPECT_TRUE(x.Z.unchanged_except([&](Int, Int j) { return j <= x.m; }));
    for (Int i = 1; i < x.m; ++i) EXPECT_LE(x.w(i), x.w(i + 1));
  }

  /// Expects the eigenvalues alone.
  void expect_values(const Solution<T>& x, Int first) const {
    EXPECT_EQ(x.info, 0);
    EXPECT_LT(value_error(x.w, x.m, values, first), threshold);
    EXPECT_TRUE(x.Z.unchanged());
  }
};

template <class T>
class StoredDrivers : public ReportingTest {
 protected:
  template <class Visit>
  void for_each_case(Visit visit) {
    for (const Shape& shape : shapes) {
      for (const char uplo : uplos) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << shape.n << ", " << shape.kd << " diagonals");
        visit(Case<T>(random, uplo, shape));
      }
    }
  }

  Random random{89};
};
TYPED_TEST_SUITE(StoredDrivers, Precisions, PrecisionLetter);

TYPED_TEST(StoredDrivers, FindAllEigenvaluesAndEigenvectors) {
  using T = TypeParam;
  this->for_each_case([&](const Case<T>& problem) {
    const Form<T>& A = problem.form;
    for (const char jobz : {'V', 'v'}) {
      problem.expect_pairs(by_iteration(jobz, A, A.n), 1, threshold_of_rotations(A.n));
      problem.expect_pairs(by_division(jobz, A, A.n + 2), 1, threshold_of_rotations(A.n));
      const Solution<T> selected = by_selection(jobz, {.range = 'a'}, A, A.n + 1);
      problem.expect_pairs(selected, 1, threshold_of_rotations(A.n));
      EXPECT_EQ(selected.m, A.n);
      for (Int i = 1; i <= A.n; ++i) EXPECT_EQ(selected.ifail(i), 0);
    }
  });
}

TYPED_TEST(StoredDrivers, FindAllEigenvaluesAlone) {
  using T = TypeParam;
  this->for_each_case([&](const Case<T>& problem) {
    const Form<T>& A = problem.form;
    for (const char jobz : {'N', 'n'}) {
      problem.expect_values(by_iteration(jobz, A, 1 + A.n), 1);
      problem.expect_values(by_division(jobz, A, 1 + A.n), 1);
      problem.expect_values(by_selection(jobz, {}, A, 1 + A.n), 1);
    }
  });
}

/// All by index, and those for which iteration is not good enough.
TYPED_TEST(StoredDrivers, SelectAllInOtherWords) {
  using T = TypeParam;
  using R = Real<T>;
  this->for_each_case([&](const Case<T>& problem) {
    const Form<T>& A = problem.form;
    const R tolerance = std::numeric_limits<R>::min() * 2;
    const Wanted<R> by_index = {.range = 'I', .il = 1, .iu = A.n}, by_bisection = {.abstol = tolerance},
                    by_value = {.range = 'V', .vl = R(-2 * A.n), .vu = R(2 * A.n)};
    for (const Wanted<R>& wanted : {by_index, by_bisection, by_value}) {
      const Solution<T> x = by_selection('V', wanted, A, A.n);
      EXPECT_EQ(x.m, A.n);
      problem.expect_pairs(x, 1, threshold_of_inverse_iteration);
      problem.expect_values(by_selection('N', wanted, A, A.n), 1);
    }
  });
}

/// All of them are found in one way, whatever the words for them; bisection finds what comes near.
TYPED_TEST(StoredDrivers, SelectAllInOneWay) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 13;
  for (const char jobz : {'N', 'V'}) {
    const Case<T> problem(this->random, 'L', {n, 4});
    const Solution<T> all = by_selection(jobz, {}, problem.form, n);
    const auto is_same = [&](const Wanted<R>& wanted) {
      const Solution<T> x = by_selection(jobz, wanted, problem.form, n);
      EXPECT_EQ(x.m, n);
      return x.w.same_as(all.w) && x.Z.same_as(all.Z);
    };
    EXPECT_TRUE(is_same({.range = 'I', .il = 1, .iu = n}));
    EXPECT_TRUE(is_same({.abstol = -1}));
    EXPECT_FALSE(is_same({.abstol = std::numeric_limits<R>::min() * 2}));
    EXPECT_TRUE(all.w.same_as(by_iteration(jobz, problem.form, n).w));
  }
}

/// With a tolerance the eigenvalues are as near as that, and need not be nearer.
TYPED_TEST(StoredDrivers, AreContentWithATolerance) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R tolerance = R(0.25);
  for (const char uplo : uplos) {
    const Case<T> problem(this->random, uplo, {34, 5});
    const Solution<T> x = by_selection('N', {.abstol = tolerance}, problem.form, 34);
    EXPECT_EQ(x.m, 34);
    WideReal<T> error = 0;
    for (Int i = 1; i <= 34; ++i) error = std::max(error, std::abs(x.w(i) - problem.values[std::size_t(i - 1)]));
    EXPECT_LE(error, tolerance);
    EXPECT_GT(error, tolerance / 100);
  }
}

TYPED_TEST(StoredDrivers, SelectByIndex) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{9, 3}, {34, 5}}) {
    for (const char uplo : uplos) {
      const Case<T> problem(this->random, uplo, shape);
      for (const auto& [il, iu] : {std::pair<Int, Int>{1, 1}, {shape.n, shape.n}, {2, 5}, {4, 4}, {1, shape.n - 1}}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << shape.n << ", from " << il << " to " << iu);
        const Wanted<Real<T>> wanted = {.range = 'i', .il = il, .iu = iu};
        const Solution<T> x = by_selection('V', wanted, problem.form, shape.n);
        EXPECT_EQ(x.m, iu - il + 1);
        problem.expect_pairs(x, il, threshold_of_inverse_iteration);
        problem.expect_values(by_selection('N', wanted, problem.form, shape.n), il);
      }
    }
  }
}

TYPED_TEST(StoredDrivers, SelectByValue) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Shape& shape : {Shape{9, 3}, {34, 5}}) {
    for (const char uplo : uplos) {
      const Case<T> problem(this->random, uplo, shape);
      const auto between = [&](Int k) {
        return R((problem.values[std::size_t(k - 1)] + problem.values[std::size_t(k)]) / 2);
      };
      for (const auto& [first, last] : {std::pair<Int, Int>{2, 2}, {3, 7}, {shape.n - 3, shape.n - 1}}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << shape.n << ", from " << first << " to " << last);
        const Wanted<R> wanted = {.range = 'v', .vl = between(first - 1), .vu = between(last)};
        const Solution<T> x = by_selection('V', wanted, problem.form, shape.n);
        EXPECT_EQ(x.m, last - first + 1);
        problem.expect_pairs(x, first, threshold_of_inverse_iteration);
        problem.expect_values(by_selection('N', wanted, problem.form, shape.n), first);
      }
      const Wanted<R> nothing = {.range = 'V', .vl = R(3 * shape.n), .vu = R(4 * shape.n)};
      const Solution<T> none = by_selection('V', nothing, problem.form, shape.n);
      EXPECT_EQ(none.info, 0);
      EXPECT_EQ(none.m, 0);
    }
  }
}

/// The interval of values is open on the left.
TYPED_TEST(StoredDrivers, SelectTheOnlyEigenvalue) {
  using T = TypeParam;
  using R = Real<T>;
  for (const char uplo : uplos) {
    GuardedMatrix<T> one(1, 1, 1);
    one(1, 1) = T(3);
    const Form<T> A(uplo, 1, one);
    const auto count = [&](R vl, R vu) {
      const Solution<T> x = by_selection('V', {.range = 'V', .vl = vl, .vu = vu}, A, 1);
      EXPECT_EQ(x.info, 0);
      EXPECT_EQ(x.w(1), 3);
      EXPECT_EQ(x.Z(1, 1), T(1));
      return x.m;
    };
    EXPECT_EQ(count(2, 4), 1);
    EXPECT_EQ(count(2, 3), 1);
    EXPECT_EQ(count(3, 4), 0);
    EXPECT_EQ(count(-1, 1), 0);
    EXPECT_EQ(by_selection('V', {.range = 'I', .il = 1, .iu = 1}, A, 1).m, 1);
  }
}

/// Matrices whose elements are near the ends of the exponent range give the same eigenvalues, scaled, and the same
/// choice of them; their squares would be out of range.
TYPED_TEST(StoredDrivers, ScaleAMatrixIntoRange) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr int exponent = std::numeric_limits<R>::max_exponent - 8;
  for (const Shape& shape : {Shape{2, 1}, {9, 3}, {9, 12}}) {
    for (const char uplo : uplos) {
      // The size of a matrix may be seen beside its diagonal alone.
      GuardedMatrix<T> unscaled_a = random_band<T>(this->random, uplo, shape.n, shape.kd);
      if (shape.kd == 3) {
        for (Int j = 1; j <= shape.n; ++j) unscaled_a(j, j) = T(0);
      }
      const Case<T> plain(uplo, shape.kd, unscaled_a);
      for (const int power : {exponent, -exponent + 16}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << shape.n << ", times 2^" << power);
        const R factor = std::ldexp(R(1), power);
        GuardedMatrix<T> A = plain.A;
        for (Int j = 1; j <= shape.n; ++j) {
          for (Int i = 1; i <= shape.n; ++i) {
            if (is_in_triangle(uplo, i, j)) A(i, j) = i == j ? T(std::real(A(i, j)) * factor) : A(i, j) * factor;
          }
        }
        const Form<T> form(uplo, shape.kd, A);
        const auto unscaled = [&](Solution<T> x) {
          for (Int i = 1; i <= x.m; ++i) x.w(i) /= factor;
          return x;
        };
        const Int last = shape.n - 1;
        const auto middle = R((plain.values[std::size_t(last - 1)] + plain.values[std::size_t(last)]) / 2) * factor;
        const R lowest = -2 * shape.n * factor;
        for (const char jobz : {'N', 'V'}) {
          for (Solution<T> x : {by_iteration(jobz, form, shape.n), by_division(jobz, form, shape.n),
                                by_selection(jobz, {}, form, shape.n),
                                by_selection(jobz, {.range = 'V', .vl = lowest, .vu = middle}, form, shape.n)}) {
            x = unscaled(x);
            if (jobz == 'V') plain.expect_pairs(x, 1, threshold_of_inverse_iteration);
            else plain.expect_values(x, 1);
          }
          EXPECT_EQ(by_selection(jobz, {.range = 'V', .vl = lowest, .vu = middle}, form, shape.n).m, last);
        }
      }
    }
  }
}

/// Each element of the triangle counts, imaginary ones beside the diagonal as real ones.
TYPED_TEST(StoredDrivers, ScaleAMatrixOfOneHugeElement) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 3;
  T huge(std::numeric_limits<R>::max() / 64);
  if constexpr (ComplexScalar<T>) huge = {0, std::real(huge)};
  for (const char uplo : uplos) {
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) {
        if (i == j || !is_in_triangle(uplo, i, j)) continue;
        SCOPED_TRACE(testing::Message() << uplo << ", element " << i << ' ' << j);
        GuardedMatrix<T> A(n, n, n);
        for (Int l = 1; l <= n; ++l) std::fill_n(&A(1, l), n, T(0));
        A(i, j) = huge;
        const Case<T> problem(uplo, n - 1, A);
        const Solution<T> x = by_selection('V', {.range = 'I', .il = 2, .iu = n}, problem.form, n);
        EXPECT_EQ(x.m, n - 1);
        problem.expect_pairs(x, 2, threshold_of_inverse_iteration);
      }
    }
  }
}

/// Zero is scaled by nothing.
TYPED_TEST(StoredDrivers, SolveForZero) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    GuardedMatrix<T> zero(5, 5, 5);
    for (Int j = 1; j <= 5; ++j) {
      for (Int i = 1; i <= 5; ++i) zero(i, j) = T(0);
    }
    const Form<T> A(uplo, 2, zero);
    for (const Solution<T>& x : {by_iteration('V', A, 5), by_division('V', A, 5), by_selection('V', {}, A, 5)}) {
      EXPECT_EQ(x.info, 0);
      EXPECT_LT(orthogonality(x.Z, 5), threshold);
      for (Int i = 1; i <= 5; ++i) EXPECT_EQ(x.w(i), 0);
    }
  }
}

TYPED_TEST(StoredDrivers, DoNothingToAnEmptyMatrix) {
  using T = TypeParam;
  const Form<T> A('U', 1, GuardedMatrix<T>(0, 0, 1));
  EXPECT_EQ(by_iteration('V', A, 1).info, 0);
  EXPECT_EQ(by_division('V', A, 1).info, 0);
  const Solution<T> x = by_selection('V', {.range = 'I', .il = 1, .iu = 0}, A, 1);
  EXPECT_EQ(x.info, 0);
  EXPECT_EQ(x.m, 0);
}

TYPED_TEST(StoredDrivers, EndWithNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const Int place : {1, 4}) {
      GuardedMatrix<T> A = random_band<T>(this->random, 'L', 6, 3);
      A(place, 1) = T(bad);
      const Form<T> form('L', 3, A);
      for (const char jobz : {'N', 'V'}) {
        EXPECT_GE(by_iteration(jobz, form, 6).info, 0);
        EXPECT_GE(by_division(jobz, form, 6).info, 0);
        EXPECT_GE(by_selection(jobz, {}, form, 6).info, 0);
        EXPECT_GE(by_selection(jobz, {.range = 'I', .il = 2, .iu = 3}, form, 6).info, 0);
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------ workspace, arguments

TYPED_TEST(StoredDrivers, TellTheLeastWorkspaces) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 9}) {
    for (const bool with_vectors : {false, true}) {
      Form<T> A('U', 1, random_band<T>(this->random, 'U', n, 1));
      const Workspaces<T> least = A.for_division(with_vectors);
      for (const int asked : {0, 1, 2}) {
        if (asked == 1 && RealScalar<T>) continue;
        Workspaces<T> room(1, 1, 1);
        Solution<T> x(n, std::max(1, n));
        const auto size = [&](int which) { return which == asked ? -1 : 1 + 100 * n * n; };
        A.divide(with_vectors ? 'V' : 'N', room, size(0), size(1), size(2), x);
        EXPECT_EQ(x.info, 0);
        EXPECT_EQ(room.work(1), T(Real<T>(least.work.size())));
        if (ComplexScalar<T>) {
          EXPECT_EQ(room.rwork(1), Real<T>(least.rwork.size()));
        }
        EXPECT_EQ(room.iwork(1), least.iwork.size());
        EXPECT_TRUE(x.w.unchanged());
        room.expect_guards();
      }
    }
  }
}

/// A call of one of the drivers for a matrix of order 3.
template <Scalar T>
struct DriverCall {
  char jobz = 'V', uplo = 'U';
  Int n = 3, kd = 1, ldab = 2, ldz = 3, ldq = 3;
  Wanted<Real<T>> wanted = {.range = 'I', .il = 1, .iu = 2};
  GuardedMatrix<T> ab{2, 3, 2}, Q{3, 3, 3};
  GuardedVector<T> ap{6};
  Workspaces<T> room{40, 60, 20};
  Int lwork = 40, lrwork = 60, liwork = 20;
  Solution<T> x{3, 3};

  DriverCall() {
    for (Int i = 1; i <= 6; ++i) ap(i) = T(Real<T>(i));
    for (Int j = 1; j <= 3; ++j) ab(1, j) = ab(2, j) = T(Real<T>(j));
    ap.seal();
    ab.seal();
  }
  bool unchanged() const {
    return ap.unchanged() && ab.unchanged() && Q.unchanged() && x.w.unchanged() && x.Z.unchanged();
  }
  Matrix<T> Z() { return {x.Z.data(), ldz}; }
  Matrix<T> band() { return {ab.data(), ldab}; }
};

constexpr bool is_packed = std::same_as<Form<float>, PackedForm<float>>;

template <Scalar T>
struct IterationCall : DriverCall<T> {
  Int run() {
    auto& x = this->x;
    T* const work = this->room.work.data();
    if constexpr (ComplexScalar<T>) {
      Real<T>* const rwork = this->room.rwork.data();
      if (is_packed) {
        routine_call::hpev(this->jobz, this->uplo, this->n, this->ap.data(), x.w.data(), this->Z(), work, rwork,
                           x.info);
      } else {
        routine_call::hbev(this->jobz, this->uplo, this->n, this->kd, this->band(), x.w.data(), this->Z(), work, rwork,
                           x.info);
      }
    } else if (is_packed) {
      routine_call::spev(this->jobz, this->uplo, this->n, this->ap.data(), x.w.data(), this->Z(), work, x.info);
    } else {
      routine_call::sbev(this->jobz, this->uplo, this->n, this->kd, this->band(), x.w.data(), this->Z(), work, x.info);
    }
    return x.info;
  }
};

template <Scalar T>
struct DivisionCall : DriverCall<T> {
  Int run() {
    auto& x = this->x;
    T* const work = this->room.work.data();
    Int* const iwork = this->room.iwork.data();
    if constexpr (ComplexScalar<T>) {
      Real<T>* const rwork = this->room.rwork.data();
      if (is_packed) {
        routine_call::hpevd(this->jobz, this->uplo, this->n, this->ap.data(), x.w.data(), this->Z(), work, this->lwork,
                            rwork, this->lrwork, iwork, this->liwork, x.info);
      } else {
        routine_call::hbevd(this->jobz, this->uplo, this->n, this->kd, this->band(), x.w.data(), this->Z(), work,
                            this->lwork, rwork, this->lrwork, iwork, this->liwork, x.info);
      }
    } else if (is_packed) {
      routine_call::spevd(this->jobz, this->uplo, this->n, this->ap.data(), x.w.data(), this->Z(), work, this->lwork,
                          iwork, this->liwork, x.info);
    } else {
      routine_call::sbevd(this->jobz, this->uplo, this->n, this->kd, this->band(), x.w.data(), this->Z(), work,
                          this->lwork, iwork, this->liwork, x.info);
    }
    return x.info;
  }
};

template <Scalar T>
struct SelectionCall : DriverCall<T> {
  Int run() {
    auto& x = this->x;
    T* const work = this->room.work.data();
    Int* const iwork = this->room.iwork.data();
    const auto& [range, vl, vu, il, iu, abstol] = this->wanted;
    const Matrix<T> Q{this->Q.data(), this->ldq};
    if constexpr (ComplexScalar<T>) {
      Real<T>* const rwork = this->room.rwork.data();
      if (is_packed) {
        routine_call::hpevx(this->jobz, range, this->uplo, this->n, this->ap.data(), vl, vu, il, iu, abstol, x.m,
                            x.w.data(), this->Z(), work, rwork, iwork, x.ifail.data(), x.info);
      } else {
        routine_call::hbevx(this->jobz, range, this->uplo, this->n, this->kd, this->band(), Q, vl, vu, il, iu, abstol,
                            x.m, x.w.data(), this->Z(), work, rwork, iwork, x.ifail.data(), x.info);
      }
    } else if (is_packed) {
      routine_call::spevx(this->jobz, range, this->uplo, this->n, this->ap.data(), vl, vu, il, iu, abstol, x.m,
                          x.w.data(), this->Z(), work, iwork, x.ifail.data(), x.info);
    } else {
      routine_call::sbevx(this->jobz, range, this->uplo, this->n, this->kd, this->band(), Q, vl, vu, il, iu, abstol,
                          x.m, x.w.data(), this->Z(), work, iwork, x.ifail.data(), x.info);
    }
    return x.info;
  }
};

/// Positions of arguments; those that one of the forms has not are zero there.
constexpr Int kd_at = 4, ldab_at = 6, ldz_at = is_packed ? 7 : 9, lwork_at = is_packed ? 9 : 11;
constexpr Int ldq_at = 9, vu_at = is_packed ? 7 : 11, selected_ldz_at = is_packed ? 14 : 18;

TYPED_TEST(StoredDrivers, ReportABadArgument) {
  using T = TypeParam;
  const auto name = [](const char* operation) { return reported_name<T>(std::string(Form<T>::name) + operation); };
  using Iteration = IterationCall<T>;
  expect_argument_checks<Iteration>(name("EV"), {{1, [](Iteration& c) { c.jobz = 'X'; }},
                                                 {2, [](Iteration& c) { c.uplo = 'X'; }},
                                                 {3, [](Iteration& c) { c.n = -1; }},
                                                 {ldz_at, [](Iteration& c) { c.ldz = 2; }}});
  using Division = DivisionCall<T>;
  expect_argument_checks<Division>(name("EVD"),
                                   {{1, [](Division& c) { c.jobz = 'X'; }},
                                    {2, [](Division& c) { c.uplo = 'X'; }},
                                    {3, [](Division& c) { c.n = -1; }},
                                    {ldz_at, [](Division& c) { c.ldz = 2; }},
                                    {lwork_at, [](Division& c) { c.lwork = 5; }},
                                    {lwork_at + (ComplexScalar<T> ? 4 : 2), [](Division& c) { c.liwork = 17; }}});
  using Selected = SelectionCall<T>;
  constexpr Int shift = is_packed ? 0 : 1;
  expect_argument_checks<Selected>(name("EVX"), {{1, [](Selected& c) { c.jobz = 'X'; }},
                                                 {2, [](Selected& c) { c.wanted.range = 'X'; }},
                                                 {3, [](Selected& c) { c.uplo = 'X'; }},
                                                 {4, [](Selected& c) { c.n = -1; }},
                                                 {vu_at + 1, [](Selected& c) { c.wanted.il = 0; }},
                                                 {vu_at + 2, [](Selected& c) { c.wanted.iu = 4; }},
                                                 {selected_ldz_at, [](Selected& c) { c.ldz = 2; }}});
  Selected by_value;
  by_value.wanted = {.range = 'V', .vl = 1, .vu = 1};
  expect_report(by_value, name("EVX"), vu_at);
  if constexpr (ComplexScalar<T>) {
    Division short_of_reals;
    short_of_reals.lrwork = 33;
    expect_report(short_of_reals, name("EVD"), lwork_at + 2);
  }
  if constexpr (!is_packed) {
    expect_argument_checks<Iteration>(name("EV"), {{kd_at, [](Iteration& c) { c.kd = -1; }},
                                                   {ldab_at, [](Iteration& c) { c.ldab = 1; }},
                                                   {ldz_at, [](Iteration& c) { c.ldz = 2; }}});
    expect_argument_checks<Division>(name("EVD"), {{kd_at, [](Division& c) { c.kd = -1; }},
                                                   {ldab_at, [](Division& c) { c.ldab = 1; }},
                                                   {ldz_at, [](Division& c) { c.ldz = 2; }}});
    expect_argument_checks<Selected>(name("EVX"), {{kd_at + shift, [](Selected& c) { c.kd = -1; }},
                                                   {ldab_at + shift, [](Selected& c) { c.ldab = 1; }},
                                                   {ldq_at, [](Selected& c) { c.ldq = 2; }},
                                                   {vu_at + 1, [](Selected& c) { c.wanted.il = 4; }}});
  }
}

/// Without vectors the leading dimension of the array for them may be one, but no less.
TYPED_TEST(StoredDrivers, WantAPlaceForVectorsOnlyWhereTheyAreAskedFor) {
  using T = TypeParam;
  IterationCall<T> call;
  call.jobz = 'N';
  call.ldz = 1;
  expect_report(call, "", 0);
  IterationCall<T> bad;
  bad.jobz = 'N';
  bad.ldz = 0;
  expect_report(bad, reported_name<T>(std::string(Form<T>::name) + "EV"), ldz_at);
  SelectionCall<T> selected;
  selected.jobz = 'N';
  selected.ldz = selected.ldq = 1;
  expect_report(selected, "", 0);
  const std::string name = reported_name<T>(std::string(Form<T>::name) + "EVX");
  SelectionCall<T> bad_selected;
  bad_selected.jobz = 'N';
  bad_selected.ldz = 0;
  expect_report(bad_selected, name, selected_ldz_at);
  if constexpr (!is_packed) {
    SelectionCall<T> empty;
    empty.n = empty.ldq = 0;
    expect_report(empty, name, ldq_at);
  }
}

}  // namespace
}  // namespace nuv::test
