#pragma once

// Decimal numbers in text, rounded correctly at the speed at which a disk gives them.

#include <cstdint>
#include <string_view>

namespace nuv::tools {

/// Precision in which numbers are rounded and beyond whose range they are refused.
enum class Precision { Single, Double };

std::string_view name_of(Precision precision);

/// A number as it is written: [sign] digits [. digits] [e|d [sign] digits], where either string of digits around the
/// point may be empty, and d is what Fortran writes for e.
struct Decimal {
  std::uint64_t digits = 0;  ///< of the significand, if no more than nineteen are significant
  std::int64_t exponent = 0;
  bool is_negative = false;
  bool is_long = false;     ///< more digits than fit there
  bool is_integer = false;  ///< neither point nor exponent
  std::string_view text;
};

/// Where reading stopped: behind the number, which is all of it that `text` begins with; nullptr where it begins with
/// none. The text must be followed by eight bytes that may be read, and end in a character that belongs to no number.
const char* scan_decimal(const char* text, Decimal& number);

/// The nearest number of the precision, ties to even; infinite where it overflows.
double rounded(const Decimal& number, Precision precision);

/// Whether digits were lost to a zero.
bool has_underflowed(const Decimal& number, double value);

}  // namespace nuv::tools
