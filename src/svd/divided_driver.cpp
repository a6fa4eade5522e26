#include "svd/divided_driver.hpp"

#include "environment/norm_scaling.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "svd/bidiagonal_division.hpp"
#include "svd/divided_work_sizes.hpp"
#include "svd/long_side.hpp"
#include "symmetric/real_factors.hpp"

namespace nuv {
namespace {

/// A decomposition to be made, in arrays by the length of their vectors.
template <Scalar T>
class DividedDecomposition {
  using R = Real<T>;

 public:
  DividedDecomposition(const DividedWorkSizes<T>& sizes, Matrix<T> A, R* s, Matrix<T> U, Matrix<T> VT, Room<T> room,
                       R* rwork, Int* iwork)
      : sizes_(sizes),
        side_(sizes.side),
        k_(side_.shorter),
        A_(A),
        s_(s),
        long_(side_.is_left ? U : VT),
        short_(side_.is_left ? VT : U),
        room_(room),
        rwork_(rwork),
        iwork_(iwork) {}

  /// Goes the way that the job and the shape have; gives info.
  Int run() {
    using Way = void (DividedDecomposition::*)();
    struct Ways {
      Way directly, by_factor;
    };
    using Self = DividedDecomposition;
    static constexpr Ways ways[] = {{&Self::find_values, &Self::find_values_by_factor},
                                    {&Self::overwrite, &Self::overwrite_by_factor},
                                    {&Self::find_vectors, &Self::find_thin_by_factor},
                                    {&Self::find_vectors, &Self::find_full_by_factor}};
    const Ways& of_job = ways[static_cast<int>(sizes_.job)];
    (this->*(sizes_.by_factor ? of_job.by_factor : of_job.directly))();
    return info_;
  }

 private:
  /// The reduction of A, or of its square factor.
  struct Reduction {
    bool is_of_factor;
    Matrix<T> X;
    ReductionRoom<T> room;
  };

  // ------------------------------------------------------------------------------------------------------ without Q

  void find_values() { solve_for_values(reduce(false, A_, room_)); }

  void find_vectors() {
    const Int count = sizes_.job == DividedJob::full ? side_.longer : k_, more = count - k_;
    const Reduction reduction = reduce(false, A_, room_);
    laset('F', side_.rows(count), side_.columns(count), T(0), T(0), long_.data, long_.ld);
    if (more > 0) laset('F', more, more, T(0), T(1), long_.at(k_ + 1, k_ + 1), long_.ld);
    solve_for_vectors(reduction, count, long_);
  }

  void overwrite() {
    const Reduction reduction = reduce(false, A_, room_);
    const Room<T> rest = reduction.room.rest;
    const std::int64_t of_long = std::int64_t{side_.longer} * k_;
    const bool has_room = rest.lwork >= of_long + std::max<std::int64_t>(sizes_.division(), k_);
    const Matrix<T> W{rest.work, has_room ? side_.rows(k_) : k_};
    const Reduction behind = with_room(reduction, rest.behind(has_room ? of_long : std::int64_t{k_} * k_));
    if (has_room) {
      laset('F', side_.rows(k_), side_.columns(k_), T(0), T(0), W.data, W.ld);
      solve_for_vectors(behind, k_, W);
      side_.copy_all(W, A_);
    } else {
      divide(behind, W);
      apply(behind, side_.letter_of_short(), k_, k_, short_);
      side_.form_long(side_.rows(k_), side_.columns(k_), A_, behind.room);
      side_.multiply_in_place(A_, W, behind.room.rest);
    }
  }

  // ------------------------------------------------------------------------------------------- by a QR or LQ factor

  void find_values_by_factor() {
    factor(A_, nullptr, 0, room_);
    solve_for_values(reduce(true, A_, room_));
  }

  void overwrite_by_factor() {
    const std::int64_t block = std::int64_t{k_} * k_;
    const Matrix<T> W{room_.work, k_}, X{room_.work + block, k_};
    const Room<T> rest = room_.behind(2 * block);
    factor(X, &A_, k_, rest);
    solve_for_vectors(reduce(true, X, rest), k_, W);
    side_.multiply_in_place(A_, W, room_.behind(block));
  }

