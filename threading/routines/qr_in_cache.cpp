#include "threading/routines/qr_in_cache.hpp"

#include <algorithm>

#include "kernels/packed/blocking.hpp"
#include "routines.hpp"
#include "threading/routines/columns.hpp"
#include "threading/routines/task_crew.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

constexpr Int fewest_columns = 200;

/// Pieces as wide as a panel that columns are cut into, at most.
constexpr Int most_pieces = 32;

/// More elements don't stay in the cache of one thread, and their products pay by themselves.
constexpr std::int64_t most_elements = 512 * 512;

/// Reflectors of a panel, and columns to which a task applies them, at most: its workspace is on the stack. Where the
/// reflectors are as few, the form of their products with columns doesn't depend on how many columns there are.
constexpr Int widest_panel = 16, widest_strip = 128;

struct Task {
  enum class Kind { none, panel, strip } kind = Kind::none;
  Int panel = 0;         ///< that is factored, or whose reflectors are applied
  Columns columns = {};  ///< of the panel, or of the strip
  bool is_none() const { return kind == Kind::none; }
};

/// An answer of the tuning tables for rows and columns that are left.
template <Scalar T>
Int ask(Int ispec, Int m, Int n) {
  return routine_call::ilaenv(ispec, RoutineName<T>("GEQRF"), " ", m, n, -1, -1);
}

/// Where the serial body begins its panels, and where it goes on unblocked.
class Division {
 public:
  template <Scalar T>
  static Division of(Int m, Int n) {
    Division division(n, ask<T>(1, m, n));
    Int done = 0, nx = std::max(division.width_, ask<T>(3, m, n));
    for (; nx < n - done && division.are_alike_; nx = ask<T>(3, m - done, n - done)) {
      ++division.panels_;
      done += std::min(division.width_, n - done);
      division.are_alike_ = ask<T>(1, m - done, n - done) >= division.width_;
    }
    return division;
  }

  /// Panels of reflectors that are applied block by block.
  Int panels() const { return panels_; }
  Int width() const { return width_; }

  /// Whether all panels are as wide, the last perhaps narrower.
  bool are_alike() const { return are_alike_; }

  /// All panels, the columns that are left to the unblocked code being the last.
  Int steps() const { return panels_ + (panels_ * width_ < n_); }
  bool is_unblocked(Int step) const { return step == panels_; }
  Columns columns(Int step) const {
    return {step * width_, is_unblocked(step) ? n_ : std::min(n_, (step + 1) * width_)};
  }

  /// Columns go through the steps by pieces as wide as a panel.
  Int pieces() const { return (n_ - 1) / width_ + 1; }
  Columns pieces_from(Int first, Int until) const { return {first * width_, std::min(n_, until * width_)}; }

 private:
  Division(Int n, Int width) : n_(n), width_(width) {}

  Int n_, width_, panels_ = 0;
  bool are_alike_ = true;
};

/// How far the factorisation is, and what may be done next.
class Schedule {
 public:
  Schedule(const Division& division, int threads) : division_(division), threads_(threads) {}

  bool is_complete() const { return factored_ == division_.steps(); }

  /// The next panel, for which all wait, then what leads to it. The caller takes other columns from the front and
  /// helpers from the back, so that most of them stay in one cache.
  Task begin(bool is_caller) {
    if (!in_panel_ && is_up_to_date(division_.columns(factored_))) {
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
        std::fill(piece_ + first_piece(task.columns), piece_ + end_piece(task.columns), Piece{task.panel + 1, false});
        break;
    }
  }

 private:
  /// Some columns: the panels whose reflectors have been applied to them.
  struct Piece {
    Int updated;
    bool busy;
  };

  Int first_piece(Columns columns) const { return columns.from / division_.width(); }
  Int end_piece(Columns columns) const { return (columns.until - 1) / division_.width() + 1; }

  bool is_up_to_date(Columns panel) const {
    return std::all_of(piece_ + first_piece(panel), piece_ + end_piece(panel),
                       [&](const Piece& piece) { return piece.updated == factored_; });
  }

