#include "generators/random_numbers.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace nuv {
namespace {

constexpr Int radix = 4096;
constexpr Int most_at_once = 128;

/// A number below 2^48 as four digits to the base 4096, the most significant first.
struct Digits {
  Int d1, d2, d3, d4;
};

constexpr Digits multiplier = {494, 322, 2508, 2549};

constexpr Digits digits_of(const Int* iseed) {
  return {iseed[0], iseed[1], iseed[2], iseed[3]};
}

void store(const Digits& x, Int* iseed) {
  iseed[0] = x.d1;
  iseed[1] = x.d2;
  iseed[2] = x.d3;
  iseed[3] = x.d4;
}

/// x y mod 2^48. Sums of digit products stay below 2^27.
constexpr Digits operator*(const Digits& x, const Digits& y) {
  Int z4 = x.d4 * y.d4;
  Int z3 = z4 / radix;
  z4 -= radix * z3;
  z3 += x.d3 * y.d4 + x.d4 * y.d3;
  Int z2 = z3 / radix;
  z3 -= radix * z2;
  z2 += x.d2 * y.d4 + x.d3 * y.d3 + x.d4 * y.d2;
  Int z1 = z2 / radix;
  z2 -= radix * z1;
  z1 += x.d1 * y.d4 + x.d2 * y.d3 + x.d3 * y.d2 + x.d4 * y.d1;
  return {z1 % radix, z2, z3, z4};
}

/// x / 2^48
template <RealScalar R>
constexpr R fraction(const Digits& x) {
  constexpr R r = R(1) / radix;
  return r *
         (static_cast<R>(x.d1) + r * (static_cast<R>(x.d2) + r * (static_cast<R>(x.d3) + r * static_cast<R>(x.d4))));
}

/// The powers of the multiplier from the first on, digit by digit, so that many states can be computed side by side.
struct Powers {
  std::array<Int, most_at_once> d1, d2, d3, d4;

  constexpr Digits operator[](std::size_t k) const { return {d1[k], d2[k], d3[k], d4[k]}; }
};

constexpr Powers powers_of_multiplier = [] {
  Powers powers{};
  Digits power = multiplier;
  for (std::size_t k = 0; k < most_at_once; ++k, power = power * multiplier) {
    powers.d1[k] = power.d1;
    powers.d2[k] = power.d2;
    powers.d3[k] = power.d3;
    powers.d4[k] = power.d4;
  }
  return powers;
}();

/// Magnitude of a complex number with normal parts, or of either part before it gets its phase (G. E. P. Box,
/// M. E. Muller, A note on the generation of random normal deviates, Ann. Math. Stat. 29, 1958).
template <RealScalar R>
R normal_magnitude(R u) {
  return std::sqrt(R(-2) * std::log(u));
}

template <RealScalar R>
R normal(R u, R v) {
  return normal_magnitude(u) * std::cos(two_pi<R> * v);
}

template <RealScalar R>
std::complex<R> with_phase(R magnitude, R v) {
  const R angle = two_pi<R> * v;
  return {magnitude * std::cos(angle), magnitude * std::sin(angle)};
}

/// The complex number of a distribution that two uniform numbers make.
template <RealScalar R>
std::complex<R> complex_number(Int idist, R u, R v) {
  switch (idist) {
    case 1:
      return {u, v};
    case 2:
      return {R(2) * u - R(1), R(2) * v - R(1)};
    case 3:
      return with_phase(normal_magnitude(u), v);
    case 4:
      return with_phase(std::sqrt(u), v);
    default:
      return with_phase(R(1), v);
  }
}

template <Scalar T>
constexpr bool is_distribution(Int idist) {
  return idist >= 1 && idist <= (ComplexScalar<T> ? 5 : 3);
}

}  // namespace

template <RealScalar R>
R laran(Int* iseed) {
  Digits x = digits_of(iseed);
  R value;
  do {
    x = x * multiplier;
    value = fraction<R>(x);
  } while (value == R(1));
  store(x, iseed);
  return value;
}

template <RealScalar R>
void laruv(Int* iseed, Int n, R* x) {
  if (n < 1) return store({0, 0, 0, 0}, iseed);
  const Digits seed = digits_of(iseed);
  const auto count = static_cast<std::size_t>(std::min(n, most_at_once));
  for (std::size_t k = 0; k < count; ++k) x[k] = fraction<R>(seed * powers_of_multiplier[k]);
  store(seed * powers_of_multiplier[count - 1], iseed);
}

template <Scalar T>
T larnd(Int idist, Int* iseed) {
  using R = Real<T>;
  const R u = laran<R>(iseed);
  if (!is_distribution<T>(idist)) return T(0);
  if constexpr (ComplexScalar<T>) {
    return complex_number(idist, u, laran<R>(iseed));
  } else {
    if (idist == 1) return u;
    if (idist == 2) return u + (u - R(1));
    return normal(u, laran<R>(iseed));
  }
}

template <Scalar T>
void larnv(Int idist, Int* iseed, Int n, T* x) {
  using R = Real<T>;
  constexpr Int block = most_at_once / 2;
  const bool takes_pairs = ComplexScalar<T> || idist == 3;
  R u[most_at_once];
  for (Int done = 0; done < n; done += std::min(block, n - done)) {
    const Int count = std::min(block, n - done);
    laruv(iseed, takes_pairs ? 2 * count : count, u);
    if (!is_distribution<T>(idist)) continue;
    T* const to = x + done;
    for (Int i = 0; i < count; ++i) {
      if constexpr (ComplexScalar<T>) {
        to[i] = complex_number(idist, u[2 * i], u[2 * i + 1]);
      } else {
        to[i] = idist == 1 ? u[i] : idist == 2 ? R(2) * u[i] - R(1) : normal(u[2 * i], u[2 * i + 1]);
      }
    }
  }
}

}  // namespace nuv

#include "generators/random_numbers.entries.inc"
