#include "environment/service_math.hpp"

#include <nuv/nuv_services.h>

namespace nuv {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::uint32_t largest_finite = 0x7FEFFFFF;

/// The exponent by which numbers move towards 1 before they are squared.
constexpr int shift_exponent = 767;
constexpr std::uint64_t shift_bits = std::uint64_t{shift_exponent} << 52;
constexpr double shift_up = 0x1p767, shift_down = 0x1p-767;

/// sqrt(a^2 + b^2) times 2^767 by its bits alone, so that a result out of range keeps its mantissa.
double hypotenuse_of_huge(double a, double b) {
  a *= shift_down;
  b *= shift_down;
  return std::bit_cast<double>(std::bit_cast<std::uint64_t>(std::sqrt(a * a + b * b)) + shift_bits);
}

/// sqrt(a^2 + b^2) for numbers that may be subnormal; a subnormal result is cut off, not rounded.
double hypotenuse_of_tiny(double a, double b) {
  a *= shift_up;
  b *= shift_up;
  const auto bits = std::bit_cast<std::uint64_t>(std::sqrt(a * a + b * b));
  constexpr std::uint64_t hidden_bit = std::uint64_t{1} << 52;
  const int exponent = static_cast<int>(bits / hidden_bit);
  if (exponent > shift_exponent) return std::bit_cast<double>(bits - shift_bits);
  const int shift = shift_exponent - exponent + 1;
  if (shift > 52) return 0;
  return std::bit_cast<double>((bits % hidden_bit + hidden_bit) >> shift);
}

}  // namespace

double detail::hypotenuse_beyond_squares(double a, double b) {
  const std::uint32_t ha = high_word(a), hb = high_word(b);
  const auto [low, high] = std::minmax(ha, hb);
  if (high > largest_finite) return std::abs(a) == infinity || std::abs(b) == infinity ? infinity : a * b;
  if (a == 0 || b == 0 || high - low > negligible) return std::abs(a) + std::abs(b);
  if (high >= huge_square) return hypotenuse_of_huge(a, b);
  return hypotenuse_of_tiny(a, b);
}

std::complex<double> principal_root(std::complex<double> z) {
  const double re = z.real(), im = z.imag();
  const double m = hypotenuse(re, im);
  if (m == 0) return 0;
  if (re > 0) {
    const double t = std::sqrt((m + re) / 2);
    return {t, 0.5 * im / t};
  }
  const double root = std::sqrt((m - re) / 2);
  const double t = im < 0 ? negated(root) : root;
  return {0.5 * im / t, t};
}

std::complex<float> principal_root(std::complex<float> z) {
  return std::complex<float>(principal_root(std::complex<double>(z)));
}

}  // namespace nuv

double nuv_serv_d_sign(const double* a, const double* b) {
  return nuv::sign(*a, *b);
}

float nuv_serv_s_sign(const float* a, const float* b) {
  return nuv::sign(*a, *b);
}

int nuv_serv_d_int(const double* x) {
  return nuv::truncated(*x);
}

int nuv_serv_s_int(const float* x) {
  return nuv::truncated(*x);
}

double nuv_serv_d_powi(const double* x, const int* n) {
  return nuv::power(*x, *n);
}

float nuv_serv_s_powi(const float* x, const int* n) {
  return nuv::power(*x, *n);
}

double nuv_serv_hypot(double a, double b) {
  return nuv::hypotenuse(a, b);
}

double nuv_serv_z_abs(const nuv_complex16* z) {
  return nuv::modulus(*z);
}

float nuv_serv_c_abs(const nuv_complex8* c) {
  return nuv::modulus(*c);
}

void nuv_serv_sqrt(double* root_re, double* root_im, double re, double im) {
  const std::complex<double> root = nuv::principal_root(std::complex<double>(re, im));
  *root_re = root.real();
  *root_im = root.imag();
}

void nuv_serv_z_sqrt(nuv_complex16* result, const nuv_complex16* z) {
  *result = nuv::principal_root(*z);
}

void nuv_serv_c_sqrt(nuv_complex8* result, const nuv_complex8* c) {
  *result = nuv::principal_root(*c);
}

float nuv_serv_s_cos(const float* x) {
  return static_cast<float>(std::cos(static_cast<double>(*x)));
}
