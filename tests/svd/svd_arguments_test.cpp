// The checks that the driver for singular values by QR iteration makes of its arguments.

#include "support/argument_checks.hpp"
#include "svd/svd_calls.hpp"
#include "svd/svd_driver_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class SvdArguments : public ReportingTest {};
TYPED_TEST_SUITE(SvdArguments, Precisions, PrecisionLetter);

/// All vectors of a random matrix, tall or wide.
template <Scalar T, Int rows, Int columns>
using ValidCall = ValidSvdCall<SvdCall<T>, rows, columns, 'A', 'a'>;

template <class C>
void expect_checks(const std::string& name) {
  expect_argument_checks<C>(name, {{1, [](C& c) { c.jobu = 'X'; }},
                                   {2, [](C& c) { c.jobvt = 'X'; }},
                                   {3, [](C& c) { c.m = -1; }},
                                   {4, [](C& c) { c.n = -1; }},
                                   {6, [](C& c) { --c.lda; }},
                                   {9, [](C& c) { --c.ldu; }},
                                   {11, [](C& c) { --c.ldvt; }},
                                   {13, [](C& c) { --c.lwork; }}});
}

TYPED_TEST(SvdArguments, AreCheckedInOrder) {
  using T = TypeParam;
  const std::string name = reported_name<T>("GESVD");
  expect_checks<ValidCall<T, 6, 4>>(name);
  expect_checks<ValidCall<T, 4, 6>>(name);
  expect_checks<ValidCall<T, 9, 4>>(name);
  expect_checks<ValidCall<T, 4, 9>>(name);
}

/// Runs a call that has been changed.
template <class C, class Spoil>
void expect_of(const std::string& name, int position, Spoil spoil) {
  C call;
  spoil(call);
  expect_report(call, name, position);
}

TYPED_TEST(SvdArguments, OverwriteNotTwice) {
  using T = TypeParam;
  using C = ValidCall<T, 6, 4>;
  const std::string name = reported_name<T>("GESVD");
  for (const char left : {'O', 'o'}) {
    for (const char right : {'O', 'o'}) {
      expect_of<C>(name, 2, [=](C& c) {
        c.jobu = left;
        c.jobvt = right;
        c.m = -1;
      });
    }
  }
}

/// Arrays of vectors that are not wanted are still no less than one row.
TYPED_TEST(SvdArguments, AskForRowsOfWantedVectorsAlone) {
  using T = TypeParam;
  using Tall = ValidCall<T, 6, 4>;
  using Wide = ValidCall<T, 4, 6>;
  const std::string name = reported_name<T>("GESVD");
  const auto expect_of_left = [&](char job, Int ldu, int position) {
    expect_of<Tall>(name, position, [=](Tall& c) {
      c.jobu = job;
      c.ldu = ldu;
    });
  };
  const auto expect_of_right = [&](char job, Int ldvt, int position) {
    expect_of<Wide>(name, position, [=](Wide& c) {
      c.jobvt = job;
      c.ldvt = ldvt;
    });
  };
  for (const char job : {'N', 'o'}) {
    expect_of_left(job, 1, 0);
    expect_of_left(job, 0, 9);
    expect_of_right(job, 1, 0);
    expect_of_right(job, 0, 11);
  }
  expect_of_left('s', 5, 9);
  expect_of_right('s', 4, 0);
  expect_of_right('s', 3, 11);
}

/// No length but -1 is a question, and lda is looked at before it is answered.
TYPED_TEST(SvdArguments, AnswerQuestionsOfGoodArguments) {
  using T = TypeParam;
  using C = ValidCall<T, 6, 4>;
  const std::string name = reported_name<T>("GESVD");
  for (const Int lwork : {0, -2}) expect_of<C>(name, 13, [=](C& c) { c.lwork = lwork; });
  expect_of<C>(name, 6, [](C& c) {
    c.lwork = -1;
    c.lda = 5;
  });
  C question;
  question.lwork = -1;
  expect_report(question, name, 0);
  EXPECT_TRUE(question.A.unchanged() && question.s.unchanged());
}

TYPED_TEST(SvdArguments, AskForTheLeastWorkspaceOfEachJob) {
  using T = TypeParam;
  Random random(8);
  for (const auto& [m, n] : {std::pair{4, 4}, {5, 4}, {13, 4}, {4, 5}, {4, 13}}) {
    const auto A = random_matrix<T>(random, m, n, m);
    SvdCall<T>::for_each_job([&](char jobu, char jobvt) {
      const SvdCall<T> call(jobu, jobvt, A);
      SCOPED_TRACE(call.description());
      const Int least = call.sizes().least;
      EXPECT_EQ(call.solved(least).info, 0);
      EXPECT_EQ(take_error_reports(), std::vector<ErrorReport>());
      EXPECT_EQ(call.solved(least - 1).info, -13);
      EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>("GESVD"), 13}}));
    });
  }
}

/// A workspace that is too short for anything is told how long it should be, if it has a place for that.
TYPED_TEST(SvdArguments, TellTheBestLengthToShortWorkspaces) {
  using T = TypeParam;
  using C = ValidCall<T, 6, 4>;
  const std::string name = reported_name<T>("GESVD");
  C one_short, empty, without_any;
  --one_short.lwork;
  expect_report(one_short, name, 13);
  EXPECT_EQ(one_short.work(1), T(Real<T>(svd_sizes<T>('A', 'A', 6, 4).best)));
  empty.lwork = 0;
  expect_report(empty, name, 13);
  EXPECT_TRUE(empty.work.unchanged());
  without_any.m = without_any.lwork = 0;
  expect_report(without_any, name, 13);
}

}  // namespace
}  // namespace nuv::test
