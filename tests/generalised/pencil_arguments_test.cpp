// The checks that the drivers for pencils make of their arguments, and what they answer about workspaces.

#include "generalised/pencil_calls.hpp"
#include "layer.hpp"
#include "nonsymmetric/driver_arguments.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

template <class T>
class PencilArguments : public ReportingTest {};
TYPED_TEST_SUITE(PencilArguments, Precisions, PrecisionLetter);

template <Scalar T>
Pencil<T> pencil_of_order_five() {
  Random random(5);
  return random_pencil<T>(random, 5, 6);
}

constexpr auto in_left_half = [](const PencilValue& value) { return value.alpha.real() < 0; };

/// With all that there is to ask for.
template <Scalar T>
PencilEigenCall<T> full_call(const PencilEigenCall<T>*) {
  PencilEigenCall<T> call('V', 'V', pencil_of_order_five<T>());
  call.sense = 'B';
  return call;
}

template <Scalar T>
PencilSchurCall<T> full_call(const PencilSchurCall<T>*) {
  return {pencil_selector<T>(in_left_half), pencil_of_order_five<T>(), 'B'};
}

template <class Driver>
struct ValidCall : DriverCall<Driver> {
  ValidCall() : DriverCall<Driver>(full_call(static_cast<const typename Driver::Call*>(nullptr))) {}
};

/// The checks of a driver with the letters for vectors in front, at these positions.
template <class Driver, Scalar T>
void expect_common_checks(const std::string& name, int n, int ldvl, int lwork) {
  using C = ValidCall<Driver>;
  const int left = behind_values<T>(ldvl);
  expect_argument_checks<C>(name, {{1, [](C& c) { c.job_left = 'X'; }},
                                   {2, [](C& c) { c.job_right = 'X'; }},
                                   {n, [](C& c) { c.n = -1; }},
                                   {n + 2, [](C& c) { c.lda = 4; }},
                                   {n + 4, [](C& c) { c.ldb = 4; }},
                                   {left, [](C& c) { c.ldvl = 4; }},
                                   {left + 2, [](C& c) { c.ldvr = 4; }},
                                   {behind_values<T>(lwork), [](C& c) { c.lwork = 0; }}});
  for (const char job_left : {'N', 'V'}) {
    for (const char job_right : {'N', 'V'}) {
      const typename Driver::Call call(job_left, job_right, pencil_of_order_five<T>());
      expect_least_lwork<Driver>(name, call, behind_values<T>(lwork));
    }
  }
  // Where no vectors are wanted a leading dimension of one will do, and no less.
  C without;
  without.job_left = without.job_right = 'N';
  without.ldvl = without.ldvr = 1;
  expect_report(without, "", 0);
  without = {};
  without.job_left = 'N';
  without.ldvl = 0;
  expect_report(without, name, left);
  without = {};
  without.job_right = 'N';
  without.ldvr = 0;
  expect_report(without, name, left + 2);
}

TYPED_TEST(PencilArguments, OfGgev) {
  using T = TypeParam;
  expect_common_checks<Ggev<T>, T>(reported_name<T>("GGEV"), 3, 12, 16);
}

TYPED_TEST(PencilArguments, OfGegv) {
  using T = TypeParam;
  expect_common_checks<Gegv<T>, T>(reported_name<T>("GEGV"), 3, 12, 16);
}

TYPED_TEST(PencilArguments, OfGegs) {
  using T = TypeParam;
  expect_common_checks<Gegs<T>, T>(reported_name<T>("GEGS"), 3, 12, 16);
}

TYPED_TEST(PencilArguments, OfGges) {
  using T = TypeParam;
  using C = ValidCall<Gges<T>>;
  const std::string name = reported_name<T>("GGES");
  expect_common_checks<Gges<T>, T>(name, 5, 15, 19);
  expect_argument_checks<C>(name, {{1, [](C& c) { c.job_left = 'X'; }},
                                   {2, [](C& c) { c.job_right = 'X'; }},
                                   {3, [](C& c) { c.sort = 'X'; }},
                                   {5, [](C& c) { c.n = -1; }}});
}

