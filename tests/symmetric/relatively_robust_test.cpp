// Roots and children of representation trees: ?larre, ?larrf.

#include <algorithm>

#include "routines.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/represented_matrix.hpp"
#include "symmetric/root_representations.hpp"

namespace nuv::test {
namespace {

template <class R>
class RootRepresentations : public testing::Test {
 protected:
  using W = WideReal<R>;

  /// Representations of the blocks are those of T less their shifts, up to the few units that tell equal values apart.
  static void expect_representations(Roots<R>& roots, const std::string& what) {
    const W size = roots.norm() + std::abs(W(roots.vl)) + std::abs(W(roots.vu));
    for (const auto& block : roots.blocks()) {
      const Int order = block.last - block.first + 1;
      if (roots.values_of(block).empty() || order == 1) continue;
      const auto root = roots.root_of(block);
      const W shift = roots.e(block.last);
      for (Int i = block.first; i <= block.last; ++i) {
        const Int k = i - block.first;
        const WideMatrix<R> A = root.wide();
        EXPECT_LT(std::abs(A(k, k) + shift - W(roots.matrix.d[std::size_t(i - 1)])), 100 * epsilon<R> * size) << what;
        if (i == block.last) continue;
        EXPECT_LT(std::abs(A(k, k + 1) - W(roots.matrix.e[std::size_t(i - 1)])), 100 * epsilon<R> * size) << what;
      }
    }
  }

  /// Shifts amid the spectrum make elements grow if they are not chosen well.
  static void expect_no_growth(Roots<R>& roots, const std::string& what) {
    for (const auto& block : roots.blocks()) {
      if (block.first == block.last || roots.values_of(block).empty()) continue;
      R low = roots.gers(2 * block.first - 1), high = roots.gers(2 * block.first);
      for (Int i = block.first; i <= block.last; ++i) {
        low = std::min(low, roots.gers(2 * i - 1));
        high = std::max(high, roots.gers(2 * i));
      }
      for (const R& pivot : roots.root_of(block).d) EXPECT_LE(std::abs(pivot), 2 * (high - low)) << what;
    }
  }

  /// Each value is that of its index, within its bound; the gaps are those between the intervals.
  static void expect_values(Roots<R>& roots, const std::string& what) {
    Int k = 1;
    for (const auto& block : roots.blocks()) {
      const auto root = roots.root_of(block);
      const auto values = roots.values_of(block);
      for (std::size_t at = 0; at < values.size(); ++at, ++k) {
        EXPECT_EQ(roots.iblock(k), block.number) << what;
        if (at > 0) {
          EXPECT_EQ(roots.indexw(k), roots.indexw(k - 1) + 1) << what;
          const R gap = (roots.w(k) - roots.werr(k)) - (roots.w(k - 1) + roots.werr(k - 1));
          EXPECT_NEAR(roots.wgap(k - 1), std::max(R(0), gap),
                      4 * epsilon<R> * (std::abs(roots.w(k - 1)) + std::abs(roots.w(k))))
              << what;
        }
        EXPECT_GE(roots.wgap(k), 0) << what;
        if (at + 1 == values.size() && root.order() > 1) {
          const R gap = roots.vu - roots.e(block.last) - (roots.w(k) + roots.werr(k));
          EXPECT_NEAR(roots.wgap(k), std::max(R(0), gap), 4 * epsilon<R> * (roots.norm() + std::abs(roots.vu))) << what;
        }
        if (root.order() == 1) {
          EXPECT_EQ(roots.w(k), root.d[0]) << what;
          continue;
        }
        const W margin =
            W(roots.werr(k)) + 4 * root.order() * epsilon<R> * std::abs(W(roots.w(k))) + std::numeric_limits<R>::min();
        EXPECT_LT(root.count_below(W(roots.w(k)) - margin), roots.indexw(k)) << what << ", value " << k;
        EXPECT_GE(root.count_below(W(roots.w(k)) + margin), roots.indexw(k)) << what << ", value " << k;
      }
    }
    EXPECT_EQ(k - 1, roots.m) << what;
  }
};
TYPED_TEST_SUITE(RootRepresentations, RealPrecisions, PrecisionLetter);

TYPED_TEST(RootRepresentations, OfAllValuesAreDefinite) {
  using R = TypeParam;
  for (const Int n : {1, 2, 3, 21, 45}) {
    for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
      const std::string what = name + (" of order " + std::to_string(n));
      if (what.starts_with("of huge norm") || what.starts_with("of tiny norm")) continue;  // the caller scales those
      Roots<R> roots({}, matrix);
      roots.run();
      ASSERT_EQ(roots.info, 0) << what;
      EXPECT_EQ(roots.m, n) << what;
      EXPECT_TRUE(roots.guards_unchanged()) << what;
      this->expect_representations(roots, what);
      this->expect_values(roots, what);
      for (const auto& block : roots.blocks()) {
        const auto d = roots.root_of(block).d;
        if (d.size() == 1) continue;
        for (const R& x : d) EXPECT_EQ(x > 0, d[0] > 0) << what;
      }
    }
  }
}

TYPED_TEST(RootRepresentations, OfSomeValues) {
  using R = TypeParam;
  const Int n = 45;
  for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
    const std::string what = name;
    if (what == "of huge norm" || what == "of tiny norm") continue;
    const auto exact = wide_values(matrix);
    for (const auto& [il, iu] : {std::pair{1, 3}, {20, 20}, {20, 24}, {3, 40}, {44, 45}}) {
      Roots<R> roots(Wanted<R>::by_index(il, iu), matrix);
      roots.run();
      ASSERT_EQ(roots.info, 0) << what;
      EXPECT_EQ(roots.m, iu - il + 1) << what;
      EXPECT_LE(roots.vl, R(exact[std::size_t(il - 1)]) + epsilon<R> * n * roots.norm()) << what;
      EXPECT_GE(roots.vu, R(exact[std::size_t(iu - 1)]) - epsilon<R> * n * roots.norm()) << what;
      this->expect_representations(roots, what);
      this->expect_values(roots, what);
      this->expect_no_growth(roots, what);
    }
  }
}

