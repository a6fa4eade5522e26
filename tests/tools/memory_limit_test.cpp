// Runs the commands where the process may not have the memory that they need, or that they would need if they did not
// keep to a band. Sanitizers reserve more addresses than any limit allows, so this program is no part of their builds.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

const std::string coordinate = "%%MatrixMarket matrix coordinate real ";

class MemoryLimit : public testing::Test {
 protected:
  /// Runs nuv with 200 MB of addresses.
  ChildResult run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"sh", "-c", "ulimit -v 200000; exec \"$0\" \"$@\"", nuv_program()});
    return run_child({.arguments = arguments, .working_directory = folder.path()});
  }

  /// Expects that nuv refuses and leaves no result.
  void expect_refused(std::vector<std::string> arguments, const std::string& message) const {
    arguments.insert(arguments.end(), {"-o", "result.mtx"});
    expect_refusal(run(arguments), 1, message);
    EXPECT_FALSE(std::filesystem::exists(folder / "result.mtx"));
  }

  TemporaryFolder folder;
};

// What can't be at all is told before it is tried, and what only turns out not to be is told then.

TEST_F(MemoryLimit, OfMakeIsTold) {
  expect_refused({"make", "general", "6000"},
                 "result.mtx: a 6000 by 6000 matrix takes 0.268 GiB to make, this machine can give 0.191");
  expect_refused({"make", "general", "5050"}, "result.mtx: the matrix does not fit into memory");
}

TEST_F(MemoryLimit, OfSolveIsTold) {
  folder.write("A.mtx", coordinate + "general\n6000 6000 1\n6000 1 1\n");
  folder.write("b.mtx", coordinate + "general\n6000 1 0\n");
  expect_refused({"solve", "A.mtx", "b.mtx"},
                 "A.mtx:2: a 6000 by 6000 matrix takes 0.805 GiB to solve, this machine can give 0.191");
  expect_refused({"inv", "A.mtx"},
                 "A.mtx:2: a 6000 by 6000 matrix takes 0.268 GiB to invert, this machine can give 0.191");
  folder.write("A.mtx", coordinate + "general\n2900 2900 1\n2900 1 1\n");
  folder.write("b.mtx", coordinate + "general\n2900 1 0\n");
  expect_refused({"solve", "A.mtx", "b.mtx"}, "A.mtx: the system does not fit into memory");
}

TEST_F(MemoryLimit, OfLstsqIsTold) {
  folder.write("A.mtx", coordinate + "general\n6000 3000 1\n6000 1 1\n");
  folder.write("b.mtx", coordinate + "general\n6000 1 0\n");
  expect_refused({"lstsq", "A.mtx", "b.mtx"},
                 "A.mtx:2: a 6000 by 3000 matrix takes 0.268 GiB to solve, this machine can give 0.191");
  folder.write("A.mtx", coordinate + "general\n3000 3000 1\n3000 1 1\n");
  folder.write("b.mtx", coordinate + "general\n3000 3000 0\n");
  expect_refused({"lstsq", "A.mtx", "b.mtx"}, "A.mtx: the system does not fit into memory");
}

TEST_F(MemoryLimit, OfSvdIsTold) {
  const auto write = [&](int rows, int columns) {
    folder.write("A.mtx", coordinate + "general\n" + std::to_string(rows) + " " + std::to_string(columns) + " 0\n");
  };
  write(6000, 6000);
  expect_refused({"svd", "A.mtx"},
                 "A.mtx:2: a 6000 by 6000 matrix takes 0.268 GiB to decompose, this machine can give 0.191");
  write(5050, 5050);
  expect_refused({"svd", "A.mtx"}, "A.mtx: the matrix does not fit into memory");
  // What vectors take: the matrix twice, both sides, and work; right ones are turned.
  write(2000, 2000);
  expect_refused({"svd", "A.mtx", "--left", "U"},
                 "A.mtx:2: a 2000 by 2000 matrix takes 0.209 GiB to decompose, this machine can give 0.191");
  expect_refused({"svd", "A.mtx", "--right", "V"},
                 "A.mtx:2: a 2000 by 2000 matrix takes 0.238 GiB to decompose, this machine can give 0.191");
  write(1850, 1850);
  expect_refused({"svd", "A.mtx", "--left", "U"}, "A.mtx: the matrix does not fit into memory");
}

