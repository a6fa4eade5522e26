#pragma once

// A generalised Schur form of which a routine makes another one.

#include "generalised/pencil_checks.hpp"

namespace nuv::test {

/// A form with the Q and Z that belong to it, before and after.
template <Scalar T>
struct TurnedPencil {
  Int n, info = 99;
  Pencil<T> form, before;
  GuardedMatrix<T> Q, Z, before_q, before_z;

  TurnedPencil(const Pencil<T>& pencil, Random& random)
      : n(pencil.A.rows()),
        form(pencil),
        before(pencil),
        Q(random_unitary<T>(random, n, n + 1)),
        Z(random_unitary<T>(random, n, n + 2)),
        before_q(Q),
        before_z(Z) {
    seal();
  }

  /// Takes the form for the one before.
  void seal() {
    form.A.seal();
    form.B.seal();
    before = form;
  }

  bool is_untouched() const {
    return form.A.same_as(before.A) && form.B.same_as(before.B) && Q.same_as(before_q) && Z.same_as(before_z);
  }

  /// Both are of the same pencil, with unitary Q and Z.
  void expect_same_pencil() const {
    EXPECT_TRUE(form.A.guards_unchanged() && form.B.guards_unchanged());
    EXPECT_TRUE(Q.guards_unchanged() && Z.guards_unchanged());
    EXPECT_LT(unitary_residual(Q), pencil_threshold);
    EXPECT_LT(unitary_residual(Z), pencil_threshold);
    const auto residual = [&](const GuardedMatrix<T>& was, const GuardedMatrix<T>& is) {
      const WideMatrix<T> full = product<T>(wide(before_q), product<T>(wide(was), wide(before_z).adjoint()));
      return pencil_residual<T>(full, wide(Q), wide(is), wide(Z));
    };
    EXPECT_LT(residual(before.A, form.A), pencil_threshold);
    EXPECT_LT(residual(before.B, form.B), pencil_threshold);
  }
};

}  // namespace nuv::test
