// Runs `nuv cond`, `nuv inv` and `nuv det` on matrices whose answers are known.

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

const std::string array = "%%MatrixMarket matrix array real general\n";
const std::string complex_array = "%%MatrixMarket matrix array complex general\n";
const std::string coordinate = "%%MatrixMarket matrix coordinate real general\n";

class MatrixQuestions : public testing::Test {
 protected:
  ChildResult run(const std::string& question, std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {question, "A.mtx"});
    return run_nuv(folder, options);
  }

  /// The words behind a label in the answer about a matrix.
  std::string answer(const std::string& question, const std::string& matrix, const std::string& label,
                     const std::vector<std::string>& options = {}) const {
    folder.write("A.mtx", matrix);
    const ChildResult result = run(question, options);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    EXPECT_EQ(result.error, "");
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(label + " ")) return line.substr(19);
    }
    ADD_FAILURE() << "no " << label << " in\n" << result.output;
    return "0";
  }

  double number(const std::string& question, const std::string& matrix, const std::string& label,
                const std::vector<std::string>& options = {}) const {
    return std::stod(answer(question, matrix, label, options));
  }

  TemporaryFolder folder;
};

/// A matrix without the signs of its zeros, which come as the arithmetic has them.
std::string with_plain_zeros(std::string text) {
  for (const char end : {'\n', ' '}) {
    const std::string zero = std::string("-0") + end;
    for (auto at = text.find(zero); at != std::string::npos; at = text.find(zero)) text.erase(at, 1);
  }
  return text;
}

/// The diagonal matrix with one number, as coordinates.
std::string diagonal(int n, const std::string& value) {
  std::string text = coordinate + std::to_string(n) + " " + std::to_string(n) + " " + std::to_string(n) + "\n";
  for (int k = 1; k <= n; ++k) text += std::to_string(k) + " " + std::to_string(k) + " " + value + "\n";
  return text;
}

// ----------------------------------------------------------------------------------------------------------- condition

TEST_F(MatrixQuestions, ConditionIsInTheOneAndTheInfinityNorm) {
  // [1 5 7; 0 1 0; 0 0 1] and its inverse have the norms 8 and 13.
  const std::string a = array + "3 3\n1\n0\n0\n5\n1\n0\n7\n0\n1\n";
  for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
    EXPECT_EQ(answer("cond", a, "one norm", {precision}), "0.0156   1 / (||A|| ||A^-1||)");
    EXPECT_EQ(answer("cond", a, "infinity norm", {precision}), "0.00592");
  }
  EXPECT_EQ(answer("cond", a, "matrix"), "3 by 3, A.mtx");
  EXPECT_EQ(answer("cond", a, "factored by"), "nuv_lapack_dgetrf, double precision");
}

TEST_F(MatrixQuestions, ConditionOfABandIsThatOfTheMatrix) {
  // [3 1 . . ; 1 3 1 . ; ...] of order 20, as coordinates and as an array.
  std::string entries, elements;
  for (int j = 1; j <= 20; ++j) {
    for (int i = 1; i <= 20; ++i) {
      const int value = i == j ? 3 : i == j + 1 ? 2 : i == j - 1 ? 1 : 0;
      elements += std::to_string(value) + "\n";
      if (value != 0) entries += std::to_string(i) + " " + std::to_string(j) + " " + std::to_string(value) + "\n";
    }
  }
  const std::string band = coordinate + "20 20 58\n" + entries, whole = array + "20 20\n" + elements;
  EXPECT_EQ(answer("cond", band, "factored by"), "nuv_lapack_dgbtrf, double precision");
  EXPECT_EQ(answer("cond", whole, "factored by"), "nuv_lapack_dgetrf, double precision");
  for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
    for (const char* norm : {"one norm", "infinity norm"}) {
      EXPECT_NEAR(number("cond", band, norm, {precision}) / number("cond", whole, norm, {precision}), 1, 0.01);
    }
    EXPECT_NEAR(number("det", band, "logarithm", {precision}), number("det", whole, "logarithm", {precision}), 1e-4);
    EXPECT_EQ(answer("det", band, precision[2] < 'd' || precision[2] > 's' ? "phase" : "sign", {precision}),
              answer("det", whole, precision[2] < 'd' || precision[2] > 's' ? "phase" : "sign", {precision}));
  }
}

