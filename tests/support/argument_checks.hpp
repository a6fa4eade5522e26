#pragma once

// Tests of the checks that a routine makes of its arguments.
//
// A call is a struct that holds valid arguments for one small problem, with
//
//     run()         makes the call; gives info where the routine has one
//     unchanged()   whether the arrays are as they were made

#include <algorithm>
#include <initializer_list>
#include <type_traits>
#include <vector>

#include "support/precisions.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {

/// Makes the argument at a position bad.
template <class Call>
struct Spoiler {
  int position;
  void (*spoil)(Call&);
};

/// Runs a call and expects that it reports this argument, or none where position is zero.
template <class Call>
void expect_report(Call& call, const std::string& name, int position) {
  if constexpr (std::is_void_v<decltype(call.run())>) {
    call.run();
  } else {
    EXPECT_EQ(call.run(), -position);
  }
  const auto expected = position == 0 ? std::vector<ErrorReport>() : std::vector<ErrorReport>{{name, position}};
  EXPECT_EQ(take_error_reports(), expected);
  if (position != 0) {
    EXPECT_TRUE(call.unchanged());
  }
}

/// Expects that a routine accepts the valid call, reports each bad argument and, of any two, the first, and that it
/// writes nothing then.
template <class Call>
void expect_argument_checks(const std::string& name, std::initializer_list<Spoiler<Call>> spoilers) {
  Call good;
  expect_report(good, name, 0);
  for (const auto& one : spoilers) {
    for (const auto& other : spoilers) {
      SCOPED_TRACE(name + ", arguments " + std::to_string(one.position) + " and " + std::to_string(other.position));
      Call call;
      one.spoil(call);
      if (&other != &one) other.spoil(call);
      expect_report(call, name, std::min(one.position, other.position));
    }
  }
}

}  // namespace nuv::test