TYPED_TEST(PencilArguments, OfGgesx) {
  using T = TypeParam;
  using C = ValidCall<Ggesx<T>>;
  const std::string name = reported_name<T>("GGESX");
  expect_common_checks<Ggesx<T>, T>(name, 6, 16, 22);
  expect_argument_checks<C>(name, {{2, [](C& c) { c.job_right = 'X'; }},
                                   {3, [](C& c) { c.sort = 'X'; }},
                                   {5, [](C& c) { c.sense = 'X'; }},
                                   {6, [](C& c) { c.n = -1; }},
                                   {behind_values<T>(22), [](C& c) { c.lwork = 0; }},
                                   {24, [](C& c) { c.liwork = 5 + (RealScalar<T> ? 6 : 2) - 1; }}});
  for (const char sense : {'E', 'V', 'B'}) {
    C unsorted;
    unsorted.sort = 'N';
    unsorted.sense = sense;
    expect_report(unsorted, name, 5);
  }
  // Either length asks for both sizes.
  C question;
  question.liwork = -1;
  expect_report(question, "", 0);
  EXPECT_TRUE(question.unchanged());
  EXPECT_EQ(question.iwork(1), 5 + (RealScalar<T> ? 6 : 2));
  C no_integers;
  no_integers.sense = 'N';
  no_integers.liwork = 0;
  expect_report(no_integers, name, 24);
}

TYPED_TEST(PencilArguments, OfGgevx) {
  using T = TypeParam;
  using C = ValidCall<Ggevx<T>>;
  const std::string name = reported_name<T>("GGEVX");
  constexpr int ldvl = behind_values<T>(14), ldvr = behind_values<T>(16), lwork = behind_values<T>(26);
  expect_argument_checks<C>(name, {{1, [](C& c) { c.balanc = 'X'; }},
                                   {2, [](C& c) { c.job_left = 'X'; }},
                                   {3, [](C& c) { c.job_right = 'X'; }},
                                   {4, [](C& c) { c.sense = 'X'; }},
                                   {5, [](C& c) { c.n = -1; }},
                                   {7, [](C& c) { c.lda = 4; }},
                                   {9, [](C& c) { c.ldb = 4; }},
                                   {ldvl, [](C& c) { c.ldvl = 4; }},
                                   {ldvr, [](C& c) { c.ldvr = 4; }},
                                   {lwork, [](C& c) { c.lwork = 0; }}});
  for (const char balanc : {'N', 'P', 'S', 'B'}) {
    for (const char left : {'N', 'V'}) {
      for (const char right : {'N', 'V'}) {
        for (const char sense : {'N', 'E', 'V', 'B'}) {
          SCOPED_TRACE(testing::Message() << balanc << left << right << sense);
          PencilEigenCall<T> call(left, right, pencil_of_order_five<T>());
          call.balanc = balanc;
          call.sense = sense;
          expect_least_lwork<Ggevx<T>>(name, call, lwork);
        }
      }
    }
  }
}

/// Enough for the driver, too little for the number of eigenvalues that are selected: the routine that moves them says
/// so, and the forms are as they were before.
TYPED_TEST(PencilArguments, GgesxTellsOfTooLittleRoomForConditionNumbers) {
  using T = TypeParam;
  using C = PencilSchurCall<T>;
  const Int n = 20;
  Random random(6);
  const Pencil<T> pencil = random_pencil<T>(random, n, n);
  const C call(pencil_selector<T>(in_left_half), pencil, 'B');
  const C full = solve<Ggesx<T>>(call);
  ASSERT_EQ(full.info, 0);
  const Int m = full.sdim, needed = (RealScalar<T> ? 2 * n : 0) + 2 * m * (n - m);
  ASSERT_TRUE(m > 5 && m < n - 5);
  const auto with_room = [&](Int lwork) {
    C made = call;
    made.make_room({lwork, 8 * n, n + 6});
    Ggesx<T>::run(made);
    EXPECT_TRUE(made.guards_unchanged());
    return made;
  };
  const C enough = with_room(needed);
  EXPECT_EQ(enough.info, 0);
  EXPECT_TRUE(enough.rcondv.same_as(full.rcondv));
  const C too_little = with_room(needed - 1);
  EXPECT_EQ(too_little.info, -behind_values<T>(22));
  EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>("TGSEN"), behind_values<T>(22)}}));
  const C unsorted = solve<Ggesx<T>>(C('V', 'V', pencil));
  Pencil<T> large = pencil;
  scale_by_power(large.A, std::numeric_limits<Real<T>>::max_exponent - 10);
  C scaled(pencil_selector<T>(in_left_half), large, 'B');
  scaled.make_room({needed - 1, 8 * n, n + 6});
  Ggesx<T>::run(scaled);
  EXPECT_EQ(scaled.info, -behind_values<T>(22));
  EXPECT_EQ(take_error_reports().size(), 1u);
  EXPECT_TRUE(same_values(scaled, solve<Ggesx<T>>(C('V', 'V', large))));
  EXPECT_TRUE(too_little.A.same_as(unsorted.A) && too_little.B.same_as(unsorted.B));
  EXPECT_TRUE(same_values(too_little, unsorted));
}

