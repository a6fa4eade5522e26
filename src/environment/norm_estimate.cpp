#include "environment/norm_estimate.hpp"

#include <algorithm>

#include "blas.hpp"
#include "environment/complex_magnitudes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "environment/service_math.hpp"

namespace nuv {
namespace {

/// What real and complex vectors do differently: their one-norm, their largest element, and the step to the vector of
/// signs, which tells whether the signs are those of the round before.
template <RealScalar T>
struct RealVectors {
  Int* isgn;

  static T norm(Int n, const T* x) { return blas::asum(n, {x, 1}); }
  static Int largest(Int n, const T* x) { return blas::iamax(n, {x, 1}); }
  static T signed_largest(T x) { return x; }

  bool has_same_signs(Int n, const T* x) const {
    for (Int i = 0; i < n; ++i) {
      if (truncated(sign(T(1), x[i])) != isgn[i]) return false;
    }
    return true;
  }

  void take_signs(Int n, T* x) const {
    for (Int i = 0; i < n; ++i) {
      x[i] = sign(T(1), x[i]);
      isgn[i] = truncated(x[i]);
    }
  }
};

template <ComplexScalar T>
struct ComplexVectors {
  static Real<T> norm(Int n, const T* x) { return sum1(n, x, 1); }
  static Int largest(Int n, const T* x) { return imax1(n, x, 1); }
  static Real<T> signed_largest(T x) { return magnitude(x); }

  static bool has_same_signs(Int, const T*) { return false; }

  static void take_signs(Int n, T* x) {
    for (Int i = 0; i < n; ++i) {
      const Real<T> a = magnitude(x[i]);
      x[i] = a > Machine<Real<T>>::safe_min ? T(x[i].real() / a, x[i].imag() / a) : T(1);
    }
  }
};

struct State {
  Int& jump;
  Int& j;
  Int& iter;
};

constexpr Int most_rounds = 5;

template <Scalar T, class Vectors>
class Estimator {
  using R = Real<T>;

 public:
  Estimator(Vectors vectors, Int n, T* v, T* x, R& est, Int& kase, State state)
      : vectors_(vectors), n_(n), v_(v), x_(x), est_(est), kase_(kase), state_(state) {}

  void resume() {
    if (kase_ == 0) return start();
    switch (state_.jump) {
      case 2:
        return after_first_transposed_product();
      case 3:
        return after_product();
      case 4:
        return after_transposed_product();
      case 5:
        return after_last_product();
      default:
        return after_first_product();
    }
  }

 private:
  void ask_for(Int kase, Int jump) {
    kase_ = kase;
    state_.jump = jump;
  }

  void start() {
    std::fill_n(x_, n_, T(1 / static_cast<R>(n_)));
    ask_for(1, 1);
  }

  void after_first_product() {
    if (n_ == 1) {
      v_[0] = x_[0];
      est_ = magnitude(v_[0]);
      kase_ = 0;
      return;
    }
    est_ = vectors_.norm(n_, x_);
    vectors_.take_signs(n_, x_);
    ask_for(2, 2);
  }

  void after_first_transposed_product() {
    state_.j = vectors_.largest(n_, x_);
    state_.iter = 2;
    try_unit_vector();
  }

  void try_unit_vector() {
    std::fill_n(x_, n_, T(0));
    x_[state_.j - 1] = T(1);
    ask_for(1, 3);
  }

  void after_product() {
    blas::copy(n_, Vector{x_, 1}, Vector{v_, 1});
    const R last_estimate = est_;
    est_ = vectors_.norm(n_, v_);
    if (vectors_.has_same_signs(n_, x_) || est_ <= last_estimate) return try_alternating_vector();
    vectors_.take_signs(n_, x_);
    ask_for(2, 4);
  }

  void after_transposed_product() {
    const Int last = state_.j;
    state_.j = vectors_.largest(n_, x_);
    if (vectors_.signed_largest(x_[last - 1]) == magnitude(x_[state_.j - 1]) || state_.iter >= most_rounds) {
      return try_alternating_vector();
    }
    ++state_.iter;
    try_unit_vector();
  }

  /// Matrices with massive cancellation deceive the rounds above, and seldom this vector.
  void try_alternating_vector() {
    R alternating = 1;
    for (Int i = 0; i < n_; ++i) {
      x_[i] = T(alternating * (1 + static_cast<R>(i) / static_cast<R>(n_ - 1)));
      alternating = negated(alternating);
    }
    ask_for(1, 5);
  }

  void after_last_product() {
    const R estimate = 2 * (vectors_.norm(n_, x_) / static_cast<R>(3 * std::int64_t{n_}));
    if (estimate > est_) {
      blas::copy(n_, Vector{x_, 1}, Vector{v_, 1});
      est_ = estimate;
    }
    kase_ = 0;
  }

  Vectors vectors_;
  Int n_;
  T* v_;
  T* x_;
  R& est_;
  Int& kase_;
  State state_;
};

/// The state of the conversation that the whole process shares, for one precision.
template <Scalar T>
struct Shared {
  static constinit Int jump, j, iter;
};
template <Scalar T>
constinit Int Shared<T>::jump = 0;
template <Scalar T>
constinit Int Shared<T>::j = 0;
template <Scalar T>
constinit Int Shared<T>::iter = 0;

}  // namespace

template <RealScalar T>
void lacon_internal(Int n, T* v, T* x, Int* isgn, T& est, Int& kase, Int& jump, Int& j, Int& iter) {
  Estimator(RealVectors<T>{isgn}, n, v, x, est, kase, {jump, j, iter}).resume();
}

template <ComplexScalar T>
void lacon_internal(Int n, T* v, T* x, Real<T>& est, Int& kase, Int& jump, Int& j, Int& iter) {
  Estimator(ComplexVectors<T>{}, n, v, x, est, kase, {jump, j, iter}).resume();
}

template <RealScalar T>
void lacn2(Int n, T* v, T* x, Int* isgn, T& est, Int& kase, Int* isave) {
  lacon_internal(n, v, x, isgn, est, kase, isave[0], isave[1], isave[2]);
}

template <ComplexScalar T>
void lacn2(Int n, T* v, T* x, Real<T>& est, Int& kase, Int* isave) {
  lacon_internal(n, v, x, est, kase, isave[0], isave[1], isave[2]);
}

template <RealScalar T>
void lacon(Int n, T* v, T* x, Int* isgn, T& est, Int& kase) {
  lacon_internal(n, v, x, isgn, est, kase, Shared<T>::jump, Shared<T>::j, Shared<T>::iter);
}

template <ComplexScalar T>
void lacon(Int n, T* v, T* x, Real<T>& est, Int& kase) {
  lacon_internal(n, v, x, est, kase, Shared<T>::jump, Shared<T>::j, Shared<T>::iter);
}

}  // namespace nuv

#include "environment/norm_estimate.entries.inc"
