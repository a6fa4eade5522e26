#include "symmetric/mrrr.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_symmetric.hpp"
#include "environment/sorting.hpp"
#include "environment/two_by_two.hpp"
#include "frame/error_report.hpp"
#include "symmetric/bisection_of_representations.hpp"
#include "symmetric/driver_steps.hpp"
#include "symmetric/relatively_robust.hpp"
#include "symmetric/representation_tree.hpp"
#include "symmetric/sorted_pairs.hpp"
#include "symmetric/sturm_counts.hpp"

namespace nuv {
namespace {

/// Whether an eigenvalue and its index are among the wanted ones.
template <RealScalar R>
bool holds(const Selection<R>& wanted, R w, Int index) {
  return wanted.takes_only(w) && (!wanted.by_index() || (wanted.il <= index && index <= wanted.iu));
}

/// The number of eigenvalues of T, multiplied by `factor`, that are not above x.
template <RealScalar R>
Int count_up_to(R x, R factor, Int n, const R* d, const R* e) {
  Int count = 0;
  R pivot = 1;
  for (Int i = 0; i < n; ++i) {
    const R beside = i > 0 ? factor * e[i - 1] : R(0);
    pivot = factor * d[i] - beside * beside / pivot - x;
    if (std::abs(pivot) < Machine<R>::safe_min) pivot = negated(Machine<R>::safe_min);
    count += pivot <= 0;
  }
  return count;
}

/// How many eigenvalues are wanted.
template <RealScalar R>
Int count(const Selection<R>& wanted, Int n, const R* d, const R* e) {
  if (n == 0) return 0;
  if (wanted.by_index()) return wanted.iu - wanted.il + 1;
  if (!wanted.by_value()) return n;
  const auto scaling = RangeScaling<R>::for_representations(lanst('M', n, d, e));
  const Selection<R> scaled = wanted.scaled(scaling);
  return count_up_to(scaled.vu, scaling.factor(), n, d, e) - count_up_to(scaled.vl, scaling.factor(), n, d, e);
}

/// Eigenvalues, and in the columns of Z eigenvectors if they are wanted.
template <Scalar T>
struct Eigenpairs {
  Int n;
  Int& m;
  Real<T>* w;
  bool with_vectors;
  Int columns;  ///< that Z has
  Matrix<T> Z;
  Int* isuppz;

  Int* support(Int k) const { return isuppz + 2 * std::ptrdiff_t{k - 1}; }

  void sort() const {
    if (!with_vectors) {
      Int info;
      return lasrt('I', m, w, info);
    }
    sort_pairs(n, m, w, Z, [&](Int i, Int j) { std::swap_ranges(support(i), support(i) + 2, support(j)); });
  }
};

template <Scalar T>
void solve_order_one(const Selection<Real<T>>& wanted, Real<T> d, const Eigenpairs<T>& pairs) {
  if (!holds(wanted, d, 1)) return;
  pairs.m = 1;
  pairs.w[0] = d;
  if (!pairs.with_vectors) return;
  pairs.Z(1, 1) = T(1);
  pairs.support(1)[0] = pairs.support(1)[1] = 1;
}

template <Scalar T>
void solve_order_two(const Selection<Real<T>>& wanted, const Real<T>* d, Real<T> e, const Eigenpairs<T>& pairs) {
  using R = Real<T>;
  struct Pair {
    R w, x, y;
  };
  R w1, w2, cs = 0, sn = 0;
  if (pairs.with_vectors) {
    laev2(d[0], e, d[1], w1, w2, cs, sn);
  } else {
    lae2(d[0], e, d[1], w1, w2);
  }
  Pair both[] = {{w2, negated(sn), cs}, {w1, cs, sn}};
  if (w1 < w2) std::swap(both[0], both[1]);
  for (Int index = 1; index <= 2; ++index) {
    const Pair& pair = both[index - 1];
    if (!holds(wanted, pair.w, index)) continue;
    const Int k = ++pairs.m;
    pairs.w[k - 1] = pair.w;
    if (!pairs.with_vectors) continue;
    pairs.Z(1, k) = T(pair.x);
    pairs.Z(2, k) = T(pair.y);
    pairs.support(k)[0] = pair.x == 0 ? 2 : 1;
    pairs.support(k)[1] = pair.y == 0 ? 1 : 2;
  }
}

/// 12 n numbers, with vectors 18 n, and 8 n or 10 n integers.
template <RealScalar R>
struct MrrrWork {
  R *gers, *werr, *wgap, *d, *e2, *rest;
  Int *isplit, *iblock, *indexw, *integers;

