// Norms in every storage form: ?lange, ?langb, ?langt, ?lanhs, ?lansy, ?lansp, ?lansb, ?lanst, ?lanhe, ?lanhp, ?lanhb,
// ?lanht, ?lantr, ?lantp, ?lantb.

#include <cmath>
#include <limits>
#include <set>

#include "environment/service_calls.hpp"
#include "stored_matrices.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class Norms : public testing::Test {
 protected:
  using R = Real<T>;
  static constexpr R infinity = std::numeric_limits<R>::infinity();
  static constexpr R not_a_number = std::numeric_limits<R>::quiet_NaN();

  /// Norm by a routine, which may write to work just what the letter needs.
  R norm(const StoredMatrix<T>& A, char letter) {
    GuardedVector<R> work(A.work_length);
    const R value = A.norm(letter, work.data());
    const bool symmetric = A.name.starts_with("lans") || A.name.starts_with("lanh");
    const bool sums_columns = symmetric && !A.name.starts_with("lanhs");
    const bool needs_work = is_one_of(letter, 'I') || (sums_columns && is_one_of(letter, 'O', '1'));
    EXPECT_TRUE(needs_work ? work.guards_unchanged() : work.unchanged()) << A.name << " " << letter;
    return value;
  }

  Random random{24};
};
TYPED_TEST_SUITE(Norms, Precisions, PrecisionLetter);

/// Sums of magnitudes of the columns (of the rows of the transpose).
template <Scalar T>
std::vector<WideReal<T>> column_sums(const WideMatrix<T>& A) {
  std::vector<WideReal<T>> sums;
  for (Eigen::Index j = 0; j < A.cols(); ++j) {
    WideReal<T> sum = 0;
    for (Eigen::Index i = 0; i < A.rows(); ++i) sum += std::abs(A(i, j));
    sums.push_back(sum);
  }
  return sums;
}

/// What the largest is taken of: magnitudes, column sums or row sums; for the Frobenius norm the norm alone.
template <Scalar T>
std::vector<WideReal<T>> candidates(const WideMatrix<T>& A, char letter) {
  switch (std::toupper(letter)) {
    case 'M': {
      std::vector<WideReal<T>> all;
      for (Eigen::Index j = 0; j < A.cols(); ++j) {
        for (Eigen::Index i = 0; i < A.rows(); ++i) all.push_back(std::abs(A(i, j)));
      }
      return all;
    }
    case 'O':
    case '1':
      return column_sums<T>(A);
    case 'I':
      return column_sums<T>(A.transpose());
    default: {
      WideReal<T> sum = 0;
      for (Eigen::Index j = 0; j < A.cols(); ++j) {
        for (Eigen::Index i = 0; i < A.rows(); ++i) sum += std::norm(A(i, j));
      }
      return {std::sqrt(sum)};
    }
  }
}

template <Scalar T>
WideReal<T> wide_norm(const WideMatrix<T>& A, char letter) {
  WideReal<T> largest = 0;
  for (const auto x : candidates<T>(A, letter)) largest = x > largest ? x : largest;
  return largest;
}

constexpr char letters[] = {'M', 'm', 'O', 'o', '1', 'I', 'i', 'F', 'f', 'E', 'e'};

/// Relative error in eps. A sum of n positive terms may be off by n / 2, a magnitude by two; a Frobenius norm is the
/// root of partial sums that are off by less.
template <Scalar T>
testing::AssertionResult is_close(Real<T> value, WideReal<T> expected, Int m, Int n) {
  const WideReal<T> allowed = (std::max(m, n) / 2 + 4) * WideReal<T>(epsilon<T>) * expected;
  if (std::abs(WideReal<T>(value) - expected) <= allowed) return testing::AssertionSuccess();
  return testing::AssertionFailure() << value << " instead of " << expected;
}

struct Shape {
  Int m, n, kl, ku;
};

