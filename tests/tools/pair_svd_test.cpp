// Runs `nuv svd --with` on pairs of matrices whose generalised singular values are known.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "spectrum_command.hpp"

namespace nuv::test {
namespace {

using Options = std::vector<std::string>;
using Complex = std::complex<double>;

/// A diagonal matrix of that shape with these numbers in these columns, in the rows from the first on.
std::string with_entries(int rows, int columns, const std::vector<std::pair<int, double>>& entries) {
  std::string text =
      fmt::format("%%MatrixMarket matrix coordinate real general\n{} {} {}\n", rows, columns, entries.size());
  int row = 0;
  for (const auto& [column, value] : entries) text += fmt::format("{} {} {}\n", ++row, column, value);
  return text;
}

/// Columns in which A and B have 3 and 4, 4 and 3, 5 and nothing, nothing and 2, and nothing and nothing.
const std::string a_of_all_kinds = with_entries(4, 5, {{1, 3}, {2, -4}, {3, 5}});
const std::string b_of_all_kinds = with_entries(3, 5, {{4, 2}, {2, 3}, {1, 4}});

class PairSvd : public SpectrumCommand {
 protected:
  PairSvd() : SpectrumCommand("svd") {}

  struct FileMatrix {
    std::size_t rows = 0, columns = 0;
    std::vector<Complex> elements;

    Complex operator()(std::size_t i, std::size_t j) const { return elements.at(i + j * rows); }
  };

  /// An array that the command wrote.
  FileMatrix matrix_in(const std::string& file) const {
    const std::string text = folder.read(file);
    FileMatrix matrix;
    std::sscanf(text.c_str() + text.find('\n') + 1, "%zu %zu", &matrix.rows, &matrix.columns);
    const bool is_complex = text.find("complex") < text.find('\n');
    const std::vector<double> all = numbers(text);
    for (std::size_t k = 0; k < all.size(); k += is_complex ? 2 : 1) {
      matrix.elements.emplace_back(all[k], is_complex ? all[k + 1] : 0);
    }
    EXPECT_EQ(matrix.elements.size(), matrix.rows * matrix.columns) << file;
    return matrix;
  }

  /// Pairs c s.
  std::vector<std::pair<double, double>> pairs(const std::string& a, const std::string& b, Options options = {}) const {
    folder.write("B.mtx", b);
    options.insert(options.begin(), {"--with", "B.mtx"});
    const std::vector<double> table = values(a, options);
    std::vector<std::pair<double, double>> result(table.size() / 2);
    for (std::size_t i = 0; i < result.size(); ++i) result[i] = {table[i], table[result.size() + i]};
    return result;
  }

  std::string sizes_of(const std::string& file) const {
    const FileMatrix matrix = matrix_in(file);
    return fmt::format("{} {}", matrix.rows, matrix.columns);
  }
};

const Options all_vectors = {"--left", "U.mtx", "--with-left", "V.mtx", "--right", "X.mtx"};

Options with(Options options, const Options& more) {
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

TEST_F(PairSvd, ShowsPairsInDescendingOrder) {
  const std::pair<double, double> expected[] = {{1, 0}, {0.8, 0.6}, {0.6, 0.8}, {0, 1}};
  for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
    for (const Options& more : {Options(), all_vectors}) {
      const auto found = pairs(a_of_all_kinds, b_of_all_kinds, with({precision}, more));
      const bool single = precision[2] == 's' || precision[2] == 'c';
      ASSERT_EQ(found.size(), 4u) << precision;
      for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(found[i].first, expected[i].first, single ? 1e-6 : 1e-15) << precision << i;
        EXPECT_NEAR(found[i].second, expected[i].second, single ? 1e-6 : 1e-15) << precision << i;
      }
    }
  }
}

TEST_F(PairSvd, AccountOfThePairs) {
  folder.write("A.mtx", a_of_all_kinds);
  folder.write("B.mtx", b_of_all_kinds);
  const ChildResult result = run({"--with", "B.mtx"});
  const std::string expected = R"(matrix             4 by 5, A.mtx
with               3 by 5, B.mtx
singular values    4: 1 infinite, 2 from 1.333 to 0.75, 1 zero
rank               4   of both below each other, 3 of B
found by           nuv_lapack_dggsvd, double precision
time )";
  EXPECT_TRUE(result.error.starts_with(expected)) << result.error;
  EXPECT_EQ(account("found by", {"--with", "B.mtx", "-pc"}), "nuv_lapack_cggsvd, complex single precision");
  folder.write("A.mtx", array + "1 1\n3\n");
  folder.write("B.mtx", array + "1 1\n2\n");
  EXPECT_EQ(account("singular values", {"--with", "B.mtx"}), "1: 1 of 1.5");
}

