#include "symmetric/representation_tree.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "symmetric/gerschgorin.hpp"
#include "symmetric/isolated_vector.hpp"
#include "symmetric/known_values.hpp"
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

  bool meets(const Cluster& other) const { return std::max(first, other.first) <= std::min(last, other.last); }
  bool holds(Int k) const { return first <= k && k <= last; }
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

/// The representation tree of one block. Arrays begin with the block's first row, or with its first given eigenvalue;
/// Z has all rows of the matrix, and `above` of them lie above the block.
///
/// The tree is walked in depth. A cluster that waits keeps its representation in the columns of two of its vectors: D
/// in one, L and the shift in the next.
template <Scalar T>
struct RepresentationTree {
  using R = Real<T>;

  const Settings<R>& settings;
  RepresentationNode<R> node;  ///< at hand, the root at first
  R lower;                     ///< the given eigenvalues of T lie above it
  R *w, *werr, *wgap;          ///< of the given eigenvalues
  KnownValues<R> values;       ///< the given ones, and those that share clusters with them
  Cluster given, vectors;      ///< which of these are given, with columns of Z, and which get vectors
  Matrix<T> Z;
  Int order, above;
  Int* isuppz;
  Int* stack;
  R *child_d, *child_l;

  /// Gives info.
  Int walk() {
    node.form_products();
    const bool complete = begin();
    ClusterStack waiting(stack);
    Int info = !complete ? -3 : node.n == 1 ? set_unit_vector() : visit({0, values.count - 1, 0}, waiting);
    while (info == 0 && !waiting.is_empty()) {
      const Cluster cluster = waiting.pop();
      load(cluster);
      info = refine(cluster.first, cluster.last, settings.rtol1, settings.rtol2) ? visit(cluster, waiting) : -3;
    }
    end();
    return info;
  }

 private:
  static constexpr R eps = Machine<R>::precision;

  /// A relative gap with which vectors are as orthogonal as one could wish. It may be the larger the fewer values there
  /// are, since these come apart at little cost.
  R comfortable_gap(const Cluster& cluster) const {
    const R size = static_cast<R>(cluster.last - cluster.first + 1);
    return std::clamp(1000 / size, R(3), R(30)) * settings.minrgp;
  }

  /// Copies what is given, and adds what shares clusters with it. False if that fails.
  bool begin() {
    const Int count = values.count;
    blas::copy(count, {w, 1}, {values.x, 1});
    blas::copy(count, {werr, 1}, {values.error, 1});
    blas::copy(count, {wgap, 1}, {values.gap, 1});
    for (Int k = 0; k < count; ++k) w[k] += node.shift;
    values.gap_below = std::max(R(0), w[0] - werr[0] - lower);
    const Int first = values.index;
    const R separate = comfortable_gap({0, count - 1, 0});
    const bool complete = values.complete_clusters(node, separate, settings.rtol1, settings.rtol2);
    const Int added_below = first - values.index;
    for (Cluster* const part : {&given, &vectors}) {
      part->first += added_below;
      part->last += added_below;
    }
    return complete;
  }

  /// Gives back what has become of the given values, and zeros for the vectors that are not wanted.
  void end() const {
    const Int count = given.last - given.first + 1;
    blas::copy(count, {values.error + given.first, 1}, {werr, 1});
    blas::copy(count, {values.gap + given.first, 1}, {wgap, 1});
    for (Int k = given.first; k <= given.last; ++k) {
      if (!vectors.holds(k)) std::fill_n(column_of(k), order, T(0));
    }
  }

  /// Each eigenvalue that stands apart gets its vector, each cluster in the cluster its representation. A vector is the
  /// more accurate the larger the relative gap is: eigenvalues that hardly stand apart count as a cluster too, as long
  /// as a representation can be had for it.
  Int visit(const Cluster& cluster, ClusterStack& waiting) {
    Int info = 0;
    for (Int first = cluster.first, last; first <= cluster.last && info == 0; first = last + 1) {
      last = values.end_of_group(first, cluster.last, comfortable_gap(cluster));
      const Cluster group = {first, last, cluster.depth + 1};
      if (!group.meets(vectors)) continue;
      const bool is_represented = has_columns(group) && represent(group, waiting) == 0;
      info = is_represented ? 0 : visit_closest(group, waiting);
    }
    return info;
  }

  Int visit_closest(const Cluster& group, ClusterStack& waiting) {
    Int info = 0;
    for (Int first = group.first, last; first <= group.last && info == 0; first = last + 1) {
      last = values.end_of_group(first, group.last, settings.minrgp);
      const Cluster closest = {first, last, group.depth};
      if (!closest.meets(vectors)) continue;
      info = has_columns(closest) ? represent(closest, waiting) : find_vector(closest);
    }
    return info;
  }

  bool refine(Int first, Int last, R rtol1, R rtol2) const { return values.refine(node, first, last, rtol1, rtol2); }

  // ------------------------------------------------------------------------------------------------------- clusters

