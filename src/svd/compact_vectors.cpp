#include "svd/compact_vectors.hpp"

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "svd/division_tree.hpp"
#include "svd/merge_factors.hpp"
#include "svd/real_products.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of lals0.
Int check_merge(Int icompq, const MergedHalves& halves, Int nrhs, Int ldb, Int ldbx, Int givptr, Int ldgcol, Int ldgnum,
                Int k) {
  if (icompq < 0 || icompq > 1) return -1;
  if (const Int info = halves.check(2); info != 0) return info;
  const Int n = halves.n();
  if (nrhs < 1) return -5;
  if (ldb < n) return -7;
  if (ldbx < n) return -9;
  if (givptr < 0) return -11;
  if (ldgcol < n) return -13;
  if (ldgnum < n) return -15;
  return k < 1 ? -20 : 0;
}

template <Scalar T, RealScalar R>
void multiply_by_merge(Int icompq, const MergeFactors<R>& factors, Int nrhs, Matrix<T> B, Matrix<T> Scratch,
                       R* vector) {
  if (icompq == 0) {
    factors.template apply_left<T>(nrhs, B, Scratch, vector);
  } else {
    factors.template apply_right<T>(nrhs, B, Scratch, vector);
  }
}

/// The arguments of lals0 for any matrix.
template <Scalar T, RealScalar R>
void check_and_multiply(Int icompq, Int nl, Int nr, Int sqre, Int nrhs, Matrix<T> B, Matrix<T> Scratch, const Int* perm,
                        Int givptr, Matrix<const Int> givcol, Matrix<const R> givnum, const R* poles, const R* difl,
                        const R* difr, const R* z, Int k, R c, R s, R* vector, Int& info) {
  const MergedHalves halves{nl, nr, sqre};
  info = check_merge(icompq, halves, nrhs, B.ld, Scratch.ld, givptr, givcol.ld, givnum.ld, k);
  if (info != 0) return report_bad_argument<T>("LALS0", info);
  const MergeFactors<R> factors{halves, perm, givptr, givcol, givnum, {poles, givnum.ld}, difl, {difr, givnum.ld},
                                z,      k,    c,      s};
  multiply_by_merge<T>(icompq, factors, nrhs, B, Scratch, vector);
}

/// Singular vectors of a whole matrix, as lasda left them.
template <RealScalar R>
struct TreeFactors {
  DivisionTree tree;
  Matrix<const R> U, VT;
  const Int* k;
  Matrix<const R> difl, difr, z, poles;
  const Int* givptr;
  Matrix<const Int> givcol, perm;
  Matrix<const R> givnum;
  const R *c, *s;

  MergeFactors<R> of_node(Int i, Int generation, const DivisionNode& node, Int columns_more) const {
    const auto in_level = [&](auto array, Int column) { return block(array, node.first, column); };
    const Int pair = 2 * generation - 1;
    return {{node.nl, node.nr, columns_more},
            in_level(perm, generation).data,
            givptr[i - 1],
            in_level(givcol, pair),
            in_level(givnum, pair),
            in_level(poles, pair),
            in_level(difl, generation).data,
            in_level(difr, pair),
            in_level(z, generation).data,
            k[i - 1],
            c[i - 1],
            s[i - 1]};
  }

  /// X := U^T B
  template <Scalar T>
  void apply_left(Int nrhs, Matrix<T> B, Matrix<T> X, R* vector) const {
    for (Int i = 1; i <= tree.nodes; ++i) {
      const Int joining = tree.node(i).joining_row();
      for (Int j = 1; j <= nrhs; ++j) X(joining, j) = B(joining, j);
    }
    const auto leaf = [&](Int first, Int rows, Int) {
      multiply_by_transpose<T>(rows, rows, nrhs, block(U, first, 1), block(B, first, 1), block(X, first, 1));
      return 0;
    };
    climb(tree, 0, leaf, [&](Int i, Int generation, const DivisionNode& node, Int columns_more) {
      of_node(i, generation, node, columns_more)
          .template apply_left<T>(nrhs, block(X, node.first, 1), block(B, node.first, 1), vector);
      return 0;
    });
  }

  /// X := V B
  template <Scalar T>
  void apply_right(Int nrhs, Matrix<T> B, Matrix<T> X, R* vector) const {
    const auto merge = [&](Int i, Int generation, const DivisionNode& node, Int columns_more) {
      of_node(i, generation, node, columns_more)
          .template apply_right<T>(nrhs, block(B, node.first, 1), block(X, node.first, 1), vector);
    };
    descend(tree, 0, merge, [&](Int first, Int rows, Int columns_more) {
      const Int columns = rows + columns_more;
      multiply_by_transpose<T>(columns, columns, nrhs, block(VT, first, 1), block(B, first, 1), block(X, first, 1));
    });
  }
};

Int check_tree(Int icompq, Int smlsiz, Int n, Int nrhs, Int ldb, Int ldbx, Int ldu, Int ldgcol) {
  if (icompq < 0 || icompq > 1) return -1;
  if (smlsiz < 3) return -2;
  if (n < smlsiz) return -3;
  if (nrhs < 1) return -4;
  if (ldb < n) return -6;
  if (ldbx < n) return -8;
  if (ldu < n) return -10;
  return ldgcol < n ? -19 : 0;
}

