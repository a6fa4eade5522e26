// Machine parameters, as constants and as measured, and the tests for NaNs.

#include <gtest/gtest.h>

#include <bit>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <thread>
#include <vector>

#include "environment/machine.hpp"
#include "environment/service_math.hpp"
#include "routines.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

constexpr Logical yes = -1, no = 0;

/// Bits of every parameter, for double and for float.
const std::map<char, std::pair<std::uint64_t, std::uint32_t>> parameter_bits = {
    {'E', {0x3CA0000000000000, 0x33800000}}, {'S', {0x0010000000000000, 0x00800000}},
    {'B', {0x4000000000000000, 0x40000000}}, {'P', {0x3CB0000000000000, 0x34000000}},
    {'N', {0x404A800000000000, 0x41C00000}}, {'R', {0x3FF0000000000000, 0x3F800000}},
    {'M', {0xC08FE80000000000, 0xC2FA0000}}, {'U', {0x0010000000000000, 0x00800000}},
    {'L', {0x4090000000000000, 0x43000000}}, {'O', {0x7FEFFFFFFFFFFFFF, 0x7F7FFFFF}},
    {'X', {0x5E30000000000000, 0x59000000}}, {'T', {0x4058ACE5422AA0DB, 0x41000000}},
    {'I', {0x5530000000000000, 0x54800000}}, {'F', {0x21B0000000000000, 0x26000000}},
    {'A', {0x2AB0000000000000, 0x2A800000}},
};

TEST(Lamch, GivesTheBitsOfEachLetterAndZeroForTheRest) {
  for (int c = 0; c < 256; ++c) {
    const char character = static_cast<char>(c);
    const bool is_ascii_letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    const auto known = is_ascii_letter ? parameter_bits.find(char(std::toupper(c))) : parameter_bits.end();
    const auto [d, s] = known != parameter_bits.end() ? known->second : std::pair<std::uint64_t, std::uint32_t>{0, 0};
    EXPECT_EQ(std::bit_cast<std::uint64_t>(routine_call::lamch<double>(character)), d) << c;
    EXPECT_EQ(std::bit_cast<std::uint32_t>(routine_call::lamch<float>(character)), s) << c;
  }
}

TEST(Lamch, LooksAtTheFirstCharacterAlone) {
  for (const char* word : {"e", "E", "Epsilon", "EPS", "eXtra"}) {
    for (const int length : {0, 1, 7}) EXPECT_EQ(nuv_lapack_dlamch(word, length), 0x1p-53) << word;
    EXPECT_EQ(nuv_lapack_slamch(word, 1), 0x1p-24f) << word;
  }
  EXPECT_EQ(nuv_lapack_dlamch("Safe minimum", 12), 0x1p-1022);
  EXPECT_EQ(nuv_lapack_dlamch("SAFE MINIMUM", 12), 0x1p-1022);
  EXPECT_EQ(nuv_lapack_dlamch("Precision", 9), 0x1p-52);
  EXPECT_EQ(nuv_lapack_dlamch("C", 1), 0.0);
  EXPECT_EQ(nuv_lapack_dlamch("D", 1), 0.0);
  EXPECT_EQ(nuv_lapack_dlamch("T", 1), 98.70149282610821);
}

template <class R>
class MachineParameters : public testing::Test {};
TYPED_TEST_SUITE(MachineParameters, RealPrecisions, PrecisionLetter);

TYPED_TEST(MachineParameters, AreThoseOfTheFormat) {
  using R = TypeParam;
  using Limits = std::numeric_limits<R>;
  EXPECT_EQ(routine_call::lamch<R>('E'), Limits::epsilon() / 2);
  EXPECT_EQ(routine_call::lamch<R>('P'), Limits::epsilon());
  EXPECT_EQ(routine_call::lamch<R>('S'), Limits::min());
  EXPECT_EQ(routine_call::lamch<R>('N'), Limits::digits);
  EXPECT_EQ(routine_call::lamch<R>('M'), Limits::min_exponent);
  EXPECT_EQ(routine_call::lamch<R>('L'), Limits::max_exponent);
  EXPECT_EQ(routine_call::lamch<R>('O'), Limits::max());
  EXPECT_EQ(routine_call::lamch<R>('X') * routine_call::lamch<R>('F'), 1);
  EXPECT_EQ(routine_call::lamch<R>('I') * routine_call::lamch<R>('A'), 1);
  // Known where the library itself is compiled.
  static_assert(lamch<R>('s') == Limits::min() && lamch<R>('C') == 0);
}

// -------------------------------------------------------------------------------------------------------- infinities

