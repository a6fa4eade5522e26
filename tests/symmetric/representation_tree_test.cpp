// Vectors from representation trees: ?larrv.

#include "symmetric/root_representations.hpp"

namespace nuv::test {
namespace {

/// The arguments of ?larrv for what ?larre found.
template <Scalar T>
struct Tree {
  using R = Real<T>;

  Roots<R> roots;
  Int n = roots.n, dol, dou;
  R minrgp = R(1e-3);
  GuardedMatrix<T> Z{n, roots.m, n + 1};
  GuardedVector<Int> isuppz{2 * roots.m}, iwork{7 * n};
  GuardedVector<R> work{12 * n};
  Int info = 99;

  Tree(const Roots<R>& roots_, Int dol_, Int dou_) : roots(roots_), dol(dol_), dou(dou_) {}
  explicit Tree(const Roots<R>& roots_) : Tree(roots_, 1, roots_.m) {}

  Tree& run() {
    routine_call::larrv(n, roots.vl, roots.vu, roots.d.data(), roots.e.data(), roots.pivmin, roots.isplit.data(),
                        roots.m, dol, dou, minrgp, roots.rtol1, roots.rtol2, roots.w.data(), roots.werr.data(),
                        roots.wgap.data(), roots.iblock.data(), roots.indexw.data(), roots.gers.data(), Z,
                        isuppz.data(), work.data(), iwork.data(), info);
    return *this;
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(roots.guards_unchanged() && Z.guards_unchanged() && isuppz.guards_unchanged() &&
                                    work.guards_unchanged() && iwork.guards_unchanged());
  }
};

template <class T>
class RepresentationTrees : public testing::Test {
 protected:
  using R = Real<T>;

  static Roots<R> roots_of(const Tridiagonal<R>& matrix, const Wanted<R>& wanted = {}) {
    return Roots<R>(wanted, matrix).run();
  }

  /// Of clusters within clusters, and of blocks.
  static std::vector<Tridiagonal<R>> matrices() {
    Tridiagonal<R> blocks = glued_wilkinson<R>(42, std::sqrt(epsilon<R>));
    blocks.e[30] = blocks.e[31] = blocks.e[10] = 0;
    return {glued_wilkinson<R>(42, std::sqrt(epsilon<R>)), one_two_one<R>(42), blocks};
  }
};
TYPED_TEST_SUITE(RepresentationTrees, Precisions, PrecisionLetter);

TYPED_TEST(RepresentationTrees, GiveOrthogonalVectors) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& matrix : this->matrices()) {
    Tree<T> tree(this->roots_of(matrix));
    tree.run();
    EXPECT_EQ(tree.info, 0);
    EXPECT_TRUE(tree.guards_unchanged());
    EXPECT_LT(eigen_residual<T>(wide_dense<T>(matrix), tree.Z, tree.roots.w, tree.n), 30);
    EXPECT_LT(orthogonality(tree.Z, tree.n), 30);
    for (Int k = 1; k <= tree.n; ++k) {
      EXPECT_EQ(tree.Z(tree.isuppz(2 * k - 1), k) == T(0), false) << k;
      for (Int i = 1; i < tree.isuppz(2 * k - 1); ++i) EXPECT_EQ(tree.Z(i, k), T(0)) << k;
      for (Int i = tree.isuppz(2 * k) + 1; i <= tree.n; ++i) EXPECT_EQ(tree.Z(i, k), T(0)) << k;
    }
    EXPECT_TRUE(std::all_of(tree.roots.w.data(), tree.roots.w.data() + tree.n, [](R w) { return std::isfinite(w); }));
  }
}

/// The vectors of a part are those of all; the columns beside them become zero.
TYPED_TEST(RepresentationTrees, GiveThePartAskedFor) {
  using T = TypeParam;
  for (const auto& matrix : this->matrices()) {
    Tree<T> all(this->roots_of(matrix));
    all.run();
    const Int n = all.n;
    for (const auto& [dol, dou] : {std::pair{1, 1}, {n, n}, {2, 2}, {7, 8}, {12, 30}, {40, 41}, {41, 42}}) {
      Tree<T> part(this->roots_of(matrix), dol, dou);
      part.run();
      EXPECT_EQ(part.info, 0);
      EXPECT_TRUE(part.guards_unchanged());
      for (Int k = 1; k <= n; ++k) {
        const bool is_wanted = dol <= k && k <= dou;
        for (Int i = 1; i <= n; ++i) EXPECT_EQ(part.Z(i, k), is_wanted ? all.Z(i, k) : T(0)) << i << ' ' << k;
        if (is_wanted) {
          EXPECT_EQ(part.roots.w(k), all.roots.w(k)) << k;
          EXPECT_EQ(part.isuppz(2 * k - 1), all.isuppz(2 * k - 1)) << k;
          EXPECT_EQ(part.isuppz(2 * k), all.isuppz(2 * k)) << k;
        } else {
          EXPECT_NEAR(part.roots.w(k), all.roots.w(k), 1000 * epsilon<T> * 11) << k;
          EXPECT_EQ(part.isuppz(2 * k), guard<Int>()) << k;
        }
      }
    }
  }
}

TYPED_TEST(RepresentationTrees, DoNothingForNoValues) {
  using T = TypeParam;
  Tree<T> tree(this->roots_of(one_two_one<Real<T>>(5), Wanted<Real<T>>::by_value(10, 20)));
  EXPECT_EQ(tree.roots.m, 0);
  EXPECT_EQ(tree.run().info, 0);
  EXPECT_TRUE(tree.guards_unchanged());
}

TYPED_TEST(RepresentationTrees, TellOfVectorsThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  Tree<T> tree(this->roots_of(one_two_one<R>(9)));
  tree.roots.w(4) = std::numeric_limits<R>::quiet_NaN();
  EXPECT_EQ(tree.run().info, 5);
  EXPECT_TRUE(tree.guards_unchanged());
}

TYPED_TEST(RepresentationTrees, TellOfClustersWithoutARepresentation) {
  using T = TypeParam;
  using R = Real<T>;
  Tree<T> tree(this->roots_of(one_two_one<R>(9)));
  tree.roots.wgap(4) = 0;
  tree.roots.e(3) = std::numeric_limits<R>::quiet_NaN();
  EXPECT_EQ(tree.run().info, 5);  // values 1 to 3 come first
  Tree<T> other(this->roots_of(one_two_one<R>(9)), 4, 9);
  other.roots.wgap(4) = 0;
  other.roots.e(3) = std::numeric_limits<R>::quiet_NaN();
  EXPECT_EQ(other.run().info, -2);
}

}  // namespace
}  // namespace nuv::test
