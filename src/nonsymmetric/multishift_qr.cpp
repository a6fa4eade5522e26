#include "nonsymmetric/multishift_qr.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/matrix_utilities.hpp"
#include "nonsymmetric/double_shift_qr.hpp"
#include "nonsymmetric/early_deflation.hpp"
#include "nonsymmetric/shift_choice.hpp"
#include "nonsymmetric/small_bulge_sweep.hpp"

namespace nuv {
namespace {

/// Iterations without deflation from which on the size of the window is varied, and between exceptional shifts.
constexpr Int patience_with_window = 5, patience_with_shifts = 6;

constexpr Int even(Int count) {
  return count - count % 2;
}

/// The settings of one call.
template <Scalar T>
struct MultishiftSettings {
  Int window;          ///< order of a deflation window to begin with
  Int shifts;          ///< shifts of a sweep
  Int smallest;        ///< largest order for the double-shift iteration
  Int nibble;          ///< per cent of a window: if more deflates, no sweep follows
  Int kacc22;          ///< how a sweep updates what is far from the diagonal
  Int largest_window;  ///< that H and work have room for
  Int most_shifts;

  MultishiftSettings(const RoutineName<T>& name, const HessenbergProblem<T>& problem, Int ilo, Int ihi, Int lwork) {
    const Int n = problem.n;
    const char opts[] = {problem.wantt ? 'S' : 'E', problem.wantz ? 'V' : 'N'};
    const auto ask = [&](Int ispec) { return ilaenv(ispec, name, {opts, 2}, n, ilo, ihi, lwork); };
    window = std::min({ihi - ilo + 1, (n - 1) / 3, std::max(2, ask(13))});
    shifts = std::max(2, even(std::min({ask(15), (n + 6) / 9, ihi - ilo})));
    smallest = std::max(least_multishift_order, ask(12));
    nibble = std::max(0, ask(14));
    kacc22 = std::min(2, std::max(0, ask(16)));
    largest_window = std::min((n - 1) / 3, lwork / 2);
    most_shifts = even(std::min((n + 6) / 9, static_cast<Int>(2 * std::int64_t{lwork} / 3)));
  }
};

/// laqr0, which may recurse, or laqr4, which does not.
template <Scalar T, bool recursive>
class MultishiftIteration {
 public:
  MultishiftIteration(const HessenbergProblem<T>& problem, Int ilo, Int ihi, T* work, Int lwork)
      : problem_(problem),
        settings_(RoutineName<T>(recursive ? "LAQR0" : "LAQR4"), problem, ilo, ihi, lwork),
        H(problem.H),
        n_(problem.n),
        ilo_(ilo),
        ihi_(ihi),
        work_(work),
        lwork_(lwork),
        kbot_(ihi),
        nw_(settings_.window) {}

  /// The best lwork; sets nothing else.
  Int best_workspace() const {
    T answer;
    Int ns = 0, nd = 0;
    call_deflation(ilo_, ihi_, settings_.window + 1, ns, nd, {&answer, -1});
    return std::max(3 * settings_.shifts / 2, truncated(std::real(answer)));
  }

  /// Finds all eigenvalues, from the last on. Returns 0, or the number of the last that it did not find.
  Int run() {
    const Int limit = 30 * std::max(10, ihi_ - ilo_ + 1);
    for (Int it = 1; it <= limit && kbot_ >= ilo_; ++it) {
      ktop_ = find_active_block();
      if (is_lost()) break;
      choose_window();
      Int ns = 0, nd = 0;
      call_deflation(ktop_, kbot_, nw_, ns, nd, {work_, lwork_});
      kbot_ -= nd;
      if (nd == 0 || (100 * nd <= nw_ * settings_.nibble && active() > smallest_order())) sweep(kbot_ - ns + 1);
      fruitless_ = nd > 0 ? 1 : fruitless_ + 1;
    }
    return kbot_ < ilo_ ? 0 : kbot_;
  }

 private:
  struct Work {
    T* data;
    Int size;
  };

  /// The order of the active block.
  Int active() const { return kbot_ - ktop_ + 1; }

  /// The largest order of a block that fits a window and is no matter for sweeps.
  Int smallest_order() const { return std::min(settings_.smallest, settings_.largest_window); }

  Int find_active_block() const {
    Int k = kbot_;
    while (k > ilo_ && H(k, k - 1) != T(0)) --k;
    return k;
  }

