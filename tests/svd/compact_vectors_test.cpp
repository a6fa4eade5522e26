// Products with singular vectors that are kept as factors, beside those with the vectors themselves: ?lals0 for one
// merge, ?lalsa for a tree.

#include <limits>

#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"
#include "svd/compact_factors.hpp"

namespace nuv::test {
namespace {

template <class T>
class CompactVectors : public ReportingTest {
 protected:
  Random random{91};
};
TYPED_TEST_SUITE(CompactVectors, Precisions, PrecisionLetter);

/// A real matrix times a complex one, or its transpose.
template <Scalar T>
WideMatrix<T> expected_product(bool right, const WideMatrix<Real<T>>& U, const WideMatrix<Real<T>>& V,
                               const WideMatrix<T>& B) {
  const WideMatrix<T> factor = (right ? V : WideMatrix<Real<T>>(U.transpose())).template cast<Wide<T>>();
  return product<T>(factor, B);
}

/// ||X - exact|| / (||B|| n eps); orthogonal matrices leave the norms of columns as they are.
template <Scalar T>
double product_error(const WideMatrix<T>& X, const WideMatrix<T>& exact, const WideMatrix<T>& B) {
  return one_norm<T>(WideMatrix<T>(X - exact)) / (one_norm<T>(B) * double(B.rows()) * double(epsilon<T>));
}

/// Reals and integers of a call of either routine, by precision.
template <Scalar T>
struct ProductCall {
  using R = Real<T>;

  Int icompq, nrhs, info = 99;
  GuardedMatrix<T> B, X;
  GuardedVector<R> work;
  GuardedVector<Int> iwork;

  ProductCall(Random& random, Int icompq_, Int n, Int rows, Int nrhs_, Int k)
      : icompq(icompq_),
        nrhs(nrhs_),
        B(random_matrix<T>(random, rows, nrhs, rows + 1)),
        X(n, nrhs, n + 2),
        work(k),
        iwork(3 * n) {}

  void multiply_by_merge(const MergeSizes& sizes, const MergeFactors<R>& f) {
    routine_call::lals0(icompq, sizes.nl, sizes.nr, sizes.sqre, nrhs, Matrix<T>(B), Matrix<T>(X), f.perm, f.givptr,
                        f.givcol, f.ldgcol, f.givnum, f.ldgnum, f.poles, f.difl, f.difr, f.z, f.k, f.c, f.s,
                        work.data(), info);
  }

  void multiply_by_tree(const CompactTree<R>& tree) {
    routine_call::lalsa(icompq, tree.smlsiz, tree.n, nrhs, Matrix<T>(B), Matrix<T>(X),
                        Matrix<const R>{tree.U.data(), tree.ldu}, tree.VT.data(), tree.k.data(), tree.difl.data(),
                        tree.difr.data(), tree.z.data(), tree.poles.data(), tree.givptr.data(), tree.givcol.data(),
                        tree.ldgcol, tree.perm.data(), tree.givnum.data(), tree.c.data(), tree.s.data(), work.data(),
                        iwork.data(), info);
  }