TYPED_TEST(PencilArguments, OrderZero) {
  using T = TypeParam;
  const Pencil<T> pencil{GuardedMatrix<T>(0, 0, 1), GuardedMatrix<T>(0, 0, 1)};
  const auto name = [](const char* operation) { return reported_name<T>(operation); };
  const PencilEigenCall<T> eigen('V', 'V', pencil);
  const PencilSchurCall<T> sorted(pencil_selector<T>(in_left_half), pencil, 'B'), plain('V', 'V', pencil);
  expect_nothing_for_order_zero<Ggev<T>>(name("GGEV"), eigen, behind_values<T>(16));
  expect_nothing_for_order_zero<Gegv<T>>(name("GEGV"), eigen, behind_values<T>(16));
  expect_nothing_for_order_zero<Ggevx<T>>(name("GGEVX"), eigen, behind_values<T>(26));
  expect_nothing_for_order_zero<Gegs<T>>(name("GEGS"), plain, behind_values<T>(16));
  expect_nothing_for_order_zero<Gges<T>>(name("GGES"), sorted, behind_values<T>(19));
  expect_nothing_for_order_zero<Ggesx<T>>(name("GGESX"), sorted, behind_values<T>(22));
  EXPECT_EQ(solve<Gges<T>>(sorted).sdim, 0);
  EXPECT_EQ(solve<Ggesx<T>>(sorted).sdim, 0);
}

/// The sizes that are answered are those with which the factorisation and the products do their best.
TYPED_TEST(PencilArguments, AnswersAboutWorkspaces) {
  using T = TypeParam;
  const Int n = 200;
  Random random(6);
  const Pencil<T> pencil = random_pencil<T>(random, n, n);
  GuardedMatrix<T> B = pencil.B;
  // A product asks for the factors of all of its blocks as well; it makes room for those itself.
  const Int best =
      n + std::max(best_lwork<T>([&](T* work, Int& info) { layer::geqrf(n, n, Matrix<T>(B), work, work, -1, info); }),
                   best_lwork<T>(
                       [&](T* work, Int& info) { routine_call::orgqr(n, n, n, Matrix<T>(B), work, work, -1, info); }));
  const Int scales = RealScalar<T> ? 2 * n : 0;
  const PencilEigenCall<T> eigen('V', 'V', pencil);
  EXPECT_EQ(asked_for<Ggev<T>>(eigen).work, scales + best);
  EXPECT_EQ(asked_for<Gegv<T>>(eigen).work, scales + best);
  EXPECT_EQ(asked_for<Ggevx<T>>(eigen).work, best);
  PencilEigenCall<T> expert = eigen;
  expert.sense = 'V';
  EXPECT_EQ(asked_for<Ggevx<T>>(expert).work, Ggevx<T>::least(expert).work);
  const PencilSchurCall<T> schur('V', 'V', pencil);
  EXPECT_EQ(asked_for<Gges<T>>(schur).work, scales + best);
  EXPECT_EQ(asked_for<Gegs<T>>(schur).work, scales + best);
  for (const char sense : {'N', 'E', 'V', 'B'}) {
    const WorkSizes answer = asked_for<Ggesx<T>>(PencilSchurCall<T>(pencil_selector<T>(in_left_half), pencil, sense));
    EXPECT_EQ(answer.work, scales + (sense == 'N' ? best : std::max(best, n * n / 2)));
    EXPECT_EQ(answer.iwork, sense == 'N' ? 1 : n + (RealScalar<T> ? 6 : 2));
  }
}

}  // namespace
}  // namespace nuv::test
