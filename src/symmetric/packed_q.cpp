#include "symmetric/packed_q.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "environment/block_plan.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/packed_storage.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "orthogonal/form_q.hpp"
#include "orthogonal/reflector_steps.hpp"

namespace nuv {
namespace {

/// The reflectors of a reduction, as those of a QL (upper) or QR (lower) factorisation of order n - 1 in the last or
/// first n - 1 columns.
template <Scalar T>
struct PackedReflectors {
  PackedTriangle<T> A;

  Form form() const { return A.upper ? ql : qr; }
  Int count() const { return A.n - 1; }

  /// Rows that some of the reflectors reach.
  Range rows(Range some) const { return A.upper ? Range{1, some.last()} : Range{some.first + 1, A.n - some.first}; }

  /// Reflector i in these rows, and its unit element.
  T* vector(Int i) const { return A.upper ? A.at(1, i + 1) : A.at(i + 1, i); }
  T& unit(Int i) const { return A.upper ? A(i, i + 1) : A(i + 1, i); }

  /// Some of them in full storage, in the place for rows(some).count rows and as many columns.
  StoredReflectors<T> in_full_storage(Range some, T* place) const {
    const Range reached = rows(some);
    const Matrix<T> V{place, reached.count};
    ppunpack(A.upper ? 'U' : 'L', A.ap, A.n, reached.first, A.upper ? some.first + 1 : some.first, reached.count,
             some.count, V.data, V.ld);
    return {form(), reached.count, some.count, V};
  }
};

/// C := op(Q) C or C op(Q) for a C of which nw is the size that is not the order of Q.
template <Scalar T>
struct Product {
  PackedReflectors<T> reflectors;
  const T* tau;
  char side, trans;
  Int nw;
  Matrix<T> C;

  bool left() const { return same_letter(side, 'L'); }
  bool plain() const { return same_letter(trans, 'N'); }

  /// The part of C that some rows of the reflectors meet.
  Matrix<T> reached(Range rows) const { return left() ? block(C, rows.first, 1) : block(C, 1, rows.first); }

  /// Calls visit(range) for the reflectors in blocks of nb, in the order in which they are applied: Q is H1 H2 ...
  /// (lower) or ... H2 H1 (upper).
  template <class Visit>
  void for_each_block(Int nb, Visit visit) const {
    const bool ascends = (left() == plain()) == reflectors.A.upper;
    const Int k = reflectors.count(), blocks = (k - 1) / nb + 1;
    for (Int step = 0; step < blocks; ++step) {
      const Int i = 1 + (ascends ? step : blocks - 1 - step) * nb;
      visit(Range{i, std::min(nb, k - i + 1)});
    }
  }

  void apply_one_by_one(T* work) const {
    for_each_block(1, [&](Range one) {
      const Int i = one.first;
      const Range rows = reflectors.rows(one);
      const T factor = plain() ? tau[i - 1] : conjugate(tau[i - 1]), kept = std::exchange(reflectors.unit(i), T(1));
      const Matrix<T> part = reached(rows);
      larf(side, left() ? rows.count : nw, left() ? nw : rows.count, reflectors.vector(i), 1, factor, part.data,
           part.ld, work);
      reflectors.unit(i) = kept;
    });
  }

  /// room    a block of reflectors in full storage, its factor, and nw by nb
  void apply_by_blocks(Int nb, T* room) const {
    const Matrix<T> t{room + std::ptrdiff_t{reflectors.count()} * nb, nb}, W{t.at(1, nb + 1), std::max(1, nw)};
    for_each_block(nb, [&](Range some) {
      const StoredReflectors<T> V = reflectors.in_full_storage(some, room);
      form_factor<T>(V, tau + (some.first - 1), t);
      apply_block(V, side, trans, t, nw, reached(reflectors.rows(some)), W);
    });
  }
};

/// Forms the Q of order n of n reflectors that stand in its place, by blocks if there is memory for it.
template <Scalar T>
void form_in_place(Form form, Int n, Matrix<T> Q, const T* tau, T* work) {
  Int ignored = 0;
  const Tuning<T> tuning{.name = name_of_form<T>("ORG", "UNG", form), .n1 = n, .n2 = n, .n3 = n};
  const BlockPlan plan =
      plan_blocks(tuning, {.n = n, .nb = tuning.block_size(), .line = n, .lwork = std::numeric_limits<Int>::max()});
  if (plan.by_blocks) {
    if (const Workspace<T> room(static_cast<std::size_t>(plan.workspace)); room.data() != nullptr) {
      const auto lwork = static_cast<Int>(plan.workspace);
      return form.backward ? orgql(n, n, n, Q.data, Q.ld, tau, room.data(), lwork, ignored)
                           : orgqr(n, n, n, Q.data, Q.ld, tau, room.data(), lwork, ignored);
    }
  }
  if (form.backward) org2l(n, n, n, Q.data, Q.ld, tau, work, ignored);
  else org2r(n, n, n, Q.data, Q.ld, tau, work, ignored);
}

}  // namespace

template <Scalar T>
void opgtr(char uplo, Int n, const T* ap, const T* tau, T* q, Int ldq, T* work, Int& info) {
  const bool upper = same_letter(uplo, 'U');
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (ldq < std::max(1, n)) info = -6;
  if (info != 0) return report_bad_argument(name_of<T>("OPGTR", "UPGTR"), info);
  if (n == 0) return;

  //  upper  Q1 | 0     lower  1 | 0
  //          0 | 1            0 | Q1
  const Matrix<T> Q{q, ldq}, Q1 = upper ? Q : block(Q, 2, 2);
  const Int unit = upper ? n : 1, first = upper ? 1 : 2;
  for (Int i = 1; i <= n; ++i) Q(i, unit) = Q(unit, i) = T(0);
  Q(unit, unit) = T(1);
  if (n == 1) return;
  ppunpack(uplo, ap, n, first, upper ? 2 : 1, n - 1, n - 1, Q1.data, Q1.ld);
  form_in_place(upper ? ql : qr, n - 1, Q1, tau, work);
}

template <Scalar T>
void opmtr(char side, char uplo, char trans, Int m, Int n, T* ap, const T* tau, T* c, Int ldc, T* work, Int& info) {
  const bool left = same_letter(side, 'L');
  info = 0;
  if (!is_one_of(side, 'L', 'R')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (!is_one_of(trans, 'N', adjoint<T>)) info = -3;
  else if (m < 0) info = -4;
  else if (n < 0) info = -5;
  else if (ldc < std::max(1, m)) info = -9;
  if (info != 0) return report_bad_argument(name_of<T>("OPMTR", "UPMTR"), info);
  const Int nq = left ? m : n, nw = left ? n : m;
  if (nq <= 1 || nw == 0) return;

  const Product<T> product{{{same_letter(uplo, 'U'), nq, ap}}, tau, side, trans, nw, {c, ldc}};
  const Int k = product.reflectors.count();
  const char opts[] = {side, trans};
  const Tuning<T> tuning{
      name_of_form<T>("ORM", "UNM", product.reflectors.form()), {opts, 2}, left ? k : m, left ? n : k, k};
  if (const Int nb = tuning.block_size(); are_divided(k, nb)) {
    const std::size_t width = static_cast<std::size_t>(nb);
    const Workspace<T> room((static_cast<std::size_t>(k) + width + static_cast<std::size_t>(nw)) * width);
    if (room.data() != nullptr) return product.apply_by_blocks(nb, room.data());
  }
  product.apply_one_by_one(work);
}

}  // namespace nuv

#include "symmetric/packed_q.entries.inc"
