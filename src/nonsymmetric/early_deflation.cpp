#include "nonsymmetric/early_deflation.hpp"

#include <algorithm>
#include <cmath>

#include "blas.hpp"
#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/service_math.hpp"
#include "environment/two_by_two.hpp"
#include "nonsymmetric/double_shift_qr.hpp"
#include "nonsymmetric/hessenberg_problem.hpp"
#include "nonsymmetric/hessenberg_reduction.hpp"
#include "nonsymmetric/multishift_qr.hpp"
#include "nonsymmetric/schur_reordering.hpp"
#include "orthogonal/householder.hpp"
#include "orthogonal/q_of_reductions.hpp"

namespace nuv {
namespace {

/// What a window needs beside H.
template <Scalar T>
struct Scratch {
  Matrix<T> V;
  Int nh;
  Matrix<T> F;
  Int nv;
  Matrix<T> WV;
  T* work;
  Int lwork;
};

/// The best lwork for a window of order jw. Arrays are there for the questions alone.
template <Scalar T, bool recursive>
std::int64_t best_workspace(const HessenbergProblem<T>& problem, Int jw, T* any) {
  if (jw <= 2) return 1;
  T reduction, formation, iteration(0);
  Int info = 0;
  gehrd(jw, 1, jw - 1, any, jw, any, &reduction, -1, info);
  orghr(jw, 1, jw - 1, any, jw, any, &formation, -1, info);
  if constexpr (recursive) {
    problem.w.give_to(
        [&](auto*... w) { laqr4(true, true, jw, 1, jw, any, jw, w..., 1, jw, any, jw, &iteration, -1, info); });
  }
  const auto elements = [](T answer) { return truncated(std::real(answer)); };
  return std::int64_t{jw} + std::max({elements(reduction), elements(formation), elements(iteration)});
}

/// Calls update(first, count) for the strips of `width` rows, or columns, into which from ... to are cut.
template <class Update>
void for_strips(Int from, Int to, Int width, Update update) {
  for (Int first = from; first <= to; first += width) update(first, std::min(width, to - first + 1));
}

/// The window, rows and columns kwtop ... kbot of H:
///
///     . | . . . | .     rows ... kwtop - 1
///     s | X X X | .     kwtop ... kbot
///       | X X X | .
///       |   X X | .
///
/// F       a copy of it, then its Schur form V^H X V
/// s       the element beside the window, zero if there is none. V^H makes of it a spike, s times the first row of V
/// failed  rows at the top of F that did not converge
template <Scalar T, bool recursive>
class DeflationWindow {
  using R = Real<T>;

 public:
  DeflationWindow(const HessenbergProblem<T>& problem, Int ktop, Int kbot, Int jw, const Scratch<T>& scratch)
      : problem_(problem),
        scratch_(scratch),
        ktop_(ktop),
        kbot_(kbot),
        jw_(jw),
        kwtop_(kbot - jw + 1),
        smallest_(Machine<R>::safe_min * (R(problem.n) / Machine<R>::precision)),
        H(problem.H),
        V(scratch.V),
        F(scratch.F),
        s_(kwtop_ == ktop ? T(0) : H(kwtop_, kwtop_ - 1)) {}

  void deflate(Int& ns, Int& nd) {
    if (jw_ == 1) return deflate_single(ns, nd);
    find_schur_form();
    ns = collect_spike();
    if (ns == 0) s_ = T(0);
    if (ns < jw_) sort_blocks(ns);
    tell_eigenvalues();
    if (ns < jw_ || s_ == T(0)) put_back(ns);
    nd = jw_ - ns;
    ns -= failed_;
  }

 private:
  /// Whether components of the spike are negligible beside an eigenvalue.
  bool is_negligible(R component, R eigenvalue) const {
    const R scale = eigenvalue == 0 ? abs1(s_) : eigenvalue;
    return component <= std::max(smallest_, Machine<R>::precision * scale);
  }

