// Merges where the eigenvectors are kept as factors: deflation, the vector that joins the halves, and the tree.

#include <cmath>
#include <limits>

#include "layer.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/halves.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class FactoredMerges : public ReportingTest {
 protected:
  Random random{78};
};
TYPED_TEST_SUITE(FactoredMerges, Precisions, PrecisionLetter);

// ---------------------------------------------------------------------------------------------------------- deflation

/// The arguments of ?laed8. The eigenvectors are multiplied by a matrix of a few more rows.
template <Scalar T>
struct Deflation {
  using R = Real<T>;

  Int n, qsiz, icompq = 1, k = 99, givptr = 99, info = 99;
  GuardedVector<R> d, z, dlamda, w;
  R rho;
  std::vector<Int> indxq;
  GuardedMatrix<T> Q, Q2;
  GuardedVector<Int> perm, indxp, indx;
  GuardedMatrix<Int> givcol;
  GuardedMatrix<R> givnum;

  Deflation(const Halves<R>& halves, Random& random)
      : n(halves.n),
        qsiz(n + 2),
        d(halves.d),
        z(guarded(halves.joining_vector())),
        dlamda(n),
        w(n),
        rho(halves.rho),
        indxq(halves.indxq),
        Q(random_matrix<T>(random, qsiz, n, qsiz + 1)),
        Q2(qsiz, n, qsiz + 3),
        perm(n),
        indxp(n),
        indx(n),
        givcol(2, n, 2),
        givnum(2, n, 2) {}

  Deflation& run() {
    if constexpr (RealScalar<T>) {
      routine_call::laed8(icompq, k, n, qsiz, d.data(), Q, indxq.data(), rho, n / 2, z.data(), dlamda.data(), Q2,
                          w.data(), perm.data(), givptr, givcol.data(), givnum.data(), indxp.data(), indx.data(), info);
    } else {
      routine_call::laed8(k, n, qsiz, Q, d.data(), rho, n / 2, z.data(), dlamda.data(), Q2, w.data(), indxp.data(),
                          indx.data(), indxq.data(), perm.data(), givptr, givcol.data(), givnum.data(), info);
    }
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(d.guards_unchanged() && dlamda.guards_unchanged() && w.guards_unchanged() && Q.guards_unchanged() &&
                Q2.guards_unchanged() && perm.guards_unchanged() && givcol.guards_unchanged() &&
                givnum.guards_unchanged());
    return *this;
  }
};

/// x := c x + s y, y := c y - s x for two columns.
template <Scalar T>
void turn_columns(WideMatrix<T>& Q, Int x, Int y, WideReal<T> c, WideReal<T> s) {
  for (Eigen::Index i = 0; i < Q.rows(); ++i) {
    const Wide<T> first = Q(i, x - 1), second = Q(i, y - 1);
    Q(i, x - 1) = c * first + s * second;
    Q(i, y - 1) = c * second - s * first;
  }
}

/// Q (D + rho z z^T) Q^H
template <Scalar T>
WideMatrix<T> diagonal_and_rank_one(const WideMatrix<T>& Q, const std::vector<WideReal<T>>& d, WideReal<T> rho,
                                    const std::vector<WideReal<T>>& z) {
  const auto n = Eigen::Index(d.size());
  WideMatrix<T> middle(n, n);
  for (Eigen::Index j = 0; j < n; ++j) {
    for (Eigen::Index i = 0; i < n; ++i) {
      middle(i, j) = rho * z[std::size_t(i)] * z[std::size_t(j)] + (i == j ? d[std::size_t(j)] : 0);
    }
  }
  return product<T>(product<T>(Q, middle), op<T>('C', Q));
}

template <Scalar T>
double largest_difference(const WideMatrix<T>& A, const WideMatrix<T>& B) {
  double largest = 0;
  for (Eigen::Index i = 0; i < A.size(); ++i) largest = std::fmax(largest, double(std::abs(A(i) - B(i))));
  return largest;
}

