// The checks that the drivers for full symmetric and Hermitian matrices make of their arguments.

#include "support/argument_checks.hpp"
#include "symmetric/dense_driver_calls.hpp"

namespace nuv::test {
namespace {

template <class T>
class DenseArguments : public ReportingTest {};
TYPED_TEST_SUITE(DenseArguments, Precisions, PrecisionLetter);

/// A call for a random matrix of order five with all its vectors, in the least workspaces.
template <template <class> class Driver, Scalar T>
struct ValidCall : DenseCall<T> {
  ValidCall() : DenseCall<T>('V', 'L', matrix()) { make_room<T>(*this, Driver<T>::least(true, this->n)); }

  static GuardedMatrix<T> matrix() {
    Random random(5);
    return random_hermitian<T>(random, 'L', 5, 6);
  }

  Int run() {
    Driver<T>::run(*this);
    return this->info;
  }

  /// The sizes that a driver would like may be told before the arguments are found to be bad.
  bool unchanged() const {
    return this->A.unchanged() && this->Z.unchanged() && this->w.unchanged() && this->marks.unchanged() &&
           this->work.unchanged_outside(1, 1) && this->rwork.unchanged_outside(1, 1) &&
           this->iwork.unchanged_outside(1, 1);
  }
};

template <Scalar T>
using Simple = ValidCall<Ev, T>;
template <Scalar T>
using Division = ValidCall<Evd, T>;
template <Scalar T>
using Representations = ValidCall<Evr, T>;
template <Scalar T>
using Expert = ValidCall<Evx, T>;

TYPED_TEST(DenseArguments, OfTheSimpleDriver) {
  using T = TypeParam;
  using C = Simple<T>;
  expect_argument_checks<C>(reported_name<T>(Ev<T>::name), {{1, [](C& c) { c.jobz = 'X'; }},
                                                            {2, [](C& c) { c.uplo = 'X'; }},
                                                            {3, [](C& c) { c.n = -1; }},
                                                            {5, [](C& c) { c.lda = 4; }},
                                                            {8, [](C& c) { --c.lwork; }}});
}

TYPED_TEST(DenseArguments, OfDivideAndConquer) {
  using T = TypeParam;
  using C = Division<T>;
  const auto expect_checks = [](std::initializer_list<Spoiler<C>> spoilers) {
    expect_argument_checks<C>(reported_name<T>(Evd<T>::name), spoilers);
  };
  if constexpr (ComplexScalar<T>) {
    expect_checks({{1, [](C& c) { c.jobz = 'X'; }},
                   {2, [](C& c) { c.uplo = 'X'; }},
                   {3, [](C& c) { c.n = -1; }},
                   {5, [](C& c) { c.lda = 4; }},
                   {8, [](C& c) { --c.lwork; }},
                   {10, [](C& c) { --c.lrwork; }},
                   {12, [](C& c) { --c.liwork; }}});
  } else {
    expect_checks({{1, [](C& c) { c.jobz = 'X'; }},
                   {2, [](C& c) { c.uplo = 'X'; }},
                   {3, [](C& c) { c.n = -1; }},
                   {5, [](C& c) { c.lda = 4; }},
                   {8, [](C& c) { --c.lwork; }},
                   {10, [](C& c) { --c.liwork; }}});
  }
  // Eigenvalues alone take less.
  C call;
  call.jobz = 'N';
  make_room<T>(call, Evd<T>::least(false, 5));
  expect_report(call, "", 0);
  call = C();
  call.jobz = 'N';
  make_room<T>(call, Evd<T>::least(false, 5));
  --call.lwork;
  expect_report(call, reported_name<T>(Evd<T>::name), 8);
}

/// Those that the two drivers with a range have in common.
template <class C>
void expect_range_checks(const std::string& name) {
  const auto by_value = [](C& c) {
    c.range = 'V';
    c.vl = 1;
    c.vu = 1;
  };
  const auto by_index = [](C& c, Int il, Int iu) {
    c.range = 'I';
    c.il = il;
    c.iu = iu;
  };
  const auto expect = [&](int position, auto spoil) {
    C call;
    spoil(call);
    expect_report(call, name, position);
  };
  expect(8, [&](C& c) { by_value(c); });
  expect(9, [&](C& c) { by_index(c, 0, 3); });
  expect(9, [&](C& c) { by_index(c, 6, 6); });
  expect(10, [&](C& c) { by_index(c, 3, 2); });
  expect(10, [&](C& c) { by_index(c, 3, 6); });
  expect(0, [&](C& c) { by_index(c, 5, 5); });
  // Of no eigenvalues, nothing is a bad bound.
  expect(0, [&](C& c) {
    by_value(c);
    c.n = 0;
  });
  expect(0, [&](C& c) {
    by_index(c, 1, 0);
    c.n = 0;
  });
  // The range is looked at before what stands behind it, and after n and lda.
  expect(8, [&](C& c) {
    by_value(c);
    c.ldz = 4;
    c.lwork = 0;
  });
  expect(6, [&](C& c) {
    by_value(c);
    c.lda = 4;
  });
  // Without vectors there is no need of Z.
  expect(0, [&](C& c) {
    c.jobz = 'N';
    c.ldz = 1;
  });
  expect(15, [&](C& c) {
    c.jobz = 'N';
    c.ldz = 0;
  });
}

TYPED_TEST(DenseArguments, OfRepresentations) {
  using T = TypeParam;
  using C = Representations<T>;
  const std::string name = reported_name<T>(Evr<T>::name);
  const auto expect_checks = [&](std::initializer_list<Spoiler<C>> spoilers) {
    expect_argument_checks<C>(name, spoilers);
  };
  if constexpr (ComplexScalar<T>) {
    expect_checks({{1, [](C& c) { c.jobz = 'X'; }},
                   {2, [](C& c) { c.range = 'X'; }},
                   {3, [](C& c) { c.uplo = 'X'; }},
                   {4, [](C& c) { c.n = -1; }},
                   {6, [](C& c) { c.lda = 4; }},
                   {15, [](C& c) { c.ldz = 4; }},
                   {18, [](C& c) { --c.lwork; }},
                   {20, [](C& c) { --c.lrwork; }},
                   {22, [](C& c) { --c.liwork; }}});
  } else {
    expect_checks({{1, [](C& c) { c.jobz = 'X'; }},
                   {2, [](C& c) { c.range = 'X'; }},
                   {3, [](C& c) { c.uplo = 'X'; }},
                   {4, [](C& c) { c.n = -1; }},
                   {6, [](C& c) { c.lda = 4; }},
                   {15, [](C& c) { c.ldz = 4; }},
                   {18, [](C& c) { --c.lwork; }},
                   {20, [](C& c) { --c.liwork; }}});
  }
  expect_range_checks<C>(name);
  // Its sizes are told once all arguments are known to be good.
  C short_of_work;
  --short_of_work.lwork;
  expect_report(short_of_work, name, 18);
  EXPECT_TRUE(short_of_work.DenseCall<T>::unchanged());
}

TYPED_TEST(DenseArguments, OfTheExpertDriver) {
  using T = TypeParam;
  using C = Expert<T>;
  const std::string name = reported_name<T>(Evx<T>::name);
  expect_argument_checks<C>(name, {{1, [](C& c) { c.jobz = 'X'; }},
                                   {2, [](C& c) { c.range = 'X'; }},
                                   {3, [](C& c) { c.uplo = 'X'; }},
                                   {4, [](C& c) { c.n = -1; }},
                                   {6, [](C& c) { c.lda = 4; }},
                                   {15, [](C& c) { c.ldz = 4; }},
                                   {17, [](C& c) { --c.lwork; }}});
  expect_range_checks<C>(name);
}

/// No workspace may be one element short, and no length but -1 is a question.
TYPED_TEST(DenseArguments, LengthsAreNotOneShort) {
  using T = TypeParam;
  const auto expect_checks = []<template <class> class Driver>(const ValidCall<Driver, T>&) {
    const auto expect = [](Int DenseCall<T>::*length, Int position) {
      if (position == 0) return;
      ValidCall<Driver, T> one_short, below;
      --(one_short.*length);
      below.*length = -2;
      expect_report(one_short, reported_name<T>(Driver<T>::name), position);
      expect_report(below, reported_name<T>(Driver<T>::name), position);
    };
    expect(&DenseCall<T>::lwork, Driver<T>::lwork);
    expect(&DenseCall<T>::lrwork, Driver<T>::lrwork);
    expect(&DenseCall<T>::liwork, Driver<T>::liwork);
  };
  expect_checks(Simple<T>());
  expect_checks(Division<T>());
  expect_checks(Representations<T>());
  expect_checks(Expert<T>());
}

/// Nothing of a matrix and of a workspace is too little even for order zero.
TYPED_TEST(DenseArguments, AreAtLeastOneForOrderZero) {
  using T = TypeParam;
  const auto expect_checks = []<template <class> class Driver>(ValidCall<Driver, T> empty) {
    empty.n = 0;
    expect_report(empty, "", 0);
    ValidCall<Driver, T> without_lda, without_work;
    without_lda.n = without_lda.lda = 0;
    without_work.n = without_work.lwork = 0;
    const std::string name = reported_name<T>(Driver<T>::name);
    expect_report(without_lda, name, Driver<T>::selects ? 6 : 5);
    expect_report(without_work, name, Driver<T>::lwork);
  };
  expect_checks(Simple<T>());
  expect_checks(Division<T>());
  expect_checks(Representations<T>());
  expect_checks(Expert<T>());
}

}  // namespace
}  // namespace nuv::test
