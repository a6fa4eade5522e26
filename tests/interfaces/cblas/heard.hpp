#pragma once

// What the C interface reports. A test program that compiles heard.cpp has a cblas_xerbla of its own.

#include <string>
#include <vector>

#include "support/reported_errors.hpp"

namespace nuv::test {

struct Heard {
  int position;
  std::string routine;
  std::string reason;
};

/// The reports since the last call.
std::vector<Heard> take_heard();

/// A test that fails on reports which it did not take, those of the Fortran routines among them.
class CblasTest : public ReportingTest {
 protected:
  void TearDown() override {
    ReportingTest::TearDown();
    for (const Heard& heard : take_heard())
      ADD_FAILURE() << heard.routine << ", " << heard.position << ": " << heard.reason;
  }
};

}  // namespace nuv::test
