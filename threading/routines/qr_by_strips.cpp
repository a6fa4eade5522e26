#include "threading/routines/qr_by_strips.hpp"

#include <algorithm>

#include "blas.hpp"
#include "frame/pool.hpp"
#include "routines.hpp"
#include "threading/level3/parallel.hpp"
#include "threading/routines/columns.hpp"
#include "threading/routines/task_crew.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

constexpr Int fewest_columns = 200;

/// Columns to which a task applies reflectors, at most, about.
constexpr Int widest_strip = 256;

struct Task {
  enum class Kind { none, panel, strip } kind = Kind::none;
  Int panel = 0;                    ///< that is factored, or whose reflectors are applied
  Columns columns = {};             ///< of the panel, or of the strip
  Int first_piece = 0, pieces = 0;  ///< of the strip
  bool is_none() const { return kind == Kind::none; }
};

/// An answer of the tuning tables for rows and columns that are left.
template <Scalar T>
Int ask(Int ispec, Int m, Int n) {
  return routine_call::ilaenv(ispec, RoutineName<T>("GEQRF"), " ", m, n, -1, -1);
}

/// Where the serial body begins its panels, and where it goes on unblocked. Columns go through the steps by pieces: the
/// panels, and parts of the columns that are left to the unblocked code.
class Division {
 public:
  /// starts   room for n + 1 numbers; keeps them
  template <Scalar T>
  static Division of(Int m, Int n, Int lwork, Int* starts) {
    Division division(n, starts);
    Int nb = ask<T>(1, m, n), nx = std::max(nb, ask<T>(3, m, n));
    if (lwork < std::int64_t{nb} * n) nb = lwork / n;
    division.width_ = nb;
    Int done = 0;
    if (nb > 1) {
      while (nx < n - done) {
        starts[division.panels_++] = done;
        done += std::min(nb, n - done);
        nx = ask<T>(3, m - done, n - done);
        nb = std::min(nb, ask<T>(1, m - done, n - done));
      }
    }
    // Fewer columns than the last panel has are one piece.
    division.pieces_ = division.panels_;
    const Int width = division.panels_ == 0 ? n : done - starts[division.panels_ - 1];
    for (; done < n; done += std::min(width, n - done)) starts[division.pieces_++] = done;
    starts[division.pieces_] = n;
    return division;
  }

  /// Panels of reflectors that are applied block by block.
  Int panels() const { return panels_; }

  /// Columns of the widest panel, the first.
  Int width() const { return width_; }

  /// All panels, the columns that are left to the unblocked code being the last.
  Int steps() const { return panels_ + (panels_ < pieces_); }
  bool is_unblocked(Int step) const { return step == panels_; }
  Columns columns(Int step) const { return {starts_[step], is_unblocked(step) ? n_ : starts_[step + 1]}; }

  Int pieces() const { return pieces_; }
  Columns pieces_from(Int first, Int until) const { return {starts_[first], starts_[until]}; }

 private:
  Division(Int n, Int* starts) : n_(n), starts_(starts) {}

  Int n_, width_ = 0, panels_ = 0, pieces_ = 0;
  Int* starts_;
};

/// How far the factorisation is, and what may be done next.
class Schedule {
 public:
  /// What is done to a piece: the panels whose reflectors have been applied to it.
  struct Piece {
    Int updated;
    bool busy;
  };

  /// pieces   room for as many as there are; keeps them
  Schedule(const Division& division, int threads, Piece* pieces)
      : division_(division),
        threads_(threads),
        most_together_(std::max(1, widest_strip / division.width())),
        piece_(pieces) {
    std::fill_n(piece_, division.pieces(), Piece{});
  }

  bool is_complete() const { return factored_ == division_.steps(); }

  /// The next panel, for which all wait, then what leads to it. The caller takes other columns from the front and
  /// helpers from the back, so that most of those of a small matrix stay in one cache.
  Task begin(bool is_caller) {
    if (!in_panel_ && is_up_to_date(factored_)) {
      in_panel_ = true;
      return {Task::Kind::panel, factored_, division_.columns(factored_)};
    }
    if (piece_[factored_].updated < factored_ && !piece_[factored_].busy) return strip(factored_, factored_ + 1);
    return is_caller ? strip_from_the_front() : strip_from_the_back();
  }

