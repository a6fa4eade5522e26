// Runs `nuv svd` on matrices whose singular values are known.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "spectrum_command.hpp"

namespace nuv::test {
namespace {

using Options = std::vector<std::string>;

const std::string complex_array = "%%MatrixMarket matrix array complex general\n";

/// 3 4 and 3 -4 in two of three rows: singular values sqrt(32) and sqrt(18), in that order on the second and the first
/// unit vector of the right side.
const std::string tall = array + "3 2\n3\n3\n0\n4\n-4\n0\n";
const std::string wide = array + "2 3\n3\n4\n3\n-4\n0\n0\n";

class Svd : public SpectrumCommand {
 protected:
  Svd() : SpectrumCommand("svd") {}

  /// A matrix in a file that the command wrote: its line of sizes, and its numbers.
  std::pair<std::string, std::vector<double>> matrix_in(const std::string& file) const {
    const std::string text = folder.read(file);
    const auto sizes = text.find('\n') + 1;
    return {text.substr(sizes, text.find('\n', sizes) - sizes), numbers(text)};
  }
};

/// Ones on the diagonal and beside it, of which the singular values are 2 cos(k pi / (2 n + 1)), k = 1, ..., n.
std::string bidiagonal_ones(int n, int more_rows = 0, int more_columns = 0) {
  std::string text = fmt::format("%%MatrixMarket matrix coordinate real general\n{} {} {}\n", n + more_rows,
                                 n + more_columns, 2 * n - 1);
  for (int k = 1; k <= n; ++k) {
    text += fmt::format("{0} {0} 1\n", k);
    if (k < n) text += fmt::format("{} {} 1\n", k, k + 1);
  }
  return text;
}

double value_of_bidiagonal_ones(int n, int k) {
  return 2 * std::cos(k * std::numbers::pi / (2 * n + 1));
}

TEST_F(Svd, ValuesDescendForEveryShape) {
  const int n = 40;
  for (const auto& [rows, columns] : {std::pair(0, 0), {30, 0}, {0, 30}, {300, 0}, {0, 300}}) {
    for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
      const auto found = values(bidiagonal_ones(n, rows, columns), {precision});
      ASSERT_EQ(found.size(), std::size_t(n)) << precision;
      const bool single = precision[2] == 's' || precision[2] == 'c';
      for (int k = 1; k <= n; ++k) {
        EXPECT_NEAR(found[std::size_t(k - 1)], value_of_bidiagonal_ones(n, k), single ? 1e-5 : 1e-14)
            << rows << " " << columns << " " << precision << " " << k;
      }
    }
  }
}

TEST_F(Svd, MatricesWithoutRowsOrColumns) {
  for (const char* sizes : {"0 0", "0 3", "3 0"}) {
    EXPECT_EQ(values(array + sizes + "\n"), std::vector<double>()) << sizes;
    EXPECT_EQ(account("singular values"), "0");
    EXPECT_TRUE(account("rank").starts_with("0   "));
    EXPECT_EQ(run().error.find("condition"), std::string::npos);
  }
  const Options both = {"--left", "U.mtx", "--right", "V.mtx"},
                full = {"--left", "U.mtx", "--right", "V.mtx", "--full"};
  const auto nothing = [](const char* sizes) { return std::pair(std::string(sizes), std::vector<double>()); };
  const std::pair identity(std::string("2 2"), std::vector<double>{1, 0, 0, 1});
  EXPECT_EQ(values(array + "2 0\n", both).size(), 0u);
  EXPECT_EQ(matrix_in("U.mtx"), nothing("2 0"));
  EXPECT_EQ(matrix_in("V.mtx"), nothing("0 0"));
  EXPECT_EQ(account("orthogonality", full).substr(0, 4), "0   ");
  EXPECT_EQ(matrix_in("U.mtx"), identity);
  EXPECT_EQ(matrix_in("V.mtx"), nothing("0 0"));
  EXPECT_EQ(values(array + "0 2\n", full).size(), 0u);
  EXPECT_EQ(matrix_in("U.mtx"), nothing("0 0"));
  EXPECT_EQ(matrix_in("V.mtx"), identity);
  EXPECT_EQ(values(array + "1 1\n-3\n"), std::vector<double>{3});
  EXPECT_EQ(account("condition").substr(0, 4), "1   ");
}

TEST_F(Svd, AccountOfTheValues) {
  folder.write("A.mtx", array + "3 2\n4\n0\n0\n0\n-2\n0\n");
  const ChildResult result = run();
  EXPECT_EQ(result.output, array + "2 1\n4\n2\n");
  const std::string account_of_all = R"(matrix             3 by 2, A.mtx
singular values    2
rank               2   singular values above 6.66e-16 of the largest
condition          2   in the two-norm, largest over smallest singular value
found by           nuv_lapack_dgesdd, double precision
time )";
  EXPECT_TRUE(result.error.starts_with(account_of_all)) << result.error;
  EXPECT_EQ(account("found by", {"-pc"}), "nuv_lapack_cgesdd, complex single precision");
}