/// Both sides of the four and eight columns that go side by side, and of the 128 entries whose magnitudes are taken at
/// a time; bands of one diagonal, of all of them and of more than there are.
std::vector<Shape> shapes() {
  std::vector<Shape> all = {{1, 1, 0, 0},    {2, 1, 0, 1},    {1, 3, 1, 0},   {3, 2, 1, 1},   {4, 4, 2, 1},
                            {5, 4, 3, 3},    {4, 7, 0, 0},    {9, 8, 2, 9},   {8, 9, 12, 3},  {11, 16, 1, 2},
                            {17, 33, 20, 5}, {40, 17, 9, 16}, {127, 5, 1, 2}, {130, 9, 2, 3}, {12, 140, 130, 129}};
  if (is_sanitized) all.pop_back();
  return all;
}

TYPED_TEST(Norms, AgreeWithWideSumsAndReadNothingElse) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Shape& shape : shapes()) {
    for (const R outside : {this->not_a_number, this->infinity}) {
      StoredMatrices<T> matrices([&](Int, Int) { return this->random.template scalar<T>(); }, outside);
      for (const StoredMatrix<T>& A : matrices.all(shape.m, shape.n, shape.kl, shape.ku)) {
        for (const char letter : letters) {
          EXPECT_TRUE(is_close<T>(this->norm(A, letter), wide_norm<T>(A.dense, letter), shape.m, shape.n))
              << A.name << " " << letter;
        }
      }
    }
  }
}

TYPED_TEST(Norms, AreSafeFromOverflowAndUnderflow) {
  using T = TypeParam;
  using R = Real<T>;
  const int limit = std::numeric_limits<R>::max_exponent - 14;
  // One power for all, and powers that differ from column to column.
  const std::vector<std::vector<int>> powers = {
      {limit},     {-limit},           {limit / 2},        {-limit / 2}, {-limit / 2, limit / 2},
      {-limit, 0}, {limit, 0, -limit}, {0, -limit / 2 - 8}};
  for (const auto& power : powers) {
    for (const Shape& shape : {Shape{5, 9, 2, 3}, Shape{20, 13, 13, 1}, Shape{131, 6, 2, 2}}) {
      const auto entry = [&](Int, Int j) {
        const T x = this->random.template scalar<T>();
        return x * std::ldexp(R(1), power[std::size_t(j) % power.size()]);
      };
      for (const StoredMatrix<T>& A :
           StoredMatrices<T>(entry, this->infinity).all(shape.m, shape.n, shape.kl, shape.ku)) {
        for (const char letter : {'M', 'O', 'I', 'F'}) {
          EXPECT_TRUE(is_close<T>(this->norm(A, letter), wide_norm<T>(A.dense, letter), shape.m, shape.n))
              << A.name << " " << letter << " with powers from " << power[0];
        }
      }
    }
  }
}

TYPED_TEST(Norms, AreThoseOfMatricesWithManyZeros) {
  using T = TypeParam;
  for (const Int zeros_of_ten : {5, 9, 10}) {
    const auto entry = [&](Int, Int) {
      return this->random.integer(1, 10) <= zeros_of_ten ? T(0) : this->random.template scalar<T>();
    };
    for (const StoredMatrix<T>& A : StoredMatrices<T>(entry, this->not_a_number).all(12, 14, 3, 4)) {
      for (const char letter : {'M', 'O', 'I', 'F'}) {
        EXPECT_TRUE(is_close<T>(this->norm(A, letter), wide_norm<T>(A.dense, letter), 12, 14))
            << A.name << " " << letter;
      }
    }
  }
}

/// Entries of which those at some places are special; a place is (i, j) with i >= j, or its mirror image.
template <Scalar T, class Entry>
auto with_special(Entry entry, std::set<std::pair<Int, Int>> places, Real<T> special) {
  return [=](Int i, Int j) { return places.contains(std::minmax(i, j)) ? T(special) : entry(); };
}