/// Q (D + rho z z^T) Q^H stays what it is, and perm, givcol and givnum say what was done to Q.
TYPED_TEST(FactoredMerges, DeflationKeepsTheMatrixAndTellsHow) {
  using T = TypeParam;
  using R = Real<T>;
  using W = WideReal<T>;
  const R eps = epsilon<T>;
  for (const Int n : {2, 3, 9, 31}) {
    for (const auto& [name, matrix] : matrices_to_merge<R>(n)) {
      SCOPED_TRACE(name + (" of order " + std::to_string(n)));
      const Halves<R> halves(matrix);
      Deflation<T> deflation(halves, this->random);
      const WideMatrix<T> Q = wide(deflation.Q);
      deflation.run();
      const Int k = deflation.k;

      WideMatrix<T> turned = Q, given = Q;
      for (Int i = 1; i <= deflation.givptr; ++i) {
        turn_columns<T>(turned, deflation.givcol(1, i), deflation.givcol(2, i), deflation.givnum(1, i),
                        deflation.givnum(2, i));
      }
      double difference = 0;
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= deflation.qsiz; ++i) {
          const T element = j <= k ? deflation.Q2(i, j) : deflation.Q(i, j);
          given(i - 1, j - 1) = element;
          difference = std::max(difference, double(std::abs(wide(element) - turned(i - 1, deflation.perm(j) - 1))));
        }
      }
      EXPECT_LT(difference, 20 * n * eps);

      std::vector<W> d, z, d_after, w_after(std::size_t(n), 0);
      for (Int j = 1; j <= n; ++j) {
        d.push_back(halves.d(j));
        z.push_back((j > n / 2 && halves.rho < 0 ? -1 : 1) * W(halves.joining_vector()[std::size_t(j - 1)]));
        d_after.push_back(j <= k ? deflation.dlamda(j) : deflation.d(j));
        if (j <= k) w_after[std::size_t(j - 1)] = deflation.w(j);
      }
      const WideMatrix<T> before = diagonal_and_rank_one<T>(Q, d, std::abs(W(halves.rho)), z);
      const WideMatrix<T> after = diagonal_and_rank_one<T>(given, d_after, W(deflation.rho), w_after);
      EXPECT_LT(largest_difference<T>(before, after), 40 * n * n * eps);
    }
  }
}

TYPED_TEST(FactoredMerges, DeflationNeedsNoVectorsForValues) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    for (const auto& [name, matrix] : matrices_to_merge<T>(24)) {
      Deflation<T> with(Halves<T>(matrix), this->random), without(Halves<T>(matrix), this->random);
      without.icompq = 0;
      with.run();
      without.run();
      EXPECT_EQ(without.k, with.k) << name;
      EXPECT_EQ(without.givptr, with.givptr) << name;
      EXPECT_TRUE(without.d.same_as(with.d) && without.dlamda.same_as(with.dlamda) && without.w.same_as(with.w))
          << name;
      EXPECT_TRUE(without.perm.same_as(with.perm) && without.givcol.same_as(with.givcol)) << name;
      EXPECT_TRUE(without.givnum.same_as(with.givnum)) << name;
      EXPECT_TRUE(without.Q.unchanged() && without.Q2.unchanged()) << name;
    }
  }
}

// --------------------------------------------------------------------------------------------------------------- tree

/// What ?laed0 takes where it keeps factors; no more workspace than ?stedc gives it.
template <Scalar T>
struct Tree {
  using R = Real<T>;

  Int n, qsiz, icompq = 1, info = 99;
  GuardedVector<R> d, e;
  GuardedMatrix<T> Q, store;
  GuardedVector<R> work;
  GuardedVector<Int> iwork;

  static Int levels(Int n) { return Int(std::ceil(std::log2(double(n)))); }

  Tree(const Tridiagonal<R>& matrix, Int extra_rows, Random& random)
      : n(matrix.order()),
        qsiz(n + extra_rows),
        d(guarded(matrix.d)),
        e(guarded(matrix.e)),
        Q(random_matrix<T>(random, qsiz, n, qsiz + 1)),
        store(qsiz, n, qsiz),
        work(1 + 3 * n + 2 * n * levels(n) + n * n + (RealScalar<T> ? qsiz * n : 0)),
        iwork(6 + 6 * n + 5 * n * levels(n)) {}

  Tree& run() {
    if constexpr (RealScalar<T>) {
      layer::laed0(icompq, qsiz, n, d.data(), e.data(), Q, store.data(), store.ld(), work.data(), iwork.data(), info);
    } else {
      layer::laed0(qsiz, n, d.data(), e.data(), Q, store.data(), store.ld(), work.data(), iwork.data(), info);
    }
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && Q.guards_unchanged() && store.guards_unchanged() &&
                work.guards_unchanged() && iwork.guards_unchanged());
    return *this;
  }
};

/// As the tree wants it.
template <RealScalar R>
Tridiagonal<R> of_norm_one(Tridiagonal<R> matrix) {
  R norm = 0;
  for (const auto* elements : {&matrix.d, &matrix.e}) {
    for (const R x : *elements) norm = std::max(norm, std::abs(x));
  }
  for (auto* elements : {&matrix.d, &matrix.e}) {
    for (R& x : *elements) x /= norm > 0 ? norm : R(1);
  }
  return matrix;
}

