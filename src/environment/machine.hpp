#pragma once

// What is known of the arithmetic: the parameters of IEEE single and double precision, and tests for NaNs.

#include <array>

#include "base/types.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

namespace detail {

template <RealScalar R>
struct MachineParameter {
  char letter;
  R value;
};

template <RealScalar R>
inline constexpr MachineParameter<R> machine_parameters[] = {};
template <>
inline constexpr MachineParameter<double> machine_parameters<double>[] = {
    {'E', 0x1p-53},                 // half the distance from 1 to the next number
    {'S', 0x1p-1022},               // smallest number whose reciprocal does not overflow
    {'B', 2},                       // base
    {'P', 0x1p-52},                 // eps times base
    {'N', 53},                      // digits of the mantissa
    {'R', 1},                       // addition rounds
    {'M', -1021},                   // smallest exponent before underflow
    {'U', 0x1p-1022},               // underflow threshold
    {'L', 1024},                    // largest exponent before overflow
    {'O', 0x1.fffffffffffffp1023},  // overflow threshold
    // This library's own: scale factors of rotations and the limits beyond which to scale, and a factor of tolerances.
    {'X', 0x1p484},
    {'F', 0x1p-484},
    {'I', 0x1p340},
    {'A', 0x1p-340},
    {'T', 0x1.8ace5422aa0dbp6},  // eps^(-1/8)
};
template <>
inline constexpr MachineParameter<float> machine_parameters<float>[] = {
    {'E', 0x1p-24f}, {'S', 0x1p-126f}, {'B', 2},         {'P', 0x1p-23f}, {'N', 24},
    {'R', 1},        {'M', -125},      {'U', 0x1p-126f}, {'L', 128},      {'O', 0x1.fffffep127f},
    {'X', 0x1p51f},  {'F', 0x1p-51f},  {'I', 0x1p42f},   {'A', 0x1p-42f}, {'T', 8},
};

template <RealScalar R>
inline constexpr auto machine_parameters_by_letter = [] {
  std::array<R, 26> values{};
  for (const auto& [letter, value] : machine_parameters<R>) values[letter - 'A'] = value;
  return values;
}();

}  // namespace detail

/// A parameter of the arithmetic by its letter cmach, in either case; zero for a letter that stands for none.
template <RealScalar R>
constexpr R lamch(char cmach) {
  const int place = to_upper_ascii(static_cast<unsigned char>(cmach)) - 'A';
  return place >= 0 && place < 26 ? detail::machine_parameters_by_letter<R>[static_cast<std::size_t>(place)] : R(0);
}

/// Checks that quotients by zero give infinities which behave. zero and one are arguments so that nothing is computed
/// before the program runs.
///
/// ispec    0: infinities; any other value asks for NaNs too, which are never to be trusted
Int ieeeck(Int ispec, float zero, float one);

/// Whether the numbers a, b differ; a NaN differs from every number, and from itself.
/// isnan: whether x does.
template <RealScalar R>
constexpr Logical laisnan(R a, R b) {
  return to_logical(a != b);
}
template <RealScalar R>
constexpr Logical isnan(R x) {
  return laisnan(x, x);
}

/// Takes the square roots of small and large, the limits of the range, if it spans more than 10^2000: machines have
/// been that computed beyond what their library functions could bear. With IEEE formats nothing changes.
template <RealScalar R>
void labad(R& small, R& large);

}  // namespace nuv
