#include "threading/routines/cholesky_by_lines.hpp"

#include <algorithm>

#include "blas.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "kernels/packed/inner_products.hpp"
#include "kernels/packed/rank_k.hpp"
#include "threading/routines/task_crew.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

using namespace packed;

/// A matrix that stays in the second-level caches of two processors.
constexpr std::size_t most_bytes_in_cache = 1280 * 1024;

/// Lines, rows of a lower triangle or columns of an upper one, from + 1 to until.
struct Lines {
  Int from, until;
  Int count() const { return until - from; }
};

struct Task {
  enum class Kind { none, factor, triangle, lines, fetch } kind = Kind::none;
  Int step = 0;                     ///< of the blocked factorisation: the block in hand
  Lines lines = {};                 ///< all of the block (factor), columns of its triangle or lines to finish within it
  Int first_piece = 0, pieces = 0;  ///< of these lines
  bool is_none() const { return kind == Kind::none; }
};

/// How far the factorisation is, and what may be done next.
class Schedule {
 public:
  struct Piece {
    Int steps;  ///< that it is through
    bool busy;
  };

  Schedule(bool upper, Int n, Int nb, bool in_cache, int threads)
      : upper_(upper),
        n_(n),
        nb_(nb),
        threads_(threads),
        in_cache_(in_cache),
        blocks_((n - 1) / nb + 1),
        per_block_((nb - 1) / piece_lines + 1),
        pieces_((blocks_ - 1) * per_block_ + pieces_in(blocks_ - 1)) {}

  std::size_t pieces() const { return std::size_t(pieces_); }

  void keep_in(Piece* room) {
    piece_ = room;
    std::fill_n(piece_, pieces_, Piece{});
  }

  /// Tasks that may run at the same time.
  int most_at_once() const { return pieces_ - per_block_; }

  bool is_complete() const { return factored_ == blocks_ || (info_ != 0 && at_work_ == 0 && lines_are_finished()); }

  /// What the next diagonal block needs comes first, as one task while others have work beside it. The caller takes
  /// other lines from the front, helpers from the back, so that of a small matrix most lines stay in one cache.
  Task begin(bool is_caller) {
    const Task task = next(is_caller);
    at_work_ += !task.is_none();
    return task;
  }

  void end(const Task& task, Int info) {
    --at_work_;
    switch (task.kind) {
      case Task::Kind::none:
      case Task::Kind::fetch:
        break;
      case Task::Kind::factor:
        info_ = info == 0 ? 0 : info + task.lines.from;
        triangle_parts_ = triangles_begun_ = triangles_ = 0;
        in_factor_ = false;
        factored_ += info == 0;
        break;
      case Task::Kind::triangle:
        ++triangles_;
        break;
      case Task::Kind::lines:
        std::fill_n(piece_ + task.first_piece, task.pieces, Piece{task.step + 1, false});
        break;
    }
  }

  Int info() const { return info_; }

 private:
  /// Lines that go through the steps together, about. A thread's share of them in one task would leave nothing to
  /// balance.
  static constexpr Int piece_lines = 32;

  /// Pieces that go through a step together where a matrix doesn't stay in cache, at least, if as many may, and at
  /// most: each task reads all lines of the block in hand, too.
  static constexpr Int least_together = 8, most_together = 16;

  Lines block_lines(Int block) const { return {block * nb_, std::min(n_, (block + 1) * nb_)}; }

  Int pieces_in(Int block) const { return (block_lines(block).count() - 1) / piece_lines + 1; }

  /// Lines of the pieces before p.
  Int lines_before(Int p) const {
    if (p == pieces_) return n_;
    const Int block = p / per_block_;
    const Lines all = block_lines(block);
    return all.from + all.count() * (p % per_block_) / pieces_in(block);
  }

  /// Some columns of the next diagonal block, the longest of its triangle first.
  Lines triangle_columns(Int part) const {
    const Int width = block_lines(factored_).count(), i = upper_ ? triangle_parts_ - 1 - part : part;
    const Int each = triangle_width(width, triangle_parts_);
    return {i * each, std::min(width, (i + 1) * each)};
  }

  /// Columns of all parts but the last.
  static Int triangle_width(Int width, Int parts) { return (width + 8 * parts - 1) / (8 * parts) * 8; }

  /// Threads that take four parts in turn, the longest first, have about the same work; but one part is done in less
  /// time, and the others may have lines to go on with.
  void divide_triangle() {
    if (factored_ == 0) return;
    const Int width = block_lines(factored_).count();
    triangle_parts_ = others_have_work() ? 1 : (width - 1) / triangle_width(width, 4) + 1;
  }

  /// What a thread that waits for a diagonal block will read then: lines that are its own, or those of the block.
  Lines lines_for(Int block) const { return block == 0 ? Lines{(nb_ + n_) / 2, n_} : block_lines(block); }