TYPED_TEST(Norms, OfMatricesWithAnInfinityAreInfinite) {
  using T = TypeParam;
  for (const Int at : {1, 2, 5, 9}) {
    for (const auto sign : {-1, 1}) {
      // A diagonal entry, so that every form has it once; those with a diagonal of ones do not have it.
      const auto entry =
          with_special<T>([&] { return this->random.template scalar<T>(); }, {{at, at}}, sign * this->infinity);
      for (const StoredMatrix<T>& A : StoredMatrices<T>(entry, this->not_a_number).all(9, 9, 2, 3)) {
        const bool there = std::isinf(std::abs(std::complex(A.dense(at - 1, at - 1))));
        for (const char letter : {'M', 'O', 'I', 'F'}) {
          EXPECT_EQ(std::isinf(this->norm(A, letter)), there) << A.name << " " << letter << " at " << at;
        }
      }
    }
  }
}

TYPED_TEST(Norms, OfMatricesWithTwoInfinitiesAreInfiniteButTheFrobeniusNorm) {
  using T = TypeParam;
  // The second one is divided by the first.
  const auto entry =
      with_special<T>([&] { return this->random.template scalar<T>(); }, {{2, 2}, {7, 7}}, this->infinity);
  for (const StoredMatrix<T>& A : StoredMatrices<T>(entry, this->not_a_number).all(9, 9, 2, 3)) {
    if (!std::isinf(std::abs(std::complex(A.dense(1, 1))))) continue;
    for (const char letter : {'M', 'O', 'I'})
      EXPECT_EQ(this->norm(A, letter), this->infinity) << A.name << " " << letter;
    EXPECT_TRUE(std::isnan(this->norm(A, 'F'))) << A.name;
  }
}

TYPED_TEST(Norms, MayLoseNaNButNothingElse) {
  using T = TypeParam;
  for (const Int i : {1, 4, 9}) {
    for (const Int j : {1, 5, 9}) {
      const auto entry =
          with_special<T>([&] { return this->random.template scalar<T>(); }, {std::minmax(i, j)}, this->not_a_number);
      for (const StoredMatrix<T>& A : StoredMatrices<T>(entry, this->infinity).all(9, 9, 8, 8)) {
        bool there = false;
        for (const auto x : A.dense.reshaped()) there = there || x != x;
        for (const char letter : {'M', 'O', 'I'}) {
          const auto value = this->norm(A, letter);
          // Candidates that are NaN are not larger than anything.
          EXPECT_TRUE((there && std::isnan(value)) || is_close<T>(value, wide_norm<T>(A.dense, letter), 9, 9))
              << A.name << " " << letter << " with NaN at " << i << ", " << j;
        }
        EXPECT_EQ(std::isnan(this->norm(A, 'F')), there) << A.name << " with NaN at " << i << ", " << j;
      }
    }
  }
}

TYPED_TEST(Norms, FrobeniusNormIsNaNWithNaNBesideAnInfinity) {
  using T = TypeParam;
  for (const Int nan_at : {1, 2, 6, 9}) {
    const auto entry = [&](Int i, Int j) {
      return i == nan_at && j == nan_at ? T(this->not_a_number) : i == 5 && j == 5 ? T(this->infinity) : T(1);
    };
    for (const StoredMatrix<T>& A : StoredMatrices<T>(entry, this->infinity).all(9, 9, 2, 3)) {
      if (A.dense(4, 4) == A.dense(0, 0)) continue;  // ones on the diagonal
      EXPECT_TRUE(std::isnan(this->norm(A, 'F'))) << A.name << " with NaN at " << nan_at;
    }
  }
}

TYPED_TEST(Norms, TakeLettersOfBothCasesAndTheirSynonyms) {
  using T = TypeParam;
  StoredMatrices<T> matrices([&](Int, Int) { return this->random.template scalar<T>(); }, this->not_a_number);
  for (const StoredMatrix<T>& A : matrices.all(10, 13, 2, 3)) {
    EXPECT_EQ(this->norm(A, '1'), this->norm(A, 'O')) << A.name;
    EXPECT_EQ(this->norm(A, 'E'), this->norm(A, 'F')) << A.name;
    for (const char letter : {'M', 'O', 'I', 'F', 'E'}) {
      EXPECT_EQ(this->norm(A, char(std::tolower(letter))), this->norm(A, letter)) << A.name << " " << letter;
    }
  }
}

