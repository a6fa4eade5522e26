// Runs `nuv eig --with` on pairs of general matrices, and judges what it writes by the matrices.

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "array_file.hpp"
#include "spectrum_command.hpp"

namespace nuv::test {
namespace {

const std::string complex_array = "%%MatrixMarket matrix array complex general\n";

/// A with values 1 +- 2i, 3 and -1 where B is the unit matrix.
const std::string with_a_pair = array + "4 4\n1 -2 0 0\n2 1 0 0\n5 1 3 0\n2 -3 4 -1\n";
const std::string upper_partner = array + "4 4\n2 0 0 0\n1 1 0 0\n-1 3 4 0\n0 1 2 1\n";
const std::string complex_one = complex_array + "3 3\n1 1\n0 2\n3 0\n1 0\n2 -1\n1 1\n0 1\n4 0\n-1 3\n";
const std::string complex_partner = complex_array + "3 3\n2 0\n0 1\n0 0\n1 1\n3 0\n1 0\n0 0\n-1 0\n2 -2\n";

class PencilEig : public SpectrumCommand {
 protected:
  PencilEig() : SpectrumCommand("eig") {}

  ArrayFile found(const std::string& a, const std::string& b, std::vector<std::string> options = {}) const {
    folder.write("A.mtx", a);
    folder.write("B.mtx", b);
    options.insert(options.begin(), {"--with", "B.mtx"});
    const ChildResult result = run(options);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return ArrayFile(result.output);
  }

  /// The largest element of A V - B V W, or with conjugated transposes of U^H A - W U^H B; of infinite values, of the
  /// product with B.
  static double error_of(const ArrayFile& a, const ArrayFile& b, const ArrayFile& vectors, const ArrayFile& values,
                         bool left) {
    double largest = 0;
    for (int k = 0; k < a.rows; ++k) {
      const Complex w = left ? std::conj(values(k, 0)) : values(k, 0);
      const bool is_infinite = std::isinf(w.real());
      for (int i = 0; i < a.rows; ++i) {
        Complex sum = 0;
        for (int j = 0; j < a.rows; ++j) {
          const Complex of_a = left ? std::conj(a(j, i)) : a(i, j), of_b = left ? std::conj(b(j, i)) : b(i, j);
          sum += (is_infinite ? of_b : of_a - w * of_b) * vectors(j, k);
        }
        largest = std::max(largest, std::abs(sum));
      }
    }
    return largest;
  }

