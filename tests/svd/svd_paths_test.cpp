// The ways that the driver for singular values by QR iteration takes: seen by the calls that reach the thread layer,
// and by what it leaves in its arrays.

#include "layer.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"
#include "svd/svd_calls.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class SvdPaths : public ReportingTest {
 protected:
  /// With rows more than columns, or the other way round.
  GuardedMatrix<T> matrix(bool tall, Int longer, Int shorter) {
    const Int m = tall ? longer : shorter, n = tall ? shorter : longer;
    return random_matrix<T>(random, m, n, m + 2);
  }

  Random random{71};
};
TYPED_TEST_SUITE(SvdPaths, Precisions, PrecisionLetter);

constexpr Int k = 5, l = 8;  // 1.6 times as many

std::string sized(const std::string& call, std::initializer_list<Int> sizes) {
  std::string text = call;
  for (const Int size : sizes) text += ' ' + std::to_string(size);
  return text;
}

/// The call that has the long vectors by that job, and the short ones by the other.
template <Scalar T>
SvdCall<T> call_by_length(bool tall, char of_long, char of_short, const GuardedMatrix<T>& A) {
  return tall ? SvdCall<T>(of_long, of_short, A) : SvdCall<T>(of_short, of_long, A);
}

template <Scalar T>
SvdSizes sizes_of(const SvdCall<T>& call) {
  return svd_sizes<T>(call.jobu, call.jobvt, call.m, call.n);
}

/// Factorisations, products with Q, and products of the long vectors of the factor with it, which are not those that
/// products with Q are made of.
Calls ways_taken() {
  Calls ways;
  bool in_product_with_q = false;
  for (const std::string& call : take_recorded_calls()) {
    const bool is_product_with_q = call.starts_with("orm");
    in_product_with_q |= is_product_with_q;
    if (is_product_with_q || call.starts_with("geqrf") || (call.starts_with("gemm NN") && !in_product_with_q)) {
      ways.push_back(call);
    }
  }
  return ways;
}

template <Scalar T>
SvdCall<T> solved(const SvdCall<T>& call, Int lwork) {
  take_recorded_calls();
  SvdCall<T> result = call.solved(lwork);
  EXPECT_EQ(result.info, 0);
  return result;
}

/// Where long vectors are wanted, Q is multiplied by those of the square factor: as a matrix if there is room for one,
/// else by their reflectors.
TYPED_TEST(SvdPaths, FactorLongMatricesFirst) {
  using T = TypeParam;
  for (const bool tall : {true, false}) {
    const GuardedMatrix<T> A = this->matrix(tall, l, k);
    for (const char of_long : {'S', 'A', 'O'}) {
      for (const char of_short : svd_jobs) {
        if (of_long == 'O' && of_short == 'O') continue;
        SCOPED_TRACE(testing::Message() << (tall ? "tall " : "wide ") << of_long << of_short);
        const SvdCall<T> call = call_by_length(tall, of_long, of_short, A);
        const SvdSizes sizes = sizes_of(call);
        const Calls factored = tall ? Calls{sized("geqrf", {l, k})} : Calls{};

        if (sizes.least < sizes.blocks) {
          Calls reflected = factored;
          reflected.push_back(tall ? sized("ormqr RN", {l, k, k}) : sized("ormlq LN", {k - 1, l, k - 1}));
          if (of_long == 'O' && of_short == 'N') reflected.clear();  // there is no place for the factor
          solved(call, sizes.blocks - 1);
          EXPECT_EQ(ways_taken(), reflected);
        }
        for (const Int lwork : {sizes.blocks, sizes.best, sizes.best + 2 * call.lda * k}) {
          const Int in_front = k * k + (RealScalar<T> ? k : 0);
          const Int most = of_long != 'O' ? l : std::min(l, (lwork - in_front) / k);
          Calls multiplied = factored;
          for (Int done = 0; done < l; done += most) {
            const Int count = std::min(most, l - done);
            multiplied.push_back(tall ? sized("gemm NN", {count, k, k}) : sized("gemm NN", {k, count, k}));
          }
          solved(call, lwork);
          EXPECT_EQ(ways_taken(), multiplied) << lwork;
        }
      }
    }
  }
}

TYPED_TEST(SvdPaths, ReduceOthersDirectly) {
  using T = TypeParam;
  for (const bool tall : {true, false}) {
    const GuardedMatrix<T> A = this->matrix(tall, l - 1, k);
    for (const char of_long : svd_jobs) {
      for (const char of_short : svd_jobs) {
        if (of_long == 'O' && of_short == 'O') continue;
        const SvdCall<T> call = call_by_length(tall, of_long, of_short, A);
        solved(call, call.best());
        EXPECT_EQ(ways_taken(), Calls()) << (tall ? "tall " : "wide ") << of_long << of_short;
      }
    }
  }
}

