// Reflectors whose elements lie more than 2^31 elements apart: each routine is to give the bits that it gives for the
// same arrays stored close together. Needs 64-bit addresses.

#include "layer.hpp"
#include "orthogonal/factored.hpp"
#include "support/far_matrix.hpp"
#include "support/options.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <class T>
class FarReflectors : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(Int m, Int n) { return random_matrix<T>(random, m, n, m); }

  Random random{91};
};
TYPED_TEST_SUITE(FarReflectors, Precisions, PrecisionLetter);

TYPED_TEST(FarReflectors, AreApplied) {
  using T = TypeParam;
  // Order 12: a vector whose last element is far, stored from either end.
  constexpr Int order = 12, other = 9, inc = Int(far / (order - 1) + 1);
  const T tau = this->random.template scalar<T>();
  for (const char side : sides) {
    for (const Int direction : {1, -1}) {
      const GuardedVector<T> v = random_vector<T>(this->random, order, direction);
      SparseArray<T> far_v(std::size_t(order - 1) * inc + 1);
      for (Int i = 0; i < order; ++i) far_v.data()[std::ptrdiff_t{i} * inc] = v.data()[i];
      GuardedMatrix<T> C = is_left(side) ? this->matrix(order, other) : this->matrix(other, order);
      FarMatrix<T> far_C(C);
      GuardedVector<T> work(other), far_work(other);
      routine_call::larf(side, C.rows(), C.columns(), v, tau, C, work.data());
      routine_call::larf(side, C.rows(), C.columns(), {far_v.data(), direction * inc}, tau, far_C, far_work.data());
      EXPECT_FALSE(C.unchanged());
      far_C.expect_same_as(C);
      EXPECT_TRUE(far_work.same_as(work));
    }
  }
}

/// Sizes at which the factor is made by more than one block.
constexpr Int order = 41, reflectors = 35, others = 5;

TYPED_TEST(FarReflectors, HaveAFactor) {
  using T = TypeParam;
  for (const Form& form : forms) {
    SCOPED_TRACE(to_string(form));
    const ReflectorBlock<T> block(this->random, form, order, reflectors);
    FarMatrix<T> far_V(block.V);
    GuardedMatrix<T> t(reflectors, reflectors, reflectors);
    FarMatrix<T> far_t(t);
    routine_call::larft(form.direct, form.storev, order, reflectors, block.V, block.tau.data(), t);
    routine_call::larft(form.direct, form.storev, order, reflectors, far_V, block.tau.data(), far_t);
    EXPECT_FALSE(t.unchanged());
    far_t.expect_same_as(t);
    far_V.expect_same_as(block.V);
  }
}

TEST(FarPlainFactor, IsThatOfCloseElements) {
  Random random(92);
  for (const Form& form : forms) {
    SCOPED_TRACE(to_string(form));
    ReflectorBlock<double> block(random, form, order, reflectors);
    FarMatrix<double> far_V(block.V);
    GuardedMatrix<double> t(reflectors, reflectors, reflectors);
    FarMatrix<double> far_t(t);
    routine_call::larf2(form.direct, form.storev, order, reflectors, block.V, block.tau.data(), t);
    routine_call::larf2(form.direct, form.storev, order, reflectors, far_V, block.tau.data(), far_t);
    EXPECT_FALSE(t.unchanged());
    far_t.expect_same_as(t);
    far_V.expect_same_as(block.V);
  }
}

TYPED_TEST(FarReflectors, AreAppliedAsABlock) {
  using T = TypeParam;
  for (const Form& form : forms) {
    const ReflectorBlock<T> block(this->random, form, order, reflectors);
    GuardedMatrix<T> t(reflectors, reflectors, reflectors);
    routine_call::larft(form.direct, form.storev, order, reflectors, block.V, block.tau.data(), t);
    FarMatrix<T> far_V(block.V), far_t(t);
    for (const char side : sides) {
      for (const char trans : {'N', 'C'}) {
        SCOPED_TRACE(to_string(form) + ", side " + side + ", trans " + trans);
        GuardedMatrix<T> C = is_left(side) ? this->matrix(order, others) : this->matrix(others, order);
        GuardedMatrix<T> work(others, reflectors, others);
        FarMatrix<T> far_C(C), far_work(work);
        routine_call::larfb(side, trans, form.direct, form.storev, C.rows(), C.columns(), reflectors, block.V, t, C,
                            work);
        routine_call::larfb(side, trans, form.direct, form.storev, C.rows(), C.columns(), reflectors, far_V, far_t,
                            far_C, far_work);
        EXPECT_FALSE(C.unchanged());
        far_C.expect_same_as(C);
        far_work.expect_same_as(work);
      }
    }
  }
}

TYPED_TEST(FarReflectors, AreMadeOneAfterAnother) {
  using T = TypeParam;
  for (const auto& [m, n] : {Shape{20, 14}, {14, 20}}) {
    GuardedMatrix<T> A = this->matrix(m, n);
    FarMatrix<T> far_A(A);
    GuardedVector<T> tau(14), far_tau(14), work(n);
    Int info = 99, far_info = 99;
    routine_call::geqr2(m, n, A, tau.data(), work.data(), info);
    routine_call::geqr2(m, n, far_A, far_tau.data(), work.data(), far_info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(far_info, 0);
    EXPECT_FALSE(A.unchanged());
    far_A.expect_same_as(A);
    EXPECT_TRUE(far_tau.same_as(tau));
  }
}

TYPED_TEST(FarReflectors, AreMadeByPanels) {
  using T = TypeParam;
  const Int m = 351, n = 35;
  GuardedMatrix<T> A = this->matrix(m, n), t(n, n, n);
  FarMatrix<T> far_A(A), far_t(t);
  GuardedVector<T> tau(n), far_tau(n);
  routine_call::laqrf(m, n, A, tau.data(), t);
  routine_call::laqrf(m, n, far_A, far_tau.data(), far_t);
  far_A.expect_same_as(A);
  far_t.expect_same_as(t);
  EXPECT_TRUE(far_tau.same_as(tau));
}

}  // namespace
}  // namespace nuv::test
