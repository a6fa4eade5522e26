#pragma once

// Singular vectors of bidiagonal matrices as factors, and what they stand for.

#include "routines.hpp"
#include "svd/bidiagonal_halves.hpp"

namespace nuv::test {

/// x := c x + s y, y := c y - s x for two columns.
template <RealScalar R>
void turn_columns(WideMatrix<R>& Q, Int x, Int y, WideReal<R> c, WideReal<R> s) {
  const WideMatrix<R> first = Q.col(x), second = Q.col(y);
  Q.col(x) = c * first + s * second;
  Q.col(y) = c * second - s * first;
}

/// A merge's halves; see ?lasd6.
struct MergeSizes {
  Int nl, nr, sqre;

  Int n() const { return nl + nr + 1; }
};

/// The factors of one merge. Elements are counted from one.
template <RealScalar R>
struct MergeFactors {
  Int k, givptr;
  const Int *perm, *givcol;
  Int ldgcol;
  const R* givnum;
  Int ldgnum;
  const R *poles, *difl, *difr, *z;
  R c, s;

  Int pair(Int i, Int j) const { return givcol[i - 1 + (j - 1) * ldgcol]; }
  WideReal<R> rotation(Int i, Int j) const { return givnum[i - 1 + (j - 1) * ldgnum]; }
  WideReal<R> root(Int j) const { return poles[j - 1]; }
  WideReal<R> pole(Int i) const { return poles[i - 1 + ldgnum]; }
  WideReal<R> length(Int j) const { return difr[j - 1 + ldgnum]; }

  /// pole(i) - root(j)
  WideReal<R> difference(Int i, Int j) const {
    if (i <= j) return (pole(i) - pole(j)) - WideReal<R>(difl[j - 1]);
    return (pole(i) - pole(j + 1)) - WideReal<R>(difr[j - 1]);
  }

  /// Makes of the vectors of the halves, columns first ... of U and V counted from zero, those of the merge.
  void apply(Int first, const MergeSizes& sizes, WideMatrix<R>& U, WideMatrix<R>& V) const;
};

template <RealScalar R>
void MergeFactors<R>::apply(Int first, const MergeSizes& sizes, WideMatrix<R>& U, WideMatrix<R>& V) const {
  const Int n = sizes.n(), joining = first + sizes.nl;
  U(joining, joining) = 1;
  for (Int i = 1; i <= givptr; ++i) {
    const Int x = first + pair(i, 2) - 1, y = first + pair(i, 1) - 1;
    turn_columns<R>(U, x, y, rotation(i, 2), rotation(i, 1));
    turn_columns<R>(V, x, y, rotation(i, 2), rotation(i, 1));
  }
  if (sizes.sqre == 1) turn_columns<R>(V, joining, first + n, c, s);
  const WideMatrix<R> left = U, right = V;
  EXPECT_EQ(perm[0], sizes.nl + 1);
  for (Int i = 0; i < n; ++i) {
    U.col(first + i) = left.col(first + perm[i] - 1);
    V.col(first + i) = right.col(first + perm[i] - 1);
  }
  if (k == 1) {
    EXPECT_EQ(length(1), 1);
    EXPECT_EQ(WideReal<R>(difl[0]), root(1));
  }
  WideMatrix<R> S_left(k, k), S_right(k, k);
  for (Int j = 1; j <= k; ++j) {
    for (Int i = 1; i <= k; ++i) {
      const WideReal<R> element =
          k == 1 ? WideReal<R>(1) : z[i - 1] / difference(i, j) / (pole(i) + root(j)) / length(j);
      S_right(i - 1, j - 1) = element;
      S_left(i - 1, j - 1) = i == 1 ? (k == 1 ? (z[0] < 0 ? -1 : 1) : -1 / length(j)) : pole(i) * element;
    }
    S_left.col(j - 1) /= S_left.col(j - 1).norm();
  }
  const WideMatrix<R> merged_left = U.middleCols(first, k) * S_left, merged_right = V.middleCols(first, k) * S_right;
  U.middleCols(first, k) = merged_left;
  V.middleCols(first, k) = merged_right;
}

/// What ?lasda takes and gives.
template <RealScalar R>
struct CompactTree {
  Int icompq, smlsiz, n, sqre, ldu, ldgcol, lvl = 1, nd = 1, info = 99;
  GuardedVector<R> d, e;
  GuardedVector<Int> inode, ndiml, ndimr;
  GuardedMatrix<R> U, VT, difl, difr, z, poles, givnum;
  GuardedVector<Int> k, givptr, iwork;
  GuardedMatrix<Int> givcol, perm;
  GuardedVector<R> c, s, work;

  CompactTree(Int icompq_, Int smlsiz_, const DividedBidiagonal<R>& matrix)
      : CompactTree(icompq_, smlsiz_, matrix, generations(matrix.n(), smlsiz_)) {}

