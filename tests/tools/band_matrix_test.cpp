#include "tools/band_matrix.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <vector>

#include "tools/error.hpp"
#include "tools/matrix_market.hpp"

namespace nuv::tools {
namespace {

using Complex = std::complex<double>;

StoredMatrix read(const std::string& symmetry, const std::string& text, const std::string& field = "real") {
  const std::string file = "%%MatrixMarket matrix coordinate " + field + " " + symmetry + "\n" + text;
  Input input = Input::of(file, "test.mtx");
  return read_matrix_market(input, Precision::Double);
}

std::pair<Int, Int> widths(const StoredMatrix& file) {
  const Bandwidth band = bandwidth_of(file);
  return {band.lower, band.upper};
}

TEST(BandMatrix, HasTheWidthOfWhatIsNotZero) {
  EXPECT_EQ(widths(read("general", "5 5 0\n")), std::pair(0, 0));
  EXPECT_EQ(widths(read("general", "5 5 3\n1 1 1\n2 4 1\n4 3 1\n")), std::pair(1, 2));
  EXPECT_EQ(widths(read("general", "5 5 3\n1 1 1\n2 4 1\n5 1 0\n")), std::pair(0, 2));
  EXPECT_EQ(widths(read("symmetric", "5 5 2\n1 1 1\n5 2 1\n")), std::pair(3, 3));
  EXPECT_EQ(widths(read("skew-symmetric", "5 5 1\n3 2 1\n")), std::pair(1, 1));
  EXPECT_EQ(widths(read("hermitian", "5 5 1\n3 1 0 1\n", "complex")), std::pair(2, 2));
}

TEST(BandMatrix, StoresDiagonalsOneBelowAnother) {
  const auto a = to_band<double>(read("general", "3 3 6\n1 1 1\n2 1 2\n1 2 3\n2 2 4\n3 2 5\n3 3 6\n"), {1, 1});
  EXPECT_EQ(a.ld(), 3);
  EXPECT_EQ(a.elements, (std::vector<double>{0, 1, 2, 3, 4, 5, 0, 6, 0}));
  EXPECT_EQ(a(3, 2), 5);
  EXPECT_EQ(a(1, 2), 3);
  EXPECT_EQ(a.first_row(1), 1);
  EXPECT_EQ(a.last_row(1), 2);
  EXPECT_EQ(a.first_row(3), 2);
  EXPECT_EQ(a.last_row(3), 3);
}

TEST(BandMatrix, SumsDuplicatesAndMirrorsTheStoredTriangle) {
  EXPECT_EQ(to_band<float>(read("symmetric", "2 2 4\n1 1 1\n2 1 2\n2 1 3\n2 2 4\n"), {1, 1}).elements,
            (std::vector<float>{0, 1, 5, 5, 4, 0}));
  EXPECT_EQ(to_band<float>(read("skew-symmetric", "2 2 1\n2 1 2\n"), {1, 1}).elements,
            (std::vector<float>{0, 0, 2, -2, 0, 0}));
  EXPECT_EQ(to_band<Complex>(read("hermitian", "2 2 2\n1 1 1 0\n2 1 2 3\n", "complex"), {1, 1}).elements,
            (std::vector<Complex>{0, 1, {2, 3}, {2, -3}, 0, 0}));
}

TEST(BandMatrix, LeavesZerosOutsideTheBandAlone) {
  EXPECT_EQ(to_band<double>(read("general", "3 3 2\n2 2 7\n3 1 0\n"), {0, 0}).elements, (std::vector<double>{0, 7, 0}));
}

TEST(BandMatrix, RefusesASumThatOverflows) {
  try {
    to_band<double>(read("general", "2 2 2\n2 1 1.5e308\n2 1 1.5e308\n"), {1, 0});
    FAIL();
  } catch (const FileError& error) {
    EXPECT_STREQ(error.what(), "test.mtx: the sum of duplicate entries overflows the precision");
  }
}

TEST(BandMatrix, GetsOtherDiagonals) {
  BandMatrix<double> a(3, {1, 1});
  a.elements = {-9, 1, 2, 3, 4, 5, 6, 7, -9};
  EXPECT_EQ(with_band(a, {1, 0}).elements, (std::vector<double>{1, 2, 4, 5, 7, 0}));
  EXPECT_EQ(with_band(a, {1, 2}).elements, (std::vector<double>{0, 0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 0}));
  EXPECT_TRUE(with_band(BandMatrix<double>(0, {0, 0}), {1, 2}).elements.empty());
}

}  // namespace
}  // namespace nuv::tools