/// Elements beside the diagonal are negligible against the norm, or against their neighbours on the diagonal.
TYPED_TEST(RootRepresentations, OfBlocks) {
  using R = TypeParam;
  constexpr R small = epsilon<R> / 2;
  const Tridiagonal<R> matrix{{1, 2, 3, small, 5, 6}, {1, small, small, 0, 1}};
  Roots<R> absolute({}, matrix), relative({}, matrix);
  absolute.spltol = -epsilon<R>;
  absolute.run();
  EXPECT_EQ(absolute.nsplit, 4);
  for (const auto& [block, last] : {std::pair{1, 2}, {2, 3}, {3, 4}, {4, 6}}) EXPECT_EQ(absolute.isplit(block), last);
  for (const Int i : {2, 3, 4}) EXPECT_EQ(absolute.e2(i), R(0)) << i;
  for (const Int k : {3, 4}) {
    EXPECT_EQ(absolute.w(k), matrix.d[std::size_t(k - 1)]);
    EXPECT_EQ(absolute.werr(k), R(0));
    EXPECT_EQ(absolute.e(k), R(0));
  }
  relative.spltol = epsilon<R>;
  relative.run();
  EXPECT_EQ(relative.nsplit, 3);
  for (const auto& [block, last] : {std::pair{1, 2}, {2, 4}, {3, 6}}) EXPECT_EQ(relative.isplit(block), last);
}

TYPED_TEST(RootRepresentations, ComeWithGerschgorinIntervals) {
  using R = TypeParam;
  Roots<R> roots({}, {{1, -2, 4}, {3, -5}});
  roots.run();
  const R expected[] = {-2, 4, -10, 6, -1, 9};
  for (Int i = 1; i <= 6; ++i) EXPECT_EQ(roots.gers(i), expected[i - 1]) << i;
  EXPECT_EQ(roots.vl, R(-10));
  EXPECT_EQ(roots.vu, R(9));
  EXPECT_EQ(roots.pivmin, 25 * std::numeric_limits<R>::min());
}

/// Blocks of which no values are wanted have no root.
TYPED_TEST(RootRepresentations, OfWantedBlocksOnly) {
  using R = TypeParam;
  Roots<R> roots(Wanted<R>::by_value(R(9.5), 20), {{1, 2, 10, 11, 3}, {R(0.5), 0, R(0.5), 0}});
  roots.run();
  EXPECT_EQ(roots.info, 0);
  EXPECT_EQ(roots.m, 2);
  EXPECT_EQ(roots.iblock(1), 2);
  EXPECT_EQ(roots.iblock(2), 2);
  EXPECT_EQ(roots.indexw(1), 1);
  EXPECT_EQ(roots.d(1), R(1));
  EXPECT_EQ(roots.e(2), R(0));
  EXPECT_NE(roots.e(4), R(0));
}

/// Equal values of blocks far apart stay equal; those of one block come apart by random changes, the same in each call.
TYPED_TEST(RootRepresentations, AreTheSameInEachCall) {
  using R = TypeParam;
  const auto matrix = glued_wilkinson<R>(42, std::sqrt(epsilon<R>));
  Roots<R> one({}, matrix), other({}, matrix);
  one.run();
  other.run();
  EXPECT_TRUE(one.d.same_as(other.d) && one.e.same_as(other.e) && one.w.same_as(other.w));
  const auto given = representation_of(matrix, one.e(42));
  Int changed = 0;
  for (Int i = 1; i <= 42; ++i) changed += one.d(i) != given.d[std::size_t(i - 1)];
  EXPECT_GT(changed, 30);
}