  bool may_go_on(Int p, Int updated) const { return !piece_[p].busy && piece_[p].updated == updated; }
  bool may_go_on(Int p) const { return !piece_[p].busy && piece_[p].updated < std::min(factored_, division_.panels()); }

  Task strip(Int first, Int until) {
    const Int panel = piece_[first].updated;
    for (Int p = first; p < until; ++p) piece_[p].busy = true;
    return {Task::Kind::strip, panel, division_.pieces_from(first, until)};
  }

  /// A thread's share of the pieces that wait for the same.
  Int share_of(Int pieces) const {
    return std::min((pieces + threads_ - 1) / threads_, widest_strip / division_.width());
  }

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
  Int factored_ = 0;  ///< panels, and the unblocked columns as the last of them
  bool in_panel_ = false;
  Piece piece_[most_pieces] = {};
};

/// The steps of the factorisation. The factor T of each panel stands in work, one behind the other.
template <Scalar T>
struct Steps {
  Int m, n;
  Division division;
  Matrix<T> A;
  T *tau, *work;

  Int run(const Task& task) const {
    switch (task.kind) {
      case Task::Kind::none:
        break;
      case Task::Kind::panel:
        factor(task.panel, task.columns);
        break;
      case Task::Kind::strip:
        apply(task.panel, task.columns);
        break;
    }
    return 0;
  }

 private:
  Matrix<T> factor_of(Int panel) const {
    const Int width = division.width();
    return {work + std::ptrdiff_t{panel} * width * width, width};
  }

  void factor(Int step, Columns columns) const {
    const Int done = columns.from;
    const Matrix<T> own = block(A, done + 1, done + 1);
    if (division.is_unblocked(step)) {
      Int ignored = 0;
      routine_call::geqr2(m - done, columns.count(), own, tau + done, factor_of(step).data, ignored);
    } else {
      routine_call::laqrf(m - done, columns.count(), own, tau + done, factor_of(step));
    }
  }

  void apply(Int panel, Columns target) const {
    constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';
    static_assert(widest_panel <= packed::InnerTile<T>::few);
    T products[widest_strip * widest_panel];
    const Columns own = division.columns(panel);
    routine_call::larfb('L', adjoint, 'F', 'C', m - own.from, target.count(), own.count(),
                        block(A, own.from + 1, own.from + 1), factor_of(panel), block(A, own.from + 1, target.from + 1),
                        Matrix<T>{products, target.count()});
  }
};

}  // namespace

template <Scalar T>
bool factor_qr_in_cache(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  if (n < fewest_columns || m < n || std::int64_t{m} * n > most_elements) return false;
  const int threads = threads_for_short_work();
  if (threads <= 1) return false;
  const Division division = Division::of<T>(m, n);
  const Int width = division.width();
  if (!division.are_alike() || width > widest_panel || division.pieces() > most_pieces) return false;
  // In the workspace for whole panels there is room for the T of each, too.
  if (lwork < std::int64_t{width} * n) return false;
  const Steps<T> steps{m, n, division, {a, lda}, tau, work};
  const auto run = [&](const Task& task) { return steps.run(task); };
  Schedule schedule(division, threads);
  note_wait(TaskCrew(schedule, run).work(std::min(threads, division.pieces())));
  work[0] = as_work_size<T>(std::int64_t{width} * n);
  info = 0;
  return true;
}

template bool factor_qr_in_cache(Int, Int, float*, Int, float*, float*, Int, Int&);
template bool factor_qr_in_cache(Int, Int, double*, Int, double*, double*, Int, Int&);
template bool factor_qr_in_cache(Int, Int, std::complex<float>*, Int, std::complex<float>*, std::complex<float>*, Int,
                                 Int&);
template bool factor_qr_in_cache(Int, Int, std::complex<double>*, Int, std::complex<double>*, std::complex<double>*,
                                 Int, Int&);

}  // namespace nuv::threading::inline NUV_ISA
