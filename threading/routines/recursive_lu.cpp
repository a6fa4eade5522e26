#include "threading/routines/recursive_lu.hpp"

#include <nuv/nuv_lapack.h>
#include <pthread.h>
#include <sched.h>

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/plain_word.hpp"
#include "threading/runtime.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Columns from + 1 to until.
struct Columns {
  Int from, until;
  Int count() const { return until - from; }
};

enum class Kind { update, panel, exchange };

/// What is done to one column block.
struct Task {
  Kind kind;
  Columns source;   ///< columns whose panels and pivots the task uses
  Int block;        ///< the column block that it changes
  Int next;         ///< next task of the same block, -1 for none
  Int first_block;  ///< blocks that it waits for, up to last_block: they must be through with all tasks numbered below
  Int last_block;   ///< its own number
};

struct ColumnBlock {
  Columns columns;
  Int next_task = -1, last_task = -1;
  bool busy = false;
};

/// Widest panel that is factored as one task; the serial body divides wider ones.
constexpr Int widest_panel = 128;

/// Columns behind the last panel of a wide matrix, which are only updated, go in blocks of this width.
constexpr Int trailing_width = 256;

Int divided_width(Int rows, Int columns) {
  constexpr char name[] = "DGETRF";
  const Int ispec = 1, none = -1;
  return nuv_lapack_ilaenv(&ispec, name, " ", &rows, &columns, &none, &none, 6, 1);
}

/// Lays out blocks and tasks by walking through the recursion of the serial body. Run once to count, then to store.
class Plan {
 public:
  Plan(Int m, Int n) : m_(m), n_(n) { walk(); }

  std::size_t bytes() const { return block_count_ * sizeof(ColumnBlock) + task_count_ * sizeof(Task); }

  void store_in(void* room) {
    blocks_ = static_cast<ColumnBlock*>(room);
    tasks_ = reinterpret_cast<Task*>(blocks_ + block_count_);
    block_count_ = task_count_ = 0;
    walk();
  }

  Int block_count() const { return block_count_; }
  ColumnBlock& block(Int i) { return blocks_[i]; }
  const Task& task(Int i) const { return tasks_[i]; }

 private:
  void walk() {
    // All blocks come first, so that an update can name those to its right.
    panels_only_ = true;
    divide({0, n_});
    panels_only_ = false;
    divide({0, n_});
  }

  /// One call of the serial body on rows from columns.from + 1 down.
  void divide(Columns columns) {
    const Int rows = m_ - columns.from, width = columns.count();
    const Int k = std::min(rows, width);
    const Int nb = width > widest_panel ? divided_width(rows, width) : 0;
    if (nb <= 1 || nb >= k) {
      if (panels_only_) {
        add_block(columns);
      } else {
        add_task(Kind::panel, columns, columns, columns);
      }
      return;
    }
    const Int end = columns.from + k;
    for (Int j = columns.from; j < end; j += nb) {
      const Columns panel{j, std::min(end, j + nb)};
      divide(panel);
      if (panels_only_) continue;
      if (panel.until < columns.until) add_task(Kind::update, panel, {panel.until, columns.until}, panel);
    }
    if (panels_only_) {
      for (Int j = end; j < columns.until; j += trailing_width)
        add_block({j, std::min(columns.until, j + trailing_width)});
      return;
    }
    // Each strip gets the exchanges of all panels behind it in one pass, once no update reads it any more.
    for (Int j = columns.from; j + nb < end; j += nb) {
      add_task(Kind::exchange, {j + nb, end}, {j, j + nb}, {j + nb, columns.until});
    }
  }

  void add_block(Columns columns) {
    if (blocks_ != nullptr) blocks_[block_count_] = {columns};
    ++block_count_;
  }

  /// One task for each block of the target.
  void add_task(Kind kind, Columns source, Columns target, Columns waits_for) {
    if (blocks_ == nullptr) {
      // An upper bound is enough to count: blocks are at least a quarter of the widest panel.
      task_count_ += target.count() / (widest_panel / 4) + 2;
      return;
    }
    const Int first = block_at(waits_for.from), last = block_at(waits_for.until - 1);
    for (Int i = block_at(target.from); i < block_count_ && blocks_[i].columns.from < target.until; ++i) {
      const Int number = task_count_++;
      tasks_[number] = {kind, source, i, -1, first, last};
      ColumnBlock& block = blocks_[i];
      (block.last_task < 0 ? block.next_task : tasks_[block.last_task].next) = number;
      block.last_task = number;
    }
  }

  Int block_at(Int column) const {
    Int i = 0;
    while (blocks_[i].columns.until <= column) ++i;
    return i;
  }

