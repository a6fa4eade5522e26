#include "generalised/older_pencil_drivers.hpp"

#include <algorithm>
#include <cmath>

#include "generalised/pencil_driver_opening.hpp"
#include "generalised/pencil_eigenvectors.hpp"
#include "generalised/pencil_spine.hpp"

namespace nuv {
namespace {

/// gegs in its two members; rwork is for complex ones.
template <Scalar T>
void find_schur_form(const PencilProblem<T>& p, T* work, Int lwork, Real<T>* rwork, Int& info) {
  const std::int64_t least = (RealScalar<T> ? 4 : 2) * std::int64_t{p.n};
  const GivenWorkspace<T> room{work, lwork, behind_values<T>(16), work_size_with_scales<T>(p.n, least)};
  info = check_jobs_and_sizes(p);
  if (!begins(RoutineName<T>("GEGS"), info, room) || p.n == 0) return;
  PencilSpine<T> spine(p, scales_in_workspace(p.n, work, lwork, rwork));
  spine.balance('P');
  info = spine.iterate(true);
  if (info == 0) spine.transform_back();
  spine.unscale_values();
  spine.unscale_matrices();
  room.tell_best();
}

// -------------------------------------------------------------------------------------- eigenvalues, one after another

/// The parts of an eigenvalue, which are scaled by factors of their own and together by any.
template <RealScalar R>
struct Parts {
  R real, imaginary, beta;
};

template <RealScalar T>
Parts<T> parts_of(const PencilValues<T>& values, Int i) {
  return {values.alpha.real[i - 1], values.alpha.imaginary[i - 1], values.beta[i - 1]};
}

template <ComplexScalar T>
Parts<Real<T>> parts_of(const PencilValues<T>& values, Int i) {
  const T alpha = values.alpha.values[i - 1];
  return {alpha.real(), alpha.imag(), values.beta[i - 1].real()};
}

template <RealScalar T>
void set_parts(const PencilValues<T>& values, Int i, const Parts<T>& parts) {
  values.alpha.real[i - 1] = parts.real;
  values.alpha.imaginary[i - 1] = parts.imaginary;
  values.beta[i - 1] = parts.beta;
}

template <ComplexScalar T>
void set_parts(const PencilValues<T>& values, Int i, const Parts<Real<T>>& parts) {
  values.alpha.values[i - 1] = T(parts.real, parts.imaginary);
  values.beta[i - 1] = T(parts.beta);
}

/// A scaling of A and of B taken back from eigenvalues one by one.
template <RealScalar R>
class CarefulUnscaling {
 public:
  CarefulUnscaling(const NormScaling<R>& of_a, const NormScaling<R>& of_b) {
    of_a.undo(1, &alpha_factor_);
    of_b.undo(1, &beta_factor_);
  }

  bool is_needed() const { return alpha_factor_ != 1 || beta_factor_ != 1; }

  /// The eigenvalue without the scaling: times a common factor, if a part that matters beside the others would
  /// underflow without it.
  Parts<R> operator()(const Parts<R>& x) const {
    const R re = std::abs(x.real), im = std::abs(x.imaginary), beta = std::abs(x.beta);
    const Parts<R> plain = times(1, x);
    R factor = std::max({rescue(re, std::max(im, beta), alpha_factor_), rescue(im, std::max(re, beta), alpha_factor_),
                         rescue(beta, std::max(re, im), beta_factor_)});
    const R largest = std::max({std::abs(plain.real), std::abs(plain.imaginary), std::abs(plain.beta)});
    const R product = factor * Machine<R>::safe_min * largest;
    if (product > 1) factor /= product;  // others would overflow
    return factor > 1 ? times(factor, x) : plain;
  }

 private:
  Parts<R> times(R factor, const Parts<R>& x) const {
    return {factor * x.real * alpha_factor_, factor * x.imaginary * alpha_factor_, factor * x.beta * beta_factor_};
  }

  /// The factor with which a part is the least number whose reciprocal is finite, or zero where it needs none.
  static R rescue(R part, R others, R unscaling) {
    const bool matters = part >= std::max(Machine<R>::safe_min, Machine<R>::precision * others);
    return matters && part * unscaling < Machine<R>::safe_min ? Machine<R>::safe_min / unscaling / part : R(0);
  }

