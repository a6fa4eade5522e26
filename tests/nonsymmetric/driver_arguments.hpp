#pragma once

// Checks that the drivers for eigenvalues make of their arguments, of general matrices and of pencils: what Driver is,
// and its Call, stands with those calls (general_calls.hpp).

#include <string>

#include "nonsymmetric/general_calls.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {

/// A call of a driver in the workspaces that it asks for, to be run and judged like one of any routine.
template <class Driver>
struct DriverCall : Driver::Call {
  explicit DriverCall(const typename Driver::Call& call) : Driver::Call(call) {
    this->make_room(asked_for<Driver>(*this));
  }

  Int run() {
    Driver::run(*this);
    return this->info;
  }
};

/// The position of an argument behind the eigenvalues, of which complex members have one array less.
template <Scalar T>
constexpr int behind_values(int position_in_real_member) {
  return position_in_real_member - (ComplexScalar<T> ? 1 : 0);
}

/// Expects of lwork, at this position, that the least and no less is taken.
template <class Driver>
void expect_least_lwork(const std::string& name, const typename Driver::Call& call, int position) {
  DriverCall<Driver> least(call);
  const Int best = least.lwork;
  least.make_room(Driver::least(call));
  DriverCall<Driver> one_short = least, below = least;
  expect_report(least, "", 0);
  --one_short.lwork;
  expect_report(one_short, name, position);
  EXPECT_EQ(Int(std::real(one_short.work(1))), best);
  below.lwork = -2;
  expect_report(below, name, position);
}

/// Nothing is done of order zero, and one element of workspace is what is wanted.
template <class Driver>
void expect_nothing_for_order_zero(const std::string& name, typename Driver::Call call, int position_of_lwork) {
  call.make_room({1, 1, 1});
  Driver::run(call);
  EXPECT_EQ(call.info, 0);
  EXPECT_EQ(std::real(call.work(1)), 1);
  EXPECT_TRUE(call.A.unchanged());
  call.work(1) = 0;
  call.lwork = 0;
  Driver::run(call);
  EXPECT_EQ(call.info, -position_of_lwork);
  EXPECT_EQ(std::real(call.work(1)), 1);
  EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{name, position_of_lwork}}));
}

/// The workspace that a routine tells in work(1) when ask(work, info) asks it.
template <Scalar T, class Ask>
Int best_lwork(Ask ask) {
  GuardedVector<T> work(1);
  Int info = 0;
  ask(work.data(), info);
  EXPECT_EQ(info, 0);
  return Int(std::real(work(1)));
}

}  // namespace nuv::test
