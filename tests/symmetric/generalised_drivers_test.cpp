// The drivers for pairs of matrices in full, packed or band storage, by whose name NUV_TEST_FORM goes: ?sygv, ?sygvd,
// ?sygvx, ?hegv, ?hegvd, ?hegvx; ?spgv ... ?hpgvx; ?sbgv ... ?hbgvx.

#include "symmetric/generalised_forms.hpp"

#include <cctype>
#include <limits>

#include "support/argument_checks.hpp"
#include "support/wide_spectrum.hpp"
#include "symmetric/eigen_checks.hpp"

namespace nuv::test {
namespace {

/// Inverse iteration is allowed more.
constexpr double threshold = 10, threshold_of_inverse_iteration = 30;

/// The rotations of bands and those of the iteration: each column goes through some 8 n of them, whose errors add up
/// like steps at random.
double threshold_of_rotations(Int n) {
  return std::max(threshold, std::sqrt(8.0 * n));
}

constexpr Method methods[] = {Method::iteration, Method::division, Method::selection};

template <Scalar T>
using Form = NUV_TEST_FORM<T>;

/// Band storage knows one type.
std::vector<Int> types() {
  return Form<float>::has_types ? std::vector<Int>{1, 2, 3} : std::vector<Int>{1};
}

struct Shape {
  Int n, ka, kb;
};

/// Full and packed matrices are as full as this says.
constexpr Shape shapes[] = {{1, 0, 0}, {1, 2, 1}, {2, 1, 1},  {2, 1, 0},   {3, 2, 2},
                            {9, 3, 0}, {9, 2, 2}, {9, 10, 9}, {34, 33, 5}, {70, 5, 4}};

/// A pair with what is known of it.
template <Scalar T>
struct Case {
  PairOfMatrices<T> pair;
  WideMatrix<T> A, B;

  Case(Random& random, Int itype, char uplo, const Shape& shape)
      : Case({itype, uplo, shape.ka, shape.kb, random_band<T>(random, uplo, shape.n, shape.ka),
              random_definite_band<T>(random, uplo, shape.n, shape.kb)}) {}
  explicit Case(const PairOfMatrices<T>& pair_)
      : pair(pair_), A(wide_hermitian(pair.A, is_upper(pair.uplo))), B(wide_hermitian(pair.B, is_upper(pair.uplo))) {}

  Form<T> form() const { return Form<T>(pair); }

  double residual(const Solution<T>& x) const {
    if (pair.itype == 1) return generalised_residual(A, B, x.Z, x.w, x.m);
    return eigen_residual<T>(pair.itype == 2 ? product<T>(A, B) : product<T>(B, A), x.Z, x.w, x.m);
  }

  double orthogonality(const Solution<T>& x) const {
    return orthogonality_in<T>(pair.itype == 3 ? inverse<T>(B) : B, x.Z, x.m);
  }

  void expect_pairs(const Solution<T>& x, double limit) const {
    EXPECT_EQ(x.info, 0);
    EXPECT_LT(residual(x), limit);
    EXPECT_LT(orthogonality(x), limit);
    for (Int i = 1; i < x.m; ++i) EXPECT_LE(x.w(i), x.w(i + 1));
  }
};

template <Scalar T>
std::vector<WideReal<T>> values_of(const Solution<T>& x) {
  return {x.w.data(), x.w.data() + x.m};
}

template <class T>
class GeneralisedDrivers : public ReportingTest {
 protected:
  template <class Visit>
  void for_each_case(Visit visit) {
    for (const Shape& shape : shapes) {
      for (const char uplo : uplos) {
        for (const Int itype : types()) {
          SCOPED_TRACE(testing::Message() << uplo << ", type " << itype << ", order " << shape.n << ", " << shape.ka
                                          << " and " << shape.kb << " diagonals");
          visit(Case<T>(random, itype, uplo, shape));
        }
      }
    }
  }

