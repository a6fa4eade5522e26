#pragma once

// A test that is made of each routine in the list.

#include "drivers/drivers.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {

class EachDriver : public ReportingTest, public testing::WithParamInterface<Driver> {
 protected:
  static const Driver& driver() { return GetParam(); }

  /// For each combination of the options that a call chooses from.
  template <class Visit>
  static void for_each_choice(Visit visit) {
    Options options;
    do {
      visit(options);
    } while (options.advance() && !HasFailure());
  }
};

inline std::string name_of_driver(const testing::TestParamInfo<Driver>& info) {
  return info.param.name;
}

inline void PrintTo(const Driver& driver, std::ostream* stream) {
  *stream << driver.name;
}

}  // namespace nuv::test
