// What `nuv solve` chooses for a file, what it does when it is asked for a method, and what it says of the solution.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "nuv_command.hpp"
#include "tools/matrix_market.hpp"

namespace nuv::test {
namespace {

const std::string banner = "%%MatrixMarket matrix ";

/// The words of an account behind a label.
std::string words(const std::string& account, const std::string& label) {
  std::istringstream lines(account);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(label + " ")) return line.substr(19);
  }
  ADD_FAILURE() << "no " << label << " in\n" << account;
  return "0";
}

bool has(const std::string& account, const std::string& label) {
  return ("\n" + account).find("\n" + label + " ") != std::string::npos;
}

double number(const std::string& account, const std::string& label) {
  return std::stod(words(account, label));
}

bool is_real(char precision) {
  return precision == 's' || precision == 'd';
}

/// The tridiagonal matrix of a row of springs, 4 on the diagonal and -1 beside it, and twice the solution 1, 2, ..., n.
struct Springs {
  int n;
  std::string coordinate, array, right_hand_sides;

  explicit Springs(int order) : n(order) {
    const std::string size = std::to_string(n) + " " + std::to_string(n);
    std::ostringstream entries, elements, b;
    for (int j = 1; j <= n; ++j) {
      entries << j << " " << j << " 4\n";
      if (j < n) entries << j + 1 << " " << j << " -1\n";
      for (int i = j; i <= n; ++i) elements << (i == j ? 4 : i == j + 1 ? -1 : 0) << "\n";
      b << 4 * j - (j > 1 ? j - 1 : 0) - (j < n ? j + 1 : 0) << "\n";
    }
    coordinate = banner + "coordinate real symmetric\n" + size + " " + std::to_string(2 * n - 1) + "\n" + entries.str();
    array = banner + "array real symmetric\n" + size + "\n" + elements.str();
    right_hand_sides = banner + "array real general\n" + std::to_string(n) + " 2\n" + b.str() + b.str();
  }

  /// max |X - exact| / max |X| over the two columns.
  double error(const std::string& solution) const {
    tools::Input input = tools::Input::of(solution, "solution");
    const auto x = tools::read_matrix_market(input, tools::Precision::Double);
    EXPECT_EQ(x.stored(), static_cast<std::size_t>(2 * n));
    double largest = 0;
    for (std::size_t k = 0; k < x.stored(); ++k) {
      const double exact = static_cast<double>(k) < n ? static_cast<double>(k + 1) : static_cast<double>(k + 1) - n;
      largest = std::max(largest, std::abs(x.value(k) - exact));
    }
    return largest / n;
  }
};

class SolveMethods : public testing::Test {
 protected:
  ChildResult solve(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"solve", "A.mtx", "b.mtx"});
    return run_nuv(folder, options);
  }

  /// The account of a solve that must succeed.
  std::string account(const std::vector<std::string>& options = {}) const {
    const ChildResult result = solve(options);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return result.error;
  }

  void write(const std::string& a, const std::string& b) const {
    folder.write("A.mtx", a);
    folder.write("b.mtx", b);
  }

  TemporaryFolder folder;
};