/// A - U C X^H and B - V S X^H vanish.
TEST_F(PairSvd, VectorsMakeTheMatrices) {
  const std::string a = "%%MatrixMarket matrix array complex general\n3 3\n"
                        "1 2\n0 -1\n3 0\n2 2\n-1 0\n0 1\n4 -3\n1 1\n0 0\n",
                    b = "%%MatrixMarket matrix array complex general\n2 3\n0 1\n2 0\n1 -2\n3 1\n-1 0\n0 2\n";
  for (const Options& more : {Options(), Options{"--full"}, Options{"--thin"}}) {
    const auto found = pairs(a, b, with(all_vectors, more));
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0], (std::pair<double, double>(1, 0)));
    EXPECT_GE(found[1].first, found[2].first);
    const FileMatrix U = matrix_in("U.mtx"), V = matrix_in("V.mtx"), X = matrix_in("X.mtx");
    const Complex of_a[3][3] = {{{1, 2}, {2, 2}, {4, -3}}, {{0, -1}, {-1, 0}, {1, 1}}, {{3, 0}, {0, 1}, {0, 0}}},
                  of_b[2][3] = {{{0, 1}, {1, -2}, {-1, 0}}, {{2, 0}, {3, 1}, {0, 2}}};
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = 0; j < 3; ++j) {
        Complex x = 0, y = 0;
        for (std::size_t k = 0; k < 3; ++k) x += U(i, k) * found[k].first * std::conj(X(j, k));
        EXPECT_LT(std::abs(x - of_a[i][j]), 1e-13) << i << j;
        if (i == 2) continue;
        for (std::size_t k = 1; k < 3; ++k) y += V(i, k - 1) * found[k].second * std::conj(X(j, k));
        EXPECT_LT(std::abs(y - of_b[i][j]), 1e-13) << i << j;
      }
    }
    EXPECT_LT(std::stod(account("residual", with(all_vectors, {"--with", "B.mtx"}))), 20);
    EXPECT_LT(std::stod(account("orthogonality", with(all_vectors, {"--with", "B.mtx"}))), 20);
  }
}

TEST_F(PairSvd, SizesOfVectors) {
  const auto expect_sizes = [&](const std::string& a, const std::string& b, const Options& options,
                                const std::string& of_u, const std::string& of_v, const std::string& of_x) {
    pairs(a, b, with(all_vectors, options));
    EXPECT_EQ(sizes_of("U.mtx"), of_u);
    EXPECT_EQ(sizes_of("V.mtx"), of_v);
    EXPECT_EQ(sizes_of("X.mtx"), of_x);
  };
  expect_sizes(a_of_all_kinds, b_of_all_kinds, {}, "4 4", "3 3", "5 4");
  const std::string tall = with_entries(6, 2, {{1, 1}, {2, 2}}), low = with_entries(5, 2, {{2, 1}});
  expect_sizes(tall, low, {}, "6 2", "5 1", "2 2");
  expect_sizes(tall, low, {"--thin"}, "6 2", "5 1", "2 2");
  expect_sizes(tall, low, {"--full"}, "6 6", "5 5", "2 2");
  expect_sizes(array + "1 3\n1\n2\n3\n", with_entries(3, 3, {{1, 1}, {2, 1}, {3, 1}}), {}, "1 1", "3 3", "3 3");
  // One side alone.
  folder.write("A.mtx", tall);
  folder.write("B.mtx", low);
  EXPECT_TRUE(run({"--with", "B.mtx", "--right", "Y.mtx"}).succeeded());
  EXPECT_EQ(sizes_of("Y.mtx"), "2 2");
}

/// The identity gives singular values, c / s.
TEST_F(PairSvd, WithTheIdentity) {
  const auto found = pairs(array + "2 2\n3\n3\n4\n-4\n", with_entries(2, 2, {{1, 1}, {2, 1}}));
  ASSERT_EQ(found.size(), 2u);
  EXPECT_NEAR(found[0].first / found[0].second, std::sqrt(32), 1e-13);
  EXPECT_NEAR(found[1].first / found[1].second, std::sqrt(18), 1e-13);
}