  Int m_, n_;
  bool panels_only_ = true;
  Int block_count_ = 0, task_count_ = 0;
  ColumnBlock* blocks_ = nullptr;
  Task* tasks_ = nullptr;
};

class Factorisation {
 public:
  Factorisation(Plan& plan, Int m, Matrix<double> A, Int* ipiv)
      : plan_(plan), m_(m), A_(A), ipiv_(ipiv), left_(plan.block_count()) {}

  /// What each thread does: the task nearest to the left that may run, until all are done. Left ones go first, since
  /// the panels wait for them.
  void work() {
    pthread_mutex_lock(&mutex_);
    while (left_ > 0) {
      const Int i = find_block();
      if (i < 0) {
        pthread_mutex_unlock(&mutex_);
        sched_yield();
        pthread_mutex_lock(&mutex_);
        continue;
      }
      ColumnBlock& block = plan_.block(i);
      const Task& task = plan_.task(block.next_task);
      block.busy = true;
      pthread_mutex_unlock(&mutex_);
      const Int zero_pivot = run(task);
      pthread_mutex_lock(&mutex_);
      if (zero_pivot > 0 && (first_zero_pivot_ == 0 || zero_pivot < first_zero_pivot_)) first_zero_pivot_ = zero_pivot;
      block.busy = false;
      block.next_task = task.next;
      if (block.next_task < 0) --left_;
    }
    pthread_mutex_unlock(&mutex_);
  }

  Int first_zero_pivot() const { return first_zero_pivot_; }

 private:
  bool may_run(Int number) const {
    const Task& task = plan_.task(number);
    for (Int i = task.first_block; i <= task.last_block; ++i) {
      if (i == task.block) continue;
      const Int pending = plan_.block(i).next_task;
      if (pending >= 0 && pending < number) return false;
    }
    return true;
  }

  Int find_block() const {
    for (Int i = 0; i < plan_.block_count(); ++i) {
      const ColumnBlock& block = plan_.block(i);
      if (!block.busy && block.next_task >= 0 && may_run(block.next_task)) return i;
    }
    return -1;
  }

  /// Position of a pivot that is exactly zero, or 0.
  Int run(const Task& task) const {
    switch (task.kind) {
      case Kind::panel:
        return factor_panel(task.source);
      case Kind::update:
        update(task.source, plan_.block(task.block).columns);
        break;
      case Kind::exchange:
        exchange(task.source, plan_.block(task.block).columns);
        break;
    }
    return 0;
  }

  Int factor_panel(Columns panel) const {
    const Int j = panel.from, jb = std::min(m_ - j, panel.count());
    Int info = 0;
    x_variant::getrf(m_ - j, panel.count(), nuv::block(A_, j + 1, j + 1), ipiv_ + j, info);
    for (Int i = 0; i < jb; ++i) ipiv_[j + i] += j;
    return info > 0 ? info + j : 0;
  }

  void exchange(Columns pivots, Columns target) const {
    const Int columns = target.count(), first = pivots.from + 1, last = pivots.until, one = 1;
    nuv_lapack_dlaswp(&columns, A_.at(1, target.from + 1), &A_.ld, &first, &last, ipiv_, &one);
  }

  /// Columns of U beside a panel, and what lies below them.
  void update(Columns panel, Columns target) const {
    exchange(panel, target);
    const Int jb = panel.count(), r = target.count(), below = m_ - panel.until;
    const Matrix<double> A12 = nuv::block(A_, panel.from + 1, target.from + 1);
    blas::trsm('L', 'L', 'N', 'U', jb, r, 1.0, nuv::block(A_, panel.from + 1, panel.from + 1), A12);
    if (below > 0) {
      blas::gemm('N', 'N', below, r, jb, -1.0, nuv::block(A_, panel.until + 1, panel.from + 1), A12, 1.0,
                 nuv::block(A_, panel.until + 1, target.from + 1));
    }
  }

  Plan& plan_;
  Int m_;
  Matrix<double> A_;
  Int* ipiv_;
  Int left_;
  Int first_zero_pivot_ = 0;
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace

bool factor_by_tasks(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info, int threads) {
  Plan plan(m, n);
  void* const room = plan.bytes() <= UINT32_MAX ? nuv_serv_allocate(static_cast<unsigned>(plan.bytes()), 128) : nullptr;
  if (room == nullptr) return false;
  plan.store_in(room);
  Factorisation factorisation(plan, m, {a, lda}, ipiv);
  run_pieces(
      threads, [](void* context, int) { static_cast<Factorisation*>(context)->work(); }, &factorisation);
  if (info == 0) info = factorisation.first_zero_pivot();
  nuv_serv_deallocate(room);
  return true;
}

}  // namespace nuv::threading::inline NUV_ISA
