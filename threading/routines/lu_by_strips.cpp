#include "threading/routines/lu_by_strips.hpp"

#include <nuv/nuv_services.h>

#include <algorithm>
#include <bit>

#include "environment/tuning.hpp"
#include "kernels/packed/blocking.hpp"
#include "threading/routines/lu_in_cache.hpp"
#include "threading/routines/lu_steps.hpp"
#include "threading/routines/task_crew.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Columns that are factored by one task, and then update all others as one operand.
constexpr Int strip_width = packed::Block<double>::depth;
static_assert(std::has_single_bit(unsigned{strip_width}));

/// Columns that one task updates. Half a strip lets two threads bring the next strip up to date.
constexpr Int piece_width = strip_width / 2;
constexpr Int pieces_per_strip = strip_width / piece_width;

/// Pieces that one task updates at most.
constexpr Int most_together = 4;

constexpr Int parts_of(Int n, Int width) {
  return (n + width - 1) / width;
}

/// The source is a strip, or the square behind the last strip of the first panel.
struct Task : LuTask {
  Int index = 0;  ///< of the strip (panel, exchange) or of the first piece (update)
  Int count = 0;  ///< of pieces, or 1
};

/// How the serial body divides an m by n matrix, how far the factorisation is, and what may be done next.
///
///     n <= m:  strips cover all columns.
///     n > m:   the serial body takes a panel of `first` columns, a power of two, then the square of the other
///              m - first, then the columns behind row m, which are only updated: by the strips of the first panel, and
///              by the square as a whole, since its solve doesn't halve at the ends of strips.
class Schedule {
 public:
  /// What is done to a piece: how many of its updates are complete, and whether a thread is at the next.
  struct Piece {
    Int updates;
    bool busy;
  };
  struct Strip {
    bool in_exchange, exchanged;
  };

  Schedule(Int m, Int n, Int first, int threads)
      : threads_(threads),
        k_(std::min(m, n)),
        n_(n),
        strips_(parts_of(k_, strip_width)),
        first_strips_(first / strip_width),
        inner_pieces_(parts_of(k_, piece_width)),
        pieces_(inner_pieces_ + parts_of(n - k_, piece_width)) {}

  std::size_t bytes() const { return pieces_ * sizeof(Piece) + strips_ * sizeof(Strip); }

  void keep_in(void* room) {
    piece_ = static_cast<Piece*>(room);
    strip_ = reinterpret_cast<Strip*>(piece_ + pieces_);
    std::fill_n(piece_, pieces_, Piece{});
    std::fill_n(strip_, strips_, Strip{});
    strip_[strips_ - 1].exchanged = true;  // no pivots come after it
    left_ = strips_ + (strips_ - 1);
    for (Int p = 0; p < pieces_; ++p) left_ += updates_of(p);
  }

  bool is_complete() const { return left_ == 0; }

  Int first_zero_pivot() const { return first_zero_pivot_; }

  /// Tasks that may run at the same time.
  int most_at_once() const { return pieces_; }

  /// The most urgent task that may run, marked as begun: the next panel, for which all wait; an update, the leftmost
  /// first, since the panels come from the left; else exchanges.
  Task begin(bool) {
    if (panel_may_run()) {
      in_panel_ = true;
      return {{Task::Kind::panel, strip_columns(factored_), {}}, factored_, 1};
    }
    for (Int p = 0; p < pieces_; ++p) {
      if (piece_[p].busy || !update_may_run(p)) continue;
      const Int count = together_with(p);
      for (Int i = p; i < p + count; ++i) piece_[i].busy = true;
      const Columns target{piece_columns(p).from, piece_columns(p + count - 1).until};
      return {{Task::Kind::update, source_of(piece_[p].updates, p), target}, p, count};
    }
    for (Int s = 0; s < strips_; ++s) {
      if (strip_[s].exchanged || strip_[s].in_exchange || !exchange_may_run(s)) continue;
      strip_[s].in_exchange = true;
      const Columns strip = strip_columns(s);
      return {{Task::Kind::exchange, {strip.until, k_}, strip}, s, 1};
    }
    return {};
  }

  void end(const Task& task, Int zero_pivot) {
    left_ -= task.count;
    switch (task.kind) {
      case Task::Kind::none:
        break;
      case Task::Kind::panel:
        if (first_zero_pivot_ == 0) first_zero_pivot_ = zero_pivot;  // panels run one after the other
        in_panel_ = false;
        ++factored_;
        break;
      case Task::Kind::update:
        for (Int p = task.index; p < task.index + task.count; ++p) piece_[p] = {piece_[p].updates + 1, false};
        break;
      case Task::Kind::exchange:
        strip_[task.index].exchanged = true;
        break;
    }
  }

