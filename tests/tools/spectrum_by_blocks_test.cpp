// Matrices made by blocks of reflectors against those that the library makes by one after another.

#include "tools/spectrum_by_blocks.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cmath>
#include <concepts>
#include <limits>
#include <string>
#include <vector>

#include "nuv_command.hpp"
#include "tools/input.hpp"
#include "tools/matrix_market.hpp"
#include "tools/precision.hpp"
#include "tools/routines.hpp"

namespace nuv::test {
namespace {

using namespace nuv::tools;
using Seed = std::array<Int, 4>;

constexpr Seed seed = {1, 22, 333, 4095};

template <RealScalar R>
std::vector<R> spectrum(Int count) {
  std::vector<R> d;
  for (Int i = 0; i < count; ++i) d.push_back(R(i % 2 == 0 ? 1 : -1) / R(i + 1));
  return d;
}

/// The matrix that the reflectors of ?latms make of the numbers d, or in another mode than 0 of those that it spreads
/// from 1 to 1 / 100 or draws. The letter of the symmetry is its own.
template <Scalar T>
DenseMatrix<T> by_routine(char symmetry, std::vector<Real<T>> d, Int rows, Int columns, Seed iseed, Int mode = 0) {
  DenseMatrix<T> a(rows, columns);
  std::vector<T> work(3 * static_cast<std::size_t>(std::max(rows, columns)));
  const Int lower = rows - 1, upper = columns - 1, lda = a.ld();
  const Real<T> cond = 100, norm = 1;
  Int info = 0;
  Routines<T>::latms(&rows, &columns, "N", iseed.data(), &symmetry, d.data(), &mode, &cond, &norm, &lower, &upper, "N",
                     a.elements.data(), &lda, work.data(), &info, 1, 1, 1);
  EXPECT_EQ(info, 0);
  return a;
}

/// The largest difference of elements in units of the rounding errors of numbers up to one.
template <Scalar T>
double difference(const DenseMatrix<T>& a, const DenseMatrix<T>& b) {
  double largest = 0;
  for (std::size_t k = 0; k < a.elements.size(); ++k) {
    const double error = std::abs(a.elements[k] - b.elements[k]);
    if (!(error <= largest)) largest = error;  // a NaN, too
  }
  return largest / double{std::numeric_limits<Real<T>>::epsilon()};
}

template <Scalar T>
void expect_same(Sides sides, char symmetry, Int rows, Int columns) {
  SCOPED_TRACE(testing::Message() << symmetry << ", " << rows << " by " << columns << ", " << precision_words<T>());
  const auto d = spectrum<Real<T>>(std::min(rows, columns));
  DenseMatrix<T> a(rows, columns);
  std::fill(a.elements.begin(), a.elements.end(), T(7));  // what was there before counts for nothing
  Seed iseed = seed;
  double told = 0;
  fill_with_spectrum<T>(sides, d, iseed, a, [&](double share) {
    EXPECT_GT(share, told);
    told = share;
  });
  if (std::min(rows, columns) > 1) {
    EXPECT_DOUBLE_EQ(told, 1);
  }
  EXPECT_LT(difference(a, by_routine<T>(symmetry, d, rows, columns, seed)), 10 + 0.1 * std::max(rows, columns));
  if (symmetry != 'H') return;
  for (Int j = 1; j <= columns; ++j) {
    EXPECT_EQ(std::imag(a(j, j)), 0);
    for (Int i = 1; i < j; ++i) ASSERT_EQ(std::complex(a(i, j)), std::conj(a(j, i)));
  }
}

// One block and a bit more, and what is wider than it is high or higher than wide.
template <Scalar T>
void expect_same_for_all_kinds() {
  for (const auto& [rows, columns] : std::vector<std::pair<Int, Int>>{
           {1, 1}, {2, 2}, {1, 5}, {5, 1}, {192, 192}, {193, 193}, {194, 230}, {230, 194}, {30, 200}}) {
    expect_same<T>(Sides::Independent, 'N', rows, columns);
    if (rows != columns) continue;
    expect_same<T>(Sides::Adjoint, 'H', rows, columns);
    if (ComplexScalar<T>) expect_same<T>(Sides::Transposed, 'S', rows, columns);
  }
}

TEST(SpectrumByBlocks, IsTheRoutinesToRounding) {
  expect_same_for_all_kinds<float>();
  expect_same_for_all_kinds<double>();
  expect_same_for_all_kinds<std::complex<float>>();
  expect_same_for_all_kinds<std::complex<double>>();
}

/// What `nuv make` writes against what ?latms makes with the words of iseed that stand in the account.
template <Scalar T>
void expect_command_to_follow_the_routine() {
  constexpr Seed words_for_1 = {2320, 2605, 3784, 2307};
  constexpr bool is_single = std::same_as<Real<T>, float>;
  const std::string letter(1, static_cast<char>(std::tolower(precision_letter<T>)));
  struct Kind {
    std::string name;
    char symmetry;
  };
  const TemporaryFolder folder;
  for (const auto& [name, symmetry] : std::vector<Kind>{{"general", 'N'}, {"symmetric", 'S'}, {"positive", 'P'}}) {
    for (const Int mode : {3, -1, 5, 6}) {
      SCOPED_TRACE(testing::Message() << name << ", mode " << mode << ", precision " << letter);
      const ChildResult made = run_nuv(folder, {"make", name, "6", "-p", letter, "--mode", std::to_string(mode)});
      ASSERT_TRUE(made.succeeded()) << to_string(made);
      Input written = Input::of(made.output, "made");
      const auto a = to_dense<T>(read_matrix_market(written, is_single ? Precision::Single : Precision::Double));
      EXPECT_LT(difference(a, by_routine<T>(symmetry, std::vector<Real<T>>(6), 6, 6, words_for_1, mode)), 10);
    }
  }
}

TEST(SpectrumByBlocks, TheCommandFollowsTheRoutine) {
  expect_command_to_follow_the_routine<float>();
  expect_command_to_follow_the_routine<double>();
  expect_command_to_follow_the_routine<std::complex<float>>();
  expect_command_to_follow_the_routine<std::complex<double>>();
}

TEST(SpectrumByBlocks, DrawsNoMoreNumbersThanTheRoutine) {
  Seed by_blocks = seed;
  DenseMatrix<double> a(100, 70), b(100, 70);
  const auto d = spectrum<double>(70);
  fill_with_spectrum<double>(Sides::Independent, d, by_blocks, a, [](double) {});
  Seed one_by_one = seed;
  std::vector<double> work(300);
  const Int m = 100, n = 70, lower = 99, upper = 69;
  Int info = 0;
  nuv_lapack_dlagge(&m, &n, &lower, &upper, d.data(), b.elements.data(), &m, one_by_one.data(), work.data(), &info);
  EXPECT_EQ(by_blocks, one_by_one);
}

}  // namespace
}  // namespace nuv::test