  void end(const Task& task, Int) {
    switch (task.kind) {
      case Task::Kind::none:
        break;
      case Task::Kind::panel:
        in_panel_ = false;
        ++factored_;
        break;
      case Task::Kind::strip:
        std::fill_n(piece_ + task.first_piece, task.pieces, Piece{task.panel + 1, false});
        break;
    }
  }

 private:
  bool is_up_to_date(Int step) const {
    const Piece* const first = piece_ + step;
    const Piece* const end = piece_ + (division_.is_unblocked(step) ? division_.pieces() : step + 1);
    return std::all_of(first, end, [step](const Piece& piece) { return piece.updated == step; });
  }

  bool may_go_on(Int p, Int updated) const { return !piece_[p].busy && piece_[p].updated == updated; }
  bool may_go_on(Int p) const { return !piece_[p].busy && piece_[p].updated < factored_; }

  Task strip(Int first, Int until) {
    const Int panel = piece_[first].updated;
    std::fill(piece_ + first, piece_ + until, Piece{panel, true});
    return {Task::Kind::strip, panel, division_.pieces_from(first, until), first, until - first};
  }

  /// A thread's share of the pieces that wait for the same.
  Int share_of(Int pieces) const { return std::min((pieces + threads_ - 1) / threads_, most_together_); }

  Task strip_from_the_front() {
    Int first = factored_;
    while (first < division_.pieces() && !may_go_on(first)) ++first;
    if (first == division_.pieces()) return {};
    Int until = first + 1;
    while (until < division_.pieces() && may_go_on(until, piece_[first].updated)) ++until;
    return strip(first, first + share_of(until - first));
  }

  Task strip_from_the_back() {
    Int until = division_.pieces();
    while (until > factored_ && !may_go_on(until - 1)) --until;
    if (until == factored_) return {};
    Int first = until - 1;
    while (first > factored_ && may_go_on(first - 1, piece_[until - 1].updated)) --first;
    return strip(until - share_of(until - first), until);
  }

  Division division_;
  int threads_;
  Int most_together_;  ///< pieces in a strip
  Int factored_ = 0;   ///< panels, and the unblocked columns as the last of them
  bool in_panel_ = false;
  Piece* piece_;
};

/// The steps of the factorisation.
template <Scalar T>
struct Steps {
  Int m, n;
  Division division;
  Matrix<T> A;
  T *tau, *work;  ///< where the factors T of the panels stand, one behind the other
  T* products;    ///< room for W of all columns, a strip's behind those to its left

  Int run(const Task& task) const {
    switch (task.kind) {
      case Task::Kind::none:
        break;
      case Task::Kind::panel:
        factor(task.panel, task.columns);
        break;
      case Task::Kind::strip:
        apply(division.columns(task.panel), task.columns);
        break;
    }
    return 0;
  }

 private:
  static constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';

  Matrix<T> factor_of(Columns panel) const {
    return {work + std::ptrdiff_t{panel.from} * division.width(), panel.count()};
  }

  void factor(Int step, Columns columns) const {
    const Int done = columns.from;
    const Matrix<T> own = block(A, done + 1, done + 1);
    if (division.is_unblocked(step)) {
      Int ignored = 0;
      routine_call::geqr2(m - done, columns.count(), own, tau + done, factor_of(columns).data, ignored);
    } else {
      routine_call::laqrf(m - done, columns.count(), own, tau + done, factor_of(columns));
    }
  }