  /// Whether the block has become all NaN below the diagonal: it stays so, and never deflates.
  bool is_lost() const {
    for (Int k = ktop_ + 1; k <= kbot_; ++k) {
      if (abs1(H(k, k - 1)) >= 0) return false;
    }
    return ktop_ < kbot_;
  }

  void choose_window() {
    const Int nh = active(), largest = settings_.largest_window;
    if (fruitless_ >= patience_with_window && nh >= nw_) return vary_window(nh);
    may_grow_ = true;
    nw_ = nh <= smallest_order() ? nh : std::min({settings_.window, nh, largest});
    if (nw_ >= largest) return;
    if (nw_ >= nh - 1) {
      nw_ = nh;
    } else {
      const Int kwtop = kbot_ - nw_ + 1;
      if (abs1(H(kwtop, kwtop - 1)) > abs1(H(kwtop - 1, kwtop - 2))) ++nw_;
    }
  }

  void vary_window(Int nh) {
    const Int largest = std::min(settings_.largest_window, nh);
    if (may_grow_ && nw_ < largest) {
      nw_ = std::min(largest, 2 * nw_);
    } else {
      may_grow_ = false;
      if (nw_ == nh && nh > 2) --nw_;
    }
  }

  /// Deflation in a window of order nw, whose scratch is the lower left corner of H:
  ///
  ///         nw          nw
  ///       [            |    ]
  ///       [ WV         |    ]   rows nw + 2 ... n - nw
  ///       [ V  |   F   |    ]   the last nw rows; F in columns nw + 1 ... n - nw - 1
  void call_deflation(Int ktop, Int kbot, Int nw, Int& ns, Int& nd, Work work) const {
    const Int kv = n_ - nw + 1, kt = nw + 1, kwv = nw + 2;
    const Int nho = (n_ - nw - 1) - kt + 1, nve = (n_ - nw) - kwv + 1;
    const auto call = [&](auto deflation) {
      problem_.w.give_to([&](auto*... shifts) {
        deflation(problem_.wantt, problem_.wantz, n_, ktop, kbot, nw, H.data, H.ld, problem_.iloz, problem_.ihiz,
                  problem_.Z.data, problem_.Z.ld, ns, nd, shifts..., H.at(kv, 1), H.ld, nho, H.at(kv, kt), H.ld, nve,
                  H.at(kwv, 1), H.ld, work.data, work.size);
      });
    };
    if constexpr (recursive) {
      call([](auto&&... arguments) { laqr3(arguments...); });
    } else {
      call([](auto&&... arguments) { laqr2(arguments...); });
    }
  }

  // ----------------------------------------------------------------------------------------------------------- sweeps

  /// A sweep with shifts of ks ... kbot, if these are enough.
  void sweep(Int ks) {
    const EigenvalueArray<T>& w = problem_.w;
    Int ns = even(std::min({settings_.most_shifts, settings_.shifts, std::max(2, active() - 1)}));
    if (fruitless_ % patience_with_shifts == 0) {
      ks = kbot_ - ns + 1;
      exceptional_shifts(H, w, ktop_, ks, kbot_);
    } else {
      if (kbot_ - ks + 1 <= ns / 2) ks = shifts_of_trailing_block(ns);
      if (kbot_ - ks + 1 > ns) sort_shifts(w, ks, kbot_);
      if constexpr (RealScalar<T>) pair_shifts(w, ks, kbot_);
    }
    if (kbot_ - ks + 1 == 2 && is_real(kbot_)) take_nearer_shift(w, kbot_, H(kbot_, kbot_));
    ns = even(std::min(ns, kbot_ - ks + 1));
    chase_bulges(kbot_ - ns + 1, ns);
  }

  bool is_real(Int k) const {
    if constexpr (RealScalar<T>) {
      return problem_.w.imaginary[k - 1] == 0;
    } else {
      return true;
    }
  }

  /// Finds the eigenvalues of the last ns rows and columns of the active block, in a copy in the lower left corner of
  /// H. Returns the place of the first.
  Int shifts_of_trailing_block(Int ns) {
    const Int ks = kbot_ - ns + 1;
    const Matrix<T> copy = block(H, n_ - ns + 1, 1);
    lacpy('A', ns, ns, H.at(ks, ks), H.ld, copy.data, copy.ld);
    T no_z{};
    Int failed = 0;
    problem_.w.from(ks).give_to([&](auto*... w) {
      if constexpr (recursive) {
        if (ns > settings_.smallest) {
          return laqr4(false, false, ns, 1, ns, copy.data, copy.ld, w..., 1, 1, &no_z, 1, work_, lwork_, failed);
        }
      }
      lahqr(false, false, ns, 1, ns, copy.data, copy.ld, w..., 1, 1, &no_z, 1, failed);
    });
    if (ks + failed < kbot_) return ks + failed;
    shifts_of_last_pair(H, problem_.w, kbot_);
    return kbot_ - 1;
  }

