#include "nonsymmetric/hessenberg_qr.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/double_shift_qr.hpp"
#include "nonsymmetric/hessenberg_problem.hpp"
#include "nonsymmetric/multishift_qr.hpp"

namespace nuv {
namespace {

/// The least order at which laqr0 has room below the subdiagonal for windows and sweeps of some use. Smaller matrices
/// on which the iteration failed become part of one of this order.
constexpr Int rescue_order = 49;

/// The arguments of hseqr.
template <Scalar T>
struct Arguments {
  char job, compz;
  Int ilo, ihi;
  HessenbergProblem<T> problem;
  T* work;
  Int lwork;

  /// 0, or minus the position of the first bad argument.
  Int check() const {
    // Behind the eigenvalues, which are one array less in the complex members.
    constexpr Int shift = ComplexScalar<T> ? 1 : 0;
    const Int n = problem.n, least = std::max(1, n);
    if (!is_one_of(job, 'E', 'S')) return -1;
    if (!is_one_of(compz, 'N', 'I', 'V')) return -2;
    if (n < 0) return -3;
    if (ilo < 1 || ilo > least) return -4;
    if (ihi < std::min(ilo, n) || ihi > n) return -5;
    if (problem.H.ld < least) return -7;
    if (problem.Z.ld < 1 || (problem.wantz && problem.Z.ld < least)) return -11 + shift;
    if (lwork < least && lwork != -1) return -13 + shift;
    return 0;
  }
};

template <Scalar T>
void iterate_multishift(const HessenbergProblem<T>& p, Int ilo, Int ihi, T* work, Int lwork, Int& info) {
  p.w.give_to([&](auto*... w) {
    laqr0(p.wantt, p.wantz, p.n, ilo, ihi, p.H.data, p.H.ld, w..., p.iloz, p.ihiz, p.Z.data, p.Z.ld, work, lwork, info);
  });
}

/// Eigenvalues where the matrix is triangular.
template <Scalar T>
void take_diagonal(const HessenbergProblem<T>& p, Int from, Int to) {
  for (Int i = from; i <= to; ++i) p.w.set(i, p.H(i, i));
}

/// Goes on with rows and columns ilo ... kbot of a matrix that is too small, in the first rows and columns of one that
/// has zeros behind them.
template <Scalar T>
void rescue_in_larger_matrix(const HessenbergProblem<T>& p, Int ilo, Int kbot, Int& info) {
  T hl[rescue_order * rescue_order], workl[rescue_order];
  HessenbergProblem<T> larger = p;
  larger.n = rescue_order;
  larger.H = {hl, rescue_order};
  lacpy('A', p.n, p.n, p.H.data, p.H.ld, hl, rescue_order);
  larger.H(p.n + 1, p.n) = T(0);
  laset('A', rescue_order, rescue_order - p.n, T(0), T(0), larger.H.at(1, p.n + 1), rescue_order);
  iterate_multishift(larger, ilo, kbot, workl, rescue_order, info);
  if (p.wantt || info != 0) lacpy('A', p.n, p.n, hl, rescue_order, p.H.data, p.H.ld);
}

/// The iteration for small matrices, with the other one for what it can't do.
template <Scalar T>
void iterate_small(const Arguments<T>& a, Int& info) {
  const HessenbergProblem<T>& p = a.problem;
  p.w.give_to([&](auto*... w) {
    lahqr(p.wantt, p.wantz, p.n, a.ilo, a.ihi, p.H.data, p.H.ld, w..., p.iloz, p.ihiz, p.Z.data, p.Z.ld, info);
  });
  if (info <= 0) return;
  const Int kbot = info;
  if (p.n >= rescue_order) {
    iterate_multishift(p, a.ilo, kbot, a.work, a.lwork, info);
  } else {
    rescue_in_larger_matrix(p, a.ilo, kbot, info);
  }
}

template <Scalar T>
void find_eigenvalues(const Arguments<T>& a, Int& info) {
  const HessenbergProblem<T>& p = a.problem;
  const Int n = p.n;
  take_diagonal(p, 1, a.ilo - 1);
  take_diagonal(p, a.ihi + 1, n);
  if (same_letter(a.compz, 'I')) laset('A', n, n, T(0), T(1), p.Z.data, p.Z.ld);
  if (a.ilo == a.ihi) return take_diagonal(p, a.ilo, a.ilo);

  const char opts[] = {a.job, a.compz};
  const Int nmin = ilaenv(12, RoutineName<T>("HSEQR"), {opts, 2}, n, a.ilo, a.ihi, a.lwork);
  if (n > std::max(least_multishift_order, nmin)) {
    iterate_multishift(p, a.ilo, a.ihi, a.work, a.lwork, info);
  } else {
    iterate_small(a, info);
  }
  if ((p.wantt || info != 0) && n > 2) laset('L', n - 2, n - 2, T(0), T(0), p.H.at(3, 1), p.H.ld);
}

template <Scalar T>
void solve(const Arguments<T>& a, Int& info) {
  const Int least = std::max(1, a.problem.n);
  a.work[0] = as_work_size<T>(least);
  info = a.check();
  if (info != 0) return report_bad_argument<T>("HSEQR", info);
  if (a.problem.n == 0) return;
  if (a.lwork == -1) {
    iterate_multishift(a.problem, a.ilo, a.ihi, a.work, a.lwork, info);
  } else {
    find_eigenvalues(a, info);
  }
  a.work[0] = T(std::max(Real<T>(least), std::real(a.work[0])));
}

}  // namespace

template <RealScalar T>
void hseqr(char job, char compz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* wr, T* wi, T* z, Int ldz, T* work,
           Int lwork, Int& info) {
  const bool wantt = same_letter(job, 'S'), wantz = is_one_of(compz, 'I', 'V');
  solve<T>({job, compz, ilo, ihi, {wantt, wantz, n, {h, ldh}, {wr, wi}, ilo, ihi, {z, ldz}}, work, lwork}, info);
}

template <ComplexScalar T>
void hseqr(char job, char compz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* w, T* z, Int ldz, T* work, Int lwork,
           Int& info) {
  const bool wantt = same_letter(job, 'S'), wantz = is_one_of(compz, 'I', 'V');
  solve<T>({job, compz, ilo, ihi, {wantt, wantz, n, {h, ldh}, {w}, ilo, ihi, {z, ldz}}, work, lwork}, info);
}

}  // namespace nuv

#include "nonsymmetric/hessenberg_qr.entries.inc"
