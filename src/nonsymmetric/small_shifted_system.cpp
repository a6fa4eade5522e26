#include "nonsymmetric/small_shifted_system.hpp"

#include <algorithm>
#include <utility>

#include "base/matrix.hpp"
#include "base/quotient.hpp"
#include "environment/abs1.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"

namespace nuv {
namespace {

template <RealScalar R>
constexpr R smallest = 2 * Machine<R>::safe_min;
template <RealScalar R>
constexpr R largest = 1 / smallest<R>;

/// C X = s B with real or complex numbers; X takes the place of B.
template <Scalar U>
struct ShiftedSystem {
  using R = Real<U>;

  U c[2][2], b[2];
  R least_pivot;
  R scale = 1, norm = 0;
  Int perturbed = 0;

  /// Makes B so much smaller that it can be divided by a number of this size, where its own measure is `bound`.
  void make_room(R bound, R divisor) {
    if (!(divisor < 1 && bound > 1 && bound > largest<R> * divisor)) return;
    scale = 1 / bound;
    for (U& element : b) element *= scale;
  }

  void solve_single() {
    U pivot = c[0][0];
    replace_if_small(pivot);
    b[1] = U(0);
    make_room(abs1(b[0]), abs1(pivot));
    b[0] = quotient(b[0], pivot);
    norm = abs1(b[0]);
  }

  void solve_pair() {
    const auto [row, column, size] = largest_element();
    if (size < least_pivot) return divide_by_least_pivot();
    bring_to_front(row, column);
    const U reciprocal = quotient(U(1), c[0][0]), factor = reciprocal * c[1][0];
    U last = c[1][1] - c[0][1] * factor;
    replace_if_small(last);
    b[1] -= factor * b[0];
    make_room(std::max(abs1(b[0]) * (abs1(last) * abs1(reciprocal)), abs1(b[1])), abs1(last));
    b[1] = quotient(b[1], last);
    b[0] = b[0] * reciprocal - b[1] * (reciprocal * c[0][1]);
    if (column == 1) std::swap(b[0], b[1]);
    norm = larger_or_nan(abs1(b[0]), abs1(b[1]));
    bring_product_into_range(size);
  }

 private:
  void replace_if_small(U& pivot) {
    if (!(abs1(pivot) < least_pivot)) return;
    pivot = U(least_pivot);
    perturbed = 1;
  }

  struct Place {
    Int row, column;
    R size;
  };

  /// A NaN counts as the largest.
  Place largest_element() const {
    Place place{0, 0, 0};
    for (Int j = 0; j < 2; ++j) {
      for (Int i = 0; i < 2; ++i) {
        const R size = abs1(c[i][j]);
        if (size > place.size || size != size) place = {i, j, size};
      }
    }
    return place;
  }

  void bring_to_front(Int row, Int column) {
    if (row == 1) {
      std::swap(c[0], c[1]);
      std::swap(b[0], b[1]);
    }
    if (column == 1) {
      for (auto& elements : c) std::swap(elements[0], elements[1]);
    }
  }

  /// The solution where no element of C counts: it is taken for a multiple of the identity.
  void divide_by_least_pivot() {
    const R bound = larger_or_nan(abs1(b[0]), abs1(b[1]));
    make_room(bound, least_pivot);
    for (U& element : b) element *= 1 / least_pivot;
    norm = larger_or_nan(abs1(b[0]), abs1(b[1]));
    perturbed = 1;
  }

  /// Products of C with X are let stand up to the limit, where neither is small.
  void bring_product_into_range(R size) {
    if (!(norm > 1 && size > 1 && norm > largest<R> / size)) return;
    const R factor = size / largest<R>;
    for (U& element : b) element *= factor;
    norm *= factor;
    scale *= factor;
  }
};

}  // namespace

template <RealScalar T>
void laln2(Logical ltrans, Int na, Int nw, T smin, T ca, const T* a, Int lda, T d1, T d2, const T* b, Int ldb, T wr,
           T wi, T* x, Int ldx, T& scale, T& xnorm, Int& info) {
  const bool transposed = is_true(ltrans);
  const Matrix A{a, lda}, B{b, ldb};
  const Matrix X{x, ldx};

  const auto solve = [&]<Scalar U>(U w, auto element, auto store) {
    ShiftedSystem<U> system{.c = {}, .b = {}, .least_pivot = std::max(smin, smallest<T>)};
    system.c[0][0] = ca * A(1, 1) - w * d1;
    system.b[0] = element(1);
    if (na == 1) {
      system.solve_single();
    } else {
      system.c[0][1] = ca * (transposed ? A(2, 1) : A(1, 2));
      system.c[1][0] = ca * (transposed ? A(1, 2) : A(2, 1));
      system.c[1][1] = ca * A(2, 2) - w * d2;
      system.b[1] = element(2);
      system.solve_pair();
    }
    for (Int i = 1; i <= na; ++i) store(i, system.b[i - 1]);
    scale = system.scale;
    xnorm = system.norm;
    info = system.perturbed;
  };
  if (nw == 1) {
    solve(
        wr, [&](Int i) { return B(i, 1); }, [&](Int i, T value) { X(i, 1) = value; });
  } else {
    using C = std::complex<T>;
    solve(
        C(wr, wi), [&](Int i) { return C(B(i, 1), B(i, 2)); },
        [&](Int i, C value) {
          X(i, 1) = value.real();
          X(i, 2) = value.imag();
        });
  }
}

}  // namespace nuv

#include "nonsymmetric/small_shifted_system.entries.inc"