  bool is_through(Int block, Int steps) const {
    const Piece* const first = piece_ + block * per_block_;
    return std::all_of(first, first + pieces_in(block), [steps](const Piece& p) { return p.steps >= steps; });
  }

  /// After a failure: all lines are through the steps before it.
  bool lines_are_finished() const {
    for (Int block = factored_; block < blocks_; ++block) {
      if (!is_through(block, factored_)) return false;
    }
    return true;
  }

  bool may_go_on(Int p) const { return !piece_[p].busy && piece_[p].steps < std::min(p / per_block_, factored_); }
  bool go_together(Int p, Int q) const { return may_go_on(p) && may_go_on(q) && piece_[p].steps == piece_[q].steps; }

  /// Whether there are lines enough behind the next diagonal block that all others may go on with.
  bool others_have_work() const {
    if (in_cache_) return false;
    Int pieces = 0;
    for (Int p = (factored_ + 1) * per_block_; p < pieces_; ++p) pieces += may_go_on(p);
    return pieces >= least_together * (threads_ - 1);
  }

  Task lines(Int first, Int until) {
    const Int step = piece_[first].steps;
    std::fill(piece_ + first, piece_ + until, Piece{step, true});
    return {Task::Kind::lines, step, {lines_before(first), lines_before(until)}, first, until - first};
  }

  /// A thread's share of pieces that go together, of which it takes some at least.
  Int share_of(Int pieces, Int least) const {
    return in_cache_ ? 1 : std::clamp((pieces + threads_ - 1) / threads_, std::min(pieces, least), most_together);
  }

  /// The first that may go on from one piece on, before another.
  Task lines_from_the_front(Int first, Int end, Int least) {
    while (first < end && !may_go_on(first)) ++first;
    if (first == end) return {};
    Int until = first + 1;
    while (until < end && go_together(first, until)) ++until;
    return lines(first, first + share_of(until - first, least));
  }

  Task lines_from_the_back(Int begin, Int until, Int least) {
    while (until > begin && !may_go_on(until - 1)) --until;
    if (until == begin) return {};
    Int first = until - 1;
    while (first > begin && go_together(first - 1, until - 1)) --first;
    return lines(until - share_of(until - first, least), until);
  }

  /// Some of the lines that may go on among those pieces.
  Task lines_between(Int first, Int until, bool from_the_front, Int least) {
    return from_the_front ? lines_from_the_front(first, until, least) : lines_from_the_back(first, until, least);
  }

  Task next(bool is_caller) {
    if (info_ == 0 && factored_ < blocks_ && is_through(factored_, factored_)) {
      if (triangles_begun_ == 0) divide_triangle();
      if (triangles_begun_ < triangle_parts_) {
        return {Task::Kind::triangle, factored_, triangle_columns(triangles_begun_++)};
      }
      if (triangles_ == triangle_parts_ && !in_factor_) {
        in_factor_ = true;
        return {Task::Kind::factor, factored_, block_lines(factored_)};
      }
    }
    const Int first = std::min(pieces_, factored_ * per_block_), behind = std::min(pieces_, first + per_block_);
    Task task = lines_between(first, behind, is_caller, others_have_work() ? most_together : 1);
    if (task.is_none()) task = lines_between(behind, pieces_, is_caller, least_together);
    if (!task.is_none()) return task;
    const bool may_fetch = in_cache_ && in_factor_ && fetched_ == factored_;
    return may_fetch ? Task{Task::Kind::fetch, factored_, lines_for(fetched_++)} : Task{};
  }

  bool upper_;
  Int n_, nb_;
  int threads_;
  bool in_cache_;
  Int blocks_, per_block_, pieces_;
  Int factored_ = 0;  ///< diagonal blocks
  bool in_factor_ = false;
  /// Parts of the next diagonal block: all, those begun, those that are up to date.
  Int triangle_parts_ = 0, triangles_begun_ = 0, triangles_ = 0;
  Int fetched_ = 0;  ///< diagonal blocks for whose sake lines have been fetched
  Int at_work_ = 0;
  Int info_ = 0;
  Piece* piece_ = nullptr;
};

/// The steps of the factorisation, for some lines.
template <Scalar T>
struct Steps {
  bool upper;
  Int n, nb;
  Matrix<T> A;

  static constexpr char transposed = ComplexScalar<T> ? 'C' : 'T';
  static constexpr bool hermitian = ComplexScalar<T>;

  char uplo() const { return upper ? 'U' : 'L'; }

  /// The lines from one on, in columns of L (rows of U) from another on.
  Matrix<T> part(Int line, Int from) const {
    return upper ? block(A, from + 1, line + 1) : block(A, line + 1, from + 1);
  }

  Int run(const Task& task) const {
    const Int done = task.step * nb, width = std::min(nb, n - done);
    switch (task.kind) {
      case Task::Kind::none:
        break;
      case Task::Kind::factor:
        return factor(done, width);
      case Task::Kind::fetch:
        fetch(std::max(done, nb), task.lines);
        break;
      case Task::Kind::triangle:
        update_triangle(done, width, task.lines);
        break;
      case Task::Kind::lines:
        if (done > 0) update_lines(done, width, task.lines);
        solve_lines(done, width, task.lines);
        break;
    }
    return 0;
  }

