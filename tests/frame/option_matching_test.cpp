#include "frame/option_matching.hpp"

#include <gtest/gtest.h>
#include <nuv/nuv_lapack.h>
#include <nuv/nuv_services.h>

#include <string>

namespace nuv::test {
namespace {

constexpr int yes = -1;  // all bits set
constexpr int no = 0;

bool is_letter(int c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

TEST(Lsame, EveryPairOfBytes) {
  for (int i = 0; i < 256; ++i) {
    for (int j = 0; j < 256; ++j) {
      const char a = static_cast<char>(i), b = static_cast<char>(j);
      const bool same = i == j || (is_letter(i) && is_letter(j) && (i ^ j) == ('a' ^ 'A'));
      ASSERT_EQ(nuv_serv_lsame(&a, &b), same ? yes : no) << i << ' ' << j;
    }
  }
}

TEST(Lsame, NamedCases) {
  EXPECT_EQ(nuv_serv_lsame("u", "U"), yes);
  EXPECT_EQ(nuv_serv_lsame("{", "["), no);
  EXPECT_EQ(nuv_serv_lsame("`", "@"), no);
  EXPECT_EQ(nuv_serv_lsame("\xe4", "\xe4"), yes);
  EXPECT_EQ(nuv_serv_lsame("\xe4", "\xc4"), no);
}

TEST(Lsame, OnlyTheFirstCharacterCounts) {
  EXPECT_EQ(nuv_serv_lsame("Nothing", "none"), yes);
  EXPECT_EQ(nuv_serv_lsame("xN", "yN"), no);
}

TEST(IsOneOf, AnyLetterInEitherCase) {
  static_assert(is_one_of('t', 'N', 'T', 'C'));
  static_assert(is_one_of('C', 'n', 't', 'c'));
  static_assert(!is_one_of('u', 'N', 'T', 'C'));
}

int lsamen(int n, const std::string& a, const std::string& b) {
  return nuv_lapack_lsamen(&n, a.data(), b.data(), static_cast<int>(a.size()), static_cast<int>(b.size()));
}

TEST(Lsamen, NothingToCompareIsTheSame) {
  for (const int n : {0, -1, -2147483647 - 1}) {
    EXPECT_EQ(lsamen(n, "", ""), yes);
    EXPECT_EQ(lsamen(n, "a", ""), yes);
    EXPECT_EQ(lsamen(n, "abc", "xyz"), yes);
  }
}

TEST(Lsamen, AWordShorterThanTheCountIsNever) {
  EXPECT_EQ(lsamen(3, "ge", "ge"), no);
  EXPECT_EQ(lsamen(1, "", ""), no);
  EXPECT_EQ(lsamen(2147483647, "ge", "ge"), no);
}

// The characters behind the length given agree too, and are not to be looked at.
TEST(Lsamen, GoesByTheLengthsGiven) {
  const int n = 3;
  EXPECT_EQ(nuv_lapack_lsamen(&n, "gex", "gex", 3, 3), yes);
  EXPECT_EQ(nuv_lapack_lsamen(&n, "gex", "gex", 2, 3), no);
  EXPECT_EQ(nuv_lapack_lsamen(&n, "gex", "gex", 3, 2), no);
  EXPECT_EQ(nuv_lapack_lsamen(&n, "gex", "gex", 2, 2), no);
}

TEST(Lsamen, ComparesLettersUpToTheCount) {
  EXPECT_EQ(lsamen(2, "GE", "ge"), yes);
  EXPECT_EQ(lsamen(2, "GETRF", "gesv"), yes);
  EXPECT_EQ(lsamen(3, "GETRF", "gesv"), no);
  EXPECT_EQ(lsamen(2, "G[", "g{"), no);
}

TEST(Lsamen, FindsADifferenceAtEveryPosition) {
  const std::string word = "dgetrf";
  for (std::size_t i = 0; i < word.size(); ++i) {
    std::string other = "DGETRF";
    other[i] = '-';
    for (std::size_t n = 0; n <= word.size(); ++n) {
      EXPECT_EQ(lsamen(static_cast<int>(n), word, other), n <= i ? yes : no) << i << ' ' << n;
    }
  }
}

}  // namespace
}  // namespace nuv::test
