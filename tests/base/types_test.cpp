// Scalar types, names and signs.

#include "base/types.hpp"

#include <cmath>
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