/// The products of Q with the eigenvectors: Q^-1 times them is what diagonalises the matrix. Trees of one leaf up to
/// three generations of merges.
TYPED_TEST(FactoredMerges, OfATreeMultiplyWhatIsGiven) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {1, 2, 50, 51, 103, 205}) {
    const auto matrices = n == 1 || n == 51 ? described_tridiagonals<R>(n) : matrices_to_merge<R>(n);
    if (n > 200 && ComplexScalar<T>) continue;
    for (const auto& [name, described] : matrices) {
      SCOPED_TRACE(name + (" of order " + std::to_string(n)));
      const Tridiagonal<R> matrix = of_norm_one(described);
      Tree<T> tree(matrix, 2, this->random);
      const WideMatrix<T> Q = wide(tree.Q);
      tree.run();
      ASSERT_EQ(tree.info, 0);
      EXPECT_TRUE(is_ascending(tree.d));
      EXPECT_LT(value_error(tree.d, n, wide_values(matrix)), threshold);
      // With the eigenvectors S: (Q S) D (Q S)^H = Q T Q^H and (Q S) (Q S)^H = Q Q^H.
      const WideMatrix<T> QS = wide(tree.Q), A = wide_dense<T>(matrix);
      WideMatrix<T> V(tree.qsiz, 1), scaled = product<T>(op<T>('C', QS), V);
      for (Int i = 0; i < tree.qsiz; ++i) V(i, 0) = i % 3 == 0 ? -1 : 1;
      const WideMatrix<T> QSV = product<T>(op<T>('C', QS), V), QV = product<T>(op<T>('C', Q), V);
      for (Int j = 1; j <= n; ++j) scaled(j - 1, 0) = WideReal<T>(tree.d(j)) * QSV(j - 1, 0);
      const double allowed = threshold * n * n * double(epsilon<T>);
      EXPECT_LE(largest_difference<T>(product<T>(QS, scaled), product<T>(Q, product<T>(A, QV))),
                allowed * double(one_norm<T>(A)));
      EXPECT_LT(largest_difference<T>(product<T>(QS, QSV), product<T>(Q, QV)), allowed);
    }
  }
}

/// The values alone are found with the same numbers.
TYPED_TEST(FactoredMerges, OfATreeNeedNoVectorsForValues) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    for (const Int n : {1, 26, 103}) {
      const auto matrix = random_tridiagonal<T>(n);
      Tree<T> with(matrix, 0, this->random), without(matrix, 0, this->random);
      without.icompq = 0;
      with.run();
      without.run();
      EXPECT_EQ(without.info, 0);
      EXPECT_TRUE(without.d.same_as(with.d));
      EXPECT_TRUE(without.Q.unchanged() && without.store.unchanged());
    }
  }
}