TEST_F(MatrixQuestions, ConditionIsNearThatOfAMadeMatrix) {
  for (const double cond : {1e3, 1e9}) {
    const std::string text = std::to_string(static_cast<long long>(cond));
    ASSERT_TRUE(run_nuv(folder, {"make", "general", "30", "--cond", text, "-o", "A.mtx"}).succeeded());
    const std::string a = folder.read("A.mtx");
    for (const char* norm : {"one norm", "infinity norm"}) {
      // The norms are within a factor of sqrt(30) of the Euclidean one, on both sides.
      EXPECT_GT(number("cond", a, norm) * cond, 1. / 30);
      EXPECT_LT(number("cond", a, norm) * cond, 10);
    }
  }
}

TEST_F(MatrixQuestions, ConditionDoesNotDependOnTheScale) {
  for (const char* scale : {"", "e150", "e307", "e-150", "e-307", "e-320"}) {
    const std::string s = scale;
    EXPECT_NEAR(number("cond", array + "2 2\n8" + s + "\n0\n0\n2" + s + "\n", "one norm"), 0.25, 1e-3) << s;
  }
}

TEST_F(MatrixQuestions, ConditionOfASingularMatrixIsZero) {
  EXPECT_EQ(number("cond", array + "2 2\n1\n2\n2\n4\n", "one norm"), 0);
  EXPECT_EQ(number("cond", array + "2 2\n1\n2\n2\n4\n", "infinity norm"), 0);
  EXPECT_EQ(answer("cond", array + "2 2\n1\n2\n2\n4\n", "warning"),
            "the matrix is singular: pivot U(2,2) is exactly zero");
  EXPECT_EQ(answer("cond", array + "2 2\n1\n1\n1\n1.0000000000000002\n", "warning"),
            "the matrix is singular to working precision: its reciprocal condition number is 5.55e-17");
  EXPECT_EQ(number("cond", array + "0 0\n", "one norm"), 1);
}

// --------------------------------------------------------------------------------------------------------- determinant

TEST_F(MatrixQuestions, DeterminantHasSignAndLogarithm) {
  const std::string a = array + "2 2\n2\n1\n1\n3\n", exchange = array + "2 2\n0\n1\n1\n0\n";
  for (const char* precision : {"-ps", "-pd"}) {
    EXPECT_EQ(answer("det", a, "sign", {precision}), "1");
    EXPECT_NEAR(number("det", a, "logarithm", {precision}), std::log(5.), 1e-6);
    EXPECT_EQ(answer("det", a, "magnitude", {precision}), "5");
    EXPECT_EQ(answer("det", exchange, "sign", {precision}), "-1");
    EXPECT_EQ(number("det", exchange, "logarithm", {precision}), 0);
    EXPECT_EQ(answer("det", array + "1 1\n-0.001\n", "sign", {precision}), "-1");
    EXPECT_EQ(answer("det", array + "1 1\n-0.001\n", "magnitude", {precision}), "1 * 10^-3");
  }
  // Three cycles of two and one of three: -1 thrice.
  EXPECT_EQ(
      answer("det", coordinate + "9 9 9\n2 1 1\n1 2 1\n4 3 1\n3 4 1\n6 5 1\n5 6 1\n8 7 1\n9 8 1\n7 9 1\n", "sign"),
      "-1");
}

