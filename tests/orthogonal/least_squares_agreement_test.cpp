// The drivers for least squares find one solution: gelsy and gelsx by QR with pivoting, gelss and gelsd by singular
// values, and, where the rank is full, gels.

#include "orthogonal/pivoted_systems.hpp"

namespace nuv::test {
namespace {

template <class T>
class LeastSquaresAgreement : public ReportingTest {
 protected:
  Random random{503};
};
TYPED_TEST_SUITE(LeastSquaresAgreement, Precisions, PrecisionLetter);

template <Scalar T>
struct Answer {
  const char* driver;
  Int rank;
  GuardedMatrix<T> B;
};

template <Scalar T>
Answer<T> by_gelss(const LowRankSystem<T>& system, Real<T> rcond) {
  const auto [m, n, nrhs] = system.sizes;
  GuardedMatrix<T> A = system.A;
  Answer<T> answer{"gelss", -1, system.B};
  GuardedVector<Real<T>> s(system.sizes.mn()), rwork(5 * system.sizes.mn() + 1);
  Int info = 99;
  const auto call = [&, m = m, n = n, nrhs = nrhs](T* work, Int lwork) {
    const Matrix<T> a(A), b(answer.B);
    if constexpr (ComplexScalar<T>) {
      routine_call::gelss(m, n, nrhs, a, b, s.data(), rcond, answer.rank, work, lwork, rwork.data(), info);
    } else {
      routine_call::gelss(m, n, nrhs, a, b, s.data(), rcond, answer.rank, work, lwork, info);
    }
    EXPECT_EQ(info, 0);
  };
  T best;
  call(&best, -1);
  GuardedVector<T> work(Int(std::real(best)));
  call(work.data(), work.size());
  return answer;
}

template <Scalar T>
Answer<T> by_gelsd(const LowRankSystem<T>& system, Real<T> rcond) {
  const auto [m, n, nrhs] = system.sizes;
  GuardedMatrix<T> A = system.A;
  Answer<T> answer{"gelsd", -1, system.B};
  GuardedVector<Real<T>> s(system.sizes.mn());
  Int info = 99;
  const auto call = [&, m = m, n = n, nrhs = nrhs](T* work, Int lwork, Real<T>* rwork, Int* iwork) {
    const Matrix<T> a(A), b(answer.B);
    if constexpr (ComplexScalar<T>) {
      routine_call::gelsd(m, n, nrhs, a, b, s.data(), rcond, answer.rank, work, lwork, rwork, iwork, info);
    } else {
      routine_call::gelsd(m, n, nrhs, a, b, s.data(), rcond, answer.rank, work, lwork, iwork, info);
    }
    EXPECT_EQ(info, 0);
  };
  T best;
  Real<T> best_rwork = 1;
  Int best_iwork = 1;
  call(&best, -1, &best_rwork, &best_iwork);
  GuardedVector<T> work(Int(std::real(best)));
  GuardedVector<Real<T>> rwork(std::max(1, Int(best_rwork)));
  GuardedVector<Int> iwork(std::max(1, best_iwork));
  call(work.data(), work.size(), rwork.data(), iwork.data());
  return answer;
}

template <Scalar T>
Answer<T> by_gels(const LowRankSystem<T>& system) {
  GuardedMatrix<T> A = system.A;
  Answer<T> answer{"gels", system.sizes.mn(), system.B};
  GuardedVector<T> work(64 * (system.sizes.mn() + system.sizes.nrhs) + system.sizes.mn());
  Int info = 99;
  routine_call::gels('N', system.sizes.m, system.sizes.n, system.sizes.nrhs, Matrix<T>(A), Matrix<T>(answer.B),
                     work.data(), work.size(), info);
  EXPECT_EQ(info, 0);
  return answer;
}

TYPED_TEST(LeastSquaresAgreement, OfAllDriversAtEveryRank) {
  using T = TypeParam;
  const auto rcond = Real<T>(1e-3);
  for (const SystemSizes& s : {SystemSizes{6, 6, 2}, {12, 7, 1}, {7, 12, 3}, {60, 40, 2}, {40, 60, 2}, {70, 30, 1}}) {
    for (const Int rank : {1, s.mn() / 2, s.mn() - 1, s.mn()}) {
      const LowRankSystem<T> system(this->random, s, values_down_to(0.3, rank));
      std::vector<Answer<T>> answers = {by_gelss(system, rcond), by_gelsd(system, rcond)};
      for (const Way way : both_ways) {
        const SolvedSystem<T> solved = solve_pivoted(way, system, rcond);
        answers.push_back({way == Way::by_blocks ? "gelsy" : "gelsx", solved.rank, solved.B});
      }
      if (rank == s.mn()) answers.push_back(by_gels(system));
      for (const Answer<T>& answer : answers) {
        SCOPED_TRACE(to_string(s) + ", rank " + std::to_string(rank) + ", " + answer.driver);
        EXPECT_EQ(answer.rank, rank);
        EXPECT_LT(system.error_of(answer.B, rank), threshold);
        const WideMatrix<T> first = system.found(answers[0].B), difference = system.found(answer.B) - first;
        EXPECT_LT(one_norm<T>(difference), 100 * threshold * s.longer() * epsilon<T> * one_norm<T>(first));
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