TYPED_TEST(RootRepresentations, TellWhenThereIsNone) {
  using R = TypeParam;
  Tridiagonal<R> matrix = one_two_one<R>(6);
  matrix.d[2] = std::numeric_limits<R>::quiet_NaN();
  for (const Wanted<R>& wanted : {Wanted<R>{}, Wanted<R>::by_index(2, 3)}) {
    Roots<R> roots(wanted, matrix);
    roots.run();
    EXPECT_TRUE(roots.info == 2 || (roots.info < 0 && roots.info >= -6)) << roots.info;
  }
}

// ------------------------------------------------------------------------------------------------------------ children

/// The arguments of ?larrf for the cluster of values first ... last.
template <RealScalar R>
struct Child {
  using W = WideReal<R>;

  const RepresentedMatrix<R>& A;
  Int first, last;
  R spdiam, clgapl, clgapr;
  Int n = A.order();
  std::vector<R> w, wgap, werr;
  GuardedVector<R> dplus{n}, lplus{n - 1}, work{2 * n};
  R sigma = 0;
  Int info = 99;

  Child(const RepresentedMatrix<R>& A_, Int first_, Int last_) : A(A_), first(first_), last(last_) {
    std::vector<W> exact;
    for (Int k = 1; k <= n; ++k) exact.push_back(A.value(k));
    const auto gap = [&](Int k) { return R(exact[std::size_t(k)] - exact[std::size_t(k - 1)]); };
    for (Int k = 1; k <= n; ++k) {
      w.push_back(R(exact[std::size_t(k - 1)]));
      werr.push_back(2 * epsilon<R> * std::abs(w.back()));
      wgap.push_back(k < n ? gap(k) : R(0));
    }
    spdiam = R(exact.back() - exact.front());
    clgapl = first > 1 ? gap(first - 1) : spdiam;
    clgapr = last < n ? gap(last) : spdiam;
  }

  Child& run() {
    routine_call::larrf(n, A.d.data(), A.l.data(), A.ld.data(), first, last, w.data(), wgap.data(), werr.data(), spdiam,
                        clgapl, clgapr, std::numeric_limits<R>::min(), sigma, dplus.data(), lplus.data(), work.data(),
                        info);
    return *this;
  }

  RepresentedMatrix<R> child() const {
    return {{dplus.data(), dplus.data() + n}, {lplus.data(), lplus.data() + n - 1}};
  }

  R growth() const {
    R largest = 0;
    for (Int i = 1; i <= n; ++i) largest = std::max(largest, std::abs(dplus(i)));
    return largest;
  }

  void expect_child() {
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(dplus.guards_unchanged() && lplus.guards_unchanged() && work.guards_unchanged());
    const R low = w[std::size_t(first - 1)], high = w[std::size_t(last - 1)];
    EXPECT_TRUE(sigma < low || sigma > high);
    EXPECT_LT(std::min(std::abs(sigma - low), std::abs(sigma - high)), clgapl / 2 + 10 * epsilon<R> * std::abs(high));
    const WideMatrix<R> difference = A.wide(W(sigma)) - child().wide();
    EXPECT_LT(difference.cwiseAbs().maxCoeff(), 20 * epsilon<R> * (growth() + spdiam));
  }
};

template <class R>
class ChildRepresentations : public testing::Test {
 protected:
  /// Values of which 4 to 6 are a cluster.
  static RepresentedMatrix<R> with_cluster(R width) {
    using W = WideReal<R>;
    std::vector<W> values;
    for (const double value : {0.5, 1.0, 1.5, 2.0, 2.0, 2.0, 2.5, 3.0, 3.5}) values.push_back(W(value));
    values[4] += W(width) / 2;
    values[5] += W(width);
    return representation_of(tridiagonal_with_values<R>(values), R(0.25));
  }
};
TYPED_TEST_SUITE(ChildRepresentations, RealPrecisions, PrecisionLetter);

TYPED_TEST(ChildRepresentations, OpenTheGapsOfAcluster) {
  using R = TypeParam;
  const R width = R(1e-3);
  const auto A = this->with_cluster(width);
  Child<R> child(A, 4, 6);
  child.run().expect_child();
  EXPECT_LE(child.growth(), 8 * child.spdiam);
  // The shift lies beside one end.
  const R low = child.w[3], high = child.w[5];
  EXPECT_LT(std::min(std::abs(child.sigma - low), std::abs(child.sigma - high)), width / 100);
  // The values of the child are those of the parent less the shift, the nearest of them by far the least.
  const auto represented = child.child();
  for (Int k = 4; k <= 6; ++k) {
    const auto expected = A.value(k) - child.sigma;
    EXPECT_LT(std::abs(represented.value(k) - expected), 50 * epsilon<R> * child.spdiam) << k;
  }
}

