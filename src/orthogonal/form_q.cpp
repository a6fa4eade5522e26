#include "orthogonal/form_q.hpp"

#include <algorithm>

#include "environment/tuning.hpp"
#include "frame/error_report.hpp"
#include "orthogonal/forms.hpp"
#include "orthogonal/householder.hpp"

namespace nuv {
namespace {

/// A matrix seen as lines, each of which holds a reflector: its columns (QR, QL) or its rows (LQ, RQ). `length` is that
/// of a line.
template <Form form, Scalar T>
struct Lines {
  Int length, count;
  Matrix<T> A;

  Matrix<T> from(Int place, Int line) const { return form.rowwise ? block(A, line, place) : block(A, place, line); }
  T& operator()(Int place, Int line) const { return form.rowwise ? A(line, place) : A(place, line); }
  Vector<T> along(Int place, Int line) const { return {from(place, line).data, form.rowwise ? A.ld : 1}; }

  Lines part(Int place, Int line, Int part_length, Int part_count) const {
    return {part_length, part_count, from(place, line)};
  }

  void clear(Int first_place, Int last_place, Int first_line, Int last_line) const {
    for (Int line = first_line; line <= last_line; ++line) {
      for (Int place = first_place; place <= last_place; ++place) (*this)(place, line) = T(0);
    }
  }
};

/// Line of reflector 1 of k, and the place in it of the unit element; both rise with the reflectors.
struct Start {
  Int line, unit;
};

template <Form form, Scalar T>
Start start_of(const Lines<form, T>& q, Int k) {
  if constexpr (form.backward) return {q.count - k + 1, q.length - k + 1};
  return {1, 1};
}

/// Applies the reflectors to lines of the identity, from the last reflector of the product to the first, so that each
/// meets only lines that are not those of the identity any more.
template <Form form, Scalar T>
void form_one_by_one(const Lines<form, T>& q, Int k, const T* tau, T* work) {
  const Start start = start_of(q, k);
  const Int first_plain = form.backward ? 1 : k + 1, last_plain = form.backward ? q.count - k : q.count;
  q.clear(1, q.length, first_plain, last_plain);
  for (Int line = first_plain; line <= last_plain; ++line) q(line + start.unit - start.line, line) = T(1);

  for (Int step = 1; step <= k; ++step) {
    const Int i = form.backward ? step : k + 1 - step;
    const Int line = start.line + i - 1, unit = start.unit + i - 1;
    // The reflector works on places first ... first + length - 1 of the lines beside its own that are formed already.
    const Int first = form.backward ? 1 : unit, length = form.backward ? unit : q.length - unit + 1;
    const Int first_other = form.backward ? 1 : line + 1, others = form.backward ? line - 1 : q.count - line;
    const Vector<T> v = q.along(first, line), beside_unit = q.along(form.backward ? 1 : unit + 1, line);
    const T factor = form.rowwise ? conjugate(tau[i - 1]) : tau[i - 1];

    if constexpr (form.rowwise) conjugate_vector(length - 1, beside_unit);
    if (others > 0) {
      q(unit, line) = T(1);
      const Matrix<T> C = q.from(first, first_other);
      if constexpr (form.rowwise) {
        larf('R', others, length, v.data, v.inc, factor, C.data, C.ld, work);
      } else {
        larf('L', length, others, v.data, v.inc, factor, C.data, C.ld, work);
      }
    }
    if (length > 1) blas::scal(length - 1, negated(tau[i - 1]), beside_unit);
    if constexpr (form.rowwise) conjugate_vector(length - 1, beside_unit);
    q(unit, line) = T(1) - factor;
    q.clear(form.backward ? unit + 1 : 1, form.backward ? q.length : unit - 1, line, line);
  }
}

/// Reflectors i ... i + ib - 1 of k, applied to the lines formed already, and formed.
template <Form form, Scalar T>
void form_block(const Lines<form, T>& q, Int k, Int i, Int ib, const T* tau, T* work, Int ldwork) {
  const Start start = start_of(q, k);
  const Int line = start.line + i - 1, unit = start.unit + i - 1;
  const Int first = form.backward ? 1 : unit;
  const Int length = form.backward ? unit + ib - 1 : q.length - unit + 1;
  const Int others = form.backward ? line - 1 : q.count - line - ib + 1;
  const Lines own = q.part(first, line, length, ib);
  if (others > 0) {
    const Matrix<T> V = own.A, C = q.from(first, form.backward ? 1 : line + ib);
    larft(form.direct(), form.storev(), length, ib, V.data, V.ld, tau + (i - 1), work, ldwork);
    larfb(form.rowwise ? 'R' : 'L', form.rowwise ? adjoint<T> : 'N', form.direct(), form.storev(),
          form.rowwise ? others : length, form.rowwise ? length : others, ib, V.data, V.ld, work, ldwork, C.data, C.ld,
          work + ib, ldwork);
  }
  form_one_by_one(own, ib, tau + (i - 1), work);
  q.clear(form.backward ? first + length : 1, form.backward ? q.length : unit - 1, line, line + ib - 1);
}

/// The first (forward) or last (backward) kk reflectors are applied by blocks, the others before them one by one.
template <Form form, Scalar T>
void form_by_blocks(const Lines<form, T>& q, Int k, Int kk, Int nb, const T* tau, T* work) {
  const Int ldwork = q.count;
  if constexpr (form.backward) {
    q.clear(q.length - kk + 1, q.length, 1, q.count - kk);
    form_one_by_one(q.part(1, 1, q.length - kk, q.count - kk), k - kk, tau, work);
    for (Int i = k - kk + 1; i <= k; i += nb) form_block(q, k, i, std::min(nb, k - i + 1), tau, work, ldwork);
  } else {
    q.clear(1, kk, kk + 1, q.count);
    if (kk < q.count) {
      form_one_by_one(q.part(kk + 1, kk + 1, q.length - kk, q.count - kk), k - kk, tau + kk, work);
    }
    for (Int i = (kk - 1) / nb * nb + 1; i >= 1; i -= nb) {
      form_block(q, k, i, std::min(nb, k - i + 1), tau, work, ldwork);
    }
  }
}

template <Form form, Scalar T>
Lines<form, T> lines_of(Int m, Int n, Matrix<T> A) {
  return {form.rowwise ? n : m, form.rowwise ? m : n, A};
}

/// 0, or minus the position of the first bad argument of m, n, k, a, lda.
template <Form form>
Int check(Int m, Int n, Int k, Int lda) {
  if (m < 0) return -1;
  if (form.rowwise ? n < m : n < 0 || n > m) return -2;
  if (k < 0 || k > (form.rowwise ? m : n)) return -3;
  if (lda < std::max(1, m)) return -5;
  return 0;
}

template <Form form, Scalar T>
void form_q(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  constexpr RoutineName<T> name = name_of_form<form, T>("ORG", "UNG");
  const Lines q = lines_of<form, T>(m, n, {a, lda});
  const Int nb = ilaenv(1, name, " ", m, n, k, -1);
  work[0] = T(static_cast<Real<T>>(std::int64_t{std::max(1, q.count)} * nb));
  const bool query = lwork == -1;
  info = check<form>(m, n, k, lda);
  if (info == 0 && lwork < std::max(1, q.count) && !query) info = -8;
  if (info != 0) return report_bad_argument(name, info);
  if (query) return;
  if (q.count <= 0) {
    work[0] = T(1);
    return;
  }

  Int width = nb, nbmin = 2, nx = 0;
  std::int64_t iws = q.count;
  if (nb > 1 && nb < k) {
    nx = std::max(0, ilaenv(3, name, " ", m, n, k, -1));
    if (nx < k) {
      iws = std::int64_t{q.count} * nb;
      if (lwork < iws) {
        width = lwork / q.count;
        nbmin = std::max(2, ilaenv(2, name, " ", m, n, k, -1));
      }
    }
  }
  if (width >= nbmin && width < k && nx < k) {
    form_by_blocks(q, k, std::min(k, (k - nx - 1) / width * width + width), width, tau, work);
  } else {
    form_one_by_one(q, k, tau, work);
  }
  work[0] = T(static_cast<Real<T>>(iws));
}

template <Form form, Scalar T, std::size_t Size>
void form_unblocked(const char (&name)[Size], const char (&complex_name)[Size], Int m, Int n, Int k, T* a, Int lda,
                    const T* tau, T* work, Int& info) {
  info = check<form>(m, n, k, lda);
  if (info != 0) return report_bad_argument(RoutineName<T>(ComplexScalar<T> ? complex_name : name), info);
  form_one_by_one(lines_of<form, T>(m, n, {a, lda}), k, tau, work);
}

}  // namespace

template <Scalar T>
void orgqr(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  form_q<qr>(m, n, k, a, lda, tau, work, lwork, info);
}
template <Scalar T>
void orglq(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  form_q<lq>(m, n, k, a, lda, tau, work, lwork, info);
}
template <Scalar T>
void orgql(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  form_q<ql>(m, n, k, a, lda, tau, work, lwork, info);
}
template <Scalar T>
void orgrq(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  form_q<rq>(m, n, k, a, lda, tau, work, lwork, info);
}

template <Scalar T>
void org2r(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info) {
  form_unblocked<qr>("ORG2R", "UNG2R", m, n, k, a, lda, tau, work, info);
}
template <Scalar T>
void orgl2(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info) {
  form_unblocked<lq>("ORGL2", "UNGL2", m, n, k, a, lda, tau, work, info);
}
template <Scalar T>
void org2l(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info) {
  form_unblocked<ql>("ORG2L", "UNG2L", m, n, k, a, lda, tau, work, info);
}
template <Scalar T>
void orgr2(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info) {
  form_unblocked<rq>("ORGR2", "UNGR2", m, n, k, a, lda, tau, work, info);
}

}  // namespace nuv

#include "orthogonal/form_q.entries.inc"
