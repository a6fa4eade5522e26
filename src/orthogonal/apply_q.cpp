#include "orthogonal/apply_q.hpp"

#include <algorithm>

#include "environment/tuning.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "orthogonal/forms.hpp"
#include "orthogonal/householder.hpp"

namespace nuv {
namespace {

/// The problem as all routines of this file are given it.
template <Scalar T>
struct Application {
  char side, trans;
  Int m, n, k;
  Matrix<T> A;
  const T* tau;
  Matrix<T> C;

  bool left() const { return same_letter(side, 'L'); }
  bool plain() const { return same_letter(trans, 'N'); }
  /// Order of Q.
  Int nq() const { return left() ? m : n; }
  /// The other size of C.
  Int nw() const { return left() ? n : m; }

  /// 0, or minus the position of the first bad argument.
  template <Form form>
  Int check() const {
    if (!is_one_of(side, 'L', 'R')) return -1;
    if (!is_one_of(trans, 'N', adjoint<T>)) return -2;
    if (m < 0) return -3;
    if (n < 0) return -4;
    if (k < 0 || k > nq()) return -5;
    if (A.ld < std::max(1, form.rowwise ? k : nq())) return -7;
    if (C.ld < std::max(1, m)) return -10;
    return 0;
  }

  /// Whether the reflectors are applied from the first to the last. Q is H1 H2 ... of QR and RQ, and ... H2 H1 of LQ
  /// and QL, with the adjoint of each H where they are rows.
  template <Form form>
  bool ascends() const {
    constexpr bool begins_with_the_last = form.rowwise != form.backward;
    return (left() == plain()) == begins_with_the_last;
  }
};

/// The reflectors i ... i + count - 1.
struct Range {
  Int i, count;
};

/// Where a range of reflectors stands in A, and what it works on of a vector of nq elements: `length` of them, from
/// `first` on.
template <Scalar T>
struct Place {
  Matrix<T> V;
  Int first, length;
};

template <Form form, Scalar T>
Place<T> place_of(const Application<T>& q, Range r) {
  if constexpr (form.backward) {
    return {form.rowwise ? block(q.A, r.i, 1) : block(q.A, 1, r.i), 1, q.nq() - q.k + r.i + r.count - 1};
  } else {
    return {block(q.A, r.i, r.i), r.i, q.nq() - r.i + 1};
  }
}

/// Calls visit(range) for all reflectors in blocks of nb, the first block from reflector 1, in the order in which they
/// are applied.
template <Form form, Scalar T, class Visit>
void for_each_block(const Application<T>& q, Int nb, Visit visit) {
  const Int blocks = (q.k - 1) / nb + 1;
  for (Int step = 0; step < blocks; ++step) {
    const Int i = 1 + (q.template ascends<form>() ? step : blocks - 1 - step) * nb;
    visit(Range{i, std::min(nb, q.k - i + 1)});
  }
}

template <Form form, Scalar T>
void apply_one_by_one(const Application<T>& q, T* work) {
  for_each_block<form>(q, 1, [&](Range r) {
    const auto [V, first, length] = place_of<form>(q, r);
    const Int unit = form.backward ? length : 1;
    T& unit_element = form.rowwise ? V(1, unit) : V(unit, 1);
    const Int inc = form.rowwise ? V.ld : 1;
    // A row holds the conjugate of its reflector, so that Q takes the adjoints of the reflectors proper.
    const Vector<T> others = form.backward ? Vector<T>{V.data, inc} : Vector<T>{V.data + inc, inc};
    if constexpr (form.rowwise) conjugate_vector(length - 1, others);
    const T kept = unit_element;
    unit_element = T(1);
    const T factor = q.tau[r.i - 1];
    const T tau = q.plain() == form.rowwise ? conjugate(factor) : factor;
    if (q.left()) {
      larf('L', length, q.n, V.data, inc, tau, q.C.at(first, 1), q.C.ld, work);
    } else {
      larf('R', q.m, length, V.data, inc, tau, q.C.at(1, first), q.C.ld, work);
    }
    unit_element = kept;
    if constexpr (form.rowwise) conjugate_vector(length - 1, others);
  });
}

/// With the triangular factors of all blocks in t, nb by nb each, and in w room for nw by nb.
template <Form form, Scalar T>
void apply_by_blocks(const Application<T>& q, Int nb, T* t, T* w) {
  constexpr Int strip = 256;
  const auto factor_of = [&](Range r) { return t + std::ptrdiff_t{(r.i - 1) / nb} * nb * nb; };
  for_each_block<form>(q, nb, [&](Range r) {
    const auto [V, first, length] = place_of<form>(q, r);
    larft(form.direct(), form.storev(), length, r.count, V.data, V.ld, q.tau + (r.i - 1), factor_of(r), nb);
  });
  const char trans = form.rowwise ? reversed<T>(!q.plain()) : q.trans;
  for (Int start = 1; start <= q.nw(); start += strip) {
    const Int width = std::min(strip, q.nw() - start + 1);
    for_each_block<form>(q, nb, [&](Range r) {
      const auto [V, first, length] = place_of<form>(q, r);
      const Matrix<T> C = q.left() ? block(q.C, first, start) : block(q.C, start, first);
      larfb(q.side, trans, form.direct(), form.storev(), q.left() ? length : width, q.left() ? width : length, r.count,
            V.data, V.ld, factor_of(r), nb, C.data, C.ld, w, q.nw());
    });
  }
}

template <Form form, Scalar T>
void apply(const Application<T>& q, T* work, Int lwork, Int& info) {
  constexpr RoutineName<T> name = name_of_form<form, T>("ORM", "UNM");
  const bool query = lwork == -1;
  info = q.template check<form>();
  if (info == 0 && lwork < std::max(1, q.nw()) && !query) info = -12;
  if (info != 0) return report_bad_argument(name, info);

  const char opts[] = {q.side, q.trans};
  const Int nb = ilaenv(1, name, {opts, 2}, q.m, q.n, q.k, -1);
  const std::int64_t best = (std::int64_t{q.nw()} + q.k) * nb;
  const T best_lwork = T(static_cast<Real<T>>(best));
  if (query) {
    work[0] = best_lwork;
    return;
  }
  if (q.m == 0 || q.n == 0 || q.k == 0) {
    work[0] = T(1);
    return;
  }
  const Int nbmin = std::max(2, ilaenv(2, name, {opts, 2}, q.m, q.n, q.k, -1));
  if (nb < nbmin || nb >= q.k) {
    apply_one_by_one<form>(q, work);
  } else if (best <= lwork) {
    apply_by_blocks<form>(q, nb, work, work + std::ptrdiff_t{q.k} * nb);
  } else if (const Workspace<T> room(best); room.data() != nullptr) {
    apply_by_blocks<form>(q, nb, room.data(), room.data() + std::ptrdiff_t{q.k} * nb);
  } else {
    apply_one_by_one<form>(q, work);
  }
  work[0] = best_lwork;
}

template <Form form, Scalar T, std::size_t Size>
void apply_unblocked(const char (&name)[Size], const char (&complex_name)[Size], const Application<T>& q, T* work,
                     Int& info) {
  info = q.template check<form>();
  if (info != 0) return report_bad_argument(RoutineName<T>(ComplexScalar<T> ? complex_name : name), info);
  if (q.m > 0 && q.n > 0 && q.k > 0) apply_one_by_one<form>(q, work);
}

}  // namespace

template <Scalar T>
void xormqr(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info) {
  apply<qr>(Application<T>{side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, lwork, info);
}
template <Scalar T>
void xormlq(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info) {
  apply<lq>(Application<T>{side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, lwork, info);
}
template <Scalar T>
void xormql(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info) {
  apply<ql>(Application<T>{side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, lwork, info);
}
template <Scalar T>
void xormrq(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info) {
  apply<rq>(Application<T>{side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, lwork, info);
}

template <Scalar T>
void orm2r(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info) {
  apply_unblocked<qr>("ORM2R", "UNM2R", Application<T>{side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, info);
}
template <Scalar T>
void orml2(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info) {
  apply_unblocked<lq>("ORML2", "UNML2", Application<T>{side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, info);
}
template <Scalar T>
void orm2l(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info) {
  apply_unblocked<ql>("ORM2L", "UNM2L", Application<T>{side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, info);
}
template <Scalar T>
void ormr2(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info) {
  apply_unblocked<rq>("ORMR2", "UNMR2", Application<T>{side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, info);
}

}  // namespace nuv

#include "orthogonal/apply_q.entries.inc"
