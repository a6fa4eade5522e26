// Runs the command on every kind of file in every precision and judges what it prints.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "nuv_command.hpp"
#include "tools/matrix_market.hpp"

namespace nuv::test {
namespace {

using Complex = std::complex<long double>;

/// A small dense matrix for the judge, by columns, counted from zero.
struct Table {
  int rows = 0, columns = 0;
  std::vector<Complex> elements;

  Complex& operator()(int i, int j) { return elements.at(index(i, j)); }
  Complex operator()(int i, int j) const { return elements.at(index(i, j)); }

  std::size_t index(int i, int j) const {
    return static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * static_cast<std::size_t>(rows);
  }
};

Table table(int rows, int columns) {
  return {rows, columns, std::vector<Complex>(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns))};
}

bool is_single(char precision) {
  return precision == 's' || precision == 'c';
}
bool is_real(char precision) {
  return precision == 's' || precision == 'd';
}

/// A printed solution, which must be a dense general array.
Table solution_in(const std::string& text, char precision) {
  tools::Input input = tools::Input::of(text, "solution");
  const auto matrix =
      tools::read_matrix_market(input, is_single(precision) ? tools::Precision::Single : tools::Precision::Double);
  EXPECT_EQ(matrix.layout, tools::Layout::Array);
  EXPECT_EQ(matrix.symmetry, tools::Symmetry::General);
  EXPECT_EQ(matrix.is_complex(), !is_real(precision));
  EXPECT_NE(matrix.field, tools::Field::Integer);
  Table x = table(matrix.rows, matrix.columns);
  for (std::size_t k = 0; k < x.elements.size(); ++k) x.elements[k] = Complex(matrix.value(k));
  return x;
}

/// Largest sum of magnitudes over a row.
long double norm(const Table& a) {
  long double largest = 0;
  for (int i = 0; i < a.rows; ++i) {
    long double sum = 0;
    for (int j = 0; j < a.columns; ++j) sum += std::abs(a(i, j));
    largest = std::max(largest, sum);
  }
  return largest;
}

long double residual(const Table& a, const Table& x, const Table& b, char precision) {
  Table r = b;
  for (int i = 0; i < b.rows; ++i) {
    for (int k = 0; k < b.columns; ++k) {
      for (int j = 0; j < a.columns; ++j) r(i, k) -= a(i, j) * x(j, k);
    }
  }
  const long double eps = is_single(precision) ? 0x1p-24L : 0x1p-53L;
  return norm(r) == 0 ? 0 : norm(r) / (norm(a) * norm(x) * a.rows * eps);
}

/// The residual that the account on standard error gives; -1 if the account isn't as it should be.
double reported_residual(const std::string& account, const Table& a, const Table& b, char precision,
                         const std::string& driver) {
  const std::string words = fmt::format("{}{}, {}{}", precision, driver, is_real(precision) ? "" : "complex ",
                                        is_single(precision) ? "single" : "double");
  const auto found = match(account, fmt::format(R"(system             {0} by {0}, A\.mtx
right-hand sides   {1}, b\.mtx
method             [A-Za-z ]+: [a-z0-9 ,-]+
solved by          nuv_lapack_{2} precision
scaled residual    ([0-9.e+-]+)   \|\|A X - B\|\| / \(\|\|A\|\| \|\|X\|\| n eps\)
condition          [0-9.e+-]+   reciprocal, in the one norm[a-z ,]*
forward error      [0-9.e+-]+   bound of max \|X - exact\| / max \|X\|[a-z0-9 ,]*
time               read [0-9.e+-]+ s, solve [0-9.e+-]+ s, check [0-9.e+-]+ s, write [0-9.e+-]+ s
)",
                                                a.rows, b.columns, words));
  EXPECT_FALSE(found.empty()) << account;
  return found.empty() ? -1 : std::stod(found[1]);
}

