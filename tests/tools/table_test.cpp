#include "tools/table.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/error.hpp"

namespace nuv::tools {
namespace {

StoredMatrix read(const std::string& text, Precision precision = Precision::Double) {
  Input input = Input::of(text, "test.csv");
  return read_table(input, precision);
}

std::string message(const std::string& text, Precision precision = Precision::Double) {
  try {
    read(text, precision);
  } catch (const FileError& error) {
    return error.what();
  }
  return "read";
}

void expect_two_by_three(const std::string& text) {
  const StoredMatrix matrix = read(text);
  EXPECT_EQ(matrix.rows, 2) << text;
  EXPECT_EQ(matrix.columns, 3) << text;
  EXPECT_EQ(matrix.values, (std::vector<double>{1, 4, 2, 5, -3, 6})) << text;
  EXPECT_FALSE(matrix.is_complex()) << text;
}

TEST(Table, TakesWhateverPartsNumbers) {
  for (const char* text : {"1,2,-3\n4,5,6\n", "1;2;-3\n4;5;6\n", "1\t2\t-3\n4\t5\t6\n", "1 2 -3\n4 5 6\n",
                           "  1   2\t -3 \n4 5 6", "1 , 2,\t-3\r\n 4,5 ,6 \r\n", "1;2 ;-3\n4;5;6\r"}) {
    expect_two_by_three(text);
  }
}

TEST(Table, SkipsAHeaderCommentsAndBlankLines) {
  for (const char* text : {"a,b,c\n1,2,-3\n4,5,6\n", "\"first one\",\"b\",\n1,2,-3\n4,5,6\n",
                           "# c\n\nx y\n1 2 -3\n\n# 7 8 9\n4 5 6\n% end\n", "\xEF\xBB\xBFx;y;z\n1;2;-3\n4;5;6\n"}) {
    expect_two_by_three(text);
  }
}

TEST(Table, TakesFortransExponents) {
  EXPECT_EQ(read("1d0,-2.5D+1\n").values, (std::vector<double>{1, -25}));
}

TEST(Table, ReadsOneRowAndOneColumn) {
  EXPECT_EQ(read("1,2,3\n").columns, 3);
  EXPECT_EQ(read("1\n2\n3\n").rows, 3);
  EXPECT_EQ(read("1\n2\n3\n").values, (std::vector<double>{1, 2, 3}));
}

TEST(Table, TakesCommentsAloneForATableWithoutRows) {
  EXPECT_EQ(read("# c\n\n").rows, 0);
  EXPECT_EQ(read("# c\n\n").columns, 0);
}

TEST(Table, ReadsComplexNumbers) {
  const StoredMatrix matrix = read("1,2\n3-4i,5e-1j\n(6),(7+8.5j)\n");
  EXPECT_TRUE(matrix.is_complex());
  EXPECT_EQ(matrix.field_line, 2u);
  EXPECT_EQ(matrix.rows, 3);
  EXPECT_EQ(matrix.values, (std::vector<double>{1, 0, 3, -4, 6, 0, 2, 0, 0, 0.5, 7, 8.5}));
  EXPECT_EQ(read("1+2i 3\n").values, (std::vector<double>{1, 2, 3, 0}));
  EXPECT_EQ(read("1+2i,3\n4,5-6i\n").values, (std::vector<double>{1, 2, 4, 0, 3, 0, 5, -6}));
  EXPECT_EQ(read("(1),(2)\n").values, (std::vector<double>{1, 0, 2, 0}));
  EXPECT_EQ(read("x\n(1-2d0i)\n").values, (std::vector<double>{1, -2}));
}

// Pieces are parsed side by side; the complex ones need be neither the first nor one behind another.
TEST(Table, ReadsLongTablesInTheirOrder) {
  const int rows = 200000;
  const auto is_complex = [](int row) { return row == rows / 2 || row == rows - 5; };
  std::string text;
  for (int k = 1; k <= rows; ++k) {
    text += std::to_string(k) + ", " + std::to_string(-k) + (is_complex(k) ? "+1i" : "") + ",         0.5\n";
  }
  const StoredMatrix matrix = read(text);
  ASSERT_EQ(matrix.rows, rows);
  ASSERT_EQ(matrix.columns, 3);
  EXPECT_EQ(matrix.field_line, static_cast<std::size_t>(rows / 2));
  for (int k = 0; k < rows; ++k) {
    ASSERT_EQ(matrix.value(static_cast<std::size_t>(k)), double(k + 1));
    ASSERT_EQ(matrix.value(static_cast<std::size_t>(rows + k)), std::complex<double>(-k - 1, is_complex(k + 1)));
  }
  EXPECT_EQ(message(text + "1,2\n"), "test.csv:200001: 2 numbers in the row, 3 in those above");
}

// Each of the lines fills more than half of the room that the first makes necessary, and more than a block has at
// first.
TEST(Table, ReadsAHeaderAsLongAsABlock) {
  const int columns = 2200000;
  std::string header, row;
  for (int k = 0; k < columns; ++k) {
    header += "xyz,";
    row += "111,";
  }
  const StoredMatrix matrix = read(header + "\n" + row + "111\n");
  EXPECT_EQ(matrix.rows, 1);
  EXPECT_EQ(matrix.columns, columns + 1);
}

TEST(Table, RefusesWhatIsNoTable) {
  EXPECT_EQ(message(""), "test.csv:1: the file is empty");
  EXPECT_EQ(message("# c\na,b\n"), "test.csv:3: the file ends before the first number");
  EXPECT_EQ(message("a b\nc d\n1 2\n"), "test.csv:2: expected a number, found 'c'");
  EXPECT_EQ(message("1,2\n3\n"), "test.csv:2: 1 number in the row, 2 in those above");
  EXPECT_EQ(message("1,2\n\n3,4,5\n"), "test.csv:3: 3 numbers in the row, 2 in those above");
  EXPECT_EQ(message("1,,2\n"), "test.csv:1: number 2 of the row is missing");
  EXPECT_EQ(message("1,2\n,2\n"), "test.csv:2: number 1 of the row is missing");
  EXPECT_EQ(message("1;2;\n"), "test.csv:1: number 3 of the row is missing");
  EXPECT_EQ(message("1,2\n3,4 5\n"), "test.csv:2: unexpected '5' behind number 2 of the row");
  EXPECT_EQ(message("1,x\n"), "test.csv:1: expected a number, found 'x'");
  EXPECT_EQ(message("1;2\n1,5;2\n"), "test.csv:2: expected a number, found '1,5'");
  EXPECT_EQ(message("1 2\n3 4x\n"), "test.csv:2: expected a number, found '4x'");
  EXPECT_EQ(message("inf,inf\n1,2\n"), "test.csv:1: 'inf' is not a finite number");
  EXPECT_EQ(message("1 NaN\n"), "test.csv:1: 'NaN' is not a finite number");
  EXPECT_EQ(message("1\n2\n1e400\n"), "test.csv:3: '1e400' overflows double precision");
  EXPECT_EQ(message("1\n1e-60\n", Precision::Single), "test.csv:2: '1e-60' underflows single precision");
  EXPECT_EQ(message("1\n1+1e39i\n", Precision::Single), "test.csv:2: '+1e39' overflows single precision");
  for (const std::string wrong :
       {"1+i", "1+2", "1+2k", "(1", "(1]", "(1+2i", "(1+2i]", "1)", "i", "1+2i3", "(1+2i)x", "1i+2"}) {
    EXPECT_EQ(message("1,2\n3," + wrong + "\n"), "test.csv:2: expected a number, found '" + wrong + "'");
  }
}

}  // namespace
}  // namespace nuv::tools