TEST(Ieeeck, TrustsInfinitiesAndNoNans) {
  EXPECT_EQ(routine_call::ieeeck(0, 0.0f, 1.0f), 1);
  for (const Int ispec : {1, 2, -1, 100}) EXPECT_EQ(routine_call::ieeeck(ispec, 0.0f, 1.0f), 0);
}

TEST(Ieeeck, FindsArithmeticWithoutInfinities) {
  // What a machine would show on which quotients by zero come out finite, or nothing comes out at all.
  EXPECT_EQ(routine_call::ieeeck(0, 0.5f, 1.0f), 0);
  EXPECT_EQ(routine_call::ieeeck(0, 1.0f, 1.0f), 0);
  EXPECT_EQ(routine_call::ieeeck(0, 0.0f, 0.0f), 0);
  EXPECT_EQ(routine_call::ieeeck(0, -0.0f, 1.0f), 0);
  EXPECT_EQ(routine_call::ieeeck(0, std::numeric_limits<float>::quiet_NaN(), 1.0f), 0);
}

TYPED_TEST(MachineParameters, NansAreFound) {
  using R = TypeParam;
  using Limits = std::numeric_limits<R>;
  const R nan = Limits::quiet_NaN(), infinity = Limits::infinity();
  EXPECT_EQ(routine_call::isnan(nan), yes);
  EXPECT_EQ(routine_call::isnan(std::copysign(nan, R(-1))), yes);
  for (const R x : {R(0), R(-0.0), R(1), infinity, -infinity, Limits::max(), Limits::min(), Limits::denorm_min()}) {
    EXPECT_EQ(routine_call::isnan(x), no) << x;
    EXPECT_EQ(routine_call::laisnan(x, x), no) << x;
    EXPECT_EQ(routine_call::laisnan(x, nan), yes) << x;
    EXPECT_EQ(routine_call::laisnan(nan, x), yes) << x;
  }
  EXPECT_EQ(routine_call::laisnan(nan, nan), yes);
  EXPECT_EQ(routine_call::laisnan(R(0), R(-0.0)), no);
  EXPECT_EQ(routine_call::laisnan(R(1), std::nextafter(R(1), R(2))), yes);
  EXPECT_EQ(routine_call::laisnan(infinity, -infinity), yes);
}

TYPED_TEST(MachineParameters, LimitsOfTheRangeStayAsTheyAre) {
  using R = TypeParam;
  using Limits = std::numeric_limits<R>;
  for (const R limit : {Limits::max(), Limits::max() / 2, R(1), R(0), R(-1), Limits::quiet_NaN()}) {
    R small = Limits::min(), large = limit;
    routine_call::labad(small, large);
    EXPECT_EQ(small, Limits::min());
    EXPECT_EQ(std::memcmp(&large, &limit, sizeof large), 0) << limit;
  }
  // Only an infinity has a logarithm beyond 2000.
  R small = R(0.0625), large = Limits::infinity();
  routine_call::labad(small, large);
  EXPECT_EQ(small, R(0.25));
  EXPECT_EQ(large, Limits::infinity());
}

// ------------------------------------------------------------------------------------------------- measured arithmetic

template <RealScalar R>
struct Measured {
  Int beta = 99, t = 99, emin = 99, emax = 99;
  Logical rnd = 99, ieee1 = 99;
  R eps = 99, rmin = 99, rmax = 99;

  bool operator==(const Measured&) const = default;
};

template <RealScalar R>
Measured<R> measure() {
  Measured<R> found;
  routine_call::lamc1<R>(found.beta, found.t, found.rnd, found.ieee1);
  Int beta, t;
  Logical rnd;
  routine_call::lamc2(beta, t, rnd, found.eps, found.emin, found.rmin, found.emax, found.rmax);
  EXPECT_EQ(beta, found.beta);
  EXPECT_EQ(t, found.t);
  EXPECT_EQ(rnd, found.rnd);
  return found;
}

TYPED_TEST(MachineParameters, AreWhatIsMeasured) {
  using R = TypeParam;
  // From several threads at once, each of which may be the first.
  std::vector<Measured<R>> found(4);
  std::vector<std::thread> threads;
  for (auto& one : found) threads.emplace_back([&one] { one = measure<R>(); });
  for (std::thread& thread : threads) thread.join();
  found.push_back(measure<R>());

  for (const Measured<R>& one : found) {
    EXPECT_EQ(static_cast<R>(one.beta), lamch<R>('B'));
    EXPECT_EQ(static_cast<R>(one.t), lamch<R>('N'));
    EXPECT_EQ(one.rnd, yes);
    EXPECT_EQ(one.ieee1, yes);
    EXPECT_EQ(one.eps, lamch<R>('E'));
    EXPECT_EQ(static_cast<R>(one.emin), lamch<R>('M'));
    EXPECT_EQ(one.rmin, lamch<R>('U'));
    EXPECT_EQ(static_cast<R>(one.emax), lamch<R>('L'));
    EXPECT_EQ(one.rmax, lamch<R>('O'));
  }
}