  static Int generations(Int n, Int smlsiz) {
    Int count = 1;
    while ((smlsiz + 1) * (Int{1} << count) <= n) ++count;
    return count;
  }

  CompactTree(Int icompq_, Int smlsiz_, const DividedBidiagonal<R>& matrix, Int levels)
      : icompq(icompq_),
        smlsiz(smlsiz_),
        n(matrix.n()),
        sqre(matrix.sqre),
        ldu(matrix.m() + 1),
        ldgcol(n + 2),
        d(guarded(matrix.d)),
        e(guarded(matrix.e)),
        inode(n),
        ndiml(n),
        ndimr(n),
        U(ldu - 1, smlsiz, ldu),
        VT(ldu - 1, smlsiz + 1, ldu),
        difl(ldu - 1, levels, ldu),
        difr(ldu - 1, 2 * levels, ldu),
        z(ldu - 1, levels, ldu),
        poles(ldu - 1, 2 * levels, ldu),
        givnum(ldu - 1, 2 * levels, ldu),
        k(n),
        givptr(n),
        iwork(7 * n),
        givcol(n, 2 * levels, ldgcol),
        perm(n, levels, ldgcol),
        c(n),
        s(n),
        work(6 * (n + sqre) + (smlsiz + 1) * (smlsiz + 1)) {
    routine_call::lasdt<R>(n, lvl, nd, inode.data(), ndiml.data(), ndimr.data(), smlsiz);
  }

  Int run() {
    routine_call::lasda(icompq, smlsiz, n, sqre, d.data(), e.data(), Matrix<R>{U.data(), ldu}, VT.data(), k.data(),
                        difl.data(), difr.data(), z.data(), poles.data(), givptr.data(), givcol.data(), ldgcol,
                        perm.data(), givnum.data(), c.data(), s.data(), work.data(), iwork.data(), info);
    return info;
  }

  CompactTree& solve() {
    EXPECT_EQ(run(), 0);
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && U.guards_unchanged() && VT.guards_unchanged() &&
                difl.guards_unchanged() && difr.guards_unchanged() && z.guards_unchanged());
    EXPECT_TRUE(poles.guards_unchanged() && givnum.guards_unchanged() && k.guards_unchanged() &&
                givptr.guards_unchanged() && iwork.guards_unchanged() && givcol.guards_unchanged());
    EXPECT_TRUE(perm.guards_unchanged() && c.guards_unchanged() && s.guards_unchanged() && work.guards_unchanged());
    return *this;
  }

  bool unchanged() const {
    return d.unchanged() && e.unchanged() && U.unchanged() && VT.unchanged() && difl.unchanged() && difr.unchanged() &&
           z.unchanged() && poles.unchanged() && givnum.unchanged() && k.unchanged() && givptr.unchanged() &&
           givcol.unchanged() && perm.unchanged() && c.unchanged() && s.unchanged() && work.unchanged();
  }

  /// Those of node i of a level whose last one is `last`.
  MergeSizes sizes_of(Int i, Int last) const { return {ndiml(i), ndimr(i), i == last ? sqre : 1}; }

  MergeFactors<R> factors_of(Int i, Int level) const {
    const Int row = inode(i) - ndiml(i), two = 2 * level - 1;
    return {k(i), givptr(i),        &perm(row, level), &givcol(row, two), ldgcol,         &givnum(row, two),
            ldu,  &poles(row, two), &difl(row, level), &difr(row, two),   &z(row, level), c(i),
            s(i)};
  }

  /// U and V as matrices: the factors one by one.
  void form_vectors(WideMatrix<R>& left, WideMatrix<R>& right) const {
    left = WideMatrix<R>::Zero(n, n);
    right = WideMatrix<R>::Zero(n + sqre, n + sqre);
    const auto copy_leaf = [&](Int first, Int rows, Int columns_more) {
      for (Int i = 0; i < rows; ++i) {
        for (Int j = 0; j < rows; ++j) left(first + i, first + j) = U(first + i + 1, j + 1);
      }
      for (Int i = 0; i < rows + columns_more; ++i) {
        for (Int j = 0; j < rows + columns_more; ++j) right(first + j, first + i) = VT(first + i + 1, j + 1);
      }
    };
    if (n <= smlsiz) return copy_leaf(0, n, sqre);
    for (Int level = lvl; level >= 1; --level) {
      const Int lf = Int{1} << (level - 1), ll = 2 * lf - 1;
      for (Int i = lf; i <= ll; ++i) {
        const MergeSizes sizes = sizes_of(i, ll);
        const Int first = inode(i) - ndiml(i) - 1;
        if (level == lvl) {
          copy_leaf(first, sizes.nl, 1);
          copy_leaf(first + sizes.nl + 1, sizes.nr, sizes.sqre);
        }
        factors_of(i, level).apply(first, sizes, left, right);
      }
    }
  }
};

}  // namespace nuv::test
