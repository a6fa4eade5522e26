// The kernels ?sytrf_u_small and ?sytrf_l_small.

#include <cmath>
#include <vector>

#include "blas.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class SytrfSmall : public testing::Test {
 protected:
  Random random{27};
};
TYPED_TEST_SUITE(SytrfSmall, RealPrecisions, PrecisionLetter);

std::vector<Int> orders() {
  std::vector<Int> all;
  for (Int n = 0; n <= 40; ++n) all.push_back(n);
  all.insert(all.end(), {49, 63, 64, 65, 70, 130});
  return all;
}

template <RealScalar T>
Int run_kernel(char uplo, Int n, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv) {
  Int info = 12345;
  if (is_upper(uplo)) {
    blas::sytrf_u_small(uplo, n, A, ipiv.data(), info);
  } else {
    blas::sytrf_l_small(uplo, n, A, ipiv.data(), info);
  }
  return info;
}

/// What the elements of a test matrix are drawn from.
enum class Kind {
  random,
  dominant,        ///< pivots of order one without exchanges
  empty_diagonal,  ///< pivots of order two at first
  sparse,
};
constexpr Kind kinds[] = {Kind::random, Kind::dominant, Kind::empty_diagonal, Kind::sparse};

/// The whole matrix; the kernel is given one triangle of it.
template <RealScalar T>
WideMatrix<T> symmetric_matrix(Random& random, Kind kind, Int n) {
  WideMatrix<T> A(n, n);
  for (Int j = 0; j < n; ++j) {
    for (Int i = 0; i <= j; ++i) {
      T x = random.scalar<T>();
      if (kind == Kind::sparse && random.integer(0, 4) != 0) x = 0;
      if (i == j && kind == Kind::dominant) x += T(random.integer(0, 1) == 0 ? n : -n);
      if (i == j && kind == Kind::empty_diagonal) x = 0;
      A(i, j) = A(j, i) = wide(x);
    }
  }
  return A;
}

template <RealScalar T>
GuardedMatrix<T> triangle_of(const WideMatrix<T>& A, char uplo, Int ld) {
  const Int n = Int(A.rows());
  GuardedMatrix<T> triangle(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (is_in_triangle(uplo, i, j)) triangle(i, j) = T(A(i - 1, j - 1));
    }
  }
  triangle.seal();
  return triangle;
}

/// The matrix that factors and pivots stand for: P1 L1 P2 L2 ... D ... L2^T P2^T L1^T P1^T, with the L's undone from
/// the last to the first. A magnitude is formed from magnitudes.
template <RealScalar T>
WideMatrix<T> multiplied_out(char uplo, const GuardedMatrix<T>& F, const GuardedVector<Int>& ipiv, bool magnitudes) {
  const Int n = F.rows();
  const Int forward = is_upper(uplo) ? -1 : 1;
  const auto factor = [&](Int i, Int j) { return magnitudes ? std::abs(wide(F(i, j))) : wide(F(i, j)); };
  WideMatrix<T> M = WideMatrix<T>::Zero(n, n);
  std::vector<Int> starts;
  for (Int k = is_upper(uplo) ? n : 1; k >= 1 && k <= n;) {
    starts.push_back(k);
    M(k - 1, k - 1) = factor(k, k);
    if (ipiv(k) > 0) {
      k += forward;
    } else {
      const Int other = k + forward;
      M(other - 1, other - 1) = factor(other, other);
      M(other - 1, k - 1) = M(k - 1, other - 1) = factor(other, k);
      k += 2 * forward;
    }
  }
  for (auto start = starts.rbegin(); start != starts.rend(); ++start) {
    const Int k = *start;
    const Int size = ipiv(k) > 0 ? 1 : 2, last = k + forward * (size - 1);
    // L is the identity but for the rest of `size` columns.
    const WideMatrix<T> before = M;
    for (Int c = k; c != last + forward; c += forward) {
      for (Int i = last + forward; i >= 1 && i <= n; i += forward) M.row(i - 1) += factor(i, c) * before.row(c - 1);
    }
    const WideMatrix<T> between = M;
    for (Int c = k; c != last + forward; c += forward) {
      for (Int i = last + forward; i >= 1 && i <= n; i += forward) M.col(i - 1) += factor(i, c) * between.col(c - 1);
    }
    const Int exchanged = std::abs(ipiv(k));
    M.row(last - 1).swap(M.row(exchanged - 1));
    M.col(last - 1).swap(M.col(exchanged - 1));
  }
  return M;
}

