// Assignment and concatenation of texts of fixed length.

#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <string>

namespace nuv::test {
namespace {

constexpr std::size_t margin = 40;

/// What call(dest) leaves in a target of some length at some distance from a boundary; the bytes around it must stay.
template <class Call>
std::string written(std::size_t length, std::size_t offset, Call call) {
  alignas(64) char memory[256];
  std::fill(std::begin(memory), std::end(memory), '#');
  char* const dest = memory + margin + offset;
  call(dest, int(length));
  for (std::size_t i = 0; i < sizeof memory; ++i) {
    if (memory + i >= dest && memory + i < dest + length) continue;
    EXPECT_EQ(memory[i], '#') << "byte " << i << ", target of " << length << " at " << offset;
  }
  return {dest, length};
}

const std::string text = "The quick brown fox jumps over the lazy dog, and then back again.";

TEST(ServiceText, AssignsCutOffOrFilledWithBlanks) {
  for (std::size_t offset = 0; offset < 17; ++offset) {
    for (const std::size_t length : {0, 1, 2, 3, 15, 16, 17, 31, 32, 33, 50, 63}) {
      for (std::size_t source = 0; source <= text.size(); ++source) {
        std::string expected = text.substr(0, source);
        expected.resize(length, ' ');
        ASSERT_EQ(
            written(length, offset, [&](char* dest, int n) { nuv_serv_strcpy(dest, text.data(), n, int(source)); }),
            expected);
      }
    }
  }
}

TEST(ServiceText, JoinsTwoTexts) {
  for (std::size_t offset = 0; offset < 17; ++offset) {
    for (const std::size_t length : {0, 1, 2, 3, 15, 16, 17, 33, 63}) {
      for (const std::size_t first : {0, 1, 2, 14, 15, 16, 17, 30, 65}) {
        for (const std::size_t second : {0, 1, 2, 15, 16, 17, 40}) {
          std::string expected = text.substr(0, first) + text.substr(5, second);
          expected.resize(length, ' ');
          ASSERT_EQ(written(length, offset,
                            [&](char* dest, int n) {
                              nuv_serv_strcat2(dest, text.data(), text.data() + 5, n, int(first), int(second));
                            }),
                    expected);
        }
      }
    }
  }
}

TEST(ServiceText, BuildsTheOptionsOfARoutine) {
  EXPECT_EQ(written(2, 3, [](char* dest, int n) { nuv_serv_strcat2(dest, "U", "N", n, 1, 1); }), "UN");
}

TEST(ServiceText, WritesNoTerminatingZero) {
  EXPECT_EQ(written(4, 0, [](char* dest, int n) { nuv_serv_strcpy(dest, "ab", n, 3); }), std::string("ab\0 ", 4));
  EXPECT_EQ(written(3, 0, [](char* dest, int n) { nuv_serv_strcpy(dest, "abc", n, 3); }), "abc");
}

TEST(ServiceText, TakesANegativeLengthForNone) {
  EXPECT_EQ(written(0, 0, [](char* dest, int) { nuv_serv_strcpy(dest, "ab", -1, 2); }), "");
  EXPECT_EQ(written(3, 0, [](char* dest, int n) { nuv_serv_strcpy(dest, "ab", n, -1); }), "   ");
}

}  // namespace
}  // namespace nuv::test
