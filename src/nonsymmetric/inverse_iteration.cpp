#include "nonsymmetric/inverse_iteration.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/abs1.hpp"
#include "environment/norms_general.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/eigenvector_columns.hpp"
#include "nonsymmetric/inverse_iteration_vector.hpp"

namespace nuv {
namespace {

struct IterationOptions {
  bool right, left, from_qr, starts_anew;

  IterationOptions(char side, char eigsrc, char initv)
      : right(is_one_of(side, 'R', 'B')),
        left(is_one_of(side, 'L', 'B')),
        from_qr(same_letter(eigsrc, 'Q')),
        starts_anew(same_letter(initv, 'N')) {}
};

/// 0, or minus the position of the first bad argument of side, eigsrc, initv, n, h.
Int check_options(char side, char eigsrc, char initv, Int n, Int ldh) {
  if (!is_one_of(side, 'R', 'L', 'B')) return -1;
  if (!is_one_of(eigsrc, 'Q', 'N')) return -2;
  if (!is_one_of(initv, 'N', 'U')) return -3;
  if (n < 0) return -5;
  if (ldh < std::max(1, n)) return -7;
  return 0;
}

/// Whether there is room for vectors of order n in an array, if there are any at all.
bool is_room(bool wanted, Int n, Int ld) {
  return ld >= 1 && (!wanted || ld >= n);
}

/// Eigenvalues of a real matrix. Those of a complex pair have one vector, and stand next to each other.
template <RealScalar T>
struct RealSpectrum {
  Int n;
  T* wr;
  const T* wi;
  Logical* select;

  bool is_pair(Int k) const { return k < n && wi[k - 1] != 0; }
  std::complex<T> operator[](Int k) const { return {wr[k - 1], is_pair(k) ? wi[k - 1] : T(0)}; }
  Int columns(Int k) const { return is_pair(k) ? 2 : 1; }
  bool is_selected(Int k) const { return is_true(select[k - 1]); }
  bool is_wanted(Int k) const { return is_selected(k) || (is_pair(k) && is_selected(k + 1)); }
  void move(Int k, T real_part) const { std::fill_n(wr + (k - 1), columns(k), real_part); }

  /// Leaves to a selected pair the first of its elements of select.
  void tidy_selection() const {
    for (Int k = 1; k <= n; k += columns(k)) {
      if (!is_pair(k)) continue;
      select[k - 1] = to_logical(is_wanted(k));
      select[k] = to_logical(false);
    }
  }
};

template <ComplexScalar T>
struct ComplexSpectrum {
  Int n;
  T* w;
  const Logical* select;

  T operator[](Int k) const { return w[k - 1]; }
  static Int columns(Int) { return 1; }
  bool is_selected(Int k) const { return is_true(select[k - 1]); }
  bool is_wanted(Int k) const { return is_selected(k); }
  void move(Int k, Real<T> real_part) const { w[k - 1] = {real_part, w[k - 1].imag()}; }
};

template <class Spectrum>
Int count_columns(const Spectrum& w) {
  Int m = 0;
  for (Int k = 1; k <= w.n; k += w.columns(k)) m += w.is_wanted(k) ? w.columns(k) : 0;
  return m;
}

/// Moves value k until it is eps3 away from all that are selected before it, from the first-th on.
template <class Spectrum, RealScalar R>
void move_apart(const Spectrum& w, Int first, Int k, R eps3) {
  for (Int i = k - 1; i >= first;) {
    const R moved = w[k].real() + eps3;
    const bool is_close = w.is_selected(i) && abs1(w[i] - w[k]) < eps3;
    // Beside a matrix that is much smaller, eps3 is nothing.
    if (is_close && moved != w[k].real()) {
      w.move(k, moved);
      i = k - 1;
    } else {
      --i;
    }
  }
}

/// One side's vectors.
template <Scalar T>
struct VectorSide {
  bool wanted;
  Matrix<T> V;
  Int* ifail;

  /// Notes what became of the vector of value k, which has so many columns from `to` on, and makes it one of order n:
  /// it was found in rows first ... last. Gives the number of columns that failed.
  Int finish(Int n, Int first, Int last, Int k, Int to, Int columns, Int info) const {
    for (Int j = to; j < to + columns; ++j) {
      ifail[j - 1] = info > 0 ? k : 0;
      std::fill_n(V.at(1, j), first - 1, T(0));
      std::fill_n(V.at(1, j) + last, n - last, T(0));
    }
    return info > 0 ? columns : 0;
  }
};

/// One vector after another, each by a call of laein with the submatrix in rows and columns first ... last.
template <RealScalar T>
struct RealIteration {
  Matrix<const T> H;
  RealSpectrum<T> w;
  bool starts_anew;
  T* work;
  Int n = w.n, ldb = n + 1;
  SubstitutionRange<T> range{n};
  T* sums = work + std::ptrdiff_t{n} * ldb;

  T norm(Int first, Int last) const { return lanhs('I', last - first + 1, H.at(first, first), H.ld, sums); }