TEST_F(MatrixQuestions, DeterminantOfAComplexMatrixHasAPhase) {
  for (const char* precision : {"-pc", "-pz"}) {
    EXPECT_EQ(answer("det", complex_array + "1 1\n0 2\n", "phase", {precision}), "0+1i");
    EXPECT_EQ(answer("det", complex_array + "2 2\n3 4\n0 0\n0 0\n1 0\n", "phase", {precision}), "0.6+0.8i");
    EXPECT_EQ(answer("det", complex_array + "2 2\n0 0\n1 0\n3 -4\n0 0\n", "phase", {precision}), "-0.6+0.8i");
    EXPECT_EQ(answer("det", complex_array + "1 1\n3 4\n", "magnitude", {precision}), "5");
  }
  // That of a Hermitian matrix is real, 1 * 2 - |1+i|^2 * 2.
  const std::string hermitian = "%%MatrixMarket matrix array complex hermitian\n2 2\n1 0\n1 1\n-2 0\n";
  EXPECT_EQ(answer("det", hermitian, "sign"), "-1");
  EXPECT_EQ(answer("det", hermitian, "magnitude"), "4");
}

TEST_F(MatrixQuestions, DeterminantsNeitherOverflowNorUnderflow) {
  const double ln10 = std::log(10.);
  for (const int n : {3, 100}) {  // whole, and as a band
    EXPECT_NEAR(number("det", diagonal(n, "1e300"), "logarithm"), 300 * n * ln10, 1e-9 * n);
    EXPECT_NEAR(number("det", diagonal(n, "-1e-300"), "logarithm"), -300 * n * ln10, 1e-9 * n);
    EXPECT_EQ(answer("det", diagonal(n, "-1e-300"), "sign"), n % 2 == 0 ? "1" : "-1");
    EXPECT_EQ(answer("det", diagonal(n, "1e300"), "magnitude"), "1 * 10^" + std::to_string(300 * n));
    EXPECT_NEAR(number("det", diagonal(n, "1e38"), "logarithm", {"-ps"}), 38 * n * ln10, 1e-6 * n);
    EXPECT_NEAR(number("det", diagonal(n, "1e-320"), "logarithm"), -320 * n * ln10, 1e-3 * n);
  }
  // The factors of this one would be 2^1024 and more: [1 1; -1 1] * 1.5e308 twice over.
  EXPECT_NEAR(number("det", array + "2 2\n1.5e308\n-1.5e308\n1.5e308\n1.5e308\n", "logarithm"),
              2 * std::log(1.5) + 616 * ln10 + std::log(2.), 1e-9);
  // A number far below the largest counts.
  EXPECT_NEAR(number("det", array + "2 2\n1e300\n0\n0\n1e-300\n", "logarithm"), 0, 1e-9);
}

TEST_F(MatrixQuestions, DeterminantOfASingularMatrixIsZero) {
  const std::string a = array + "2 2\n1\n2\n2\n4\n";
  EXPECT_EQ(answer("det", a, "sign"), "0");
  EXPECT_EQ(answer("det", a, "logarithm"), "-inf   of the magnitude, to base e");
  EXPECT_EQ(answer("det", a, "magnitude"), "0");
  EXPECT_EQ(answer("det", a, "warning"), "the matrix is singular: pivot U(2,2) is exactly zero");
  EXPECT_EQ(answer("det", array + "0 0\n", "sign"), "1");
  EXPECT_EQ(answer("det", array + "0 0\n", "magnitude"), "1");
}

// ------------------------------------------------------------------------------------------------------------- inverse

TEST_F(MatrixQuestions, InverseIsWritten) {
  folder.write("A.mtx", array + "2 2\n2\n0\n4\n-4\n");  // [2 4; 0 -4]
  for (const char* precision : {"-ps", "-pd"}) {
    EXPECT_EQ(with_plain_zeros(run("inv", {precision}).output), array + "2 2\n0.5\n0\n0.5\n-0.25\n");
  }
  for (const char* precision : {"-pc", "-pz"}) {
    EXPECT_EQ(with_plain_zeros(run("inv", {precision}).output), complex_array + "2 2\n0.5 0\n0 0\n0.5 0\n-0.25 0\n");
  }
  const ChildResult result = run("inv", {"-o", "inverse.mtx"});
  ASSERT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(with_plain_zeros(folder.read("inverse.mtx")), array + "2 2\n0.5\n0\n0.5\n-0.25\n");
  EXPECT_FALSE(match(result.error,
                     "matrix             2 by 2, A\\.mtx\n"
                     "factored by        nuv_lapack_dgetrf, double precision\n"
                     "inverted by        nuv_lapack_dgetri, double precision\n"
                     "condition          0\\.167   reciprocal, in the one norm\n"
                     "time               read [0-9.e+-]+ s, solve [0-9.e+-]+ s, write [0-9.e+-]+ s\n")
                   .empty())
      << result.error;
}

