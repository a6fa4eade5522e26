#include "svd/svd_driver.hpp"

#include "environment/norm_scaling.hpp"
#include "frame/error_report.hpp"
#include "svd/svd_paths.hpp"

namespace nuv {
namespace {

using svd::Path;
using svd::Place;
using svd::Places;

/// A decomposition to be made, in arrays by the length of their vectors.
template <Scalar T>
struct Decomposition {
  using R = Real<T>;

  LongSide<T> side;
  Wanted of_long, of_short;
  Matrix<T> A;
  R* s;
  Matrix<T> long_vectors, short_vectors;
  R* rwork;

  /// Reduces A itself.
  ///
  /// returns   what was left beside the diagonal
  R* run_directly(Room<T> room, Int& info) const {
    const Int k = side.shorter;
    const ReductionRoom<T> reduction(k, room, rwork);
    side.reduce(side.rows(k), side.columns(k), A, s, reduction);
    Vectors<T> long_ones, short_ones;
    if (of_long != Wanted::none) long_ones = {side.longer, of_long == Wanted::overwriting ? A : long_vectors};
    if (of_short != Wanted::none) short_ones = {k, of_short == Wanted::overwriting ? A : short_vectors};

    // What overwrites A comes last.
    if (has_array(of_long)) side.copy_reflectors(A, long_vectors);
    if (has_array(of_short)) side.copy_triangle(A, short_vectors);
    if (long_ones.length > 0) side.form_long(side.rows(count()), side.columns(count()), long_ones.M, reduction);
    if (short_ones.length > 0) side.form_short(side.longer, short_ones.M, reduction);
    side.iterate(side.is_left ? 'U' : 'L', s, long_ones, short_ones, reduction, info);
    return reduction.e;
  }

  /// Reduces the square factor of A.
  ///
  /// w1, w2    square blocks, where the places ask for them
  R* run_by_factor(const Places& places, Matrix<T> w1, Matrix<T> w2, Room<T> room, Int& info) const {
    const Int k = side.shorter;
    const auto at = [&](Place place) {
      return place == Place::u    ? long_vectors
             : place == Place::v  ? short_vectors
             : place == Place::w1 ? w1
             : place == Place::w2 ? w2
                                  : A;
    };
    const bool has_q = places.q != Place::no, has_w = places.long_vectors != Place::no,
               has_v = places.short_vectors != Place::no;
    const Matrix<T> Q = at(places.q), factor = at(places.factor);
    const Matrix<T> W = at(places.long_vectors), V = at(places.short_vectors);

    take_factor(places, Q, factor, room);
    const ReductionRoom<T> reduction(k, room, rwork);
    side.reduce(k, k, factor, s, reduction);
    if (has_w && places.long_vectors != places.factor) side.copy_other_triangle(factor, W);
    if (has_v && places.short_vectors != places.factor) side.copy_triangle(factor, V);
    if (has_w) side.form_long(k, k, W, reduction);
    else if (has_q) side.apply_long(factor, Q, reduction);
    if (has_v) side.form_short(k, V, reduction);

    Vectors<T> long_ones, short_ones;
    if (has_w) long_ones = {k, W};
    else if (has_q) long_ones = {side.longer, Q};
    if (has_v) short_ones = {k, V};
    side.iterate('U', s, long_ones, short_ones, reduction, info);

    if (has_w) multiply(places, Q, W, room);
    const Place wanted_place = of_short == Wanted::overwriting ? Place::a : Place::v;
    if (has_v && places.short_vectors != wanted_place) side.copy_square(V, at(wanted_place));
    return reduction.e;
  }

 private:
  static bool has_array(Wanted wanted) { return wanted == Wanted::thin || wanted == Wanted::full; }

  /// Of long vectors, if they are wanted.
  Int count() const { return of_long == Wanted::full ? side.longer : side.shorter; }

  /// Factors A, brings the square factor to its place, and forms Q.
  void take_factor(const Places& places, Matrix<T> Q, Matrix<T> factor, Room<T> room) const {
    T* const tau = room.work;
    const Room<T> rest = room.behind(side.shorter);
    side.factor(A, tau, rest);
    if (places.q == Place::u) side.copy_reflectors(A, Q);
    if (places.factor != Place::a) side.copy_triangle(A, factor);
    side.clear_other_triangle(factor);
    if (places.q != Place::no) side.form_q(count(), Q, tau, rest);
  }

