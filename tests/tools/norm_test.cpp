// Runs `nuv norm` and `nuv residual`.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

using Words = std::vector<std::string>;

const std::string array = "%%MatrixMarket matrix array real general\n";
const std::string complex_array = "%%MatrixMarket matrix array complex general\n";
const std::string coordinate = "%%MatrixMarket matrix coordinate real general\n";

class Answers : public testing::Test {
 protected:
  /// What the report says behind a label.
  std::string answer(const Words& arguments, const std::string& label) {
    const ChildResult result = run_nuv(folder, arguments);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    EXPECT_EQ(result.error, "");
    const std::string text = "\n" + result.output, start = "\n" + label + std::string(19 - label.size(), ' ');
    const auto found = text.find(start);
    if (found == text.npos) return "no " + label + " in " + text;
    const auto begin = found + start.size();
    return text.substr(begin, text.find('\n', begin) - begin);
  }
  /// Its number alone.
  std::string number(const Words& arguments, const std::string& label) {
    const std::string words = answer(arguments, label);
    return words.substr(0, words.find(' '));
  }

  TemporaryFolder folder;
};

class Norm : public Answers {};
class Residual : public Answers {};

TEST_F(Norm, OfARectangularMatrix) {
  folder.write("A.mtx", array + "2 3\n3\n-4\n0\n1\n-2\n5\n");  // [3 0 -2; -4 1 5]
  EXPECT_EQ(number({"norm", "A.mtx"}, "one norm"), "7");
  EXPECT_EQ(number({"norm", "A.mtx"}, "infinity norm"), "10");
  EXPECT_EQ(number({"norm", "A.mtx"}, "Frobenius norm"), "7.41619848709566");
  EXPECT_EQ(number({"norm", "A.mtx", "-ps"}, "Frobenius norm"), "7.4162");
  EXPECT_EQ(number({"norm", "A.mtx"}, "largest element"), "5");
  EXPECT_EQ(answer({"norm", "A.mtx"}, "two-norm").substr(0, 3), "no ");
}

TEST_F(Norm, TwoNormIsTheLargestSingularValue) {
  folder.write("A.mtx", array + "3 2\n0\n3\n0\n4\n0\n0\n");
  EXPECT_EQ(number({"norm", "--two", "A.mtx"}, "two-norm"), "4");
  folder.write("none.mtx", array + "0 3\n");
  EXPECT_EQ(number({"norm", "--two", "none.mtx"}, "two-norm"), "0");
}

TEST_F(Norm, OfComplexNumbersAndOfAHalfThatIsNotInTheFile) {
  folder.write("A.mtx", complex_array + "1 2\n3 4\n0 -2\n");
  EXPECT_EQ(number({"norm", "A.mtx"}, "infinity norm"), "7");
  EXPECT_EQ(number({"norm", "A.mtx"}, "Frobenius norm"), "5.3851648071345");
  folder.write("S.mtx", "%%MatrixMarket matrix array real symmetric\n2 2\n1\n5\n2\n");
  EXPECT_EQ(number({"norm", "S.mtx"}, "one norm"), "7");
}

TEST_F(Norm, StaysInRangeAndTakesBandsOfAnyOrder) {
  folder.write("A.mtx", array + "2 1\n1e308\n1e308\n");
  EXPECT_EQ(number({"norm", "A.mtx"}, "Frobenius norm"), "1.4142135623731e+308");
  EXPECT_EQ(number({"norm", "A.mtx"}, "one norm"), "2e+308");
  folder.write("band.mtx", coordinate + "1000000 1000000 3\n1 1 2\n7 8 -3\n8 8 -3\n");
  EXPECT_EQ(number({"norm", "band.mtx"}, "one norm"), "6");
  EXPECT_EQ(number({"norm", "band.mtx"}, "infinity norm"), "3");
  EXPECT_EQ(number({"norm", "band.mtx"}, "largest element"), "3");
}