TEST_F(Svd, ComplexMatrices) {
  // Rows of different length that are orthogonal: right vectors that aren't real, whatever their phases are.
  const std::string matrix = complex_array + "2 2\n3 0\n0 4\n0 3\n4 0\n";
  const auto found = values(matrix, {"--left", "U.mtx", "--right", "V.mtx"});
  EXPECT_NEAR(found.at(0), std::sqrt(32), 1e-14);
  EXPECT_NEAR(found.at(1), std::sqrt(18), 1e-14);
  const auto u = matrix_in("U.mtx").second, v = matrix_in("V.mtx").second;
  ASSERT_EQ(u.size(), 8u);
  ASSERT_EQ(v.size(), 8u);
  const auto at = [](const std::vector<double>& z, int i, int j) {
    const auto k = std::size_t(4 * j + 2 * i);
    return std::complex(z[k], z[k + 1]);
  };
  const std::complex<double> expected[2][2] = {{{3, 0}, {0, 3}}, {{0, 4}, {4, 0}}};
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 2; ++j) {
      const auto element =
          at(u, i, 0) * found[0] * std::conj(at(v, j, 0)) + at(u, i, 1) * found[1] * std::conj(at(v, j, 1));
      EXPECT_LT(std::abs(element - expected[i][j]), 1e-14) << i << j;
    }
  }
  folder.write("A.mtx", matrix);
  expect_refusal(run({"-pd"}), 1, "A.mtx:1: complex data does not fit the real precision d");
}

TEST_F(Svd, SymmetricFilesAreExpanded) {
  const auto found = values("%%MatrixMarket matrix coordinate real symmetric\n2 2 1\n2 1 -3\n");
  EXPECT_EQ(found, (std::vector<double>{3, 3}));
}

// ---------------------------------------------------------------------------------------------------------------
// vectors

TEST_F(Svd, VectorsStandInColumns) {
  values(tall, {"--left", "U.mtx", "--right", "V.mtx"});
  const auto [left_sizes, u] = matrix_in("U.mtx");
  const auto [right_sizes, v] = matrix_in("V.mtx");
  EXPECT_EQ(left_sizes, "3 2");
  EXPECT_EQ(right_sizes, "2 2");
  ASSERT_EQ(u.size(), 6u);
  ASSERT_EQ(v.size(), 4u);
  const double half = std::sqrt(0.5);
  const double of_u[] = {half, half, 0, half, half, 0}, of_v[] = {0, 1, 1, 0};
  for (std::size_t k = 0; k < 6; ++k) EXPECT_NEAR(std::abs(u[k]), of_u[k], 1e-15) << k;
  for (std::size_t k = 0; k < 4; ++k) EXPECT_NEAR(std::abs(v[k]), of_v[k], 1e-15) << k;
  EXPECT_NEAR(u[0] * v[1], half, 1e-15) << "sign";
  EXPECT_NEAR(u[1] * v[1], -half, 1e-15) << "sign";
  EXPECT_NEAR(u[3] * v[2], half, 1e-15) << "sign";
}

TEST_F(Svd, RightVectorsAreNotThoseOfTheTranspose) {
  // [1 1; 0 1], whose right vectors in rows would be others than in columns.
  const auto found = values(array + "2 2\n1\n0\n1\n1\n", {"--right", "V.mtx"});
  const auto v = matrix_in("V.mtx").second;
  const double golden = (1 + std::sqrt(5)) / 2;
  EXPECT_NEAR(found.at(0), golden, 1e-15);
  EXPECT_NEAR(v.at(1) / v.at(0), golden, 1e-14) << "the first column";
}