  Random random{71};
};
TYPED_TEST_SUITE(GeneralisedDrivers, Precisions, PrecisionLetter);

TYPED_TEST(GeneralisedDrivers, FindAllPairs) {
  using T = TypeParam;
  this->for_each_case([&](const Case<T>& problem) {
    const Form<T> form = problem.form();
    for (const Method method : methods) {
      const Solution<T> x = solve(method, 'V', form);
      problem.expect_pairs(x, threshold_of_rotations(form.n));
      EXPECT_EQ(x.m, form.n);
      if (method == Method::selection) {
        for (Int i = 1; i <= form.n; ++i) EXPECT_EQ(x.ifail(i), 0);
      }
      const Solution<T> alone = solve(method, 'N', form);
      EXPECT_EQ(alone.info, 0);
      EXPECT_EQ(alone.m, form.n);
      EXPECT_LT(value_error(alone.w, form.n, values_of(x)), threshold);
      EXPECT_TRUE(alone.Z.unchanged());
    }
  });
}

/// Triangles and jobs by small letters.
TYPED_TEST(GeneralisedDrivers, DoNotMindTheCaseOfLetters) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    const Case<T> problem(this->random, 1, uplo, {9, 3, 2});
    Form<T> form = problem.form(), by_small_letter = form;
    by_small_letter.uplo = char(std::tolower(uplo));
    for (const Method method : methods) {
      const Solution<T> x = solve(method, 'V', form), y = solve(method, 'v', by_small_letter, {.range = 'a'});
      EXPECT_TRUE(x.w.same_as(y.w));
      EXPECT_TRUE(x.Z.same_as(y.Z));
    }
  }
}

/// All by index, by value, and by bisection.
TYPED_TEST(GeneralisedDrivers, SelectAllInOtherWords) {
  using T = TypeParam;
  using R = Real<T>;
  this->for_each_case([&](const Case<T>& problem) {
    const Form<T> form = problem.form();
    const R huge = std::sqrt(std::numeric_limits<R>::max());
    for (const Wanted<R>& wanted :
         {Wanted<R>{.range = 'I', .il = 1, .iu = form.n}, Wanted<R>{.abstol = std::numeric_limits<R>::min() * 2},
          Wanted<R>{.range = 'V', .vl = -huge, .vu = huge}}) {
      const Solution<T> x = solve(Method::selection, 'V', form, wanted);
      EXPECT_EQ(x.m, form.n);
      problem.expect_pairs(x, threshold_of_inverse_iteration);
    }
  });
}

TYPED_TEST(GeneralisedDrivers, SelectSome) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Shape& shape : {Shape{9, 3, 3}, {34, 5, 2}}) {
    for (const char uplo : uplos) {
      for (const Int itype : types()) {
        const Case<T> problem(this->random, itype, uplo, shape);
        const Form<T> form = problem.form();
        const auto all = values_of(solve(Method::iteration, 'N', form));
        const auto between = [&](Int k) { return R((all[std::size_t(k - 1)] + all[std::size_t(k)]) / 2); };
        for (const auto& [first, last] : {std::pair<Int, Int>{2, 2}, {3, 7}, {shape.n - 3, shape.n - 1}}) {
          SCOPED_TRACE(testing::Message() << uplo << ", type " << itype << ", from " << first << " to " << last);
          for (const Wanted<R>& wanted : {Wanted<R>{.range = 'i', .il = first, .iu = last},
                                          Wanted<R>{.range = 'v', .vl = between(first - 1), .vu = between(last)}}) {
            const Solution<T> x = solve(Method::selection, 'V', form, wanted);
            ASSERT_EQ(x.m, last - first + 1);
            problem.expect_pairs(x, threshold_of_inverse_iteration);
            EXPECT_LT(value_error(x.w, x.m, all, first), threshold);
            EXPECT_TRUE(x.Z.unchanged_except([&, m = x.m](Int, Int j) { return j <= m; }));
            const Solution<T> alone = solve(Method::selection, 'N', form, wanted);
            EXPECT_EQ(alone.m, x.m);
            EXPECT_LT(value_error(alone.w, x.m, all, first), threshold);
          }
        }
        const R above = 3 * std::abs(R(all.back())) + 1;
        const Solution<T> none = solve(Method::selection, 'V', form, {.range = 'V', .vl = above, .vu = 2 * above});
        EXPECT_EQ(none.info, 0);
        EXPECT_EQ(none.m, 0);
      }
    }
  }
}