TEST_F(MatrixQuestions, InverseOfHugeAndTinyMatricesIsInRange) {
  folder.write("A.mtx", array + "2 2\n0\n8e306\n8e306\n0\n");
  EXPECT_EQ(with_plain_zeros(run("inv").output), array + "2 2\n0\n1.25e-307\n1.25e-307\n0\n");
  folder.write("A.mtx", array + "1 1\n8e-308\n");
  EXPECT_EQ(with_plain_zeros(run("inv").output), array + "1 1\n1.25e+307\n");
  folder.write("A.mtx", array + "1 1\n1e-310\n");
  expect_refusal(run("inv"), 1, "A.mtx: the inverse overflows the precision");
}

TEST_F(MatrixQuestions, InverseOfSingularMatricesIsRefused) {
  folder.write("A.mtx", array + "2 2\n1\n2\n2\n4\n");
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--force"}}) {
    expect_refusal(run("inv", options), 1, "A.mtx: the matrix is singular: pivot U(2,2) is exactly zero");
  }
  folder.write("A.mtx", array + "2 2\n1\n1\n1\n1.0000000000000002\n");
  expect_refusal(run("inv"), 1,
                 "A.mtx: the matrix is singular to working precision: its reciprocal condition number is 5.55e-17 "
                 "(--force gives the inverse all the same)");
  const ChildResult forced = run("inv", {"--force"});
  ASSERT_TRUE(forced.succeeded()) << to_string(forced);
  EXPECT_EQ(forced.output, array + "2 2\n4503599627370497\n-4503599627370496\n-4503599627370496\n4503599627370496\n");
  EXPECT_NE(forced.error.find("warning            the matrix is singular to working precision"), std::string::npos);
}

// ----------------------------------------------------------------------------------------------- what all three refuse

TEST_F(MatrixQuestions, RefuseWhatIsNoSquareMatrix) {
  folder.write("A.mtx", array + "2 1\n1\n1\n");
  expect_refusal(run("cond"), 1, "A.mtx:2: the matrix is 2 by 1, a condition number needs a square one");
  expect_refusal(run("inv"), 1, "A.mtx:2: the matrix is 2 by 1, an inverse needs a square one");
  expect_refusal(run("det"), 1, "A.mtx:2: the matrix is 2 by 1, a determinant needs a square one");
}

TEST_F(MatrixQuestions, RefuseWhatCannotBeReadOrHeld) {
  for (const char* question : {"cond", "inv", "det"}) {
    SCOPED_TRACE(question);
    std::filesystem::remove(folder / "A.mtx");
    expect_refusal(run(question), 1, "A.mtx: cannot open: No such file or directory");
    folder.write("A.mtx", complex_array + "1 1\n1 1\n");
    expect_refusal(run(question, {"-pd"}), 1, "A.mtx:1: complex data does not fit the real precision d");
    folder.write("A.mtx", coordinate + "2000000 2000000 1\n2000000 1 1\n");
    const ChildResult result = run(question);
    EXPECT_FALSE(match(result.error,
                       "nuv: A\\.mtx:2: a 2000000 by 2000000 matrix takes [0-9.e+]+ GiB to [a-z]+, this "
                       "machine can give [0-9.e+]+\n")
                     .empty())
        << to_string(result);
    EXPECT_EQ(result.exit_status, 1);
  }
}

}  // namespace
}  // namespace nuv::test
