// Runs `nuv lstsq` and judges what it prints.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <Eigen/QR>
#include <algorithm>
#include <complex>
#include <random>
#include <string>
#include <tuple>
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
  tools::Input input = tools::Input::of(text, "solution");
  const auto matrix =
      tools::read_matrix_market(input, is_single(precision) ? tools::Precision::Single : tools::Precision::Double);
  EXPECT_EQ(matrix.layout, tools::Layout::Array);
  EXPECT_EQ(matrix.symmetry, tools::Symmetry::General);
  EXPECT_EQ(matrix.is_complex(), !is_real(precision));
  Dense x(matrix.rows, matrix.columns);
  std::size_t k = 0;
  for (Complex& element : x.reshaped()) element = Complex(matrix.value(k++));
  return x;
}

/// The account on standard error, whose norm of a residual must be the largest of the columns of r up to the rounding
/// of the products that cancel in it.
void expect_account(const std::string& account, const Dense& a, const Dense& x, const Dense& r, char precision) {
  const int m = static_cast<int>(a.rows()), n = static_cast<int>(a.cols());
  const std::string pattern = fmt::format(
      R"(equations          {} in {} unknowns, A\.mtx: {}
right-hand sides   {}, b\.mtx
rank               {}, full   diagonal of R above {:.3g} of its largest element
factored by        nuv_lapack_{}geqp3, {}{} precision
residual norm      ([0-9.e+-]+)   \|\|A x - b\|\|{}
time               read [0-9.e+-]+ s, solve [0-9.e+-]+ s, check [0-9.e+-]+ s, write [0-9.e+-]+ s
)",
      m, n, m >= n ? "least squares" : "least norm", r.cols(), std::min(m, n),
      std::max(m, n) * (is_single(precision) ? 0x1p-23 : 0x1p-52), precision, is_real(precision) ? "" : "complex ",
      is_single(precision) ? "single" : "double", r.cols() == 1 ? "()" : ", largest in column ([0-9]+)");
  const std::vector<std::string> found = match(account, pattern);
  ASSERT_EQ(found.size(), 3u) << account << "\n" << pattern;
  const auto rounding = static_cast<double>(0x1p-60L * a.norm() * x.norm());
  const auto norm = static_cast<double>(r.colwise().norm().maxCoeff());
  EXPECT_NEAR(std::stod(found[1]), norm, 1e-5 * norm + rounding);
  if (r.cols() == 1) return;
  const int column = std::stoi(found[2]);
  ASSERT_LE(column, r.cols());
  EXPECT_NEAR(static_cast<double>(r.col(column - 1).norm()), norm, 1e-5 * norm + rounding);
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
  EXPECT_NE(result.error.find("residual norm      5   ||A x - b||\n"), std::string::npos) << result.error;
}

TEST(Lstsq, TellsTheLargestResidualAlone) {
  const TemporaryFolder folder;
  folder.write("A.mtx", "%%MatrixMarket matrix array integer general\n2 1\n1\n0\n");
  folder.write("b.mtx", "%%MatrixMarket matrix array integer general\n2 3\n1\n2\n0\n-7\n5\n3\n");
  const ChildResult result = run_nuv(folder, {"lstsq", "A.mtx", "b.mtx"});
  EXPECT_EQ(result.output, "%%MatrixMarket matrix array real general\n1 3\n1\n0\n5\n");
  const auto first = result.error.find("residual norm ");
  EXPECT_EQ(result.error.find("residual norm      7   ||A x - b||, largest in column 2\n"), first) << result.error;
  EXPECT_EQ(result.error.find("residual norm ", first + 1), std::string::npos) << result.error;
}

TEST(Lstsq, PivotsColumns) {
  // The second column is the longer one, and comes first; X must stand in the order of A.
  const TemporaryFolder folder;
  folder.write("A.mtx", "%%MatrixMarket matrix array integer general\n2 2\n1\n0\n0\n8\n");
  folder.write("b.mtx", "%%MatrixMarket matrix array integer general\n2 1\n3\n16\n");
  EXPECT_EQ(run_nuv(folder, {"lstsq", "A.mtx", "b.mtx"}).output,
            "%%MatrixMarket matrix array real general\n2 1\n3\n2\n");
}

