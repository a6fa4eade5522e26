// The tuning answers of ilaenv, at the limits of their rules.

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "routines.hpp"

namespace nuv::test {
namespace {

Int ask(Int ispec, const std::string& name, Int n1 = -1, Int n2 = -1) {
  return routine_call::ilaenv(ispec, {name.data(), Int(name.size())}, " ", n1, n2, -1, -1);
}

constexpr Int largest = std::numeric_limits<Int>::max();
const Int sizes[] = {-1, 0, 1, 8, 9, 64, 129, 1000, 100000, largest};

void expect_width(Int columns, Int width) {
  for (const Int rows : sizes) {
    for (const char* name : {"DGETRF", "dgetrf", "dGeTrF"}) {
      EXPECT_EQ(ask(1, name, rows, columns), width) << name << " " << rows << " by " << columns;
    }
  }
}

TEST(Tuning, SplitsTheRightLookingFactorisationByItsColumns) {
  for (const Int columns : {-1, 0, 1, 8}) expect_width(columns, 1);
  for (const Int columns : {9, 32}) expect_width(columns, 8);
  for (const Int columns : {33, 128}) expect_width(columns, 32);
  // Beyond that the largest power of two below the number of columns.
  for (Int power = 128; power > 0; power = power < 1 << 30 ? 2 * power : 0) {
    expect_width(power + 1, power);
    expect_width(power + power / 2, power);
    if (power > 128) expect_width(power, power / 2);
  }
  expect_width(largest, 1 << 30);
}

TEST(Tuning, GivesTheOtherSolversOneWidth) {
  for (const char* name : {"SGETRF", "CGETRF", "ZGETRF", "sgetrf", "cGETRF", "ZgetrF", "SGETRI", "DGETRI", "CGETRI",
                           "ZGETRI", "dgetri", "STRTRI", "DTRTRI", "CTRTRI", "ZTRTRI", "ztrtri"}) {
    for (const Int n1 : sizes) {
      for (const Int n2 : sizes) EXPECT_EQ(ask(1, name, n1, n2), 64) << name << " " << n1 << ", " << n2;
    }
  }
}

TEST(Tuning, GivesTheSolversTheLeastWidthAndNoCrossover) {
  for (const char* operation : {"GETRF", "GETRI", "TRTRI"}) {
    for (const char precision : {'S', 'D', 'C', 'Z', 's', 'd', 'c', 'z'}) {
      const std::string name = precision + std::string(operation);
      EXPECT_EQ(ask(2, name, 1000, 1000), 2) << name;
      EXPECT_EQ(ask(3, name, 1000, 1000), 0) << name;
    }
  }
}

TEST(Tuning, AnswersANameThatItDoesNotHold) {
  for (const char* name : {"DZZZZZ", "szzzzz", "DGETRX", "CGETR "}) {
    EXPECT_EQ(ask(1, name, 1000, 1000), 1) << name;
    EXPECT_EQ(ask(2, name, 1000, 1000), 2) << name;
    EXPECT_EQ(ask(3, name, 1000, 1000), 0) << name;
  }
}

TEST(Tuning, AnswersOneWithoutAPrecision) {
  for (const char* name : {"XGETRF", "xgetrf", "IGETRF", " GETRF", "\0GETRF", "1GETRF", "[GETRF", "{GETRF"}) {
    const std::string six(name, 6);
    for (const Int ispec : {1, 2, 3}) EXPECT_EQ(ask(ispec, six, 1000, 1000), 1) << six << ", ispec " << ispec;
  }
}

TEST(Tuning, RefusesOtherQuestions) {
  for (const char* name : {"DGETRF", "XGETRF", "DZZZZZ"}) {
    for (const Int ispec : {0, -1, 17, 18, 100, largest, std::numeric_limits<Int>::min()}) {
      EXPECT_EQ(ask(ispec, name, 1000, 1000), -1) << name << ", ispec " << ispec;
    }
  }
}

TEST(Tuning, ReadsSixCharactersWhateverTheLength) {
  const char text[] = "DGETRFS";
  for (const Int length : {0, 1, 5, 6, 7}) {
    EXPECT_EQ(routine_call::ilaenv(1, {text, length}, " ", 40, 40, -1, -1), 32) << length;
  }
}

}  // namespace
}  // namespace nuv::test