  void deflate_single(Int& ns, Int& nd) const {
    const T eigenvalue = H(kwtop_, kwtop_);
    problem_.w.set(kwtop_, eigenvalue);
    const bool splits_off = is_negligible(abs1(s_), abs1(eigenvalue));
    ns = splits_off ? 0 : 1;
    nd = 1 - ns;
    if (splits_off && kwtop_ > ktop_) H(kwtop_, kwtop_ - 1) = T(0);
  }

  void find_schur_form() {
    lacpy('U', jw_, jw_, H.at(kwtop_, kwtop_), H.ld, F.data, F.ld);
    blas::copy(jw_ - 1, {H.at(kwtop_ + 1, kwtop_), H.ld + 1}, {F.at(2, 1), F.ld + 1});
    laset('A', jw_, jw_, T(0), T(1), V.data, V.ld);
    problem_.w.from(kwtop_).give_to([&](auto*... w) {
      if constexpr (recursive) {
        if (jw_ > ilaenv(12, RoutineName<T>("LAQR3"), "SV", jw_, 1, jw_, scratch_.lwork)) {
          return laqr4(true, true, jw_, 1, jw_, F.data, F.ld, w..., 1, jw_, V.data, V.ld, scratch_.work, scratch_.lwork,
                       failed_);
        }
      }
      lahqr(true, true, jw_, 1, jw_, F.data, F.ld, w..., 1, jw_, V.data, V.ld, failed_);
    });
    clear_below_subdiagonal();
  }

  void clear_below_subdiagonal() const { laset('L', jw_ - 2, jw_ - 2, T(0), T(0), F.at(3, 1), F.ld); }

  // ---------------------------------------------------------------------------------------- blocks of the Schur form

  /// Whether rows i and i + 1 have a block of order two.
  bool begins_pair(Int i) const { return RealScalar<T> && F(i + 1, i) != T(0); }

  /// The row behind the block that begins in row i, of rows up to `last`.
  Int next_block(Int i, Int last) const { return i < last && begins_pair(i) ? i + 2 : i + 1; }

  /// The magnitude of the eigenvalues of the block that has the rows from i up to, not with, `next`.
  R size_of_block(Int i, Int next) const {
    const R size = abs1(F(i, i));
    if (next == i + 1) return size;
    return size + std::sqrt(abs1(F(i + 1, i))) * std::sqrt(abs1(F(i, i + 1)));
  }

  /// Moves the block of row `from` to row `to`, which becomes the row where it is. False if it stopped on the way,
  /// since a swap would have spoilt eigenvalues.
  bool move_block(Int from, Int& to) const {
    Int info = 0;
    if constexpr (RealScalar<T>) {
      trexc('V', jw_, F.data, F.ld, V.data, V.ld, from, to, scratch_.work, info);
    } else {
      trexc('V', jw_, F.data, F.ld, V.data, V.ld, from, to, info);
    }
    return info == 0;
  }

  /// Moves up the blocks whose components of the spike are not negligible. Returns the number of rows that these and
  /// those have that did not converge.
  Int collect_spike() const {
    Int ns = jw_;
    for (Int top = failed_ + 1; top <= ns;) {
      const Int first = ns > 1 && begins_pair(ns - 1) ? ns - 1 : ns;
      const R component = std::max(spike(ns), spike(first));
      if (is_negligible(component, size_of_block(first, ns + 1))) {
        ns = first - 1;
      } else {
        const Int rows = ns - first + 1;
        move_block(ns, top);
        top += rows;
      }
    }
    return ns;
  }

  R spike(Int i) const {
    if constexpr (RealScalar<T>) {
      return std::abs(s_ * V(1, i));
    } else {
      return abs1(s_) * abs1(V(1, i));
    }
  }

  /// Sorts the blocks down to row ns by falling magnitude, which makes what follows more accurate.
  void sort_blocks(Int ns) const {
    Int end = ns;
    for (bool sorted = false; !sorted;) {
      sorted = true;
      Int i = failed_ + 1;
      for (Int k = next_block(i, end); k <= end; k = next_block(i, end)) {
        if (size_of_block(i, k) >= size_of_block(k, next_block(k, end))) {
          i = k;
        } else {
          sorted = false;
          Int to = k;
          i = move_block(i, to) ? to : k;
        }
      }
      end = i - 1;
    }
  }

