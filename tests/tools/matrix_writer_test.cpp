#include "tools/matrix_writer.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <string_view>

namespace nuv::tools {
namespace {

// More elements than are put into text as one piece, and pieces that end anywhere in a line.
constexpr Int order = 401;

/// The element (i, j), on and below the diagonal.
Int lower(Int i, Int j) {
  return (i + j) % 3 == 0 ? 0 : 1000 * i + j;
}

DenseMatrix<double> matrix_with(Symmetry symmetry) {
  DenseMatrix<double> a(order, order);
  for (Int j = 1; j <= order; ++j) {
    for (auto i = static_cast<Int>(first_stored_row(symmetry, j)); i <= order; ++i) {
      a(i, j) = lower(i, j);
      if (symmetry != Symmetry::General) a(j, i) = symmetry == Symmetry::Symmetric ? a(i, j) : -a(i, j);
    }
  }
  return a;
}

std::string written(const DenseMatrix<double>& a, FileFormat format, const WrittenForm& form = {}) {
  std::string result;
  write_matrix(
      a, format, [&](std::string_view text) { result += text; }, form);
  return result;
}

TEST(MatrixWriter, KeepsTheOrderOfLongFilesInEachForm) {
  for (const Symmetry symmetry : {Symmetry::General, Symmetry::Symmetric, Symmetry::SkewSymmetric}) {
    std::string array, entries;
    int count = 0;
    for (Int j = 1; j <= order; ++j) {
      for (auto i = static_cast<Int>(first_stored_row(symmetry, j)); i <= order; ++i) {
        const std::string value = std::to_string(lower(i, j));
        array += value + "\n";
        if (value == "0") continue;
        entries += std::to_string(i) + " " + std::to_string(j) + " " + value + "\n";
        ++count;
      }
    }
    const std::string kind = " real " + std::string(name_of(symmetry)) + "\n401 401";
    const DenseMatrix<double> a = matrix_with(symmetry);
    EXPECT_EQ(written(a, FileFormat::MatrixMarket, {.layout = Layout::Array, .symmetry = symmetry}),
              "%%MatrixMarket matrix array" + kind + "\n" + array);
    EXPECT_EQ(written(a, FileFormat::MatrixMarket, {.layout = Layout::Coordinate, .symmetry = symmetry}),
              "%%MatrixMarket matrix coordinate" + kind + " " + std::to_string(count) + "\n" + entries);
  }
}

TEST(MatrixWriter, KeepsTheOrderOfLongTables) {
  std::string table;
  for (Int i = 1; i <= order; ++i) {
    for (Int j = 1; j <= order; ++j) table += std::to_string(lower(i, j)) + (j < order ? "," : "\n");
  }
  EXPECT_EQ(written(matrix_with(Symmetry::General), FileFormat::Csv), table);
}

TEST(MatrixWriter, KeepsTheSignOfImaginaryParts) {
  const DenseMatrix<std::complex<double>> a(1, 4, {{1, 2}, {1, -2}, {1, 0.}, {1, -0.}});
  std::string text;
  write_matrix(a, FileFormat::Csv, [&](std::string_view more) { text += more; });
  EXPECT_EQ(text, "1+2i,1-2i,1+0i,1-0i\n");
}

TEST(MatrixWriter, WritesLinesWithoutElements) {
  EXPECT_EQ(written(DenseMatrix<double>(0, 3), FileFormat::MatrixMarket),
            "%%MatrixMarket matrix array real general\n0 3\n");
  EXPECT_EQ(written(DenseMatrix<double>(3, 0), FileFormat::Csv), "");
}

}  // namespace
}  // namespace nuv::tools
