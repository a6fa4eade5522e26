#include "tools/matrix_market.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tools/error.hpp"
#include "tools/matrix_file.hpp"
#include "wrong_files.hpp"

namespace nuv::tools {
namespace {

using Complex = std::complex<double>;
using Entry = std::tuple<Int, Int, Complex>;

StoredMatrix read(const std::string& text, Precision precision = Precision::Double) {
  Input input = Input::of(text, "test.mtx");
  return read_matrix_market(input, precision);
}

std::vector<Entry> entries_of(const StoredMatrix& matrix) {
  std::vector<Entry> entries;
  for_each_stored(matrix, [&](Int i, Int j, Complex value) { entries.emplace_back(i, j, value); });
  return entries;
}

double only_value(const std::string& number, Precision precision = Precision::Double) {
  return read("%%MatrixMarket matrix array real general\n1 1\n" + number + "\n", precision).values.at(0);
}

TEST(MatrixMarket, ReadsAnArrayByColumns) {
  const StoredMatrix matrix = read("%%MatrixMarket matrix array real general\n2 3\n1\n2\n3\n4\n5\n6\n");
  EXPECT_EQ(matrix.file, "test.mtx");
  EXPECT_EQ(matrix.size_line, 2u);
  EXPECT_EQ(matrix.layout, Layout::Array);
  EXPECT_EQ(matrix.field, Field::Real);
  EXPECT_EQ(matrix.symmetry, Symmetry::General);
  EXPECT_EQ(matrix.rows, 2);
  EXPECT_EQ(matrix.columns, 3);
  EXPECT_EQ(entries_of(matrix),
            (std::vector<Entry>{{1, 1, 1.}, {2, 1, 2.}, {1, 2, 3.}, {2, 2, 4.}, {1, 3, 5.}, {2, 3, 6.}}));
}

TEST(MatrixMarket, ReadsCoordinatesInTheOrderOfTheFile) {
  const StoredMatrix matrix =
      read("%%MatrixMarket matrix coordinate complex general\n3 2 3\n3 1 1 -1\n1 2 2 0\n3 1 4 8\n");
  EXPECT_EQ(matrix.layout, Layout::Coordinate);
  EXPECT_EQ(entries_of(matrix), (std::vector<Entry>{{3, 1, {1, -1}}, {1, 2, {2, 0}}, {3, 1, {4, 8}}}));
}

TEST(MatrixMarket, StoresTheLowerTriangleOfASymmetricArray) {
  EXPECT_EQ(entries_of(read("%%MatrixMarket matrix array integer symmetric\n3 3\n1\n2\n3\n4\n5\n6\n")),
            (std::vector<Entry>{{1, 1, 1.}, {2, 1, 2.}, {3, 1, 3.}, {2, 2, 4.}, {3, 2, 5.}, {3, 3, 6.}}));
  EXPECT_EQ(entries_of(read("%%MatrixMarket matrix array complex hermitian\n2 2\n1 0\n2 3\n4 0\n")),
            (std::vector<Entry>{{1, 1, 1.}, {2, 1, {2, 3}}, {2, 2, 4.}}));
}

TEST(MatrixMarket, StoresTheStrictlyLowerTriangleOfASkewSymmetricArray) {
  EXPECT_EQ(entries_of(read("%%MatrixMarket matrix array real skew-symmetric\n3 3\n1\n2\n3\n")),
            (std::vector<Entry>{{2, 1, 1.}, {3, 1, 2.}, {3, 2, 3.}}));
  EXPECT_EQ(read("%%MatrixMarket matrix array real skew-symmetric\n1 1\n").stored(), 0u);
}

TEST(MatrixMarket, TakesZerosOnTheDiagonalOfASkewSymmetricMatrix) {
  EXPECT_EQ(read("%%MatrixMarket matrix coordinate real skew-symmetric\n2 2 2\n1 1 0\n2 1 3\n").stored(), 2u);
}

TEST(MatrixMarket, ReadsTheBannerWithoutRegardToCase) {
  for (const char* banner :
       {"%%MatrixMarket matrix coordinate complex hermitian", "%%matrixmarket MATRIX COORDINATE COMPLEX HERMITIAN",
        "%%MATRIXMARKET Matrix Coordinate Complex Hermitian",
        "%%MatrixMarket\tmatrix  coordinate complex\thermitian "}) {
    const StoredMatrix matrix = read(std::string(banner) + "\n1 1 1\n1 1 7 0\n");
    EXPECT_EQ(matrix.layout, Layout::Coordinate) << banner;
    EXPECT_TRUE(matrix.is_complex()) << banner;
    EXPECT_EQ(matrix.symmetry, Symmetry::Hermitian) << banner;
    EXPECT_EQ(matrix.value(0), Complex(7)) << banner;
  }
}

TEST(MatrixMarket, SkipsCommentsAndBlankLinesAnywhereBehindTheBanner) {
  const StoredMatrix matrix = read(
      "%%MatrixMarket matrix coordinate real general\n% c\n\n   \t\n%\n 2 2\t2 \n%%\n\n1 1 5\n  % indented\n\t2 2 "
      "6\t\n\n%");
  EXPECT_EQ(matrix.size_line, 6u);
  EXPECT_EQ(entries_of(matrix), (std::vector<Entry>{{1, 1, 5.}, {2, 2, 6.}}));
}

TEST(MatrixMarket, TakesCommentsOfAnyLength) {
  const std::string comment = "%" + std::string(100000, 'x') + "\n";
  EXPECT_EQ(read("%%MatrixMarket matrix array real general\n" + comment + "1 1\n" + comment + "5\n").values,
            std::vector<double>{5});
}

TEST(MatrixMarket, AcceptsCarriageReturnsAtLineEnds) {
  const StoredMatrix matrix =
      read("%%MatrixMarket matrix coordinate integer symmetric\r\n% c\r\n\r\n2 2 2\r\n1 1 5\r\n2 1 -6\r");
  EXPECT_EQ(entries_of(matrix), (std::vector<Entry>{{1, 1, 5.}, {2, 1, -6.}}));
}

TEST(MatrixMarket, AcceptsALastLineWithoutEnd) {
  EXPECT_EQ(read("%%MatrixMarket matrix array real general\n2 1\n1\n2.5").values, (std::vector<double>{1, 2.5}));
}

TEST(MatrixMarket, AcceptsEmptyMatrices) {
  for (const char* sizes : {"0 0", "0 5", "2147483647 0"}) {
    EXPECT_EQ(read("%%MatrixMarket matrix array real general\n" + std::string(sizes) + "\n").stored(), 0u);
  }
  EXPECT_EQ(read("%%MatrixMarket matrix array real skew-symmetric\n0 0\n").stored(), 0u);
  EXPECT_EQ(read("%%MatrixMarket matrix coordinate real general\n3 3 0\n").rows, 3);
}

TEST(MatrixMarket, ReadsEveryWayToWriteANumber) {
  const std::vector<std::pair<const char*, double>> numbers = {
      {"1", 1},
      {"+1", 1},
      {"-1", -1},
      {"007", 7},
      {"1.5", 1.5},
      {".5", .5},
      {"-.5", -.5},
      {"5.", 5},
      {"1e3", 1000},
      {"1E+3", 1000},
      {"1.e-3", 1e-3},
      {"+1.25e+02", 125},
      {"0e99999999", 0},
      {"1d0", 1},
      {"1D+3", 1000},
      {"-2.5d-1", -0.25},
      {"4.9e-324", 5e-324},
      {"1e308", 1e308},
      {"1e00000000000000000001", 10},
      {"179769313486231570e291", std::numeric_limits<double>::max()},
  };
  for (const auto& [text, value] : numbers) EXPECT_EQ(only_value(text), value) << text;
  EXPECT_TRUE(std::signbit(only_value("-0")));
  EXPECT_TRUE(std::signbit(only_value("-0.0e5")));
}

TEST(MatrixMarket, RoundsOnceToThePrecisionAskedFor) {
  // Below the midpoint of two floats by less than a double can tell: rounding through double would go up.
  const char* text = "1.00000017881393432617187499999";
  EXPECT_EQ(only_value(text, Precision::Single), 1.00000011920928955078125);
  EXPECT_EQ(only_value(text, Precision::Double), 1.000000178813934326171875);
  EXPECT_EQ(only_value("0.1", Precision::Single), static_cast<double>(0.1f));
  EXPECT_EQ(only_value("1e-45", Precision::Single), std::numeric_limits<float>::denorm_min());
  EXPECT_EQ(only_value("3.4028234e38", Precision::Single), std::numeric_limits<float>::max());
}

TEST(MatrixMarket, ReadsIntegersOfAnyLength) {
  const StoredMatrix matrix =
      read("%%MatrixMarket matrix array integer general\n3 1\n+12\n-9007199254740993\n100000000000000000000\n");
  EXPECT_EQ(matrix.values, (std::vector<double>{12, -9007199254740992., 1e20}));
}

TEST(MatrixMarket, TakesMemoryByTheEntriesThatAreThere) {
  const StoredMatrix matrix =
      read("%%MatrixMarket matrix coordinate real general\n2000000000 2000000000 1\n2000000000 1 5\n");
  EXPECT_EQ(entries_of(matrix), (std::vector<Entry>{{2000000000, 1, 5.}}));
  EXPECT_LT(matrix.values.capacity(), 1000u);
}

TEST(MatrixMarket, TakesAnyNumberOfValuesOnALineOfAnArray) {
  EXPECT_EQ(read("%%MatrixMarket matrix array real general\n2 2\n1 2 3\n% c\n\t4\n").values,
            (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ(read("%%MatrixMarket matrix array complex general\n2 1\n1 2 3 4\r\n").values,
            (std::vector<double>{1, 2, 3, 4}));
}

TEST(MatrixMarket, DropsTheMarkOfTheByteOrder) {
  EXPECT_EQ(read("\xEF\xBB\xBF%%MatrixMarket matrix array real general\r\n1 1\r\n7\r\n").values,
            std::vector<double>{7});
  EXPECT_EQ(read("\xEF\xBB\xBF%%MatrixMarket matrix array real general\n1 1\n7").values, std::vector<double>{7});
}

TEST(MatrixMarket, RefusesSizesThatMemoryCannotHoldAtTheirLine) {
  const auto message = [](const std::string& text) -> std::string {
    try {
      read(text);
    } catch (const FileError& error) {
      return error.what();
    }
    return "read";
  };
  const auto expect_start = [&](const std::string& text, const std::string& start) {
    EXPECT_EQ(message(text).substr(0, start.size()), start);
  };
  expect_start("%%MatrixMarket matrix array real general\n% c\n2147483647 2147483647\n1\n",
               "test.mtx:3: a 2147483647 by 2147483647 matrix takes 3.44e+10 GiB to read, this machine can give ");
  expect_start("%%MatrixMarket matrix array complex symmetric\n2147483647 2147483647\n1\n",
               "test.mtx:2: a 2147483647 by 2147483647 matrix takes 3.44e+10 GiB to read, this machine can give ");
  expect_start("%%MatrixMarket matrix coordinate real general\n9 9 9223372036854775807\n",
               "test.mtx:2: a list of 9223372036854775807 entries takes 1.37e+11 GiB to read, this machine can give ");
}

// Blocks and the pieces of each are parsed side by side; here are several, of lines of different lengths.
class LongFile : public testing::Test {
 protected:
  static constexpr int rows = 600000;
  static constexpr int comments = 3;

  /// A column of the numbers 1.0000001, 2.0000001, ... with one line in place of another.
  static std::string text(int replaced = 0, const std::string& replacement = "") {
    std::string text = "%%MatrixMarket matrix array real general\n" + std::to_string(rows) + " 1\n";
    for (int k = 1; k <= rows; ++k) {
      if (k % (rows / comments) == 0) text += "% " + std::string(1000, 'x') + "\n";
      text += k == replaced ? replacement : std::to_string(k) + (k % 2 == 0 ? ".0000001" : ".00000010000000");
      text += '\n';
    }
    return text;
  }

  static std::string message(const std::string& text) {
    try {
      read(text);
    } catch (const FileError& error) {
      return error.what();
    }
    return "read";
  }
};

TEST_F(LongFile, IsReadInItsOrder) {
  const StoredMatrix matrix = read(text());
  ASSERT_EQ(matrix.stored(), static_cast<std::size_t>(rows));
  for (int k = 1; k <= rows; ++k)
    ASSERT_EQ(matrix.values[static_cast<std::size_t>(k - 1)], std::stod(std::to_string(k) + ".0000001"));
}

TEST_F(LongFile, IsReadInItsOrderInCoordinates) {
  std::string text = "%%MatrixMarket matrix coordinate real general\n" + std::to_string(rows) + " 9 600000\n";
  for (int k = 1; k <= rows; ++k) {
    text += std::to_string(k) + " " + std::to_string(k % 9 + 1) + " " + std::to_string(-k) + "\n";
  }
  const StoredMatrix matrix = read(text);
  ASSERT_EQ(matrix.stored(), static_cast<std::size_t>(rows));
  ASSERT_EQ(matrix.row_of.size(), matrix.stored());
  ASSERT_EQ(matrix.column_of.size(), matrix.stored());
  int k = 0;
  for_each_stored(matrix, [&](Int i, Int j, std::complex<double> value) {
    ++k;
    ASSERT_TRUE(i == k && j == k % 9 + 1 && value == double(-k)) << k;
  });
}

// Comments fill blocks before the line of the sizes.
TEST_F(LongFile, MayBeginWithManyComments) {
  std::string text = "%%MatrixMarket matrix array real general\n";
  for (int k = 0; k < 10000; ++k) text += "%" + std::string(999, 'x') + "\n";
  const StoredMatrix matrix = read(text + "1 2\n5\n6\n");
  EXPECT_EQ(matrix.size_line, 10002u);
  EXPECT_EQ(matrix.values, (std::vector<double>{5, 6}));
}

TEST_F(LongFile, IsRefusedWithTheLine) {
  EXPECT_EQ(message(text(250000, "x")), "test.mtx:250003: expected a number, found 'x'");
  EXPECT_EQ(message(text(599999, "nan")), "test.mtx:600003: 'nan' is not a finite number");
  EXPECT_EQ(message(text(1000, "1 2")), "test.mtx:600005: unexpected data after the last of 600000 entries");
  EXPECT_EQ(message(text(500000, "")), "test.mtx:600006: the file ends after 599999 of 600000 entries");
}

TEST(MatrixMarket, FindsTheLineOfADiagonalThatIsNotReal) {
  std::string text = "%%MatrixMarket matrix array complex hermitian\n3 3\n1 0 2 2 3 3\n\n4 0 5 5\n6 7\n";
  try {
    read(text);
    FAIL() << "accepted";
  } catch (const FileError& error) {
    EXPECT_STREQ(error.what(), "test.mtx:6: the diagonal of a hermitian matrix must be real");
  }
}

TEST(MatrixMarket, TellsAboutFilesThatCannotBeRead) {
  const auto message = [](const std::string& file) -> std::string {
    try {
      read_in('d', file, std::nullopt);
    } catch (const FileError& error) {
      return error.what();
    }
    return "read";
  };
  EXPECT_EQ(message("no such file"), "no such file: cannot open: No such file or directory");
  EXPECT_EQ(message("."), ".: Is a directory");
  EXPECT_EQ(message("/proc/self/mem"), "/proc/self/mem: cannot read: Input/output error");
  EXPECT_EQ(message("no\nfile"), "no\\x0afile: cannot open: No such file or directory");
  EXPECT_EQ(message("/dev/zero"), "/dev/zero:1: line of more than 268435456 characters");
}

class WrongFile : public testing::TestWithParam<test::WrongFile> {};

TEST_P(WrongFile, IsRefusedWithItsLine) {
  const bool single = GetParam().precision == 'c';
  try {
    read(GetParam().text, single ? Precision::Single : Precision::Double);
    FAIL() << "accepted:\n" << GetParam().text;
  } catch (const FileError& error) {
    EXPECT_EQ(error.what(), "test.mtx" + GetParam().message);
  }
}

INSTANTIATE_TEST_SUITE_P(MatrixMarket, WrongFile, testing::ValuesIn(test::wrong_files()),
                         [](const auto& test) { return test.param.label; });

}  // namespace
}  // namespace nuv::tools
