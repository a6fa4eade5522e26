// Routines that leave factorisations and products with Q to the thread layer, seen by the calls that reach it.

#include <algorithm>

#include "routines.hpp"
#include "solvers/recording_layer.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class LayerCalls : public ReportingTest {
 protected:
  static constexpr char t = ComplexScalar<T> ? 'C' : 'T';

  /// Calls of routines, not of level 3, while work runs.
  template <class Work>
  Calls routines_called(Work work) {
    take_recorded_calls();
    work();
    Calls calls = take_recorded_calls();
    std::erase_if(calls,
                  [](const std::string& call) { return !call.starts_with("geqrf") && !call.starts_with("orm"); });
    return calls;
  }

  GuardedMatrix<T> matrix(Int m, Int n) { return random_matrix<T>(random, m, n, std::max(1, m)); }

  Random random{94};
};
TYPED_TEST_SUITE(LayerCalls, Precisions, PrecisionLetter);

TYPED_TEST(LayerCalls, OfLeastSquaresOnItsFourPaths) {
  using T = TypeParam;
  const std::string t(1, this->t);
  const auto solve = [&](char trans, Int m, Int n) {
    return this->routines_called([&] {
      GuardedMatrix<T> A = this->matrix(m, n), B = this->matrix(std::max(m, n), 3), work = this->matrix(400, 1);
      Int info = 99;
      routine_call::gels(trans, m, n, 3, A, B, work.data(), 400, info);
      EXPECT_EQ(info, 0);
    });
  };
  EXPECT_EQ(solve('N', 9, 5), (Calls{"geqrf 9 5", "ormqr L" + t + " 9 3 5"}));
  EXPECT_EQ(solve(this->t, 9, 5), (Calls{"geqrf 9 5", "ormqr LN 9 3 5"}));
  EXPECT_EQ(solve('N', 5, 9), (Calls{"ormlq L" + t + " 9 3 5"}));
  EXPECT_EQ(solve(this->t, 5, 9), (Calls{"ormlq LN 9 3 5"}));
}

TYPED_TEST(LayerCalls, OfProductsWithTheQOfAReduction) {
  using T = TypeParam;
  const std::string t(1, this->t);
  const Int m = 6, n = 4;
  const GuardedMatrix<T> tau = this->matrix(6, 1);
  const auto bidiagonal = [&](char vect, char side, char trans, Int k) {
    return this->routines_called([&] {
      GuardedMatrix<T> A = this->matrix(6, 6), C = this->matrix(m, n), work = this->matrix(400, 1);
      Int info = 99;
      routine_call::ormbr(vect, side, trans, m, n, k, A, tau.data(), C, work.data(), 400, info);
      EXPECT_EQ(info, 0);
    });
  };
  EXPECT_EQ(bidiagonal('Q', 'L', 'N', 3), Calls{"ormqr LN 6 4 3"});
  EXPECT_EQ(bidiagonal('Q', 'L', this->t, 7), Calls{"ormqr L" + t + " 5 4 5"});
  EXPECT_EQ(bidiagonal('Q', 'R', 'N', 5), Calls{"ormqr RN 6 3 3"});
  // P is applied by the reflectors of P^H.
  EXPECT_EQ(bidiagonal('P', 'L', 'N', 3), Calls{"ormlq L" + t + " 6 4 3"});
  EXPECT_EQ(bidiagonal('P', 'L', 'N', 6), Calls{"ormlq L" + t + " 5 4 5"});
  EXPECT_EQ(bidiagonal('P', 'R', this->t, 4), Calls{"ormlq RN 6 3 3"});

  const auto tridiagonal = [&](char side, char uplo, char trans) {
    return this->routines_called([&] {
      GuardedMatrix<T> A = this->matrix(6, 6), C = this->matrix(m, n), work = this->matrix(400, 1);
      Int info = 99;
      routine_call::ormtr(side, uplo, trans, m, n, A, tau.data(), C, work.data(), 400, info);
      EXPECT_EQ(info, 0);
    });
  };
  EXPECT_EQ(tridiagonal('L', 'U', 'N'), Calls{"ormql LN 5 4 5"});
  EXPECT_EQ(tridiagonal('R', 'U', this->t), Calls{"ormql R" + t + " 6 3 3"});
  EXPECT_EQ(tridiagonal('L', 'L', this->t), Calls{"ormqr L" + t + " 5 4 5"});
  EXPECT_EQ(tridiagonal('R', 'L', 'N'), Calls{"ormqr RN 6 3 3"});
}

}  // namespace
}  // namespace nuv::test