/// Solves the files A.mtx and b.mtx of the folder and expects a solution, by that driver, of the system that the tables
/// hold.
Table expect_solution(const TemporaryFolder& folder, const Table& a, const Table& b, char precision,
                      const std::string& driver, const std::vector<std::string>& options = {}) {
  SCOPED_TRACE(std::string("precision ") + precision);
  std::vector<std::string> arguments = {"solve", "A.mtx", "b.mtx"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  const ChildResult result = run_nuv(folder, arguments);
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  if (!result.succeeded()) return {};

  Table x = solution_in(result.output, precision);
  EXPECT_EQ(x.rows, b.rows);
  EXPECT_EQ(x.columns, b.columns);
  const auto expected = static_cast<double>(residual(a, x, b, precision));
  EXPECT_LT(expected, 10);
  EXPECT_NEAR(reported_residual(result.error, a, b, precision, driver), expected, 0.01 * expected);
  return x;
}

/// The option that asks for a precision.
std::vector<std::string> in(char precision) {
  return {"-p", std::string(1, precision)};
}

/// The driver for a file of that text, which is no band, in real or complex arithmetic. A real symmetric matrix is a
/// Hermitian one there.
std::string driver_for(const std::string& text, char precision) {
  if (text.find(" hermitian\n") != std::string::npos) return "hesvx";
  if (text.find(" symmetric\n") == std::string::npos) return "gesvx";
  return is_real(precision) || text.find(" complex ") != std::string::npos ? "sysvx" : "hesvx";
}

struct Kind {
  std::string label;
  std::string text;
  std::vector<std::complex<double>> rows;  ///< the elements that the text means, row by row
};

std::vector<Kind> kinds() {
  const std::string banner = "%%MatrixMarket matrix ";
  using C = std::complex<double>;
  return {
      {"ArrayRealGeneral",
       banner + "array real general\n3 3\n0\n2\n3.5\n1\n-1\n0.25\n4\n5\n6\n",
       {0, 1, 4, 2, -1, 5, 3.5, 0.25, 6}},
      {"ArrayRealSymmetric", banner + "array real symmetric\n3 3\n1\n2\n3\n4\n5\n-6\n", {1, 2, 3, 2, 4, 5, 3, 5, -6}},
      {"ArrayIntegerGeneral",
       banner + "array integer general\n3 3\n2\n0\n1\n1\n3\n0\n-1\n1\n5\n",
       {2, 1, -1, 0, 3, 1, 1, 0, 5}},
      {"ArrayIntegerSymmetric",
       banner + "array integer symmetric\n3 3\n4\n1\n0\n5\n2\n6\n",
       {4, 1, 0, 1, 5, 2, 0, 2, 6}},
      {"ArrayComplexGeneral",
       banner + "array complex general\n3 3\n1 1\n0 2\n3 0\n2 -1\n4 0\n0 1\n1 0\n1 1\n5 -2\n",
       {C(1, 1), C(2, -1), C(1), C(0, 2), C(4), C(1, 1), C(3), C(0, 1), C(5, -2)}},
      {"ArrayComplexSymmetric",
       banner + "array complex symmetric\n3 3\n3 1\n0 2\n1 0\n4 0\n1 -1\n5 2\n",
       {C(3, 1), C(0, 2), C(1), C(0, 2), C(4), C(1, -1), C(1), C(1, -1), C(5, 2)}},
      {"ArrayComplexHermitian",
       banner + "array complex hermitian\n3 3\n3 0\n0 2\n1 1\n4 0\n1 -1\n5 0\n",
       {C(3), C(0, -2), C(1, -1), C(0, 2), C(4), C(1, 1), C(1, 1), C(1, -1), C(5)}},
      {"CoordinateRealGeneral",
       banner + "coordinate real general\n3 3 6\n1 1 1\n2 2 1\n3 3 1\n3 1 2\n1 3 -2.5\n2 2 1\n",
       {1, 0, -2.5, 0, 2, 0, 2, 0, 1}},
      {"CoordinateRealSymmetric",
       banner + "coordinate real symmetric\n3 3 5\n1 1 4\n2 1 1\n2 2 4\n3 2 1\n3 3 4\n",
       {4, 1, 0, 1, 4, 1, 0, 1, 4}},
      {"CoordinateIntegerGeneral",
       banner + "coordinate integer general\n3 3 3\n1 3 2\n2 1 3\n3 2 4\n",
       {0, 0, 2, 3, 0, 0, 0, 4, 0}},
      {"CoordinateComplexGeneral",
       banner + "coordinate complex general\n3 3 4\n1 2 0 1\n2 1 0 -1\n3 3 2 2\n3 1 1 1\n",
       {0, C(0, 1), 0, C(0, -1), 0, 0, C(1, 1), 0, C(2, 2)}},
      {"CoordinateComplexSymmetric",
       banner + "coordinate complex symmetric\n3 3 4\n1 1 1 2\n2 1 3 4\n2 2 0 1\n3 3 1 0\n",
       {C(1, 2), C(3, 4), 0, C(3, 4), C(0, 1), 0, 0, 0, 1}},
      {"CoordinateComplexHermitian",
       banner + "coordinate complex hermitian\n3 3 5\n1 1 2 0\n2 1 1 1\n2 2 3 0\n3 1 0 1\n3 3 4 0\n",
       {2, C(1, -1), C(0, -1), C(1, 1), 3, 0, C(0, 1), 0, 4}},
      {"CommentsAndCarriageReturns",
       "%%matrixmarket Matrix COORDINATE Real General\r\n% c\r\n\r\n3 3 3\r\n1 1 +1.5\r\n\r\n% c\r\n2 2 2e0\r\n3 3 "
       ".5\r\n",
       {1.5, 0, 0, 0, 2, 0, 0, 0, 0.5}},
  };
}

// A skew-symmetric matrix of odd order is singular, so that these have order 4.
std::vector<Kind> skew_kinds() {
  const std::string banner = "%%MatrixMarket matrix ";
  using C = std::complex<double>;
  const std::vector<C> real = {0, -1, -2, -3, 1, 0, -4, -5, 2, 4, 0, -7, 3, 5, 7, 0};
  return {
      {"ArrayRealSkew", banner + "array real skew-symmetric\n4 4\n1\n2\n3\n4\n5\n7\n", real},
      {"ArrayIntegerSkew", banner + "array integer skew-symmetric\n4 4\n1\n2\n3\n4\n5\n7\n", real},
      {"ArrayComplexSkew",
       banner + "array complex skew-symmetric\n4 4\n1 1\n0 0\n0 0\n0 0\n0 0\n0 2\n",
       {0, C(-1, -1), 0, 0, C(1, 1), 0, 0, 0, 0, 0, 0, C(0, -2), 0, 0, C(0, 2), 0}},
      {"CoordinateRealSkew",
       banner + "coordinate real skew-symmetric\n4 4 6\n4 3 7\n2 1 1\n3 1 2\n4 1 3\n3 2 4\n4 2 5\n", real},
      {"CoordinateIntegerSkew",
       banner + "coordinate integer skew-symmetric\n4 4 3\n2 1 3\n4 3 5\n1 1 0\n",
       {0, -3, 0, 0, 3, 0, 0, 0, 0, 0, 0, -5, 0, 0, 5, 0}},
      {"CoordinateComplexSkew",
       banner + "coordinate complex skew-symmetric\n4 4 2\n2 1 0 1\n4 3 2 1\n",
       {0, C(0, -1), 0, 0, C(0, 1), 0, 0, 0, 0, 0, 0, C(-2, -1), 0, 0, C(2, 1), 0}},
  };
}

class SolveKind : public testing::TestWithParam<Kind> {
 protected:
  SolveKind() : n(GetParam().rows.size() == 9 ? 3 : 4), matrix(table(n, n)) {
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) matrix(i, j) = Complex(GetParam().rows.at(matrix.index(j, i)));
    }
  }

  /// Solves in every precision that the file's field allows, and in the one that nuv chooses. driver(precision) is what
  /// must do it.
  template <class Driver, class Check>
  void in_every_precision(const Table& a, const Table& b, const std::string& file, Driver driver, Check check) {
    for (const char precision : {'s', 'd', 'c', 'z'}) {
      if (is_complex && is_real(precision)) {
        expect_refusal(run_nuv(folder, {"solve", "A.mtx", "b.mtx", "-p", std::string(1, precision)}), 1,
                       fmt::format("{}:1: complex data does not fit the real precision {}", file, precision));
      } else {
        check(expect_solution(folder, a, b, precision, driver(precision), in(precision)));
      }
    }
    const char chosen = is_complex ? 'z' : 'd';
    check(expect_solution(folder, a, b, chosen, driver(chosen)));
  }

  const int n;
  Table matrix;
  const bool is_complex = GetParam().text.find(" complex ") != std::string::npos;
  TemporaryFolder folder;
};

