#pragma once

// The method of refinement and of error bounds, over a storage form. A form is a type with
//
//     solve(trans, x)                 x := op(A)^-1 x by the factors
//
// beside the products of stored_products.hpp.

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/extremes.hpp"
#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "frame/option_matching.hpp"
#include "solvers/absolute_products.hpp"
#include "solvers/inverse_norm.hpp"

namespace nuv {

/// A storage form with the solve from its factors.
template <class Product, class Solve>
struct Factored : Product {
  Solve solve;
};
template <class Product, class Solve>
Factored(Product, Solve) -> Factored<Product, Solve>;

/// The workspace of bounds, n elements each.
template <Scalar T>
struct BoundsSpace {
  Real<T>* weights;       ///< |b| + |op(A)| |x|, then the bound of what the residual may be
  T* residual;            ///< and the estimator's x
  T* v;                   ///< of the estimator
  SecondWork<T>* signs;  ///< of the estimator in the real precisions

  BoundsSpace(Int n, T* work, SecondWork<T>* second)
      : weights(real_work(work, second)), residual(RealScalar<T> ? work + n : work), v(residual + n), signs(second) {}
};

template <Scalar T, class Form>
class ErrorBounds {
  using R = Real<T>;

 public:
  ErrorBounds(const Form& form, char trans, BoundsSpace<T> space)
      : form_(form), n_(form.order()), trans_(trans), space_(space) {}

  /// Leaves the residual and the weights.
  R backward_error(const T* b, const T* x) const {
    R *const weights = space_.weights, error = 0;
    form_.residual(trans_, b, x, space_.residual);
    for (Int i = 0; i < n_; ++i) weights[i] = abs1(b[i]);
    form_.add_magnitudes(trans_, x, weights);
    for (Int i = 0; i < n_; ++i) {
      const R residual = abs1(space_.residual[i]);
      const R ratio = weights[i] > safe2() ? residual / weights[i] : (residual + safe1()) / (weights[i] + safe1());
      error = larger_or_nan(error, ratio);
    }
    return error;
  }

  /// Improves x while that pays, and gives its backward error.
  R refine(const T* b, T* x) const {
    constexpr int most_steps = 5;
    R last = 3;
    for (int step = 1;; ++step) {
      const R error = backward_error(b, x);
      if (!(error > Machine<R>::eps && 2 * error <= last && step <= most_steps)) return error;
      form_.solve(trans_, space_.residual);
      blas::axpy(n_, T(1), {space_.residual, 1}, Vector{x, 1});
      last = error;
    }
  }

  /// The bound for x, whose residual and weights are there: the largest element of |op(A)^-1| w, with w the magnitude of
  /// the residual and of what rounding did to it, is the norm of op(A)^-1 diag(w).
  R forward_error(const T* x) const {
    weigh_rounding();
    const bool is_transposed = !same_letter(trans_, 'N');
    const char direct = is_transposed ? adjoint<T> : 'N', opposite = is_transposed ? 'N' : adjoint<T>;
    R estimate;
    estimate_norm(n_, space_.residual, space_.v, space_.signs, estimate, [&](bool is_adjoint) {
      if (is_adjoint) multiply_by_weights();
      form_.solve(is_adjoint ? direct : opposite, space_.residual);
      if (!is_adjoint) multiply_by_weights();
      return true;
    });
    return relative_to_largest(estimate, x);
  }

  /// Turns the weights into a bound of the residual: itself and the rounding errors made in computing it.
  void weigh_rounding() const {
    R* const weights = space_.weights;
    for (Int i = 0; i < n_; ++i) {
      const R rounding = terms() * Machine<R>::eps * weights[i];
      weights[i] = abs1(space_.residual[i]) + rounding + (weights[i] > safe2() ? R(0) : safe1());
    }
  }

  R relative_to_largest(R error, const T* x) const {
    R largest = 0;
    for (Int i = 0; i < n_; ++i) largest = larger_or_nan(largest, abs1(x[i]));
    return largest != 0 ? error / largest : error;
  }

 private:
  R terms() const { return static_cast<R>(form_.most_terms()); }

  /// What is added to a quotient of numbers so small that they may have lost digits, and the limit of such numbers.
  R safe1() const { return terms() * Machine<R>::safe_min; }
  R safe2() const { return safe1() / Machine<R>::eps; }

  void multiply_by_weights() const {
    for (Int i = 0; i < n_; ++i) space_.residual[i] *= space_.weights[i];
  }

  const Form& form_;
  Int n_;
  char trans_;
  BoundsSpace<T> space_;
};

/// The systems of one call.
template <Scalar T, class Solutions = T>
struct RightHandSides {
  Int n;
  Int nrhs;
  Matrix<const T> B;
  Matrix<Solutions> X;
  Real<T>* ferr;
  Real<T>* berr;

  /// Calls visit(b, x, ferr, berr) for each, or sets all bounds to zero where there is nothing to do.
  template <class Visit>
  void for_each(Visit visit) const {
    if (n == 0) {
      std::fill_n(ferr, std::max(nrhs, 0), Real<T>(0));
      std::fill_n(berr, std::max(nrhs, 0), Real<T>(0));
      return;
    }
    for (Int j = 1; j <= nrhs; ++j) visit(B.at(1, j), X.at(1, j), ferr[j - 1], berr[j - 1]);
  }
};

/// Refines all solutions and bounds their errors.
template <Scalar T, class Form>
void refine(const Form& form, char trans, const RightHandSides<T>& systems, T* work, SecondWork<T>* second) {
  const ErrorBounds<T, Form> bounds(form, trans, {systems.n, work, second});
  systems.for_each([&](const T* b, T* x, Real<T>& ferr, Real<T>& berr) {
    berr = bounds.refine(b, x);
    ferr = bounds.forward_error(x);
  });
}

/// Bounds the errors of solutions as they are.
template <Scalar T, class Form>
void bound_errors(const Form& form, char trans, const RightHandSides<T, const T>& systems, T* work,
                  SecondWork<T>* second) {
  const ErrorBounds<T, Form> bounds(form, trans, {systems.n, work, second});
  systems.for_each([&](const T* b, const T* x, Real<T>& ferr, Real<T>& berr) {
    berr = bounds.backward_error(b, x);
    ferr = bounds.forward_error(x);
  });
}

}  // namespace nuv
