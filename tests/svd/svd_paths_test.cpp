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
        const SvdSizes sizes = call.sizes();
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

// --------------------------------------------------------------------------------------------------- what is left in A

/// The factorisation by itself.
template <Scalar T>
GuardedMatrix<T> factorisation(bool tall, const GuardedMatrix<T>& A) {
  GuardedMatrix<T> factored = A;
  GuardedVector<T> tau(k), work(32 * k);
  Int info = 99;
  if (tall) {
    layer::geqrf(A.rows(), A.columns(), Matrix<T>(factored), tau.data(), work.data(), work.size(), info);
  } else {
    routine_call::gelqf(A.rows(), A.columns(), Matrix<T>(factored), tau.data(), work.data(), work.size(), info);
  }
  EXPECT_EQ(info, 0);
  return factored;
}

/// A matrix read as a tall one: element j of long vector i, which is a row of a wide matrix.
template <Scalar T>
class LongVectors {
 public:
  LongVectors(bool tall, const GuardedMatrix<T>& A) : tall_(tall), A_(A) {}

  Int length() const { return tall_ ? A_.rows() : A_.columns(); }
  T operator()(Int j, Int i) const { return tall_ ? A_(j, i) : A_(i, j); }

  bool equals(const LongVectors& other, auto is_compared) const {
    for (Int i = 1; i <= k; ++i) {
      for (Int j = 1; j <= length(); ++j) {
        if (is_compared(j, i) && !((*this)(j, i) == other(j, i))) return false;
      }
    }
    return true;
  }

 private:
  bool tall_;
  const GuardedMatrix<T>& A_;
};

constexpr auto behind_square = [](Int j, Int) { return j > k; };
constexpr auto in_square = [](Int j, Int) { return j <= k; };
constexpr auto in_triangle = [](Int j, Int i) { return j <= i; };

/// Whether A = Q R or L Q with Q behind the square of a.
template <Scalar T>
bool holds_q(bool tall, const GuardedMatrix<T>& a, const GuardedMatrix<T>& A, const GuardedMatrix<T>& factored) {
  const LongVectors<T> Q(tall, a), given(tall, A), triangle(tall, factored);
  for (Int i = 1; i <= k; ++i) {
    for (Int j = k + 1; j <= given.length(); ++j) {
      Wide<T> sum = 0;
      for (Int p = 1; p <= i; ++p) sum += wide(Q(j, p)) * wide(triangle(p, i));
      if (!(std::abs(sum - wide(given(j, i))) < 100 * epsilon<T>)) return false;
    }
  }
  return true;
}

/// What a path leaves in a, in words.
template <Scalar T>
std::string left_in_a(bool tall, const SvdCall<T>& solved, const GuardedMatrix<T>& A) {
  const GuardedMatrix<T> factored = factorisation(tall, A);
  const GuardedMatrix<T>&long_array = tall ? solved.U : solved.VT, &short_array = tall ? solved.VT : solved.U;
  const char of_long = tall ? solved.jobu : solved.jobvt, of_short = tall ? solved.jobvt : solved.jobu;
  const LongVectors<T> a(tall, solved.A), factors(tall, factored);
  std::string words;
  if (a.equals(factors, behind_square)) words += "reflectors ";
  if (a.equals(factors, in_triangle)) words += "factor ";
  if (holds_q(tall, solved.A, A, factored)) words += "Q ";
  if (SvdCall<T>::has_array(of_long) && a.equals({tall, long_array}, behind_square)) words += "product ";
  if (SvdCall<T>::has_array(of_short) && a.equals({tall, short_array}, in_square)) words += "vectors ";
  return words;
}

TYPED_TEST(SvdPaths, LeaveTheirTracesInTheMatrix) {
  using T = TypeParam;
  struct Left {
    char of_long, of_short;
    const char *with_blocks, *without;
  };
  constexpr Left all[] = {
      {'N', 'N', "reflectors ", "reflectors "},
      {'N', 'O', "reflectors ", "reflectors "},
      {'N', 'S', "reflectors vectors ", "reflectors vectors "},
      {'N', 'A', "reflectors vectors ", "reflectors vectors "},
      {'S', 'N', "Q ", "reflectors "},
      {'S', 'O', "Q ", "reflectors "},
      {'S', 'S', "Q ", "reflectors factor "},
      {'S', 'A', "Q ", "reflectors factor "},
      {'A', 'N', "product ", "reflectors "},
      {'A', 'O', "product ", "reflectors "},
      {'A', 'S', "product ", "reflectors factor "},
      {'A', 'A', "product ", "reflectors factor "},
      {'O', 'N', "", ""},
      {'O', 'S', "", ""},
      {'O', 'A', "", ""},
  };
  for (const bool tall : {true, false}) {
    const GuardedMatrix<T> A = this->matrix(tall, l, k), shorter = this->matrix(tall, l - 1, k);
    for (const auto& [of_long, of_short, with_blocks, without] : all) {
      SCOPED_TRACE(testing::Message() << (tall ? "tall " : "wide ") << of_long << of_short);
      const SvdCall<T> call = call_by_length(tall, of_long, of_short, A);
      const SvdSizes sizes = call.sizes();
      if (sizes.least < sizes.blocks) {
        EXPECT_EQ(left_in_a(tall, solved(call, sizes.least), A), without);
        EXPECT_EQ(left_in_a(tall, solved(call, sizes.blocks - 1), A), without);
      }
      EXPECT_EQ(left_in_a(tall, solved(call, sizes.blocks), A), with_blocks);
      EXPECT_EQ(left_in_a(tall, solved(call, sizes.best), A), with_blocks);

      const SvdCall<T> direct = call_by_length(tall, of_long, of_short, shorter);
      EXPECT_EQ(left_in_a(tall, solved(direct, direct.best()), shorter), "");
    }
  }
}

