// Runs `nuv eig` on matrices that are neither symmetric nor Hermitian, and judges what it writes by the matrices.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "array_file.hpp"
#include "spectrum_command.hpp"

namespace nuv::test {
namespace {

/// Of order four, with a pair 1 +- 2i and the values 3 and -1.
const std::string with_a_pair = array + "4 4\n1 -2 0 0\n2 1 0 0\n5 1 3 0\n2 -3 4 -1\n";
const std::string complex_array =
    "%%MatrixMarket matrix array complex general\n3 3\n1 1\n0 2\n3 0\n1 0\n2 -1\n1 1\n0 1\n4 0\n-1 3\n";

class GeneralEig : public SpectrumCommand {
 protected:
  GeneralEig() : SpectrumCommand("eig") {}

  ArrayFile found(const std::string& matrix, const std::vector<std::string>& options = {}) const {
    folder.write("A.mtx", matrix);
    const ChildResult result = run(options);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return ArrayFile(result.output);
  }

  /// The largest element of A V - V W, or with conjugated transposes of U^H A - W U^H.
  static double error_of(const ArrayFile& a, const ArrayFile& vectors, const ArrayFile& values, bool left) {
    double largest = 0;
    for (int k = 0; k < a.rows; ++k) {
      for (int i = 0; i < a.rows; ++i) {
        Complex sum = -vectors(i, k) * (left ? std::conj(values(k, 0)) : values(k, 0));
        for (int j = 0; j < a.rows; ++j) sum += (left ? std::conj(a(j, i)) : a(i, j)) * vectors(j, k);
        largest = std::max(largest, std::abs(sum));
      }
    }
    return largest;
  }

  static void expect_unit_length(const ArrayFile& vectors) {
    for (int k = 0; k < vectors.columns; ++k) {
      double sum = 0;
      for (int i = 0; i < vectors.rows; ++i) sum += std::norm(vectors(i, k));
      EXPECT_NEAR(sum, 1, 1e-12) << k;
    }
  }
};

TEST_F(GeneralEig, ComplexWhereAnyIs) {
  const ArrayFile pair = found(array + "2 2\n0\n-1\n1\n0\n");
  EXPECT_EQ(pair.field, "complex");
  ASSERT_EQ(pair.rows, 2);
  EXPECT_LT(std::abs(pair(0, 0) - Complex(0, 1)), 1e-15) << "the positive imaginary part first";
  EXPECT_LT(std::abs(pair(1, 0) - Complex(0, -1)), 1e-15);

  const ArrayFile triangle = found(array + "2 2\n3\n0\n1\n5\n");
  EXPECT_EQ(triangle.field, "real");
  EXPECT_EQ(triangle.elements, (std::vector<Complex>{3, 5}));
}

TEST_F(GeneralEig, EveryPrecision) {
  for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
    const ArrayFile values = found(with_a_pair, {precision});
    ASSERT_EQ(values.rows, 4) << precision;
    for (const Complex value : {Complex(1, 2), Complex(1, -2), Complex(3), Complex(-1)}) {
      double nearest = 10;
      for (const Complex x : values.elements) nearest = std::min(nearest, std::abs(x - value));
      EXPECT_LT(nearest, 1e-5) << precision << value;
    }
  }
}

TEST_F(GeneralEig, VectorsOnEitherSide) {
  for (const std::string& matrix : {with_a_pair, complex_array}) {
    const ArrayFile values = found(matrix, {"--vectors", "V.mtx", "--left", "U.mtx"});
    const ArrayFile a(matrix), right(folder.read("V.mtx")), left(folder.read("U.mtx"));
    EXPECT_EQ(right.field, "complex");
    EXPECT_LT(error_of(a, right, values, false), 1e-13);
    EXPECT_LT(error_of(a, left, values, true), 1e-13);
    expect_unit_length(right);
    expect_unit_length(left);
  }
}

TEST_F(GeneralEig, VectorsOfRealValuesAreReal) {
  const std::string triangle = array + "2 2\n3\n0\n1\n5\n";
  const ArrayFile values = found(triangle, {"--vectors", "V.mtx"}), vectors(folder.read("V.mtx"));
  EXPECT_EQ(vectors.field, "real");
  EXPECT_LT(error_of(ArrayFile(triangle), vectors, values, false), 1e-14);
}

TEST_F(GeneralEig, ResidualsAreTold) {
  folder.write("A.mtx", with_a_pair);
  const std::vector<std::string> options = {"--vectors", "V.mtx", "--left", "U.mtx", "--schur", "T.mtx"};
  EXPECT_LT(std::stod(account("residual", options)), 10);
  EXPECT_LT(std::stod(account("left residual", options)), 10);
  EXPECT_LT(std::stod(account("Schur form", options)), 10);
  EXPECT_EQ(account("eigenvalues", options), "4, all; 2 of them complex");
  EXPECT_EQ(account("found by"), "nuv_lapack_dgeev, double precision");
  EXPECT_EQ(account("found by", {"-pc", "--conditions"}), "nuv_lapack_cgeevx, complex single precision");
  EXPECT_EQ(account("found by", {"--schur", "T.mtx"}), "nuv_lapack_dgees, double precision");
}

TEST_F(GeneralEig, SchurForm) {
  for (const std::string& matrix : {with_a_pair, complex_array}) {
    const ArrayFile values = found(matrix, {"--schur", "T.mtx", "--schur-vectors", "Z.mtx"});
    const ArrayFile a(matrix), t(folder.read("T.mtx")), z(folder.read("Z.mtx"));
    EXPECT_EQ(t.field, a.field);
    const int n = a.rows;
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        Complex difference = 0, inner = i == j ? -1 : 0;
        for (int k = 0; k < n; ++k) {
          difference += a(i, k) * z(k, j) - z(i, k) * t(k, j);
          inner += std::conj(z(k, i)) * z(k, j);
        }
        EXPECT_LT(std::abs(difference), 1e-13);
        EXPECT_LT(std::abs(inner), 1e-14);
        const bool in_a_block = i == j + 1 && values(j, 0).imag() > 0 && a.field == "real";
        if (i > j) {
          EXPECT_EQ(t(i, j) != 0.0, in_a_block) << i << j;
        }
      }
    }
  }
}

