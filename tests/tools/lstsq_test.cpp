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

// ------------------------------------------------------------------------------------------------------------ any rank

/// Fits in the precision and with the options given, and expects that rank, by the account and by the solution: the
/// shortest X, and no other comes nearer.
class LstsqOfAnyRank : public testing::Test {
 protected:
  void expect_rank(const Dense& a, const Dense& b, char precision, const std::string& rank,
                   const std::vector<std::string>& options, const Dense& expected, long double allowed) {
    SCOPED_TRACE(fmt::format("{} by {}, precision {}, rank {}", a.rows(), a.cols(), precision, rank));
    std::vector<std::string> arguments = {"lstsq", "A.mtx", "b.mtx", "-p", std::string(1, precision)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ChildResult result = run_nuv(folder, arguments);
    ASSERT_TRUE(result.succeeded()) << to_string(result);
    EXPECT_NE(
        result.error.find("\nrank               " + rank + "   reciprocal condition number of what counts above "),
        std::string::npos)
        << result.error;
    EXPECT_NE(result.error.find(fmt::format("\nfactored by        nuv_lapack_{}gelsy, ", precision)), std::string::npos)
        << result.error;
    const Dense x = solution_in(result.output, precision);
    ASSERT_EQ(x.rows(), a.cols());
    ASSERT_EQ(x.cols(), b.cols());
    const long double unit =
        (is_single(precision) ? 0x1p-24L : 0x1p-53L) * static_cast<long double>(a.rows() + a.cols());
    EXPECT_LT(static_cast<double>((x - expected).norm() / (allowed * unit)), 10);
  }

  const std::string array = "%%MatrixMarket matrix array real general\n";
  TemporaryFolder folder;
};

/// The product of two random matrices; with few digits each it is exact in every precision.
struct LowRankFile {
  Dense left, right, values;
  std::string text;

  LowRankFile(int rows, int columns, int rank, bool is_complex, unsigned seed)
      : left(rows, rank), right(rank, columns) {
    std::mt19937 random(seed);
    const auto number = [&] { return static_cast<int>(random() % 7) - 3; };
    for (Dense* factor : {&left, &right}) {
      for (Complex& element : factor->reshaped()) {
        const int real = number(), imaginary = is_complex ? number() : 0;
        element = Complex(real, imaginary);
      }
    }
    values = left * right;
    text =
        fmt::format("%%MatrixMarket matrix array {} general\n{} {}\n", is_complex ? "complex" : "real", rows, columns);
    for (const Complex& element : values.reshaped()) {
      const auto real = static_cast<double>(element.real()), imaginary = static_cast<double>(element.imag());
      text += is_complex ? fmt::format("{} {}\n", real, imaginary) : fmt::format("{}\n", real);
    }
  }

