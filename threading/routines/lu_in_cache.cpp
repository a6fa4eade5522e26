#include "threading/routines/lu_in_cache.hpp"

#include <algorithm>

#include "environment/tuning.hpp"
#include "threading/routines/lu_steps.hpp"
#include "threading/routines/task_crew.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

constexpr Int fewest_columns = 256, most_columns = 512;

/// Columns of a panel that one task factors, at most. Narrower ones pass between the caches more often than they gain.
constexpr Int panel_width = 32;

/// Columns that are updated together at least; panels begin at multiples of it.
constexpr Int piece_width = 8;
constexpr Int pieces_per_panel = panel_width / piece_width;

constexpr Int parts_of(Int n, Int width) {
  return (n + width - 1) / width;
}

using Task = LuTask;

/// How the serial body divides n columns.
class Division {
 public:
  explicit Division(Int n) : whole_{0, n} {}

  /// The widest range that begins behind the columns done and ends before a panel with this column; it is what the
  /// panel is to be brought up to date with next.
  Columns next_source(Int done, Int column) const {
    Columns part = part_with(whole_, done);
    while (part.contains(column)) part = part_with(part, done);
    return part;
  }

  /// The widest range with this column that ends where pivots are done, or before, and the range that it is a part of.
  struct Ranges {
    Columns inner, outer;
  };
  Ranges around(Int column, Int done) const {
    Ranges ranges{part_with(whole_, column), whole_};
    while (ranges.inner.until > done) ranges = {part_with(ranges.inner, column), ranges.inner};
    return ranges;
  }

 private:
  static Columns part_with(Columns range, Int column) {
    const Int width = getrf_panel_width(range.count());
    const Int from = range.from + (column - range.from) / width * width;
    return {from, std::min(from + width, range.until)};
  }

  Columns whole_;
};

/// How far the factorisation is, and what may be done next.
class Schedule {
 public:
  Schedule(Int n, int threads)
      : division_(n),
        threads_(threads),
        n_(n),
        panels_(parts_of(n, panel_width)),
        pieces_(parts_of(n, piece_width)),
        left_(panels_) {}

  /// Tasks that may run at the same time.
  int most_at_once() const { return pieces_; }

  bool is_complete() const { return left_ == 0; }

  /// The next panel, for which all wait; exchanges without which a range can't be the source of updates; an update, the
  /// leftmost first, since the panels come from the left; else exchanges that others will have to wait for later.
  Task begin(bool is_caller) {
    if (panel_may_run()) {
      in_panel_ = true;
      return {Task::Kind::panel, panel_columns(factored_), panel_columns(factored_)};
    }
    Task task = begin_exchange(true, is_caller);
    if (task.is_none()) task = begin_update();
    if (task.is_none()) task = begin_exchange(false, is_caller);
    return task;
  }

  void end(const Task& task, Int zero_pivot) {
    switch (task.kind) {
      case Task::Kind::none:
        break;
      case Task::Kind::panel:
        if (first_zero_pivot_ == 0) first_zero_pivot_ = zero_pivot;  // panels run one after the other
        in_panel_ = false;
        panel_[factored_++].exchanged = task.source.until;
        left_ -= task.source.until == n_;
        break;
      case Task::Kind::update:
        for (Int p = task.target.from / piece_width; p < parts_of(task.target.until, piece_width); ++p) {
          piece_[p] = {task.source.until, false};
        }
        break;
      case Task::Kind::exchange:
        panel_[task.target.from / panel_width] = {task.source.until, false};
        left_ -= task.source.until == n_;
        break;
    }
  }

  Int first_zero_pivot() const { return first_zero_pivot_; }

 private:
  /// Some columns that are to be updated: those to their left that they are up to date with.
  struct Piece {
    Int updated;
    bool busy;
  };
  /// A panel that is factored: the columns whose pivots it has seen.
  struct Panel {
    Int exchanged;
    bool busy;
  };

  Columns panel_columns(Int i) const { return {i * panel_width, std::min(n_, (i + 1) * panel_width)}; }
  Int factored_columns() const { return std::min(n_, factored_ * panel_width); }
  static Int panel_of(Int p) { return p / pieces_per_panel; }

