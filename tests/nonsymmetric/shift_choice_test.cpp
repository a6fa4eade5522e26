// Which shifts a sweep takes of those that it could, and how they are paired.

#include "nonsymmetric/shift_choice.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace nuv::test {
namespace {

using Complex = std::complex<double>;
using Shifts = std::vector<Complex>;

/// What one of the functions makes of real and imaginary parts.
template <class Change>
Shifts changed(const Shifts& shifts, Change change) {
  std::vector<double> re, im;
  for (const Complex& shift : shifts) {
    re.push_back(shift.real());
    im.push_back(shift.imag());
  }
  change(EigenvalueArray<double>{re.data(), im.data()});
  Shifts result;
  for (std::size_t i = 0; i < re.size(); ++i) result.emplace_back(re[i], im[i]);
  return result;
}
Shifts sorted(Shifts shifts, Int ks, Int kbot) {
  const Shifts by_parts = changed(shifts, [=](const auto& w) { sort_shifts(w, ks, kbot); });
  sort_shifts(EigenvalueArray<Complex>{shifts.data()}, ks, kbot);
  EXPECT_EQ(by_parts, shifts);
  return by_parts;
}
Shifts paired(const Shifts& shifts, Int ks, Int kbot) {
  return changed(shifts, [=](const auto& w) { pair_shifts(w, ks, kbot); });
}

constexpr Complex i(0, 1);

TEST(ShiftChoice, SortsByMagnitude) {
  EXPECT_EQ(sorted({1, 4, -3, 2, 7}, 1, 5), Shifts({7, 4, -3, 2, 1}));
  EXPECT_EQ(sorted({1, 2, 3, 4, 5}, 2, 4), Shifts({1, 4, 3, 2, 5}));
  EXPECT_EQ(sorted({1, 2, 3, 4, 5}, 3, 3), Shifts({1, 2, 3, 4, 5}));
  // Sums of both parts count, and equals keep their order: the two of a pair stay together.
  EXPECT_EQ(sorted({4, 3. + 2. * i, 3. - 2. * i, -5, 6}, 1, 5), Shifts({6, 3. + 2. * i, 3. - 2. * i, -5, 4}));
  EXPECT_EQ(sorted({1, 2. + i, 2. - i, 3, -3}, 1, 5), Shifts({2. + i, 2. - i, 3, -3, 1}));
}

TEST(ShiftChoice, PairsRealShiftsAndConjugates) {
  EXPECT_EQ(paired({1, 2, 1. + i, 1. - i}, 1, 4), Shifts({1, 2, 1. + i, 1. - i}));
  // From the last on; the one in between goes in front.
  EXPECT_EQ(paired({1. + i, 1. - i, 2, 4. + i, 4. - i, 3}, 1, 6), Shifts({1. + i, 1. - i, 2, 3, 4. + i, 4. - i}));
  EXPECT_EQ(paired({9, 1. + i, 1. - i, 3}, 2, 4), Shifts({9, 3, 1. + i, 1. - i}));
  EXPECT_EQ(paired({1. + i, 1. - i, 2}, 1, 3), Shifts({2, 1. + i, 1. - i}));
  EXPECT_EQ(paired({1, 2}, 1, 2), Shifts({1, 2}));
}

TEST(ShiftChoice, TakesTheNearerOfTwo) {
  const auto nearer = [](const Shifts& shifts, double diagonal) {
    const Shifts by_parts = changed(shifts, [=](const auto& w) { take_nearer_shift(w, 3, diagonal); });
    Shifts whole = shifts;
    take_nearer_shift(EigenvalueArray<Complex>{whole.data()}, 3, Complex(diagonal));
    EXPECT_EQ(by_parts, whole);
    return by_parts;
  };
  EXPECT_EQ(nearer({1, 4, 6}, 5.5), Shifts({1, 6, 6}));
  EXPECT_EQ(nearer({1, 4, 6}, 4.5), Shifts({1, 4, 4}));
  EXPECT_EQ(nearer({1, 4, 6}, 5), Shifts({1, 4, 4}));
}

/// The shifts of an active block 2 ... 6 that didn't deflate, by their sums and products.
TEST(ShiftChoice, LeavesTheTrailingBlockInExceptions) {
  std::vector<double> h(49);
  const Matrix<double> H{h.data(), 7};
  for (Int j = 1; j <= 7; ++j) {
    H(j, j) = 10 * j;
    if (j < 7) H(j + 1, j) = j % 2 == 0 ? j : -j;
  }
  const Shifts shifts = changed(Shifts(6), [&](const auto& w) { exceptional_shifts(H, w, 2, 2, 5); });
  // Rows 4 and 5 give the last two: s = |h54| + |h43|, on the diagonal h55 + 3/4 s, beside it s and -7/16 s.
  const double s = 4 + 3, a = 50 + 0.75 * s;
  EXPECT_NEAR(std::abs(shifts[4] + shifts[3] - 2 * a), 0, 1e-12);
  EXPECT_NEAR(std::abs(shifts[4] * shifts[3] - (a * a + 0.4375 * s * s)), 0, 1e-10);
  EXPECT_EQ(shifts[1], Complex(30));
  EXPECT_EQ(shifts[2], Complex(30));
  EXPECT_EQ(shifts[0], Complex(0));
  EXPECT_EQ(shifts[5], Complex(0));

  std::vector<Complex> hz(h.begin(), h.end()), w(6);
  const Matrix<Complex> HZ{hz.data(), 7};
  HZ(5, 4) = Complex(3, -4);
  exceptional_shifts(HZ, EigenvalueArray<Complex>{w.data()}, 2, 2, 5);
  EXPECT_EQ(w, Shifts({0, 30 + 0.75 * 2, 30 + 0.75 * 2, 50 + 0.75 * 7, 50 + 0.75 * 7, 0}));
}

TEST(ShiftChoice, FallsBackOnTheLastTwoRows) {
  std::vector<Complex> h{9, 9, 9, 9, Complex(1, 2), 3, 9, Complex(0, 1), 4}, w(3);
  const Matrix<Complex> H{h.data(), 3};
  shifts_of_last_pair(H, EigenvalueArray<Complex>{w.data()}, 3);
  EXPECT_NEAR(std::abs(w[1] + w[2] - Complex(5, 2)), 0, 1e-14);
  EXPECT_NEAR(std::abs(w[1] * w[2] - (Complex(1, 2) * 4. - Complex(0, 3))), 0, 1e-13);
  EXPECT_EQ(w[0], Complex(0));

  std::fill(h.begin(), h.end(), 0);
  shifts_of_last_pair(H, EigenvalueArray<Complex>{w.data()}, 3);
  EXPECT_EQ(w, Shifts(3));
}

}  // namespace
}  // namespace nuv::test