  Dense shortest(const Dense& b) const {
    const Dense y = Eigen::HouseholderQR<Dense>(left).solve(b), gram = right * right.adjoint();
    return right.adjoint() * Eigen::HouseholderQR<Dense>(gram).solve(y);
  }
};

TEST_F(LstsqOfAnyRank, FindsTheShortestX) {
  for (const auto& [m, n, rank] : {std::tuple(5, 4, 2), {4, 5, 2}, {6, 6, 1}, {30, 20, 11}, {20, 30, 11}}) {
    for (const bool is_complex : {false, true}) {
      const LowRankFile a(m, n, rank, is_complex, 17);
      const RandomFile b(m, 2, false, 18);
      folder.write("A.mtx", a.text);
      folder.write("b.mtx", b.text);
      const Dense expected = a.shortest(b.values);
      for (const char precision : {'s', 'd', 'c', 'z'}) {
        if (is_complex && is_real(precision)) continue;
        // Factors of so small numbers have condition numbers of a hundred or so, and the residual is large.
        expect_rank(a.values, b.values, precision, fmt::format("{} of {}", rank, std::min(m, n)), {}, expected,
                    100 * (expected.norm() + b.values.norm()));
      }
    }
  }
}

TEST_F(LstsqOfAnyRank, TellsTheKindAndTheResidual) {
  folder.write("A.mtx", array + "3 2\n1\n2\n3\n2\n4\n6\n");
  folder.write("b.mtx", array + "3 1\n1\n2\n4\n");
  const ChildResult result = run_nuv(folder, {"lstsq", "A.mtx", "b.mtx"});
  ASSERT_TRUE(result.succeeded()) << to_string(result);
  const std::string pattern =
      R"(equations          3 in 2 unknowns, A\.mtx: least squares of least norm
right-hand sides   1, b\.mtx
rank               1 of 2   reciprocal condition number of what counts above 6\.66e-16
factored by        nuv_lapack_dgelsy, double precision
residual norm      0\.597614   \|\|A x - b\|\|
time               read [0-9.e+-]+ s, solve [0-9.e+-]+ s, check [0-9.e+-]+ s, write [0-9.e+-]+ s
)";
  EXPECT_EQ(match(result.error, pattern).size(), 1u) << result.error;
  const Dense x = solution_in(result.output, 'd');
  EXPECT_NEAR(static_cast<double>(x(0, 0).real()), 17.0 / 70, 1e-15);
  EXPECT_NEAR(static_cast<double>(x(1, 0).real()), 17.0 / 35, 1e-15);
}

TEST_F(LstsqOfAnyRank, FindsItForMatricesOfAllKinds) {
  folder.write("b.mtx", array + "3 1\n1\n2\n3\n");
  folder.write("b2.mtx", array + "2 1\n1\n2\n");
  const auto expect = [&](const std::string& text, const std::string& rank, const std::vector<double>& expected) {
    SCOPED_TRACE(text);
    folder.write("A.mtx", array + text);
    for (const char* precision : {"s", "d", "c", "z"}) {
      const ChildResult result =
          run_nuv(folder, {"lstsq", "A.mtx", text.starts_with("2") ? "b2.mtx" : "b.mtx", "-p", precision});
      ASSERT_TRUE(result.succeeded()) << to_string(result);
      EXPECT_NE(result.error.find("\nrank               " + rank + " "), std::string::npos) << result.error;
      const Dense x = solution_in(result.output, *precision);
      ASSERT_EQ(x.rows(), int(expected.size()));
      for (int i = 0; i < x.rows(); ++i) {
        EXPECT_NEAR(static_cast<double>(x(i, 0).real()), expected[std::size_t(i)],
                    is_single(*precision) ? 1e-5 : 1e-13);
      }
    }
  };
  expect("3 2\n1\n1\n1\n1\n1\n1.0000000000000002\n", "1 of 2", {1, 1});
  expect("3 2\n1\n0\n0\n0\n0\n0\n", "1 of 2", {1, 0});
  expect("3 2\n0\n0\n0\n0\n0\n0\n", "0 of 2", {0, 0});
  // Without pivoting the diagonal of R would be 1e-20 and 1.
  expect("3 2\n1e-20\n0\n0\n1\n1\n0\n", "1 of 2", {0, 1.5});
  expect("2 3\n1\n2\n2\n4\n3\n6\n", "1 of 2", {1.0 / 14, 2.0 / 14, 3.0 / 14});
  expect("2 3\n1\n0\n0\n0\n0\n0\n", "1 of 2", {1, 0, 0});
}