  void tell_eigenvalues() const {
    const EigenvalueArray<T> w = problem_.w.from(kwtop_);
    for (Int i = jw_; i > failed_; --i) {
      if constexpr (RealScalar<T>) {
        if (i > failed_ + 1 && begins_pair(i - 1)) {
          R a = F(i - 1, i - 1), b = F(i - 1, i), c = F(i, i - 1), d = F(i, i), cs, sn;
          lanv2(a, b, c, d, w.real[i - 2], w.imaginary[i - 2], w.real[i - 1], w.imaginary[i - 1], cs, sn);
          --i;
          continue;
        }
      }
      w.set(i, F(i, i));
    }
  }

  // ----------------------------------------------------------------------------------------------- back to Hessenberg

  /// Puts the window with its ns components of the spike back into H as a Hessenberg matrix, and multiplies what stands
  /// beside it.
  void put_back(Int ns) const {
    const bool has_spike = ns > 1 && s_ != T(0);
    if (has_spike) reflect_spike(ns);
    if (kwtop_ > 1) H(kwtop_, kwtop_ - 1) = s_ * conjugate(V(1, 1));
    lacpy('U', jw_, jw_, F.data, F.ld, H.at(kwtop_, kwtop_), H.ld);
    blas::copy(jw_ - 1, {F.at(2, 1), F.ld + 1}, {H.at(kwtop_ + 1, kwtop_), H.ld + 1});
    if (has_spike) multiply_by_reduction(ns);
    if (problem_.wantt) update_rows();
    update_columns(H, problem_.wantt ? 1 : ktop_, kwtop_ - 1);
    if (problem_.wantz) update_columns(problem_.Z, problem_.iloz, problem_.ihiz);
  }

  /// Reduces the spike to its first component by a reflector, and the window with it to Hessenberg form.
  void reflect_spike(Int ns) const {
    T *const v = scratch_.work, *const room = v + jw_;
    blas::copy(ns, row(V, 1, 1), {v, 1});
    if constexpr (ComplexScalar<T>) lacgv(ns, v, 1);
    T beta = v[0], tau;
    larfg(ns, beta, v + 1, 1, tau);
    v[0] = T(1);
    clear_below_subdiagonal();
    larf('L', ns, jw_, v, 1, conjugate(tau), F.data, F.ld, room);
    larf('R', ns, ns, v, 1, tau, F.data, F.ld, room);
    larf('R', jw_, ns, v, 1, tau, V.data, V.ld, room);
    Int info = 0;
    gehrd(jw_, 1, ns, F.data, F.ld, v, room, scratch_.lwork - jw_, info);
  }

  /// V := V Q for the Q of that reduction.
  void multiply_by_reduction(Int ns) const {
    const Matrix<T>& WV = scratch_.WV;
    Int info = 0;
    orghr(jw_, 1, ns, F.data, F.ld, scratch_.work, scratch_.work + jw_, scratch_.lwork - jw_, info);
    blas::gemm('N', 'N', jw_, ns, ns, T(1), V, F, T(0), WV);
    lacpy('A', jw_, ns, WV.data, WV.ld, V.data, V.ld);
  }

  /// V^H times what stands to the right of the window.
  void update_rows() const {
    for_strips(kbot_ + 1, problem_.n, scratch_.nh, [&](Int first, Int count) {
      const Matrix<T> strip = block(H, kwtop_, first);
      blas::gemm(adjoint<T>, 'N', jw_, count, jw_, T(1), V, strip, T(0), F);
      lacpy('A', jw_, count, F.data, F.ld, strip.data, strip.ld);
    });
  }

  /// Rows from ... to of A, in the columns of the window, times V.
  void update_columns(Matrix<T> A, Int from, Int to) const {
    const Matrix<T>& WV = scratch_.WV;
    for_strips(from, to, scratch_.nv, [&](Int first, Int count) {
      const Matrix<T> strip = block(A, first, kwtop_);
      blas::gemm('N', 'N', count, jw_, jw_, T(1), strip, V, T(0), WV);
      lacpy('A', count, jw_, WV.data, WV.ld, strip.data, strip.ld);
    });
  }