 private:
  Int factor(Int done, Int width) const {
    Int info = 0;
    if (upper) {
      blas::potrf_u_small('U', width, part(done, done), info);
    } else {
      blas::potrf_l_small('L', width, part(done, done), info);
    }
    return info;
  }

  /// Asks for each line of memory in so many columns of L, which comes from another processor's cache. Others may still
  /// write there, so nothing is read.
  void fetch(Int columns, Lines lines) const {
    constexpr Int apart = 64 / sizeof(T);
    const Matrix<const T> X = part(lines.from, 0);
    const Int along = upper ? columns : lines.count(), across = upper ? lines.count() : columns;
    for (Int j = 1; j <= across; ++j) {
      for (Int i = 1; i <= along; i += apart) __builtin_prefetch(X.at(i, j));
    }
  }

  /// Some columns of the triangle of a diagonal block: a small triangle, and what lies between it and the block's edge,
  /// which is a product like others.
  ///
  ///     .
  ///     .  C11          lower:  C11 and C21,       .  C01  .
  ///     .  C21  .       upper:  C01 and C11           C11  .
  void update_triangle(Int done, Int width, Lines columns) const {
    constexpr RealFactors real = hermitian ? RealFactors::both : RealFactors::none;
    const auto [from, until] = columns;
    const char trans = upper ? transposed : 'N';
    const Matrix<const T> block_lines = part(done, 0);
    const Operand<T> left = rank_k_left(hermitian, trans, block_lines),
                     right = rank_k_right(hermitian, trans, block_lines);
    const Matrix<T> C = part(done, done), C11 = block(C, from + 1, from + 1);
    if (hermitian) make_diagonal_real(columns.count(), C11);
    product(columns.count(), columns.count(), done, T(-1), shifted(left, from), shifted(right, from), T(1), C11,
            upper ? Region::upper : Region::lower, real);
    if (hermitian) make_diagonal_real(columns.count(), C11);
    const Int first = upper ? 0 : until, rows = upper ? from : width - until;
    if (rows == 0) return;
    product(rows, columns.count(), done, T(-1), shifted(left, first), shifted(right, from), T(1),
            block(C, first + 1, from + 1), Region::all, real);
  }

  /// A product of lines and the block's own. Which of its forms is taken depends on all lines below the block.
  void update_lines(Int done, Int width, Lines lines) const {
    const Int below = n - done - width;
    const Matrix<const T> X = part(lines.from, 0), D = part(done, 0);
    const Operand<T> left = upper ? left_operand(transposed, D) : left_operand('N', X);
    const Operand<T> right = upper ? right_operand('N', X) : right_operand(transposed, D);
    const Matrix<T> C = part(lines.from, done);
    const Int m = upper ? width : lines.count(), columns = upper ? lines.count() : width;
    if (upper && inner_products_pay(width, below, done, left, right)) {
      inner_products(m, columns, done, T(-1), left, right, T(1), C, 0, std::max(m, columns));
    } else {
      product(m, columns, done, T(-1), left, right, T(1), C);
    }
  }

  void solve_lines(Int done, Int width, Lines lines) const {
    const Int m = upper ? width : lines.count(), columns = upper ? lines.count() : width;
    blas::trsm(upper ? 'L' : 'R', uplo(), transposed, 'N', m, columns, T(1), part(done, done), part(lines.from, done));
  }
};

}  // namespace

template <Scalar T>
bool factor_cholesky_by_lines(char uplo, Int n, Int nb, Matrix<T> A, Int& info, int threads, Team& team) {
  const bool upper = same_letter(uplo, 'U');
  const bool in_cache = std::size_t(n) * std::size_t(n) * sizeof(T) <= most_bytes_in_cache;
  Schedule schedule(upper, n, nb, in_cache, threads);
  const Workspace<Schedule::Piece> pieces(schedule.pieces());
  if (pieces.data() == nullptr) return false;
  schedule.keep_in(pieces.data());
  const Steps<T> steps{upper, n, nb, A};
  const auto run = [&](const Task& task) { return steps.run(task); };
  team.note_sleep(TaskCrew(schedule, run).work(std::min(threads, schedule.most_at_once())));
  info = schedule.info();
  return true;
}

template bool factor_cholesky_by_lines(char, Int, Int, Matrix<float>, Int&, int, Team&);
template bool factor_cholesky_by_lines(char, Int, Int, Matrix<double>, Int&, int, Team&);
template bool factor_cholesky_by_lines(char, Int, Int, Matrix<std::complex<float>>, Int&, int, Team&);
template bool factor_cholesky_by_lines(char, Int, Int, Matrix<std::complex<double>>, Int&, int, Team&);

}  // namespace nuv::threading::inline NUV_ISA