TEST_F(LstsqOfAnyRank, CountsByTheToleranceThatIsGiven) {
  folder.write("A.mtx", array + "3 2\n1\n0\n0\n0\n1e-20\n0\n");
  folder.write("b.mtx", array + "3 1\n1\n1e-20\n0\n");
  const auto expect = [&](const std::vector<std::string>& options, const std::string& rank, const std::string& x) {
    std::vector<std::string> arguments = {"lstsq", "A.mtx", "b.mtx"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ChildResult result = run_nuv(folder, arguments);
    EXPECT_EQ(result.output, array + "2 1\n" + x) << to_string(result);
    EXPECT_NE(result.error.find("\nrank               " + rank), std::string::npos) << result.error;
  };
  const std::string by_condition = "   reciprocal condition number of what counts above ";
  expect({}, "1 of 2" + by_condition + "6.66e-16\n", "1\n0\n");
  expect({"--rank", "1e-19"}, "1 of 2" + by_condition + "1e-19\n", "1\n0\n");
  // What is as large as the tolerance does not count, and as large as the reciprocal condition number does.
  expect({"--rank=1e-20"}, "1 of 2" + by_condition + "1e-20\n", "1\n0\n");
  expect({"--rank", "9e-21"}, "2, full   diagonal of R above 9e-21 of ", "1\n1\n");
  expect({"--rank", "0"}, "2, full   diagonal of R above 0 of ", "1\n1\n");
  expect({"--rcond", "1.1e-20"}, "1 of 2" + by_condition + "1.1e-20\n", "1\n0\n");
  expect({"--rcond", "1e-20"}, "2, full" + by_condition + "1e-20\n", "1\n1\n");
  expect({"--rcond=0"}, "2, full" + by_condition + "0\n", "1\n1\n");
  // A zero is no rank at any tolerance.
  folder.write("A.mtx", array + "3 2\n1\n0\n0\n0\n0\n0\n");
  expect({"--rank", "0"}, "1 of 2" + by_condition + "0\n", "1\n0\n");
}

TEST_F(LstsqOfAnyRank, TakesColumnsOfVeryDifferentSize) {
  folder.write("A.mtx", array + "2 2\n1e300\n0\n1e300\n0\n");
  folder.write("b.mtx", array + "2 2\n2e300\n1\n2e-5\n0\n");
  const ChildResult result = run_nuv(folder, {"lstsq", "A.mtx", "b.mtx"});
  ASSERT_TRUE(result.succeeded()) << to_string(result);
  const Dense x = solution_in(result.output, 'd');
  for (int i = 0; i < 2; ++i) {
    EXPECT_NEAR(static_cast<double>(x(i, 0).real()), 1, 1e-14);
    EXPECT_NEAR(static_cast<double>(x(i, 1).real() / 1e-305L), 1, 1e-14);
  }
}

TEST_F(LstsqOfAnyRank, ByConditionWithoutEquationsUnknownsOrRightHandSides) {
  folder.write("tall.mtx", array + "2 0\n");
  folder.write("wide.mtx", array + "0 2\n");
  folder.write("b2.mtx", array + "2 1\n3\n4\n");
  folder.write("b0.mtx", array + "0 1\n");
  folder.write("A.mtx", array + "2 1\n1\n1\n");
  folder.write("none.mtx", array + "2 0\n");
  const auto expect = [&](const char* a, const char* b, const std::string& rank, const std::string& x) {
    const ChildResult result = run_nuv(folder, {"lstsq", a, b, "--rcond", "1e-9"});
    EXPECT_EQ(result.output, array + x) << to_string(result);
    EXPECT_NE(result.error.find("\nrank               " + rank + ", full "), std::string::npos) << result.error;
  };
  expect("tall.mtx", "b2.mtx", "0", "0 1\n");
  expect("wide.mtx", "b0.mtx", "0", "2 1\n0\n0\n");
  expect("A.mtx", "none.mtx", "1", "1 0\n");
}

// --------------------------------------------------------------------------------------------------------- constraints

class LstsqUnderConstraints : public LstsqOfAnyRank {};

TEST_F(LstsqUnderConstraints, KeepsToThemAndFits) {
  for (const auto& [m, n, p] : {std::tuple(5, 4, 2), {5, 4, 0}, {5, 4, 4}, {3, 5, 2}, {0, 3, 3}, {40, 30, 12}}) {
    for (const bool is_complex : {false, true}) {
      const RandomFile a(m, n, is_complex, 21), b(m, 2, false, 22), c(p, n, is_complex, 23), d(p, 2, false, 24);
      folder.write("A.mtx", a.text);
      folder.write("b.mtx", b.text);
      folder.write("C.mtx", c.text);
      folder.write("d.mtx", d.text);
      for (const char precision : {'s', 'd', 'c', 'z'}) {
        if (is_complex && is_real(precision)) continue;
        SCOPED_TRACE(fmt::format("{}, {}, {}, precision {}", m, n, p, precision));
        const ChildResult result = run_nuv(
            folder, {"lstsq", "A.mtx", "b.mtx", "--constraints", "C.mtx", "d.mtx", "-p", std::string(1, precision)});
        ASSERT_TRUE(result.succeeded()) << to_string(result);
        const Dense x = solution_in(result.output, precision);
        ASSERT_EQ(x.rows(), n);
        ASSERT_EQ(x.cols(), 2);
        const long double unit = (is_single(precision) ? 0x1p-24L : 0x1p-53L) * (m + n);
        const Dense off = c.values * x - d.values, r = b.values - a.values * x;
        EXPECT_LE(off.norm(), 10 * unit * (c.values.norm() * x.norm() + d.values.norm()));
        // A^H r has no part in the null space of C.
        Dense parts = a.values.adjoint() * r;
        if (p > 0) parts = Eigen::HouseholderQR<Dense>(c.values.adjoint()).householderQ().adjoint() * parts;
        EXPECT_LE(parts.bottomRows(n - p).norm(),
                  10 * unit * a.values.norm() * (a.values.norm() * x.norm() + b.values.norm()));
      }
    }
  }
}

TEST_F(LstsqUnderConstraints, TellsThem) {
  // x1 + x2 = 4, and as near to (1, 1) as can be.
  folder.write("A.mtx", array + "2 2\n1\n0\n0\n1\n");
  folder.write("b.mtx", array + "2 1\n1\n1\n");
  folder.write("C.mtx", array + "1 2\n1\n1\n");
  folder.write("d.mtx", array + "1 1\n4\n");
  for (const bool first : {true, false}) {
    const ChildResult result =
        run_nuv(folder, first ? std::vector<std::string>{"lstsq", "--constraints", "C.mtx", "d.mtx", "A.mtx", "b.mtx"}
                              : std::vector<std::string>{"lstsq", "A.mtx", "b.mtx", "--constraints", "C.mtx", "d.mtx"});
    ASSERT_TRUE(result.succeeded()) << to_string(result);
    const Dense x = solution_in(result.output, 'd');
    EXPECT_NEAR(static_cast<double>(x(0, 0).real()), 2, 1e-14);
    EXPECT_NEAR(static_cast<double>(x(1, 0).real()), 2, 1e-14);
    const std::string pattern =
        R"(equations          2 in 2 unknowns, A\.mtx: least squares under constraints
right-hand sides   1, b\.mtx
constraints        1, C\.mtx and d\.mtx
factored by        nuv_lapack_dgglse, double precision
residual norm      1\.41421   \|\|A x - b\|\|
constraint norm    [0-9.e+-]+   \|\|C x - d\|\|
time               read [0-9.e+-]+ s, solve [0-9.e+-]+ s, check [0-9.e+-]+ s, write [0-9.e+-]+ s
)";
    EXPECT_EQ(match(result.error, pattern).size(), 1u) << result.error;
  }
}