TEST_F(Svd, SizesOfVectors) {
  const auto sizes = [&](const std::string& matrix, const Options& options) {
    values(matrix, options);
    std::string result;
    for (const char* file : {"U.mtx", "V.mtx"}) {
      if (!std::filesystem::exists(folder / file)) continue;
      result += (result.empty() ? "" : ", ") + matrix_in(file).first;
      std::filesystem::remove(folder / file);
    }
    return result;
  };
  const Options left = {"--left", "U.mtx"}, right = {"--right", "V.mtx"};
  const auto with = [](Options options, const Options& more) {
    options.insert(options.end(), more.begin(), more.end());
    return options;
  };
  EXPECT_EQ(sizes(tall, {}), "");
  EXPECT_EQ(sizes(tall, left), "3 2");
  EXPECT_EQ(sizes(tall, right), "2 2");
  EXPECT_EQ(sizes(tall, with(left, {"--thin"})), "3 2");
  EXPECT_EQ(sizes(tall, with(left, {"--full"})), "3 3");
  EXPECT_EQ(sizes(tall, with(right, {"--full"})), "2 2");
  EXPECT_EQ(sizes(tall, with(with(left, right), {"--full"})), "3 3, 2 2");
  EXPECT_EQ(sizes(wide, left), "2 2");
  EXPECT_EQ(sizes(wide, right), "3 2");
  EXPECT_EQ(sizes(wide, with(right, {"--thin"})), "3 2");
  EXPECT_EQ(sizes(wide, with(right, {"--full"})), "3 3");
  EXPECT_EQ(sizes(wide, with(left, {"--full"})), "2 2");
  EXPECT_EQ(sizes(wide, with(with(left, right), {"--full"})), "2 2, 3 3");
}

/// In units of half the distance of neighbouring numbers.
constexpr double threshold = 20;

TEST_F(Svd, VectorsBelongToTheirValues) {
  for (const auto& [rows, columns] : {std::pair(0, 0), {10, 0}, {0, 10}, {60, 0}, {0, 60}}) {
    folder.write("A.mtx", bidiagonal_ones(30, rows, columns));
    for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
      for (const char* which : {"--thin", "--full"}) {
        const Options options = {"--left", "U.mtx", "--right", "V.mtx", precision, which};
        EXPECT_LT(std::stod(account("residual", options)), threshold) << rows << columns << precision << which;
        EXPECT_LT(std::stod(account("orthogonality", options)), threshold) << rows << columns << precision << which;
      }
    }
  }
  EXPECT_EQ(run().error.find("residual"), std::string::npos);
}

// ---------------------------------------------------------------------------------------------------- rank and
// condition

TEST_F(Svd, RankCountsWhatStandsAboveTheTolerance) {
  folder.write("A.mtx", array + "4 3\n1\n0\n0\n0\n0\n-1e-3\n0\n0\n0\n0\n1e-20\n0\n");
  EXPECT_EQ(account("rank"), "2   singular values above 8.88e-16 of the largest");
  EXPECT_EQ(account("rank", {"-ps"}), "2   singular values above 4.77e-07 of the largest");
  EXPECT_EQ(account("rank", {"--rank", "1e-21"}), "3   singular values above 1e-21 of the largest");
  EXPECT_EQ(account("rank", {"--rank=2e-3"}), "1   singular values above 0.002 of the largest");
  EXPECT_EQ(account("rank", {"--rank", "0"}), "3   singular values above 0 of the largest");
  EXPECT_EQ(account("condition"),
            "1e+20   in the two-norm, largest over smallest singular value, which rounding errors "
            "decide on");
  EXPECT_EQ(account("condition", {"--rank", "0"}), account("condition"));
}

TEST_F(Svd, RankIsRelativeToTheLargestValue) {
  folder.write("A.mtx", array + "2 2\n1e100\n0\n0\n1e80\n");
  EXPECT_TRUE(account("rank").starts_with("1   "));
  folder.write("A.mtx", array + "2 2\n1e-100\n0\n0\n1e-110\n");
  EXPECT_TRUE(account("rank").starts_with("2   "));
  EXPECT_EQ(account("condition"), "1e+10   in the two-norm, largest over smallest singular value");
}

