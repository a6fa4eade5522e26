// The matrices by description are what their descriptions say.

#include "support/described_matrices.hpp"

#include <cmath>

#include "support/reported_errors.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

template <class T>
class Described : public ReportingTest {
 protected:
  DescribedMatrices matrices{7};
};
TYPED_TEST_SUITE(Described, Precisions, PrecisionLetter);

template <Scalar T>
void expect_band(const Description& description, const GuardedMatrix<T>& A) {
  Int nonzeros = 0;
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      if (A(i, j) == T(0)) continue;
      ++nonzeros;
      EXPECT_TRUE(i - j <= description.lower && j - i <= description.upper) << i << ", " << j;
    }
  }
  EXPECT_EQ(nonzeros > 0, description.rank > 0);
}

/// How much smaller the last row is than the first, or the last column, as a power of eps.
template <Scalar T>
double measured_grade(const WideMatrix<T>& first, const WideMatrix<T>& last) {
  return std::log(double(last.norm() / first.norm())) / std::log(double(epsilon<T>));
}

/// Values in decreasing order agree with the rank and the condition. Roundings leave errors of some n eps.
template <Scalar T, class Values>
void expect_values(const Description& description, const Values& values) {
  using R = WideReal<T>;
  const Int n = Int(values.size()), rank = DescribedMatrices::rank(description, n);
  const R rounding = R(10 * n * epsilon<T>);
  const R smallest = std::pow(R(epsilon<T>), R(description.condition));
  for (Int k = rank; k < n; ++k) EXPECT_LE(values(k), rounding) << k;
  if (description.mode == 5) {
    EXPECT_LE(values(0), 1 + rounding);
    EXPECT_GE(values(n - 1), smallest - rounding);
    EXPECT_LE(values(n - 1), std::sqrt(smallest));
    return;
  }
  EXPECT_NEAR(double(values(0)), rank > 0 ? 1 : 0, double(rounding));
  if (rank == n) {
    EXPECT_NEAR(double(values(n - 1)), double(smallest), double(rounding));
  } else if (rank > 0) {
    EXPECT_GE(values(rank - 1), smallest - rounding);
    EXPECT_GT(values(rank - 1), 10 * rounding);
  }
}

TYPED_TEST(Described, GeneralMatricesAreWhatTheirDescriptionsSay) {
  using T = TypeParam;
  const auto expect_described = [&](const Description& description, Int m, Int n) {
    SCOPED_TRACE(testing::Message() << description.name << ", " << m << " by " << n);
    const GuardedMatrix<T> A = this->matrices.template general<T>(description, m, n, m + 1);
    const WideMatrix<T> W = wide(A);
    EXPECT_TRUE(W.allFinite());
    EXPECT_TRUE(A.unchanged());
    expect_band(description, A);
    if (!description.is_graded()) {
      expect_values<T>(description, wide_singular_values<T>(W));
    } else if (description.lower == all_diagonals) {
      // The norms of lines of that many random numbers differ by less than a factor of two.
      const double within = std::log(2.0) / -std::log(double(epsilon<T>));
      const WideMatrix<T> row = W.row(0), last_row = W.row(m - 1), column = W.col(0), last_column = W.col(n - 1);
      if (description.column_grade == 0) {
        EXPECT_NEAR(measured_grade<T>(row, last_row), description.row_grade, within);
      }
      if (description.row_grade == 0) {
        EXPECT_NEAR(measured_grade<T>(column, last_column), description.column_grade, within);
      }
    }
  };
  for (const Description& description : matrices_of_full_rank) {
    expect_described(description, 40, 40);
    expect_described(description, 50, 30);
    expect_described(description, 30, 50);
  }
  for (const Description& description : rank_deficient_matrices) {
    expect_described(description, 40, 40);
    expect_described(description, 50, 30);
  }
}

TYPED_TEST(Described, DefiniteMatricesAreWhatTheirDescriptionsSay) {
  using T = TypeParam;
  for (const Description& description : definite_matrices) {
    SCOPED_TRACE(description.name);
    const GuardedMatrix<T> A = this->matrices.template hermitian<T>(description, 40, 43);
    const WideMatrix<T> W = wide(A);
    EXPECT_EQ(W, WideMatrix<T>(W.adjoint()));
    expect_band(description, A);
    if (description.is_graded()) {
      // Scaled to a diagonal of ones it is well-conditioned.
      const auto scale = W.diagonal().real().cwiseSqrt().cwiseInverse().eval();
      const WideMatrix<T> scaled = scale.asDiagonal() * W * scale.asDiagonal();
      EXPECT_GT(wide_eigenvalues<T>(scaled)(0), 0.05);
      EXPECT_NEAR(std::log(double(std::real(W(39, 39) / W(0, 0)))) / std::log(double(epsilon<T>)),
                  2 * description.row_grade, 1e-3);
    } else {
      expect_values<T>(description, wide_eigenvalues<T>(W).reverse().eval());
    }
  }
}

TYPED_TEST(Described, SameSeedSameMatrices) {
  using T = TypeParam;
  for (const Description& description : {matrices_of_full_rank[0], matrices_of_full_rank[4]}) {
    DescribedMatrices matrices(7), same(7), other(8);
    const auto A = matrices.general<T>(description, 8, 6, 9);
    EXPECT_TRUE(A.same_as(same.general<T>(description, 8, 6, 9)));
    EXPECT_FALSE(A.same_as(same.general<T>(description, 8, 6, 9)));
    EXPECT_FALSE(A.same_as(other.general<T>(description, 8, 6, 9)));
  }
}

}  // namespace
}  // namespace nuv::test