  void find_thin_by_factor() {
    const Matrix<T> X{room_.work, k_};
    const Room<T> rest = room_.behind(std::int64_t{k_} * k_);
    factor(X, &A_, k_, rest);
    solve_for_vectors(reduce(true, X, rest), k_, long_);
    side_.copy_square(long_, X);
    side_.multiply(1, side_.longer, A_, X, long_);
  }

  void find_full_by_factor() {
    const Matrix<T> W{room_.work, k_};
    const Room<T> rest = room_.behind(std::int64_t{k_} * k_);
    factor(A_, &long_, side_.longer, rest);
    solve_for_vectors(reduce(true, A_, rest), k_, W);
    side_.multiply(1, side_.longer, long_, W, A_);
    side_.copy_all(A_, long_);
  }

  /// Factors A, brings its square factor to X, which may be A, and forms `count` vectors of Q, which may be A if X is
  /// not.
  void factor(Matrix<T> X, const Matrix<T>* Q, Int count, Room<T> room) {
    T* const tau = room.work;
    const Room<T> rest = room.behind(k_);
    side_.factor(A_, tau, rest);
    if (Q != nullptr && Q->data != A_.data) side_.copy_reflectors(A_, *Q);
    if (X.data != A_.data) side_.copy_triangle(A_, X);
    side_.clear_other_triangle(X);
    if (Q != nullptr) side_.form_q(count, *Q, tau, rest);
  }

  // ------------------------------------------------------------------------------------------------------ what all do

  Reduction reduce(bool is_of_factor, Matrix<T> X, Room<T> room) {
    const ReductionRoom<T> reduction(k_, room, rwork_);
    side_.reduce(is_of_factor ? k_ : side_.rows(k_), is_of_factor ? k_ : side_.columns(k_), X, s_, reduction);
    return {is_of_factor, X, reduction};
  }

  static Reduction with_room(Reduction reduction, Room<T> rest) {
    reduction.room.rest = rest;
    return reduction;
  }

  /// A square factor is reduced to an upper bidiagonal matrix, and so is A if it is tall.
  char triangle_of(const Reduction& reduction) const { return reduction.is_of_factor || side_.is_left ? 'U' : 'L'; }

  /// Nobody asks for the reflectors then, behind e.
  void solve_for_values(const Reduction& reduction) {
    bdsdc<R>(triangle_of(reduction), 'N', k_, s_, reduction.room.e, nullptr, 1, nullptr, 1, nullptr, nullptr,
             reduction.room.of_iteration, iwork_, info_);
  }

  /// Long vectors of what was reduced go to L, `count` of them, and short ones to their array.
  void solve_for_vectors(const Reduction& reduction, Int count, Matrix<T> L) {
    const Int length = reduction.is_of_factor ? k_ : side_.longer;
    divide(reduction, L);
    apply(reduction, side_.letter_of_long(), side_.is_left ? length : count, side_.is_left ? count : length, L);
    apply(reduction, side_.letter_of_short(), k_, k_, short_);
  }

  /// The first k rows and columns of L and of the array for short vectors := the vectors of the bidiagonal matrix.
  void divide(const Reduction& reduction, Matrix<T> L) {
    const Matrix<T>&U = side_.is_left ? L : short_, &VT = side_.is_left ? short_ : L;
    const char uplo = triangle_of(reduction);
    if constexpr (ComplexScalar<T>) {
      const std::ptrdiff_t block = std::ptrdiff_t{k_} * k_;
      R *const u = reduction.room.of_iteration, *const vt = u + block;
      bdsdc<R>(uplo, 'I', k_, s_, reduction.room.e, u, k_, vt, k_, nullptr, nullptr, vt + block, iwork_, info_);
      lacp2('F', k_, k_, u, k_, U.data, U.ld);
      lacp2('F', k_, k_, vt, k_, VT.data, VT.ld);
    } else {
      bdsdc<R>(uplo, 'I', k_, s_, reduction.room.e, U.data, U.ld, VT.data, VT.ld, nullptr, nullptr,
               reduction.room.rest.work, iwork_, info_);
    }
  }