TEST_F(Svd, RankOfDependentColumns) {
  EXPECT_EQ(values(array + "3 2\n1\n2\n3\n2\n4\n6\n").size(), 2u);
  for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
    EXPECT_TRUE(account("rank", {precision}).starts_with("1   ")) << precision;
  }
}

TEST_F(Svd, ConditionOfSingularMatricesIsInfinite) {
  const std::string infinite = "inf   in the two-norm: the smallest singular value is zero";
  for (const char* elements : {"0\n0\n0\n0\n", "5\n0\n0\n0\n"}) {
    folder.write("A.mtx", array + "2 2\n" + elements);
    EXPECT_EQ(account("condition"), infinite);
    EXPECT_TRUE(account("rank").starts_with(*elements == '0' ? "0   " : "1   "));
  }
}

// --------------------------------------------------------------------------------------------------------------
// refusals

TEST_F(Svd, ValuesThatOverflow) {
  refuse(array + "2 2\n1.5e308\n1.5e308\n1.5e308\n1.5e308\n", {"-o", "s.mtx", "--left", "U.mtx"}, 1,
         "A.mtx: the singular values overflow the precision");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"A.mtx"});
}

TEST_F(Svd, FilesThatAreNotWhatIsExpected) {
  refuse(array + "2 1\n1\nNaN\n", {}, 1, "A.mtx:4: 'NaN' is not a finite number");
  refuse(array + "2 1\n1\n-Inf\n", {}, 1, "A.mtx:4: '-Inf' is not a finite number");
  refuse(array + "1 1\n1e39\n", {"-ps"}, 1, "A.mtx:3: '1e39' overflows single precision");
  refuse("1 1\n1\n", {}, 1, "A.mtx:1: not a Matrix Market file: the first line does not begin with %%MatrixMarket");
  refuse("%%MatrixMarket matrix coordinate real general\n1 1 2\n1 1 1e308\n1 1 1e308\n", {}, 1,
         "A.mtx: the sum of duplicate entries overflows the precision");
  expect_refusal(run_nuv(folder, {"svd", "none.mtx"}), 1, "none.mtx: cannot open: No such file or directory");
}

TEST_F(Svd, FilesThatCannotBeWrittenAreRefusedBeforeTheWork) {
  folder.write("A.mtx", "no matrix");
  for (const char* option : {"-o", "--left", "--right", "--plot"}) {
    if (option == std::string("--plot") && std::system("gnuplot --version >/dev/null 2>&1") != 0) continue;
    expect_refusal(run({option, "none/x"}), 1, "none/x: cannot write: No such file or directory");
  }
}

TEST_F(Svd, WritesValuesToAFile) {
  folder.write("A.mtx", array + "1 2\n3\n4\n");
  const ChildResult result = run({"-o", "s.mtx"});
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(result.output, "");
  const auto [sizes, found] = matrix_in("s.mtx");
  EXPECT_EQ(sizes, "1 1");
  EXPECT_NEAR(found.at(0), 5, 1e-14);
}

// ---------------------------------------------------------------------------------------------------------------
// pictures

TEST_F(Svd, PictureIsDrawnByGnuplot) {
  folder.write("A.mtx", array + "3 3\n4\n0\n0\n0\n0.5\n0\n0\n0\n0\n");
  const std::string script = script_of_picture();
  EXPECT_NE(script.find("\nset title 'Singular values'\nset xlabel 'number, in descending order'\nset logscale y\n"),
            script.npos)
      << script;
  EXPECT_NE(script.find("\n1 4\n2 0.5\n3 0\n"), script.npos) << script;
  expect_words_where_no_picture_comes();
}

TEST_F(Svd, PictureOfZerosHasNoLogarithms) {
  folder.write("A.mtx", array + "2 2\n0\n0\n0\n0\n");
  EXPECT_EQ(script_of_picture().find("logscale"), std::string::npos);
}

TEST_F(Svd, NoValuesMakeNoPicture) {
  folder.write("A.mtx", array + "0 2\n");
  expect_no_value_to_draw({});
}

}  // namespace
}  // namespace nuv::test