/// Largest error of an element in units of n eps times the largest of |P1 L1| ... |D| ... .
template <RealScalar T>
double factor_error(char uplo, const WideMatrix<T>& A, const GuardedMatrix<T>& F, const GuardedVector<Int>& ipiv) {
  if (A.size() == 0) return 0;
  const auto scale = multiplied_out(uplo, F, ipiv, true).maxCoeff();
  const auto error = (multiplied_out(uplo, F, ipiv, false) - A).cwiseAbs().template maxCoeff<Eigen::PropagateNaN>();
  return error == 0 ? 0 : double(error / (scale * double(A.rows()) * epsilon<T>));
}

/// The pivots of the method in a wider type, by the definition. A decision that hangs on less than rounding may cause
/// makes the rest of them unknown.
template <RealScalar T>
class WidePivots {
 public:
  /// Zeros from the first decision on that is too close.
  static std::vector<Int> of(char uplo, WideMatrix<T> A) {
    // An upper triangle is a lower one with rows and columns in reverse, but for ties.
    const bool reversed = is_upper(uplo);
    const Int n = Int(A.rows());
    if (reversed) A = A.reverse().eval();
    WidePivots pivots(A);
    pivots.run();
    std::vector<Int> ipiv(n);
    for (Int k = 0; k < n; ++k) {
      const Int p = pivots.ipiv_[k];
      ipiv[reversed ? n - 1 - k : k] = p == 0 || !reversed ? p : p > 0 ? n + 1 - p : -(n + 1 + p);
    }
    return ipiv;
  }

 private:
  explicit WidePivots(WideMatrix<T> A) : n_(Int(A.rows())), A_(std::move(A)), ipiv_(std::size_t(n_)) {}

  /// a >= b, if that is beyond doubt.
  bool at_least(WideReal<T> a, WideReal<T> b) {
    if (std::abs(a - b) <= doubt * std::max(a, b)) in_doubt_ = true;
    return a >= b;
  }

  Int largest_in_column(Int from, Int column) {
    Int best = from;
    for (Int i = from + 1; i < n_; ++i) {
      if (!at_least(std::abs(A_(best, column)), std::abs(A_(i, column)))) best = i;
    }
    return best;
  }

  void run() {
    const WideReal<T> alpha = (1 + std::sqrt(WideReal<T>(17))) / 8;
    for (Int k = 0; k < n_;) {
      const auto diagonal = std::abs(A_(k, k));
      Int row = k, order = 1;
      if (k + 1 < n_) {
        // Only the value at the largest element counts, so a tie is no doubt unless that is what is exchanged.
        const Int largest = largest_in_column(k + 1, k);
        const auto column_max = std::abs(A_(largest, k));
        const bool column_in_doubt = std::exchange(in_doubt_, false);
        if (!at_least(diagonal, alpha * column_max)) {
          in_doubt_ |= column_in_doubt;
          WideReal<T> row_max = 0;
          for (Int j = k; j < n_; ++j) {
            if (j != largest) row_max = std::max(row_max, std::abs(A_(largest, j)));
          }
          if (!at_least(diagonal, alpha * column_max * (column_max / row_max))) {
            row = largest;
            order = at_least(std::abs(A_(largest, largest)), alpha * row_max) ? 1 : 2;
          }
        }
      }
      if (in_doubt_) return;
      const Int last = k + order - 1;
      A_.row(last).swap(A_.row(row));
      A_.col(last).swap(A_.col(row));
      for (Int c = k; c <= last; ++c) ipiv_[c] = order == 1 ? row + 1 : -(row + 1);
      const Int rest = n_ - last - 1;
      if (rest > 0 && A_.block(k, k, order, order).norm() > 0) {
        const WideMatrix<T> D = A_.block(k, k, order, order), X = A_.block(last + 1, k, rest, order);
        const WideReal<T> determinant = order == 1 ? D(0, 0) : D(0, 0) * D(1, 1) - D(1, 0) * D(0, 1);
        WideMatrix<T> inverse(order, order);
        if (order == 1) {
          inverse(0, 0) = 1 / determinant;
        } else {
          inverse << D(1, 1) / determinant, -D(0, 1) / determinant, -D(1, 0) / determinant, D(0, 0) / determinant;
        }
        A_.block(last + 1, last + 1, rest, rest) -= X * inverse * X.transpose();
      }
      k = last + 1;
    }
  }

  static constexpr double doubt = 1000 * epsilon<T>;

  Int n_;
  WideMatrix<T> A_;
  std::vector<Int> ipiv_;
  bool in_doubt_ = false;
};

