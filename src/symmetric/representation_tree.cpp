#include "symmetric/representation_tree.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "symmetric/bisection_of_representations.hpp"
#include "symmetric/gerschgorin.hpp"
#include "symmetric/relatively_robust.hpp"
#include "symmetric/twisted_vectors.hpp"

namespace nuv {
namespace {

template <RealScalar R>
struct Settings {
  R pivmin, minrgp, rtol1, rtol2;
};

/// Wanted eigenvalues of a block, one next to the other, that one representation serves; counted from zero.
struct Cluster {
  Int first, last;
  Int depth;  ///< of the representation in the tree

  bool meets(const Cluster& other) const { return first <= other.last && other.first <= last; }
};

/// Clusters that wait, at most half as many as there are eigenvalues.
class ClusterStack {
 public:
  explicit ClusterStack(Int* memory) : memory_(memory) {}

  bool is_empty() const { return size_ == 0; }
  void push(const Cluster& cluster) {
    Int* const place = memory_ + 3 * std::ptrdiff_t{size_++};
    place[0] = cluster.first;
    place[1] = cluster.last;
    place[2] = cluster.depth;
  }
  Cluster pop() {
    const Int* const place = memory_ + 3 * std::ptrdiff_t{--size_};
    return {place[0], place[1], place[2]};
  }

 private:
  Int* memory_;
  Int size_ = 0;
};

/// Of 9 n numbers and, with the stack, 5 n integers.
template <RealScalar R>
struct TreeWork {
  R* shifted;  ///< the eigenvalues, each less the shift of its representation
  R *ld, *lld;
  R *child_d, *child_l;
  R* scratch;  ///< for what is called
  Int *stack, *integers;

  TreeWork(Int n, R* work, Int* iwork)
      : shifted(work),
        ld(shifted + n),
        lld(ld + n),
        child_d(lld + n),
        child_l(child_d + n),
        scratch(child_l + n),
        stack(iwork),
        integers(iwork + 3 * std::ptrdiff_t{n}) {}
};

/// The representation tree of one block. Arrays begin with the block's first row, or with its first wanted eigenvalue;
/// Z has all rows of the matrix, and `above` of them lie above the block.
///
/// The tree is walked in depth. A cluster that waits keeps its representation in the columns of two of its vectors: D
/// in one, L and the shift in the next.
template <Scalar T>
struct RepresentationTree {
  using R = Real<T>;

  const Settings<R>& settings;
  Int n;
  R *d, *l;    ///< the representation at hand, the root at first, and the shift behind L
  R diameter;  ///< of the spectrum
  R lower;     ///< the wanted eigenvalues of T lie above it
  Int count;   ///< of wanted eigenvalues
  Int index;   ///< of the first of them in the block, from one
  R *w, *werr, *wgap;
  Cluster vectors;  ///< for these
  Matrix<T> Z;
  Int order, above;
  Int* isuppz;
  TreeWork<R> work;

  R shift = 0;          ///< of the representation at hand
  R gap_below_all = 0;  ///< below the first wanted eigenvalue

  /// Gives info.
  Int walk() {
    shift = l[n - 1];
    blas::copy(count, {w, 1}, {work.shifted, 1});
    for (Int k = 0; k < count; ++k) w[k] += shift;
    gap_below_all = std::max(R(0), w[0] - werr[0] - lower);

    ClusterStack waiting(work.stack);
    Int info = n == 1 ? set_unit_vector() : visit({0, count - 1, 0}, waiting);
    while (info == 0 && !waiting.is_empty()) {
      const Cluster cluster = waiting.pop();
      load(cluster);
      info = refine(cluster.first, cluster.last, settings.rtol1, settings.rtol2) ? visit(cluster, waiting) : -3;
    }
    for (Int k = 0; k < count; ++k) {
      if (k < vectors.first || k > vectors.last) std::fill_n(Z.at(1, k + 1), order, T(0));
    }
    return info;
  }

 private:
  static constexpr R eps = Machine<R>::precision;
  static constexpr R finest = 2 * eps;  ///< how well an eigenvalue can be known

  Int set_unit_vector() {
    if (!Cluster{0, 0, 0}.meets(vectors)) return 0;
    *Z.at(above + 1, 1) = T(1);
    TwistedVector only{.support = {1, 1}, .inverse_norm = 1};
    finish(0, only);
    return 0;
  }