  /// V := Q V or V P^H for the vectors of the reduction.
  void apply(const Reduction& reduction, char letter, Int rows, Int columns, Matrix<T> V) {
    const bool is_q = letter == 'Q';
    const Int m = reduction.is_of_factor ? k_ : side_.rows(k_), n = reduction.is_of_factor ? k_ : side_.columns(k_);
    const auto& [work, lwork] = reduction.room.rest;
    const T* const tau = letter == side_.letter_of_long() ? reduction.room.tau_long : reduction.room.tau_short;
    Int ignored = 0;
    ormbr(letter, is_q ? 'L' : 'R', is_q ? 'N' : adjoint<T>, rows, columns, is_q ? n : m, reduction.X.data,
          reduction.X.ld, tau, V.data, V.ld, work, lwork, ignored);
  }

  const DividedWorkSizes<T>& sizes_;
  LongSide<T> side_;
  Int k_;
  Matrix<T> A_;
  R* s_;
  Matrix<T> long_, short_;
  Room<T> room_;
  R* rwork_;
  Int* iwork_;
  Int info_ = 0;
};

DividedJob job_of(char jobz) {
  if (same_letter(jobz, 'A')) return DividedJob::full;
  if (same_letter(jobz, 'S')) return DividedJob::thin;
  return same_letter(jobz, 'O') ? DividedJob::overwriting : DividedJob::values;
}

/// 0, or minus the position of the first bad argument of those before work.
Int check(char jobz, Int m, Int n, Int lda, Int ldu, Int ldvt) {
  if (!is_one_of(jobz, 'A', 'S', 'O', 'N')) return -1;
  if (m < 0) return -2;
  if (n < 0) return -3;
  if (lda < std::max(1, m)) return -5;
  const bool all = same_letter(jobz, 'A'), thin = same_letter(jobz, 'S'), over = same_letter(jobz, 'O');
  if (ldu < (all || thin || (over && m < n) ? std::max(1, m) : 1)) return -8;
  const Int rows = all || (over && m >= n) ? n : thin ? std::min(m, n) : 1;
  return ldvt < std::max(1, rows) ? -10 : 0;
}

/// rwork is for complex matrices alone.
template <Scalar T>
void drive(char jobz, Int m, Int n, Matrix<T> A, Real<T>* s, Matrix<T> U, Matrix<T> VT, T* work, Int lwork,
           Real<T>* rwork, Int* iwork, Int& info) {
  info = check(jobz, m, n, A.ld, U.ld, VT.ld);
  if (info != 0) return report_bad_argument<T>("GESDD", info);
  const LongSide<T> side(m, n);
  const Int least_of_longer = static_cast<Int>(side.shorter * 11.0 / 6.0);
  const DividedWorkSizes<T> sizes{side, job_of(jobz), side.longer >= least_of_longer};
  const bool is_empty = side.shorter == 0, is_query = lwork == -1;
  const std::int64_t best = is_empty ? 1 : sizes.best();
  if (lwork >= 1 || is_query) work[0] = as_work_size<T>(best);
  if (lwork < (is_empty ? 1 : sizes.least()) && !is_query) info = -12;
  if (info != 0) return report_bad_argument<T>("GESDD", info);
  if (is_query || is_empty) return;

  const NormScaling<Real<T>> scaling(m, n, A);
  info = DividedDecomposition<T>(sizes, A, s, U, VT, {work, lwork}, rwork, iwork).run();
  scaling.undo(side.shorter, s);
  work[0] = as_work_size<T>(best);
}

}  // namespace

template <RealScalar T>
void gesdd(char jobz, Int m, Int n, T* a, Int lda, T* s, T* u, Int ldu, T* vt, Int ldvt, T* work, Int lwork, Int* iwork,
           Int& info) {
  drive<T>(jobz, m, n, {a, lda}, s, {u, ldu}, {vt, ldvt}, work, lwork, nullptr, iwork, info);
}

template <ComplexScalar T>
void gesdd(char jobz, Int m, Int n, T* a, Int lda, Real<T>* s, T* u, Int ldu, T* vt, Int ldvt, T* work, Int lwork,
           Real<T>* rwork, Int* iwork, Int& info) {
  drive<T>(jobz, m, n, {a, lda}, s, {u, ldu}, {vt, ldvt}, work, lwork, rwork, iwork, info);
}

}  // namespace nuv

#include "svd/divided_driver.entries.inc"