// -------------------------------------------------------------------------------------------------------- the
// workspace

/// A square block of the workspace, but for its first element, which tells a size in the end.
template <Scalar T>
GuardedMatrix<T> block_of_work(const SvdCall<T>& solved, Int offset, Int ld) {
  GuardedMatrix<T> W(k, k, k);
  for (Int j = 1; j <= k; ++j) {
    for (Int i = 1; i <= k; ++i) W(i, j) = solved.work(offset + i + (j - 1) * ld);
  }
  return W;
}

/// Blocks stand in front of the workspace, with the leading dimension of a where there is room for it beside what the
/// steps ask for: first the long vectors of the factor, then the short ones that are to overwrite a.
TYPED_TEST(SvdPaths, LeaveBlocks) {
  using T = TypeParam;
  for (const bool tall : {true, false}) {
    const GuardedMatrix<T> A = this->matrix(tall, l, k);
    for (const char of_long : {'S', 'A', 'O'}) {
      for (const char of_short : svd_jobs) {
        const bool has_second = of_short == 'O';
        if (of_long == 'O' && has_second) continue;
        const SvdCall<T> call = call_by_length(tall, of_long, of_short, A);
        const SvdSizes sizes = call.sizes();
        const Int lda = call.lda;
        struct Room {
          Int lwork, first, second;
        };
        const Int mixed = sizes.steps + (has_second ? lda + k : lda) * k, both = sizes.steps + 2 * lda * k;
        for (const auto [lwork, first, second] : {Room{sizes.best, k, k}, Room{mixed - 1, k, k}, Room{mixed, lda, k},
                                                  Room{both - 1, lda, k}, Room{both, lda, lda}}) {
          SCOPED_TRACE(testing::Message() << (tall ? "tall " : "wide ") << of_long << of_short << ", lwork " << lwork);
          const SvdCall<T> result = solved(call, lwork);
          const WideMatrix<T> W = wide(block_of_work(result, 0, first));
          const WideMatrix<T> long_vectors = tall ? W : WideMatrix<T>(W.adjoint());
          EXPECT_LT(orthonormality<T>(long_vectors.rightCols(k - 1)), 10);
          if (!has_second) continue;
          const GuardedMatrix<T> V = block_of_work(result, first * k, second);
          for (Int j = 1; j <= k; ++j) {
            for (Int i = 1; i <= k; ++i) EXPECT_EQ(V(i, j), result.A(i, j));
          }
        }
      }
    }
  }
}

/// The vectors of much longer matrices are multiplied at once where there is room for all of them, whatever the leading
/// dimension of a.
TYPED_TEST(SvdPaths, MultiplyInPlaceAtOnceWhereThereIsRoom) {
  using T = TypeParam;
  constexpr Int longest = 100;
  constexpr Int e = RealScalar<T> ? k : 0, all = k * k + longest * k + e;
  for (const bool tall : {true, false}) {
    const SvdCall<T> call = call_by_length(tall, 'O', 'N', this->matrix(tall, longest, k));
    ASSERT_EQ(call.best(), all);
    const Int second_ld = all - k * k + call.lda * k;
    for (const auto& [lwork, first] : {std::pair{all - 1, longest - 1},
                                       {all, longest},
                                       {second_ld - 1, longest},
                                       {second_ld, longest},
                                       {second_ld + 1000, longest}}) {
      solved(call, lwork);
      const auto part = [=](Int count) {
        return tall ? sized("gemm NN", {count, k, k}) : sized("gemm NN", {k, count, k});
      };
      Calls expected = tall ? Calls{sized("geqrf", {longest, k})} : Calls{};
      expected.push_back(part(first));
      if (first < longest) expected.push_back(part(longest - first));
      EXPECT_EQ(ways_taken(), expected) << (tall ? "tall, lwork " : "wide, lwork ") << lwork;
    }
  }
}

}  // namespace
}  // namespace nuv::test