  /// Each eigenvalue that stands apart gets its vector, each cluster in the cluster its representation.
  Int visit(const Cluster& cluster, ClusterStack& waiting) {
    for (Int i = 0; i < n - 1; ++i) {
      work.ld[i] = l[i] * d[i];
      work.lld[i] = l[i] * work.ld[i];
    }
    Int info = 0;
    for (Int first = cluster.first, last; first <= cluster.last && info == 0; first = last + 1) {
      last = first;
      while (last < cluster.last && wgap[last] < settings.minrgp * std::abs(work.shifted[last])) ++last;
      const Cluster group = {first, last, cluster.depth + 1};
      if (!group.meets(vectors)) continue;
      info = first == last ? find_vector(first) : represent(group, waiting);
    }
    return info;
  }

  bool refine(Int first, Int last, R rtol1, R rtol2) {
    Int info;
    larrb(n, d, work.lld, index + first, index + last, rtol1, rtol2, index - 1, work.shifted, wgap, werr, work.scratch,
          work.integers, settings.pivmin, diameter, n, info);
    return info == 0;
  }

  // ------------------------------------------------------------------------------------------------------- clusters

  /// Finds a child for a cluster, with a shift as close to it as can be.
  Int represent(const Cluster& cluster, ClusterStack& waiting) {
    constexpr Int deepest = 100;  // a level resolves three digits, or half of the cluster
    if (cluster.depth > deepest) return -2;
    if (!refine(cluster.first, cluster.first, finest, finest) || !refine(cluster.last, cluster.last, finest, finest)) {
      return -1;
    }
    const R gap_below = cluster.first == 0 ? gap_below_all : wgap[cluster.first - 1];
    R sigma;
    Int info;
    larrf(n, d, l, work.ld, cluster.first + 1, cluster.last + 1, work.shifted, wgap, werr, diameter, gap_below,
          wgap[cluster.last], settings.pivmin, sigma, work.child_d, work.child_l, work.scratch, info);
    if (info != 0) return -2;
    store(cluster, shift + sigma);
    for (Int k = cluster.first; k <= cluster.last; ++k) {
      R& x = work.shifted[k];
      const R rounding = 3 * eps * std::abs(x);
      x -= sigma;
      werr[k] += rounding + 4 * eps * std::abs(x);
    }
    waiting.push(cluster);
    return 0;
  }

  /// The columns that keep a representation belong to the cluster, and are next to those asked for at most.
  Int column_of(const Cluster& cluster) const { return std::max(cluster.first, vectors.first - 1) + 1; }

  void store(const Cluster& cluster, R child_shift) {
    T* const kept_d = Z.at(above + 1, column_of(cluster));
    T* const kept_l = Z.at(above + 1, column_of(cluster) + 1);
    for (Int i = 0; i < n; ++i) kept_d[i] = T(work.child_d[i]);
    for (Int i = 0; i < n - 1; ++i) kept_l[i] = T(work.child_l[i]);
    kept_l[n - 1] = T(child_shift);
  }

  void load(const Cluster& cluster) {
    const T* const kept_d = Z.at(above + 1, column_of(cluster));
    const T* const kept_l = Z.at(above + 1, column_of(cluster) + 1);
    for (Int i = 0; i < n; ++i) d[i] = std::real(kept_d[i]);
    for (Int i = 0; i < n; ++i) l[i] = std::real(kept_l[i]);
    shift = l[n - 1];
  }

  // -------------------------------------------------------------------------------------------------------- vectors

  /// What lar1v tells of a vector.
  struct TwistedVector {
    R lambda = 0;
    Int twist = 0;  ///< row, kept from one vector to the next
    Int below = 0;  ///< number of eigenvalues below lambda
    Int support[2] = {};
    R inverse_norm = 0, residual = 0, correction = 0;

    void compute(const RepresentationTree& tree, R tolerance, bool count, T* z) {
      R square, gamma;
      lar1v(tree.n, 1, tree.n, lambda, tree.d, tree.l, tree.work.ld, tree.work.lld, tree.settings.pivmin, tolerance, z,
            to_logical(count), below, square, gamma, twist, support, inverse_norm, residual, correction,
            tree.work.scratch);
    }
  };

