// Merges of singular values and vectors at hand: the tree, its leaves, deflation and merges.

#include <cmath>
#include <limits>

#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/real_precisions.hpp"
#include "svd/bidiagonal_halves.hpp"

namespace nuv::test {
namespace {

template <class R>
class BidiagonalMerges : public ReportingTest {
 protected:
  Random random{56};
};
TYPED_TEST_SUITE(BidiagonalMerges, RealPrecisions, PrecisionLetter);

// --------------------------------------------------------------------------------------------------------------- tree

struct Tree {
  Int lvl = 99, nd = 99;
  std::vector<Int> inode, ndiml, ndimr;
};

template <RealScalar R>
Tree tree_of(Int n, Int msub) {
  GuardedVector<Int> inode(n), ndiml(n), ndimr(n);
  Tree tree;
  routine_call::lasdt<R>(n, tree.lvl, tree.nd, inode.data(), ndiml.data(), ndimr.data(), msub);
  EXPECT_TRUE(inode.guards_unchanged() && ndiml.guards_unchanged() && ndimr.guards_unchanged());
  const auto first = [&](const GuardedVector<Int>& x) { return std::vector<Int>(x.data(), x.data() + tree.nd); };
  tree.inode = first(inode);
  tree.ndiml = first(ndiml);
  tree.ndimr = first(ndimr);
  return tree;
}

TYPED_TEST(BidiagonalMerges, HaveATree) {
  const Tree one = tree_of<TypeParam>(26, 25);
  EXPECT_EQ(one.lvl, 1);
  EXPECT_EQ(one.nd, 1);
  EXPECT_EQ(one.inode, std::vector<Int>({14}));
  EXPECT_EQ(one.ndiml, std::vector<Int>({13}));
  EXPECT_EQ(one.ndimr, std::vector<Int>({12}));
  const Tree three = tree_of<TypeParam>(19, 4);
  EXPECT_EQ(three.lvl, 2);
  EXPECT_EQ(three.nd, 3);
  EXPECT_EQ(three.inode, std::vector<Int>({10, 5, 15}));
  EXPECT_EQ(three.ndiml, std::vector<Int>({9, 4, 4}));
  EXPECT_EQ(three.ndimr, std::vector<Int>({9, 4, 4}));
  EXPECT_EQ(tree_of<TypeParam>(51, 25).lvl, 1);
  EXPECT_EQ(tree_of<TypeParam>(52, 25).lvl, 2);
  EXPECT_EQ(tree_of<TypeParam>(26 * 8192, 25).lvl, 14);
}

/// Every row is one that joins, or in one leaf, none of which is larger than they may be.
TYPED_TEST(BidiagonalMerges, HaveATreeOfAllRows) {
  for (const Int msub : {3, 25}) {
    for (Int n = msub + 1; n < 240; ++n) {
      const Tree tree = tree_of<TypeParam>(n, msub);
      ASSERT_EQ(tree.nd, (1 << tree.lvl) - 1);
      std::vector<int> visits(std::size_t(n + 1), 0);
      for (Int i = 0; i < tree.nd; ++i) {
        const auto at = std::size_t(i);
        ++visits[std::size_t(tree.inode[at])];
        if (2 * i + 1 < tree.nd) continue;
        EXPECT_TRUE(tree.ndiml[at] >= 1 && tree.ndiml[at] <= msub && tree.ndimr[at] >= 1 && tree.ndimr[at] <= msub);
        for (Int row = tree.inode[at] - tree.ndiml[at]; row < tree.inode[at]; ++row) ++visits[std::size_t(row)];
        for (Int row = tree.inode[at] + 1; row <= tree.inode[at] + tree.ndimr[at]; ++row) ++visits[std::size_t(row)];
      }
      for (Int row = 1; row <= n; ++row) ASSERT_EQ(visits[std::size_t(row)], 1) << n << ", row " << row;
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- leaves

/// Upper and lower, square and with a line more, with all three products.
TYPED_TEST(BidiagonalMerges, HaveLeavesOfAnyShape) {
  using R = TypeParam;
  for (const char uplo : uplos) {
    for (const Int sqre : {0, 1}) {
      for (const Int n : {1, 2, 3, 12}) {
        SCOPED_TRACE(testing::Message() << uplo << ", sqre " << sqre << ", n = " << n);
        std::vector<R> d, e;
        for (Int i = 0; i < n; ++i) d.push_back(R(this->random.real()));
        for (Int i = 0; i < n - 1 + sqre; ++i) e.push_back(R(this->random.real()));
        const Int rows = is_upper(uplo) ? n : n + sqre, columns = is_upper(uplo) ? n + sqre : n;
        GuardedVector<R> s = guarded(d), beside = guarded(e), work(4 * n);
        GuardedMatrix<R> U = identity<R>(rows, rows + 1), VT = identity<R>(columns, columns + 2),
                         C = random_matrix<R>(this->random, rows, 3, rows + 1);
        const WideMatrix<R> before = wide(C);
        Int info = 99;
        routine_call::lasdq(this->random.in_some_case(uplo), sqre, n, columns, rows, 3, s.data(), beside.data(),
                            Matrix<R>(VT), Matrix<R>(U), Matrix<R>(C), work.data(), info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(s.guards_unchanged() && beside.guards_unchanged() && work.guards_unchanged() &&
                    U.guards_unchanged() && VT.guards_unchanged() && C.guards_unchanged());
        EXPECT_TRUE(std::is_sorted(s.data(), s.data() + n));
        // The same in decreasing order.
        GuardedVector<R> values(n);
        WideMatrix<R> left = wide(U), right = wide(VT);
        for (Int i = 1; i <= n; ++i) {
          values(i) = s(n + 1 - i);
          left.col(i - 1) = wide(U).col(n - i);
          right.row(i - 1) = wide(VT).row(n - i);
        }
        expect_bidiagonal_svd<R>(wide_bidiagonal(d, e, is_upper(uplo)), exact_values(d, e), left, values, right);
        const WideMatrix<R> rest = wide(C) - product<R>(op<R>('T', wide(U)), before);
        EXPECT_LT(double(rest.cwiseAbs().maxCoeff()), 10 * n * double(std::numeric_limits<R>::epsilon()));

        // The values need no vectors.
        GuardedVector<R> alone = guarded(d), scratch = guarded(e);
        routine_call::lasdq(uplo, sqre, n, 0, 0, 0, alone.data(), scratch.data(), Matrix<R>(VT), Matrix<R>(U),
                            Matrix<R>(C), work.data(), info);
        EXPECT_EQ(info, 0);
        for (Int i = 1; i <= n; ++i) {
          EXPECT_NEAR(alone(i), s(i), 10 * n * std::numeric_limits<R>::epsilon() * std::abs(s(n)));
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- deflation

/// The arguments of ?lasd2.
template <RealScalar R>
struct Deflation {
  BidiagonalHalves<R> halves;
  Int k = 99, info = 99;
  GuardedVector<R> z, dsigma;
  GuardedMatrix<R> U2, VT2;
  GuardedVector<Int> idxp, idx, idxc, coltyp;

  explicit Deflation(const BidiagonalHalves<R>& halves_)
      : halves(halves_),
        z(m()),
        dsigma(n()),
        U2(n(), n(), n() + 1),
        VT2(m(), m(), m() + 1),
        idxp(n()),
        idx(n()),
        idxc(n()),
        coltyp(n()) {}

  Int n() const { return halves.matrix.n(); }
  Int m() const { return halves.matrix.m(); }

  Deflation& run(R alpha, R beta) {
    routine_call::lasd2(halves.matrix.nl, halves.matrix.nr, halves.matrix.sqre, k, halves.d.data(), z.data(), alpha,
                        beta, Matrix<R>(halves.U), Matrix<R>(halves.VT), dsigma.data(), Matrix<R>(U2), Matrix<R>(VT2),
                        idxp.data(), idx.data(), idxc.data(), halves.idxq.data(), coltyp.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(halves.d.guards_unchanged() && halves.U.guards_unchanged() && halves.VT.guards_unchanged() &&
                z.guards_unchanged() && dsigma.guards_unchanged() && U2.guards_unchanged() && VT2.guards_unchanged());
    EXPECT_TRUE(idxp.guards_unchanged() && idx.guards_unchanged() && idxc.guards_unchanged() &&
                coltyp.guards_unchanged());
    return *this;
  }
};

/// Halves of one and two rows with the values given, whose right vectors make the joining row in slots 2 and 3 of
/// alpha sin and beta.
template <RealScalar R>
BidiagonalHalves<R> halves_with(R first, R second, R sine) {
  const DividedBidiagonal<R> zero{"", 1, 1, 0, {R(0), R(0), R(0)}, {R(0), R(0)}};
  BidiagonalHalves<R> halves(zero, false);
  const R cosine = std::sqrt(1 - sine * sine);
  halves.d(1) = first;
  halves.d(3) = second;
  halves.VT(1, 1) = cosine;
  halves.VT(1, 2) = sine;
  halves.VT(2, 1) = -sine;
  halves.VT(2, 2) = cosine;
  return halves;
}

/// The limit is eight units of rounding of the last value or the joining elements.
TYPED_TEST(BidiagonalMerges, DeflateWithATolerance) {
  using R = TypeParam;
  constexpr R unit = std::numeric_limits<R>::epsilon() / 2;
  for (const R last : {R(0.75), R(4)}) {
    for (const R joining : {R(1), R(-0.5)}) {
      const R largest = std::max(last, std::abs(joining));
      for (const bool above : {false, true}) {
        // An element of the joining row on either side of the limit.
        const R element = 8 * unit * largest * (above ? R(1.01) : R(0.99));
        Deflation<R> of_row(halves_with<R>(R(0.5), last, element / std::abs(joining)));
        of_row.run(joining, R(0.125));
        EXPECT_EQ(of_row.k, above ? 3 : 2) << last << ' ' << joining;
        // The same for the distance of two values.
        Deflation<R> of_values(halves_with<R>(last - 8 * unit * largest * (above ? R(1.25) : R(0.75)), last, R(0.6)));
        of_values.run(joining, R(0.125));
        EXPECT_EQ(of_values.k, above ? 3 : 2) << last << ' ' << joining;
        EXPECT_EQ(of_values.coltyp(1), above ? 1 : 0);
        EXPECT_EQ(of_values.coltyp(2), above ? 1 : 2);
        EXPECT_EQ(of_values.coltyp(3), above ? 1 : 0);
      }
    }
  }
}

/// The poles have distances from zero and each other, the joining row no negligible element, and what is done stands at
/// the end in decreasing order.
TYPED_TEST(BidiagonalMerges, DeflateToASoundEquation) {
  using R = TypeParam;
  constexpr R unit = std::numeric_limits<R>::epsilon() / 2;
  for (const Int sqre : {0, 1}) {
    for (const auto& matrix : divided_bidiagonals<R>(9, 12, sqre, this->random)) {
      if (matrix.name == "huge") continue;
      for (const bool reversed : {false, true}) {
        SCOPED_TRACE(matrix.name + (reversed ? ", reversed" : ""));
        const BidiagonalHalves<R> halves(matrix, reversed);
        const R last = halves.d(matrix.n());
        Deflation<R> deflation(halves);
        deflation.run(matrix.alpha(), matrix.beta());
        const Int k = deflation.k, n = matrix.n();
        const R limit = 8 * unit * std::max({last, std::abs(matrix.alpha()), std::abs(matrix.beta())});
        ASSERT_TRUE(k >= 1 && k <= n);
        EXPECT_EQ(deflation.dsigma(1), 0);
        EXPECT_GE(std::abs(deflation.z(1)), limit);
        for (Int i = 2; i <= k; ++i) {
          EXPECT_GT(std::abs(deflation.z(i)), limit);
          EXPECT_GE(deflation.dsigma(i) - deflation.dsigma(i - 1), i == 2 ? limit / 2 : limit);
        }
        EXPECT_TRUE(std::is_sorted(&deflation.halves.d(1) + k, &deflation.halves.d(1) + n, std::greater<>()));
        EXPECT_EQ(deflation.coltyp(1) + deflation.coltyp(2) + deflation.coltyp(3), k);
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- merges

/// What ?lasd1 leaves is the decomposition of the whole, in the order that it tells.
template <RealScalar R>
void expect_merged(const DividedBidiagonal<R>& matrix, const GuardedVector<R>& d, const GuardedMatrix<R>& U,
                   const GuardedMatrix<R>& VT, const std::vector<Int>& order) {
  const Int n = matrix.n();
  GuardedVector<R> values(n);
  WideMatrix<R> left = wide(U), right = wide(VT);
  for (Int i = 1; i <= n; ++i) {
    const Int from = order[std::size_t(i - 1)];
    values(i) = d(from);
    left.col(i - 1) = wide(U).col(from - 1);
    right.row(i - 1) = wide(VT).row(from - 1);
  }
  expect_bidiagonal_svd<R>(wide_bidiagonal(matrix.d, matrix.e), exact_values(matrix.d, matrix.e), left, values, right);
}

TYPED_TEST(BidiagonalMerges, OfHalvesGiveTheWhole) {
  using R = TypeParam;
  for (const auto& [nl, nr] : {std::pair<Int, Int>{1, 1}, {1, 2}, {2, 1}, {1, 9}, {9, 1}, {7, 8}, {20, 17}}) {
    for (const Int sqre : {0, 1}) {
      for (const auto& matrix : divided_bidiagonals<R>(nl, nr, sqre, this->random)) {
        for (const bool reversed : {false, true}) {
          SCOPED_TRACE(testing::Message()
                       << matrix.name << ' ' << nl << ' ' << nr << ", sqre " << sqre << (reversed ? ", reversed" : ""));
          BidiagonalHalves<R> halves(matrix, reversed);
          halves.d(nl + 1) = std::numeric_limits<R>::max();  // is not looked at
          const Int n = matrix.n(), m = matrix.m();
          GuardedVector<R> work(3 * m * m + 2 * m);
          GuardedVector<Int> iwork(4 * n);
          Int info = 99;
          routine_call::lasd1(nl, nr, sqre, halves.d.data(), matrix.alpha(), matrix.beta(), Matrix<R>(halves.U),
                              Matrix<R>(halves.VT), halves.idxq.data(), iwork.data(), work.data(), info);
          EXPECT_EQ(info, 0);
          EXPECT_TRUE(halves.d.guards_unchanged() && halves.U.guards_unchanged() && halves.VT.guards_unchanged() &&
                      halves.idxq.guards_unchanged() && work.guards_unchanged() && iwork.guards_unchanged());
          expect_merged(matrix, halves.d, halves.U, halves.VT, decreasing_order(halves.d, halves.idxq));
        }
      }
    }
  }
}

/// ?lasd0 with a column more, and leaves of any size.
TYPED_TEST(BidiagonalMerges, OfATreeGiveTheWhole) {
  using R = TypeParam;
  for (const Int smlsiz : {3, 7}) {
    for (const Int n : {3, 4, 7, 8, 16, 45}) {
      for (const Int sqre : {0, 1}) {
        SCOPED_TRACE(testing::Message() << n << " by leaves of " << smlsiz << ", sqre " << sqre);
        const auto matrix = divided_bidiagonals<R>(1, n - 2, sqre, this->random).front();
        const Int m = n + sqre;
        GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e), work(3 * m * m + 2 * m);
        GuardedMatrix<R> U = identity<R>(n, n + 1), VT = identity<R>(m, m + 2);
        GuardedVector<Int> iwork(8 * n);
        Int info = 99;
        routine_call::lasd0(n, sqre, d.data(), e.data(), Matrix<R>(U), Matrix<R>(VT), smlsiz, iwork.data(), work.data(),
                            info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && U.guards_unchanged() && VT.guards_unchanged() &&
                    work.guards_unchanged() && iwork.guards_unchanged());
        if (n <= smlsiz) {
          EXPECT_TRUE(iwork.unchanged_outside(3 * n + 1, 4 * n));  // there is no tree
        }
        std::vector<Int> order(std::size_t(n), 0);
        std::iota(order.begin(), order.end(), 1);
        std::stable_sort(order.begin(), order.end(), [&](Int i, Int j) { return d(i) > d(j); });
        expect_merged(matrix, d, U, VT, order);
      }
    }
  }
}

/// A root that is not found is told by its number.
TYPED_TEST(BidiagonalMerges, TellTheRootThatFailed) {
  using R = TypeParam;
  const auto matrix = divided_bidiagonals<R>(6, 7, 0, this->random).front();
  BidiagonalHalves<R> halves(matrix, false);
  GuardedVector<R> work(3 * 14 * 14 + 2 * 14);
  GuardedVector<Int> iwork(4 * 14);
  Int info = 0;
  routine_call::lasd1(6, 7, 0, halves.d.data(), std::numeric_limits<R>::quiet_NaN(), matrix.beta(), Matrix<R>(halves.U),
                      Matrix<R>(halves.VT), halves.idxq.data(), iwork.data(), work.data(), info);
  EXPECT_EQ(info, 1);

  // Only the first root can do with an infinite pole.
  GuardedVector<R> d(3), dsigma = guarded<R>({R(0), R(1), std::numeric_limits<R>::infinity()}),
                         z = guarded<R>({R(1), R(1), R(1)});
  GuardedMatrix<R> Q(3, 3, 3), U(3, 3, 3), VT(3, 3, 3);
  const GuardedMatrix<R> I = identity<R>(3, 3);
  const Int idxc[] = {1, 2, 3}, ctot[] = {0, 3, 0};
  routine_call::lasd3(1, 1, 0, 3, d.data(), Matrix<R>(Q), dsigma.data(), Matrix<R>(U), Matrix<const R>(I),
                      Matrix<R>(VT), Matrix<const R>(I), idxc, ctot, z.data(), info);
  EXPECT_EQ(info, 2);
}

// ---------------------------------------------------------------------------------------------------------- arguments

/// What a call of one of these routines takes, large enough for halves of one row.
template <RealScalar R>
struct MergeArguments {
  char uplo = 'U';
  Int n = 3, nl = 1, nr = 1, sqre = 1, k = 3, ldq = 3, ldu = 3, ldu2 = 3, ldvt = 4, ldvt2 = 4, ldc = 3, smlsiz = 3,
      ncvt = 4, nru = 3, ncc = 1, info = 99;
  GuardedVector<R> d{3}, e{3}, z{4}, dsigma{3}, work{60};
  GuardedMatrix<R> Q{3, 3, 3}, U{3, 3, 3}, U2{3, 3, 3}, VT{4, 4, 4}, VT2{4, 4, 4}, C{3, 1, 3};
  GuardedVector<Int> idxp{3}, idx{3}, idxc{3}, idxq{3}, coltyp{3}, iwork{24};

  MergeArguments() : U(identity<R>(3, 3)), VT(identity<R>(4, 4)) {
    for (Int i = 1; i <= 3; ++i) {
      d(i) = e(i) = R(i);
      z(i) = R(0.5);
      dsigma(i) = R(i - 1);
      idxq(i) = 1;
      idxc(i) = i;
      coltyp(i) = 1;
      C(i, 1) = R(1);
      for (Int j = 1; j <= 3; ++j) U2(i, j) = VT2(i, j) = R(i == j);
      VT2(i, 4) = R(0);
    }
    z(4) = R(0.5);
    for (GuardedVector<R>* x : {&d, &e, &z, &dsigma}) x->seal();
    for (GuardedMatrix<R>* x : {&U2, &VT2, &C}) x->seal();
    for (GuardedVector<Int>* x : {&idxq, &idxc, &coltyp}) x->seal();
  }

  bool unchanged() const {
    return d.unchanged() && e.unchanged() && z.unchanged() && dsigma.unchanged() && work.unchanged() && Q.unchanged() &&
           U.unchanged() && U2.unchanged() && VT.unchanged() && VT2.unchanged() && C.unchanged() && idxp.unchanged() &&
           idx.unchanged() && idxc.unchanged() && idxq.unchanged() && coltyp.unchanged() && iwork.unchanged();
  }
};

TYPED_TEST(BidiagonalMerges, CheckTheirArguments) {
  using R = TypeParam;
  struct Leaf : MergeArguments<R> {
    Int run() {
      routine_call::lasdq(this->uplo, this->sqre, this->n, this->ncvt, this->nru, this->ncc, this->d.data(),
                          this->e.data(), {this->VT.data(), this->ldvt}, {this->U.data(), this->ldu},
                          {this->C.data(), this->ldc}, this->work.data(), this->info);
      return this->info;
    }
  };
  expect_argument_checks<Leaf>(reported_name<R>("LASDQ"), {{1, [](Leaf& c) { c.uplo = 'X'; }},
                                                           {2, [](Leaf& c) { c.sqre = 2; }},
                                                           {3, [](Leaf& c) { c.n = -1; }},
                                                           {4, [](Leaf& c) { c.ncvt = -1; }},
                                                           {5, [](Leaf& c) { c.nru = -1; }},
                                                           {6, [](Leaf& c) { c.ncc = -1; }},
                                                           {10, [](Leaf& c) { c.ldvt = 0; }},
                                                           {12, [](Leaf& c) { c.ldu = 0; }},
                                                           {14, [](Leaf& c) { c.ldc = 0; }}});
  expect_argument_checks<Leaf>(reported_name<R>("LASDQ"), {{10, [](Leaf& c) { c.ldvt = c.n - 1; }},
                                                           {12, [](Leaf& c) { c.ldu = c.nru - 1; }},
                                                           {14, [](Leaf& c) { c.ldc = c.n - 1; }}});
  Leaf without_right, without_c;
  without_right.ncvt = without_c.ncc = 0;
  without_right.ldvt = without_c.ldc = 1;
  expect_report(without_right, reported_name<R>("LASDQ"), 0);
  expect_report(without_c, reported_name<R>("LASDQ"), 0);
  struct Climb : MergeArguments<R> {
    Int run() {
      routine_call::lasd0(this->n, this->sqre, this->d.data(), this->e.data(), {this->U.data(), this->ldu},
                          {this->VT.data(), this->ldvt}, this->smlsiz, this->iwork.data(), this->work.data(),
                          this->info);
      return this->info;
    }
  };
  expect_argument_checks<Climb>(reported_name<R>("LASD0"), {{1, [](Climb& c) { c.n = -1; }},
                                                            {2, [](Climb& c) { c.sqre = -1; }},
                                                            {6, [](Climb& c) { c.ldu = c.n > 0 ? 2 : -2; }},
                                                            {8, [](Climb& c) { c.ldvt = -2; }},
                                                            {9, [](Climb& c) { c.smlsiz = 2; }}});
  struct Merge : MergeArguments<R> {
    Int run() {
      routine_call::lasd1(this->nl, this->nr, this->sqre, this->d.data(), R(1), R(1), {this->U.data(), this->ldu},
                          {this->VT.data(), this->ldvt}, this->idxq.data(), this->iwork.data(), this->work.data(),
                          this->info);
      return this->info;
    }
  };
  expect_argument_checks<Merge>(
      reported_name<R>("LASD1"),
      {{1, [](Merge& c) { c.nl = 0; }}, {2, [](Merge& c) { c.nr = 0; }}, {3, [](Merge& c) { c.sqre = 2; }}});
  struct Deflate : MergeArguments<R> {
    Int run() {
      routine_call::lasd2(this->nl, this->nr, this->sqre, this->k, this->d.data(), this->z.data(), R(1), R(1),
                          {this->U.data(), this->ldu}, {this->VT.data(), this->ldvt}, this->dsigma.data(),
                          {this->U2.data(), this->ldu2}, {this->VT2.data(), this->ldvt2}, this->idxp.data(),
                          this->idx.data(), this->idxc.data(), this->idxq.data(), this->coltyp.data(), this->info);
      return this->info;
    }
  };
  expect_argument_checks<Deflate>(reported_name<R>("LASD2"), {{1, [](Deflate& c) { c.nl = 0; }},
                                                              {2, [](Deflate& c) { c.nr = 0; }},
                                                              {3, [](Deflate& c) { c.sqre = -1; }},
                                                              {10, [](Deflate& c) { c.ldu = 2; }},
                                                              {12, [](Deflate& c) { c.ldvt = 3; }},
                                                              {15, [](Deflate& c) { c.ldu2 = 2; }},
                                                              {17, [](Deflate& c) { c.ldvt2 = 3; }}});
  struct Solve : MergeArguments<R> {
    Int run() {
      routine_call::lasd3(this->nl, this->nr, this->sqre, this->k, this->d.data(), {this->Q.data(), this->ldq},
                          this->dsigma.data(), {this->U.data(), this->ldu}, {this->U2.data(), this->ldu2},
                          {this->VT.data(), this->ldvt}, {this->VT2.data(), this->ldvt2}, this->idxc.data(),
                          this->coltyp.data(), this->z.data(), this->info);
      return this->info;
    }
  };
  expect_argument_checks<Solve>(reported_name<R>("LASD3"), {{1, [](Solve& c) { c.nl = 0; }},
                                                            {2, [](Solve& c) { c.nr = 0; }},
                                                            {3, [](Solve& c) { c.sqre = 2; }},
                                                            {4, [](Solve& c) { c.k = 4; }},
                                                            {7, [](Solve& c) { c.ldq = 2; }},
                                                            {10, [](Solve& c) { c.ldu = 2; }},
                                                            {12, [](Solve& c) { c.ldu2 = 2; }},
                                                            {14, [](Solve& c) { c.ldvt = 3; }},
                                                            {16, [](Solve& c) { c.ldvt2 = 3; }}});
  expect_argument_checks<Solve>(reported_name<R>("LASD3"), {{4, [](Solve& c) { c.k = 0; }}});
}

}  // namespace
}  // namespace nuv::test
