// Reduction of full matrices to tridiagonal form in the layer with threads.

#include <nuv/nuv_services.h>

#include "layer.hpp"
#include "routines.hpp"
#include "support/memory_requests.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/dense_problem.hpp"
#include "symmetric/eigen_checks.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

template <class T>
class ThreadedReduction : public ReportingTest {
 protected:
  void TearDown() override {
    nuv_thread_set_num_threads(0);
    ReportingTest::TearDown();
  }
  Random random{29};
};
TYPED_TEST_SUITE(ThreadedReduction, Precisions, PrecisionLetter);

template <Scalar T>
struct Reduced {
  GuardedMatrix<T> A;
  GuardedVector<Real<T>> d, e;
  GuardedVector<T> tau;

  template <class Reduce>
  Reduced(const GuardedMatrix<T>& matrix, Reduce reduce) : A(matrix), d(A.rows()), e(A.rows() - 1), tau(A.rows() - 1) {
    GuardedVector<T> work(40 * A.rows());
    Int info = 99;
    reduce(A.rows(), Matrix<T>(A), d.data(), e.data(), tau.data(), work.data(), work.size(), info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(work.guards_unchanged());
  }

  testing::AssertionResult same_as(const Reduced& other) const {
    for (const auto& result : {A.same_as(other.A), d.same_as(other.d), e.same_as(other.e), tau.same_as(other.tau)}) {
      if (!result) return result;
    }
    return testing::AssertionSuccess();
  }
};

template <Scalar T>
Reduced<T> reduce(char uplo, const GuardedMatrix<T>& A, int threads) {
  nuv_thread_set_num_threads(threads);
  return {A, [=](Int n, auto&&... others) { layer::sytrd(uplo, n, others...); }};
}

/// Orders at which products are shared, the last ones of strips of more than the least width and with an end.
template <Scalar T>
std::vector<Int> orders() {
  return ComplexScalar<T> ? std::vector<Int>{255, 257, 300} : std::vector<Int>{383, 385, 450};
}

TYPED_TEST(ThreadedReduction, GivesTheSameBitsAtAnyNumberOfThreads) {
  using T = TypeParam;
  for (const Int n : orders<T>()) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n + 3);
      const Reduced<T> alone = reduce(uplo, A, 1);
      EXPECT_TRUE(unchanged_outside_triangle(alone.A, uplo));
      for (const int threads : {2, 3, 7}) EXPECT_TRUE(reduce(uplo, A, threads).same_as(alone)) << uplo << n;

      GuardedMatrix<T> Q = alone.A;
      GuardedVector<T> work(32 * n);
      Int info = 99;
      routine_call::orgtr(uplo, n, Q, alone.tau.data(), work.data(), work.size(), info);
      const Tridiagonal<Real<T>> reduced{{alone.d.data(), alone.d.data() + n},
                                         {alone.e.data(), alone.e.data() + n - 1}};
      EXPECT_LT(orthogonality(Q, n), 10);
      EXPECT_LT(reduction_residual(wide_hermitian(A, is_upper(uplo)), Q, reduced), 10);
    }
  }
}

TYPED_TEST(ThreadedReduction, LosesTimeAloneToRefusedMemory) {
  using T = TypeParam;
  const Int n = orders<T>().back();
  for (const char uplo : uplos) {
    const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n);
    const Reduced<T> granted = reduce(uplo, A, 2);
    const MemoryRequests requests(MemoryRequests::all);
    EXPECT_TRUE(reduce(uplo, A, 2).same_as(granted));
    EXPECT_GT(requests.count(), 0);
  }
}

/// The first columns, or the last ones, of a reduction.
template <Scalar T, class Latrd>
Reduced<T> reduce_panel(char uplo, const GuardedMatrix<T>& A, Int nb, Latrd latrd) {
  return Reduced<T>(A, [&](Int n, Matrix<T> a, Real<T>*, Real<T>* e, T* tau, T* work, Int, Int& info) {
    latrd(uplo, n, nb, a, e, tau, Matrix<T>{work, n});
    info = 0;
  });
}