/// The interval of values is open on the left.
TYPED_TEST(GeneralisedDrivers, SelectTheOnlyEigenvalue) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A(1, 1, 1), B(1, 1, 1);
  A(1, 1) = T(12);
  B(1, 1) = T(4);
  for (const char uplo : uplos) {
    for (const Int itype : types()) {
      const Form<T> form(PairOfMatrices<T>{itype, uplo, 0, 0, A, B});
      const R value = itype == 1 ? 3 : 48, element = itype == 3 ? R(2) : R(0.5);
      const auto count = [&](R vl, R vu) {
        const Solution<T> x = solve(Method::selection, 'V', form, {.range = 'V', .vl = vl, .vu = vu});
        EXPECT_EQ(x.info, 0);
        return x.m;
      };
      EXPECT_EQ(count(value - 1, value), 1);
      EXPECT_EQ(count(value - 1, value + 1), 1);
      EXPECT_EQ(count(value, value + 1), 0);
      EXPECT_EQ(count(-value, value - 1), 0);
      for (const Method method : methods) {
        const Solution<T> x = solve(method, 'V', form);
        EXPECT_EQ(x.w(1), value);
        EXPECT_EQ(x.Z(1, 1), T(element));
      }
    }
  }
}

/// With B = I a pair is a matrix.
TYPED_TEST(GeneralisedDrivers, AgreeWithTheEigenvaluesOfOneMatrix) {
  using T = TypeParam;
  const Int n = 20;
  for (const char uplo : uplos) {
    for (const Int itype : types()) {
      GuardedMatrix<T> I(n, n, n);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) I(i, j) = T(Real<T>(i == j));
      }
      I.seal();
      const Case<T> problem(PairOfMatrices<T>{itype, uplo, 4, 2, random_band<T>(this->random, uplo, n, 4), I});
      const WideVector<T> exact = wide_eigenvalues<T>(problem.A);
      for (const Method method : methods) {
        const Solution<T> x = solve(method, 'V', problem.form());
        EXPECT_LT(value_error(x.w, n, std::vector(exact.begin(), exact.end())), threshold);
        EXPECT_LT(eigen_residual(problem.A, x.Z, x.w, n), threshold);
        EXPECT_LT(orthogonality(x.Z, n), threshold);
      }
    }
  }
}

TYPED_TEST(GeneralisedDrivers, LeaveAAloneIfBIsNotPositiveDefinite) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 9;
  for (const char uplo : uplos) {
    for (const Int itype : types()) {
      for (const Int k : {1, 2, 5, 6, 9}) {
        for (const R bad : {R(-1), std::numeric_limits<R>::quiet_NaN()}) {
          Case<T> problem(this->random, itype, uplo, {n, 3, 2});
          problem.pair.B(k, k) = T(bad);
          for (const Method method : methods) {
            const Solution<T> x = solve(method, 'V', problem.form());
            EXPECT_EQ(x.info, n + k);
            EXPECT_TRUE(x.Z.unchanged());
            if (method == Method::selection) {
              EXPECT_EQ(x.m, 0);
            }
          }
        }
      }
    }
  }
}

TYPED_TEST(GeneralisedDrivers, DoNothingToAnEmptyPair) {
  using T = TypeParam;
  const Form<T> form(PairOfMatrices<T>{1, 'U', 1, 1, GuardedMatrix<T>(0, 0, 1), GuardedMatrix<T>(0, 0, 1)});
  for (const Method method : methods) EXPECT_EQ(solve(method, 'V', form).info, 0);
  const Solution<T> x = solve(Method::selection, 'V', form, {.range = 'I', .il = 1, .iu = 0});
  EXPECT_EQ(x.info, 0);
  EXPECT_EQ(x.m, 0);
}

