// The checks that the drivers for general matrices make of their arguments, and what they answer about workspaces.

#include "nonsymmetric/driver_arguments.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

template <class T>
class GeneralArguments : public ReportingTest {};
TYPED_TEST_SUITE(GeneralArguments, Precisions, PrecisionLetter);

template <Scalar T>
GuardedMatrix<T> matrix_of_order_five() {
  Random random(5);
  return random_matrix<T>(random, 5, 5, 6);
}

template <Scalar T>
Selector<T> right_half() {
  if constexpr (ComplexScalar<T>) {
    return [](const T* w) { return Logical(w->real() > 0); };
  } else {
    return [](const T* wr, const T*) { return Logical(*wr > 0); };
  }
}

/// With all that there is to ask for, in least workspaces.
template <Scalar T>
EigenCall<T> full_call(const EigenCall<T>*) {
  EigenCall<T> call('V', 'V', matrix_of_order_five<T>());
  call.sense = 'B';
  return call;
}

template <Scalar T>
SchurCall<T> full_call(const SchurCall<T>*) {
  return {'V', right_half<T>(), matrix_of_order_five<T>(), 'B'};
}

template <class Driver>
struct ValidCall : DriverCall<Driver> {
  ValidCall() : DriverCall<Driver>(full_call(static_cast<const typename Driver::Call*>(nullptr))) {}
};

TYPED_TEST(GeneralArguments, OfGeev) {
  using T = TypeParam;
  using C = ValidCall<Geev<T>>;
  const std::string name = reported_name<T>("GEEV");
  constexpr int ldvl = behind_values<T>(9), ldvr = behind_values<T>(11), lwork = behind_values<T>(13);
  expect_argument_checks<C>(name, {{1, [](C& c) { c.jobvl = 'X'; }},
                                   {2, [](C& c) { c.jobvr = 'X'; }},
                                   {3, [](C& c) { c.n = -1; }},
                                   {5, [](C& c) { c.lda = 4; }},
                                   {ldvl, [](C& c) { c.ldvl = 4; }},
                                   {ldvr, [](C& c) { c.ldvr = 4; }},
                                   {lwork, [](C& c) { c.lwork = 0; }}});
  for (const char left : {'N', 'V'}) {
    for (const char right : {'N', 'V'}) {
      const EigenCall<T> call(left, right, matrix_of_order_five<T>());
      expect_least_lwork<Geev<T>>(name, call, lwork);
    }
  }
}

TYPED_TEST(GeneralArguments, OfGeevx) {
  using T = TypeParam;
  using C = ValidCall<Geevx<T>>;
  const std::string name = reported_name<T>("GEEVX");
  constexpr int ldvl = behind_values<T>(11), ldvr = behind_values<T>(13), lwork = behind_values<T>(21);
  expect_argument_checks<C>(name, {{1, [](C& c) { c.balanc = 'X'; }},
                                   {2, [](C& c) { c.jobvl = 'X'; }},
                                   {3, [](C& c) { c.jobvr = 'X'; }},
                                   {4, [](C& c) { c.sense = 'X'; }},
                                   {5, [](C& c) { c.n = -1; }},
                                   {7, [](C& c) { c.lda = 4; }},
                                   {ldvl, [](C& c) { c.ldvl = 4; }},
                                   {ldvr, [](C& c) { c.ldvr = 4; }},
                                   {lwork, [](C& c) { c.lwork = 0; }}});
  for (const char left : {'N', 'V'}) {
    for (const char right : {'N', 'V'}) {
      for (const char sense : {'N', 'E', 'V', 'B'}) {
        SCOPED_TRACE(testing::Message() << left << right << sense);
        EigenCall<T> call(left, right, matrix_of_order_five<T>());
        call.sense = sense;
        // Condition numbers of eigenvalues are made of both vectors.
        if ((sense == 'E' || sense == 'B') && !(left == 'V' && right == 'V')) {
          C bad;
          bad.jobvl = left;
          bad.jobvr = right;
          bad.sense = sense;
          expect_report(bad, name, 4);
        } else {
          expect_least_lwork<Geevx<T>>(name, call, lwork);
        }
      }
    }
  }
}

TYPED_TEST(GeneralArguments, OfGees) {
  using T = TypeParam;
  using C = ValidCall<Gees<T>>;
  const std::string name = reported_name<T>("GEES");
  constexpr int ldvs = behind_values<T>(11), lwork = behind_values<T>(13);
  expect_argument_checks<C>(name, {{1, [](C& c) { c.jobvs = 'X'; }},
                                   {2, [](C& c) { c.sort = 'X'; }},
                                   {4, [](C& c) { c.n = -1; }},
                                   {6, [](C& c) { c.lda = 4; }},
                                   {ldvs, [](C& c) { c.ldvs = 4; }},
                                   {lwork, [](C& c) { c.lwork = 0; }}});
  for (const char jobvs : {'N', 'V'}) {
    expect_least_lwork<Gees<T>>(name, SchurCall<T>(jobvs, matrix_of_order_five<T>()), lwork);
  }
}

