// Singular vectors of bidiagonal matrices as factors: ?lasda and its merges, and ?bdsdc with compq 'P'.

#include <cmath>
#include <limits>

#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/real_precisions.hpp"
#include "svd/bidiagonal_halves.hpp"
#include "svd/compact_factors.hpp"

namespace nuv::test {
namespace {

template <class R>
class CompactDivision : public ReportingTest {
 protected:
  Random random{57};
};
TYPED_TEST_SUITE(CompactDivision, RealPrecisions, PrecisionLetter);

/// That U, d and V, in any order, are the decomposition of the matrix.
template <RealScalar R>
void expect_decomposition(const WideMatrix<R>& B, const WideVector<R>& exact, const WideMatrix<R>& U,
                          const GuardedVector<R>& d, const WideMatrix<R>& V) {
  const Int n = d.size();
  std::vector<Int> order(std::size_t(n), 0);
  std::iota(order.begin(), order.end(), 1);
  std::stable_sort(order.begin(), order.end(), [&](Int i, Int j) { return d(i) > d(j); });
  GuardedVector<R> values(n);
  WideMatrix<R> left = U, right = V.transpose();
  for (Int i = 0; i < n; ++i) {
    const Int from = order[std::size_t(i)];
    values(i + 1) = d(from);
    left.col(i) = U.col(from - 1);
    right.row(i) = V.col(from - 1).transpose();
  }
  expect_bidiagonal_svd<R>(B, exact, left, values, right);
}

TYPED_TEST(CompactDivision, KeepsFactorsOfTheVectors) {
  using R = TypeParam;
  for (const auto& [n, smlsiz] : {std::pair<Int, Int>{3, 3}, {4, 3}, {7, 3}, {9, 3}, {16, 3}, {40, 3}, {53, 25}}) {
    for (const Int sqre : {0, 1}) {
      for (const auto& matrix : divided_bidiagonals<R>(n / 2, n - n / 2 - 1, sqre, this->random)) {
        if (matrix.name == "huge") continue;  // as ?bdsdc scales them
        SCOPED_TRACE(testing::Message() << matrix.name << ' ' << n << " by leaves of " << smlsiz << ", sqre " << sqre);
        CompactTree<R> tree(1, smlsiz, matrix);
        tree.solve();
        WideMatrix<R> U, V;
        tree.form_vectors(U, V);
        expect_decomposition<R>(wide_bidiagonal(matrix.d, matrix.e), exact_values(matrix.d, matrix.e), U, tree.d, V);
      }
    }
  }
}

/// The values alone are found with the same numbers.
TYPED_TEST(CompactDivision, NeedsNoFactorsForValues) {
  using R = TypeParam;
  for (const auto& [n, smlsiz] : {std::pair<Int, Int>{7, 3}, {9, 3}, {40, 3}, {53, 25}}) {
    for (const Int sqre : {0, 1}) {
      for (const auto& matrix : divided_bidiagonals<R>(n / 2, n - n / 2 - 1, sqre, this->random)) {
        CompactTree<R> with(1, smlsiz, matrix), without(0, smlsiz, matrix);
        with.solve();
        without.solve();
        for (Int i = 1; i <= n; ++i) {
          EXPECT_NEAR(without.d(i), with.d(i), 10 * n * std::numeric_limits<R>::epsilon() * std::abs(with.d(i))) << i;
        }
        EXPECT_TRUE(without.U.unchanged() && without.VT.unchanged() && without.poles.unchanged() &&
                    without.givnum.unchanged() && without.givcol.unchanged() && without.perm.unchanged());
      }
    }
  }
}

/// A root that is not found is told by its number, and by the tree as well.
TYPED_TEST(CompactDivision, TellsTheRootThatFailed) {
  using R = TypeParam;
  auto matrix = divided_bidiagonals<R>(4, 4, 0, this->random).front();
  matrix.d[4] = std::numeric_limits<R>::quiet_NaN();
  for (const Int icompq : {0, 1}) {
    CompactTree<R> tree(icompq, 7, matrix);
    EXPECT_EQ(tree.run(), 1);
  }

  // Only the first root can do with an infinite pole.
  GuardedVector<R> d(3), dsigma = guarded<R>({R(0), R(1), std::numeric_limits<R>::infinity()}),
                         z = guarded<R>({R(1), R(1), R(1)}), vf = z, vl = z, difl(3), work(9);
  GuardedMatrix<R> difr(3, 1, 3);
  Int info = 99;
  routine_call::lasd8(0, 3, d.data(), z.data(), vf.data(), vl.data(), difl.data(), Matrix<R>(difr), dsigma.data(),
                      work.data(), info);
  EXPECT_EQ(info, 2);
}

/// Equal values of both halves are joined by a rotation, of which nobody is told who wants no factors.
TYPED_TEST(CompactDivision, CountsRotationsThatAreKept) {
  using R = TypeParam;
  for (const Int icompq : {0, 1}) {
    GuardedVector<R> d = guarded<R>({R(0.75), R(0), R(0.75)}), vf = guarded<R>({R(0.6), R(0.8), R(1)}),
                     vl = guarded<R>({R(0.8), R(-0.6), R(1)});
    GuardedVector<R> poles(6), difl(3), difr(6), z(3), givnum(6), work(12);
    GuardedVector<Int> idxq(3), perm(3), givcol(6), iwork(9);
    idxq(1) = idxq(3) = 1;
    Int givptr = 99, k = 99, info = 99;
    R c = 0, s = 0;
    routine_call::lasd6(icompq, 1, 1, 0, d.data(), vf.data(), vl.data(), R(1), R(1), idxq.data(), perm.data(), givptr,
                        givcol.data(), 3, givnum.data(), 3, poles.data(), difl.data(), difr.data(), z.data(), k, c, s,
                        work.data(), iwork.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(k, 2);
    EXPECT_EQ(givptr, icompq);
    EXPECT_EQ(givcol.unchanged() && givnum.unchanged() && perm.unchanged() && poles.unchanged(), icompq == 0);
  }
}

// ------------------------------------------------------------------------------------------------------------- ?bdsdc

/// What ?bdsdc leaves in q and iq, and the decomposition that they stand for.
template <RealScalar R>
struct StoredFactors {
  static constexpr Int smlsiz = 25;

  char uplo;
  Int n, levels, info = 99;
  GuardedVector<R> d, e, q, work;
  GuardedVector<Int> iq, iwork;

  StoredFactors(char uplo_, const std::vector<R>& diagonal, const std::vector<R>& beside)
      : uplo(uplo_),
        n(Int(diagonal.size())),
        levels(CompactTree<R>::generations(n, smlsiz)),
        d(guarded(diagonal)),
        e(guarded(beside)),
        q(n * (2 + 2 * smlsiz + 8 * levels + 3 + (is_upper(uplo) ? 0 : 2))),
        work(6 * n),
        iq(n * (3 + 3 * levels)),
        iwork(8 * n) {
    routine_call::bdsdc(uplo, 'P', n, d.data(), e.data(), Matrix<R>{nullptr, 1}, Matrix<R>{nullptr, 1}, q.data(),
                        iq.data(), work.data(), iwork.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && q.guards_unchanged() && work.guards_unchanged() &&
                iq.guards_unchanged() && iwork.guards_unchanged());
  }

  const R* column(Int j) const { return q.data() + std::ptrdiff_t{n} * j; }
  const Int* integers(Int j) const { return iq.data() + std::ptrdiff_t{n} * j; }

  void form_vectors(WideMatrix<R>& U, WideMatrix<R>& V) const {
    U = V = WideMatrix<R>::Zero(n, n);
    const Int u = is_upper(uplo) ? 2 : 4;
    if (n <= smlsiz) {
      copy_leaf(column(u), column(u + n), 0, n, 0, U, V);
    } else {
      climb(u, U, V);
    }
    for (Int i = 1; i < n; ++i) {
      U.col(i - 1).swap(U.col(iq(i) - 1));
      V.col(i - 1).swap(V.col(iq(i) - 1));
    }
    EXPECT_EQ(iq(n), is_upper(uplo) ? 1 : 0);
    if (is_upper(uplo)) return;
    WideMatrix<R> rows = U.transpose();
    for (Int i = n - 2; i >= 0; --i) {
      turn_columns<R>(rows, i, i + 1, WideReal<R>(column(2)[i]), -WideReal<R>(column(3)[i]));
    }
    U = rows.transpose();
  }

 private:
  void copy_leaf(const R* u, const R* vt, Int first, Int rows, Int columns_more, WideMatrix<R>& U,
                 WideMatrix<R>& V) const {
    const auto at = [&](const R* x, Int i, Int j) { return WideReal<R>(x[first + i + std::ptrdiff_t{n} * j]); };
    for (Int i = 0; i < rows; ++i) {
      for (Int j = 0; j < rows; ++j) U(first + i, first + j) = at(u, i, j);
    }
    for (Int i = 0; i < rows + columns_more; ++i) {
      for (Int j = 0; j < rows + columns_more; ++j) V(first + j, first + i) = at(vt, i, j);
    }
  }

  void climb(Int u, WideMatrix<R>& U, WideMatrix<R>& V) const {
    const Int vt = u + smlsiz, difl = vt + smlsiz + 1, difr = difl + levels, z = difr + 2 * levels, c = z + levels,
              s = c + 1, poles = s + 1, givnum = poles + 2 * levels;
    GuardedVector<Int> inode(n), ndiml(n), ndimr(n);
    Int lvl = 0, nd = 0;
    routine_call::lasdt<R>(n, lvl, nd, inode.data(), ndiml.data(), ndimr.data(), smlsiz);
    ASSERT_EQ(lvl, levels);
    for (Int level = lvl; level >= 1; --level) {
      const Int lf = Int{1} << (level - 1), ll = 2 * lf - 1;
      for (Int i = lf; i <= ll; ++i) {
        const MergeSizes sizes{ndiml(i), ndimr(i), i == ll ? 0 : 1};
        const Int first = inode(i) - ndiml(i) - 1;
        if (level == lvl) {
          copy_leaf(column(u), column(vt), first, sizes.nl, 1, U, V);
          copy_leaf(column(u), column(vt), first + sizes.nl + 1, sizes.nr, sizes.sqre, U, V);
        }
        const auto one = [&](Int from) { return column(from + level - 1) + first; };
        const auto two = [&](Int from) { return column(from + 2 * (level - 1)) + first; };
        const MergeFactors<R> factors{integers(1)[i - 1],
                                      integers(2)[i - 1],
                                      integers(3 + level - 1) + first,
                                      integers(3 + levels + 2 * (level - 1)) + first,
                                      n,
                                      two(givnum),
                                      n,
                                      two(poles),
                                      one(difl),
                                      two(difr),
                                      one(z),
                                      column(c)[i - 1],
                                      column(s)[i - 1]};
        factors.apply(first, sizes, U, V);
      }
    }
  }
};

TYPED_TEST(CompactDivision, OfABidiagonalMatrixStoresItsFactors) {
  using R = TypeParam;
  for (const Int n : {2, 25, 26, 60, 110}) {
    std::vector<R> d, e;
    for (Int i = 0; i < n; ++i) d.push_back(this->random.template divisor<R>());
    for (Int i = 1; i < n; ++i) e.push_back(this->random.template divisor<R>());
    for (const char uplo : uplos) {
      SCOPED_TRACE(testing::Message() << n << ' ' << uplo);
      const StoredFactors<R> stored(uplo, d, e);
      for (Int i = 0; i < n; ++i) EXPECT_EQ(stored.column(0)[i], d[std::size_t(i)]);
      for (Int i = 0; i < n - 1; ++i) EXPECT_EQ(stored.column(1)[i], e[std::size_t(i)]);
      WideMatrix<R> U, V;
      stored.form_vectors(U, V);
      expect_bidiagonal_svd<R>(wide_bidiagonal(d, e, is_upper(uplo)), exact_values(d, e), U, stored.d, V.transpose());
    }
  }
}

/// Parts of one row, whose vectors are their signs, around one that is divided.
TYPED_TEST(CompactDivision, OfPartsStoresEachInItsRows) {
  using R = TypeParam;
  constexpr Int n = 31, smlsiz = 25;
  std::vector<R> d, e;
  for (Int i = 0; i < n; ++i) d.push_back(this->random.template divisor<R>());
  for (Int i = 1; i < n; ++i) e.push_back(this->random.template divisor<R>());
  d[0] = -40;
  d[n - 1] = -30;
  e[0] = e[n - 2] = 0;
  const StoredFactors<R> stored('U', d, e);
  EXPECT_EQ(stored.d(1), R(40));
  EXPECT_EQ(stored.d(2), R(30));
  for (const Int row : {0, n - 1}) {
    EXPECT_EQ(stored.column(2)[row], R(-1));
    EXPECT_EQ(stored.column(2 + smlsiz)[row], R(1));
  }
  std::vector<R> rest_d(d.begin() + 1, d.end() - 1), rest_e(e.begin() + 1, e.end() - 1);
  const StoredFactors<R> alone('U', rest_d, rest_e);
  for (Int i = 3; i <= n; ++i) {
    EXPECT_NEAR(stored.d(i), alone.d(i - 2), 10 * n * 40 * std::numeric_limits<R>::epsilon());
  }
  EXPECT_EQ(stored.integers(1)[1], alone.integers(1)[0]);  // k stands in the rows of the part
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <RealScalar R>
struct CompactArguments {
  Int icompq = 1, nl = 1, nr = 1, sqre = 1, k = 3, ldgcol = 3, ldgnum = 3, lddifr = 3, givptr = 0, info = 99;
  GuardedVector<R> d{3}, z{4}, zw{4}, vf{4}, vfw{4}, vl{4}, vlw{4}, dsigma{3}, poles{6}, difl{3}, difr{6}, givnum{6},
      work{16};
  GuardedVector<Int> idx{3}, idxp{3}, idxq{3}, perm{3}, givcol{6}, iwork{9};
  R c = 0, s = 0;

  CompactArguments() {
    for (Int i = 1; i <= 3; ++i) {
      d(i) = R(i);
      dsigma(i) = R(i - 1);
      idxq(i) = 1;
    }
    for (Int i = 1; i <= 4; ++i) z(i) = vf(i) = vl(i) = R(0.5);
    for (GuardedVector<R>* x : {&d, &z, &vf, &vl, &dsigma}) x->seal();
    idxq.seal();
  }

  bool unchanged() const {
    return d.unchanged() && z.unchanged() && vf.unchanged() && vl.unchanged() && dsigma.unchanged() &&
           poles.unchanged() && difl.unchanged() && difr.unchanged() && givnum.unchanged() && work.unchanged() &&
           idxq.unchanged() && perm.unchanged() && givcol.unchanged();
  }
};

TYPED_TEST(CompactDivision, ChecksItsArguments) {
  using R = TypeParam;
  struct Merge : CompactArguments<R> {
    Int run() {
      routine_call::lasd6(this->icompq, this->nl, this->nr, this->sqre, this->d.data(), this->vf.data(),
                          this->vl.data(), R(1), R(1), this->idxq.data(), this->perm.data(), this->givptr,
                          this->givcol.data(), this->ldgcol, this->givnum.data(), this->ldgnum, this->poles.data(),
                          this->difl.data(), this->difr.data(), this->z.data(), this->k, this->c, this->s,
                          this->work.data(), this->iwork.data(), this->info);
      return this->info;
    }
  };
  expect_argument_checks<Merge>(reported_name<R>("LASD6"), {{1, [](Merge& c) { c.icompq = 2; }},
                                                            {2, [](Merge& c) { c.nl = 0; }},
                                                            {3, [](Merge& c) { c.nr = 0; }},
                                                            {4, [](Merge& c) { c.sqre = 2; }},
                                                            {14, [](Merge& c) { c.ldgcol = 1; }},
                                                            {16, [](Merge& c) { c.ldgnum = 1; }}});
  struct Deflate : CompactArguments<R> {
    Int run() {
      routine_call::lasd7(this->icompq, this->nl, this->nr, this->sqre, this->k, this->d.data(), this->z.data(),
                          this->zw.data(), this->vf.data(), this->vfw.data(), this->vl.data(), this->vlw.data(), R(1),
                          R(1), this->dsigma.data(), this->idx.data(), this->idxp.data(), this->idxq.data(),
                          this->perm.data(), this->givptr, this->givcol.data(), this->ldgcol, this->givnum.data(),
                          this->ldgnum, this->c, this->s, this->info);
      return this->info;
    }
  };
  expect_argument_checks<Deflate>(reported_name<R>("LASD7"), {{1, [](Deflate& c) { c.icompq = -1; }},
                                                              {2, [](Deflate& c) { c.nl = 0; }},
                                                              {3, [](Deflate& c) { c.nr = 0; }},
                                                              {4, [](Deflate& c) { c.sqre = -1; }},
                                                              {22, [](Deflate& c) { c.ldgcol = 1; }},
                                                              {24, [](Deflate& c) { c.ldgnum = 1; }}});
  struct Solve : CompactArguments<R> {
    Int run() {
      routine_call::lasd8(this->icompq, this->k, this->d.data(), this->z.data(), this->vf.data(), this->vl.data(),
                          this->difl.data(), Matrix<R>{this->difr.data(), this->lddifr}, this->dsigma.data(),
                          this->work.data(), this->info);
      return this->info;
    }
  };
  expect_argument_checks<Solve>(
      reported_name<R>("LASD8"),
      {{1, [](Solve& c) { c.icompq = 2; }}, {2, [](Solve& c) { c.k = 0; }}, {9, [](Solve& c) { c.lddifr = c.k - 1; }}});
  struct Climb : CompactTree<R> {
    Climb() : CompactTree<R>(1, 3, {"", 2, 2, 1, {R(1), R(2), R(3), R(4), R(5)}, {R(1), R(1), R(1), R(1), R(1)}}) {}
  };
  expect_argument_checks<Climb>(reported_name<R>("LASDA"), {{1, [](Climb& c) { c.icompq = 2; }},
                                                            {2, [](Climb& c) { c.smlsiz = 2; }},
                                                            {3, [](Climb& c) { c.n = -1; }},
                                                            {4, [](Climb& c) { c.sqre = 2; }},
                                                            {8, [](Climb& c) { c.ldu = -1; }},
                                                            {17, [](Climb& c) { c.ldgcol = -2; }}});
}

}  // namespace
}  // namespace nuv::test
