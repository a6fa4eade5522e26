#pragma once

// Eigenvectors of D + rho z z^T from the roots of its secular equation, and those of a merged matrix from them.
//
// The computed roots are the exact ones of a z close by, which Loewner's formula gives from their distances from D.
// With that z the vectors are orthogonal, however close roots lie (M. Gu, S. C. Eisenstat, A stable and efficient
// algorithm for the rank-one modification of the symmetric eigenproblem, SIAM J. Matrix Anal. Appl. 15, 1994).
//
// Each step runs through share(count, multiply_adds, work), which calls work(from, until) on parts of 0 ... count that
// together are the whole. No result depends on where the parts are cut.
//
// The functions are static: they are compiled for several instruction sets, whose code must not meet in the linker.

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "symmetric/secular_poles.hpp"

namespace nuv {

/// The work of a caller without threads.
struct OneShare {
  template <class Work>
  void operator()(Int count, double /*multiply_adds*/, Work work) const {
    work(Int{0}, count);
  }
};

/// A secular equation of order k with its roots.
template <RealScalar R, class Poles = PlainPoles>
struct SecularSystem {
  Int k;
  const R* dlamda;  ///< the poles, as Poles take them
  R* w;             ///< the elements of z
  Matrix<R> Delta;  ///< k by k: element (i, j) is dlamda(i) - root j
};

namespace secular {

/// Multiply-adds that a division takes as long as.
inline constexpr double division = 4;

/// Sums over all poles that a root takes.
inline constexpr double sums_of_root = 5;

template <class Poles, RealScalar R>
static void multiply_by_quotients(Int count, const R* delta, const R* poles, R pole, R* __restrict product) {
  for (Int i = 0; i < count; ++i) product[i] *= delta[i] / Poles::gap(poles[i], pole);
}

/// The element of z whose square is minus the product, with the sign of w.
template <RealScalar R>
static R weight(R product, R w) {
  const R magnitude = std::sqrt(negated(product));
  return w < 0 ? negated(magnitude) : magnitude;
}

/// Rows from + 1 ... until of what follows, a few at a time, so that their products stay in cache.
template <RealScalar R, class Poles>
static void refit_rows(const SecularSystem<R, Poles>& system, Int from, Int until) {
  constexpr Int most_rows = 256;
  R product[most_rows];
  const Matrix<R> Delta = system.Delta;
  for (Int first = from; first < until; first += most_rows) {
    const Int rows = std::min(most_rows, until - first);
    const R* const poles = system.dlamda + first;
    for (Int i = 0; i < rows; ++i) product[i] = Delta(first + i + 1, first + i + 1);
    for (Int j = 0; j < system.k; ++j) {
      const R* const delta = Delta.at(first + 1, j + 1);
      const Int before = std::clamp(j - first, Int{0}, rows), behind = std::clamp(j - first + 1, Int{0}, rows);
      multiply_by_quotients<Poles>(before, delta, poles, system.dlamda[j], product);
      multiply_by_quotients<Poles>(rows - behind, delta + behind, poles + behind, system.dlamda[j], product + behind);
    }
    for (Int i = 0; i < rows; ++i) system.w[first + i] = weight(product[i], system.w[first + i]);
  }
}

}  // namespace secular

/// Finds the roots, d(1) ... d(k), and their distances from the poles by find_root(j, delta, root), which gives info.
/// False if one was not found.
template <RealScalar R, class Share, class FindRoot>
static bool find_roots(const SecularSystem<R>& system, R* d, Share share, FindRoot find_root) {
  bool failed = false;
  const double sums = double(system.k) * system.k * secular::sums_of_root;
  share(system.k, sums * (secular::division + 4), [&](Int from, Int until) {
    for (Int j = from; j < until; ++j) {
      if (find_root(j + 1, system.Delta.at(1, j + 1), d[j]) != 0) __atomic_store_n(&failed, true, __ATOMIC_RELAXED);
    }
  });
  return !failed;
}

/// w(i) := the element of the z whose roots are exactly those found, with the sign that it has:
///
///     w(i)^2 = - product of Delta(i, j) over all j / product of dlamda(i) - dlamda(j) over all j but i
template <RealScalar R, class Poles, class Share>
static void refit_weights(const SecularSystem<R, Poles>& system, Share share) {
  const double quotients = double(system.k) * system.k;
  share(system.k, quotients * (secular::division + 2),
        [&](Int from, Int until) { secular::refit_rows(system, from, until); });
}

/// The vector of root j, of any length, and the reciprocal of that length. It may take the place of the distances.
template <RealScalar R, class Poles>
static R vector_of_root(const SecularSystem<R, Poles>& system, Int j, R* vector) {
  const R* const delta = system.Delta.at(1, j);
#pragma GCC ivdep
  for (Int i = 0; i < system.k; ++i) vector[i] = system.w[i] / delta[i];
  return 1 / blas::nrm2(system.k, {vector, 1});
}

/// What is left of a merge after its deflation: the columns of q2 times the vectors of the secular equation.
template <RealScalar R>
struct SecularMerge {
  Int n, n1;        ///< order of the whole, and of the first half
  Matrix<R> Q;      ///< receives the first k eigenvectors
  const R* q2;      ///< n1 rows of the columns with elements above, then n - n1 rows of those with elements below
  const Int* indx;  ///< the places in dlamda of the columns
  Int above, both, below;  ///< number of columns with elements in the first half alone, in both halves, in the second
  R* s;                    ///< max(above + both, both + below) k elements of scratch memory
};

/// Replaces the distances of each root in Q, two columns and more at a time, by its unit vector in the order of q2.
template <RealScalar R, class Share>
static void order_vectors(const SecularSystem<R>& system, const SecularMerge<R>& merge, Share share) {
  const Int k = system.k, pairs = k / 2;
  // One of the two kinds of columns, or both, has half of them, so that two columns leave room for a whole vector.
  const std::ptrdiff_t room = 2 * std::max(merge.above + merge.both, merge.both + merge.below);
  share(pairs, double(k) * k * (secular::division + 2), [&](Int from, Int until) {
    R* const vector = merge.s + from * room;
    const Int last = until == pairs ? k : 2 * until;
    for (Int j = 2 * from + 1; j <= last; ++j) {
      const R scale = vector_of_root(system, j, vector);
      R* const column = merge.Q.at(1, j);
      for (Int i = 0; i < k; ++i) column[i] = scale * vector[merge.indx[i] - 1];
    }
  });
}

/// Rows of the result := the product of columns of q2 with the rows of the secular vectors that belong to them.
template <RealScalar R, class Share>
static void multiply_half(Int k, Int rows, Int columns, const R* q2, Matrix<const R> vectors, R* s, Matrix<R> result,
                          Share share) {
  if (columns == 0) {
    for (Int j = 1; j <= k; ++j) std::fill_n(result.at(1, j), rows, R(0));
    return;
  }
  const Matrix S{s, columns};
  share(k, double(k) * columns * 2, [&](Int from, Int until) {
    for (Int j = from + 1; j <= until; ++j) std::copy_n(vectors.at(1, j), columns, S.at(1, j));
  });
  blas::gemm('N', 'N', rows, k, columns, R(1), {q2, std::max(1, rows)}, S, R(0), result);
}

/// Solves the secular equation, whose distances go to Q, and multiplies the eigenvectors out. False if a root was not
/// found.
template <RealScalar R, class Share, class FindRoot>
static bool solve_merge(Int k, R* d, const R* dlamda, R* w, const SecularMerge<R>& merge, Share share,
                        FindRoot find_root) {
  const SecularSystem<R> system{k, dlamda, w, merge.Q};
  const Matrix Q = merge.Q;
  if (!find_roots(system, d, share, find_root)) return false;
  if (k == 2) {
    // The vectors are there already.
    for (Int j = 1; j <= k; ++j) {
      if (merge.indx[0] == 2) std::swap(Q(1, j), Q(2, j));
    }
  } else if (k > 2) {
    refit_weights(system, share);
    order_vectors(system, merge, share);
  }
  // The lower half first: the rows that the upper half needs lie above it.
  const Int upper = merge.above + merge.both, lower = merge.both + merge.below, n2 = merge.n - merge.n1;
  const R* const lower_q2 = merge.q2 + std::ptrdiff_t{upper} * merge.n1;
  multiply_half<R>(k, n2, lower, lower_q2, block(Q, merge.above + 1, 1), merge.s, block(Q, merge.n1 + 1, 1), share);
  multiply_half<R>(k, merge.n1, upper, merge.q2, Q, merge.s, Q, share);
  return true;
}

}  // namespace nuv