TYPED_TEST(GeneralArguments, OfGeesx) {
  using T = TypeParam;
  using C = ValidCall<Geesx<T>>;
  const std::string name = reported_name<T>("GEESX");
  constexpr int ldvs = behind_values<T>(12), lwork = behind_values<T>(16);
  expect_argument_checks<C>(name, {{1, [](C& c) { c.jobvs = 'X'; }},
                                   {2, [](C& c) { c.sort = 'X'; }},
                                   {4, [](C& c) { c.sense = 'X'; }},
                                   {5, [](C& c) { c.n = -1; }},
                                   {7, [](C& c) { c.lda = 4; }},
                                   {ldvs, [](C& c) { c.ldvs = 4; }},
                                   {lwork, [](C& c) { c.lwork = 0; }}});
  for (const char sense : {'E', 'V', 'B'}) {
    C unsorted;
    unsorted.sort = 'N';
    unsorted.sense = sense;
    expect_report(unsorted, name, 4);
  }
  for (const char jobvs : {'N', 'V'}) {
    expect_least_lwork<Geesx<T>>(name, SchurCall<T>(jobvs, matrix_of_order_five<T>()), lwork);
  }
  if constexpr (RealScalar<T>) {
    C no_integers;
    no_integers.liwork = 0;
    expect_report(no_integers, name, 18);
    C both;
    both.liwork = 0;
    both.lwork = 0;
    expect_report(both, name, 16);
    // Either length asks for both sizes.
    C question;
    question.liwork = -1;
    expect_report(question, "", 0);
    EXPECT_TRUE(question.unchanged());
    EXPECT_EQ(question.iwork(1), 6);
  }
}

/// As many integers as an Int can tell; a matrix of order one needs one.
TYPED_TEST(GeneralArguments, GeesxTellsOfAsManyIntegersAsItCan) {
  using T = TypeParam;
  for (const auto& [n, integers] :
       {std::pair{1, 1}, {3, 2}, {92681, 2147441940}, {92682, 2147483647}, {100000, 2147483647}}) {
    for (const char sense : {'V', 'B'}) {
      SCOPED_TRACE(testing::Message() << n << sense);
      SchurCall<T> call('V', right_half<T>(), matrix_of_order_five<T>(), sense);
      call.make_room({1, 1, 1});
      call.n = call.lda = call.ldvs = n;
      call.lwork = -1;
      Geesx<T>::run(call);
      EXPECT_EQ(call.info, 0);
      EXPECT_TRUE(call.unchanged());
      const double elements = (RealScalar<T> ? n : 0) + std::floor(double(n) * n / 2);
      EXPECT_GE(std::real(call.work(1)), elements);
      if (n > 1000) {
        EXPECT_LE(std::real(call.work(1)), elements * (1 + 2 * epsilon<T>));
      }
      if (RealScalar<T>) {
        EXPECT_EQ(call.iwork(1), integers);
      }
    }
  }
}

/// Enough for the driver, too little for the number of eigenvalues that are selected: the routine that moves them says
/// so.
TYPED_TEST(GeneralArguments, GeesxTellsOfTooLittleRoomForConditionNumbers) {
  using T = TypeParam;
  using C = ValidCall<Geesx<T>>;
  const Int n = 5;
  const C full = [] {
    C call;
    EXPECT_EQ(call.run(), 0);
    return call;
  }();
  const Int m = full.sdim;
  ASSERT_TRUE(m > 0 && m < n);
  const Int needed = (RealScalar<T> ? n : 0) + 2 * m * (n - m);
  const auto with_room = [&](Int lwork, Int liwork) {
    C call;
    call.make_room({lwork, n, liwork});
    return call;
  };
  C enough = with_room(needed, m * (n - m));
  EXPECT_EQ(enough.run(), 0);
  EXPECT_EQ(enough.rcondv, full.rcondv);
  C too_little = with_room(needed - 1, m * (n - m));
  EXPECT_EQ(too_little.run(), -behind_values<T>(16));
  EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>("TRSEN"), behind_values<T>(15)}}));
  if constexpr (RealScalar<T>) {
    C too_few = with_room(needed, m * (n - m) - 1);
    EXPECT_EQ(too_few.run(), -18);
    EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>("TRSEN"), 17}}));
  }
}

