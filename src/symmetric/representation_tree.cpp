#include "symmetric/representation_tree.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "symmetric/gerschgorin.hpp"
#include "symmetric/isolated_vector.hpp"
#include "symmetric/relatively_robust.hpp"
#include "symmetric/representation_node.hpp"

namespace nuv {
namespace {

template <RealScalar R>
struct Settings {
  R minrgp, rtol1, rtol2;
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

/// The representation tree of one block. Arrays begin with the block's first row, or with its first wanted eigenvalue;
/// Z has all rows of the matrix, and `above` of them lie above the block.
///
/// The tree is walked in depth. A cluster that waits keeps its representation in the columns of two of its vectors: D
/// in one, L and the shift in the next.
template <Scalar T>
struct RepresentationTree {
  using R = Real<T>;

  const Settings<R>& settings;
  RepresentationNode<R> node;  ///< at hand, the root at first
  R lower;                     ///< the wanted eigenvalues of T lie above it
  Int count;                   ///< of wanted eigenvalues
  Int index;                   ///< of the first of them in the block, from one
  R *w, *werr, *wgap;
  R* shifted;       ///< the eigenvalues, each less the shift of its representation
  Cluster vectors;  ///< for these
  Matrix<T> Z;
  Int order, above;
  Int* isuppz;
  Int* stack;
  R *child_d, *child_l;

  R gap_below_all = 0;  ///< below the first wanted eigenvalue