TYPED_TEST(GeneralisedDrivers, EndWithNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const Int place : {1, 4}) {
      for (const bool in_a : {false, true}) {
        Case<T> problem(this->random, 1, 'L', {6, 3, 3});
        (in_a ? problem.pair.A : problem.pair.B)(place, 1) = T(bad);
        for (const Method method : methods) {
          for (const char jobz : {'N', 'V'}) EXPECT_GE(solve(method, jobz, problem.form()).info, 0);
        }
        const Wanted<R> some = {.range = 'I', .il = 2, .iu = 3};
        EXPECT_GE(solve(Method::selection, 'V', problem.form(), some).info, 0);
      }
    }
  }
}

/// Where QL and QR iteration fails, the vectors before the failure become those of the pair, and the others stay. Those
/// of bands have what takes them there in them from the beginning, and so have all of them.
TYPED_TEST(GeneralisedDrivers, TransformVectorsBeforeAFailure) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr bool of_bands = !Form<T>::has_types;
  const Int n = 6;
  for (const char uplo : uplos) {
    GuardedMatrix<T> A(n, n, n), B(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = B(i, j) = T(0);
      A(j, j) = T(j == n ? std::numeric_limits<R>::quiet_NaN() : R(j));
      B(j, j) = T(4);
    }
    A(4, 5) = A(5, 4) = A(5, 6) = A(6, 5) = T(1);
    A.seal();
    B.seal();
    const Solution<T> x = solve(Method::iteration, 'V', Form<T>(PairOfMatrices<T>{1, uplo, 1, 0, A, B}));
    EXPECT_EQ(x.info, 2);
    EXPECT_EQ(x.Z(1, 1), T(R(0.5)));
    for (const Int k : {2, 3}) EXPECT_EQ(x.Z(k, k), T(of_bands ? R(0.5) : R(1)));
  }
}

// ------------------------------------------------------------------------------------------------ workspace, arguments

TYPED_TEST(GeneralisedDrivers, TellTheWorkspacesOfDivideAndConquer) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 9, 40}) {
    for (const bool with_vectors : {false, true}) {
      Form<T> form = Case<T>(this->random, 1, 'U', {n, 1, 1}).form();
      const Workspaces<T> least = form.for_division(with_vectors);
      for (const int asked : {0, 1, 2}) {
        if (asked == 1 && RealScalar<T>) continue;
        Workspaces<T> room(1, 1, 1);
        Solution<T> x(n, std::max(1, n));
        Lengths<T> lengths(room);
        lengths.work = lengths.rwork = lengths.iwork = 1 + 100 * n * n;
        (asked == 0 ? lengths.work : asked == 1 ? lengths.rwork : lengths.iwork) = -1;
        form.divide(with_vectors ? 'V' : 'N', room, lengths, x);
        EXPECT_EQ(x.info, 0);
        EXPECT_GE(std::real(room.work(1)), Real<T>(least.work.size()));
        // What full matrices can make use of beyond that is the workspace of their reduction, and of products with Q.
        if (!Form<T>::asks_for_more || n <= 1) {
          EXPECT_EQ(room.work(1), T(Real<T>(least.work.size())));
        }
        if (ComplexScalar<T>) {
          EXPECT_EQ(room.rwork(1), Real<T>(least.rwork.size()));
        }
        EXPECT_EQ(room.iwork(1), least.iwork.size());
        EXPECT_TRUE(form.a_unchanged());
        EXPECT_TRUE(x.w.unchanged());
        room.expect_guards();
      }
    }
  }
}