TYPED_TEST(Norms, AreZeroForOtherLetters) {
  using T = TypeParam;
  StoredMatrices<T> matrices([&](Int, Int) { return this->random.template scalar<T>(); }, this->infinity);
  for (const StoredMatrix<T>& A : matrices.all(4, 5, 2, 3)) {
    for (const char letter : {'Z', 'z', 'N', '0', '2', ' ', '\0', '\x11'})
      EXPECT_EQ(this->norm(A, letter), 0) << A.name;
  }
  EXPECT_EQ(routine_call::lange('Z', 3, 3, Matrix<const T>(nullptr, 3), nullptr), 0);
}

TYPED_TEST(Norms, AreZeroForEmptyMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  const Matrix<const T> none(nullptr, 1);
  R* const work = nullptr;
  const T* const nothing = nullptr;
  for (const char letter : {'M', 'O', '1', 'I', 'F', 'E', 'Z'}) {
    for (const auto& [m, n] : {std::pair{0, 0}, {0, 3}, {3, 0}}) {
      EXPECT_EQ(routine_call::lange(letter, m, n, none, work), 0);
      EXPECT_EQ(routine_call::lantr(letter, 'U', 'U', m, n, none, work), 0);
    }
    EXPECT_EQ(routine_call::langb(letter, 0, 1, 1, none, work), 0);
    EXPECT_EQ(routine_call::langt(letter, 0, nothing, nothing, nothing), 0);
    EXPECT_EQ(routine_call::lanhs(letter, 0, none, work), 0);
    EXPECT_EQ(routine_call::lansy(letter, 'U', 0, none, work), 0);
    EXPECT_EQ(routine_call::lansp(letter, 'U', 0, nothing, work), 0);
    EXPECT_EQ(routine_call::lansb(letter, 'U', 0, 2, none, work), 0);
    EXPECT_EQ(routine_call::lantp(letter, 'U', 'U', 0, nothing, work), 0);
    EXPECT_EQ(routine_call::lantb(letter, 'U', 'U', 0, 2, none, work), 0);
    if constexpr (ComplexScalar<T>) {
      EXPECT_EQ(routine_call::lanhe(letter, 'U', 0, none, work), 0);
      EXPECT_EQ(routine_call::lanhp(letter, 'U', 0, nothing, work), 0);
      EXPECT_EQ(routine_call::lanhb(letter, 'U', 0, 2, none, work), 0);
      EXPECT_EQ(routine_call::lanht(letter, 0, work, nothing), 0);
    } else {
      EXPECT_EQ(routine_call::lanst(letter, 0, nothing, nothing), 0);
    }
  }
}

/// How the routine that a stored matrix is for goes through the entries.
struct Order {
  bool symmetric, upper, tridiagonal, unit_diagonal;
};

template <Scalar T>
Order order_of(const StoredMatrix<T>& A) {
  const std::string routine = A.name.substr(0, 5);
  Order order{};
  order.tridiagonal = routine == "langt" || routine == "lanst" || routine == "lanht";
  order.symmetric = (routine.starts_with("lans") || routine.starts_with("lanh")) && routine != "lanhs";
  order.upper = A.name[6] == 'U';
  order.unit_diagonal = routine.starts_with("lant") && A.name[7] == 'u';
  return order;
}

