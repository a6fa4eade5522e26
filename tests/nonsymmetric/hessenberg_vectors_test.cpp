// Eigenvectors of Hessenberg matrices by inverse iteration, judged in the next wider type.

#include <limits>

#include "nonsymmetric/inverse_iteration_call.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class HessenbergVectors : public ReportingTest {
 protected:
  Random random{19};
};
TYPED_TEST_SUITE(HessenbergVectors, Precisions, PrecisionLetter);

TYPED_TEST(HessenbergVectors, OfEveryValue) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 4, 7, 16, 25}) {
    for (const char eigsrc : {'n', 'q'}) {
      const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {n});
      for (const char side : {'b', 'l', 'r'}) {
        InverseIteration<T> found(known);
        found.eigsrc = eigsrc;
        found.side = side;
        if (side == 'l') found.VR = GuardedMatrix<T>(1, 1, 1);
        if (side == 'r') found.VL = GuardedMatrix<T>(1, 1, 1);
        expect_vectors(known, found.run());
        if (side == 'l') {
          EXPECT_TRUE(found.VR.unchanged() && found.ifailr.unchanged());
        }
        if (side == 'r') {
          EXPECT_TRUE(found.VL.unchanged() && found.ifaill.unchanged());
        }
      }
    }
  }
}

TYPED_TEST(HessenbergVectors, OfBlocks) {
  using T = TypeParam;
  for (const std::vector<Int>& orders : std::initializer_list<std::vector<Int>>{{1, 1}, {2, 1, 3}, {5, 6}, {4, 1, 7}}) {
    const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, orders);
    for (const char eigsrc : {'N', 'Q'}) {
      InverseIteration<T> found(known);
      found.eigsrc = eigsrc;
      expect_vectors(known, found.run());
      if (eigsrc == 'N') continue;
      // Nothing is in the rows behind a block on the right, and before it on the left.
      Int first = 1;
      for (const Int order : orders) {
        for (Int j = first; j < first + order; ++j) {
          for (Int i = 1; i < first; ++i) EXPECT_EQ(found.VL(i, j), T(0));
          for (Int i = first + order; i <= known.n(); ++i) EXPECT_EQ(found.VR(i, j), T(0));
        }
        first += order;
      }
    }
  }
}

TYPED_TEST(HessenbergVectors, OfTriangles) {
  using T = TypeParam;
  for (const char eigsrc : {'N', 'Q'}) {
    const KnownMatrix<T> known = quasi_triangular(random_schur_form<T>(this->random, 14, 15));
    InverseIteration<T> found(known);
    found.eigsrc = eigsrc;
    expect_vectors(known, found.run());
  }
}