TEST_P(SolveKind, AsMatrix) {
  Table b = table(n, 2);
  std::string b_text = fmt::format("%%MatrixMarket matrix array real general\n{} 2\n", n);
  for (int k = 0; k < 2; ++k) {
    for (int i = 0; i < n; ++i) {
      const int value = 1 + i * i - 3 * k;
      b(i, k) = value;
      b_text += fmt::format("{}\n", value);
    }
  }
  folder.write("A.mtx", GetParam().text);
  folder.write("b.mtx", b_text);
  in_every_precision(
      matrix, b, "A.mtx", [](char precision) { return driver_for(GetParam().text, precision); }, [](const Table&) {});
}

// The unit matrix gives back each element of its right-hand sides.
TEST_P(SolveKind, AsRightHandSides) {
  Table unit = table(n, n);
  std::string unit_text = fmt::format("%%MatrixMarket matrix array integer symmetric\n{0} {0}\n", n);
  for (int i = 0; i < n; ++i) {
    unit(i, i) = 1;
    for (int k = i; k < n; ++k) unit_text += k == i ? "1\n" : "0\n";
  }
  folder.write("A.mtx", unit_text);
  folder.write("b.mtx", GetParam().text);
  in_every_precision(
      unit, matrix, "b.mtx", [&](char precision) { return driver_for(unit_text, precision); },
      [&](const Table& x) { EXPECT_EQ(x.elements, matrix.elements); });
}