/// The sums of magnitudes of columns or rows, one addition after the other: tridiagonal matrices start from the
/// diagonal and go on below (to the right), a diagonal of ones comes before all else, other sums follow the indices.
template <Scalar T>
Real<T> largest_sum(const StoredMatrix<T>& A, bool of_columns) {
  using R = Real<T>;
  const auto magnitude = [](T x) {
    if constexpr (ComplexScalar<T>) return serv_abs(x);
    else return std::abs(x);
  };
  const WideMatrix<T> lines = of_columns ? A.dense : WideMatrix<T>(A.dense.transpose());
  const auto entry = [&](Eigen::Index i, Eigen::Index j) { return magnitude(T(lines(i, j))); };
  const Order order = order_of(A);
  R largest = 0;
  for (Eigen::Index j = 0; j < lines.cols(); ++j) {
    R sum = 0;
    if (order.tridiagonal) {
      sum = entry(j, j);
      if (j + 1 < lines.rows()) sum += entry(j + 1, j);
      if (j > 0) sum += entry(j - 1, j);
    } else {
      const bool has_one = order.unit_diagonal && j < lines.rows();
      if (has_one) sum = 1;
      for (Eigen::Index i = 0; i < lines.rows(); ++i) {
        if (!(has_one && i == j)) sum += entry(i, j);
      }
    }
    largest = std::max(largest, sum);
  }
  return largest;
}

/// A scaled sum of squares, entry by entry: of symmetric matrices one triangle, which counts twice, before the
/// diagonal; of tridiagonal ones the diagonals one after the other; of all others column after column, ones on the
/// diagonal first.
template <Scalar T>
Real<T> ordered_frobenius_norm(const StoredMatrix<T>& A) {
  using R = Real<T>;
  const Eigen::Index m = A.dense.rows(), n = A.dense.cols(), least = std::min(m, n);
  const Order order = order_of(A);
  R scale = order.unit_diagonal ? 1 : 0, sumsq = order.unit_diagonal ? R(least) : R(1);
  const auto add = [&](Eigen::Index i, Eigen::Index j) {
    const T x = T(A.dense(i, j));
    routine_call::lassq(1, {&x, 1}, scale, sumsq);
  };
  const auto add_diagonal = [&](Eigen::Index below) {
    for (Eigen::Index j = std::max<Eigen::Index>(0, -below); j < n && j + below < m; ++j) add(j + below, j);
  };
  const auto add_columns = [&](auto wanted) {
    for (Eigen::Index j = 0; j < n; ++j) {
      for (Eigen::Index i = 0; i < m; ++i) {
        if (wanted(i, j)) add(i, j);
      }
    }
  };
  if (order.symmetric) {
    add_columns([&](Eigen::Index i, Eigen::Index j) { return order.upper ? i < j : i > j; });
    sumsq *= 2;
    add_diagonal(0);
  } else if (order.tridiagonal) {
    for (const Eigen::Index below : {0, 1, -1}) add_diagonal(below);
  } else {
    add_columns([&](Eigen::Index i, Eigen::Index j) { return !order.unit_diagonal || i != j; });
  }
  return scale * std::sqrt(sumsq);
}

TYPED_TEST(Norms, AddUpInTheOrderOfTheEntries) {
  using T = TypeParam;
  for (const Shape& shape : shapes()) {
    StoredMatrices<T> matrices([&](Int, Int) { return this->random.template scalar<T>(); }, this->not_a_number);
    for (const StoredMatrix<T>& A : matrices.all(shape.m, shape.n, shape.kl, shape.ku)) {
      EXPECT_EQ(this->norm(A, 'O'), largest_sum(A, true)) << A.name;
      EXPECT_EQ(this->norm(A, 'I'), largest_sum(A, false)) << A.name;
      EXPECT_EQ(this->norm(A, 'F'), ordered_frobenius_norm(A)) << A.name;
    }
  }
}

TYPED_TEST(Norms, TakeTrueMagnitudesOfComplexEntries) {
  using T = TypeParam;
  using R = Real<T>;
  if constexpr (ComplexScalar<T>) {
    const T entry(3, -4);
    for (const char letter : {'M', 'O', 'I', 'F'}) {
      R work = 0;
      EXPECT_EQ(routine_call::lange(letter, 1, 1, Matrix<const T>(&entry, 1), &work), 5) << letter;
    }
  }
}

}  // namespace
}  // namespace nuv::test