  void expect_kept() const {
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(B.guards_unchanged());
    EXPECT_TRUE(X.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged() && iwork.guards_unchanged());
  }
};

// ------------------------------------------------------------------------------------------------------------- merges

/// The rows above n of the product for a node; the rest of B belongs to others.
template <Scalar T>
void expect_merge_product(Random& random, Int icompq, Int nrhs, const MergeSizes& sizes,
                          const MergeFactors<Real<T>>& factors) {
  using R = Real<T>;
  const Int n = sizes.n(), m = n + sizes.sqre, rows = icompq == 0 ? n : m;
  WideMatrix<R> U = WideMatrix<R>::Identity(n, n), V = WideMatrix<R>::Identity(m, m);
  factors.apply(0, sizes, U, V);
  ProductCall<T> call(random, icompq, n, rows, nrhs, factors.k);
  const WideMatrix<T> B = wide(call.B), exact = expected_product<T>(icompq == 1, U, V, B);
  call.multiply_by_merge(sizes, factors);
  call.expect_kept();
  EXPECT_LT(product_error<T>(wide(call.B), exact, B), svd_threshold);
}

TYPED_TEST(CompactVectors, MultiplyByTheFactorsOfOneMerge) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [n, smlsiz] : {std::pair<Int, Int>{4, 3}, {7, 3}, {16, 3}, {40, 25}, {150, 74}}) {
    for (const Int sqre : {0, 1}) {
      for (const auto& matrix : divided_bidiagonals<R>(n / 2, n - n / 2 - 1, sqre, this->random)) {
        if (matrix.name == "huge" || (n > 40 && matrix.name != "random" && matrix.name != "twins")) continue;
        CompactTree<R> tree(1, smlsiz, matrix);
        tree.solve();
        for (Int level = tree.lvl; level >= 1; --level) {
          const Int lf = Int{1} << (level - 1), ll = 2 * lf - 1;
          for (Int i = lf; i <= ll; ++i) {
            const MergeSizes sizes = tree.sizes_of(i, ll);
            for (const Int icompq : {0, 1}) {
              for (const Int nrhs : {1, 2, 35}) {
                SCOPED_TRACE(testing::Message() << matrix.name << ' ' << n << ", node " << i << ", icompq " << icompq
                                                << ", " << nrhs << " columns, sqre " << sizes.sqre);
                expect_merge_product<T>(this->random, icompq, nrhs, sizes, tree.factors_of(i, level));
              }
            }
          }
        }
      }
    }
  }
}

/// A merge that leaves one value to its equation, whose left vector may be the opposite of a unit vector.
TYPED_TEST(CompactVectors, MultiplyByTheSignOfASingleRoot) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R sign : {R(1), R(-1)}) {
    const Int perm[] = {7777, 3, 1};  // the first is known
    const R poles[] = {R(0.5), 7, 7, 0, 7, 7}, difl[] = {R(0.5)}, difr[] = {7, 7, 7, 1, 7, 7}, z[] = {sign / 2};
    for (const Int icompq : {0, 1}) {
      ProductCall<T> call(this->random, icompq, 3, 3, 2, 1);
      const GuardedMatrix<T> B = call.B;
      call.multiply_by_merge({1, 1, 0}, {1, 0, perm, perm, 3, poles, 3, poles, difl, difr, z, R(1), R(0)});
      call.expect_kept();
      for (Int j = 1; j <= 2; ++j) {
        if (icompq == 0) {
          EXPECT_EQ(call.B(1, j), sign * B(2, j));
          EXPECT_EQ(call.B(2, j), B(3, j));
          EXPECT_EQ(call.B(3, j), B(1, j));
        } else {
          EXPECT_EQ(call.B(2, j), B(1, j));
          EXPECT_EQ(call.B(3, j), B(2, j));
          EXPECT_EQ(call.B(1, j), B(3, j));
        }
      }
    }
  }
}

/// A root that is a pole makes an element of z zero, and no NaN of its vector.
TYPED_TEST(CompactVectors, TakeARootThatIsAPole) {
  using T = TypeParam;
  using R = Real<T>;
  const Int perm[] = {2, 1, 3};
  const R poles[] = {R(0.5), 1, 2, 0, 1, 2}, difl[] = {R(0.5), 0, 0}, difr[] = {R(-0.5), -1, 7, 1, 1, 1},
          z[] = {R(0.5), 0, 0};
  for (const Int icompq : {0, 1}) {
    for (const Int nrhs : {1, 3}) {
      ProductCall<T> call(this->random, icompq, 3, 3, nrhs, 3);
      call.multiply_by_merge({1, 1, 0}, {3, 0, perm, perm, 3, poles, 3, poles, difl, difr, z, R(1), R(0)});
      call.expect_kept();
      for (Int j = 1; j <= nrhs; ++j) {
        for (Int i = 1; i <= 3; ++i) EXPECT_TRUE(std::isfinite(std::abs(call.B(i, j)))) << i << ' ' << j;
      }
    }
  }
}