TEST_F(LstsqUnderConstraints, TakesComplexConstraintsOfARealMatrix) {
  folder.write("A.mtx", array + "1 1\n1\n");
  folder.write("b.mtx", array + "1 1\n1\n");
  folder.write("C.mtx", "%%MatrixMarket matrix array complex general\n1 1\n0 1\n");
  folder.write("d.mtx", array + "1 1\n3\n");
  const ChildResult result = run_nuv(folder, {"lstsq", "A.mtx", "b.mtx", "--constraints", "C.mtx", "d.mtx"});
  ASSERT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(solution_in(result.output, 'z')(0, 0), Complex(0, -3));
}

TEST_F(LstsqUnderConstraints, CountsBothByOneMeasure) {
  // The units of the constraints are nobody's business.
  folder.write("A.mtx", array + "2 2\n1\n0\n0\n1\n");
  folder.write("b.mtx", array + "2 1\n1\n1\n");
  folder.write("C.mtx", array + "1 2\n1e-40\n1e-40\n");
  folder.write("d.mtx", array + "1 1\n4e-40\n");
  EXPECT_TRUE(run_nuv(folder, {"lstsq", "A.mtx", "b.mtx", "--constraints", "C.mtx", "d.mtx"}).succeeded());
  folder.write("A.mtx", array + "1 2\n1e-40\n0\n");
  folder.write("b.mtx", array + "1 1\n1e-40\n");
  folder.write("C.mtx", array + "1 2\n1\n1\n");
  folder.write("d.mtx", array + "1 1\n4\n");
  EXPECT_TRUE(run_nuv(folder, {"lstsq", "A.mtx", "b.mtx", "--constraints", "C.mtx", "d.mtx"}).succeeded());
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

TEST_F(LstsqRefuses, ConstraintsThatDoNotFit) {
  folder.write("A.mtx", array + "2 2\n1\n0\n0\n1\n");
  folder.write("b.mtx", array + "2 1\n1\n1\n");
  folder.write("C.mtx", array + "1 2\n1\n1\n");
  folder.write("d.mtx", array + "1 1\n4\n");
  const auto refused = [&](const std::string& c, const std::string& d, const std::string& message) {
    expect_refused("A.mtx", "b.mtx", message, {"--constraints", c, d});
  };
  refused("b.mtx", "d.mtx", "b.mtx:2: the constraints have 1 columns, the matrix has 2");
  refused("C.mtx", "b.mtx", "b.mtx:2: the right-hand sides of the constraints have 2 rows, the constraints 1");
  folder.write("d2.mtx", array + "1 2\n4\n5\n");
  refused("C.mtx", "d2.mtx",
          "d2.mtx:2: the right-hand sides of the constraints have 2 columns, those of the equations 1");
  refused("none.mtx", "d.mtx", "none.mtx: cannot open: No such file or directory");
  folder.write("twice.mtx", array + "2 2\n1\n2\n1\n2\n");
  refused("twice.mtx", "b.mtx",
          "twice.mtx: the constraints have numerical rank 1 (tolerance 8.88e-16), less than their number, 2");
  folder.write("three.mtx", array + "3 2\n1\n0\n1\n0\n1\n1\n");
  folder.write("b3.mtx", array + "3 1\n1\n1\n1\n");
  refused("three.mtx", "b3.mtx",
          "three.mtx: the constraints have numerical rank 2 (tolerance 1.11e-15), less than their number, 3");
  folder.write("A.mtx", array + "2 2\n1\n1\n1\n1\n");
  refused(
      "C.mtx", "d.mtx",
      "A.mtx: matrix and constraints together have numerical rank 1 (tolerance 6.66e-16), less than the 2 unknowns: "
      "many X are as good");
  expect_refused("A.mtx", "b.mtx",
                 "A.mtx: matrix and constraints together have numerical rank 1 (tolerance 0.5), less than the 2 "
                 "unknowns: many X are as good",
                 {"--constraints", "C.mtx", "d.mtx", "--rank", "0.5"});
}

TEST_F(LstsqRefuses, SolutionsThatOverflow) {
  folder.write("tiny.mtx", array + "2 1\n1e-300\n0\n");
  folder.write("huge.mtx", array + "2 1\n1e300\n1\n");
  expect_refused("tiny.mtx", "huge.mtx", "tiny.mtx: the solution overflows the precision");
  expect_refused("tiny.mtx", "huge.mtx", "tiny.mtx: the solution overflows the precision", {"--rcond", "0"});
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
