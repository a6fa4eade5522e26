// Runs the command on what it must refuse: one line on standard error, exit status 1, nothing left behind.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nuv_command.hpp"
#include "wrong_files.hpp"

namespace nuv::test {
namespace {

const std::string array = "%%MatrixMarket matrix array real general\n";
const std::string coordinate = "%%MatrixMarket matrix coordinate real general\n";

class SystemFiles : public testing::Test {
 protected:
  SystemFiles() {
    folder.write("good.mtx", array + "2 2\n2\n0\n0\n4\n");
    folder.write("rhs.mtx", array + "2 1\n2\n4\n");
  }

  /// Solves into a file and expects a refusal that leaves the folder as it was.
  void expect_refused(const std::string& a, const std::string& b, const std::string& message,
                      const std::vector<std::string>& more = {}) {
    SCOPED_TRACE(a + " " + b);
    std::vector<std::string> arguments = {"solve", a, b, "-o", "solution.mtx"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const std::vector<std::string> before = folder.names();
    expect_refusal(run_nuv(folder, arguments), 1, message);
    EXPECT_EQ(folder.names(), before);
  }

  TemporaryFolder folder;
};

class WrongFileForTheCommand : public SystemFiles, public testing::WithParamInterface<WrongFile> {};

TEST_P(WrongFileForTheCommand, IsRefusedAsMatrixAndAsRightHandSide) {
  const std::vector<std::string> precision = {"-p", std::string(1, GetParam().precision)};
  folder.write("wrong.mtx", GetParam().text);
  expect_refused("wrong.mtx", "rhs.mtx", "wrong.mtx" + GetParam().message, precision);
  expect_refused("good.mtx", "wrong.mtx", "wrong.mtx" + GetParam().message, precision);
}

INSTANTIATE_TEST_SUITE_P(WrongInput, WrongFileForTheCommand, testing::ValuesIn(wrong_files()),
                         [](const auto& test) { return test.param.label; });

using WrongInput = SystemFiles;

TEST_F(WrongInput, SingularMatricesNameTheirPivot) {
  folder.write("zero.mtx", coordinate + "2 2 0\n");
  folder.write("second.mtx", array + "2 2\n1\n2\n2\n4\n");
  folder.write("third.mtx", "%%MatrixMarket matrix array integer general\n3 3\n1\n0\n0\n0\n1\n0\n5\n7\n0\n");
  folder.write("rhs3.mtx", array + "3 1\n1\n1\n1\n");
  for (const char* precision : {"s", "d", "c", "z"}) {
    const auto refused = [&](const char* a, const char* b, int pivot) {
      const std::string k = std::to_string(pivot);
      expect_refused(a, b, std::string(a) + ": the matrix is singular: pivot U(" + k + "," + k + ") is exactly zero",
                     {"-p", precision});
    };
    refused("zero.mtx", "rhs.mtx", 1);
    refused("second.mtx", "rhs.mtx", 2);
    refused("third.mtx", "rhs3.mtx", 3);
  }
}

TEST_F(WrongInput, MatricesThatAreNotDefiniteNameTheirLeadingMinor) {
  const std::string symmetric = "%%MatrixMarket matrix coordinate real symmetric\n";
  folder.write("zero.mtx", coordinate + "2 2 0\n");
  folder.write("negative.mtx", symmetric + "2 2 2\n1 1 -1\n2 2 1\n");
  folder.write("indefinite.mtx", array + "2 2\n1\n2\n2\n1\n");
  folder.write("semidefinite.mtx", symmetric + "3 3 4\n1 1 4\n2 2 1\n3 3 1\n3 1 2\n");
  folder.write("rhs3.mtx", array + "3 1\n1\n1\n1\n");
  // Beyond the first block of the factorisation in every precision.
  std::string late = symmetric + "300 300 301\n280 277 1\n", late_rhs = array + "300 1\n";
  for (int i = 1; i <= 300; ++i) {
    late += std::to_string(i) + " " + std::to_string(i) + " 1\n";
    late_rhs += "1\n";
  }
  folder.write("late.mtx", late);
  folder.write("rhs300.mtx", late_rhs);
  for (const char* precision : {"s", "d", "c", "z"}) {
    const auto refused = [&](const std::string& a, const std::string& b, int minor) {
      expect_refused(a, b,
                     a + ": the matrix is not positive definite: its leading minor of order " + std::to_string(minor) +
                         " is not positive",
                     {"--spd", "-p", precision});
    };
    refused("zero.mtx", "rhs.mtx", 1);
    refused("negative.mtx", "rhs.mtx", 1);
    refused("indefinite.mtx", "rhs.mtx", 2);
    refused("semidefinite.mtx", "rhs3.mtx", 3);
    refused("late.mtx", "rhs300.mtx", 280);
  }
}

TEST_F(WrongInput, MatricesThatAreNotTheirOwnTranspose) {
  folder.write("lower.mtx", array + "2 2\n2\n0.5\n0\n4\n");
  folder.write("skew.mtx", "%%MatrixMarket matrix array real skew-symmetric\n2 2\n1\n");
  folder.write("symmetric.mtx", "%%MatrixMarket matrix array complex symmetric\n2 2\n2 0\n0 1\n2 0\n");
  folder.write("diagonal.mtx", "%%MatrixMarket matrix array complex general\n2 2\n2 0\n0 0\n0 0\n2 0.5\n");
  for (const char* name : {"lower", "skew"}) {
    const std::string file = std::string(name) + ".mtx";
    expect_refused(file, "rhs.mtx", file + ": the matrix is not symmetric: A(2,1) is not A(1,2)", {"--spd"});
    expect_refused(file, "rhs.mtx", file + ": the matrix is not Hermitian: A(2,1) is not the conjugate of A(1,2)",
                   {"--spd", "-pc"});
  }
  expect_refused("symmetric.mtx", "rhs.mtx",
                 "symmetric.mtx: the matrix is not Hermitian: A(2,1) is not the conjugate of A(1,2)", {"--spd"});
  expect_refused("diagonal.mtx", "rhs.mtx", "diagonal.mtx: the matrix is not Hermitian: A(2,2) is not real", {"--spd"});
}

TEST_F(WrongInput, AMatrixThatIsNotSquare) {
  folder.write("wide.mtx", array + "% sizes follow\n2 3\n1\n2\n3\n4\n5\n6\n");
  expect_refused("wide.mtx", "rhs.mtx", "wide.mtx:3: the matrix is 2 by 3, a system needs a square one");
  folder.write("tall.mtx", coordinate + "3 2 0\n");
  expect_refused("tall.mtx", "rhs.mtx", "tall.mtx:2: the matrix is 3 by 2, a system needs a square one");
}

TEST_F(WrongInput, SizesThatDoNotMatch) {
  folder.write("short.mtx", array + "\n1 1\n1\n");
  folder.write("long.mtx", coordinate + "3 1 0\n");
  expect_refused("good.mtx", "short.mtx", "short.mtx:3: the right-hand sides have 1 rows, the matrix has order 2");
  expect_refused("good.mtx", "long.mtx", "long.mtx:2: the right-hand sides have 3 rows, the matrix has order 2");
}

TEST_F(WrongInput, FilesThatCannotBeRead) {
  expect_refused("none.mtx", "rhs.mtx", "none.mtx: cannot open: No such file or directory");
  expect_refused("good.mtx", "none.mtx", "none.mtx: cannot open: No such file or directory");
  expect_refused(".", "rhs.mtx", ".: Is a directory");
  expect_refused("good.mtx", "good.mtx/b.mtx", "good.mtx/b.mtx: cannot open: Not a directory");
  expect_refused("/proc/self/mem", "rhs.mtx", "/proc/self/mem: cannot read: Input/output error");
  expect_refused("/dev/zero", "rhs.mtx", "/dev/zero:1: line of more than 268435456 characters");
  expect_refused("/dev/null", "rhs.mtx", "/dev/null:1: the file is empty");
  expect_refused("two\nlines", "rhs.mtx", "two\\x0alines: cannot open: No such file or directory");
}

TEST_F(WrongInput, SolutionsThatOverflow) {
  folder.write("tiny.mtx", array + "2 2\n1e-300\n0\n0\n1\n");
  folder.write("huge.mtx", array + "2 1\n1e300\n1\n");
  expect_refused("tiny.mtx", "huge.mtx", "tiny.mtx: the solution overflows the precision");
  folder.write("tiny.mtx", array + "2 2\n1e-30\n0\n0\n1\n");
  folder.write("huge.mtx", array + "2 1\n1e30\n1\n");
  expect_refused("tiny.mtx", "huge.mtx", "tiny.mtx: the solution overflows the precision", {"-p", "s"});
}

TEST_F(WrongInput, DuplicatesWhoseSumOverflows) {
  folder.write("sum.mtx", coordinate + "2 2 2\n1 1 1e308\n1 1 1e308\n");
  expect_refused("sum.mtx", "rhs.mtx", "sum.mtx: the sum of duplicate entries overflows the precision");
}

/// Expects a refusal for lack of memory that blames the line of the sizes.
void expect_too_large(const TemporaryFolder& folder, const std::string& a, const std::string& b,
                      const std::string& start) {
  const ChildResult result = run_nuv(folder, {"solve", a, b, "-o", "solution.mtx"});
  const std::string end = " matrix takes [0-9.e+]+ GiB to solve, this machine can give [0-9.e+]+\n";
  EXPECT_FALSE(match(result.error, "nuv: " + start + end).empty()) << to_string(result);
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_FALSE(std::filesystem::exists(folder / "solution.mtx"));
}

TEST_F(WrongInput, MatricesBeyondAnyMemory) {
  folder.write("order.mtx", coordinate + "% c\n2000000000 2000000000 1\n2000000000 1 5\n");
  folder.write("order-rhs.mtx", coordinate + "2000000000 1 0\n");
  folder.write("largest.mtx", coordinate + "2147483647 2147483647 1\n2147483647 1 5\n");
  folder.write("largest-rhs.mtx", coordinate + "2147483647 0 0\n");
  folder.write("many.mtx", coordinate + "2 2147483647 1\n2 2000000000 3\n");
  folder.write("more.mtx", coordinate + "100000 100000 1\n1 100000 1\n");
  folder.write("more-rhs.mtx", coordinate + "100000 2147483647 0\n");
  expect_too_large(folder, "order.mtx", "order-rhs.mtx", "order\\.mtx:3: a 2000000000 by 2000000000");
  expect_too_large(folder, "largest.mtx", "largest-rhs.mtx", "largest\\.mtx:2: a 2147483647 by 2147483647");
  expect_too_large(folder, "good.mtx", "many.mtx", "many\\.mtx:2: a 2 by 2147483647");
  expect_too_large(folder, "more.mtx", "more-rhs.mtx", "more(-rhs)?\\.mtx:2: a 100000 by (100000|2147483647)");
}

}  // namespace
}  // namespace nuv::test