/// Four leaves and their three merges by hand: the vector that joins the halves is the last row of the first one's
/// eigenvectors and the first row of the second one's.
TYPED_TEST(FactoredMerges, JoinHalvesByRowsOfTheirVectors) {
  using R = TypeParam;
  if constexpr (RealScalar<R>) {
    const Int n = 29, tlvls = 2, half = n / 2;
    for (const bool with_deflation : {false, true}) {
      const auto matrix = with_deflation ? glued_wilkinson<R>(n, R(1e-3)) : random_tridiagonal<R>(n);
      GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e), work(3 * n + n * n), store(2 * n * n),
                       givnum(4 * n);
      GuardedVector<Int> qptr(20), prmptr(20), perm(2 * n), givptr(20), givcol(4 * n), iwork(4 * n), indxq(n);
      GuardedMatrix<R> Q = identity<R>(n, n);
      const Int first[] = {0, half / 2, half, half + (n - half) / 2, n};
      for (int leaf = 1; leaf < 4; ++leaf) {
        const Int cut = first[leaf];
        d(cut) -= std::abs(e(cut));
        d(cut + 1) -= std::abs(e(cut));
      }
      Int info = 99;
      qptr(1) = 1;
      for (int leaf = 0; leaf < 4; ++leaf) {
        const Int at = first[leaf] + 1, size = first[leaf + 1] - first[leaf];
        R* const block = store.data() + (qptr(leaf + 1) - 1);
        routine_call::steqr('I', size, &d(at), &e(std::min(at, n - 1)), {block, size}, work.data(), info);
        for (Int j = 0; j < size; ++j) {
          std::copy_n(block + j * size, size, &Q(at, at + j));
          indxq(at + j) = j + 1;
        }
        qptr(leaf + 2) = qptr(leaf + 1) + size * size;
        prmptr(leaf + 1) = prmptr(leaf + 2) = givptr(leaf + 1) = givptr(leaf + 2) = 1;
      }
      const auto merge = [&](Int level, Int problem, Int start, Int size, Int cut) {
        routine_call::laed7(1, size, n, tlvls, level, problem, d.data() + start,
                            {Q.data() + std::ptrdiff_t{start} * n, n}, indxq.data() + start, e(start + cut), cut,
                            store.data(), qptr.data(), prmptr.data(), perm.data(), givptr.data(), givcol.data(),
                            givnum.data(), work.data(), iwork.data(), info);
        EXPECT_EQ(info, 0);
      };
      merge(1, 0, 0, half, half / 2);
      merge(1, 1, half, n - half, (n - half) / 2);
      GuardedVector<R> z(n), ztemp(n);
      routine_call::laeda(n, tlvls, 2, 0, prmptr.data(), perm.data(), givptr.data(), givcol.data(), givnum.data(),
                          store.data(), qptr.data(), z.data(), ztemp.data(), info);
      EXPECT_EQ(info, 0);
      for (Int j = 1; j <= n; ++j) {
        EXPECT_NEAR(double(z(j)), double(Q(j <= half ? half : half + 1, j)), 20 * double(epsilon<R>)) << j;
      }
      merge(2, 0, 0, n, half);
      for (const auto* x : {&z, &ztemp, &work, &store, &givnum}) EXPECT_TRUE(x->guards_unchanged());
      for (const auto* x : {&perm, &qptr, &prmptr, &givptr, &givcol}) EXPECT_TRUE(x->guards_unchanged());
      GuardedVector<R> sorted(n);
      GuardedMatrix<R> Z(n, n, n);
      for (Int j = 1; j <= n; ++j) {
        sorted(j) = d(indxq(j));
        for (Int i = 1; i <= n; ++i) Z(i, j) = Q(i, indxq(j));
      }
      EXPECT_LT(eigen_residual<R>(wide_dense<R>(matrix), Z, sorted, n), threshold);
      EXPECT_LT(orthogonality(Z, n), threshold);
    }
  }
}

/// A leaf that meets a NaN is told by its first and last row.
TYPED_TEST(FactoredMerges, OfATreeFailWhereANumberIsNone) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 53;  // two leaves, of 26 and 27 rows
  for (const Int at : {1, 14, 26, 27, 53}) {
    auto matrix = random_tridiagonal<R>(n);
    matrix.d[std::size_t(at - 1)] = std::numeric_limits<R>::quiet_NaN();
    Tree<T> tree(matrix, 0, this->random);
    tree.run();
    EXPECT_EQ(tree.info, at <= 26 ? 1 * (n + 1) + 26 : 27 * (n + 1) + 53) << at;
  }
}

/// A leaf whose last row stands alone leaves the number there as it is. If it is none, the merge above fails, and is
/// told by its first and last row.
TYPED_TEST(FactoredMerges, OfATreeFailWhereAMergeDoes) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 103;  // leaves of 25 or 26 rows
  for (const auto& [at, rows] : {std::pair<Int, Int>{25, 1 * (n + 1) + 51}, {77, 52 * (n + 1) + 103}}) {
    for (const Int icompq : {0, 1}) {
      if (icompq == 0 && ComplexScalar<T>) continue;
      auto matrix = random_tridiagonal<R>(n);
      matrix.d[std::size_t(at - 1)] = std::numeric_limits<R>::quiet_NaN();
      matrix.e[std::size_t(at - 2)] = 0;
      Tree<T> tree(matrix, 0, this->random);
      tree.icompq = icompq;
      tree.run();
      EXPECT_EQ(tree.info, rows) << at;
    }
  }
}

/// Of one row there is nothing to merge.
TYPED_TEST(FactoredMerges, OfOneRowAreNone) {
  using T = TypeParam;
  using R = Real<T>;
  Tree<T> tree({{R(-3)}, {}}, 0, this->random);
  const T q = tree.Q(1, 1);
  tree.run();
  EXPECT_EQ(tree.info, 0);
  EXPECT_EQ(tree.d(1), R(-3));
  EXPECT_EQ(tree.Q(1, 1), q);
  if constexpr (RealScalar<T>) {
    tree.icompq = 2;
    tree.run();
    EXPECT_EQ(tree.info, 0);
    EXPECT_EQ(tree.Q(1, 1), R(1));
  }
}

}  // namespace
}  // namespace nuv::test