TYPED_TEST(MachineParameters, SumsAreRoundedToTheirType) {
  using R = TypeParam;
  const R eps = std::numeric_limits<R>::epsilon();
  EXPECT_EQ(routine_call::lamc3(R(1), eps), 1 + eps);
  EXPECT_EQ(routine_call::lamc3(R(1), eps / 2), R(1));
  EXPECT_EQ(routine_call::lamc3(R(1) + eps, eps / 2), R(1) + 2 * eps);
  EXPECT_EQ(routine_call::lamc3(R(-2), R(3)), R(1));
}

TYPED_TEST(MachineParameters, UnderflowIsFoundFromWhereItStarts) {
  using R = TypeParam;
  const int digits = std::numeric_limits<R>::digits, least = std::numeric_limits<R>::min_exponent;
  const auto underflow = [](R start) {
    Int emin = 99;
    routine_call::lamc4(emin, start, 2);
    return emin;
  };
  // The last power of two is 2^(least - digits); it can't be halved and got back.
  const Int from_one = least - digits + 1;
  EXPECT_EQ(underflow(R(1)), from_one);
  EXPECT_EQ(underflow(R(-1)), from_one);
  EXPECT_EQ(underflow(R(0.25)), from_one + 2);
  // 1 + 1/8 has three more binary digits.
  EXPECT_EQ(underflow(R(1.125)), from_one + 3);
  EXPECT_EQ(underflow(R(-1.125)), from_one + 3);
}

TYPED_TEST(MachineParameters, TheRangeFollowsFromItsLowerEnd) {
  using R = TypeParam;
  const auto range = [](Int beta, Int p, Int emin, Logical ieee) {
    Int emax = 99;
    R rmax = 99;
    routine_call::lamc5(beta, p, emin, ieee, emax, rmax);
    return std::pair{emax, rmax};
  };
  const double limit = 1 - std::ldexp(1.0, -24);
  EXPECT_EQ(range(2, 24, -125, yes), std::pair(128, static_cast<R>(std::ldexp(limit, 127) * 2)));
  // An odd number of bits in base two says that one of them is not stored: 1 + 8 + 23 and 1 + 8 + 24.
  EXPECT_EQ(range(2, 23, -125, no).first, 130);
  EXPECT_EQ(range(2, 24, -125, no).first, 129);
  // The lowest bit of a logical decides.
  EXPECT_EQ(range(2, 24, -125, 2).first, 129);
  EXPECT_EQ(range(2, 24, -125, 1).first, 128);
  // Where -emin is a power of two the exponents lie even around zero.
  EXPECT_EQ(range(2, 20, -64, no), std::pair(63, static_cast<R>(std::ldexp(1 - std::ldexp(1.0, -20), 63))));
  EXPECT_EQ(range(2, 20, -64, yes).first, 62);
  // Base 16 with six digits: bits are not counted.
  EXPECT_EQ(range(16, 6, -14, no).first, 17);
}

// ---------------------------------------------------------------------------------------------------------- powers

TYPED_TEST(MachineParameters, IntegerPowers) {
  using R = TypeParam;
  const R nan = std::numeric_limits<R>::quiet_NaN(), infinity = std::numeric_limits<R>::infinity();
  EXPECT_EQ(power(R(0), 0), R(1));
  EXPECT_EQ(power(nan, 0), R(1));
  EXPECT_EQ(power(R(0), -3), infinity);
  EXPECT_EQ(power(R(2), 10), R(1024));
  EXPECT_EQ(power(R(2), -10), R(0x1p-10));
  EXPECT_EQ(power(R(-3), 3), R(-27));
  EXPECT_EQ(power(R(-2), -5), R(-0.03125));
  EXPECT_EQ(power(R(5), 1), R(5));
  EXPECT_EQ(power(R(1), std::numeric_limits<Int>::max()), R(1));
  EXPECT_EQ(power(R(1), -std::numeric_limits<Int>::max()), R(1));
  // The reciprocal is rounded before the powers are formed.
  EXPECT_EQ(power(R(3), -2), (R(1) / 3) * (R(1) / 3));
  static_assert(power(R(2), 5) == 32);
}

}  // namespace
}  // namespace nuv::test
