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

TEST(Tuning, SplitsTheRightLookingFactorisationByItsColumns) {
  constexpr struct {
    Int columns, width;
  } expected[] = {
      {-1, 1},     {0, 1},      {1, 1},      {8, 1},      {9, 8},      {32, 8},       {33, 32},     {128, 32},
      {129, 128},  {256, 128},  {257, 256},  {512, 256},  {513, 512},  {1000, 512},   {1024, 512},  {1025, 1024},
      {2048, 1024}, {2049, 2048}, {1 << 30, 1 << 29}, {(1 << 30) + 1, 1 << 30}, {largest, 1 << 30},
  };
  for (const auto& [columns, width] : expected) {
    for (const Int rows : sizes) {
      for (const char* name : {"DGETRF", "dgetrf", "dGeTrF"}) {
        EXPECT_EQ(ask(1, name, rows, columns), width) << name << " " << rows << " by " << columns;
      }
    }
  }
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