 private:
  bool is_behind(Int p) const { return p >= inner_pieces_; }
  Columns strip_columns(Int s) const { return {s * strip_width, std::min(k_, (s + 1) * strip_width)}; }
  Columns piece_columns(Int p) const {
    if (!is_behind(p)) return {p * piece_width, std::min(k_, (p + 1) * piece_width)};
    const Int from = k_ + (p - inner_pieces_) * piece_width;
    return {from, std::min(n_, from + piece_width)};
  }

  Int updates_of(Int p) const { return is_behind(p) ? first_strips_ + 1 : p / pieces_per_strip; }
  bool is_by_the_square(Int update, Int p) const { return is_behind(p) && update == first_strips_; }
  Columns source_of(Int update, Int p) const {
    return is_by_the_square(update, p) ? Columns{first_strips_ * strip_width, k_} : strip_columns(update);
  }

  bool panel_may_run() const {
    if (in_panel_ || factored_ == strips_) return false;
    const Int end = std::min(inner_pieces_, (factored_ + 1) * pieces_per_strip);
    for (Int p = factored_ * pieces_per_strip; p < end; ++p) {
      if (piece_[p].updates < factored_) return false;
    }
    return true;
  }

  /// Pieces from p on that one task updates: the thread's share of those that wait for the same update, since a product
  /// of many columns packs its left operand less often. Pieces of the next strip go one by one.
  Int together_with(Int p) const {
    if (p / pieces_per_strip == factored_) return 1;
    const auto waits_likewise = [&](Int i) {
      return !piece_[i].busy && piece_[i].updates == piece_[p].updates && is_behind(i) == is_behind(p);
    };
    Int end = p + 1;
    while (end < pieces_ && waits_likewise(end)) ++end;
    return std::min(parts_of(end - p, threads_), most_together);
  }

  bool update_may_run(Int p) const {
    const Int update = piece_[p].updates;
    if (update == updates_of(p)) return false;
    if (!is_by_the_square(update, p)) return update < factored_;
    return factored_ == strips_ &&
           std::all_of(strip_ + first_strips_, strip_ + strips_, [](const Strip& s) { return s.exchanged; });
  }

  /// True if no update reads strip s any more; all pivots are known then, since every strip to the right has used it.
  bool exchange_may_run(Int s) const {
    if (factored_ < strips_) return false;
    return s >= first_strips_ ||
           std::all_of(piece_ + inner_pieces_, piece_ + pieces_, [s](const Piece& p) { return p.updates > s; });
  }

  int threads_;
  Int k_, n_, strips_, first_strips_, inner_pieces_, pieces_;
  Piece* piece_ = nullptr;
  Strip* strip_ = nullptr;
  Int left_ = 0;
  Int factored_ = 0;  ///< strips, from the left
  bool in_panel_ = false;
  Int first_zero_pivot_ = 0;
};

/// The first panel, for which everything else waits, is shared by all threads.
Int factor_first(const LuSteps& steps, Columns panel, int threads) {
  Int zero_pivot = 0;
  factor_in_cache(steps.m, panel.count(), steps.A.data, steps.A.ld, steps.ipiv, zero_pivot, threads);
  return zero_pivot;
}

/// Width of the panels of the serial body, 0 if it takes the whole matrix at once.
Int first_panel(Int m, Int n) {
  const Int nb = getrf_panel_width(n);
  return nb < std::min(m, n) ? nb : 0;
}

}  // namespace

bool factor_by_strips(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info, int threads) {
  const Int first = first_panel(m, n);
  if (first < strip_width) return false;
  Schedule schedule(m, n, first, threads);
  void* const room =
      schedule.bytes() <= UINT32_MAX ? nuv_serv_allocate(static_cast<unsigned>(schedule.bytes()), 128) : nullptr;
  if (room == nullptr) return false;
  schedule.keep_in(room);
  const LuSteps steps{m, {a, lda}, ipiv};
  const Task panel = schedule.begin(true);
  schedule.end(panel, factor_first(steps, panel.source, threads));
  const auto run = [&](const Task& task) { return steps.run(task); };
  TaskCrew(schedule, run).work(std::min(threads, schedule.most_at_once()));
  if (info == 0) info = schedule.first_zero_pivot();
  nuv_serv_deallocate(room);
  return true;
}

}  // namespace nuv::threading::inline NUV_ISA
