// Scalar types, names and signs.

#include "base/types.hpp"

#include <cmath>
#include <limits>
#include <string>

#include "support/precisions.hpp"

namespace nuv::test {
namespace {

template <class T>
class Types : public testing::Test {};
TYPED_TEST_SUITE(Types, Precisions, PrecisionLetter);

std::string as_string(Text text) {
  return {text.data, std::size_t(text.length)};
}

TYPED_TEST(Types, NameARoutineInSixCharacters) {
  using T = TypeParam;
  const std::string letter(1, precision_letter<T>);
  EXPECT_EQ(as_string(RoutineName<T>("GETRS")), letter + "GETRS");
  EXPECT_EQ(as_string(RoutineName<T>("GESV")), letter + "GESV ");
  EXPECT_EQ(as_string(RoutineName<T>("SWAP")), letter + "SWAP ");
}

TYPED_TEST(Types, NegateBySubtractionFromZero) {
  using T = TypeParam;
  EXPECT_EQ(negated(T(3)), T(-3));
  EXPECT_FALSE(std::signbit(std::real(negated(T(0)))));
  EXPECT_FALSE(std::signbit(std::imag(negated(T(0)))));
}

TYPED_TEST(Types, ConjugateWithAPositiveZero) {
  using T = TypeParam;
  EXPECT_EQ(conjugate(T(2)), T(2));
  EXPECT_FALSE(std::signbit(std::imag(conjugate(T(2)))));
  if constexpr (ComplexScalar<T>) {
    EXPECT_EQ(conjugate(T(2, 5)), T(2, -5));
  }
}

/// A workspace of the size that was told is large enough.
TYPED_TEST(Types, TellSizesThatAreNoLess) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr int digits = std::numeric_limits<R>::digits;
  const auto told = [](std::int64_t elements) {
    return static_cast<std::int64_t>(std::real(as_work_size<T>(elements)));
  };
  const std::int64_t all = std::int64_t{1} << digits;
  for (const std::int64_t elements : {std::int64_t{0}, std::int64_t{1}, all - 1, all, all + 2, 4 * all + 8, 7 * all}) {
    EXPECT_EQ(told(elements), elements);
  }
  EXPECT_EQ(told(-32), -32);
  EXPECT_EQ(told(all + 1), all + 2);
  EXPECT_EQ(told(all + 3), all + 4);
  EXPECT_EQ(told(2 * all - 1), 2 * all);
  EXPECT_EQ(told(4 * all + 1), 4 * all + 8);
}

TEST(Texts, KeepTheLengthOfALiteral) {
  EXPECT_EQ(as_string("ABC"), "ABC");
  EXPECT_EQ(as_string(""), "");
}

TEST(Logicals, SetAllBitsForTrue) {
  EXPECT_EQ(to_logical(true), -1);
  EXPECT_EQ(to_logical(false), 0);
}

}  // namespace
}  // namespace nuv::test