  bool are_updated(Columns columns, Int until) const {
    return std::all_of(piece_ + columns.from / piece_width, piece_ + parts_of(columns.until, piece_width),
                       [until](const Piece& p) { return p.updated >= until; });
  }

  bool panel_may_run() const {
    if (in_panel_ || factored_ == panels_) return false;
    const Columns panel = panel_columns(factored_);
    return are_updated(panel, panel.from);
  }

  /// A range of several panels is ready when they have seen the pivots of all of them.
  bool is_ready(Columns source) const {
    return source.until <= factored_columns() &&
           std::all_of(panel_ + source.from / panel_width, panel_ + parts_of(source.until, panel_width),
                       [&](const Panel& p) { return p.exchanged == source.until; });
  }

  Task begin_update() {
    for (Int p = factored_ * pieces_per_panel; p < pieces_; ++p) {
      const Int done = piece_[p].updated, panel = panel_of(p);
      if (piece_[p].busy || done == panel * panel_width) continue;
      const Columns source = division_.next_source(done, p * piece_width);
      if (!is_ready(source)) continue;
      const Int end = p + together_with(p, source);
      for (Int i = p; i < end; ++i) piece_[i].busy = true;
      return {Task::Kind::update, source, {p * piece_width, std::min(n_, end * piece_width)}};
    }
    return {};
  }

  /// Pieces from p on that one task updates: the thread's share of those that wait for the same update, and no more
  /// than a panel, for which others may wait. Where another thread has the first pieces of a panel, a share of all.
  Int together_with(Int p, Columns source) const {
    const Int behind = parts_of(division_.around(source.from, source.until).outer.until, piece_width);
    const auto waits_likewise = [&](Int i) { return !piece_[i].busy && piece_[i].updated == source.from; };
    Int end = p + 1;
    while (end < behind && waits_likewise(end)) ++end;
    const Int waiting = end - p;
    if (p % pieces_per_panel == 0) return std::min(parts_of(waiting, threads_), pieces_per_panel);
    const auto all = std::count_if(piece_ + source.until / piece_width, piece_ + behind,
                                   [&](const Piece& piece) { return piece.updated == source.from; });
    return std::min(waiting, parts_of(static_cast<Int>(all), threads_));
  }

  /// A panel's next exchanges: with the pivots of all panels that are factored, up to the end of the range within which
  /// it is read before it sees others (`to_the_end`: of all of these). Whoever reads it as it stands must be done.
  /// The caller takes panels from the front and helpers from the back, since exchanges of a panel come several times.
  Task begin_exchange(bool to_the_end, bool is_caller) {
    for (Int k = 0; k < factored_; ++k) {
      const Int i = is_caller ? k : factored_ - 1 - k;
      const Int done = panel_[i].exchanged;
      if (panel_[i].busy || done == n_) continue;
      const auto [inner, outer] = division_.around(i * panel_width, done);
      const Int until = std::min(outer.until, factored_columns());
      if (until == done || (to_the_end && until < outer.until)) continue;
      if (!are_updated({inner.until, outer.until}, inner.until)) continue;
      panel_[i].busy = true;
      return {Task::Kind::exchange, {done, until}, panel_columns(i)};
    }
    return {};
  }

  Division division_;
  int threads_;
  Int n_, panels_, pieces_;
  Int left_;          ///< panels that are not in their final state
  Int factored_ = 0;  ///< panels, from the left
  bool in_panel_ = false;
  Int first_zero_pivot_ = 0;
  Piece piece_[most_columns / piece_width] = {};
  Panel panel_[most_columns / panel_width] = {};
};

}  // namespace

bool is_factored_in_cache(Int m, Int n) {
  return n <= m && n >= fewest_columns && std::int64_t{m} * n <= most_columns * most_columns;
}

int factor_in_cache(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info, int threads) {
  const LuSteps steps{m, {a, lda}, ipiv};
  Schedule schedule(n, threads);
  const auto run = [&](const Task& task) { return steps.run(task); };
  const int slept = TaskCrew(schedule, run).work(std::min(threads, schedule.most_at_once()));
  if (info == 0) info = schedule.first_zero_pivot();
  return slept;
}

}  // namespace nuv::threading::inline NUV_ISA