TEST_F(GeneralEig, ConditionsOfTheMostSensitive) {
  // With y^H x = 1 / sqrt(1 + 1000^2) for the first two values, and one for the third, which stands apart.
  folder.write("A.mtx", array + "3 3\n1\n0\n0\n1000\n2\n0\n0\n0\n7\n");
  EXPECT_EQ(account("condition", {"--conditions"}), "1e+03 of value 1, 1: off by up to 2.2e-10, its vector by 2.2e-13");
  const ChildResult result = run({"--conditions"});
  EXPECT_NE(result.error.find("1 of value 3, 7: off by up to 2.2e-13"), std::string::npos) << result.error;

  const ChildResult json = run({"--conditions", "--json", "-o", "w.mtx"});
  for (const char* words : {"\"conditions\": [\n    1000.000", "\"separations\": ["}) {
    EXPECT_NE(json.output.find(words), std::string::npos) << json.output;
  }
}

TEST_F(GeneralEig, SymmetricWhereItCountsAsGeneral) {
  const std::string symmetric = array + "2 2\n2\n1\n1\n2\n";
  EXPECT_EQ(found(symmetric, {"--general"}).field, "real");
  EXPECT_EQ(account("found by", {"--general"}), "nuv_lapack_dgeev, double precision");
  EXPECT_EQ(account("found by", {}), "nuv_lapack_dsyev, double precision");
  EXPECT_EQ(account("found by", {"--left", "U.mtx"}), "nuv_lapack_dgeev, double precision");
}

TEST_F(GeneralEig, EmptyMatrix) {
  EXPECT_EQ(found(array + "0 0\n", {"--general", "--vectors", "V.mtx", "--schur", "T.mtx"}).rows, 0);
}

TEST_F(GeneralEig, OptionsOfOneKindAlone) {
  refuse(with_a_pair, {"--left", "U.mtx", "--index", "1:2"}, 2,
         "--left is for general matrices, --index for symmetric ones (nuv help eig tells more)");
  refuse(with_a_pair, {"--general", "--with", "A.mtx", "--type", "2"}, 2,
         "--general is for general matrices, --type for symmetric ones (nuv help eig tells more)");
  refuse(with_a_pair, {"--conditions", "--method", "dc"}, 2,
         "--conditions is for general matrices, --method for symmetric ones (nuv help eig tells more)");
  refuse(with_a_pair, {"--range", "0:1"}, 1, "A.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
}

TEST_F(GeneralEig, PictureInThePlane) {
  folder.write("A.mtx", array + "2 2\n0\n-1\n1\n0\n");
  const std::string script = script_of_picture();
  EXPECT_NE(script.find("set ylabel 'imaginary part'"), std::string::npos) << script;
  EXPECT_NE(script.find("\n0 1\n0 -1\ne\n"), std::string::npos) << script;
}

}  // namespace
}  // namespace nuv::test
