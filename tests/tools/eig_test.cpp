// Runs `nuv eig` on matrices whose eigenvalues are known.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "spectrum_command.hpp"

namespace nuv::test {
namespace {

const std::string symmetric = "%%MatrixMarket matrix coordinate real symmetric\n";
const std::string diagonal = symmetric + "4 4 4\n1 1 3\n2 2 1\n3 3 2\n4 4 -5\n";

class Eig : public SpectrumCommand {
 protected:
  Eig() : SpectrumCommand("eig") {}
};

/// Twos on the diagonal, ones beside it.
std::string one_two_one(int n) {
  std::string text = symmetric + std::to_string(n) + " " + std::to_string(n) + " " + std::to_string(2 * n - 1) + "\n";
  for (int k = 1; k <= n; ++k) {
    text += std::to_string(k) + " " + std::to_string(k) + " 2\n";
    if (k < n) text += std::to_string(k + 1) + " " + std::to_string(k) + " 1\n";
  }
  return text;
}

double value_of_one_two_one(int n, int k) {
  const double sine = std::sin(k * std::numbers::pi / (2 * n + 2));
  return 4 * sine * sine;
}

TEST_F(Eig, ValuesAscend) {
  EXPECT_EQ(values(diagonal), (std::vector<double>{-5, 1, 2, 3}));
  const int n = 40;
  for (const char* method : {"qr", "dc", "mrrr"}) {
    for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
      const auto found = values(one_two_one(n), {"--method", method, precision});
      ASSERT_EQ(found.size(), std::size_t(n)) << method << precision;
      for (int k = 1; k <= n; ++k) EXPECT_NEAR(found[std::size_t(k - 1)], value_of_one_two_one(n, k), 2e-5) << k;
    }
  }
}

TEST_F(Eig, MatricesWithoutOrder) {
  EXPECT_EQ(values(array + "0 0\n"), std::vector<double>());
  EXPECT_EQ(values(array + "1 1\n-3\n"), std::vector<double>{-3});
}

TEST_F(Eig, MethodFollowsFromWhatIsWanted) {
  folder.write("A.mtx", one_two_one(30));
  folder.write("B.mtx", one_two_one(30));
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{}, "nuv_lapack_dsyev, double precision"},
      {{"-pz"}, "nuv_lapack_zheev, complex double precision"},
      {{"--vectors", "z.mtx"}, "nuv_lapack_dsyevd, double precision"},
      {{"-ps", "--index", "2:3"}, "nuv_lapack_ssyevr, single precision"},
      {{"-pc", "--range", "0:1"}, "nuv_lapack_cheevr, complex single precision"},
      {{"--method", "mrrr"}, "nuv_lapack_dsyevr, double precision"},
      {{"--vectors", "z.mtx", "--method", "qr"}, "nuv_lapack_dsyev, double precision"},
      {{"--with", "B.mtx"}, "nuv_lapack_dsygv, double precision"},
      {{"--with", "B.mtx", "--vectors", "z.mtx"}, "nuv_lapack_dsygvd, double precision"},
      {{"--with", "B.mtx", "-pz", "--index", "1:2"}, "nuv_lapack_zhegvx, complex double precision"},
  };
  for (const auto& [options, words] : cases) EXPECT_EQ(account("found by", options), words);
}

TEST_F(Eig, PartOfTheValues) {
  EXPECT_EQ(values(diagonal, {"--range", "1:3"}), (std::vector<double>{2, 3})) << "above 1, not above 3";
  EXPECT_EQ(values(diagonal, {"--range=-6:-4.5"}), std::vector<double>{-5});
  EXPECT_EQ(values(diagonal, {"--range", "5:6"}), std::vector<double>());
  EXPECT_EQ(values(diagonal, {"--index", "2:3"}), (std::vector<double>{1, 2}));
  EXPECT_EQ(values(diagonal, {"--index", "4:4"}), std::vector<double>{3});
  EXPECT_EQ(account("eigenvalues", {"--range", "1:3"}), "2 of 4: above 1, not above 3");
  EXPECT_EQ(account("eigenvalues", {"--index", "2:3"}), "2 of 4: number 2 to number 3");
  EXPECT_EQ(account("eigenvalues", {}), "4, all");
}

/// In units of half the distance of neighbouring numbers.
constexpr double threshold = 20;

TEST_F(Eig, VectorsBelongToTheirValues) {
  for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
    for (const std::vector<std::string>& way : std::vector<std::vector<std::string>>{
             {"--method", "qr"}, {"--method", "dc"}, {"--method", "mrrr"}, {"--index", "3:9"}}) {
      folder.write("A.mtx", one_two_one(25));
      std::vector<std::string> options = way;
      options.insert(options.end(), {"--vectors", "z.mtx", precision});
      EXPECT_LT(std::stod(account("residual", options)), threshold) << precision;
      EXPECT_LT(std::stod(account("orthogonality", options)), threshold) << precision;
    }
  }
  values(diagonal, {"--vectors", "z.mtx", "--index", "2:3"});
  const auto z = numbers(folder.read("z.mtx"));
  ASSERT_EQ(z.size(), 8u);
  for (std::size_t k = 0; k < z.size(); ++k) EXPECT_EQ(std::abs(z[k]), k == 1 || k == 6 ? 1 : 0) << k;
}