TYPED_TEST(SytrfSmall, FactorsIndefiniteMatrices) {
  using T = TypeParam;
  int pivots = 0, known_pivots = 0, pairs = 0, exchanges = 0;
  for (const Int n : orders()) {
    for (const Kind kind : kinds) {
      for (const char uplo : uplos) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", kind " << int(kind));
        const WideMatrix<T> whole = symmetric_matrix<T>(this->random, kind, n);
        GuardedMatrix<T> A = triangle_of<T>(whole, uplo, n + 1 + this->random.integer(0, 3));
        GuardedVector<Int> ipiv(n);
        const Int info = run_kernel(uplo, n, A, ipiv);
        if (kind != Kind::sparse && !(n == 1 && kind == Kind::empty_diagonal)) {
          EXPECT_EQ(info, 0);
        }
        EXPECT_LT(factor_error<T>(uplo, whole, A, ipiv), 5);
        EXPECT_TRUE(A.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); }));
        EXPECT_TRUE(ipiv.guards_unchanged());

        if (kind == Kind::sparse) continue;  // full of ties
        const std::vector<Int> expected = WidePivots<T>::of(uplo, whole);
        for (Int k = 1; k <= n; ++k) {
          ++pivots;
          pairs += ipiv(k) < 0;
          exchanges += std::abs(ipiv(k)) != k;
          if (expected[k - 1] == 0) continue;
          ++known_pivots;
          EXPECT_EQ(ipiv(k), expected[k - 1]) << k;
        }
      }
    }
  }
  // The cases are what they are meant to be.
  EXPECT_GT(known_pivots, pivots / 2);
  EXPECT_GT(pairs, pivots / 8);
  EXPECT_GT(exchanges, pivots / 4);
}

// The first of equal elements is the largest one: of a column from the top, whichever the triangle.
TYPED_TEST(SytrfSmall, TakesTheFirstOfEqualElements) {
  using T = TypeParam;
  for (const Int n : {4, 20, 40}) {
    for (const char uplo : uplos) {
      WideMatrix<T> whole = WideMatrix<T>::Zero(n, n);
      const Int k = is_upper(uplo) ? n - 1 : 0;
      for (Int i = 0; i < n; ++i) {
        if (i != k) whole(i, k) = whole(k, i) = i % 2 == 0 ? 1 : -1;
      }
      GuardedMatrix<T> A = triangle_of<T>(whole, uplo, n);
      GuardedVector<Int> ipiv(n);
      run_kernel(uplo, n, A, ipiv);
      const Int first = is_upper(uplo) ? 1 : 2;
      EXPECT_EQ(ipiv(k + 1), -first);
      EXPECT_EQ(ipiv(is_upper(uplo) ? n - 1 : 2), -first);
    }
  }
}

// A pivot of zero with nothing beside it is told and passed by.
TYPED_TEST(SytrfSmall, TellsTheFirstZeroColumnAndGoesOn) {
  using T = TypeParam;
  for (const Int n : {1, 2, 5, 17, 40}) {
    for (const char uplo : uplos) {
      for (Int k = 1; k <= n; ++k) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", column " << k);
        WideMatrix<T> whole = symmetric_matrix<T>(this->random, Kind::dominant, n);
        whole.row(k - 1).setZero();
        whole.col(k - 1).setZero();
        if (n > 5) {  // a second one, met later
          const Int other = is_upper(uplo) ? 1 : n;
          whole.row(other - 1).setZero();
          whole.col(other - 1).setZero();
        }
        GuardedMatrix<T> A = triangle_of<T>(whole, uplo, n);
        GuardedVector<Int> ipiv(n);
        EXPECT_EQ(run_kernel(uplo, n, A, ipiv), k);
        EXPECT_EQ(ipiv(k), k);
        EXPECT_LT(factor_error<T>(uplo, whole, A, ipiv), 5);
      }
    }
  }
}

TYPED_TEST(SytrfSmall, EndsAtAPivotThatIsNotANumber) {
  using T = TypeParam;
  const Int n = 23;
  for (const char uplo : uplos) {
    for (Int k = 1; k <= n; ++k) {
      const WideMatrix<T> whole = symmetric_matrix<T>(this->random, Kind::dominant, n);
      GuardedMatrix<T> A = triangle_of<T>(whole, uplo, n);
      A(k, k) = guard<T>();
      A.seal();
      GuardedVector<Int> ipiv(n);
      EXPECT_EQ(run_kernel(uplo, n, A, ipiv), k);
      if (k == (is_upper(uplo) ? n : 1)) {
        EXPECT_TRUE(A.unchanged());
      }
      for (Int j = 1; j <= n; ++j) EXPECT_EQ(ipiv(j), j);
    }
  }
}

TYPED_TEST(SytrfSmall, DoesNothingForEmptyMatrices) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    for (const Int n : {0, -1}) {
      GuardedMatrix<T> A(3, 3, 3);
      GuardedVector<Int> ipiv(3);
      EXPECT_EQ(run_kernel(uplo, n, A, ipiv), 0);
      EXPECT_TRUE(A.unchanged());
      EXPECT_TRUE(ipiv.unchanged());
    }
  }
}

}  // namespace
}  // namespace nuv::test