TYPED_TEST(HessenbergVectors, OfSelectedValues) {
  using T = TypeParam;
  const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {6, 5});
  const InverseIteration<T> all = InverseIteration<T>(known).run();
  constexpr Logical truths[] = {-1, 1, 7}, lies[] = {0, 2, -4};
  for (int turn = 0; turn < 12; ++turn) {
    InverseIteration<T> found(known);
    std::vector<Int> columns;
    for (Int k = 1; k <= known.n(); k += known.columns(k)) {
      const Int flags = this->random.integer(0, known.is_pair(k) ? 3 : 1);
      for (Int i = 0; i < known.columns(k); ++i) {
        found.select(k + i) = (flags >> i & 1) != 0 ? this->random.pick(truths) : this->random.pick(lies);
        if (flags != 0) columns.push_back(k + i);
      }
    }
    found.select.seal();
    found.mm = Int(columns.size());
    found.VL = found.VR = GuardedMatrix<T>(known.n(), found.mm, known.n());
    found.ifaill = found.ifailr = GuardedVector<Int>(found.mm);
    expect_vectors(known, found.run());
    EXPECT_EQ(found.m, found.mm);
    for (Int j = 1; j <= found.mm; ++j) {
      for (Int i = 1; i <= known.n(); ++i) {
        EXPECT_TRUE(same_bits(found.VR(i, j), all.VR(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
        EXPECT_TRUE(same_bits(found.VL(i, j), all.VL(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
      }
    }
    for (Int k = 1; k <= known.n(); k += known.columns(k)) {
      if (!known.is_pair(k)) {
        EXPECT_EQ(found.select(k), found.select.sealed(k));
        continue;
      }
      const bool either = ((found.select.sealed(k) | found.select.sealed(k + 1)) & 1) != 0;
      EXPECT_EQ(found.select(k), to_logical(either));
      EXPECT_EQ(found.select(k + 1), 0);
    }
  }
}

/// Values that are the same are moved apart within their block, and those alone.
TYPED_TEST(HessenbergVectors, OfClusters) {
  using T = TypeParam;
  using R = Real<T>;
  for (const char eigsrc : {'N', 'Q'}) {
    KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {7, 6});
    for (Int j = 8; j <= 13; ++j) {
      for (Int i = 8; i <= 13; ++i) known.H(i, j) *= R(64);
    }
    // In both blocks; a value that is not selected moves nothing.
    std::vector<Int> single;
    for (Int k = 1; k <= 13; k += known.columns(k)) {
      if (!known.is_pair(k)) single.push_back(k);
    }
    InverseIteration<T> found(known);
    found.eigsrc = eigsrc;
    ASSERT_GE(single.size(), 4u);
    const Int unselected = single[0];
    for (const Int k : single) {
      if constexpr (RealScalar<T>) {
        found.wr(k) = R(0.5);
      } else {
        found.w(k) = T(R(0.5), R(-0.25));
      }
    }
    found.select(unselected) = 0;
    found.wr.seal();
    found.w.seal();
    found.run();
    GuardedVector<R> work(13);
    const Int cut = 7;
    const auto size = [&](Int first, Int last) {
      return routine_call::lanhs('I', last - first + 1, Matrix<T>(&found.H(first, first), found.ldh), work.data());
    };
    for (const Int k : single) {
      const bool is_second = eigsrc == 'Q' && k > cut;
      const Int before = Int(
          std::ranges::count_if(single, [&](Int i) { return i < k && i != unselected && (i > cut || !is_second); }));
      const R eps3 = epsilon<T> * (eigsrc == 'N' ? size(1, 13) : is_second ? size(8, 13) : size(1, cut));
      const R moved = found.value(k).real() - R(0.5);
      if (k == unselected || before == 0) {
        EXPECT_EQ(moved, 0) << k;
      } else {
        EXPECT_GE(moved, R(before) * eps3 * R(0.7)) << k;
        EXPECT_LE(moved, R(2 * before) * eps3 * R(1.5)) << k;
      }
      if (ComplexScalar<T>) {
        EXPECT_EQ(found.value(k).imag(), R(-0.25)) << k;
      }
    }
  }
}

/// Of the identity each vector is an eigenvector, the one that the iteration starts with too. Pairs move as one.
TYPED_TEST(HessenbergVectors, FromGivenStarts) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 5;
  const KnownMatrix<T> known = quasi_triangular(identity_matrix<T>(n, n));
  InverseIteration<T> found(known);
  found.initv = 'u';
  const GuardedMatrix<T> starts = random_matrix<T>(this->random, n, n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) found.VR(i, j) = found.VL(i, j) = starts(i, j) * R(1e5);
  }
  expect_vectors(known, found.run());
  for (Int j = 1; j <= n; ++j) {
    Int largest = 1;
    for (Int i = 1; i <= n; ++i) largest = std::abs(starts(i, j)) > std::abs(starts(largest, j)) ? i : largest;
    for (const auto* V : {&found.VR, &found.VL}) {
      for (Int i = 1; i <= n; ++i) {
        EXPECT_NEAR(std::abs((*V)(i, j) / (*V)(largest, j) - starts(i, j) / starts(largest, j)), 0, 20 * epsilon<T>);
      }
    }
  }
  const KnownMatrix<T> other = with_unreduced_blocks<T>(this->random, {9});
  InverseIteration<T> general(other);
  general.initv = 'U';
  general.VL = general.VR = random_matrix<T>(this->random, 9, 9, 9);
  // A start that is nothing is as good as none.
  for (Int i = 1; i <= 9; ++i) general.VR(i, 3) = general.VL(i, 3) = T(0);
  expect_vectors(other, general.run());
}

TYPED_TEST(HessenbergVectors, OfEqualPairs) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    GuardedMatrix<T> S = random_schur_form<T>(this->random, {2, 2, 1, 2}, 7);
    for (const Int k : {3, 6}) {
      S(k, k) = S(k + 1, k + 1) = S(1, 1);
      S(k, k + 1) = S(1, 2);
      S(k + 1, k) = S(2, 1);
    }
    const KnownMatrix<T> known = quasi_triangular(S);
    InverseIteration<T> found(known);
    found.wr.seal();
    expect_vectors(known, found.run());
    for (const Int k : {1, 3, 6}) EXPECT_EQ(found.wr(k), found.wr(k + 1));
    EXPECT_EQ(found.wr(1), found.wr.sealed(1));
    EXPECT_GT(found.wr(3), found.wr(1));
    EXPECT_GT(found.wr(6), found.wr(3));
  }
}