const auto label_of = [](const auto& test) { return test.param.label; };
INSTANTIATE_TEST_SUITE_P(Order3, SolveKind, testing::ValuesIn(kinds()), label_of);
INSTANTIATE_TEST_SUITE_P(Order4, SolveKind, testing::ValuesIn(skew_kinds()), label_of);

/// A matrix of random numbers of few digits, which are exact in every precision, and its file.
struct RandomFile {
  Table values;
  std::string text;

  RandomFile(int rows, int columns, bool is_complex, unsigned seed) : values(table(rows, columns)) {
    std::mt19937 random(seed);
    const auto number = [&] { return static_cast<int>(random() % 2001) - 1000; };
    text =
        fmt::format("%%MatrixMarket matrix array {} general\n{} {}\n", is_complex ? "complex" : "real", rows, columns);
    for (Complex& element : values.elements) {
      const double real = number() / 8.0, imaginary = is_complex ? number() / 8.0 : 0;
      element = Complex(real, imaginary);
      text += is_complex ? fmt::format("{} {}\n", real, imaginary) : fmt::format("{}\n", real);
    }
  }
};

TEST(Solve, LargerSystemsWithSeveralRightHandSides) {
  for (const int n : {1, 2, 33, 150}) {
    SCOPED_TRACE(n);
    for (const bool is_complex : {false, true}) {
      const RandomFile a(n, n, is_complex, 7), b(n, 5, false, 8);
      const TemporaryFolder folder;
      folder.write("A.mtx", a.text);
      folder.write("b.mtx", b.text);
      for (const char precision : {'s', 'd', 'c', 'z'}) {
        if (is_complex && is_real(precision)) continue;
        expect_solution(folder, a.values, b.values, precision, "gesvx", in(precision));
      }
    }
  }
}

/// A positive definite matrix of numbers of few digits, and its file: all of it, or its lower triangle.
struct DefiniteFile {
  Table values;
  std::string text;

  DefiniteFile(int n, bool is_complex, bool whole, unsigned seed) : values(table(n, n)) {
    std::mt19937 random(seed);
    const auto number = [&] { return (static_cast<int>(random() % 2001) - 1000) / 1024.0; };
    for (int j = 0; j < n; ++j) {
      values(j, j) = 2 * n + 1 + number();
      for (int i = j + 1; i < n; ++i) {
        values(i, j) = Complex(number(), is_complex ? number() : 0);
        values(j, i) = std::conj(values(i, j));
      }
    }
    text = fmt::format("%%MatrixMarket matrix array {} {}\n{} {}\n", is_complex ? "complex" : "real",
                       whole        ? "general"
                       : is_complex ? "hermitian"
                                    : "symmetric",
                       n, n);
    for (int j = 0; j < n; ++j) {
      for (int i = whole ? 0 : j; i < n; ++i) {
        const auto real = static_cast<double>(values(i, j).real()),
                   imaginary = static_cast<double>(values(i, j).imag());
        text += is_complex ? fmt::format("{} {}\n", real, imaginary) : fmt::format("{}\n", real);
      }
    }
  }
};

TEST(Solve, DefiniteSystemsByCholeskyFactorisation) {
  for (const int n : {1, 2, 33, 150}) {
    for (const bool is_complex : {false, true}) {
      for (const bool whole : {false, true}) {
        SCOPED_TRACE(fmt::format("order {}, complex {}, whole {}", n, is_complex, whole));
        const DefiniteFile a(n, is_complex, whole, 5);
        const RandomFile b(n, 3, false, 6);
        const TemporaryFolder folder;
        folder.write("A.mtx", a.text);
        folder.write("b.mtx", b.text);
        for (const char precision : {'s', 'd', 'c', 'z'}) {
          if (is_complex && is_real(precision)) continue;
          expect_solution(folder, a.values, b.values, precision, "posvx", {"--spd", "-p", std::string(1, precision)});
        }
        expect_solution(folder, a.values, b.values, is_complex ? 'z' : 'd', "posvx", {"--method", "cholesky"});
      }
    }
  }
}