TYPED_TEST(GeneralisedDrivers, TellTheWorkspacesOfTheirReduction) {
  using T = TypeParam;
  if constexpr (Form<T>::takes_length) {
    constexpr Int lines = ComplexScalar<T> ? 1 : 2;
    const std::string reduction = reported_name<T>(ComplexScalar<T> ? "HETRD" : "SYTRD");
    for (const Int n : {0, 1, 9, 100}) {
      const Int block = routine_call::ilaenv(1, {reduction.data(), 6}, "U", n, -1, -1, -1);
      Form<T> form = Case<T>(this->random, 1, 'U', {n, n, n}).form();
      const auto answer = [&](Method method, Int lwork) {
        Workspaces<T> room(std::max(1, lwork), 0, 0);
        Solution<T> x(n, std::max(1, n));
        if (method == Method::iteration) form.iterate('N', room, -1, x);
        else form.select('N', {}, room, -1, x);
        EXPECT_EQ(x.info, 0);
        EXPECT_TRUE(form.a_unchanged());
        room.expect_guards();
        return Int(std::real(room.work(1)));
      };
      EXPECT_EQ(answer(Method::iteration, 1), std::max(1, (block + lines) * n));
      EXPECT_EQ(answer(Method::selection, 1), std::max(1, (block + (ComplexScalar<T> ? 1 : 3)) * n));
    }
  }
}

/// Divide and conquer has what it wants for one matrix.
TYPED_TEST(GeneralisedDrivers, AskForWhatOneMatrixTakes) {
  using T = TypeParam;
  if constexpr (Form<T>::asks_for_more) {
    const Int n = 60;
    for (const char jobz : {'N', 'V'}) {
      Form<T> form = Case<T>(this->random, 1, 'L', {n, 1, 1}).form();
      Workspaces<T> room(1, 1, 1), alone(1, 1, 1);
      Solution<T> x(n, n);
      Lengths<T> lengths(room);
      lengths.work = -1;
      form.divide(jobz, room, lengths, x);
      if constexpr (ComplexScalar<T>) {
        routine_call::heevd(jobz, 'L', n, form.A, x.w.data(), alone.work.data(), -1, alone.rwork.data(), -1,
                            alone.iwork.data(), -1, x.info);
      } else {
        routine_call::syevd(jobz, 'L', n, form.A, x.w.data(), alone.work.data(), -1, alone.iwork.data(), -1, x.info);
      }
      EXPECT_EQ(room.work(1), alone.work(1));
    }
  }
}

/// In the end it is their own workspace that is told, which for order one is not that of the driver for one matrix.
TYPED_TEST(GeneralisedDrivers, TellTheirWorkspacesInTheEnd) {
  using T = TypeParam;
  if constexpr (Form<T>::takes_length) {
    GuardedMatrix<T> A(1, 1, 1), B(1, 1, 1);
    A(1, 1) = T(12);
    B(1, 1) = T(4);
    const Form<T> form(PairOfMatrices<T>{1, 'U', 0, 0, A, B});
    const auto told = [&](Method method, Int lwork) {
      Form<T> pair = form;
      Workspaces<T> room(8, 7, 5);
      Solution<T> x(1, 1);
      if (method == Method::iteration) pair.iterate('V', room, lwork, x);
      else pair.select('V', {}, room, lwork, x);
      EXPECT_EQ(x.info, 0);
      return room.work(1);
    };
    for (const Method method : {Method::iteration, Method::selection}) EXPECT_EQ(told(method, 8), told(method, -1));

    // Nor is it that of the reduction, where that takes more.
    const Case<T> problem(this->random, 1, 'U', {5, 4, 4});
    Form<T> pair = problem.form();
    Workspaces<T> room = pair.for_division(true);
    Solution<T> x(5, 5);
    pair.divide('V', room, Lengths<T>(room), x);
    const T in_the_end = room.work(1);
    Lengths<T> question(room);
    question.work = -1;
    pair.divide('V', room, question, x);
    EXPECT_EQ(in_the_end, room.work(1));
  }
}

/// A call of one of the drivers, by any method, for a pair of order 3.
template <Scalar T>
struct DriverCall {
  Method method;
  Form<T> form{PairOfMatrices<T>{1, 'U', 1, 1, GuardedMatrix<T>(3, 3, 3), GuardedMatrix<T>(3, 3, 3)}};
  char jobz = 'V';
  Wanted<Real<T>> wanted = {.range = 'I', .il = 1, .iu = 2};
  Workspaces<T> room{80, 60, 20};
  Lengths<T> lengths{room};
  Solution<T> x{3, 3};

