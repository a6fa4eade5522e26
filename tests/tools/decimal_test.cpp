// The quick rounding against the library's, which is right and slow.

#include "tools/decimal.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace nuv::tools {
namespace {

Decimal scanned(const std::string& padded) {
  Decimal number;
  EXPECT_NE(scan_decimal(padded.c_str(), number), nullptr) << padded;
  return number;
}

void expect_as_library(const std::string& text) {
  const std::string padded = text + "\n       ";
  const Decimal number = scanned(padded);
  EXPECT_EQ(number.text, text);
  const double in_double = rounded(number, Precision::Double), in_single = rounded(number, Precision::Single);
  EXPECT_EQ(in_double, strtod(text.c_str(), nullptr)) << text;
  EXPECT_EQ(in_single, strtof(text.c_str(), nullptr)) << text;
  EXPECT_EQ(std::signbit(in_double), text.starts_with('-')) << text;
}

std::string printed(const char* format, long double value, int digits) {
  char text[100];
  std::snprintf(text, sizeof text, format, digits, value);
  return text;
}

TEST(Decimal, RoundsAsTheLibraryDoesOverAllExponents) {
  std::mt19937_64 engine(7);
  for (int k = 0; k < 20000; ++k) {
    const std::uint64_t bits = engine();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    expect_as_library(printed("%.*Le", value, static_cast<int>(engine() % 22)));
  }
  for (int k = 0; k < 20000; ++k) {
    const auto exponent = static_cast<int>(engine() % 90) - 45;
    expect_as_library(std::to_string(engine() % 1000) + "." + std::to_string(engine()) + "e" +
                      std::to_string(exponent));
    expect_as_library(std::to_string(static_cast<std::int64_t>(engine())));
  }
}

// Decimals of the middles themselves, exact or cut off above or below, are what quick rounding can't decide.
TEST(Decimal, RoundsAsTheLibraryDoesNearTheMiddleOfTwoNumbers) {
  std::mt19937_64 engine(8);
  std::uniform_real_distribution<double> uniform(-2, 2);
  for (int k = 0; k < 3000; ++k) {
    const double x = uniform(engine), next_double = std::nextafter(x, 9.);
    const float y = static_cast<float>(x), next_float = std::nextafter(y, 9.f);
    for (const int digits : {16, 17, 18, 19, 20, 60}) {
      expect_as_library(printed("%.*Le", (static_cast<long double>(x) + next_double) / 2, digits));
      expect_as_library(printed("%.*Lf", (static_cast<long double>(y) + next_float) / 2, digits));
    }
  }
}

TEST(Decimal, RoundsAsTheLibraryDoesAtTheEndsOfTheRange) {
  for (const char* text : {"1.7976931348623157e308",
                           "1.7976931348623158e308",
                           "1.7976931348623159e308",
                           "1e308",
                           "1e309",
                           "2.2250738585072014e-308",
                           "2.2250738585072011e-308",
                           "4.9e-324",
                           "2.5e-324",
                           "2.4e-324",
                           "1e-400",
                           "3.4028235e38",
                           "3.4028236e38",
                           "1.17549435e-38",
                           "1.4e-45",
                           "7e-46",
                           "1e-60",
                           "0.000001e314",
                           "0e999999999",
                           "123456789012345678901234567890e-30",
                           "0.00000000000000000000000000012345678901234567890",
                           "00000000000000000000000000000000000001",
                           "18446744073709551615",
                           "18446744073709551616",
                           "-0",
                           "-0.0e5"}) {
    expect_as_library(text);
  }
}

TEST(Decimal, StopsBehindTheNumber) {
  const auto length = [](const std::string& text) {
    const std::string padded = text + "\n       ";
    Decimal number;
    const char* const end = scan_decimal(padded.c_str(), number);
    return end == nullptr ? -1 : static_cast<int>(end - padded.c_str());
  };
  EXPECT_EQ(length("12345678x"), 8);
  EXPECT_EQ(length("1234567812345678/"), 16);
  EXPECT_EQ(length("1.5:2"), 3);
  EXPECT_EQ(length("-1d-3 4"), 5);
  EXPECT_EQ(length("1e5.5"), 3);
  for (const char* none : {"", "+", ".", "-.", "e5", "1e", "1e+", "1d-", "--1", "x"})
    EXPECT_EQ(length(none), -1) << none;
}

TEST(Decimal, TellsZeroFromWhatBecameZero) {
  const auto underflows = [](const std::string& text) {
    const std::string padded = text + "\n       ";
    const Decimal number = scanned(padded);
    return has_underflowed(number, rounded(number, Precision::Double));
  };
  EXPECT_TRUE(underflows("1e-400"));
  EXPECT_TRUE(underflows("-0.0000000000000000000000000000001d-400"));
  EXPECT_FALSE(underflows("4.9e-324"));
  EXPECT_FALSE(underflows("0e-400"));
  EXPECT_FALSE(underflows("0.00000000000000000000000000000000000000e5"));
}

}  // namespace
}  // namespace nuv::tools