/// Whether what stands outside of the square, or its transpose, is that of the factorisation, bit by bit.
template <Scalar T>
bool holds_reflectors_of_factorisation(const SvdCall<T>& solved, const GuardedMatrix<T>& A) {
  GuardedMatrix<T> factored = A;
  GuardedVector<T> tau(k), work(32 * k);
  Int info = 99;
  const bool tall = A.rows() >= A.columns();
  if (tall) {
    layer::geqrf(A.rows(), A.columns(), Matrix<T>(factored), tau.data(), work.data(), work.size(), info);
  } else {
    routine_call::gelqf(A.rows(), A.columns(), Matrix<T>(factored), tau.data(), work.data(), work.size(), info);
  }
  for (Int i = k + 1; i <= std::max(A.rows(), A.columns()); ++i) {
    for (Int j = 1; j <= k; ++j) {
      if (tall ? solved.A(i, j) != factored(i, j) : solved.A(j, i) != factored(j, i)) return false;
    }
  }
  return true;
}

TYPED_TEST(SvdPaths, FactorLongMatricesFirstForValuesAndShortVectors) {
  using T = TypeParam;
  for (const bool tall : {true, false}) {
    for (const char of_short : svd_jobs) {
      SCOPED_TRACE(testing::Message() << (tall ? "tall " : "wide ") << of_short);
      const GuardedMatrix<T> longer = this->matrix(tall, l, k), shorter = this->matrix(tall, l - 1, k);
      const SvdCall<T> call = call_by_length(tall, 'N', of_short, longer);
      for (const Int lwork : {sizes_of(call).least, call.best()}) {
        EXPECT_TRUE(holds_reflectors_of_factorisation(solved(call, lwork), longer)) << lwork;
      }
      const SvdCall<T> direct = call_by_length(tall, 'N', of_short, shorter);
      EXPECT_FALSE(holds_reflectors_of_factorisation(solved(direct, direct.best()), shorter));
    }
  }
}

/// A square block of the workspace, but for its first element, which tells a size in the end.
template <Scalar T>
GuardedMatrix<T> block_of_work(const SvdCall<T>& solved, Int offset, Int ld) {
  GuardedMatrix<T> W(k, k, k);
  for (Int j = 1; j <= k; ++j) {
    for (Int i = 1; i <= k; ++i) W(i, j) = solved.work(offset + i + (j - 1) * ld);
  }
  return W;
}

/// ||Q W - X|| / eps without the first vector, for rows ||W Q - X||.
template <Scalar T>
double distance(bool tall, const WideMatrix<T>& Q, const WideMatrix<T>& W, const WideMatrix<T>& X) {
  const WideMatrix<T> rest = (tall ? product<T>(Q, W) : product<T>(W, Q)) - X;
  return double(tall ? rest.rightCols(k - 1).norm() : rest.bottomRows(k - 1).norm()) / epsilon<T>;
}

/// Q is left in a where the vectors that are asked for are as many, and blocks in front of the workspace, with the
/// leading dimension of a where there is room for it.
TYPED_TEST(SvdPaths, LeaveQAndBlocks) {
  using T = TypeParam;
  for (const bool tall : {true, false}) {
    const GuardedMatrix<T> A = this->matrix(tall, l, k);
    for (const char of_short : svd_jobs) {
      const SvdCall<T> call = call_by_length(tall, 'S', of_short, A);
      const SvdSizes sizes = sizes_of(call);
      const Int lda = call.lda;
      const bool has_second = of_short == 'O';
      struct Room {
        Int lwork, first, second;
      };
      const Int mixed = sizes.steps + (has_second ? lda + k : lda) * k, both = sizes.steps + 2 * lda * k;
      for (const auto [lwork, first, second] : {Room{sizes.best, k, k}, Room{mixed - 1, k, k}, Room{mixed, lda, k},
                                                Room{both - 1, lda, k}, Room{both, lda, lda}}) {
        SCOPED_TRACE(testing::Message() << (tall ? "tall S" : "wide S") << of_short << ", lwork " << lwork);
        const SvdCall<T> result = solved(call, lwork);
        const WideMatrix<T> W = wide(block_of_work(result, 0, first));
        const WideMatrix<T> X = tall ? result.left() : result.right();
        if (has_second) {
          const GuardedMatrix<T> V = block_of_work(result, first * k, second);
          for (Int j = 1; j <= k; ++j) {
            for (Int i = 1; i <= k; ++i) EXPECT_EQ(V(i, j), result.A(i, j));
          }
        } else {
          EXPECT_LT(distance<T>(tall, wide(result.A), W, X), 100);
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