TEST(Lstsq, WorksAtBothEndsOfTheRange) {
  const std::string array = "%%MatrixMarket matrix array real general\n";
  const TemporaryFolder folder;
  // Squares of these elements, and of the right-hand sides, leave the range.
  const auto solution = [&](const std::string& a, const std::string& b, const std::string& precision) {
    folder.write("A.mtx", array + a);
    folder.write("b.mtx", array + b);
    const ChildResult result = run_nuv(folder, {"lstsq", "A.mtx", "b.mtx", "-p", precision});
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return result.output;
  };
  for (const auto& [precision, large, small] : {std::tuple("s", "3e38\n", "3e-38\n"), {"d", "1.5e308\n", "3e-307\n"}}) {
    for (const std::string number : {large, small}) {
      const std::string sizes = "3 1\n", ones = number + number + number;
      const std::string one = solution(sizes + ones, sizes + ones, precision);
      EXPECT_NEAR(static_cast<double>(solution_in(one, *precision)(0, 0).real()), 1, 1e-6) << precision << number;
      EXPECT_EQ(solution("1 1\n" + number, "1 2\n" + number + "0\n", precision), array + "1 2\n1\n0\n");
    }
  }
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

TEST_F(LstsqRefuses, MatricesWithoutFullRank) {
  folder.write("b.mtx", array + "3 1\n1\n2\n3\n");
  folder.write("b2.mtx", array + "2 1\n1\n2\n");
  const std::string end = ": X of least norm for such a matrix is not offered yet";
  const auto expect_rank = [&](const std::string& name, const std::string& text, int rank, const std::string& size) {
    folder.write(name, array + text);
    for (const char* precision : {"s", "d", "c", "z"}) {
      const std::string tolerance = *precision == 's' || *precision == 'c' ? "3.58e-07" : "6.66e-16";
      expect_refused(name, text.starts_with("2") ? "b2.mtx" : "b.mtx",
                     fmt::format("{}: the matrix has numerical rank {} (tolerance {}), less than its {}{}", name, rank,
                                 tolerance, size, end),
                     {"-p", precision});
    }
  };
  expect_rank("dependent.mtx", "3 2\n1\n2\n3\n2\n4\n6\n", 1, "2 unknowns");
  expect_rank("nearly.mtx", "3 2\n1\n1\n1\n1\n1\n1.0000000000000002\n", 1, "2 unknowns");
  expect_rank("column.mtx", "3 2\n1\n0\n0\n0\n0\n0\n", 1, "2 unknowns");
  expect_rank("magic.mtx", "3 3\n8\n3\n4\n1\n5\n9\n7\n-2\n-5\n", 2, "3 unknowns");
  expect_rank("zero.mtx", "3 2\n0\n0\n0\n0\n0\n0\n", 0, "2 unknowns");
  // Without pivoting the diagonal of R would be 1e-20 and 1.
  expect_rank("tiny.mtx", "3 2\n1e-20\n0\n0\n1\n1\n0\n", 1, "2 unknowns");
  expect_rank("rows.mtx", "2 3\n1\n2\n2\n4\n3\n6\n", 1, "2 equations");
  expect_rank("row.mtx", "2 3\n1\n0\n0\n0\n0\n0\n", 1, "2 equations");
}

TEST_F(LstsqRefuses, ByTheToleranceThatIsGiven) {
  folder.write("A.mtx", array + "3 2\n1\n0\n0\n0\n1e-20\n0\n");
  folder.write("b.mtx", array + "3 1\n1\n1e-20\n0\n");
  const auto refused = [&](const std::string& tolerance, const std::vector<std::string>& options) {
    expect_refused("A.mtx", "b.mtx",
                   "A.mtx: the matrix has numerical rank 1 (tolerance " + tolerance +
                       "), less than its 2 unknowns: X of least norm for such a matrix is not offered yet",
                   options);
  };
  refused("6.66e-16", {});
  refused("1e-19", {"--rank", "1e-19"});
  refused("1e-20", {"--rank=1e-20"});
  for (const char* tolerance : {"9e-21", "0"}) {
    const ChildResult result = run_nuv(folder, {"lstsq", "A.mtx", "b.mtx", "--rank", tolerance});
    EXPECT_EQ(result.output, array + "2 1\n1\n1\n") << to_string(result);
    EXPECT_NE(result.error.find(fmt::format("\nrank               2, full   diagonal of R above {} of ", tolerance)),
              std::string::npos)
        << result.error;
  }
  // A zero is no rank at any tolerance.
  folder.write("A.mtx", array + "3 2\n1\n0\n0\n0\n0\n0\n");
  refused("0", {"--rank", "0"});
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
  folder.write("nan.mtx", array + "1 1\nNaN\n");
  expect_refused("nan.mtx", "A.mtx", "nan.mtx:3: 'NaN' is not a finite number");
  expect_refused("A.mtx", "nan.mtx", "nan.mtx:3: 'NaN' is not a finite number");
  folder.write("wrong.mtx", "1 1\n1\n");
  expect_refused("A.mtx", "wrong.mtx",
                 "wrong.mtx:1: not a Matrix Market file: the first line does not begin with %%MatrixMarket");
}

}  // namespace
}  // namespace nuv::test
