// Divide and conquer for symmetric tridiagonal matrices: the leaves and the many small merges above them go to the
// threads one by one; of the few large merges all threads take part in each. Either way a merge gives the same bits, those
// of the serial body.

#include "symmetric/merge_of_halves.hpp"

#include <algorithm>

#include "routines.hpp"
#include "threading/level3/parallel.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds from which several threads pay.
constexpr double least_work = 2e6;

/// A generation with as many merges for each thread goes to the threads merge by merge.
constexpr Int merges_per_thread = 2;

/// The work of one merge on all threads. Columns and rows go to them by fours and more.
struct AllThreads {
  template <class Work>
  void operator()(Int count, double multiply_adds, Work work) const {
    if (count > 0) split(count, {4, 32}, multiply_adds, work);
  }
};

template <RealScalar R>
struct Calls {
  void deflate(Int& k, Int n, Int n1, R* d, R* q, Int ldq, Int* indxq, R& rho, R* z, R* dlamda, R* w, R* q2, Int* indx,
               Int* indxc, Int* indxp, Int* coltyp, Int& info) const {
    routine_call::laed2(k, n, n1, d, {q, ldq}, indxq, rho, z, dlamda, w, q2, indx, indxc, indxp, coltyp, info);
  }
  Int find_root(Int k, Int j, const R* dlamda, const R* w, R* delta, R rho, R& root) const {
    Int info;
    routine_call::laed4(k, j, dlamda, w, delta, rho, root, info);
    return info;
  }
  void merge_order(Int n1, Int n2, const R* d, Int step1, Int step2, Int* index) const {
    routine_call::lamrg(n1, n2, d, step1, step2, index);
  }
};

/// The eigensystem of a tridiagonal matrix of order n, with its eigenvectors at hand. Each node has its share of the
/// workspace: 4 + n elements of `work` for each of its rows, and four of `iwork`, the first of which says at the end how
/// it went.
template <RealScalar R>
class MergeTree {
 public:
  MergeTree(Int n, Int depth, R* d, R* e, Matrix<R> Q, R* work, Int* iwork)
      : n_(n), depth_(depth), d_(d), e_(e), Q_(Q), work_(work), iwork_(iwork), indxq_(iwork + 4 * std::ptrdiff_t{n} + 3) {}

  /// As info of laed0.
  Int run(int threads) {
    tear_apart(n_, depth_, d_, e_);
    on_each_node(0, [this](TreeNode node) { return solve_leaf(node); });
    if (const Int info = first_failure(0); info != 0) return info;
    for (Int generation = 1; generation <= depth_; ++generation) {
      const Int count = Int{1} << (depth_ - generation);
      if (count >= merges_per_thread * threads) {
        on_each_node(generation, [this](TreeNode node) { return merge(node, OneShare()); });
      } else {
        for (Int index = 0; index < count; ++index) {
          const TreeNode node = node_of(generation, index);
          status(node) = merge(node, AllThreads());
        }
      }
      if (const Int info = first_failure(generation); info != 0) return info;
    }
    sort();
    return 0;
  }

 private:
  TreeNode node_of(Int generation, Int index) const { return tree_node(n_, depth_ - generation, index); }
  Int& status(TreeNode node) const { return iwork_[4 * std::ptrdiff_t{node.first}]; }
  R* work_of(TreeNode node) const { return work_ + node.first * (std::ptrdiff_t{n_} + 4); }
  Matrix<R> vectors_of(TreeNode node) const { return nuv::block(Q_, node.first + 1, node.first + 1); }

  template <class Work>
  void on_each_node(Int generation, Work work) const {
    const Int count = Int{1} << (depth_ - generation);
    const double size = n_ / double(count);
    split(count, {1, 1}, count * size * size * size, [&](Int from, Int until) {
      for (Int index = from; index < until; ++index) {
        const TreeNode node = node_of(generation, index);
        status(node) = work(node);
      }
    });
  }

  Int first_failure(Int generation) const {
    for (Int index = 0; index < Int{1} << (depth_ - generation); ++index) {
      const TreeNode node = node_of(generation, index);
      if (status(node) != 0) return failed_part(n_, node);
    }
    return 0;
  }

  Int solve_leaf(TreeNode node) const {
    Int info;
    routine_call::steqr('I', node.size, d_ + node.first, e_ + node.first, vectors_of(node), work_of(node), info);
    for (Int i = 0; i < node.size; ++i) indxq_[node.first + i] = i + 1;
    return info;
  }

  template <class Share>
  Int merge(TreeNode node, Share share) const {
    const Int half = node.size / 2;
    const bool done = merge_halves(node.size, d_ + node.first, vectors_of(node), indxq_ + node.first,
                                   e_[node.first + half - 1], half, work_of(node), &status(node), share, Calls<R>());
    return done ? 0 : 1;
  }

  void sort() const {
    const Matrix<R> sorted{work_ + n_, n_};
    for (Int i = 0; i < n_; ++i) work_[i] = d_[indxq_[i] - 1];
    std::copy_n(work_, n_, d_);
    const double elements = double(n_) * n_;
    AllThreads()(n_, elements, [&](Int from, Int until) {
      for (Int j = from + 1; j <= until; ++j) std::copy_n(Q_.at(1, indxq_[j - 1]), n_, sorted.at(1, j));
    });
    AllThreads()(n_, elements, [&](Int from, Int until) {
      for (Int j = from + 1; j <= until; ++j) std::copy_n(sorted.at(1, j), n_, Q_.at(1, j));
    });
  }

  Int n_, depth_;
  R* d_;
  R* e_;
  Matrix<R> Q_;
  R* work_;
  Int* iwork_;
  Int* indxq_;
};

}  // namespace

template <RealScalar T>
void laed0(Int icompq, Int qsiz, Int n, T* d, T* e, T* q, Int ldq, T* qstore, Int ldqs, T* work, Int* iwork, Int& info) {
  const Team team(real_multiply_adds<T>(n, n, n), least_work);
  const bool is_valid = n > 0 && ldq >= n && ldqs >= n;
  const int threads = available_threads();
  if (icompq != 2 || !is_valid || threads == 1) {
    return x_variant::laed0(icompq, qsiz, n, d, e, {q, ldq}, qstore, ldqs, work, iwork, info);
  }
  const Int leaf = std::max(25, routine_call::ilaenv(9, RoutineName<T>("LAED0"), " ", 0, 0, 0, 0));
  info = MergeTree<T>(n, tree_depth(n, leaf), d, e, {q, ldq}, work, iwork).run(threads);
}

/// The serial body, whose products find the threads by themselves.
template <ComplexScalar T>
void laed0(Int qsiz, Int n, Real<T>* d, Real<T>* e, T* q, Int ldq, T* qstore, Int ldqs, Real<T>* rwork, Int* iwork,
           Int& info) {
  const Team team(2 * real_multiply_adds<Real<T>>(n, n, n), least_work);
  x_variant::laed0(qsiz, n, d, e, {q, ldq}, qstore, ldqs, rwork, iwork, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/merge_tree.entries.inc"