  explicit DriverCall(Method method_) : method(method_) {}

  Int run() {
    if (method == Method::iteration) form.iterate(jobz, room, lengths.work, x);
    if (method == Method::division) form.divide(jobz, room, lengths, x);
    if (method == Method::selection) form.select(jobz, wanted, room, lengths.work, x);
    return x.info > 3 ? 0 : x.info;  // these matrices hold guards, which are no definite ones
  }
  bool unchanged() const { return form.a_unchanged() && x.w.unchanged() && x.Z.unchanged(); }
};

template <Scalar T>
struct IterationCall : DriverCall<T> {
  IterationCall() : DriverCall<T>(Method::iteration) {}
};
template <Scalar T>
struct DivisionCall : DriverCall<T> {
  DivisionCall() : DriverCall<T>(Method::division) {}
};
template <Scalar T>
struct SelectionCall : DriverCall<T> {
  SelectionCall() : DriverCall<T>(Method::selection) {}
};

template <class Call>
using Spoilers = std::vector<Spoiler<Call>>;

/// The arguments that all drivers of a storage have, by their positions where nothing stands behind jobz but uplo.
template <class Call>
Spoilers<Call> spoilers_of_pair() {
  if constexpr (requires(Call c) { c.form.lda; }) {
    return {{1, [](Call& c) { c.form.itype = 0; }}, {1, [](Call& c) { c.form.itype = 4; }},
            {2, [](Call& c) { c.jobz = 'X'; }},     {3, [](Call& c) { c.form.uplo = 'X'; }},
            {4, [](Call& c) { c.form.n = -1; }},    {6, [](Call& c) { c.form.lda = 2; }},
            {8, [](Call& c) { c.form.ldb = 2; }}};
  } else if constexpr (requires(Call c) { c.form.ap; }) {
    return {{1, [](Call& c) { c.form.itype = 0; }},
            {1, [](Call& c) { c.form.itype = 4; }},
            {2, [](Call& c) { c.jobz = 'X'; }},
            {3, [](Call& c) { c.form.uplo = 'X'; }},
            {4, [](Call& c) { c.form.n = -1; }}};
  } else {
    return {{1, [](Call& c) { c.jobz = 'X'; }},    {2, [](Call& c) { c.form.uplo = 'X'; }},
            {3, [](Call& c) { c.form.n = -1; }},   {4, [](Call& c) { c.form.ka = -1; }},
            {5, [](Call& c) { c.form.kb = -1; }},  {5, [](Call& c) { c.form.kb = 2, c.form.ldbb = 3; }},
            {7, [](Call& c) { c.form.ldab = 1; }}, {9, [](Call& c) { c.form.ldbb = 1; }}};
  }
}

template <class Call>
void expect_checks(const std::string& name, const Spoilers<Call>& spoilers) {
  for (const auto& one : spoilers) {
    for (const auto& other : spoilers) {
      SCOPED_TRACE(testing::Message() << name << ", " << one.position << " and " << other.position);
      Call call;
      one.spoil(call);
      other.spoil(call);
      expect_report(call, name, std::min(one.position, other.position));
    }
  }
  Call good;
  expect_report(good, name, 0);
}

constexpr bool is_full = std::same_as<Form<float>, FullPairForm<float>>,
               is_band = std::same_as<Form<float>, BandPairForm<float>>;