TEST_F(MemoryLimit, OfSvdIsNotMetForVectorsThatNobodyAskedFor) {
  // The full left side alone would take 0.75 GiB.
  std::ostringstream a;
  a << coordinate << "general\n10000 2 2\n1 1 3\n10000 2 4\n";
  folder.write("A.mtx", a.str());
  const std::string values = "%%MatrixMarket matrix array real general\n2 1\n4\n3\n";
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{}, {"--left", "U"}, {"--full", "--right", "V"}}) {
    std::vector<std::string> arguments = {"svd", "A.mtx"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ChildResult result = run(arguments);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    EXPECT_EQ(result.output, values);
  }
  expect_refused({"svd", "A.mtx", "--full", "--left", "U"},
                 "A.mtx:2: a 10000 by 2 matrix takes 0.745 GiB to decompose, this machine can give 0.191");
}

TEST_F(MemoryLimit, OfABandIsTold) {
  folder.write("A.mtx", coordinate + "symmetric\n100000 100000 1\n101 1 1\n");
  folder.write("b.mtx", coordinate + "general\n100000 1 0\n");
  expect_refused({"solve", "A.mtx", "b.mtx"},
                 "A.mtx:2: a 100000 by 100000 matrix of 201 diagonals takes 0.524 GiB to solve, this machine can give "
                 "0.191");
}

/// A beam on springs, of order n: five diagonals, and the right-hand side for the solution that is one everywhere.
class LongBeam : public MemoryLimit {
 protected:
  static constexpr int n = 100000;

  LongBeam() {
    std::ostringstream a, b;
    a << coordinate << "symmetric\n" << n << " " << n << " " << 3 * n - 3 << "\n";
    b << "%%MatrixMarket matrix array real general\n" << n << " 1\n";
    const auto entry = [&](int i, int j) { return i == j ? 8 : i == j + 1 ? -4 : 1; };
    for (int j = 1; j <= n; ++j) {
      for (int i = j; i <= std::min(n, j + 2); ++i) a << i << " " << j << " " << entry(i, j) << "\n";
      int sum = 0;
      for (int i = std::max(1, j - 2); i <= std::min(n, j + 2); ++i) sum += entry(std::max(i, j), std::min(i, j));
      b << sum << "\n";
    }
    folder.write("A.mtx", a.str());
    folder.write("b.mtx", b.str());
  }

  /// The number behind a label.
  static double number(const std::string& account, const std::string& label) {
    const auto at = account.find("\n" + label + " ");
    return at == std::string::npos ? -1 : std::stod(account.substr(at + 20));
  }
};

TEST_F(LongBeam, IsSolvedInTheMemoryOfItsBand) {
  for (const std::string option : {"-pd", "--spd"}) {
    SCOPED_TRACE(option);
    const ChildResult result = run({"solve", "A.mtx", "b.mtx", option});
    ASSERT_TRUE(result.succeeded()) << result.error;
    EXPECT_NE(result.error.find(option == "--spd" ? "dpbsvx" : "dgbsvx"), std::string::npos) << result.error;
    EXPECT_LT(number(result.error, "scaled residual"), 10);
    EXPECT_GT(number(result.error, "condition"), 0.01);
    const double bound = number(result.error, "forward error");
    EXPECT_LT(bound, 1e-12);
    std::istringstream solution(result.output);
    std::string line;
    std::getline(solution, line);
    std::getline(solution, line);
    EXPECT_EQ(line, std::to_string(n) + " 1");
    double largest = 0;
    int count = 0;
    for (double x; solution >> x; ++count) largest = std::max(largest, std::abs(x - 1));
    EXPECT_EQ(count, n);
    EXPECT_LE(largest, bound);
  }
}

TEST_F(LongBeam, IsJudgedInTheMemoryOfItsBand) {
  const ChildResult cond = run({"cond", "A.mtx"}), det = run({"det", "A.mtx"});
  ASSERT_TRUE(cond.succeeded()) << to_string(cond);
  ASSERT_TRUE(det.succeeded()) << to_string(det);
  EXPECT_GT(number(cond.output, "one norm"), 0.01);
  EXPECT_LT(number(cond.output, "one norm"), 1);
  EXPECT_EQ(number(det.output, "sign"), 1);
  // The logarithm for each row tends to the mean of log(8 - 8 cos t + 2 cos 2t) (G. Szego, 1915).
  EXPECT_NEAR(number(det.output, "logarithm") / n, 2 * std::log(1 + std::sqrt(2.)), 1e-4);
}

TEST_F(LongBeam, IsTooLargeForOtherMethods) {
  expect_refused({"solve", "A.mtx", "b.mtx", "--method", "indefinite"},
                 "A.mtx:2: a 100000 by 100000 matrix takes 149 GiB to solve, this machine can give 0.191");
}

}  // namespace
}  // namespace nuv::test