TEST_F(SolveMethods, SolveAndJudgeInEveryPrecision) {
  const Springs springs(40);
  struct Case {
    std::vector<std::string> options;
    std::string real_driver, complex_driver, method;
  };
  const std::string band = "1 below the diagonal, 1 above";
  const std::vector<Case> of_coordinates = {
      {{}, "gbsvx", "gbsvx", "band LU factorisation: " + band},
      {{"--spd"}, "pbsvx", "pbsvx", "band Cholesky factorisation: --spd, and " + band},
      {{"--method", "lu"}, "gesvx", "gesvx", "LU factorisation: as asked for"},
      {{"--method", "cholesky"}, "posvx", "posvx", "Cholesky factorisation: as asked for"},
      {{"--method", "cholesky", "--spd"}, "posvx", "posvx", "Cholesky factorisation: as asked for"},
      {{"--method", "band"}, "gbsvx", "gbsvx", "band LU factorisation: as asked for; " + band},
      {{"--method", "band", "--spd"}, "pbsvx", "pbsvx", "band Cholesky factorisation: as asked for; " + band},
      {{"--method", "indefinite"}, "sysvx", "hesvx", ""},
  };
  const std::vector<Case> of_an_array = {
      {{}, "sysvx", "hesvx", ""},
      {{"--spd"}, "posvx", "posvx", "Cholesky factorisation: --spd"},
      {{"--method", "band"}, "gbsvx", "gbsvx", "band LU factorisation: as asked for; " + band},
  };
  const auto check = [&](const Case& c, char precision) {
    SCOPED_TRACE(testing::PrintToString(c.options) + precision);
    std::vector<std::string> options = c.options;
    options.insert(options.end(), {"-p", std::string(1, precision)});
    const ChildResult result = solve(options);
    ASSERT_TRUE(result.succeeded()) << to_string(result);
    EXPECT_TRUE(words(result.error, "solved by")
                    .starts_with("nuv_lapack_" + std::string(1, precision) +
                                 (is_real(precision) ? c.real_driver : c.complex_driver) + ","));
    if (!c.method.empty()) {
      EXPECT_EQ(words(result.error, "method"), c.method);
    }
    EXPECT_LT(number(result.error, "scaled residual"), 10);
    // In the one norm 6 times the row sums of an inverse below 1/2, whatever the order.
    EXPECT_GT(number(result.error, "condition"), 0.33);
    EXPECT_LT(number(result.error, "condition"), 0.5);
    const double eps = precision == 's' || precision == 'c' ? 0x1p-24 : 0x1p-53;
    const double error = springs.error(result.output), bound = number(result.error, "forward error");
    EXPECT_LE(error, bound);
    EXPECT_LT(bound, 200 * eps);
    EXPECT_FALSE(has(result.error, "warning"));
    EXPECT_FALSE(has(result.error, "asymmetry"));
  };
  for (const char precision : {'s', 'd', 'c', 'z'}) {
    write(springs.coordinate, springs.right_hand_sides);
    for (const Case& c : of_coordinates) check(c, precision);
    write(springs.array, springs.right_hand_sides);
    for (const Case& c : of_an_array) check(c, precision);
  }
  check({{"--method", "mixed"}, "sgesv", "", "LU factorisation in mixed precision: as asked for"}, 'd');
}

TEST_F(SolveMethods, TakeABandFromFourRowsForEachDiagonal) {
  for (const auto& [n, driver] : {std::pair(11, "dsysvx"), {12, "dgbsvx"}}) {
    const Springs springs(n);
    write(springs.coordinate, springs.right_hand_sides);
    EXPECT_TRUE(words(account(), "solved by").starts_with(std::string("nuv_lapack_") + driver)) << n;
  }
}

TEST_F(SolveMethods, FollowTheSymmetryOfTheFile) {
  const std::string b = banner + "array real general\n2 1\n1\n2\n";
  const auto method = [&](const std::string& a, const std::vector<std::string>& options = {}) {
    write(banner + a, b);
    return words(account(options), "method");
  };
  EXPECT_EQ(method("array real general\n2 2\n1\n2\n3\n4\n"), "LU factorisation: the file is general");
  EXPECT_EQ(method("array real skew-symmetric\n2 2\n1\n"), "LU factorisation: the file is skew-symmetric");
  const std::string symmetric = "symmetric indefinite factorisation: ",
                    hermitian = "Hermitian indefinite factorisation: ";
  EXPECT_EQ(method("array integer symmetric\n2 2\n1\n2\n3\n"), symmetric + "the file is symmetric");
  EXPECT_EQ(method("array integer symmetric\n2 2\n1\n2\n3\n", {"-pz"}), hermitian + "the file is symmetric");
  EXPECT_EQ(method("coordinate complex symmetric\n2 2 1\n2 1 0 1\n"), symmetric + "the file is symmetric");
  EXPECT_EQ(method("coordinate complex hermitian\n2 2 1\n2 1 0 1\n"), hermitian + "the file is hermitian");
}