  /// The vector of eigenvalue k, which stands apart: from twisted factorisations at its approximation and what the
  /// Rayleigh quotient makes of that. Where this leaves the interval of the eigenvalue, bisection finds it.
  Int find_vector(Int k) {
    constexpr int most_steps = 10;
    R& x = work.shifted[k];
    R left = x - werr[k], right = x + werr[k];
    const bool at_border = k == 0 || k == count - 1;
    const R least_gap = eps * std::max(std::abs(left), std::abs(right));
    const R gap = std::min(k == 0 ? least_gap : wgap[k - 1], k == count - 1 ? least_gap : wgap[k]);
    const R small_residual = 4 * std::log(static_cast<R>(n)) * eps * gap;
    const R negligible = at_border ? R(0) : gap * eps;

    T* const z = Z.at(above + 1, k + 1);
    TwistedVector v{x};
    R best_lambda = x, least_residual = Machine<R>::overflow;
    bool corrected = false, bisected = false;
    for (int step = 1;; ++step) {
      v.compute(*this, negligible, !bisected, z);
      if (v.residual < least_residual) {
        least_residual = v.residual;
        best_lambda = v.lambda;
      }
      const bool converged = !(v.residual > small_residual) || !(std::abs(v.correction) > finest * std::abs(v.lambda));
      if (bisected || converged) break;

      const bool is_below = index + k <= v.below;
      const R next = v.lambda + v.correction;
      const bool inwards = (is_below ? v.correction <= 0 : v.correction >= 0) && left <= next && next <= right;
      if (inwards && step < most_steps) {
        (is_below ? right : left) = v.lambda;
        x = (left + right) / 2;
        werr[k] = (right - left) / 2;
        v.lambda = next;
        corrected = true;
        if (right - left >= finest * std::abs(next)) continue;
      }
      if (!refine(k, k, R(0), finest)) return -1;
      bisected = true;
      v.lambda = x;
      v.twist = 0;
    }
    if (corrected && bisected && least_residual <= v.residual) {
      v.lambda = best_lambda;
      v.compute(*this, negligible, false, z);
    }
    x = v.lambda;
    w[k] = v.lambda + shift;
    if (!std::isfinite(v.residual)) return 5;
    finish(k, v);
    return 0;
  }

  /// Gives vector k its norm, and zeros to both sides of its support.
  void finish(Int k, const TwistedVector& v) {
    const Int from = above + v.support[0], to = above + v.support[1];
    isuppz[2 * std::ptrdiff_t{k}] = from;
    isuppz[2 * std::ptrdiff_t{k} + 1] = to;
    std::fill(Z.at(1, k + 1), Z.at(from, k + 1), T(0));
    blas::scal(to - from + 1, v.inverse_norm, column(Z, from, k + 1));
    std::fill(Z.at(to + 1, k + 1), Z.at(order + 1, k + 1), T(0));
  }
};

}  // namespace

template <Scalar T>
void larrv(Int n, Real<T> vl, Real<T>, Real<T>* d, Real<T>* l, Real<T> pivmin, const Int* isplit, Int m, Int dol,
           Int dou, Real<T> minrgp, Real<T> rtol1, Real<T> rtol2, Real<T>* w, Real<T>* werr, Real<T>* wgap,
           const Int* iblock, const Int* indexw, const Real<T>* gers, T* z, Int ldz, Int* isuppz, Real<T>* work,
           Int* iwork, Int& info) {
  using R = Real<T>;
  info = 0;
  if (n <= 0 || m <= 0) return;
  const Settings<R> settings{pivmin, minrgp, rtol1, rtol2};
  const Matrix<T> Z{z, ldz};
  for (Int first = 0, next; first < m && info == 0; first = next) {
    const Int number = iblock[first];
    for (next = first; next < m && iblock[next] == number;) ++next;
    const Int begin = number == 1 ? 0 : isplit[number - 2];
    const Int order = isplit[number - 1] - begin;
    RepresentationTree<T> tree{.settings = settings,
                               .n = order,
                               .d = d + begin,
                               .l = l + begin,
                               .diameter = width(union_of_intervals(order, gers + 2 * std::ptrdiff_t{begin})),
                               .lower = vl,
                               .count = next - first,
                               .index = indexw[first],
                               .w = w + first,
                               .werr = werr + first,
                               .wgap = wgap + first,
                               .vectors = {dol - 1 - first, dou - 1 - first, 0},
                               .Z = block(Z, 1, first + 1),
                               .order = n,
                               .above = begin,
                               .isuppz = isuppz + 2 * std::ptrdiff_t{first},
                               .work = {order, work, iwork}};
    info = tree.walk();
  }
}

}  // namespace nuv

#include "symmetric/representation_tree.entries.inc"
