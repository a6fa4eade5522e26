// Runs `nuv make` and judges the matrices that it writes.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <complex>
#include <sstream>
#include <string>
#include <vector>

#include "nuv_command.hpp"
#include "support/wide_spectrum.hpp"
#include "tools/dense_matrix.hpp"
#include "tools/matrix_market.hpp"

namespace nuv::test {
namespace {

using tools::Layout;
using tools::StoredMatrix;
using tools::Symmetry;
using Complex = std::complex<long double>;
using Dense = WideMatrix<std::complex<double>>;
using Values = std::vector<long double>;
using Words = std::vector<std::string>;

const Words letters = {"s", "d", "c", "z"};

bool is_single(const std::string& precision) {
  return precision == "s" || precision == "c";
}
bool is_real(const std::string& precision) {
  return precision == "s" || precision == "d";
}
long double epsilon(const std::string& precision) {
  return is_single(precision) ? 0x1p-23L : 0x1p-52L;
}

Words operator+(Words a, const Words& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

/// A matrix as its file holds it, and with all elements.
struct Made {
  std::string text, account;
  StoredMatrix file;
  Dense a;
};

class Make : public testing::Test {
 protected:
  std::string text(const Words& arguments) {
    const ChildResult result = run_nuv(folder, Words{"make"} + arguments);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return result.output;
  }

  Made make(const Words& arguments, const std::string& precision = "d") {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const ChildResult result = run_nuv(folder, Words{"make"} + arguments + Words{"-p", precision});
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    tools::Input input = tools::Input::of(result.output, "made");
    Made made{result.output, result.error,
              read_matrix_market(input, is_single(precision) ? tools::Precision::Single : tools::Precision::Double),
              Dense()};
    EXPECT_EQ(made.file.is_complex(), !is_real(precision));
    const auto elements = tools::to_dense<std::complex<double>>(made.file);
    made.a.resize(elements.rows, elements.columns);
    std::transform(elements.elements.begin(), elements.elements.end(), made.a.data(),
                   [](std::complex<double> x) { return Complex(x); });
    return made;
  }

  void expect_refused(const Words& arguments, int exit_status, const std::string& message) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Words before = folder.names();
    expect_refusal(run_nuv(folder, Words{"make"} + arguments + Words{"-o", "made.mtx"}), exit_status, message);
    EXPECT_EQ(folder.names(), before);
  }
  void expect_wrong_usage(const Words& arguments, const std::string& message) {
    expect_refused(arguments, 2, message + " (nuv help make tells more)");
  }

  TemporaryFolder folder;
};

Values in_order(Values values) {
  std::sort(values.begin(), values.end());
  return values;
}

Values singular_values(const Dense& a) {
  const auto values = wide_singular_values<std::complex<double>>(a);
  return in_order(Values(values.begin(), values.end()));
}

Values eigenvalues(const Dense& a) {
  const auto values = wide_eigenvalues<std::complex<double>>(a);
  return in_order(Values(values.begin(), values.end()));
}

Values magnitudes(Values values) {
  for (auto& value : values) value = std::abs(value);
  return in_order(values);
}

/// What modes 1 to 4 give for COND 1000 and NORM 5.
Values spread(int mode, int n) {
  const long double largest = 5, smallest = 5e-3L;
  Values values;
  for (int i = 0; i < n; ++i) {
    const long double part = n == 1 ? 0 : static_cast<long double>(i) / (n - 1);
    values.push_back(mode == 1   ? (i == 0 ? largest : smallest)
                     : mode == 2 ? (i < n - 1 ? largest : smallest)
                     : mode == 3 ? largest * std::pow(smallest / largest, part)
                                 : largest + (smallest - largest) * part);
  }
  return in_order(values);
}
const Words as_spread = {"--cond", "1000", "--norm", "5"};

/// Each of some n reflections or sweeps of rotations adds an error of eps or so of the largest value.
void expect_values(const Values& values, const Values& expected, const std::string& precision) {
  ASSERT_EQ(values.size(), expected.size());
  const long double unit =
      expected.empty() ? 0
                       : epsilon(precision) * static_cast<long double>(expected.size()) * magnitudes(expected).back();
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_LE(static_cast<double>(std::abs(values[i] - expected[i])), static_cast<double>(10 * unit)) << "value " << i;
  }
}

void expect_zeros_outside_the_band(const Dense& a, int lower, int upper) {
  for (int j = 0; j < a.cols(); ++j) {
    for (int i = 0; i < a.rows(); ++i) {
      EXPECT_EQ(a(i, j) == Complex(0), i - j > lower || j - i > upper) << i << ", " << j;
    }
  }
}

// ------------------------------------------------------------------------------------------------------------ spectra

TEST_F(Make, GeneralMatricesHaveTheSingularValues) {
  for (const std::string& p : letters) {
    for (const int mode : {1, 2, 3, 4}) {
      for (const auto& [m, n] : {std::pair(9, 9), {12, 7}, {5, 11}}) {
        const Words sizes = {"general", std::to_string(m), std::to_string(n), "--mode", std::to_string(mode)};
        const Made made = make(sizes + as_spread, p);
        EXPECT_EQ(made.file.layout, Layout::Array);
        EXPECT_EQ(made.file.symmetry, Symmetry::General);
        ASSERT_EQ(made.a.rows(), m);
        ASSERT_EQ(made.a.cols(), n);
        expect_values(singular_values(made.a), spread(mode, std::min(m, n)), p);
      }
    }
  }
}

TEST_F(Make, BandMatricesHaveTheSingularValuesAndZeros) {
  for (const std::string& p : letters) {
    for (const auto& [lower, upper] : {std::pair(2, 3), {0, 1}, {4, 0}, {0, 0}, {100, 100}}) {
      const Words band = {"band", "8", "--lower", std::to_string(lower), "--upper", std::to_string(upper)};
      const Made made = make(band + as_spread, p);
      EXPECT_EQ(made.file.layout, lower == 100 ? Layout::Array : Layout::Coordinate);
      EXPECT_EQ(made.file.symmetry, Symmetry::General);
      expect_zeros_outside_the_band(made.a, lower, upper);
      expect_values(singular_values(made.a), spread(3, 8), p);
    }
    const Made oblong = make({"band", "9", "5", "--lower", "1", "--upper", "2"}, p);
    ASSERT_EQ(oblong.a.rows(), 9);
    ASSERT_EQ(oblong.a.cols(), 5);
    for (int j = 0; j < 5; ++j) {
      for (int i = 0; i < 9; ++i) {
        if (i - j > 1 || j - i > 2) {
          EXPECT_EQ(oblong.a(i, j), Complex(0));
        }
      }
    }
  }
}

TEST_F(Make, SymmetricMatricesHaveTheEigenvaluesOrSingularValues) {
  for (const std::string& p : letters) {
    for (const int width : {9, 2, 0}) {
      const Words symmetric = {"symmetric", "10", "--lower", std::to_string(width)};
      const Made made = make(symmetric + as_spread, p);
      EXPECT_EQ(made.file.symmetry, Symmetry::Symmetric);
      EXPECT_EQ(made.file.layout, width == 9 ? Layout::Array : Layout::Coordinate);
      if (width == 9) {
        EXPECT_EQ(made.file.stored(), 55u);
      }
      EXPECT_EQ(made.a, made.a.transpose());
      expect_zeros_outside_the_band(made.a, width, width);
      const Values values = is_real(p) ? eigenvalues(made.a) : singular_values(made.a);
      expect_values(magnitudes(values), spread(3, 10), p);
      if (is_real(p)) {
        EXPECT_LT(values.front(), 0);
        EXPECT_GT(values.back(), 0);
      } else {
        EXPECT_GT((made.a - made.a.adjoint()).norm(), width == 0 ? -1 : 1e-3L);
      }
    }
  }
}

TEST_F(Make, HermitianMatricesHaveTheEigenvalues) {
  for (const std::string p : {"c", "z"}) {
    for (const int width : {9, 2}) {
      const Words hermitian = {"hermitian",          "10", "10", "--upper", std::to_string(width), "--lower",
                               std::to_string(width)};
      const Made made = make(hermitian + as_spread, p);
      EXPECT_EQ(made.file.symmetry, Symmetry::Hermitian);
      EXPECT_EQ(made.a, made.a.adjoint());
      EXPECT_GT(made.a.imag().norm(), 1e-3L);
      expect_zeros_outside_the_band(made.a, width, width);
      expect_values(magnitudes(eigenvalues(made.a)), spread(3, 10), p);
    }
  }
  EXPECT_EQ(text({"hermitian", "4"}), text({"hermitian", "4", "-p", "z"}));
}

TEST_F(Make, PositiveMatricesHavePositiveEigenvalues) {
  for (const std::string& p : letters) {
    for (const int mode : {1, -2, 3, 4}) {
      const Made made = make(Words{"positive", "10", "--mode", std::to_string(mode)} + as_spread, p);
      EXPECT_EQ(made.file.symmetry, is_real(p) ? Symmetry::Symmetric : Symmetry::Hermitian);
      EXPECT_EQ(made.a, made.a.adjoint());
      expect_values(eigenvalues(made.a), spread(std::abs(mode), 10), p);
    }
    const Made normal = make({"positive", "10", "--mode", "6", "--upper", "3"}, p);
    EXPECT_GT(eigenvalues(normal.a).front(), -20 * epsilon(p));
    expect_zeros_outside_the_band(normal.a, 3, 3);
  }
}

TEST_F(Make, RandomSpectraKeepToTheirRanges) {
  const Values logarithmic = singular_values(make({"general", "30", "--mode", "5", "--cond", "1e6", "--norm", "2"}).a);
  EXPECT_NEAR(static_cast<double>(logarithmic.back()), 2, 1e-12);
  EXPECT_GT(logarithmic.front(), 2e-6L);
  EXPECT_LT(logarithmic[14], 2e-1L);  // half of the logarithms are below the middle one, give or take
  EXPECT_GT(logarithmic[14], 2e-5L);

  const Words eigen = {"symmetric", "40", "--mode", "6", "--distribution"};
  const Values uniform = eigenvalues(make(eigen + Words{"uniform"}).a);
  EXPECT_GT(uniform.front(), 0);
  EXPECT_LT(uniform.back(), 1);
  const Values symmetric = eigenvalues(make(eigen + Words{"symmetric"}).a);
  EXPECT_GT(symmetric.front(), -1);
  EXPECT_LT(symmetric.front(), -0.5L);
  EXPECT_LT(symmetric.back(), 1);
  EXPECT_GT(symmetric.back(), 0.5L);
  const Made normal = make(eigen + Words{"normal"});
  EXPECT_GT(eigenvalues(normal.a).back(), 1.2L);
  EXPECT_EQ(normal.text, make({"symmetric", "40", "--mode", "6"}).text);
}

TEST_F(Make, TakesASpectrumFromAFile) {
  folder.write("list.txt", "% a comment\n3\n\n  -2e0\n0\n1.5\n");
  folder.write("column.mtx", "%%MatrixMarket matrix array real general\n4 1\n3\n-2\n0\n1.5\n");
  folder.write("row.mtx", "%%MatrixMarket matrix coordinate real general\n1 4 3\n1 1 3\n1 2 -2\n1 4 1.5\n");
  folder.write("positive.txt", "3\n2\n1e-3\n1.5\n");
  for (const std::string& p : letters) {
    for (const std::string file : {"list.txt", "column.mtx", "row.mtx"}) {
      const std::string kind = is_real(p) ? "symmetric" : "hermitian";
      expect_values(eigenvalues(make({kind, "4", "--spectrum", file}, p).a), {-2, 0, 1.5L, 3}, p);
    }
    for (const Words& kind : {Words{"general", "4", "6"},
                              {"band", "4", "--lower", "1", "--upper", "1"},
                              {"positive", "4", "--mode", "0"}}) {
      expect_values(singular_values(make(kind + Words{"--spectrum", "positive.txt"}, p).a), {1e-3L, 1.5L, 2, 3}, p);
    }
  }
}

// ------------------------------------------------------------------------------------------------------- the same file

TEST_F(Make, SameSeedSameFile) {
  for (const Words& kind : {Words{"general", "20", "15"},
                            {"band", "20", "--lower", "2", "--upper", "3"},
                            {"symmetric", "12"},
                            {"hermitian", "9", "--lower", "2"},
                            {"positive", "11"}}) {
    const std::string first = text(kind + Words{"--seed", "7"});
    EXPECT_EQ(text(kind + Words{"--seed", "007", "-o", "made.mtx"}), "");
    EXPECT_EQ(folder.read("made.mtx"), first);
    const std::string other = text(kind + Words{"--seed", "8"});
    // Beyond the comment the numbers differ, too.
    EXPECT_NE(other.substr(other.find("--seed")).substr(9), first.substr(first.find("--seed")).substr(9));
    EXPECT_EQ(text(kind + Words{"--seed", "1"}), text(kind));
  }
}

TEST_F(Make, CommentRepeatsTheCommand) {
  const std::string first = text({"general", "4", "--cond", "1e8"});
  EXPECT_TRUE(
      first.starts_with("%%MatrixMarket matrix array real general\n% nuv make general 4 4 --precision d --mode 3 "
                        "--cond 100000000 --norm 1 --seed 1\n4 4\n"))
      << first;
  folder.write("it's.txt", "1\n2\n");
  folder.write("two\nlines.txt", "1\n2\n");
  for (const Words& arguments : {Words{"general", "3", "2", "--norm", "1e-3", "--mode", "-5", "-ps"},
                                 {"band", "7", "--lower", "1", "--upper", "3", "--seed", "18446744073709551615"},
                                 {"symmetric", "5", "--mode", "-6", "--distribution", "uniform", "-pc"},
                                 {"hermitian", "5", "--lower", "1"},
                                 {"positive", "2", "--spectrum", "it's.txt"}}) {
    const std::string made = text(arguments);
    std::istringstream lines(made);
    std::string comment;
    std::getline(lines, comment);
    std::getline(lines, comment);
    ASSERT_TRUE(comment.starts_with("% nuv make ")) << made;
    const ChildResult again =
        run_child({.arguments = {"sh", "-c", "\"$0\"" + comment.substr(std::string("% nuv").size()), nuv_program()},
                   .working_directory = folder.path()});
    EXPECT_TRUE(again.succeeded()) << to_string(again);
    EXPECT_EQ(again.output, made);
  }
  EXPECT_NE(text({"general", "2", "--spectrum", "two\nlines.txt"}).find("--spectrum 'two\\x0alines.txt' --seed 1\n2 2"),
            std::string::npos);
}

TEST_F(Make, TellsWhatItMade) {
  // The first number of SplitMix64 for 0 is 0xE220A8397B1DCDAF.
  const ChildResult band = run_nuv(folder, {"make", "band", "5", "4", "--lower", "1", "--upper", "0", "--mode", "1",
                                            "--seed", "0", "-ps", "--norm", "10", "-o", "made.mtx"});
  EXPECT_EQ(band.output, "");
  EXPECT_FALSE(match(band.error, R"(matrix             5 by 4, band, single precision
singular values    one 10, the others 0\.1
made by            nuv_lapack_slatms, seed 0, iseed 3618 168 919 2845
written            8 nonzeros as coordinates
time               read [0-9.e+-]+ s, make [0-9.e+-]+ s, write [0-9.e+-]+ s
)")
                   .empty())
      << band.error;
  EXPECT_NE(make({"hermitian", "3", "--mode", "-4"}, "c")
                .account.find("matrix             3 by 3, hermitian, complex single precision\n"
                              "eigenvalues        arithmetic from 1 to 0.01, signs at random, in reverse order\n"
                              "made by            nuv_lapack_clatms by blocks, seed 1, iseed 2320 2605 3784 2307\n"),
            std::string::npos);
  EXPECT_NE(make({"symmetric", "3", "--mode", "6"}, "z").account.find("\nsingular values    normally distributed\n"),
            std::string::npos);
  EXPECT_NE(make({"positive", "3"}, "d").account.find("\nwritten            6 elements as array\n"), std::string::npos);
}

TEST_F(Make, MatricesWithoutElements) {
  folder.write("none.txt", "% no number\n");
  EXPECT_TRUE(text({"general", "0"}).ends_with("\n0 0\n"));
  EXPECT_TRUE(text({"general", "0", "3"}).ends_with("\n0 3\n"));
  EXPECT_TRUE(text({"general", "3", "0", "--spectrum", "none.txt"}).ends_with("\n3 0\n"));
  EXPECT_TRUE(text({"symmetric", "0", "-pc"}).ends_with("\n0 0\n"));
  EXPECT_TRUE(text({"band", "0", "--lower", "3", "--upper", "3"}).ends_with("\n0 0\n"));
  EXPECT_TRUE(text({"positive", "1", "--norm", "4"}).ends_with("\n1 1\n4\n"));
}

// ----------------------------------------------------------------------------------------------------- what it refuses

TEST_F(Make, RefusesCommandsThatContradictThemselves) {
  expect_wrong_usage({"hermitian", "3", "-pd"},
                     "a Hermitian matrix is complex, precision d is real; a real one is called symmetric");
  expect_wrong_usage({"positive", "3", "4"}, "3 rows and 4 columns, but a positive matrix is square");
  expect_wrong_usage({"band", "3", "--lower", "1"}, "a band matrix takes --lower and --upper");
  expect_wrong_usage({"band", "3", "--upper", "1"}, "a band matrix takes --lower and --upper");
  expect_wrong_usage({"general", "3", "--upper", "1"}, "a general matrix has no bandwidths, a band matrix has");
  expect_wrong_usage({"symmetric", "3", "--lower", "1", "--upper", "2"},
                     "a symmetric matrix has as many diagonals above the main one as below");
  expect_wrong_usage({"general", "3", "--mode", "0"}, "mode 0 takes its numbers from a file: --spectrum FILE");
  expect_wrong_usage({"general", "3", "--mode", "2", "--spectrum", "d.txt"}, "--spectrum is mode 0, not mode 2");
  expect_wrong_usage({"general", "3", "--cond", "2", "--spectrum", "d.txt"}, "--cond does not apply to mode 0");
  expect_wrong_usage({"general", "3", "--cond", "2", "--mode", "-6"}, "--cond does not apply to mode -6");
  expect_wrong_usage({"general", "3", "--norm", "2", "--mode", "6"}, "--norm does not apply to mode 6");
  expect_wrong_usage({"general", "3", "--distribution", "normal"}, "--distribution does not apply to mode 3");
}

TEST_F(Make, RefusesNumbersOutOfRange) {
  expect_wrong_usage({"general", "3", "--cond", "0.5"}, "--cond is less than 1");
  expect_wrong_usage({"general", "3", "--cond", "-2"}, "--cond is less than 1");
  expect_wrong_usage({"general", "3", "--cond", "nan"}, "--cond is not a finite number");
  expect_wrong_usage({"general", "3", "--norm", "0"}, "--norm is not positive");
  expect_wrong_usage({"general", "3", "--norm", "-1"}, "--norm is not positive");
  expect_wrong_usage({"general", "3", "--norm", "inf"}, "--norm is not a finite number");
  expect_wrong_usage({"general", "3", "--cond", "1e39", "-pc"},
                     "--cond 1e+39 is out of the range of complex single precision");
  expect_wrong_usage({"general", "3", "--norm", "1e-50", "-ps"},
                     "--norm 1e-50 is out of the range of single precision");
  expect_wrong_usage({"general", "-3"}, "ROWS: '-3' is not a whole number from 0 to 2147483647");
  expect_wrong_usage({"general", "2147483648"}, "ROWS: '2147483648' is not a whole number from 0 to 2147483647");
  expect_wrong_usage({"general", "3", "1.5"}, "COLUMNS: '1.5' is not a whole number from 0 to 2147483647");
  expect_wrong_usage({"general", "3", "--seed", "-1"},
                     "--seed: '-1' is not a whole number from 0 to 18446744073709551615");
  expect_wrong_usage({"general", "3", "--seed", "18446744073709551616"},
                     "--seed: '18446744073709551616' is not a whole number from 0 to 18446744073709551615");
  expect_wrong_usage({"band", "3", "--lower", "x", "--upper", "1"},
                     "--lower: 'x' is not a whole number from 0 to 2147483647");
}

TEST_F(Make, RefusesSpectraThatDoNotFit) {
  const Words general = {"general", "3", "4", "--spectrum"}, positive = {"positive", "2", "--spectrum"};
  folder.write("two.txt", "1\n2\n");
  folder.write("negative.txt", "1\n-2\n3\n");
  folder.write("zero.txt", "1\n0\n");
  folder.write("words.txt", "1\ntwo\n3\n");
  folder.write("pair.txt", "1 2\n3\n");
  folder.write("huge.txt", "1\n1e39\n2\n");
  folder.write("empty.txt", "");
  folder.write("complex.mtx", "%%MatrixMarket matrix array complex general\n3 1\n1 0\n2 0\n3 0\n");
  folder.write("square.mtx", "%%MatrixMarket matrix coordinate real general\n% c\n3 3 0\n");
  folder.write("long.mtx", "%%MatrixMarket matrix coordinate real general\n2000000000 1 0\n");
  expect_refused(general + Words{"two.txt"}, 1, "two.txt: 2 numbers, but the matrix has 3 singular values");
  expect_refused({"symmetric", "3", "--spectrum", "two.txt"}, 1,
                 "two.txt: 2 numbers, but the matrix has 3 eigenvalues");
  expect_refused(general + Words{"negative.txt"}, 1, "negative.txt: number 2 is negative: -2");
  expect_refused({"symmetric", "3", "-pz", "--spectrum", "negative.txt"}, 1, "negative.txt: number 2 is negative: -2");
  expect_refused(positive + Words{"zero.txt"}, 1, "zero.txt: number 2 is not positive: 0");
  expect_refused(general + Words{"words.txt"}, 1, "words.txt:2: expected a number, found 'two'");
  expect_refused(general + Words{"pair.txt"}, 1, "pair.txt:2: 1 number in the row, 2 in those above");
  expect_refused(general + Words{"huge.txt", "-ps"}, 1, "huge.txt:2: '1e39' overflows single precision");
  expect_refused(general + Words{"empty.txt"}, 1, "empty.txt:1: the file is empty");
  expect_refused(general + Words{"complex.mtx"}, 1, "complex.mtx:1: the numbers are complex, a spectrum is real");
  expect_refused(general + Words{"square.mtx"}, 1, "square.mtx:3: a 3 by 3 matrix is no list of numbers");
  expect_refused(general + Words{"long.mtx"}, 1, "long.mtx: 2000000000 numbers, but the matrix has 3 singular values");
  expect_refused(general + Words{"none.txt"}, 1, "none.txt: cannot open: No such file or directory");
}

TEST_F(Make, RefusesMatricesBeyondTheRangeAndTheMemory) {
  expect_refused({"general", "30", "--norm", "1.7e308", "--cond", "1"}, 1,
                 "made.mtx: the matrix overflows the precision");
  const ChildResult result = run_nuv(folder, {"make", "general", "2147483647"});
  EXPECT_FALSE(match(result.error,
                     "nuv: standard output: a 2147483647 by 2147483647 matrix takes [0-9.e+]+ GiB to make, "
                     "this machine can give [0-9.e+]+\n")
                   .empty())
      << to_string(result);
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_EQ(result.output, "");
  expect_refusal(run_nuv(folder, {"make", "general", "3", "-o", "no/folder.mtx"}), 1,
                 "no/folder.mtx: cannot write: No such file or directory");
}

// What is made can be solved with: the two commands agree on their files.
TEST_F(Make, SolveTakesWhatItMade) {
  text({"positive", "6", "-pz", "--lower", "2", "-o", "A.mtx"});
  text({"general", "6", "2", "-o", "B.mtx"});
  const ChildResult solved = run_nuv(folder, {"solve", "--spd", "A.mtx", "B.mtx"});
  EXPECT_TRUE(solved.succeeded()) << to_string(solved);
}

}  // namespace
}  // namespace nuv::test