  /// Value k's vector; the second array takes its imaginary part, if it has one.
  Int find(bool right, Int first, Int last, Int k, T eps3, T* re, T* im) const {
    Int failed;
    laein(to_logical(right), to_logical(starts_anew), last - first + 1, H.at(first, first), H.ld, w[k].real(),
          w[k].imag(), re, im, work, ldb, sums, eps3, range.smallest, range.largest, failed);
    return failed;
  }
};

template <ComplexScalar T>
struct ComplexIteration {
  using R = Real<T>;

  Matrix<const T> H;
  ComplexSpectrum<T> w;
  bool starts_anew;
  T* work;
  R* rwork;
  Int n = w.n;
  SubstitutionRange<R> range{n};

  R norm(Int first, Int last) const { return lanhs('I', last - first + 1, H.at(first, first), H.ld, rwork); }

  Int find(bool right, Int first, Int last, Int k, R eps3, T* v, T*) const {
    Int failed;
    laein(to_logical(right), to_logical(starts_anew), last - first + 1, H.at(first, first), H.ld, w[k], v, work, n,
          rwork, eps3, range.smallest, failed);
    return failed;
  }
};

/// All vectors of selected values. Gives the number of columns that failed.
template <Scalar T, class Iteration>
Int find_selected(const Iteration& iteration, bool from_qr, const VectorSide<T>& left, const VectorSide<T>& right) {
  using R = Real<T>;
  const Matrix<const T> H = iteration.H;
  const auto& w = iteration.w;
  const Int n = iteration.n;
  Int failed = 0, first = 1, last = from_qr ? 0 : n, measured = 0, to = 1;
  R eps3 = 0;
  for (Int k = 1; k <= n; k += w.columns(k)) {
    if (!w.is_selected(k)) continue;
    if (from_qr) {
      Int i = k;
      while (i > first && H(i, i - 1) != T(0)) --i;
      first = i;
      if (k > last) {
        last = k;
        while (last < n && H(last + 1, last) != T(0)) ++last;
      }
    }
    if (measured != first) {
      measured = first;
      // It may be zero, or no number, and it may underflow.
      eps3 = iteration.norm(first, last) * Machine<R>::precision;
      if (!(eps3 > 0)) eps3 = iteration.range.smallest;
    }
    move_apart(w, first, k, eps3);
    const Int columns = w.columns(k), next = to + columns - 1;
    if (left.wanted) {
      const Int info = iteration.find(false, first, n, k, eps3, left.V.at(first, to), left.V.at(first, next));
      failed += left.finish(n, first, n, k, to, columns, info);
    }
    if (right.wanted) {
      const Int info = iteration.find(true, 1, last, k, eps3, right.V.at(1, to), right.V.at(1, next));
      failed += right.finish(n, 1, last, k, to, columns, info);
    }
    to += columns;
  }
  return failed;
}

}  // namespace

template <RealScalar T>
void hsein(char side, char eigsrc, char initv, Logical* select, Int n, const T* h, Int ldh, T* wr, const T* wi, T* vl,
           Int ldvl, T* vr, Int ldvr, Int mm, Int& m, T* work, Int* ifaill, Int* ifailr, Int& info) {
  const IterationOptions options(side, eigsrc, initv);
  const RealSpectrum<T> w{n, wr, wi, select};
  info = check_options(side, eigsrc, initv, n, ldh);
  if (info == 0) {
    m = count_columns(w);
    if (!is_room(options.left, n, ldvl)) info = -11;
    else if (!is_room(options.right, n, ldvr)) info = -13;
    else if (mm < m) info = -14;
  }
  if (info != 0) return report_bad_argument<T>("HSEIN", info);
  if (n == 0) return;

  w.tidy_selection();
  const RealIteration<T> iteration{.H = {h, ldh}, .w = w, .starts_anew = options.starts_anew, .work = work};
  info = find_selected<T>(iteration, options.from_qr, {options.left, {vl, ldvl}, ifaill},
                          {options.right, {vr, ldvr}, ifailr});
}

template <ComplexScalar T>
void hsein(char side, char eigsrc, char initv, const Logical* select, Int n, const T* h, Int ldh, T* w, T* vl, Int ldvl,
           T* vr, Int ldvr, Int mm, Int& m, T* work, Real<T>* rwork, Int* ifaill, Int* ifailr, Int& info) {
  const IterationOptions options(side, eigsrc, initv);
  const ComplexSpectrum<T> values{n, w, select};
  info = check_options(side, eigsrc, initv, n, ldh);
  if (info == 0) {
    m = count_columns(values);
    if (!is_room(options.left, n, ldvl)) info = -10;
    else if (!is_room(options.right, n, ldvr)) info = -12;
    else if (mm < m) info = -13;
  }
  if (info != 0) return report_bad_argument<T>("HSEIN", info);
  if (n == 0) return;

  const ComplexIteration<T> iteration{
      .H = {h, ldh}, .w = values, .starts_anew = options.starts_anew, .work = work, .rwork = rwork};
  info = find_selected<T>(iteration, options.from_qr, {options.left, {vl, ldvl}, ifaill},
                          {options.right, {vr, ldvr}, ifailr});
}

}  // namespace nuv

#include "nonsymmetric/inverse_iteration.entries.inc"