TEST_F(SolveMethods, FindTheSymmetryOfAGeneralFile) {
  const std::string b = banner + "array real general\n2 1\n1\n2\n";
  const std::vector<std::string> indefinite = {"--method", "indefinite"};
  const auto driver = [&](const std::string& a) {
    write(banner + a, b);
    return words(account(indefinite), "solved by");
  };
  EXPECT_EQ(driver("array real general\n2 2\n1\n2\n2\n1\n"), "nuv_lapack_dsysvx, double precision");
  EXPECT_EQ(driver("array complex general\n2 2\n1 0\n0 2\n0 -2\n1 0\n"), "nuv_lapack_zhesvx, complex double precision");
  EXPECT_EQ(driver("array complex general\n2 2\n1 1\n0 2\n0 2\n1 0\n"), "nuv_lapack_zsysvx, complex double precision");

  write(banner + "array real general\n2 2\n1\n2\n3\n1\n", b);
  expect_refusal(solve(indefinite), 1, "A.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
  write(banner + "array real skew-symmetric\n2 2\n1\n", b);
  expect_refusal(solve(indefinite), 1, "A.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
  write(banner + "array complex general\n2 2\n1 0\n0 2\n0 3\n1 0\n", b);
  expect_refusal(solve(indefinite), 1, "A.mtx: the matrix is not Hermitian: A(2,1) is not the conjugate of A(1,2)");
}

// ----------------------------------------------------------------------------------------------------------- asymmetry

TEST_F(SolveMethods, TakeAsymmetryOfRoundingSizeWithAWord) {
  // 2^-52 is eps; the numbers are those of (1 + k eps) / 2.
  const std::string b = banner + "array real general\n2 1\n3\n3\n", start = banner + "array real general\n2 2\n2\n";
  const std::string exact = "0.5\n", near = "0.50000000000000089\n", far = "0.50000000000000266\n";
  write(start + near + exact + "2\n", b);  // 4 eps off, of a diagonal of 2
  const ChildResult result = solve({"--spd"});
  ASSERT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(words(result.error, "asymmetry"),
            "4.44e-16 of the diagonal, as rounding errors make it; the lower triangle counts");
  EXPECT_LT(number(result.error, "scaled residual"), 10);

  write(start + far + exact + "2\n", b);  // 12 eps off
  expect_refusal(solve({"--spd"}), 1, "A.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
  // Single precision does not see that.
  EXPECT_FALSE(has(account({"--spd", "-ps"}), "asymmetry"));
  write(start + "0.5000002\n" + exact + "2\n", b);
  EXPECT_TRUE(has(account({"--spd", "-ps"}), "asymmetry"));
  write(start + "0.500002\n" + exact + "2\n", b);
  expect_refusal(solve({"--spd", "-ps"}), 1, "A.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
}

TEST_F(SolveMethods, TakeAsymmetryOfABandAlike) {
  std::string entries, b;
  for (int j = 1; j <= 20; ++j) {
    entries += std::to_string(j) + " " + std::to_string(j) + " 2\n";
    b += "1\n";
  }
  const auto write_with = [&](const std::string& below) {
    write(banner + "coordinate real general\n20 20 22\n" + entries + "3 2 " + below + "\n2 3 0.5\n",
          banner + "array real general\n20 1\n" + b);
  };
  write_with("0.50000000000000089");
  const std::string told = account({"--spd"});
  EXPECT_EQ(words(told, "solved by"), "nuv_lapack_dpbsvx, double precision");
  EXPECT_TRUE(words(told, "asymmetry").starts_with("4.44e-16 of the diagonal"));
  write_with("0.50000000000000266");
  expect_refusal(solve({"--spd"}), 1, "A.mtx: the matrix is not symmetric: A(3,2) is not A(2,3)");
  write_with("0");
  expect_refusal(solve({"--spd"}), 1, "A.mtx: the matrix is not symmetric: A(3,2) is not A(2,3)");
}

// --------------------------------------------------------------------------------------- singular to working precision

TEST_F(SolveMethods, RefuseWhatIsSingularToWorkingPrecisionUnlessForced) {
  // [1 1; 1 1+eps] with a reciprocal condition number of eps / 4; the solution is (1, 0).
  const std::string b = banner + "array real general\n2 1\n1\n1\n";
  const std::string message =
      "A\\.mtx: the matrix is singular to working precision: its reciprocal condition number is ";
  struct Case {
    std::string symmetry;
    std::vector<std::string> options;
  };
  const std::vector<Case> cases = {{"general", {}},
                                   {"symmetric", {}},
                                   {"general", {"--spd"}},
                                   {"symmetric", {"--method", "band"}},
                                   {"symmetric", {"--method", "band", "--spd"}}};
  for (const char precision : {'s', 'd', 'c', 'z'}) {
    const bool single = precision == 's' || precision == 'c';
    for (const auto& [symmetry, more] : cases) {
      SCOPED_TRACE(symmetry + testing::PrintToString(more) + precision);
      write(banner + "array real " + symmetry + "\n2 2\n1\n1\n" + (symmetry == "general" ? "1\n" : "") +
                (single ? "1.00000012\n" : "1.0000000000000002\n"),
            b);
      std::vector<std::string> options = more;
      options.insert(options.end(), {"-p", std::string(1, precision)});
      const ChildResult refused = solve(options);
      const auto found = match(refused.error, "nuv: " + message + "([0-9.e-]+) \\(--force gives X all the same\\)\n");
      ASSERT_FALSE(found.empty()) << to_string(refused);
      EXPECT_EQ(refused.exit_status, 1);
      EXPECT_EQ(refused.output, "");
      const double rcond = single ? 0x1p-25 : 0x1p-54;
      EXPECT_NEAR(std::stod(found[1]), rcond, 0.1 * rcond);

      options.push_back("--force");
      const ChildResult forced = solve(options);
      ASSERT_TRUE(forced.succeeded()) << to_string(forced);
      EXPECT_EQ(forced.output, is_real(precision) ? banner + "array real general\n2 1\n1\n0\n"
                                                  : banner + "array complex general\n2 1\n1 0\n0 0\n");
      EXPECT_TRUE(words(forced.error, "warning").starts_with("the matrix is singular to working precision"));
      EXPECT_TRUE(words(forced.error, "forward error").ends_with("; not one digit is certain"));
    }
  }
}

TEST_F(SolveMethods, RefuseExactZeroPivotsWhateverIsAskedFor) {
  write(banner + "array real general\n2 2\n1\n1\n1\n1\n", banner + "array real general\n2 1\n1\n1\n");
  struct Case {
    std::vector<std::string> options;
    std::string message;
  };
  const std::vector<Case> cases = {
      {{"--method", "lu"}, "the matrix is singular: pivot U(2,2) is exactly zero"},
      {{"--method", "band"}, "the matrix is singular: pivot U(2,2) is exactly zero"},
      {{"--method", "mixed"}, "the matrix is singular: pivot U(2,2) is exactly zero"},
      {{"--method", "indefinite"}, "the matrix is singular: pivot D(2,2) is exactly zero"},
      {{"--method", "cholesky"}, "the matrix is not positive definite: its leading minor of order 2 is not positive"},
      {{"--method", "band", "--spd"},
       "the matrix is not positive definite: its leading minor of order 2 is not positive"},
  };
  for (auto [options, message] : cases) {
    SCOPED_TRACE(testing::PrintToString(options));
    options.push_back("--force");
    expect_refusal(solve(options), 1, "A.mtx: " + message);
  }
}

// ----------------------------------------------------------------------------------------------------- mixed precision

class MixedPrecision : public SolveMethods {
 protected:
  std::string course() const { return words(account({"--method", "mixed"}), "course"); }
};

TEST_F(MixedPrecision, TellsItsCourse) {
  const Springs springs(40);
  write(springs.coordinate, springs.right_hand_sides);
  EXPECT_FALSE(match(course(), "factored in single precision, [1-3] steps of refinement").empty()) << course();

  const std::string b = banner + "array real general\n2 1\n1\n1\n";
  write(banner + "array real general\n2 2\n1e300\n0\n0\n1e300\n", b);
  EXPECT_EQ(course(), "numbers beyond single precision: factored in double precision");
  write(banner + "array real general\n2 2\n1\n1\n1\n1.000000001\n", b);
  EXPECT_EQ(course(), "singular in single precision: factored in double precision");
}

TEST_F(MixedPrecision, TakesAMatrixWhoseNormOverflows) {
  write(banner + "array real general\n2 2\n1e308\n1e308\n0\n1e308\n", banner + "array real general\n2 1\n1e308\n0\n");
  EXPECT_GT(number(account({"--method", "mixed"}), "condition"), 0.2);
}

// A reciprocal condition number that factors in single precision can't tell is that of others.
TEST_F(MixedPrecision, IsJudgedByBetterFactorsWhereThatMatters) {
  folder.write("b.mtx", banner + "coordinate real general\n50 1 1\n7 1 1\n");
  const std::string judged =
      "factored in single precision, [0-9]+ steps of refinement; judged by factors in double "
      "precision, as it is ill-conditioned";
  const auto compare = [&](const char* cond) {
    EXPECT_TRUE(run_nuv(folder, {"make", "general", "50", "--cond", cond, "-o", "A.mtx"}).succeeded());
    const std::string mixed = account({"--method", "mixed"}), lu = account();
    // The expert driver may have scaled the matrix.
    EXPECT_LT(std::abs(std::log(number(mixed, "condition") / number(lu, "condition"))), 1) << cond;
    EXPECT_LT(std::abs(std::log(number(mixed, "forward error") / number(lu, "forward error"))), 1) << cond;
    EXPECT_LT(number(mixed, "scaled residual"), 10);
    return words(mixed, "course");
  };
  EXPECT_FALSE(match(compare("1e2"), "factored in single precision, [0-9]+ steps of refinement").empty());
  EXPECT_FALSE(match(compare("3e6"), judged).empty());
  EXPECT_EQ(compare("1e12"), "no convergence with factors in single precision: factored in double precision");
}

TEST_F(MixedPrecision, RefusesWhatItIsNotFor) {
  const std::string real = banner + "array real general\n1 1\n2\n",
                    complex = banner + "array complex general\n1 1\n2 1\n";
  write(complex, real);
  expect_refusal(solve({"--method", "mixed"}), 1,
                 "A.mtx: --method mixed solves real systems alone, and this one is complex");
  write(real, complex);
  expect_refusal(solve({"--method", "mixed"}), 1,
                 "A.mtx: --method mixed solves real systems alone, and this one is complex");
  write(real, real);
  EXPECT_TRUE(solve({"--method", "mixed", "-pd"}).succeeded());
}

// ---------------------------------------------------------------------------------------------------------- the report

TEST_F(SolveMethods, TellHowTheMatrixWasScaled) {
  const auto condition = [&](const std::string& elements, const std::string& b,
                             const std::vector<std::string>& options) {
    write(banner + "array real general\n2 2\n" + elements, banner + "array real general\n2 1\n" + b);
    return words(account(options), "condition");
  };
  const std::string by = "   reciprocal, in the one norm";
  EXPECT_EQ(condition("1\n0\n0\n1\n", "1\n1\n", {}), "1" + by);
  EXPECT_EQ(condition("1e100\n0\n0\n1\n", "1\n1\n", {}), "1" + by + ", after scaling of the rows");
  EXPECT_EQ(condition("1\n0\n5e8\n1e9\n", "1\n1\n", {}), "0.333" + by + ", after scaling of the columns");
  EXPECT_EQ(condition("1e100\n0\n0\n1\n", "1\n1\n", {"--spd"}), "1" + by + ", after scaling of the diagonal to ones");
  EXPECT_EQ(condition("1e100\n0\n0\n1\n", "1\n1\n", {"--method", "band"}), "1" + by + ", after scaling of the rows");
}

TEST_F(SolveMethods, NameTheColumnOfTheLargestBound) {
  write(banner + "array real general\n1 1\n3\n", banner + "array real general\n1 3\n3\n1\n6\n");
  EXPECT_TRUE(words(account(), "forward error").find("largest in column ") != std::string::npos);
  write(banner + "array real general\n1 1\n3\n", banner + "array real general\n1 0\n");
  EXPECT_EQ(words(account(), "forward error"), "none, as there are no right-hand sides");
}

TEST_F(SolveMethods, RefuseADenseCopyThatDoesNotFitBeforeTheyTry) {
  write(banner + "coordinate real general\n2000000 2000000 2\n1 1 1\n2000000 2000000 1\n",
        banner + "coordinate real general\n2000000 1 0\n");
  const auto found = match(
      solve({"--method", "lu"}).error,
      "nuv: A\\.mtx:2: a 2000000 by 2000000 matrix takes [0-9.e+]+ GiB to solve, this machine can give [0-9.e+]+\n");
  EXPECT_FALSE(found.empty());
  // As a band it has a zero on its one diagonal.
  expect_refusal(solve(), 1, "A.mtx: the matrix is singular: pivot U(2,2) is exactly zero");
}

}  // namespace
}  // namespace nuv::test
