#include "threading/routines/cholesky_in_cache.hpp"

#include <algorithm>

#include "blas.hpp"
#include "frame/option_matching.hpp"
#include "kernels/packed/inner_products.hpp"
#include "kernels/packed/rank_k.hpp"
#include "threading/routines/task_crew.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

using namespace packed;

/// Lines, rows of a lower triangle or columns of an upper one, from + 1 to until.
struct Lines {
  Int from, until;
  Int count() const { return until - from; }
};

struct Task {
  enum class Kind { none, factor, triangle, lines, fetch } kind = Kind::none;
  Int step = 0;      ///< of the blocked factorisation: the block in hand
  Lines lines = {};  ///< all of the block (factor), columns of its triangle or lines that are finished within it
  Int index = 0;     ///< of the piece of these lines
  bool is_none() const { return kind == Kind::none; }
};

/// How far the factorisation is, and what may be done next.
class Schedule {
 public:
  static constexpr Int most_pieces = 64;

  Schedule(bool upper, Int n, Int nb)
      : upper_(upper), n_(n), nb_(nb), blocks_((n - 1) / nb + 1), per_block_((nb - 1) / piece_lines + 1) {}

  bool fits() const { return blocks_ * per_block_ <= most_pieces; }

  /// Tasks that may run at the same time.
  int most_at_once() const { return (blocks_ - 1) * per_block_; }

  bool is_complete() const { return factored_ == blocks_ || (info_ != 0 && at_work_ == 0 && lines_are_finished()); }

  /// What the next diagonal block needs comes first, block by block. The caller takes lines from the front of a block,
  /// helpers from its back.
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
        triangles_begun_ = triangles_ = 0;
        in_factor_ = false;
        factored_ += info == 0;
        break;
      case Task::Kind::triangle:
        ++triangles_;
        break;
      case Task::Kind::lines:
        piece_[task.index] = {task.step + 1, false};
        break;
    }
  }

  Int info() const { return info_; }

 private:
  /// Lines that go through the steps together, about. A thread's share of them in one task would leave nothing to
  /// balance.
  static constexpr Int piece_lines = 32;

  struct Piece {
    Int steps;  ///< that it is through
    bool busy;
  };

  Lines block_lines(Int block) const { return {block * nb_, std::min(n_, (block + 1) * nb_)}; }

  Int pieces_in(Int block) const { return (block_lines(block).count() - 1) / piece_lines + 1; }

  Lines piece_lines_of(Int block, Int i) const {
    const Lines all = block_lines(block);
    const Int pieces = pieces_in(block);
    const auto cut = [&](Int at) { return all.from + all.count() * at / pieces; };
    return {cut(i), cut(i + 1)};
  }

  /// Some columns of the next diagonal block, the longest of its triangle first.
  Lines triangle_columns(Int part) const {
    const Int width = block_lines(factored_).count(), parts = triangle_parts();
    const Int each = triangle_width(width), i = upper_ ? parts - 1 - part : part;
    return {i * each, std::min(width, (i + 1) * each)};
  }
  Int triangle_parts() const {
    const Int width = block_lines(factored_).count();
    return factored_ == 0 ? 0 : (width - 1) / triangle_width(width) + 1;
  }
  /// A quarter of the columns: threads that take them in turn, the longest first, have about the same work.
  static Int triangle_width(Int width) { return (width + 31) / 32 * 8; }

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

  Task next(bool is_caller) {
    if (info_ == 0 && factored_ < blocks_ && is_through(factored_, factored_)) {
      const Int parts = triangle_parts();
      if (triangles_begun_ < parts) return {Task::Kind::triangle, factored_, triangle_columns(triangles_begun_++)};
      if (triangles_ == parts && !in_factor_) {
        in_factor_ = true;
        return {Task::Kind::factor, factored_, block_lines(factored_)};
      }
    }
    for (Int block = 1; block < blocks_; ++block) {
      const Int pieces = pieces_in(block);
      for (Int k = 0; k < pieces; ++k) {
        const Int i = is_caller ? k : pieces - 1 - k, index = block * per_block_ + i;
        Piece& piece = piece_[index];
        if (piece.busy || piece.steps >= std::min(block, factored_)) continue;
        piece.busy = true;
        return {Task::Kind::lines, piece.steps, piece_lines_of(block, i), index};
      }
    }
    if (in_factor_ && fetched_ == factored_) return {Task::Kind::fetch, factored_, lines_for(fetched_++)};
    return {};
  }

  bool upper_;
  Int n_, nb_, blocks_, per_block_;
  Int factored_ = 0;  ///< diagonal blocks
  bool in_factor_ = false;
  Int triangles_begun_ = 0, triangles_ = 0;  ///< parts of the next diagonal block: that are begun, that are up to date
  Int fetched_ = 0;                          ///< diagonal blocks for whose sake lines have been fetched
  Int at_work_ = 0;
  Int info_ = 0;
  Piece piece_[most_pieces] = {};
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

  /// Reads a number of each line of memory in so many columns of L: it comes from another processor's cache.
  void fetch(Int columns, Lines lines) const {
    constexpr Int apart = 64 / sizeof(T);
    const Matrix<const T> X = part(lines.from, 0);
    const Int along = upper ? columns : lines.count(), across = upper ? lines.count() : columns;
    for (Int j = 1; j <= across; ++j) {
      for (Int i = 1; i <= along; i += apart) static_cast<void>(*reinterpret_cast<const volatile Real<T>*>(X.at(i, j)));
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
bool factor_cholesky_in_cache(char uplo, Int n, Int nb, Matrix<T> A, Int& info, int threads) {
  const bool upper = same_letter(uplo, 'U');
  Schedule schedule(upper, n, nb);
  if (!schedule.fits()) return false;
  const Steps<T> steps{upper, n, nb, A};
  const auto run = [&](const Task& task) { return steps.run(task); };
  note_wait(TaskCrew(schedule, run).work(std::min(threads, schedule.most_at_once())));
  info = schedule.info();
  return true;
}

template bool factor_cholesky_in_cache(char, Int, Int, Matrix<float>, Int&, int);
template bool factor_cholesky_in_cache(char, Int, Int, Matrix<double>, Int&, int);
template bool factor_cholesky_in_cache(char, Int, Int, Matrix<std::complex<float>>, Int&, int);
template bool factor_cholesky_in_cache(char, Int, Int, Matrix<std::complex<double>>, Int&, int);

}  // namespace nuv::threading::inline NUV_ISA
