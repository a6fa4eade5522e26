// Runs `nuv lstsq` and judges what it prints.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <Eigen/QR>
#include <algorithm>
#include <complex>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "nuv_command.hpp"
#include "tools/matrix_market.hpp"

namespace nuv::test {
namespace {

using Complex = std::complex<long double>;
using Dense = Eigen::Matrix<Complex, Eigen::Dynamic, Eigen::Dynamic>;

bool is_single(char precision) {
  return precision == 's' || precision == 'c';
}
bool is_real(char precision) {
  return precision == 's' || precision == 'd';
}

/// A matrix of numbers of few digits, which are exact in every precision, and its file.
struct RandomFile {
  Dense values;
  std::string text;

  RandomFile(int rows, int columns, bool is_complex, unsigned seed) : values(rows, columns) {
    std::mt19937 random(seed);
    const auto number = [&] { return (static_cast<int>(random() % 2001) - 1000) / 8.0; };
    text =
        fmt::format("%%MatrixMarket matrix array {} general\n{} {}\n", is_complex ? "complex" : "real", rows, columns);
    for (Complex& element : values.reshaped()) {
      const double real = number(), imaginary = is_complex ? number() : 0;
      element = Complex(real, imaginary);
      text += is_complex ? fmt::format("{} {}\n", real, imaginary) : fmt::format("{}\n", real);
    }
  }
};

Dense solution_in(const std::string& text, char precision) {
  std::istringstream stream(text);
  const auto matrix = tools::read_matrix_market(
      stream, "solution", is_single(precision) ? tools::Precision::Single : tools::Precision::Double);
  EXPECT_EQ(matrix.layout, tools::Layout::Array);
  EXPECT_EQ(matrix.symmetry, tools::Symmetry::General);
  EXPECT_EQ(matrix.is_complex(), !is_real(precision));
  Dense x(matrix.rows, matrix.columns);
  std::size_t k = 0;
  for (Complex& element : x.reshaped()) element = Complex(matrix.value(k++));
  return x;
}

/// The account on standard error, whose norms of residuals must be those of the columns of r up to the rounding of the
/// products that cancel in them.
void expect_account(const std::string& account, const Dense& a, const Dense& x, const Dense& r, char precision) {
  const int m = static_cast<int>(a.rows()), n = static_cast<int>(a.cols());
  std::string pattern = fmt::format(
      R"(equations          {} in {} unknowns, A\.mtx: {}
right-hand sides   {}, b\.mtx
solved by          nuv_lapack_{}gels, {}{} precision
)",
      m, n, m >= n ? "least squares" : "least norm", r.cols(), precision, is_real(precision) ? "" : "complex ",
      is_single(precision) ? "single" : "double");
  for (int j = 1; j <= r.cols(); ++j) {
    pattern += fmt::format("residual norm      ([0-9.e+-]+)   \\|\\|A x - b\\|\\|, column {}\n", j);
  }
  pattern += "time               [0-9.e+-]+ s\n";
  const std::vector<std::string> found = match(account, pattern);
  ASSERT_FALSE(found.empty()) << account << "\n" << pattern;
  const auto rounding = static_cast<double>(0x1p-60L * a.norm() * x.norm());
  for (int j = 1; j <= r.cols(); ++j) {
    const auto norm = static_cast<double>(r.col(j - 1).norm());
    EXPECT_NEAR(std::stod(found[static_cast<std::size_t>(j)]), norm, 1e-5 * norm + rounding);
  }
}

void expect_fit(const TemporaryFolder& folder, const Dense& a, const Dense& b, char precision,
                bool precision_given = true) {
  SCOPED_TRACE(fmt::format("{} by {}, precision {}", a.rows(), a.cols(), precision));
  std::vector<std::string> arguments = {"lstsq", "A.mtx", "b.mtx"};
  if (precision_given) arguments.insert(arguments.end(), {"-p", std::string(1, precision)});
  const ChildResult result = run_nuv(folder, arguments);
  ASSERT_TRUE(result.succeeded()) << to_string(result);

  const Dense x = solution_in(result.output, precision);
  ASSERT_EQ(x.rows(), a.cols());
  ASSERT_EQ(x.cols(), b.cols());
  const long double unit = (is_single(precision) ? 0x1p-24L : 0x1p-53L) * static_cast<long double>(a.rows() + a.cols());
  const Dense r = a * x - b;
  expect_account(result.error, a, x, r, precision);
  if (a.rows() >= a.cols()) {
    // The residual is orthogonal to the columns of A.
    EXPECT_LT(static_cast<double>((a.adjoint() * r).norm() / (a.norm() * b.norm() * unit)), 10);
  } else {
    // The equations hold, and X has no part in the null space of A.
    EXPECT_LT(static_cast<double>(r.norm() / (a.norm() * x.norm() * unit)), 10);
    const Eigen::HouseholderQR<Dense> qr(a.adjoint());
    const Dense parts = qr.householderQ().adjoint() * x;
    EXPECT_LT(static_cast<double>(parts.bottomRows(a.cols() - a.rows()).norm() / (x.norm() * unit)), 10);
  }
}

TEST(Lstsq, FitsTallAndFindsTheLeastSolutionOfWideSystems) {
  for (const auto& [m, n] : {std::pair(1, 1), {5, 2}, {2, 5}, {40, 25}, {25, 40}, {20, 20}, {120, 90}}) {
    for (const bool is_complex : {false, true}) {
      const RandomFile a(m, n, is_complex, 7), b(m, 3, false, 8);
      const TemporaryFolder folder;
      folder.write("A.mtx", a.text);
      folder.write("b.mtx", b.text);
      for (const char precision : {'s', 'd', 'c', 'z'}) {
        if (!is_complex || !is_real(precision)) expect_fit(folder, a.values, b.values, precision);
      }
      expect_fit(folder, a.values, b.values, is_complex ? 'z' : 'd', false);
    }
  }
}

TEST(Lstsq, TakesComplexRightHandSidesOfARealMatrix) {
  const RandomFile a(20, 8, false, 1), b(20, 2, true, 2);
  const TemporaryFolder folder;
  folder.write("A.mtx", a.text);
  folder.write("b.mtx", b.text);
  expect_fit(folder, a.values, b.values, 'z', false);
  expect_refusal(run_nuv(folder, {"lstsq", "A.mtx", "b.mtx", "-p", "d"}), 1,
                 "b.mtx:1: complex data does not fit the real precision d");
}

TEST(Lstsq, WritesToAFile) {
  // The third equation is what the residual comes from.
  const TemporaryFolder folder;
  folder.write("A.mtx", "%%MatrixMarket matrix array integer general\n3 2\n2\n0\n0\n0\n4\n0\n");
  folder.write("b.mtx", "%%MatrixMarket matrix array real general\n3 1\n2\n-8\n5\n");
  const ChildResult result = run_nuv(folder, {"lstsq", "A.mtx", "b.mtx", "-o", "x.mtx"});
  ASSERT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(folder.read("x.mtx"), "%%MatrixMarket matrix array real general\n2 1\n1\n-2\n");
  EXPECT_NE(result.error.find("residual norm      5   ||A x - b||, column 1\n"), std::string::npos) << result.error;
}

TEST(Lstsq, WithoutEquationsUnknownsOrRightHandSides) {
  const TemporaryFolder folder;
  const std::string array = "%%MatrixMarket matrix array real general\n";
  folder.write("tall.mtx", array + "2 0\n");
  folder.write("wide.mtx", array + "0 2\n");
  folder.write("b2.mtx", array + "2 1\n3\n4\n");
  folder.write("b0.mtx", array + "0 1\n");
  folder.write("A.mtx", array + "2 1\n1\n1\n");
  folder.write("none.mtx", array + "2 0\n");
  folder.write("nothing.mtx", array + "0 0\n");
  const auto solution = [&](const char* a, const char* b) {
    const ChildResult result = run_nuv(folder, {"lstsq", a, b});
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return result.output;
  };
  EXPECT_EQ(solution("tall.mtx", "b2.mtx"), array + "0 1\n");
  EXPECT_EQ(solution("wide.mtx", "b0.mtx"), array + "2 1\n0\n0\n");
  EXPECT_EQ(solution("A.mtx", "none.mtx"), array + "1 0\n");
  EXPECT_EQ(solution("nothing.mtx", "nothing.mtx"), array + "0 0\n");
}

// ----------------------------------------------------------------------------------------------------- what it refuses

class LstsqRefuses : public testing::Test {
 protected:
  /// Fits into a file and expects a refusal that leaves the folder as it was.
  void expect_refused(const std::string& a, const std::string& b, const std::string& message,
                      const std::vector<std::string>& more = {}) {
    SCOPED_TRACE(a + " " + b);
    std::vector<std::string> arguments = {"lstsq", a, b, "-o", "solution.mtx"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const std::vector<std::string> before = folder.names();
    expect_refusal(run_nuv(folder, arguments), 1, message);
    EXPECT_EQ(folder.names(), before);
  }

  const std::string array = "%%MatrixMarket matrix array real general\n";
  TemporaryFolder folder;
};

TEST_F(LstsqRefuses, SizesThatDoNotMatch) {
  folder.write("A.mtx", array + "3 2\n1\n2\n3\n4\n5\n7\n");
  folder.write("b.mtx", array + "% sizes follow\n2 1\n1\n1\n");
  expect_refused("A.mtx", "b.mtx", "b.mtx:3: the right-hand sides have 2 rows, the matrix has 3");
}

TEST_F(LstsqRefuses, MatricesWithoutFullRankWhereItShows) {
  folder.write("b.mtx", array + "3 1\n1\n2\n3\n");
  folder.write("b2.mtx", array + "2 1\n1\n2\n");
  // A column, or a row, of zeros.
  folder.write("tall.mtx", array + "3 2\n1\n0\n0\n0\n0\n0\n");
  folder.write("wide.mtx", array + "2 3\n1\n0\n0\n0\n0\n0\n");
  for (const char* precision : {"s", "d", "c", "z"}) {
    expect_refused("tall.mtx", "b.mtx", "tall.mtx: the matrix does not have full rank: R(2,2) is exactly zero",
                   {"-p", precision});
    expect_refused("wide.mtx", "b2.mtx", "wide.mtx: the matrix does not have full rank: L(2,2) is exactly zero",
                   {"-p", precision});
  }
}

TEST_F(LstsqRefuses, SolutionsThatOverflow) {
  folder.write("tiny.mtx", array + "2 1\n1e-300\n0\n");
  folder.write("huge.mtx", array + "2 1\n1e300\n1\n");
  expect_refused("tiny.mtx", "huge.mtx", "tiny.mtx: the solution overflows the precision");
}

TEST_F(LstsqRefuses, FilesThatCannotBeRead) {
  folder.write("A.mtx", array + "1 1\n1\n");
  expect_refused("none.mtx", "A.mtx", "none.mtx: cannot open: No such file or directory");
  expect_refused("A.mtx", "none.mtx", "none.mtx: cannot open: No such file or directory");
  folder.write("wrong.mtx", "1 1\n1\n");
  expect_refused("A.mtx", "wrong.mtx",
                 "wrong.mtx:1: not a Matrix Market file: the first line does not begin with %%MatrixMarket");
}

}  // namespace
}  // namespace nuv::test