/// lalsa for any matrix.
template <Scalar T, RealScalar R>
void check_and_multiply_by_tree(Int icompq, Int smlsiz, Int n, Int nrhs, Matrix<T> B, Matrix<T> X, Matrix<const R> U,
                                const R* vt, const Int* k, const R* difl, const R* difr, const R* z, const R* poles,
                                const Int* givptr, Matrix<const Int> givcol, const Int* perm, const R* givnum,
                                const R* c, const R* s, R* vector, Int* iwork, Int& info) {
  info = check_tree(icompq, smlsiz, n, nrhs, B.ld, X.ld, U.ld, givcol.ld);
  if (info != 0) return report_bad_argument<T>("LALSA", info);
  const auto in_levels = [&](const R* array) { return Matrix<const R>{array, U.ld}; };
  if (n <= smlsiz) {  // lasda makes no merges
    return multiply_by_transpose<T>(n, n, nrhs, icompq == 0 ? U : in_levels(vt), B, X);
  }
  Int *const ndiml = iwork + n, *const ndimr = ndiml + n;
  DivisionTree tree{0, 0, iwork, ndiml, ndimr};
  lasdt<R>(n, tree.levels, tree.nodes, iwork, ndiml, ndimr, smlsiz);
  const TreeFactors<R> factors{tree,
                               U,
                               in_levels(vt),
                               k,
                               in_levels(difl),
                               in_levels(difr),
                               in_levels(z),
                               in_levels(poles),
                               givptr,
                               givcol,
                               {perm, givcol.ld},
                               in_levels(givnum),
                               c,
                               s};
  if (icompq == 0) {
    factors.template apply_left<T>(nrhs, B, X, vector);
  } else {
    factors.template apply_right<T>(nrhs, B, X, vector);
  }
}

}  // namespace

template <RealScalar T>
void lals0(Int icompq, Int nl, Int nr, Int sqre, Int nrhs, T* b, Int ldb, T* bx, Int ldbx, const Int* perm, Int givptr,
           const Int* givcol, Int ldgcol, const T* givnum, Int ldgnum, const T* poles, const T* difl, const T* difr,
           const T* z, Int k, T c, T s, T* work, Int& info) {
  check_and_multiply<T, T>(icompq, nl, nr, sqre, nrhs, {b, ldb}, {bx, ldbx}, perm, givptr, {givcol, ldgcol},
                           {givnum, ldgnum}, poles, difl, difr, z, k, c, s, work, info);
}

template <ComplexScalar T>
void lals0(Int icompq, Int nl, Int nr, Int sqre, Int nrhs, T* b, Int ldb, T* bx, Int ldbx, const Int* perm, Int givptr,
           const Int* givcol, Int ldgcol, const Real<T>* givnum, Int ldgnum, const Real<T>* poles, const Real<T>* difl,
           const Real<T>* difr, const Real<T>* z, Int k, Real<T> c, Real<T> s, Real<T>* rwork, Int& info) {
  check_and_multiply<T, Real<T>>(icompq, nl, nr, sqre, nrhs, {b, ldb}, {bx, ldbx}, perm, givptr, {givcol, ldgcol},
                                 {givnum, ldgnum}, poles, difl, difr, z, k, c, s, rwork, info);
}

template <RealScalar T>
void lalsa(Int icompq, Int smlsiz, Int n, Int nrhs, T* b, Int ldb, T* bx, Int ldbx, const T* u, Int ldu, const T* vt,
           const Int* k, const T* difl, const T* difr, const T* z, const T* poles, const Int* givptr, const Int* givcol,
           Int ldgcol, const Int* perm, const T* givnum, const T* c, const T* s, T* work, Int* iwork, Int& info) {
  check_and_multiply_by_tree<T, T>(icompq, smlsiz, n, nrhs, {b, ldb}, {bx, ldbx}, {u, ldu}, vt, k, difl, difr, z, poles,
                                   givptr, {givcol, ldgcol}, perm, givnum, c, s, work, iwork, info);
}

template <ComplexScalar T>
void lalsa(Int icompq, Int smlsiz, Int n, Int nrhs, T* b, Int ldb, T* bx, Int ldbx, const Real<T>* u, Int ldu,
           const Real<T>* vt, const Int* k, const Real<T>* difl, const Real<T>* difr, const Real<T>* z,
           const Real<T>* poles, const Int* givptr, const Int* givcol, Int ldgcol, const Int* perm,
           const Real<T>* givnum, const Real<T>* c, const Real<T>* s, Real<T>* rwork, Int* iwork, Int& info) {
  check_and_multiply_by_tree<T, Real<T>>(icompq, smlsiz, n, nrhs, {b, ldb}, {bx, ldbx}, {u, ldu}, vt, k, difl, difr, z,
                                         poles, givptr, {givcol, ldgcol}, perm, givnum, c, s, rwork, iwork, info);
}

}  // namespace nuv

#include "svd/compact_vectors.entries.inc"