  static void expect_largest_component_one(const ArrayFile& vectors) {
    for (int k = 0; k < vectors.columns; ++k) {
      double largest = 0;
      for (int i = 0; i < vectors.rows; ++i) {
        largest = std::max(largest, std::abs(vectors(i, k).real()) + std::abs(vectors(i, k).imag()));
      }
      EXPECT_NEAR(largest, 1, 1e-12) << k;
    }
  }
};

TEST_F(PencilEig, ValuesOfATriangularPair) {
  const ArrayFile values = found(array + "2 2\n6\n0\n1\n5\n", array + "2 2\n2\n0\n1\n10\n");
  EXPECT_EQ(values.field, "real");
  EXPECT_EQ(values.elements, (std::vector<Complex>{3, 0.5}));
}

TEST_F(PencilEig, EveryPrecision) {
  const std::string twice = array + "4 4\n2 0 0 0\n0 2 0 0\n0 0 2 0\n0 0 0 2\n";
  for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
    const ArrayFile values = found(with_a_pair, twice, {precision});
    ASSERT_EQ(values.rows, 4) << precision;
    EXPECT_EQ(values.field, "complex");
    for (const Complex value : {Complex(0.5, 1), Complex(0.5, -1), Complex(1.5), Complex(-0.5)}) {
      double nearest = 10;
      for (const Complex x : values.elements) nearest = std::min(nearest, std::abs(x - value));
      EXPECT_LT(nearest, 1e-5) << precision << value;
    }
  }
}

TEST_F(PencilEig, VectorsOnEitherSide) {
  for (const auto& [one, partner] : {std::pair(with_a_pair, upper_partner), std::pair(complex_one, complex_partner)}) {
    const ArrayFile values = found(one, partner, {"--vectors", "V.mtx", "--left", "U.mtx"});
    const ArrayFile a(one), b(partner), right(folder.read("V.mtx")), left(folder.read("U.mtx"));
    EXPECT_EQ(right.field, "complex");
    EXPECT_LT(error_of(a, b, right, values, false), 1e-13);
    EXPECT_LT(error_of(a, b, left, values, true), 1e-13);
    expect_largest_component_one(right);
    expect_largest_component_one(left);
  }
}

TEST_F(PencilEig, InfiniteValues) {
  const std::string one = array + "3 3\n1 0 2\n4 5 0\n0 1 1\n", singular = array + "3 3\n1 0 2\n0 3 0\n2 0 4\n";
  const ArrayFile values = found(one, singular, {"--vectors", "V.mtx", "--left", "U.mtx"});
  int infinite = 0;
  for (const Complex w : values.elements) infinite += std::isinf(w.real());
  EXPECT_EQ(infinite, 1);
  const ArrayFile a(one), b(singular);
  EXPECT_LT(error_of(a, b, ArrayFile(folder.read("V.mtx")), values, false), 1e-13);
  EXPECT_LT(error_of(a, b, ArrayFile(folder.read("U.mtx")), values, true), 1e-13);

  const ChildResult text = run({"--with", "B.mtx"});
  EXPECT_NE(text.output.find("inf"), std::string::npos) << text.output;
  EXPECT_NE(account("eigenvalues", {"--with", "B.mtx"}).find(", 1 infinite"), std::string::npos);
  const ChildResult json = run({"--with", "B.mtx", "--json", "--conditions", "-o", "w.mtx"});
  const auto report = nlohmann::json::parse(json.output);
  EXPECT_EQ(report["infinite"], 1);
  EXPECT_EQ(report["eigenvalues"], 3);
  EXPECT_EQ(report["with"]["rows"], 3);
  EXPECT_EQ(report["conditions"].size(), 3u);
  EXPECT_FALSE(report.contains("warning"));
}

TEST_F(PencilEig, AllInfiniteBesideAZeroMatrix) {
  const ArrayFile values = found(array + "2 2\n-6\n1\n1\n5\n", array + "2 2\n0\n0\n0\n0\n", {"--general"});
  EXPECT_EQ(values.field, "real");
  for (const Complex w : values.elements) EXPECT_EQ(w.real(), std::numeric_limits<double>::infinity());
}

TEST_F(PencilEig, SingularPairsAreToldOf) {
  const ArrayFile values = found(array + "2 2\n1\n0\n3\n0\n", array + "2 2\n2\n0\n1\n0\n");
  bool any_nan = false;
  for (const Complex w : values.elements) any_nan |= std::isnan(w.real());
  EXPECT_TRUE(any_nan);
  EXPECT_NE(run({"--with", "B.mtx"}).error.find("any number is an eigenvalue"), std::string::npos);
  const ChildResult json = run({"--with", "B.mtx", "--json", "--conditions", "-o", "w.mtx"});
  EXPECT_TRUE(nlohmann::json::parse(json.output).contains("warning")) << to_string(json);
}

/// Of a value that may be any number they are infinite.
TEST_F(PencilEig, ConditionsOfSingularPairs) {
  const std::string row = array + "2 2\n1\n0\n3\n0\n", other_row = array + "2 2\n2\n0\n1\n0\n",
                    corner = array + "2 2\n0\n0\n0\n1\n", zero = array + "2 2\n0\n0\n0\n0\n";
  for (const auto& [one, partner, indefinite] :
       {std::tuple(row, other_row, 1u), std::tuple(corner, corner, 1u), std::tuple(zero, zero, 2u)}) {
    found(one, partner, {"--general"});
    const std::string words = account("condition", {"--with", "B.mtx", "--conditions", "--general"});
    EXPECT_EQ(words.substr(0, words.find(" value")), "inf of") << words;
    EXPECT_NE(words.find("nan: off by up to inf on the sphere"), std::string::npos) << words;
    const ChildResult json = run({"--with", "B.mtx", "--general", "--json", "--conditions", "-o", "w.mtx"});
    const auto report = nlohmann::json::parse(json.output);
    ASSERT_EQ(report["conditions"].size(), 2u);
    unsigned infinite = 0;
    for (const auto& condition : report["conditions"]) {
      infinite += condition.is_null();
      EXPECT_TRUE(condition.is_null() || condition.get<double>() > 0) << condition;
    }
    EXPECT_EQ(infinite, indefinite) << json.output;
  }
}

TEST_F(PencilEig, ResidualsAreTold) {
  folder.write("A.mtx", with_a_pair);
  folder.write("B.mtx", upper_partner);
  const std::vector<std::string> options = {"--with", "B.mtx", "--vectors", "V.mtx", "--left", "U.mtx"};
  EXPECT_LT(std::stod(account("residual", options)), 10);
  EXPECT_LT(std::stod(account("left residual", options)), 10);
  EXPECT_EQ(account("eigenvalues", options), "4, all; 2 of them complex");
  EXPECT_EQ(account("found by", options), "nuv_lapack_dggev, double precision");
  EXPECT_EQ(account("found by", {"--with", "B.mtx", "-pc", "--conditions"}),
            "nuv_lapack_cggevx, complex single precision");
}

TEST_F(PencilEig, ConditionsOfTheMostSensitive) {
  // Vectors (1, 0) and (-1000, 1) on the right of a triangle with values 1 and 2: |x| |y| is about 1000.
  folder.write("A.mtx", array + "2 2\n1\n0\n1000\n2\n");
  folder.write("B.mtx", array + "2 2\n1\n0\n0\n1\n");
  const std::string words = account("condition", {"--with", "B.mtx", "--conditions", "--general"});
  // The norm of the pair is about 1000, and the chord of the first value sqrt(2) / 1000.
  EXPECT_EQ(words.substr(0, words.find(':')), "7.07e+05 of value 1, 1") << words;
}

TEST_F(PencilEig, DefiniteWherePairsAre) {
  const std::string symmetric = array + "2 2\n2\n1\n1\n2\n", indefinite = array + "2 2\n1\n0\n0\n-4\n";
  const auto driver = [&](const std::string& a, const std::string& b, std::vector<std::string> options = {}) {
    folder.write("A.mtx", a);
    folder.write("B.mtx", b);
    options.insert(options.begin(), {"--with", "B.mtx"});
    return account("found by", options);
  };
  EXPECT_EQ(driver(symmetric, symmetric), "nuv_lapack_dsygv, double precision");
  EXPECT_EQ(driver(symmetric, symmetric, {"--general"}), "nuv_lapack_dggev, double precision");
  EXPECT_EQ(driver(symmetric, symmetric, {"--left", "U.mtx"}), "nuv_lapack_dggev, double precision");
  EXPECT_EQ(driver(symmetric, indefinite), "nuv_lapack_dggev, double precision");
  EXPECT_EQ(driver(symmetric, array + "2 2\n2\n1\n0\n2\n"), "nuv_lapack_dggev, double precision");
  EXPECT_EQ(driver(array + "2 2\n2\n1\n0\n2\n", symmetric), "nuv_lapack_dggev, double precision");
}

TEST_F(PencilEig, OptionsOfOneKindAlone) {
  folder.write("B.mtx", upper_partner);
  refuse(with_a_pair, {"--with", "B.mtx", "--schur", "S.mtx"}, 2,
         "--schur and --schur-vectors are for one matrix, --with gives two (nuv help eig tells more)");
  refuse(with_a_pair, {"--with", "B.mtx", "--index", "1:1"}, 1,
         "A.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
  refuse(array + "4 4\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n", {"--with", "B.mtx", "--method", "dc"}, 1,
         "B.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
}

TEST_F(PencilEig, EmptyMatrices) {
  EXPECT_EQ(found(array + "0 0\n", array + "0 0\n", {"--general", "--vectors", "V.mtx", "--conditions"}).rows, 0);
}

TEST_F(PencilEig, PictureOfTheFiniteOnes) {
  folder.write("A.mtx", array + "2 2\n4\n0\n1\n5\n");
  folder.write("B.mtx", array + "2 2\n2\n0\n1\n0\n");
  const std::string script = script_of_picture({"--with", "B.mtx"});
  EXPECT_NE(script.find("\n2 0\ne\n"), std::string::npos) << script;
}

}  // namespace
}  // namespace nuv::test
