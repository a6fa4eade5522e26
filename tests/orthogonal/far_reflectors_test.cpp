// Reflectors whose elements lie more than 2^31 elements apart: each routine is to give the bits that it gives for the
// same arrays stored close together. Needs 64-bit addresses.

#include <limits>

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

/// A copy of a vector whose first and last elements stand more than 2^31 elements apart.
template <Scalar T>
class FarVector {
 public:
  explicit FarVector(const GuardedVector<T>& x)
      : n_(x.size()),
        distance_(Int(far / (n_ - 1) + 1)),
        backward_(x.inc() < 0),
        store_(std::size_t(n_ - 1) * std::size_t(distance_) + 1) {
    for (Int i = 1; i <= n_; ++i) *at(i) = x(i);
  }

  operator Vector<T>() { return {store_.data(), backward_ ? -distance_ : distance_}; }
  operator Vector<const T>() { return Vector<T>(*this); }

  /// Expects the elements of x.
  void expect_same_as(const GuardedVector<T>& x) {
    for (Int i = 1; i <= n_; ++i) ASSERT_TRUE(same_bits(*at(i), x(i))) << i;
  }

 private:
  T* at(Int i) { return store_.data() + std::ptrdiff_t{backward_ ? n_ - i : i - 1} * distance_; }

  Int n_, distance_;
  bool backward_;
  SparseArray<T> store_;
};

TYPED_TEST(FarReflectors, AreApplied) {
  using T = TypeParam;
  // Order 12: a vector whose last element is far, stored from either end.
  constexpr Int order = 12, other = 9;
  const T tau = this->random.template scalar<T>();
  for (const char side : sides) {
    for (const Int direction : {1, -1}) {
      const GuardedVector<T> v = random_vector<T>(this->random, order, direction);
      FarVector<T> far_v(v);
      GuardedMatrix<T> C = is_left(side) ? this->matrix(order, other) : this->matrix(other, order);
      FarMatrix<T> far_C(C);
      GuardedVector<T> work(other), far_work(other);
      routine_call::larf(side, C.rows(), C.columns(), v, tau, C, work.data());
      routine_call::larf(side, C.rows(), C.columns(), far_v, tau, far_C, far_work.data());
      EXPECT_FALSE(C.unchanged());
      far_C.expect_same_as(C);
      EXPECT_TRUE(far_work.same_as(work));
    }
  }
}

/// Sizes at which the factor is made by more than one block.
constexpr Int order = 41, reflectors = 35, others = 5;

/// Expects of a routine that forms factors that it gives a far one the bits of a close one.
template <Scalar T, class Routine>
void expect_same_factors(Random& random, Routine form_factor) {
  for (const Form& form : forms) {
    SCOPED_TRACE(to_string(form));
    ReflectorBlock<T> block(random, form, order, reflectors);
    FarMatrix<T> far_V(block.V);
    GuardedMatrix<T> t(reflectors, reflectors, reflectors);
    FarMatrix<T> far_t(t);
    form_factor(form, Matrix<T>(block.V), block.tau.data(), Matrix<T>(t));
    form_factor(form, Matrix<T>(far_V), block.tau.data(), Matrix<T>(far_t));
    EXPECT_FALSE(t.unchanged());
    far_t.expect_same_as(t);
    far_V.expect_same_as(block.V);
  }
}

TYPED_TEST(FarReflectors, HaveAFactor) {
  using T = TypeParam;
  expect_same_factors<T>(this->random, [](const Form& form, Matrix<T> V, const T* tau, Matrix<T> t) {
    routine_call::larft(form.direct, form.storev, order, reflectors, V, tau, t);
  });
}

TEST(FarPlainFactor, IsThatOfCloseElements) {
  Random random(92);
  expect_same_factors<double>(random, [](const Form& form, Matrix<double> V, const double* tau, Matrix<double> t) {
    routine_call::larf2(form.direct, form.storev, order, reflectors, V, tau, t);
  });
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
  for (const Form& form : forms) {
    for (const auto& [m, n] : {Shape{20, 14}, {14, 20}}) {
      SCOPED_TRACE(to_string(form) + ", " + to_string(Shape{m, n}));
      GuardedMatrix<T> A = this->matrix(m, n);
      FarMatrix<T> far_A(A);
      GuardedVector<T> tau(14), far_tau(14), work(20);
      Int info = 99, far_info = 99;
      factor_one_by_one<T>(form, m, n, A, tau.data(), work.data(), info);
      factor_one_by_one<T>(form, m, n, far_A, far_tau.data(), work.data(), far_info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(far_info, 0);
      EXPECT_FALSE(A.unchanged());
      far_A.expect_same_as(A);
      EXPECT_TRUE(far_tau.same_as(tau));
    }
  }
}

TYPED_TEST(FarReflectors, AreGenerated) {
  using T = TypeParam;
  // Plain, and so small that the vector is scaled first.
  for (const Real<T> size : {Real<T>(1), std::numeric_limits<Real<T>>::min()}) {
    // Kernels sum neighbours in an order of their own, so that those of the close vector are two apart.
    GuardedVector<T> x = random_vector<T>(this->random, order - 1, 2);
    for (Int i = 1; i < order; ++i) x(i) *= size;
    FarVector<T> far_x(x);
    T alpha = size * this->random.template divisor<T>(), far_alpha = alpha, tau, far_tau;
    routine_call::larfg(order, alpha, x, tau);
    routine_call::larfg(order, far_alpha, far_x, far_tau);
    EXPECT_TRUE(same_bits(far_alpha, alpha));
    EXPECT_TRUE(same_bits(far_tau, tau));
    far_x.expect_same_as(x);
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