  /// Gives info.
  Int walk() {
    blas::copy(count, {w, 1}, {shifted, 1});
    for (Int k = 0; k < count; ++k) w[k] += node.shift;
    gap_below_all = std::max(R(0), w[0] - werr[0] - lower);
    node.form_products();

    ClusterStack waiting(stack);
    Int info = node.n == 1 ? set_unit_vector() : visit({0, count - 1, 0}, waiting);
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

  /// The last of the eigenvalues from `first` on whose relative gaps are smaller than `gap`.
  Int end_of_group(Int first, Int last, R gap) const {
    Int end = first;
    while (end < last && wgap[end] < gap * std::abs(shifted[end])) ++end;
    return end;
  }

  /// Each eigenvalue that stands apart gets its vector, each cluster in the cluster its representation. A vector is the
  /// more accurate the larger the relative gap is: eigenvalues that hardly stand apart count as a cluster too, as long
  /// as a good representation can be had for it.
  Int visit(const Cluster& cluster, ClusterStack& waiting) {
    const R comfortable = 3 * settings.minrgp;
    Int info = 0;
    for (Int first = cluster.first, last; first <= cluster.last && info == 0; first = last + 1) {
      last = end_of_group(first, cluster.last, comfortable);
      const Cluster group = {first, last, cluster.depth + 1};
      if (!group.meets(vectors)) continue;
      const bool is_represented = first < last && represent(group, Growth::none, waiting) == 0;
      info = is_represented ? 0 : visit_closest(group, waiting);
    }
    return info;
  }

  Int visit_closest(const Cluster& group, ClusterStack& waiting) {
    Int info = 0;
    for (Int first = group.first, last; first <= group.last && info == 0; first = last + 1) {
      last = end_of_group(first, group.last, settings.minrgp);
      const Cluster closest = {first, last, group.depth};
      if (!closest.meets(vectors)) continue;
      info = first == last ? find_vector(first) : represent(closest, Growth::tolerable, waiting);
    }
    return info;
  }

  bool refine(Int first, Int last, R rtol1, R rtol2) const {
    return node.refine(index + first, index + last, rtol1, rtol2, index, shifted, wgap, werr);
  }

  // ------------------------------------------------------------------------------------------------------- clusters

  /// What is allowed of the elements of a child.
  enum class Growth { none, tolerable };

  /// Finds a child for a cluster, with a shift as close to it as can be.
  Int represent(const Cluster& cluster, Growth growth, ClusterStack& waiting) {
    constexpr Int deepest = 100;  // a level resolves three digits, or half of the cluster
    constexpr R finest = IsolatedVector<T>::finest;
    if (cluster.depth > deepest) return -2;
    if (!refine(cluster.first, cluster.first, finest, finest) || !refine(cluster.last, cluster.last, finest, finest)) {
      return -1;
    }
    const R gap_below = cluster.first == 0 ? gap_below_all : wgap[cluster.first - 1];
    R sigma;
    Int info;
    larrf(node.n, node.d, node.l, node.ld, cluster.first + 1, cluster.last + 1, shifted, wgap, werr, node.diameter,
          gap_below, wgap[cluster.last], node.pivmin, sigma, child_d, child_l, node.scratch, info);
    if (info != 0 || (growth == Growth::none && child_has_large_elements())) return -2;
    store(cluster, node.shift + sigma);
    for (Int k = cluster.first; k <= cluster.last; ++k) {
      const R rounding = 3 * eps * std::abs(shifted[k]);
      shifted[k] -= sigma;
      werr[k] += rounding + 4 * eps * std::abs(shifted[k]);
    }
    waiting.push(cluster);
    return 0;
  }

  bool child_has_large_elements() const {
    return std::any_of(child_d, child_d + node.n, [&](R pivot) { return std::abs(pivot) > 8 * node.diameter; });
  }

  /// The first of the columns that keep a representation. They belong to the cluster, and lie beside those of the
  /// wanted vectors at most.
  Int column_of(const Cluster& cluster) const { return std::max(cluster.first, vectors.first - 1) + 1; }

  void store(const Cluster& cluster, R shift) const {
    T* const kept_d = Z.at(above + 1, column_of(cluster));
    T* const kept_l = Z.at(above + 1, column_of(cluster) + 1);
    for (Int i = 0; i < node.n; ++i) kept_d[i] = T(child_d[i]);
    for (Int i = 0; i < node.n - 1; ++i) kept_l[i] = T(child_l[i]);
    kept_l[node.n - 1] = T(shift);
  }

  void load(const Cluster& cluster) {
    const T* const kept_d = Z.at(above + 1, column_of(cluster));
    const T* const kept_l = Z.at(above + 1, column_of(cluster) + 1);
    for (Int i = 0; i < node.n; ++i) node.d[i] = std::real(kept_d[i]);
    for (Int i = 0; i < node.n - 1; ++i) node.l[i] = std::real(kept_l[i]);
    node.shift = std::real(kept_l[node.n - 1]);
    node.form_products();
  }

  // -------------------------------------------------------------------------------------------------------- vectors

  Int find_vector(Int k) const {
    const R below = k > 0 ? wgap[k - 1] : Machine<R>::overflow;
    const R beyond = k < count - 1 ? wgap[k] : Machine<R>::overflow;
    IsolatedValue<R> value{index + k, shifted[k], werr[k], std::min(below, beyond), k == 0 || k == count - 1};
    IsolatedVector<T> vector(node, value, Z.at(above + 1, k + 1));
    if (!vector.find()) return -1;
    shifted[k] = value.x;
    werr[k] = value.error;
    w[k] = value.x + node.shift;
    finish(k, vector.first_row(), vector.last_row(), vector.inverse_norm());
    return vector.is_finite() ? 0 : 5;
  }

  Int set_unit_vector() const {
    if (!Cluster{0, 0, 0}.meets(vectors)) return 0;
    *Z.at(above + 1, 1) = T(1);
    finish(0, 1, 1, R(1));
    return 0;
  }

  /// Scales vector k, which fills some rows of the block, and puts zeros above and below it.
  void finish(Int k, Int first_row, Int last_row, R factor) const {
    const Int from = above + first_row, to = above + last_row;
    isuppz[2 * std::ptrdiff_t{k}] = from;
    isuppz[2 * std::ptrdiff_t{k} + 1] = to;
    std::fill(Z.at(1, k + 1), Z.at(from, k + 1), T(0));
    blas::scal(to - from + 1, factor, column(Z, from, k + 1));
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
  const Settings<R> settings{minrgp, rtol1, rtol2};
  const Matrix<T> Z{z, ldz};
  for (Int first = 0, next; first < m && info == 0; first = next) {
    const Int number = iblock[first];
    for (next = first; next < m && iblock[next] == number;) ++next;
    const Int begin = number == 1 ? 0 : isplit[number - 2];
    const Int order = isplit[number - 1] - begin;
    R* const rest = work + 5 * std::ptrdiff_t{order};
    RepresentationTree<T> tree{.settings = settings,
                               .node = {.n = order,
                                        .d = d + begin,
                                        .l = l + begin,
                                        .ld = work,
                                        .lld = work + order,
                                        .shift = l[isplit[number - 1] - 1],
                                        .diameter = width(union_of_intervals(order, gers + 2 * std::ptrdiff_t{begin})),
                                        .pivmin = pivmin,
                                        .scratch = rest,
                                        .integers = iwork},
                               .lower = vl,
                               .count = next - first,
                               .index = indexw[first],
                               .w = w + first,
                               .werr = werr + first,
                               .wgap = wgap + first,
                               .shifted = work + 2 * std::ptrdiff_t{order},
                               .vectors = {dol - 1 - first, dou - 1 - first, 0},
                               .Z = block(Z, 1, first + 1),
                               .order = n,
                               .above = begin,
                               .isuppz = isuppz + 2 * std::ptrdiff_t{first},
                               .stack = iwork + 2 * std::ptrdiff_t{order},
                               .child_d = work + 3 * std::ptrdiff_t{order},
                               .child_l = work + 4 * std::ptrdiff_t{order}};
    info = tree.walk();
  }
}

}  // namespace nuv

#include "symmetric/representation_tree.entries.inc"