  /// Chases the bulges of ns shifts, from the ks-th on, through the active block. U and the updates have the lower left
  /// corner of H for scratch:
  ///
  ///         kdu
  ///       [            |     ]
  ///       [ WV         |     ]   rows kdu + 4 ... n - kdu
  ///       [ U  |   WH  |     ]   the last kdu rows; WH in columns kdu + 1 ... n - kdu - 3
  void chase_bulges(Int ks, Int ns) const {
    const Int kdu = 3 * ns - 3, ku = n_ - kdu + 1, kwh = kdu + 1, kwv = kdu + 4;
    const Int nho = (n_ - kdu + 1 - 4) - (kdu + 1) + 1, nve = n_ - kdu - kwv + 1;
    problem_.w.from(ks).give_to([&](auto*... shifts) {
      laqr5(problem_.wantt, problem_.wantz, settings_.kacc22, n_, ktop_, kbot_, ns, shifts..., H.data, H.ld,
            problem_.iloz, problem_.ihiz, problem_.Z.data, problem_.Z.ld, work_, 3, H.at(ku, 1), H.ld, nve,
            H.at(kwv, 1), H.ld, nho, H.at(ku, kwh), H.ld);
    });
  }

  const HessenbergProblem<T>& problem_;
  const MultishiftSettings<T> settings_;
  const Matrix<T> H;
  const Int n_, ilo_, ihi_;
  T* const work_;
  const Int lwork_;
  Int ktop_ = 1, kbot_;  ///< the active block
  Int nw_;               ///< order of the window
  Int fruitless_ = 1;    ///< iterations since the last deflation
  bool may_grow_ = true;
};

template <bool recursive, Scalar T>
void find_schur_form(const HessenbergProblem<T>& problem, Int ilo, Int ihi, T* work, Int lwork, Int& info) {
  info = 0;
  if (problem.n <= least_multishift_order) {
    if (problem.n > 0 && lwork != -1) {
      problem.w.give_to([&](auto*... w) {
        lahqr(problem.wantt, problem.wantz, problem.n, ilo, ihi, problem.H.data, problem.H.ld, w..., problem.iloz,
              problem.ihiz, problem.Z.data, problem.Z.ld, info);
      });
    }
    work[0] = T(1);
    return;
  }
  MultishiftIteration<T, recursive> iteration(problem, ilo, ihi, work, lwork);
  const T best = as_work_size<T>(iteration.best_workspace());
  if (lwork != -1) info = iteration.run();
  work[0] = best;
}

}  // namespace

template <RealScalar T>
void laqr0(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* wr, T* wi, Int iloz, Int ihiz, T* z,
           Int ldz, T* work, Int lwork, Int& info) {
  find_schur_form<true, T>({is_true(wantt), is_true(wantz), n, {h, ldh}, {wr, wi}, iloz, ihiz, {z, ldz}}, ilo, ihi,
                           work, lwork, info);
}

template <ComplexScalar T>
void laqr0(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* w, Int iloz, Int ihiz, T* z,
           Int ldz, T* work, Int lwork, Int& info) {
  find_schur_form<true, T>({is_true(wantt), is_true(wantz), n, {h, ldh}, {w}, iloz, ihiz, {z, ldz}}, ilo, ihi, work,
                           lwork, info);
}

template <RealScalar T>
void laqr4(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* wr, T* wi, Int iloz, Int ihiz, T* z,
           Int ldz, T* work, Int lwork, Int& info) {
  find_schur_form<false, T>({is_true(wantt), is_true(wantz), n, {h, ldh}, {wr, wi}, iloz, ihiz, {z, ldz}}, ilo, ihi,
                            work, lwork, info);
}

template <ComplexScalar T>
void laqr4(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* w, Int iloz, Int ihiz, T* z,
           Int ldz, T* work, Int lwork, Int& info) {
  find_schur_form<false, T>({is_true(wantt), is_true(wantz), n, {h, ldh}, {w}, iloz, ihiz, {z, ldz}}, ilo, ihi, work,
                            lwork, info);
}

}  // namespace nuv

#include "nonsymmetric/multishift_qr.entries.inc"