  R alpha_factor_ = 1, beta_factor_ = 1;
};

/// Makes the i-th eigenvalue real, and that with which it was a pair.
template <Scalar T>
void part_from_conjugate(const PencilValues<T>& values, Int i, Int n, Real<T> imaginary) {
  if constexpr (RealScalar<T>) {
    if (imaginary > 0 && i < n) values.alpha.imaginary[i] = 0;
    if (imaginary < 0 && i > 1) values.alpha.imaginary[i - 2] = 0;
  }
}

template <Scalar T>
void unscale_one_by_one(const PencilSpine<T>& spine) {
  const CarefulUnscaling<Real<T>> unscaled(spine.scaling_of_a(), spine.scaling_of_b());
  if (!unscaled.is_needed()) return;
  for (Int i = spine.missing() + 1; i <= spine.order(); ++i) {
    const auto scaled = parts_of<T>(spine.values(), i), parts = unscaled(scaled);
    if (parts.imaginary == 0) part_from_conjugate<T>(spine.values(), i, spine.order(), scaled.imaginary);
    set_parts<T>(spine.values(), i, parts);
  }
}

/// gegv in its two members; rwork is for complex ones.
template <Scalar T>
void find_eigenvalues(const PencilProblem<T>& p, T* work, Int lwork, Real<T>* rwork, Int& info) {
  const std::int64_t least = (RealScalar<T> ? 8 : 2) * std::int64_t{p.n};
  const GivenWorkspace<T> room{work, lwork, behind_values<T>(16), work_size_with_scales<T>(p.n, least)};
  info = check_jobs_and_sizes(p);
  if (!begins(RoutineName<T>("GEGV"), info, room) || p.n == 0) return;
  PencilSpine<T> spine(p, scales_in_workspace(p.n, work, lwork, rwork));
  spine.balance('P');
  info = spine.iterate(p.vectors.any());
  if (info == 0 && p.vectors.any()) info = find_eigenvectors(spine);
  unscale_one_by_one(spine);
  room.tell_best();
}

}  // namespace

template <RealScalar T>
void gegs(char jobvsl, char jobvsr, Int n, T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai, T* beta, T* vsl,
          Int ldvsl, T* vsr, Int ldvsr, T* work, Int lwork, Int& info) {
  T* const none = nullptr;
  find_schur_form<T>({jobvsl, jobvsr, n, {a, lda}, {b, ldb}, {{alphar, alphai}, beta}, {vsl, ldvsl}, {vsr, ldvsr}},
                     work, lwork, none, info);
}

template <ComplexScalar T>
void gegs(char jobvsl, char jobvsr, Int n, T* a, Int lda, T* b, Int ldb, T* alpha, T* beta, T* vsl, Int ldvsl, T* vsr,
          Int ldvsr, T* work, Int lwork, Real<T>* rwork, Int& info) {
  find_schur_form<T>({jobvsl, jobvsr, n, {a, lda}, {b, ldb}, {{alpha}, beta}, {vsl, ldvsl}, {vsr, ldvsr}}, work, lwork,
                     rwork, info);
}

template <RealScalar T>
void gegv(char jobvl, char jobvr, Int n, T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai, T* beta, T* vl, Int ldvl,
          T* vr, Int ldvr, T* work, Int lwork, Int& info) {
  T* const none = nullptr;
  find_eigenvalues<T>({jobvl, jobvr, n, {a, lda}, {b, ldb}, {{alphar, alphai}, beta}, {vl, ldvl}, {vr, ldvr}}, work,
                      lwork, none, info);
}

template <ComplexScalar T>
void gegv(char jobvl, char jobvr, Int n, T* a, Int lda, T* b, Int ldb, T* alpha, T* beta, T* vl, Int ldvl, T* vr,
          Int ldvr, T* work, Int lwork, Real<T>* rwork, Int& info) {
  find_eigenvalues<T>({jobvl, jobvr, n, {a, lda}, {b, ldb}, {{alpha}, beta}, {vl, ldvl}, {vr, ldvr}}, work, lwork,
                      rwork, info);
}

}  // namespace nuv

#include "generalised/older_pencil_drivers.entries.inc"