// -------------------------------------------------------------------------------------------------------------- trees

template <Scalar T>
WideMatrix<T> tree_product(Random& random, Int icompq, Int nrhs, const CompactTree<Real<T>>& tree,
                           const WideMatrix<Real<T>>& U, const WideMatrix<Real<T>>& V) {
  ProductCall<T> call(random, icompq, tree.n, tree.n, nrhs, tree.n);
  const WideMatrix<T> B = wide(call.B), exact = expected_product<T>(icompq == 1, U, V, B);
  call.multiply_by_tree(tree);
  call.expect_kept();
  EXPECT_LT(product_error<T>(wide(call.X), exact, B), svd_threshold);
  return wide(call.X);
}

TYPED_TEST(CompactVectors, MultiplyByATree) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [n, smlsiz] :
       {std::pair<Int, Int>{3, 3}, {4, 3}, {7, 3}, {8, 3}, {17, 3}, {40, 5}, {26, 25}, {52, 25}, {110, 25}}) {
    for (const auto& matrix : divided_bidiagonals<R>(n / 2, n - n / 2 - 1, 0, this->random)) {
      if (matrix.name == "huge" || (n > 60 && matrix.name != "random" && matrix.name != "twins")) continue;
      CompactTree<R> tree(1, smlsiz, matrix);
      tree.solve();
      WideMatrix<R> U, V;
      tree.form_vectors(U, V);
      for (const Int icompq : {0, 1}) {
        for (const Int nrhs : {1, 3, 35}) {
          SCOPED_TRACE(testing::Message() << matrix.name << ' ' << n << " by leaves of " << smlsiz << ", icompq "
                                          << icompq << ", " << nrhs << " columns");
          tree_product<T>(this->random, icompq, nrhs, tree, U, V);
        }
      }
    }
  }
}