  /// The long vectors of A, Q times those of the factor.
  void multiply(const Places& places, Matrix<T> Q, Matrix<T> W, Room<T> room) const {
    if (of_long == Wanted::overwriting) {
      // e is not to be lost.
      side.multiply_in_place(Q, W, room.behind(ComplexScalar<T> ? 0 : side.shorter));
    } else if (places.q == Place::a) {
      side.multiply(1, side.longer, Q, W, long_vectors);
    } else {
      side.multiply(1, side.longer, Q, W, A);
      side.copy_all(A, long_vectors);
    }
  }
};

/// Runs on the path, or directly where there is none.
///
/// returns   what was left beside the diagonal
template <Scalar T>
Real<T>* run(const Decomposition<T>& decomposition, const svd::WorkSizes<T>& sizes, const Path* path, Room<T> room,
             Int& info) {
  if (path == nullptr) return decomposition.run_directly(room, info);
  const Places& places = sizes.has_blocks(*path, room.lwork) ? path->with_blocks : path->without;
  if (places.is_direct()) return decomposition.run_directly(room, info);

  const auto [first_ld, second_ld] = sizes.lay_out(*path, room.lwork, decomposition.A.ld);
  const Int blocks = places.blocks();
  const std::int64_t k = decomposition.side.shorter;
  const Room<T> behind_first = room.behind(blocks >= 1 ? first_ld * k : 0),
                behind_both = behind_first.behind(blocks == 2 ? second_ld * k : 0);
  return decomposition.run_by_factor(places, {room.work, first_ld}, {behind_first.work, second_ld}, behind_both, info);
}

/// Moves n elements to where the caller looks for them, which may be in part where they are.
template <RealScalar R>
void move(Int n, const R* from, R* to) {
  if (to < from) {
    for (Int i = 0; i < n; ++i) to[i] = from[i];
  } else {
    for (Int i = n - 1; i >= 0; --i) to[i] = from[i];
  }
}

/// 0, or minus the position of the first bad argument of those before work.
template <Scalar T>
Int check(char jobu, char jobvt, Int m, Int n, Int lda, Int ldu, Int ldvt) {
  if (!is_one_of(jobu, 'A', 'S', 'O', 'N')) return -1;
  if (!is_one_of(jobvt, 'A', 'S', 'O', 'N') || (same_letter(jobu, 'O') && same_letter(jobvt, 'O'))) return -2;
  if (m < 0) return -3;
  if (n < 0) return -4;
  if (lda < std::max(1, m)) return -6;
  if (ldu < (is_one_of(jobu, 'A', 'S') ? std::max(1, m) : 1)) return -9;
  const Int rows = same_letter(jobvt, 'A') ? n : same_letter(jobvt, 'S') ? std::min(m, n) : 1;
  return ldvt < std::max(1, rows) ? -11 : 0;
}

/// rwork is for complex matrices alone.
template <Scalar T>
void decompose(char jobu, char jobvt, Int m, Int n, Matrix<T> A, Real<T>* s, Matrix<T> U, Matrix<T> VT, T* work,
               Int lwork, Real<T>* rwork, Int& info) {
  const char opts[] = {jobu, jobvt};
  const Int least_of_longer = ilaenv(6, RoutineName<T>("GESVD"), {opts, 2}, m, n, 0, 0);
  const LongSide<T> side(m, n);
  info = check<T>(jobu, jobvt, m, n, A.ld, U.ld, VT.ld);
  if (info != 0) return report_bad_argument<T>("GESVD", info);

  const bool is_empty = side.shorter == 0, is_query = lwork == -1;
  const Wanted of_long = wanted_by(side.is_left ? jobu : jobvt), of_short = wanted_by(side.is_left ? jobvt : jobu);
  const Path* const path = side.longer >= least_of_longer ? &svd::path_for(of_long, of_short) : nullptr;
  const svd::WorkSizes<T> sizes(side);
  std::int64_t least = 1, best = 1;
  if (!is_empty) {
    least = path != nullptr ? sizes.least(*path) : sizes.least_directly();
    best = path != nullptr ? sizes.best(*path) : sizes.best_directly(of_long, of_short);
  }
  if (lwork >= 1 || is_query) work[0] = as_work_size<T>(best);
  if (lwork < least && !is_query) info = -13;
  if (info != 0) return report_bad_argument<T>("GESVD", info);
  if (is_query || is_empty) return;

  const NormScaling<Real<T>> scaling(m, n, A);
  const Decomposition<T> decomposition{side, of_long, of_short, A, s, side.is_left ? U : VT, side.is_left ? VT : U,
                                       rwork};
  const Real<T>* const e = run(decomposition, sizes, path, Room<T>{work, lwork}, info);
  scaling.undo(side.shorter, s);
  if (info > 0) {
    Real<T>* left_over;
    if constexpr (ComplexScalar<T>) {
      left_over = rwork;
    } else {
      left_over = work + 1;
    }
    move(side.shorter - 1, e, left_over);
    scaling.undo(side.shorter - 1, left_over);
  }
  work[0] = as_work_size<T>(best);
}

}  // namespace

template <RealScalar T>
void gesvd(char jobu, char jobvt, Int m, Int n, T* a, Int lda, T* s, T* u, Int ldu, T* vt, Int ldvt, T* work, Int lwork,
           Int& info) {
  decompose<T>(jobu, jobvt, m, n, {a, lda}, s, {u, ldu}, {vt, ldvt}, work, lwork, nullptr, info);
}

template <ComplexScalar T>
void gesvd(char jobu, char jobvt, Int m, Int n, T* a, Int lda, Real<T>* s, T* u, Int ldu, T* vt, Int ldvt, T* work,
           Int lwork, Real<T>* rwork, Int& info) {
  decompose<T>(jobu, jobvt, m, n, {a, lda}, s, {u, ldu}, {vt, ldvt}, work, lwork, rwork, info);
}

}  // namespace nuv

#include "svd/svd_driver.entries.inc"