// The layer's own panel is that of the serial body, up to rounding, with memory and without. The product of order 1031
// has a strip more than usual, and strips of the largest order are so tall that their rows are taken by blocks.
TYPED_TEST(ThreadedReduction, PanelsAgreeWithTheSerialBody) {
  using T = TypeParam;
  const Int nb = 3;
  for (const Int n : {orders<T>().back(), 1032, Int{8192 / sizeof(T)} + 100}) {
    for (const char uplo : uplos) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n);
      const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n);
      const auto of_layer = [](auto&&... x) { layer::latrd(x...); };
      const Reduced<T> own = reduce_panel(uplo, A, nb, of_layer);
      const Reduced<T> serial = reduce_panel(uplo, A, nb, [](auto&&... x) { x_variant::latrd(x...); });
      const Int first = is_upper(uplo) ? n - nb : 1;
      for (Int k = first; k < first + nb; ++k) {
        EXPECT_NEAR(own.e(k), serial.e(k), 1000 * epsilon<T> * std::sqrt(n));
        EXPECT_NEAR(std::abs(own.tau(k) - serial.tau(k)), 0, 1000 * epsilon<T>);
      }
      EXPECT_FALSE(own.A.same_as(serial.A));

      const MemoryRequests requests(MemoryRequests::all);
      EXPECT_TRUE(reduce_panel(uplo, A, nb, of_layer).same_as(own));
      EXPECT_GT(requests.count(), 0);
    }
  }
}

// Threads share the rows of the matrix that takes the reflectors of chases.
TYPED_TEST(ThreadedReduction, AppliesChasedReflectorsInTheSameBits) {
  using T = TypeParam;
  const Int m = 1200, n = 120, kd = 16;
  const GuardedMatrix<T> V = random_matrix<T>(this->random, n, kd, n), Z = random_matrix<T>(this->random, m, n, m + 3);
  GuardedVector<T> tau(n), work(m);
  for (Int t = 1; t <= n; ++t) tau(t) = this->random.template scalar<T>() / Real<T>(8 * kd);
  const auto applied_by = [&](int threads) {
    nuv_thread_set_num_threads(threads);
    GuardedMatrix<T> result = Z;
    layer::laeh2(m, n, kd, tau.data(), V, result, work.data());
    EXPECT_TRUE(result.guards_unchanged());
    return result;
  };
  const GuardedMatrix<T> alone = applied_by(1);
  EXPECT_FALSE(alone.same_as(Z));
  for (const int threads : {2, 3, 7}) EXPECT_TRUE(applied_by(threads).same_as(alone)) << threads << " threads";
}

/// The order from which on eigenvalues alone go the way of a band grows with the number of threads.
TYPED_TEST(ThreadedReduction, TakesTheWayOfABandLaterThanOneThread) {
  using T = TypeParam;
  constexpr Int lines = ComplexScalar<T> ? 1 : 2;
  const Int order = std::same_as<T, float> ? 2694 : std::same_as<T, std::complex<double>> ? 1347 : 1900;
  nuv_thread_set_num_threads(4);
  const auto asked = [](Int n) {
    T best;
    Int info = 99;
    const Matrix<T> A{nullptr, n};
    if constexpr (ComplexScalar<T>) {
      routine_call::heev('N', 'L', n, A, nullptr, &best, -1, nullptr, info);
    } else {
      routine_call::syev('N', 'L', n, A, nullptr, &best, -1, info);
    }
    return Int(std::real(best));
  };
  const auto of_reduction = [](Int n) {
    T best;
    Int info = 99;
    layer::sytrd('L', n, Matrix<T>{nullptr, n}, nullptr, nullptr, nullptr, &best, -1, info);
    return Int(std::real(best));
  };
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HERDB" : "SYRDB");
  EXPECT_EQ(asked(order - 1), of_reduction(order - 1) + lines * (order - 1));
  // The band may be wider for more threads, or narrower.
  for (const Int n : {order, 2700, 3000}) {
    const Int kd = routine_call::ilaenv(1, {name.data(), 6}, " ", n, 4, -1, -1);
    EXPECT_EQ(asked(n), (3 * kd + 3 + lines) * n);
  }
}

}  // namespace
}  // namespace nuv::test
