#pragma once

// What the routines report about bad arguments. A test program that compiles reported_errors.cpp is an application with
// an error handler of its own.

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace nuv::test {

struct ErrorReport {
  std::string name;  ///< as long as the handler was told
  int code;

  bool operator==(const ErrorReport&) const = default;
};

void PrintTo(const ErrorReport& report, std::ostream* stream);

/// The reports since the last call.
std::vector<ErrorReport> take_error_reports();

/// A test that fails on reports which it did not take.
class ReportingTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(take_error_reports(), std::vector<ErrorReport>()); }
};

}  // namespace nuv::test