TYPED_TEST(GeneralisedDrivers, ReportBadArguments) {
  using T = TypeParam;
  const auto name = [](const char* ending) { return reported_name<T>(std::string(Form<T>::name) + ending); };
  constexpr Int complex = ComplexScalar<T> ? 1 : 0;

  Spoilers<IterationCall<T>> of_iteration = spoilers_of_pair<IterationCall<T>>();
  if (is_full) {
    of_iteration.push_back({11, [](auto& c) { c.lengths.work = ComplexScalar<T> ? 4 : 7; }});
  } else {
    of_iteration.push_back({is_band ? 12 : 9, [](auto& c) { c.form.ldz = 2; }});
    of_iteration.push_back({is_band ? 12 : 9, [](auto& c) { c.form.ldz = -1; }});
  }
  expect_checks(name(""), of_iteration);

  Spoilers<DivisionCall<T>> of_division = spoilers_of_pair<DivisionCall<T>>();
  if (!is_full) of_division.push_back({is_band ? 12 : 9, [](auto& c) { c.form.ldz = 2; }});
  const Int at = is_band ? 14 : 11;
  of_division.push_back({at, [](auto& c) { c.lengths.work = c.form.for_division(true).work.size() - 1; }});
  if (complex == 1) {
    of_division.push_back({at + 2, [](auto& c) { c.lengths.rwork = c.form.for_division(true).rwork.size() - 1; }});
  }
  of_division.push_back(
      {at + 2 + 2 * complex, [](auto& c) { c.lengths.iwork = c.form.for_division(true).iwork.size() - 1; }});
  expect_checks(name("D"), of_division);

  Spoilers<SelectionCall<T>> of_selection = spoilers_of_pair<SelectionCall<T>>();
  const Int jobz_at = is_band ? 1 : 2;
  for (auto& spoiler : of_selection) {
    if (spoiler.position > jobz_at) ++spoiler.position;
  }
  of_selection.push_back({jobz_at + 1, [](auto& c) { c.wanted.range = 'X'; }});
  const Int vu_at = is_full ? 11 : is_band ? 14 : 9;
  of_selection.push_back({vu_at, [](auto& c) { c.wanted.range = c.wanted.range == 'X' ? 'X' : 'V'; }});
  of_selection.push_back({vu_at + 1, [](auto& c) { c.wanted.il = 0; }});
  of_selection.push_back({vu_at + 1, [](auto& c) { c.wanted.il = 4; }});
  of_selection.push_back({vu_at + 2, [](auto& c) { c.wanted.iu = 4; }});
  of_selection.push_back({vu_at + 2, [](auto& c) { c.wanted.iu = 0; }});
  of_selection.push_back({vu_at + 7, [](auto& c) { c.form.ldz = 2; }});
  if (is_full) of_selection.push_back({20, [](auto& c) { c.lengths.work = ComplexScalar<T> ? 5 : 23; }});
  if constexpr (is_band) of_selection.push_back({12, [](auto& c) { c.form.ldq = 2; }});
  expect_checks(name("X"), of_selection);
}

/// Matrices and workspaces have at least one element, even for order zero or where they are not used.
TYPED_TEST(GeneralisedDrivers, WantOneOfEverything) {
  using T = TypeParam;
  if constexpr (is_full) {
    const auto expect = [](auto call, const char* ending, int position, auto spoil) {
      call.form.n = 0;
      call.wanted.range = 'A';
      spoil(call);
      expect_report(call, reported_name<T>(std::string(Form<T>::name) + ending), position);
    };
    const auto no_a = [](auto& c) { c.form.lda = 0; };
    const auto no_b = [](auto& c) { c.form.ldb = 0; };
    const auto no_work = [](auto& c) { c.lengths.work = 0; };
    expect(IterationCall<T>(), "", 6, no_a);
    expect(IterationCall<T>(), "", 8, no_b);
    expect(IterationCall<T>(), "", 11, no_work);
    expect(DivisionCall<T>(), "D", 11, no_work);
    expect(SelectionCall<T>(), "X", 7, no_a);
    expect(SelectionCall<T>(), "X", 9, no_b);
    expect(SelectionCall<T>(), "X", 20, no_work);
  } else {
    const auto expect = [](auto call, const char* ending, int position) {
      call.jobz = 'N';
      call.form.ldz = 1;
      expect_report(call, "", 0);
      call.form.ldz = 0;
      expect_report(call, reported_name<T>(std::string(Form<T>::name) + ending), position);
    };
    expect(IterationCall<T>(), "", is_band ? 12 : 9);
    expect(DivisionCall<T>(), "D", is_band ? 12 : 9);
    expect(SelectionCall<T>(), "X", is_band ? 21 : 16);
  }
}

}  // namespace
}  // namespace nuv::test
