#pragma once

// Reflectors in a wider type, one after another, for the tests of the blocked forms.

#include <cmath>

#include "orthogonal/by_form.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {

template <Scalar T>
inline constexpr char adjoint_letter = ComplexScalar<T> ? 'C' : 'T';

/// (I - tau v v^H) X
template <Scalar T>
void reflect(const WideMatrix<T>& v, Wide<T> tau, WideMatrix<T>& X) {
  for (Eigen::Index j = 0; j < X.cols(); ++j) X.col(j) -= (tau * v.col(0).dot(X.col(j))) * v.col(0);
}

/// Applies a random reflector to a random matrix by apply(v, tau, C, work): H C or C H. Gives the largest error of an
/// element in units of what its terms allow; the guards must stay.
template <Scalar T, class Apply>
double error_of_reflection(Random& random, bool left, Int m, Int n, Int inc, Apply apply) {
  const GuardedMatrix<T> C = random_matrix<T>(random, m, n, m + random.integer(0, 4));
  const GuardedVector<T> v = random_vector<T>(random, left ? m : n, inc);
  const T tau = random.scalar<T>();
  GuardedMatrix<T> result = C;
  GuardedVector<T> work(left ? n : m);
  apply(v, tau, Matrix<T>(result), work.data());
  EXPECT_TRUE(result.guards_unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(v.unchanged());

  Sum<T> expected(m, n);
  expected.add(T(1), wide(C));
  const WideMatrix<T> outer_product = product<T>(wide(v), wide(v).adjoint());
  if (left) {
    expected.add(negated(tau), outer_product, wide(C));
  } else {
    expected.add(negated(tau), wide(C), outer_product);
  }
  return expected.error_of(wide(result));
}

/// Where element e of reflector i stands.
struct Place {
  Int row, column;
};
inline Place place_of(const Form& form, Int e, Int i) {
  return form.columnwise() ? Place{e, i} : Place{i, e};
}

/// Element of reflector i of k, of order n, that is one and not stored.
inline Int unit_element(const Form& form, Int n, Int k, Int i) {
  return form.forward() ? i : n - k + i;
}

/// The vectors of the reflectors in storage, n by k, with their unit elements and zeros.
template <Scalar T>
WideMatrix<T> vectors_in(const Form& form, Int n, Int k, const GuardedMatrix<T>& V, Int row = 1, Int column = 1) {
  WideMatrix<T> vectors = WideMatrix<T>::Zero(n, k);
  for (Int i = 1; i <= k; ++i) {
    const Int unit = unit_element(form, n, k, i);
    vectors(unit - 1, i - 1) = 1;
    for (Int e = form.forward() ? unit + 1 : 1; e <= (form.forward() ? n : unit - 1); ++e) {
      const Place place = place_of(form, e, i);
      const T element = V(row - 1 + place.row, column - 1 + place.column);
      vectors(e - 1, i - 1) = wide(form.columnwise() ? element : conjugate(element));
    }
  }
  return vectors;
}

/// H X or H^H X for the product H of reflectors.
template <Scalar T>
WideMatrix<T> apply(const Form& form, bool adjoint_of_h, const WideMatrix<T>& vectors, const GuardedVector<T>& tau,
                    WideMatrix<T> X) {
  const Int k = tau.size();
  for (Int step = 1; step <= k; ++step) {
    // H = H1 ... Hk forward, H = Hk ... H1 backward; the last factor meets X first.
    const Int i = form.forward() == adjoint_of_h ? step : k + 1 - step;
    const Wide<T> factor = wide(tau(i));
    reflect<T>(vectors.col(i - 1), adjoint_of_h ? Wide<T>(Eigen::numext::conj(factor)) : factor, X);
  }
  return X;
}

/// Scalar factors with which reflectors of these vectors are unitary.
template <Scalar T>
GuardedVector<T> unitary_factors(Random& random, const WideMatrix<T>& vectors) {
  const Int k = Int(vectors.cols());
  GuardedVector<T> tau(k);
  for (Int i = 1; i <= k; ++i) {
    const auto square = Real<T>(vectors.col(i - 1).squaredNorm());
    if constexpr (ComplexScalar<T>) {
      tau(i) = (T(1) + std::polar(Real<T>(1), Real<T>(2 * random.real()))) / square;
    } else {
      tau(i) = 2 / square;
    }
  }
  tau.seal();
  return tau;
}

/// A block of k unitary reflectors of order n. Whatever does not belong to it holds guards.
template <Scalar T>
struct ReflectorBlock {
  Form form;
  Int n, k;
  GuardedMatrix<T> V;
  GuardedVector<T> tau;

  ReflectorBlock(Random& random, Form form_, Int n_, Int k_)
      : form(form_),
        n(n_),
        k(k_),
        V(form.columnwise() ? n : k, form.columnwise() ? k : n, (form.columnwise() ? n : k) + 3),
        tau(k) {
    const auto size = Real<T>(1 / std::sqrt(double(n)));
    for (Int i = 1; i <= k; ++i) {
      const Int unit = unit_element(form, n, k, i);
      for (Int e = form.forward() ? unit + 1 : 1; e <= (form.forward() ? n : unit - 1); ++e) {
        const Place place = place_of(form, e, i);
        V(place.row, place.column) = size * random.scalar<T>();
      }
    }
    V.seal();
    tau = unitary_factors<T>(random, vectors());
  }

  WideMatrix<T> vectors() const { return vectors_in(form, n, k, V); }

  /// H X or H^H X
  WideMatrix<T> times(bool adjoint_of_h, const WideMatrix<T>& X) const {
    return apply(form, adjoint_of_h, vectors(), tau, X);
  }
};

/// ||A - B|| / (||B|| n eps)
template <Scalar T>
double relative_distance(const WideMatrix<T>& A, const WideMatrix<T>& B, Int n) {
  const double distance = one_norm<T>(WideMatrix<T>(A - B));
  return distance == 0 ? 0 : distance / (one_norm<T>(B) * std::max(n, 1) * epsilon<T>);
}

/// Whether (i, j) lies in the triangle of the factor T of a block.
inline bool in_triangle(const Form& form, Int i, Int j) {
  return form.forward() ? i <= j : i >= j;
}

/// The triangular factor with zeros beside it.
template <Scalar T>
WideMatrix<T> wide_factor(const Form& form, const GuardedMatrix<T>& t) {
  return wide_triangle(t, form.forward(), false);
}

template <Scalar T>
WideMatrix<T> random_wide(Random& random, Int m, Int n) {
  return WideMatrix<T>::NullaryExpr(m, n, [&] { return wide(random.scalar<T>()); });
}

/// Threshold for errors in units of their natural size.
inline constexpr double threshold = 10;

}  // namespace nuv::test