  /// Finds a child for a cluster, with a shift as close to it as can be.
  Int represent(const Cluster& cluster, ClusterStack& waiting) {
    constexpr Int deepest = 100;  // a level resolves three digits, or half of the cluster
    constexpr R finest = IsolatedVector<T>::finest;
    if (cluster.depth > deepest) return -2;
    node.refine_ends(values.index + cluster.first, values.index + cluster.last, finest, values.index, values.x,
                     values.gap, values.error);
    R sigma;
    Int info;
    larrf(node.n, node.d, node.l, node.ld, cluster.first + 1, cluster.last + 1, values.x, values.gap, values.error,
          node.diameter, values.gap_before(cluster.first), values.gap[cluster.last], node.pivmin, sigma, child_d,
          child_l, node.scratch, info);
    if (info != 0) return -2;
    store(cluster, node.shift + sigma);
    for (Int k = cluster.first; k <= cluster.last; ++k) {
      const R rounding = 3 * eps * std::abs(values.x[k]);
      values.x[k] -= sigma;
      values.error[k] += rounding + 4 * eps * std::abs(values.x[k]);
    }
    waiting.push(cluster);
    return 0;
  }

  T* column_of(Int k) const { return Z.at(1, k - given.first + 1); }

  /// Whether two columns of Z belong to a cluster.
  bool has_columns(const Cluster& cluster) const {
    return std::max(cluster.first, given.first) < std::min(cluster.last, given.last);
  }

  /// Two columns of the cluster that keep a representation. They lie beside those of the wanted vectors at most.
  std::pair<T*, T*> columns_of(const Cluster& cluster) const {
    const Int last = std::min(cluster.last, given.last) - 1;
    const Int k = std::min(last, std::max({cluster.first, given.first, vectors.first - 1}));
    return {column_of(k) + above, column_of(k + 1) + above};
  }

  void store(const Cluster& cluster, R shift) const {
    const auto [kept_d, kept_l] = columns_of(cluster);
    for (Int i = 0; i < node.n; ++i) kept_d[i] = T(child_d[i]);
    for (Int i = 0; i < node.n - 1; ++i) kept_l[i] = T(child_l[i]);
    kept_l[node.n - 1] = T(shift);
  }

  void load(const Cluster& cluster) {
    const auto [kept_d, kept_l] = columns_of(cluster);
    for (Int i = 0; i < node.n; ++i) node.d[i] = std::real(kept_d[i]);
    for (Int i = 0; i < node.n - 1; ++i) node.l[i] = std::real(kept_l[i]);
    node.shift = std::real(kept_l[node.n - 1]);
    node.form_products();
  }

  // -------------------------------------------------------------------------------------------------------- vectors

  /// For the only value of a cluster that has a column. Where there are others, bisection alone can tell them apart.
  Int find_vector(const Cluster& cluster) const {
    const Int k = std::clamp(cluster.first, given.first, given.last);
    const auto gap_between = [&](bool exists, R gap) { return exists ? gap : Machine<R>::overflow; };
    const R below = gap_between(values.index + k > 1, values.gap_before(k));
    const R above_it = gap_between(values.index + k < node.n, values.gap[k]);
    IsolatedValue<R> value{values.index + k, values.x[k], values.error[k], std::min(below, above_it),
                           cluster.first < cluster.last};
    IsolatedVector<T> vector(node, value, column_of(k) + above);
    if (!vector.find()) return -1;
    values.x[k] = value.x;
    values.error[k] = value.error;
    w[k - given.first] = value.x + node.shift;
    finish(k, vector.first_row(), vector.last_row(), vector.inverse_norm());
    return vector.is_finite() ? 0 : 5;
  }

  Int set_unit_vector() const {
    if (!vectors.holds(0)) return 0;
    column_of(0)[above] = T(1);
    finish(0, 1, 1, R(1));
    return 0;
  }

  /// Scales vector k, which fills some rows of the block, and puts zeros above and below it.
  void finish(Int k, Int first_row, Int last_row, R factor) const {
    const Int from = above + first_row, to = above + last_row;
    Int* const support = isuppz + 2 * std::ptrdiff_t{k - given.first};
    support[0] = from;
    support[1] = to;
    T* const z = column_of(k);
    std::fill(z, z + (from - 1), T(0));
    blas::scal(to - from + 1, factor, {z + (from - 1), 1});
    std::fill(z + to, z + order, T(0));
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
    const auto place = [&](Int k) { return work + k * std::ptrdiff_t{order}; };
    RepresentationTree<T> tree{.settings = settings,
                               .node = {.n = order,
                                        .d = d + begin,
                                        .l = l + begin,
                                        .ld = place(0),
                                        .lld = place(1),
                                        .shift = l[isplit[number - 1] - 1],
                                        .diameter = width(union_of_intervals(order, gers + 2 * std::ptrdiff_t{begin})),
                                        .pivmin = pivmin,
                                        .scratch = place(7),
                                        .integers = iwork},
                               .lower = vl,
                               .w = w + first,
                               .werr = werr + first,
                               .wgap = wgap + first,
                               .values = {.count = next - first,
                                          .index = indexw[first],
                                          .x = place(2),
                                          .error = place(3),
                                          .gap = place(4),
                                          .gap_below = 0},
                               .given = {0, next - first - 1, 0},
                               .vectors = {std::max(dol - 1, first) - first, std::min(dou, next) - 1 - first, 0},
                               .Z = block(Z, 1, first + 1),
                               .order = n,
                               .above = begin,
                               .isuppz = isuppz + 2 * std::ptrdiff_t{first},
                               .stack = iwork + 2 * std::ptrdiff_t{order},
                               .child_d = place(5),
                               .child_l = place(6)};
    info = tree.walk();
  }
}

}  // namespace nuv

#include "symmetric/representation_tree.entries.inc"