TYPED_TEST(CompactVectors, MultiplyWithoutMemory) {
  using T = TypeParam;
  using R = Real<T>;
  const auto matrix = divided_bidiagonals<R>(60, 49, 0, this->random).front();
  CompactTree<R> tree(1, 25, matrix);
  tree.solve();
  WideMatrix<R> U, V;
  tree.form_vectors(U, V);
  for (const Int icompq : {0, 1}) {
    for (const int refused : {MemoryRequests::none, MemoryRequests::all, 1, 2}) {
      const MemoryRequests memory(refused);
      tree_product<T>(this->random, icompq, 40, tree, U, V);
      EXPECT_GT(memory.count(), 0);
      EXPECT_EQ(memory.kept(), 0);
    }
    // A single column asks for none.
    const MemoryRequests memory;
    tree_product<T>(this->random, icompq, 1, tree, U, V);
    EXPECT_EQ(memory.count(), 0);
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct Lals0Call {
  using R = Real<T>;

  Int icompq = 0, nl = 1, nr = 1, sqre = 0, nrhs = 2, ldb = 3, ldbx = 3, givptr = 0, ldgcol = 3, ldgnum = 3, k = 1;
  Random random = Random(5);
  GuardedMatrix<T> B = random_matrix<T>(random, 3, 2, 3), X = GuardedMatrix<T>(3, 2, 3);
  Int perm[3] = {2, 1, 3}, givcol[6] = {};
  R poles[6] = {1, 0, 0, 0, 0, 0}, difl[3] = {1}, difr[6] = {0, 0, 0, 1}, z[3] = {1}, givnum[6] = {};
  GuardedVector<R> work = GuardedVector<R>(3);

  Int run() {
    Int info = 99;
    routine_call::lals0(icompq, nl, nr, sqre, nrhs, Matrix<T>{B.data(), ldb}, Matrix<T>{X.data(), ldbx}, perm, givptr,
                        givcol, ldgcol, givnum, ldgnum, poles, difl, difr, z, k, R(1), R(0), work.data(), info);
    return info;
  }
  bool unchanged() const { return B.unchanged() && X.unchanged() && work.unchanged(); }
};

TYPED_TEST(CompactVectors, ReportBadArgumentsOfAMerge) {
  using Call = Lals0Call<TypeParam>;
  expect_argument_checks<Call>(reported_name<TypeParam>("LALS0"), {{1, [](Call& call) { call.icompq = 2; }},
                                                                   {2, [](Call& call) { call.nl = 0; }},
                                                                   {3, [](Call& call) { call.nr = 0; }},
                                                                   {4, [](Call& call) { call.sqre = 2; }},
                                                                   {5, [](Call& call) { call.nrhs = 0; }},
                                                                   {7, [](Call& call) { call.ldb = 2; }},
                                                                   {9, [](Call& call) { call.ldbx = 2; }},
                                                                   {11, [](Call& call) { call.givptr = -1; }},
                                                                   {13, [](Call& call) { call.ldgcol = 2; }},
                                                                   {15, [](Call& call) { call.ldgnum = 2; }},
                                                                   {20, [](Call& call) { call.k = 0; }}});
  Call call;
  call.icompq = -1;
  expect_report(call, reported_name<TypeParam>("LALS0"), 1);
  Call other;
  other.sqre = -1;
  expect_report(other, reported_name<TypeParam>("LALS0"), 4);
}

template <Scalar T>
struct LalsaCall {
  using R = Real<T>;

  Int icompq = 1, smlsiz = 4, n = 4, nrhs = 2, ldb = 4, ldbx = 4, ldu = 4, ldgcol = 4;
  Random random = Random(6);
  GuardedMatrix<T> B = random_matrix<T>(random, 4, 2, 4), X = GuardedMatrix<T>(4, 2, 4);
  GuardedMatrix<R> U = random_matrix<R>(random, 4, 4, 4), VT = random_matrix<R>(random, 4, 5, 4);
  R reals[8] = {};
  Int integers[8] = {};
  GuardedVector<R> work = GuardedVector<R>(4);
  GuardedVector<Int> iwork = GuardedVector<Int>(12);

  Int run() {
    Int info = 99;
    routine_call::lalsa(icompq, smlsiz, n, nrhs, Matrix<T>{B.data(), ldb}, Matrix<T>{X.data(), ldbx},
                        Matrix<const R>{U.data(), ldu}, VT.data(), integers, reals, reals, reals, reals, integers,
                        integers, ldgcol, integers, reals, reals, reals, work.data(), iwork.data(), info);
    return info;
  }
  bool unchanged() const { return B.unchanged() && X.unchanged() && work.unchanged() && iwork.unchanged(); }
};

TYPED_TEST(CompactVectors, ReportBadArgumentsOfATree) {
  using Call = LalsaCall<TypeParam>;
  expect_argument_checks<Call>(reported_name<TypeParam>("LALSA"), {{1, [](Call& call) { call.icompq = -1; }},
                                                                   {2, [](Call& call) { call.smlsiz = 2; }},
                                                                   {3, [](Call& call) { call.n = 3; }},
                                                                   {4, [](Call& call) { call.nrhs = 0; }},
                                                                   {6, [](Call& call) { call.ldb = 3; }},
                                                                   {8, [](Call& call) { call.ldbx = 3; }},
                                                                   {10, [](Call& call) { call.ldu = 3; }},
                                                                   {19, [](Call& call) { call.ldgcol = 3; }}});
  Call call;
  call.icompq = 2;
  expect_report(call, reported_name<TypeParam>("LALSA"), 1);
}

}  // namespace
}  // namespace nuv::test