TEST_F(PairSvd, MatricesWithoutElements) {
  EXPECT_TRUE(pairs(array + "0 0\n", array + "0 0\n", all_vectors).empty());
  EXPECT_EQ(account("singular values", {"--with", "B.mtx"}), "0");
  EXPECT_EQ(sizes_of("X.mtx"), "0 0");
  EXPECT_EQ(pairs(array + "0 2\n", with_entries(2, 2, {{1, 1}, {2, 5}})),
            (std::vector<std::pair<double, double>>{{0, 1}, {0, 1}}));
  EXPECT_EQ(pairs(with_entries(2, 2, {{1, 1}, {2, 5}}), array + "0 2\n"),
            (std::vector<std::pair<double, double>>{{1, 0}, {1, 0}}));
  EXPECT_TRUE(pairs(array + "1 2\n0\n0\n", array + "1 2\n0\n0\n", with(all_vectors, {"--full"})).empty());
  EXPECT_EQ(sizes_of("U.mtx"), "1 1");
  EXPECT_EQ(sizes_of("X.mtx"), "2 0");
}

TEST_F(PairSvd, Json) {
  folder.write("A.mtx", a_of_all_kinds);
  folder.write("B.mtx", b_of_all_kinds);
  const ChildResult result = run({"--with", "B.mtx", "-o", "s.mtx", "--json"});
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  for (const char* fact : {"\"singular_values\": 4", "\"infinite\": 1", "\"zero\": 1", "\"rank\": 4",
                           "\"rank_of_partner\": 3", "\"file\": \"B.mtx\""}) {
    EXPECT_NE(result.output.find(fact), std::string::npos) << fact << " in " << result.output;
  }
}

TEST_F(PairSvd, PictureShowsTheFiniteValues) {
  folder.write("A.mtx", with_entries(3, 3, {{1, 6}, {2, 2}, {3, 1}}));
  folder.write("B.mtx", with_entries(2, 3, {{1, 2}, {2, 4}}));
  folder.write("gnuplot", "#!/bin/sh\n[ \"$1\" = --version ] || { echo '<svg>'; cat \"$1\"; echo '</svg>'; }\n");
  std::filesystem::permissions(folder / "gnuplot", std::filesystem::perms::owner_all);
  ChildCommand command{.arguments = {nuv_program(), "svd", "A.mtx", "--with", "B.mtx", "--plot", "values.svg"},
                       .environment = {{"PATH", folder.path() + ":/usr/bin:/bin"}}};
  command.working_directory = folder.path();
  const ChildResult result = run_child(command);
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  const std::string script = folder.read("values.svg");
  EXPECT_NE(script.find("\nset title 'Generalised singular values'\n"), std::string::npos) << script;
  double first = 0, second = 0;
  const std::size_t data = script.find("\n1 ");
  ASSERT_NE(data, std::string::npos) << script;
  EXPECT_EQ(std::sscanf(script.c_str() + data, "\n1 %lf\n2 %lf\ne\n", &first, &second), 2) << script;
  EXPECT_NEAR(first, 3, 1e-14);
  EXPECT_NEAR(second, 0.5, 1e-14);
}

// -------------------------------------------------------------------------------------------------------------
// refusals

TEST_F(PairSvd, PartnersThatDoNotFit) {
  folder.write("A.mtx", array + "2 2\n1\n2\n3\n4\n");
  folder.write("B.mtx", array + "2 3\n1\n2\n3\n4\n5\n6\n");
  expect_refusal(run({"--with", "B.mtx"}), 1, "B.mtx:2: the matrix is 2 by 3, its partner has 2 columns");
  expect_refusal(run({"--with", "none.mtx"}), 1, "none.mtx: cannot open: No such file or directory");
  folder.write("B.mtx", "%%MatrixMarket matrix array complex general\n1 2\n1 1\n0 0\n");
  expect_refusal(run({"--with", "B.mtx", "-pd"}), 1, "B.mtx:1: complex data does not fit the real precision d");
}

TEST_F(PairSvd, FilesThatCannotBeWrittenAreRefusedBeforeTheWork) {
  folder.write("A.mtx", "no matrix");
  for (const char* option : {"-o", "--left", "--with-left", "--right"}) {
    expect_refusal(run({"--with", "B.mtx", option, "none/x"}), 1, "none/x: cannot write: No such file or directory");
  }
}

}  // namespace
}  // namespace nuv::test
