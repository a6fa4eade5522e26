#include "decimal.hpp"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstring>
#include <limits>
#include <string>

namespace nuv::tools {
namespace {

constexpr int most_digits = 19;  // 10^19 < 2^64

constexpr bool is_digit(char c) {
  return static_cast<unsigned char>(c - '0') < 10;
}

/// Whether all of eight characters are digits: the upper half of each is 3, and stays it when six is added.
bool are_digits(std::uint64_t eight) {
  constexpr std::uint64_t upper = 0xF0F0F0F0F0F0F0F0u, threes = 0x3030303030303030u;
  return (eight & upper) == threes && ((eight + 0x0606060606060606u) & upper) == threes;
}

/// The number of eight digits, the first of which is in the lowest byte: pairs, then fours, then all are put together,
/// each with one multiplication.
std::uint64_t value_of(std::uint64_t eight) {
  eight -= 0x3030303030303030u;
  eight = eight * 10 + (eight >> 8);
  constexpr std::uint64_t pairs = 0x000000FF000000FFu;
  return ((eight & pairs) * (100 + (std::uint64_t{1000000} << 32)) +
          ((eight >> 16) & pairs) * (1 + (std::uint64_t{10000} << 32))) >>
         32;
}

/// Appends the digits that stand there to a number, which may overflow; returns where they end.
const char* take_digits(const char* at, std::uint64_t& number) {
  std::uint64_t eight;
  while (std::memcpy(&eight, at, sizeof eight), are_digits(eight)) {
    number = number * 100000000 + value_of(eight);
    at += sizeof eight;
  }
  for (; is_digit(*at); ++at) number = number * 10 + static_cast<std::uint64_t>(*at - '0');
  return at;
}

const char* take_sign(const char* at, bool& is_negative) {
  is_negative = *at == '-';
  return *at == '-' || *at == '+' ? at + 1 : at;
}

/// Whether more digits count than fit into 64 bits: zeros in front of the others don't.
bool is_long(const char* first, const char* end, std::ptrdiff_t count) {
  for (; count > most_digits && first != end && (*first == '0' || *first == '.'); ++first) {
    if (*first == '0') --count;
  }
  return count > most_digits;
}

/// An exponent, which stays where it is once it leaves every range.
const char* take_exponent(const char* at, std::int64_t& exponent) {
  constexpr std::int64_t far_away = 1000000000;
  bool is_negative;
  at = take_sign(at, is_negative);
  if (!is_digit(*at)) return nullptr;
  for (; is_digit(*at); ++at) exponent = std::min(exponent * 10 + (*at - '0'), far_away);
  if (is_negative) exponent = -exponent;
  return at;
}

// ---------------------------------------------------------------------------------------------------------- rounding

// Powers of ten in 64 bits of significand, correctly rounded, over the exponents for which digits times a power can be
// anything but zero or infinity.
constexpr int least_power = -360, greatest_power = 310;

std::array<long double, greatest_power - least_power + 1> powers_of_ten() {
  std::array<long double, greatest_power - least_power + 1> powers;
  for (int e = least_power; e <= greatest_power; ++e) {
    powers[static_cast<std::size_t>(e - least_power)] = strtold(("1e" + std::to_string(e)).c_str(), nullptr);
  }
  return powers;
}

/// The numbers for which quick rounding is tried: what lies between is normal and finite.
template <class R>
constexpr long double smallest = 2 * static_cast<long double>(std::numeric_limits<R>::min());
template <class R>
constexpr long double largest = static_cast<long double>(std::numeric_limits<R>::max()) / 2;

/// Whether digits times a power of ten, computed in 64 bits, lie so near the middle between two numbers of type R that
/// an error in the last bits may decide. The power is off by up to half of the last bit, which is up to a whole one of
/// the product, and rounding the product adds half.
template <class R>
bool is_near_middle(long double product) {
  static_assert(LDBL_MANT_DIG == 64 && std::numeric_limits<R>::digits < 62);
  constexpr int dropped = LDBL_MANT_DIG - std::numeric_limits<R>::digits;
  constexpr std::uint64_t middle = std::uint64_t{1} << (dropped - 1), mask = 2 * middle - 1;
  std::uint64_t significand;
  std::memcpy(&significand, &product, sizeof significand);
  const std::uint64_t lost = significand & mask;
  return lost >= middle - 2 && lost <= middle + 2;
}

// The library's strtod rounds correctly on every machine; std::from_chars of the 32-bit runtime rounds twice where
// the x87 unit does the work. The locale is pinned, the caller's doesn't matter.
double rounded_by_library(std::string_view text, Precision precision) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", locale_t{});
  std::string word(text);
  std::replace_if(
      word.begin(), word.end(), [](char c) { return c == 'd' || c == 'D'; }, 'e');
  return precision == Precision::Single ? strtof_l(word.c_str(), nullptr, plain)
                                        : strtod_l(word.c_str(), nullptr, plain);
}

template <class R>
double rounded_to(const Decimal& number, Precision precision) {
  static const auto powers = powers_of_ten();
  if (!number.is_long && number.exponent >= least_power && number.exponent <= greatest_power) {
    if (number.digits == 0) return number.is_negative ? -0. : 0.;
    const long double product =
        static_cast<long double>(number.digits) * powers[static_cast<std::size_t>(number.exponent - least_power)];
    if (product > smallest<R> && product < largest<R> && !is_near_middle<R>(product)) {
      const R value = static_cast<R>(product);
      return number.is_negative ? -value : value;
    }
  }
  return rounded_by_library(number.text, precision);
}

}  // namespace

std::string_view name_of(Precision precision) {
  return precision == Precision::Single ? "single" : "double";
}

const char* scan_decimal(const char* text, Decimal& number) {
  number = {};
  const char* const first = take_sign(text, number.is_negative);
  const char* at = take_digits(first, number.digits);
  std::ptrdiff_t count = at - first;
  number.is_integer = *at != '.';
  if (*at == '.') {
    const char* const fraction = at + 1;
    at = take_digits(fraction, number.digits);
    count += at - fraction;
    number.exponent = fraction - at;
  }
  if (count == 0) return nullptr;
  if (count > most_digits) number.is_long = is_long(first, at, count);
  if (*at == 'e' || *at == 'E' || *at == 'd' || *at == 'D') {
    std::int64_t exponent = 0;
    at = take_exponent(at + 1, exponent);
    if (at == nullptr) return nullptr;
    number.exponent += exponent;
    number.is_integer = false;
  }
  number.text = {text, static_cast<std::size_t>(at - text)};
  return at;
}

double rounded(const Decimal& number, Precision precision) {
  return precision == Precision::Single ? rounded_to<float>(number, precision) : rounded_to<double>(number, precision);
}

bool has_underflowed(const Decimal& number, double value) {
  if (value != 0 || (number.digits == 0 && !number.is_long)) return false;
  const std::string_view significand = number.text.substr(0, number.text.find_first_of("eEdD"));
  return significand.find_first_of("123456789") != significand.npos;
}

}  // namespace nuv::tools