TEST(Solve, ComplexRightHandSidesOfARealMatrix) {
  const RandomFile a(20, 20, false, 1), b(20, 3, true, 2);
  const TemporaryFolder folder;
  folder.write("A.mtx", a.text);
  folder.write("b.mtx", b.text);
  expect_solution(folder, a.values, b.values, 'z', "gesvx");
  expect_solution(folder, a.values, b.values, 'c', "gesvx", in('c'));
  expect_refusal(run_nuv(folder, {"solve", "A.mtx", "b.mtx", "-p", "d"}), 1,
                 "b.mtx:1: complex data does not fit the real precision d");
}

TEST(Solve, SparseRightHandSides) {
  const RandomFile a(3, 3, false, 4);
  Table b = table(3, 2);
  b(0, 0) = 2;
  b(2, 1) = -7;
  const TemporaryFolder folder;
  folder.write("A.mtx", a.text);
  folder.write("b.mtx", "%%MatrixMarket matrix coordinate real general\n3 2 3\n3 1 0\n1 1 2\n3 2 -7\n");
  for (const char precision : {'s', 'd', 'c', 'z'}) {
    expect_solution(folder, a.values, b, precision, "gesvx", in(precision));
  }
}

TEST(Solve, GivesTheSolutionThatTheColumnsHadBeforeInTheirOrder) {
  // X = [1 3; 2 -4]
  const TemporaryFolder folder;
  folder.write("A.mtx", "%%MatrixMarket matrix array integer general\n2 2\n0\n4\n2\n0\n");
  folder.write("b.mtx", "%%MatrixMarket matrix array integer general\n2 2\n4\n4\n-8\n12\n");
  for (const char* precision : {"s", "d"}) {
    EXPECT_EQ(run_nuv(folder, {"solve", "A.mtx", "b.mtx", "-p", precision}).output,
              "%%MatrixMarket matrix array real general\n2 2\n1\n2\n3\n-4\n");
  }
  for (const char* precision : {"c", "z"}) {
    EXPECT_EQ(run_nuv(folder, {"solve", "A.mtx", "b.mtx", "-p", precision}).output,
              "%%MatrixMarket matrix array complex general\n2 2\n1 0\n2 0\n3 0\n-4 0\n");
  }
}

TEST(Solve, SystemsWithoutUnknownsOrWithoutRightHandSides) {
  const TemporaryFolder folder;
  folder.write("A.mtx", "%%MatrixMarket matrix array real general\n0 0\n");
  folder.write("b.mtx", "%%MatrixMarket matrix array real general\n0 2\n");
  folder.write("A1.mtx", "%%MatrixMarket matrix array real general\n1 1\n4\n");
  folder.write("b0.mtx", "%%MatrixMarket matrix array real general\n1 0\n");
  for (const std::string option : {"-ps", "-pd", "--spd"}) {
    const ChildResult nothing = run_nuv(folder, {"solve", "A.mtx", "b.mtx", option});
    EXPECT_TRUE(nothing.succeeded()) << to_string(nothing);
    EXPECT_EQ(nothing.output, "%%MatrixMarket matrix array real general\n0 2\n");
    const ChildResult none = run_nuv(folder, {"solve", "A1.mtx", "b0.mtx", option});
    EXPECT_TRUE(none.succeeded()) << to_string(none);
    EXPECT_EQ(none.output, "%%MatrixMarket matrix array real general\n1 0\n");
  }
}

TEST(Solve, ReadsFromAPipe) {
  const TemporaryFolder folder;
  folder.write("A.mtx", "%%MatrixMarket matrix array real general\n1 1\n4\n");
  folder.write("b.mtx", "%%MatrixMarket matrix array real general\n1 1\n2\n");
  const ChildResult result =
      run_child({.arguments = {"sh", "-c", "cat b.mtx | \"$0\" solve A.mtx /dev/stdin", nuv_program()},
                 .working_directory = folder.path()});
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(result.output, "%%MatrixMarket matrix array real general\n1 1\n0.5\n");
}

}  // namespace
}  // namespace nuv::test