/// Where no vectors are wanted a leading dimension of one will do, and no less.
TYPED_TEST(GeneralArguments, LeadingDimensionsOfAbsentVectors) {
  using T = TypeParam;
  ValidCall<Geev<T>> eigen;
  eigen.jobvl = eigen.jobvr = 'N';
  eigen.ldvl = eigen.ldvr = 1;
  expect_report(eigen, "", 0);
  eigen = {};
  eigen.jobvr = 'N';
  eigen.ldvr = 0;
  expect_report(eigen, reported_name<T>("GEEV"), behind_values<T>(11));
  eigen = {};
  eigen.jobvl = 'N';
  eigen.ldvl = 0;
  expect_report(eigen, reported_name<T>("GEEV"), behind_values<T>(9));
  ValidCall<Gees<T>> schur;
  schur.jobvs = 'N';
  schur.ldvs = 1;
  expect_report(schur, "", 0);
  schur = {};
  schur.jobvs = 'N';
  schur.ldvs = 0;
  expect_report(schur, reported_name<T>("GEES"), behind_values<T>(11));
}

TYPED_TEST(GeneralArguments, OrderZero) {
  using T = TypeParam;
  const GuardedMatrix<T> A(0, 0, 1);
  const auto name = [](const char* operation) { return reported_name<T>(operation); };
  expect_nothing_for_order_zero<Geev<T>>(name("GEEV"), EigenCall<T>('V', 'V', A), behind_values<T>(13));
  expect_nothing_for_order_zero<Geevx<T>>(name("GEEVX"), EigenCall<T>('V', 'V', A), behind_values<T>(21));
  const SchurCall<T> sorted('V', right_half<T>(), A);
  expect_nothing_for_order_zero<Gees<T>>(name("GEES"), sorted, behind_values<T>(13));
  expect_nothing_for_order_zero<Geesx<T>>(name("GEESX"), sorted, behind_values<T>(16));
  EXPECT_EQ(solve<Gees<T>>(sorted).sdim, 0);
}

/// The sizes that are answered are those with which reduction, Q and iteration do their best.
TYPED_TEST(GeneralArguments, AnswersAboutWorkspaces) {
  using T = TypeParam;
  const Int n = 200;
  Random random(6);
  const GuardedMatrix<T> A = random_matrix<T>(random, n, n, n);
  GuardedMatrix<T> H = A, Z = A;
  const Int reduction =
      n + best_lwork<T>([&](T* work, Int& info) { routine_call::gehrd(n, 1, n, Matrix<T>(H), work, work, -1, info); });
  const Int forming_q =
      n + best_lwork<T>([&](T* work, Int& info) { routine_call::orghr(n, 1, n, Matrix<T>(H), work, work, -1, info); });
  const auto iteration = [&](char job, char compz) {
    return best_lwork<T>([&](T* work, Int& info) {
      if constexpr (ComplexScalar<T>) {
        routine_call::hseqr(job, compz, n, 1, n, Matrix<T>(H), work, Matrix<T>(Z), work, -1, info);
      } else {
        routine_call::hseqr(job, compz, n, 1, n, Matrix<T>(H), work, work, Matrix<T>(Z), work, -1, info);
      }
    });
  };
  const Int scale = RealScalar<T> ? n : 0;
  const Int values = std::max(reduction, iteration('E', 'N')), form = std::max(reduction, iteration('S', 'N'));
  const Int vectors = std::max({reduction, forming_q, iteration('S', 'V')});
  const Int squares = n * n + (RealScalar<T> ? 6 : 2) * n;

  EXPECT_EQ(asked_for<Geev<T>>(EigenCall<T>('N', 'N', A)).work, scale + values);
  EXPECT_EQ(asked_for<Geev<T>>(EigenCall<T>('V', 'N', A)).work, scale + vectors);
  EXPECT_EQ(asked_for<Geev<T>>(EigenCall<T>('N', 'V', A)).work, scale + vectors);
  EigenCall<T> expert('N', 'N', A);
  EXPECT_EQ(asked_for<Geevx<T>>(expert).work, values);
  EXPECT_EQ(asked_for<Geevx<T>>(EigenCall<T>('V', 'V', A)).work, vectors);
  expert.sense = 'V';
  EXPECT_EQ(asked_for<Geevx<T>>(expert).work, std::max(form, squares));
  EXPECT_EQ(asked_for<Gees<T>>(SchurCall<T>('N', A)).work, scale + form);
  EXPECT_EQ(asked_for<Gees<T>>(SchurCall<T>('V', A)).work, scale + vectors);
  for (const char sense : {'N', 'E', 'V', 'B'}) {
    SchurCall<T> call('V', right_half<T>(), A, sense);
    const WorkSizes answer = asked_for<Geesx<T>>(call);
    EXPECT_EQ(answer.work, scale + (sense == 'N' ? vectors : std::max(vectors, n * n / 2)));
    EXPECT_EQ(answer.iwork, ComplexScalar<T> ? 0 : sense == 'V' || sense == 'B' ? n * n / 4 : 1);
  }
}

}  // namespace
}  // namespace nuv::test