TYPED_TEST(HessenbergVectors, OfNothing) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 6;
  KnownMatrix<T> known{GuardedMatrix<T>(n, n, n), std::vector<std::complex<R>>(n, 0)};
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) known.H(i, j) = T(0);
  }
  known.H.seal();
  expect_vectors(known, InverseIteration<T>(known).run());
  // Values beside which the matrix is nothing can't be moved apart.
  for (auto& value : known.values) value = {R(1), 0};
  const InverseIteration<T> found = InverseIteration<T>(known).run();
  EXPECT_EQ(found.info, 2 * n);
  for (Int k = 1; k <= n; ++k) {
    EXPECT_EQ(found.value(k), std::complex<R>(1));
    EXPECT_EQ(found.ifaill(k), k);
    EXPECT_EQ(found.ifailr(k), k);
  }

  // Nothing is a matrix, too, whose rounding errors underflow: what differs from its value by no more has a vector.
  KnownMatrix<T> least{GuardedMatrix<T>(1, 1, 1), {R(0)}};
  least.H(1, 1) = T(std::ldexp(R(1), std::numeric_limits<R>::min_exponent - 3));
  EXPECT_EQ(InverseIteration<T>(least).run().info, 0);

  InverseIteration<T> empty(KnownMatrix<T>{GuardedMatrix<T>(0, 0, 1), {}});
  empty.VL = empty.VR = GuardedMatrix<T>(1, 1, 1);
  empty.run();
  EXPECT_EQ(empty.info, 0);
  EXPECT_EQ(empty.m, 0);
  EXPECT_TRUE(empty.VL.unchanged() && empty.VR.unchanged());
}

/// Of blocks with nothing selected nothing is left behind: each vector is that of a call with all.
TYPED_TEST(HessenbergVectors, OfBlocksBehindOthers) {
  using T = TypeParam;
  const std::vector<Int> orders{4, 1, 5, 3};
  const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, orders);
  InverseIteration<T> all(known);
  all.eigsrc = 'Q';
  all.run();
  for (int wanted = 1; wanted < 16; ++wanted) {
    SCOPED_TRACE(wanted);
    InverseIteration<T> found(known);
    found.eigsrc = 'Q';
    std::vector<Int> columns;
    Int k = 1;
    for (std::size_t block = 0; block < orders.size(); ++block) {
      for (Int i = 0; i < orders[block]; ++i, ++k) {
        const bool is_wanted = (wanted >> block & 1) != 0;
        found.select(k) = to_logical(is_wanted);
        if (is_wanted) columns.push_back(k);
      }
    }
    expect_vectors(known, found.run());
    ASSERT_EQ(found.m, Int(columns.size()));
    for (Int j = 1; j <= found.m; ++j) {
      for (Int i = 1; i <= known.n(); ++i) {
        EXPECT_TRUE(same_bits(found.VR(i, j), all.VR(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
        EXPECT_TRUE(same_bits(found.VL(i, j), all.VL(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
      }
    }
  }
}

template <Scalar T>
struct HseinCall : InverseIteration<T> {
  Int ldvl = 5, ldvr = 5;

  HseinCall() : InverseIteration<T>(known()) {
    for (Int k = 1; k <= 5; ++k) this->select(k) = to_logical(k != 3);
    this->VL = this->VR = GuardedMatrix<T>(5, 5, 5);
    this->select.seal();
    this->wr.seal();
    this->w.seal();
  }
  static KnownMatrix<T> known() {
    Random random(3);
    return quasi_triangular(
        random_schur_form<T>(random, RealScalar<T> ? std::vector<Int>{1, 2, 2} : std::vector<Int>(5, 1), 5));
  }
  Int run() {
    GuardedVector<T> work(35);
    GuardedVector<Real<T>> rwork(5);
    this->call(ldvl, ldvr, work, rwork);
    return this->info;
  }
  bool unchanged() const {
    return this->H.unchanged() && this->VL.unchanged() && this->VR.unchanged() && this->select.unchanged() &&
           this->wr.unchanged() && this->w.unchanged();
  }
};

TYPED_TEST(HessenbergVectors, HaveArgumentsThatAreChecked) {
  using T = TypeParam;
  using Call = HseinCall<T>;
  constexpr int earlier = RealScalar<T> ? 0 : 1;  // one array of values instead of two
  expect_argument_checks<Call>(reported_name<T>("HSEIN"), {{1, [](Call& c) { c.side = 'A'; }},
                                                           {2, [](Call& c) { c.eigsrc = 'A'; }},
                                                           {3, [](Call& c) { c.initv = 'A'; }},
                                                           {5, [](Call& c) { c.n = -1; }},
                                                           {7, [](Call& c) { c.ldh = 4; }},
                                                           {11 - earlier, [](Call& c) { c.ldvl = 4; }},
                                                           {13 - earlier, [](Call& c) { c.ldvr = 4; }},
                                                           {14 - earlier, [](Call& c) { c.mm = 3; }}});
  for (const Int mm : {4, 5}) {
    Call call;
    call.mm = mm;
    expect_report(call, reported_name<T>("HSEIN"), mm < (RealScalar<T> ? 5 : 4) ? 14 : 0);
  }
  for (const char side : {'L', 'R'}) {
    for (const Int ld : {0, 1}) {
      Call call;
      call.side = side;
      (side == 'R' ? call.ldvl : call.ldvr) = ld;
      expect_report(call, reported_name<T>("HSEIN"), ld == 1 ? 0 : (side == 'R' ? 11 : 13) - earlier);
    }
  }
}

}  // namespace
}  // namespace nuv::test