  const HessenbergProblem<T>& problem_;
  const Scratch<T>& scratch_;
  const Int ktop_, kbot_, jw_, kwtop_;
  const R smallest_;
  const Matrix<T> H, V, F;
  T s_;
  Int failed_ = 0;
};

template <bool recursive, Scalar T>
void deflate_early(const HessenbergProblem<T>& problem, Int ktop, Int kbot, Int nw, Int& ns, Int& nd,
                   const Scratch<T>& scratch) {
  const Int jw = std::min(nw, kbot - ktop + 1);
  const T best = as_work_size<T>(best_workspace<T, recursive>(problem, jw, scratch.work));
  if (scratch.lwork != -1) {
    ns = nd = 0;
    if (jw >= 1) DeflationWindow<T, recursive>(problem, ktop, kbot, jw, scratch).deflate(ns, nd);
  }
  scratch.work[0] = best;
}

}  // namespace

template <RealScalar T>
void laqr3(Logical wantt, Logical wantz, Int n, Int ktop, Int kbot, Int nw, T* h, Int ldh, Int iloz, Int ihiz, T* z,
           Int ldz, Int& ns, Int& nd, T* sr, T* si, T* v, Int ldv, Int nh, T* t, Int ldt, Int nv, T* wv, Int ldwv,
           T* work, Int lwork) {
  deflate_early<true, T>({is_true(wantt), is_true(wantz), n, {h, ldh}, {sr, si}, iloz, ihiz, {z, ldz}}, ktop, kbot, nw,
                         ns, nd, {{v, ldv}, nh, {t, ldt}, nv, {wv, ldwv}, work, lwork});
}

template <ComplexScalar T>
void laqr3(Logical wantt, Logical wantz, Int n, Int ktop, Int kbot, Int nw, T* h, Int ldh, Int iloz, Int ihiz, T* z,
           Int ldz, Int& ns, Int& nd, T* sh, T* v, Int ldv, Int nh, T* t, Int ldt, Int nv, T* wv, Int ldwv, T* work,
           Int lwork) {
  deflate_early<true, T>({is_true(wantt), is_true(wantz), n, {h, ldh}, {sh}, iloz, ihiz, {z, ldz}}, ktop, kbot, nw, ns,
                         nd, {{v, ldv}, nh, {t, ldt}, nv, {wv, ldwv}, work, lwork});
}

template <RealScalar T>
void laqr2(Logical wantt, Logical wantz, Int n, Int ktop, Int kbot, Int nw, T* h, Int ldh, Int iloz, Int ihiz, T* z,
           Int ldz, Int& ns, Int& nd, T* sr, T* si, T* v, Int ldv, Int nh, T* t, Int ldt, Int nv, T* wv, Int ldwv,
           T* work, Int lwork) {
  deflate_early<false, T>({is_true(wantt), is_true(wantz), n, {h, ldh}, {sr, si}, iloz, ihiz, {z, ldz}}, ktop, kbot, nw,
                          ns, nd, {{v, ldv}, nh, {t, ldt}, nv, {wv, ldwv}, work, lwork});
}

template <ComplexScalar T>
void laqr2(Logical wantt, Logical wantz, Int n, Int ktop, Int kbot, Int nw, T* h, Int ldh, Int iloz, Int ihiz, T* z,
           Int ldz, Int& ns, Int& nd, T* sh, T* v, Int ldv, Int nh, T* t, Int ldt, Int nv, T* wv, Int ldwv, T* work,
           Int lwork) {
  deflate_early<false, T>({is_true(wantt), is_true(wantz), n, {h, ldh}, {sh}, iloz, ihiz, {z, ldz}}, ktop, kbot, nw, ns,
                          nd, {{v, ldv}, nh, {t, ldt}, nv, {wv, ldwv}, work, lwork});
}

}  // namespace nuv

#include "nonsymmetric/early_deflation.entries.inc"