  /// C := (I - V T V^H)^H C, for V and C in parts, V1 the unit triangle of V:
  ///
  ///     V1 | C1     W := (C1^H V1 + C2^H V2) T,
  ///     V2 | C2     C1 := C1 - V1 W^H, C2 := C2 - V2 W^H.
  void apply(Columns panel, Columns target) const {
    const Int ib = panel.count(), columns = target.count(), below = m - panel.until;
    const Matrix<T> W{products + std::ptrdiff_t{target.from} * division.width(), columns};
    const Matrix<T> V1 = block(A, panel.from + 1, panel.from + 1), V2 = block(A, panel.until + 1, panel.from + 1),
                    C1 = block(A, panel.from + 1, target.from + 1), C2 = block(A, panel.until + 1, target.from + 1);
    for (Int j = 1; j <= columns; ++j) {
      for (Int i = 1; i <= ib; ++i) W(j, i) = conjugate(C1(i, j));
    }
    blas::trmm('R', 'L', 'N', 'U', columns, ib, T(1), V1, W);
    if (below > 0) project(panel, target, below, W);
    blas::trmm('R', 'U', 'N', 'N', columns, ib, T(1), factor_of(panel), W);
    if (below > 0) blas::gemm('N', adjoint, below, columns, ib, T(-1), V2, W, T(1), C2);
    blas::trmm('R', 'L', adjoint, 'U', columns, ib, T(1), V1, W);
    for (Int j = 1; j <= columns; ++j) {
      for (Int i = 1; i <= ib; ++i) C1(i, j) -= conjugate(W(j, i));
    }
  }

  /// W := W + C2^H V2 in the rows of the target. Which form the product takes depends on all columns behind the panel.
  void project(Columns panel, Columns target, Int below, Matrix<T> W) const {
    const Int ib = panel.count(), behind = n - panel.until;
    const Operand<T> right = right_operand<T>('N', block(A, panel.until + 1, panel.from + 1));
    const auto left_from = [&](Int column) { return left_operand<T>(adjoint, block(A, panel.until + 1, column + 1)); };
    const Operand<T> all = left_from(panel.until);
    if (!inner_products_pay(behind, ib, below, all, right)) {
      product(target.count(), ib, below, T(1), left_from(target.from), right, T(1), W);
    } else if (behind < ib) {
      inner_products(behind, ib, below, T(1), all, right, T(1), W, 0, ib);  // such columns are one strip
    } else {
      const Int before = target.from - panel.until;
      inner_products(behind, ib, below, T(1), all, right, T(1), {W.data - before, W.ld}, before,
                     before + target.count());
    }
  }
};

}  // namespace

bool is_factored_by_strips(Int m, Int n) {
  return n >= fewest_columns && m >= n;
}

template <Scalar T>
bool factor_qr_by_strips(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info, int threads, Team& team) {
  const Workspace<Int> starts(std::size_t(n) + 1);
  if (starts.data() == nullptr) return false;
  const Division division = Division::of<T>(m, n, lwork, starts.data());
  if (division.panels() == 0) return false;
  const Workspace<Schedule::Piece> pieces(std::size_t(division.pieces()));
  const Workspace<T> products(std::size_t(n) * std::size_t(division.width()));
  if (pieces.data() == nullptr || products.data() == nullptr) return false;

  Schedule schedule(division, threads, pieces.data());
  const Steps<T> steps{m, n, division, {a, lda}, tau, work, products.data()};
  const auto run = [&](const Task& task) { return steps.run(task); };
  team.note_sleep(TaskCrew(schedule, run).work(std::min(threads, division.pieces())));
  work[0] = as_work_size<T>(std::int64_t{ask<T>(1, m, n)} * n);
  info = 0;
  return true;
}

template bool factor_qr_by_strips(Int, Int, float*, Int, float*, float*, Int, Int&, int, Team&);
template bool factor_qr_by_strips(Int, Int, double*, Int, double*, double*, Int, Int&, int, Team&);
template bool factor_qr_by_strips(Int, Int, std::complex<float>*, Int, std::complex<float>*, std::complex<float>*, Int,
                                  Int&, int, Team&);
template bool factor_qr_by_strips(Int, Int, std::complex<double>*, Int, std::complex<double>*, std::complex<double>*,
                                  Int, Int&, int, Team&);

}  // namespace nuv::threading::inline NUV_ISA