TEST_F(Eig, GeneralisedProblems) {
  folder.write("B.mtx", symmetric + "2 2 2\n1 1 1\n2 2 4\n");
  const std::string a = symmetric + "2 2 2\n1 1 2\n2 2 12\n";
  const std::vector<std::vector<double>> expected = {{2, 3}, {2, 48}, {2, 48}};
  for (int type = 1; type <= 3; ++type) {
    for (const char* precision : {"-ps", "-pd", "-pc", "-pz"}) {
      std::vector<std::string> options = {"--with", "B.mtx", "--type", std::to_string(type), precision};
      const auto found = values(a, options);
      ASSERT_EQ(found.size(), 2u);
      for (std::size_t k = 0; k < 2; ++k) EXPECT_NEAR(found[k], expected[std::size_t(type - 1)][k], 1e-4) << type;
      options.insert(options.end(), {"--vectors", "z.mtx"});
      EXPECT_LT(std::stod(account("residual", options)), threshold) << type << precision;
      EXPECT_LT(std::stod(account("orthogonality", options)), threshold) << type << precision;
      options.insert(options.end(), {"--index", "2:2"});
      EXPECT_NEAR(values(a, options).at(0), expected[std::size_t(type - 1)][1], 1e-4);
    }
  }
}

TEST_F(Eig, VectorsHaveLengthOneInTheInnerProductOfB) {
  folder.write("B.mtx", array + "1 1\n4\n");
  for (const auto& [type, length] : {std::pair("1", 0.5), std::pair("2", 0.5), std::pair("3", 2.)}) {
    values(array + "1 1\n8\n", {"--with", "B.mtx", "--type", type, "--vectors", "z.mtx"});
    EXPECT_NEAR(std::abs(numbers(folder.read("z.mtx")).at(0)), length, 1e-15) << type;
  }
}

TEST_F(Eig, PartnersThatDoNotFit) {
  folder.write("B.mtx", symmetric + "2 2 2\n1 1 1\n2 2 -4\n");
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{"--method", "qr"}, {"--type", "3"}, {"--index", "1:1"}}) {
    std::vector<std::string> all = {"--with", "B.mtx"};
    all.insert(all.end(), options.begin(), options.end());
    refuse(array + "2 2\n1\n0\n0\n1\n", all, 1,
           "B.mtx: the matrix is not positive definite: its leading minor of order 2 is not positive");
  }
  refuse(array + "1 1\n1\n", {"--with", "B.mtx"}, 1, "B.mtx:2: the matrix is 2 by 2, its partner is of order 1");
}

TEST_F(Eig, HermitianMatricesAreTaken) {
  // [2 i; -i 2]
  EXPECT_EQ(values("%%MatrixMarket matrix array complex hermitian\n2 2\n2 0\n0 -1\n2 0\n").size(), 2u);
  const auto found = values("%%MatrixMarket matrix array complex general\n2 2\n2 0\n0 -1\n0 1\n2 0\n");
  EXPECT_NEAR(found.at(0), 1, 1e-15);
  EXPECT_NEAR(found.at(1), 3, 1e-15);
}

TEST_F(Eig, OtherMatricesAreRefusedWhereOrderIsWanted) {
  refuse(array + "2 2\n1\n2\n3\n4\n", {"--index", "1:1"}, 1,
         "A.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
  refuse("%%MatrixMarket matrix array complex symmetric\n2 2\n1 0\n0 1\n1 0\n", {"--range", "0:1"}, 1,
         "A.mtx: the matrix is not Hermitian: A(2,1) is not the conjugate of A(1,2)");
  refuse("%%MatrixMarket matrix array real skew-symmetric\n2 2\n1\n", {"--method", "qr"}, 1,
         "A.mtx: the matrix is not symmetric: A(2,1) is not A(1,2)");
  refuse(array + "1 2\n1\n2\n", {}, 1, "A.mtx:2: the matrix is 1 by 2, an eigenvalue needs a square one");
}

TEST_F(Eig, IndexBeyondTheOrderIsWrongUsage) {
  refuse(diagonal, {"--index", "3:5"}, 2, "--index '3:5': the matrix is of order 4 (nuv help eig tells more)");
}

TEST_F(Eig, PictureIsDrawnByGnuplot) {
  folder.write("A.mtx", diagonal);
  const std::string script = script_of_picture();
  EXPECT_NE(script.find("\nset title 'Eigenvalues'\nset xlabel 'number, in ascending order'\n"), script.npos) << script;
  EXPECT_NE(script.find("\n1 -5\n2 1\n3 2\n4 3\n"), script.npos) << script;
  EXPECT_EQ(script.find("logscale"), script.npos) << script;
  expect_words_where_no_picture_comes();
}

TEST_F(Eig, NoValuesMakeNoPicture) {
  folder.write("A.mtx", diagonal);
  expect_no_value_to_draw({"--range", "5:6"});
}

}  // namespace
}  // namespace nuv::test