TEST_F(Residual, ToldFromGoodToPoor) {
  folder.write("A.mtx", array + "2 2\n2\n1\n1\n3\n");
  folder.write("b.mtx", array + "2 1\n3\n4\n");
  folder.write("x.mtx", array + "2 1\n1\n1\n");
  folder.write("near.mtx", array + "2 1\n1.00000000000001\n1\n");
  const Words good = {"residual", "A.mtx", "x.mtx", "b.mtx"}, poor = {"residual", "A.mtx", "near.mtx", "b.mtx"};
  EXPECT_EQ(number(good, "scaled residual"), "0");
  EXPECT_TRUE(answer(good, "verdict").starts_with("good"));
  // 2e-14 / (4 * 1 * 2 * 1.1e-16)
  EXPECT_EQ(number(poor, "scaled residual"), "22.5");
  EXPECT_TRUE(answer(poor, "verdict").starts_with("poor"));
  EXPECT_EQ(run_nuv(folder, poor).exit_status, 0);
  // In single precision the same errors are nothing.
  EXPECT_TRUE(answer({"residual", "-ps", "A.mtx", "near.mtx", "b.mtx"}, "verdict").starts_with("good"));
}

TEST_F(Residual, OfWhatNuvSolves) {
  const auto make = [&](const Words& words, const std::string& file) {
    Words arguments = {"make"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    arguments.insert(arguments.end(), {"-o", file});
    ASSERT_TRUE(run_nuv(folder, arguments).succeeded());
  };
  make({"general", "40", "-pz"}, "A.mtx");
  make({"general", "40", "3", "-pz", "--seed", "2"}, "B.mtx");
  ASSERT_TRUE(run_nuv(folder, {"solve", "A.mtx", "B.mtx", "-o", "X.mtx"}).succeeded());
  EXPECT_TRUE(answer({"residual", "A.mtx", "X.mtx", "B.mtx"}, "verdict").starts_with("good"));
  EXPECT_TRUE(answer({"residual", "A.mtx", "B.mtx", "B.mtx"}, "verdict").starts_with("poor"));
  make({"band", "60", "--lower", "1", "--upper", "2"}, "band.mtx");
  make({"general", "60", "1"}, "b.mtx");
  ASSERT_TRUE(run_nuv(folder, {"solve", "band.mtx", "b.mtx", "-o", "x.mtx"}).succeeded());
  EXPECT_TRUE(answer({"residual", "band.mtx", "x.mtx", "b.mtx"}, "verdict").starts_with("good"));
}

TEST_F(Residual, OfLeastSquaresIsJudgedByItsGradient) {
  for (const std::string precision : {"d", "z"}) {
    ASSERT_TRUE(run_nuv(folder, {"make", "general", "30", "20", "-p", precision, "-o", "A.mtx"}).succeeded());
    ASSERT_TRUE(
        run_nuv(folder, {"make", "general", "30", "2", "-p", precision, "--seed", "3", "-o", "B.mtx"}).succeeded());
    ASSERT_TRUE(run_nuv(folder, {"lstsq", "A.mtx", "B.mtx", "-o", "X.mtx"}).succeeded());
    const Words judged = {"residual", "A.mtx", "X.mtx", "B.mtx"};
    EXPECT_TRUE(answer(judged, "verdict").starts_with("good")) << answer(judged, "least squares");
    ASSERT_TRUE(run_nuv(folder, {"make", "general", "20", "2", "-p", precision, "-o", "X.mtx"}).succeeded());
    EXPECT_TRUE(answer(judged, "verdict").starts_with("poor")) << answer(judged, "least squares");
  }
  // Fewer equations than unknowns can all be met.
  folder.write("wide.mtx", array + "1 2\n1\n1\n");
  folder.write("x.mtx", array + "2 1\n1\n2\n");
  folder.write("b.mtx", array + "1 1\n3\n");
  EXPECT_TRUE(answer({"residual", "wide.mtx", "x.mtx", "b.mtx"}, "verdict").starts_with("good"));
}

TEST_F(Residual, RefusesWhatDoesNotFit) {
  folder.write("A.mtx", array + "2 3\n1\n2\n3\n4\n5\n6\n");
  folder.write("two.mtx", array + "2 1\n1\n1\n");
  folder.write("three.mtx", array + "3 1\n1\n1\n1\n");
  folder.write("wide.mtx", array + "2 2\n1\n1\n1\n1\n");
  expect_refusal(run_nuv(folder, {"residual", "A.mtx", "two.mtx", "two.mtx"}), 1,
                 "two.mtx:2: the solution has 2 rows, the matrix has 3 columns");
  expect_refusal(run_nuv(folder, {"residual", "A.mtx", "three.mtx", "three.mtx"}), 1,
                 "three.mtx:2: the right-hand sides have 3 rows, the matrix has 2");
  expect_refusal(run_nuv(folder, {"residual", "A.mtx", "three.mtx", "wide.mtx"}), 1,
                 "three.mtx:2: the solution has 1 columns, the right-hand sides have 2");
}

}  // namespace
}  // namespace nuv::test