/// A bound on growth that no shift keeps, as if the spectrum were narrow: for a cluster that is by far narrower than
/// the gaps around it the least growth has to do, for others nothing does.
TYPED_TEST(ChildRepresentations, TakeTheLeastGrowthOnlyForIsolatedClusters) {
  using R = TypeParam;
  const auto A = this->with_cluster(R(1e-3));
  Child<R> isolated(A, 4, 6), crowded(A, 4, 6), free(A, 4, 6);
  isolated.spdiam = crowded.spdiam = R(1e-3);
  crowded.clgapl = crowded.clgapr = R(0.1);  // less than 128 times the width
  free.run();
  isolated.run();
  EXPECT_EQ(isolated.info, 0);
  const WideMatrix<R> difference = A.wide(WideReal<R>(isolated.sigma)) - isolated.child().wide();
  EXPECT_LT(difference.cwiseAbs().maxCoeff(), 20 * epsilon<R> * isolated.growth());
  EXPECT_LE(isolated.growth(), free.growth() * R(1.001));
  EXPECT_EQ(crowded.run().info, 1);
}

/// Where shifts on both sides of a cluster leave elements small, the one with the smaller |D+ z| is taken, z the unit
/// vector with L+^T z = 0 but for its last element.
TYPED_TEST(ChildRepresentations, LieOnTheBetterSideOfTheCluster) {
  using R = TypeParam;
  using W = WideReal<R>;
  const auto beside_vector = [](const RepresentedMatrix<R>& A) {
    W largest = std::abs(A.d.back()), z = 1, squares = 1;
    for (std::size_t i = A.l.size(); i-- > 0;) {
      z *= std::abs(A.l[i]);
      squares += z * z;
      largest = std::max(largest, std::abs(A.d[i]) * z);
    }
    return largest / std::sqrt(squares);
  };
  Int on_the_left = 0, on_the_right = 0;
  for (Int order = 4; order <= 20; ++order) {
    for (Int first = 1; first < order; ++first) {
      std::vector<W> values;
      for (Int k = 1; k <= order; ++k) values.push_back(W(k) / 2);
      values[std::size_t(first)] = values[std::size_t(first - 1)] + W(1e-3);
      const Tridiagonal<R> T = tridiagonal_with_values<R>(values);
      const auto A = representation_of(T, R(0.25));
      Child<R> child(A, first, first + 1);
      child.run();
      ASSERT_EQ(child.info, 0);
      const R low = child.w[std::size_t(first - 1)], high = child.w[std::size_t(first)];
      const auto on_side = [&](R end, R outwards) { return representation_of(T, R(0.25) + end + outwards * R(1e-5)); };
      const auto left = on_side(low, -1), right = on_side(high, 1);
      const auto growth = [](const auto& B) {
        return std::abs(*std::ranges::max_element(B.d, {}, [](R x) { return std::abs(x); }));
      };
      if (std::max(growth(left), growth(right)) > 7 * child.spdiam) continue;
      const W ratio = beside_vector(left) / beside_vector(right);
      if (ratio < W(0.8)) {
        EXPECT_LT(child.sigma, low) << order << ' ' << first;
        ++on_the_left;
      } else if (ratio > W(1.25)) {
        EXPECT_GT(child.sigma, high) << order << ' ' << first;
        ++on_the_right;
      }
    }
  }
  EXPECT_GT(on_the_left, 0);
  EXPECT_GT(on_the_right, 0);
}

/// Growth that even a cluster far from all others can't bear.
TYPED_TEST(ChildRepresentations, AreNoneWithHopelessGrowth) {
  using R = TypeParam;
  const auto A = this->with_cluster(R(1e-3));
  for (const bool hopeless : {false, true}) {
    Child<R> child(A, 4, 6);
    child.w[3] = child.w[4] = child.w[5] = child.w[4] + R(1e-4);  // of no width, and no eigenvalue
    child.werr[3] = child.werr[4] = child.werr[5] = 0;
    child.spdiam = R(1e-3);
    child.clgapl = child.clgapr = (hopeless ? R(1e-5) : R(1)) * std::sqrt(epsilon<R>);
    EXPECT_EQ(child.run().info, hopeless ? 1 : 0);
  }
}

TYPED_TEST(ChildRepresentations, AreNoneForNaN) {
  using R = TypeParam;
  auto A = this->with_cluster(R(1e-3));
  Child<R> child(A, 4, 6);
  A.d[3] = std::numeric_limits<R>::quiet_NaN();
  EXPECT_EQ(child.run().info, 1);
}

}  // namespace
}  // namespace nuv::test