  MrrrWork(Int n, R* work, Int* iwork)
      : gers(work),
        werr(gers + 2 * std::ptrdiff_t{n}),
        wgap(werr + n),
        d(wgap + n),
        e2(d + n),
        rest(e2 + n),
        isplit(iwork),
        iblock(isplit + n),
        indexw(iblock + n),
        integers(indexw + n) {}
};

/// Refines the eigenvalues, grouped by blocks, by bisection with T itself, its diagonal and the squares of what stands
/// beside that.
template <RealScalar R>
void refine_by_blocks(Int m, R* w, R pivmin, R norm, const MrrrWork<R>& work) {
  for (Int first = 0, next; first < m; first = next) {
    const Int block = work.iblock[first];
    for (next = first; next < m && work.iblock[next] == block;) ++next;
    const Int begin = block == 1 ? 0 : work.isplit[block - 2], index = work.indexw[first];
    Int info;
    // Adding the shift to a value has cost digits.
    for (Int k = first; k < next; ++k) work.werr[k] += Machine<R>::precision * norm;
    larrj(work.isplit[block - 1] - begin, work.d + begin, work.e2 + begin, index, index + next - first - 1,
          4 * Machine<R>::precision, index - 1, w + first, work.werr + first, work.rest, work.integers, pivmin, norm,
          info);
  }
}

/// For n > 2. Gives info.
template <Scalar T>
Int solve_by_trees(const Selection<Real<T>>& given, Real<T>* d, Real<T>* e, const Eigenpairs<T>& pairs, Logical& tryrac,
                   const MrrrWork<Real<T>>& work) {
  using R = Real<T>;
  constexpr R eps = Machine<R>::precision;
  const Int n = pairs.n;
  R* const w = pairs.w;

  const R largest = lanst('M', n, d, e);
  const auto scaling = RangeScaling<R>::for_representations(largest);
  scaling.apply(n, d);
  scaling.apply(n - 1, e);
  const R norm = largest * scaling.factor();
  Selection<R> wanted = given.scaled(scaling);

  Int info;
  bool relative = is_true(tryrac);
  if (relative) {
    larrr(n, d, e, info);
    relative = info == 0;
    tryrac = to_logical(relative);
  }
  blas::copy(n, {d, 1}, {work.d, 1});
  for (Int i = 0; i < n - 1; ++i) work.e2[i] = e[i] * e[i];

  const R rtol1 = std::sqrt(eps), rtol2 = std::max(std::sqrt(eps) * R(0.005), 4 * eps);
  Int blocks;
  R pivmin;
  larre(wanted.range, n, wanted.vl, wanted.vu, wanted.il, wanted.iu, d, e, work.e2, rtol1, rtol2,
        relative ? eps : negated(eps), blocks, work.isplit, pairs.m, w, work.werr, work.wgap, work.iblock, work.indexw,
        work.gers, pivmin, work.rest, work.integers, info);
  if (info != 0) return 10 + std::abs(info);
  const Int m = pairs.m;
  if (pairs.with_vectors && m > pairs.columns) return -14;
  if (pairs.with_vectors) {
    constexpr R least_relative_gap = R(1e-3);
    larrv(n, wanted.vl, wanted.vu, d, e, pivmin, work.isplit, m, 1, m, least_relative_gap, rtol1, rtol2, w, work.werr,
          work.wgap, work.iblock, work.indexw, work.gers, pairs.Z.data, pairs.Z.ld, pairs.isuppz, work.rest,
          work.integers, info);
    if (info != 0) return 20 + std::abs(info);
  } else {
    for (Int k = 0; k < m; ++k) w[k] += e[work.isplit[work.iblock[k] - 1] - 1];
  }
  if (relative || !pairs.with_vectors) refine_by_blocks(m, w, pivmin, norm, work);
  scaling.undo(m, w, 0);
  pairs.sort();
  return 0;
}

}  // namespace

template <Scalar T>
void stemr(char jobz, char range, Int n, Real<T>* d, Real<T>* e, Real<T> vl, Real<T> vu, Int il, Int iu, Int& m,
           Real<T>* w, T* z, Int ldz, Int nzc, Int* isuppz, Logical& tryrac, Real<T>* work, Int lwork, Int* iwork,
           Int liwork, Int& info) {
  using R = Real<T>;
  const bool with_vectors = same_letter(jobz, 'V');
  const std::int64_t least_work = (with_vectors ? 18 : 12) * std::int64_t{n};
  const std::int64_t least_iwork = (with_vectors ? 10 : 8) * std::int64_t{n};
  const bool asks_for_work = lwork == -1 || liwork == -1, asks_for_columns = nzc == -1;
  const Selection<R> wanted{range, vl, vu, il, iu};
  Int columns = 0;  // of z, that are needed

  info = 0;
  if (!is_one_of(jobz, 'N', 'V')) info = -1;
  else if (!is_one_of(range, 'A', 'V', 'I')) info = -2;
  else if (n < 0) info = -3;
  else if (const Int bad = wanted.check(n, 7); bad != 0) info = bad;
  else if (ldz < 1 || (with_vectors && ldz < n)) info = -13;
  if (info == 0) {
    // A question for workspace need not have a matrix yet.
    const bool countable = asks_for_columns || !asks_for_work || !wanted.by_value();
    if (with_vectors && countable) columns = count(wanted, n, d, e);
    if (nzc < columns && !asks_for_columns) info = -14;
    else if (lwork < least_work && !asks_for_work) info = -18;
    else if (liwork < least_iwork && !asks_for_work) info = -20;
  }
  if (info != 0) return report_bad_argument<T>("STEMR", info);
  if (asks_for_columns) z[0] = T(static_cast<R>(columns));
  if (n > 0 || asks_for_work) {
    work[0] = as_work_size<R>(least_work);
    iwork[0] = static_cast<Int>(least_iwork);
  }
  if (asks_for_work || asks_for_columns) return;

  m = 0;
  const Eigenpairs<T> pairs{n, m, w, with_vectors, nzc, {z, ldz}, isuppz};
  if (n == 0) return;
  if (n == 1) return solve_order_one(wanted, d[0], pairs);
  if (n == 2) return solve_order_two(wanted, d, e[0], pairs);
  info = solve_by_trees(wanted, d, e, pairs, tryrac, {n, work, iwork});
  if (info < 0) return report_bad_argument<T>("STEMR", info);
  work[0] = as_work_size<R>(least_work);
  iwork[0] = static_cast<Int>(least_iwork);
}

template <Scalar T>
void stegr(char jobz, char range, Int n, Real<T>* d, Real<T>* e, Real<T> vl, Real<T> vu, Int il, Int iu, Real<T>,
           Int& m, Real<T>* w, T* z, Int ldz, Int* isuppz, Real<T>* work, Int lwork, Int* iwork, Int liwork,
           Int& info) {
  Logical tryrac = to_logical(false);
  stemr(jobz, range, n, d, e, vl, vu, il, iu, m, w, z, ldz, n, isuppz, tryrac, work, lwork, iwork, liwork, info);
}

}  // namespace nuv

#include "symmetric/mrrr.entries.inc"
