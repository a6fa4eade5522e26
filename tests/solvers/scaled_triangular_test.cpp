// Triangular solves that can't overflow: ?latrs, ?latps, ?latbs.

#include <cmath>
#include <functional>

#include "blas.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"
#include "support/options.hpp"
#include "support/packed.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <Scalar T>
using Limits = std::numeric_limits<Real<T>>;

/// 2 to a power that is a share of the largest.
template <Scalar T>
Real<T> power_of_two(double share) {
  return std::ldexp(Real<T>(1), int(share * Limits<T>::max_exponent));
}

template <Scalar T>
bool is_finite(T x) {
  return std::isfinite(std::real(x)) && std::isfinite(std::imag(x));
}

/// A triangular matrix in one storage form.
template <Scalar T>
struct Form {
  using R = Real<T>;

  const char* name;
  Int diagonals;  ///< that it has beside the main one
  std::function<void(char trans, char normin, T* x, R& scale, R* cnorm, Int& info)> solve_scaled;
  std::function<void(char trans, T* x)> solve;
};

template <Scalar T>
struct Problem {
  using R = Real<T>;

  char uplo, diag;
  GuardedMatrix<T> A;  ///< the other triangle, and the diagonal where it counts as ones, hold guards

  Int n() const { return A.rows(); }

  Form<T> full() const {
    return {"latrs", n(),
            [this](char trans, char normin, T* x, R& scale, R* cnorm, Int& info) {
              routine_call::latrs(uplo, trans, diag, normin, n(), A, x, scale, cnorm, info);
            },
            [this](char trans, T* x) {
              blas::trsv(uplo, trans, diag, n(), A, Vector{x, 1});
            }};
  }

  Form<T> packed() const {
    const GuardedVector<T> ap = test::packed(is_upper(uplo), A);
    return {"latps", n(),
            [=, this](char trans, char normin, T* x, R& scale, R* cnorm, Int& info) {
              routine_call::latps(uplo, trans, diag, normin, n(), ap.data(), x, scale, cnorm, info);
            },
            [=, this](char trans, T* x) {
              blas::tpsv(uplo, trans, diag, n(), ap.data(), Vector{x, 1});
            }};
  }

  Form<T> band(Int kd) const {
    GuardedMatrix<T> AB(kd + 1, n(), kd + 3);
    for (Int j = 1; j <= n(); ++j) {
      for (Int i = std::max(1, j - kd); i <= std::min(n(), j + kd); ++i) {
        if (is_upper(uplo) ? i <= j : i >= j) AB(i - j + (is_upper(uplo) ? kd + 1 : 1), j) = A(i, j);
      }
    }
    return {"latbs", kd,
            [=, this](char trans, char normin, T* x, R& scale, R* cnorm, Int& info) {
              routine_call::latbs(uplo, trans, diag, normin, n(), kd, AB, x, scale, cnorm, info);
            },
            [=, this](char trans, T* x) {
              blas::tbsv(uplo, trans, diag, n(), kd, AB, Vector{x, 1});
            }};
  }

  std::vector<Form<T>> forms() const { return {full(), packed(), band(std::min(n(), 3)), band(n() + 1)}; }

  WideMatrix<T> dense(Int diagonals) const {
    WideMatrix<T> all = wide_triangle(A, is_upper(uplo), is_unit(diag));
    for (Int j = 0; j < n(); ++j) {
      for (Int i = 0; i < n(); ++i) {
        if (std::abs(i - j) > diagonals) all(i, j) = 0;
      }
    }
    return all;
  }

  R column_sum(Int j, Int diagonals) const {
    WideReal<T> sum = 0;
    for (Int i = std::max(1, j - diagonals); i <= std::min(n(), j + diagonals); ++i) {
      if (is_upper(uplo) ? i < j : i > j) {
        sum += std::abs(WideReal<T>(std::real(A(i, j)))) + std::abs(WideReal<T>(std::imag(A(i, j))));
      }
    }
    return R(sum);
  }
};

template <Scalar T>
struct Outcome {
  GuardedVector<T> x;
  Real<T> scale;
  GuardedVector<Real<T>> cnorm;
};

/// Solves with the column sums computed, and once more with them given, which makes no difference.
template <Scalar T>
Outcome<T> solve_scaled(const Form<T>& form, char trans, const GuardedVector<T>& b) {
  using R = Real<T>;
  Outcome<T> outcome{b, R(99), GuardedVector<R>(b.size())};
  Int info = 99;
  form.solve_scaled(trans, 'N', outcome.x.data(), outcome.scale, outcome.cnorm.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(outcome.x.guards_unchanged());
  EXPECT_TRUE(outcome.cnorm.guards_unchanged());

  Outcome<T> again{b, R(99), outcome.cnorm};
  form.solve_scaled(trans, 'y', again.x.data(), again.scale, again.cnorm.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(again.x.same_as(outcome.x));
  EXPECT_EQ(again.scale, outcome.scale);
  return outcome;
}

template <Scalar T>
double residual(const Problem<T>& problem, Int diagonals, char trans, const Outcome<T>& found,
                const GuardedVector<T>& b) {
  return Sum<T>(b.size(), 1)
      .add(T(1), op<T>(trans, problem.dense(diagonals)), wide(found.x))
      .add(T(-found.scale), wide(b))
      .distance_from_zero();
}

template <class T>
class ScaledTriangular : public ReportingTest {
 protected:
  using R = Real<T>;

  Problem<T> problem(char uplo, char diag, Int n) {
    return {uplo, diag, random_triangle<T>(random, is_upper(uplo), is_unit(diag), n, n + 2)};
  }

  /// Runs visit(problem, form, trans, b) for all options but the diagonal of ones, after change(A).
  template <class Change, class Visit>
  void for_each_form(Int n, Change change, Visit visit) {
    for (const char uplo : uplos) {
      Problem<T> one = problem(uplo, 'N', n);
      change(one.A);
      one.A.seal();
      const GuardedVector<T> b = random_vector<T>(random, n, 1);
      for (const Form<T>& form : one.forms()) {
        for (const char trans : transes) {
          SCOPED_TRACE(std::string(form.name) + ' ' + uplo + trans + ", " + std::to_string(form.diagonals));
          visit(one, form, trans, b);
        }
      }
      EXPECT_TRUE(one.A.unchanged());
    }
  }

  /// A solution in range and true to its scale, which is in an interval.
  static void expect_scaled_solution(const Problem<T>& problem, const Form<T>& form, char trans,
                                     const GuardedVector<T>& b, double least_scale, double most_scale) {
    const Outcome<T> found = solve_scaled(form, trans, b);
    EXPECT_GE(found.scale, least_scale);
    EXPECT_LE(found.scale, most_scale);
    bool is_zero = true;
    for (Int i = 1; i <= b.size(); ++i) {
      EXPECT_TRUE(is_finite(found.x(i)));
      is_zero = is_zero && found.x(i) == T(0);
    }
    EXPECT_FALSE(is_zero);
    EXPECT_LT(residual(problem, form.diagonals, trans, found, b), threshold);
  }

  Random random{12};
};
TYPED_TEST_SUITE(ScaledTriangular, Precisions, PrecisionLetter);

TYPED_TEST(ScaledTriangular, SolvesPlainlyWhereNothingCanOverflow) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 5, 33}) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      for (const char diag : {'N', 'n', 'U', 'u'}) {
        const Problem<T> problem = this->problem(uplo, diag, n);
        const GuardedVector<T> b = random_vector<T>(this->random, n, 1);
        for (const Form<T>& form : problem.forms()) {
          for (const char trans : {'N', 'n', 'T', 't', 'C', 'c'}) {
            SCOPED_TRACE(std::string(form.name) + ' ' + uplo + trans + diag + " of order " + std::to_string(n));
            const MemoryRequests memory;
            const Outcome<T> found = solve_scaled(form, trans, b);
            EXPECT_EQ(found.scale, 1);
            GuardedVector<T> plain = b;
            form.solve(trans, plain.data());
            EXPECT_TRUE(found.x.same_as(plain));
            EXPECT_EQ(memory.count(), 0);
            for (Int j = 1; j <= n; ++j) {
              const double sum = problem.column_sum(j, form.diagonals);
              EXPECT_NEAR(found.cnorm(j), sum, threshold * epsilon<T> * sum);
            }
          }
        }
      }
    }
  }
}

/// The bound on the growth overflows, and what it bounds is small.
TYPED_TEST(ScaledTriangular, SolvesPlainlyWhereItsBoundIsTooLarge) {
  using T = TypeParam;
  this->for_each_form(
      std::same_as<Real<TypeParam>, float> ? 150 : 500, [](auto&) {},
      [](const Problem<T>& problem, const Form<T>& form, char trans, const GuardedVector<T>& b) {
        if (form.diagonals == 3) return;
        Outcome<T> found{b, 99, GuardedVector<Real<T>>(b.size())};
        Int info = 99;
        {
          const MemoryRequests memory;
          form.solve_scaled(trans, 'N', found.x.data(), found.scale, found.cnorm.data(), info);
          EXPECT_EQ(memory.count(), 1);
          EXPECT_EQ(memory.kept(), 0);
        }
        EXPECT_EQ(info, 0);
        EXPECT_EQ(found.scale, 1);
        GuardedVector<T> plain = b;
        form.solve(trans, plain.data());
        EXPECT_TRUE(found.x.same_as(plain));

        const MemoryRequests refused(MemoryRequests::all);
        Outcome<T> careful{b, 99, found.cnorm};
        form.solve_scaled(trans, 'Y', careful.x.data(), careful.scale, careful.cnorm.data(), info);
        EXPECT_EQ(careful.scale, 1);
        EXPECT_LT(residual(problem, form.diagonals, trans, careful, b), threshold);
      });
}

TYPED_TEST(ScaledTriangular, ScalesASolutionThatWouldOverflow) {
  using T = TypeParam;
  // In some twelve steps with the most diagonals, x grows by more than the largest number.
  const auto with_small_diagonal = [](GuardedMatrix<T>& A) {
    for (Int j = 1; j <= A.rows(); ++j) A(j, j) *= power_of_two<T>(-0.13);
  };
  this->for_each_form(12, with_small_diagonal, [&](auto& problem, auto& form, char trans, auto& b) {
    this->expect_scaled_solution(problem, form, trans, b, Limits<T>::min(), power_of_two<T>(-0.3));
  });
}

TYPED_TEST(ScaledTriangular, DividesByTheSmallestNumbers) {
  using T = TypeParam;
  for (const Int at : {1, 4, 9}) {
    const auto with_subnormal = [&](GuardedMatrix<T>& A) { A(at, at) = T(3 * Limits<T>::denorm_min()); };
    this->for_each_form(9, with_subnormal, [&](auto& problem, auto& form, char trans, auto& b) {
      this->expect_scaled_solution(problem, form, trans, b, Limits<T>::min() * epsilon<T>, power_of_two<T>(-0.05));
    });
  }
}

TYPED_TEST(ScaledTriangular, SolvesTheHomogeneousSystemOfASingularMatrix) {
  using T = TypeParam;
  for (const std::vector<Int>& zeros : {std::vector<Int>{1}, {7}, {12}, {3, 8}}) {
    const auto with_zeros = [&](GuardedMatrix<T>& A) {
      for (const Int j : zeros) A(j, j) = T(0);
    };
    this->for_each_form(12, with_zeros, [&](auto& problem, auto& form, char trans, auto& b) {
      this->expect_scaled_solution(problem, form, trans, b, 0, 0);
    });
  }
}

TYPED_TEST(ScaledTriangular, SeesAZeroOnTheDiagonalBesideAZeroOnTheRight) {
  using T = TypeParam;
  const auto with_zero = [](GuardedMatrix<T>& A) { A(2, 2) = T(0); };
  this->for_each_form(3, with_zero, [&](auto& problem, auto& form, char trans, auto&) {
    GuardedVector<T> b(3);
    for (Int i = 1; i <= 3; ++i) b(i) = T(0);
    this->expect_scaled_solution(problem, form, trans, b, 0, 0);
  });
}

/// Sums of columns that are larger than the limit, and sums that overflow.
TYPED_TEST(ScaledTriangular, SolvesWithHugeMatrices) {
  using T = TypeParam;
  for (const double share : {0.985, 1.0}) {
    const auto make_huge = [&](GuardedMatrix<T>& A) {
      for (Int j = 1; j <= A.rows(); ++j) {
        for (Int i = 1; i <= A.rows(); ++i) A(i, j) *= Real<T>(0.45) * power_of_two<T>(share - 0.001);
      }
    };
    this->for_each_form(20, make_huge, [&](auto& problem, auto& form, char trans, auto& b) {
      GuardedVector<T> large = b;
      for (Int i = 1; i <= b.size(); ++i) large(i) *= power_of_two<T>(0.9);
      this->expect_scaled_solution(problem, form, trans, large, 0.01, 1 / epsilon<T> * 1e3);
      const Outcome<T> found = solve_scaled(form, trans, large);
      for (Int j = 1; j <= b.size(); ++j) {
        const Real<T> sum = problem.column_sum(j, form.diagonals);
        if (std::isfinite(sum)) {
          EXPECT_NEAR(found.cnorm(j), sum, threshold * epsilon<T> * sum) << j;
        }
      }
    });
  }
}

TYPED_TEST(ScaledTriangular, SolvesForHugeRightHandSides) {
  using T = TypeParam;
  this->for_each_form(
      20, [](auto& A) { A(5, 5) *= Real<T>(0.01); },
      [&](auto& problem, auto& form, char trans, auto& b) {
        GuardedVector<T> huge = b;
        for (Int i = 1; i <= b.size(); ++i) huge(i) *= Limits<T>::max();
        this->expect_scaled_solution(problem, form, trans, huge, epsilon<T> * 1e-5, 1);
      });
}

/// Each of these numbers is seen in x, as plain substitution shows it.
TYPED_TEST(ScaledTriangular, ShowsNumbersThatAreNotFinite) {
  using T = TypeParam;
  for (const Real<T> value : {Limits<T>::quiet_NaN(), Limits<T>::infinity()}) {
    for (const int place : {0, 1, 2}) {
      const auto spoil = [&](GuardedMatrix<T>& A) {
        if (place == 0) A(4, 4) = T(value);
        if (place == 1) A(3, 4) = A(4, 3) = T(value);
      };
      this->for_each_form(6, spoil, [&](auto&, auto& form, char trans, auto& b) {
        GuardedVector<T> right = b;
        if (place == 2) right(4) = T(value);
        GuardedVector<T> plain = right, x = right;
        form.solve(trans, plain.data());
        GuardedVector<Real<T>> cnorm(6);
        Real<T> scale = 99;
        Int info = 99;
        form.solve_scaled(trans, 'N', x.data(), scale, cnorm.data(), info);
        EXPECT_EQ(scale, 1);
        EXPECT_TRUE(x.same_as(plain));
      });
    }
  }
}

TYPED_TEST(ScaledTriangular, TakesTheColumnSumsItIsGiven) {
  using T = TypeParam;
  this->for_each_form(
      6, [](auto&) {},
      [&](auto&, auto& form, char trans, auto& b) {
        GuardedVector<Real<T>> cnorm(6);
        for (Int j = 1; j <= 6; ++j) cnorm(j) = Real<T>(100 + j);
        cnorm.seal();
        GuardedVector<T> x = b;
        Real<T> scale = 99;
        Int info = 99;
        form.solve_scaled(trans, 'Y', x.data(), scale, cnorm.data(), info);
        EXPECT_TRUE(cnorm.unchanged());
        EXPECT_EQ(scale, 1);
      });
}

// --------------------------------------------------------------------------------------------------------- arguments

enum class Routine { latrs, latps, latbs };

template <Scalar T, Routine routine>
struct ScaledCall {
  char uplo = 'U', trans = 'N', diag = 'N', normin = 'N';
  Int n = 3, kd = 2, lda = 4;
  GuardedMatrix<T> a = random_triangle_of_order_three();
  GuardedVector<T> x = [] {
    Random random(2);
    return random_vector<T>(random, 3, 1);
  }();
  GuardedVector<Real<T>> cnorm{3};

  static GuardedMatrix<T> random_triangle_of_order_three() {
    Random random(1);
    return random_matrix<T>(random, 3, 3, 4);
  }

  Int run() {
    Int info = 99;
    Real<T> scale = 99;
    if constexpr (routine == Routine::latrs) {
      routine_call::latrs(uplo, trans, diag, normin, n, {a.data(), lda}, x.data(), scale, cnorm.data(), info);
    } else if constexpr (routine == Routine::latps) {
      routine_call::latps(uplo, trans, diag, normin, n, a.data(), x.data(), scale, cnorm.data(), info);
    } else {
      routine_call::latbs(uplo, trans, diag, normin, n, kd, {a.data(), lda}, x.data(), scale, cnorm.data(), info);
    }
    return info;
  }
  bool unchanged() const { return a.unchanged() && x.unchanged() && cnorm.unchanged(); }
};

TYPED_TEST(ScaledTriangular, ChecksItsArguments) {
  using T = TypeParam;
  const auto bad_uplo = [](auto& c) { c.uplo = 'N'; };
  const auto bad_trans = [](auto& c) { c.trans = 'U'; };
  const auto bad_diag = [](auto& c) { c.diag = 'L'; };
  const auto bad_normin = [](auto& c) { c.normin = 'U'; };
  const auto bad_n = [](auto& c) { c.n = -1; };
  expect_argument_checks<ScaledCall<T, Routine::latrs>>(reported_name<T>("LATRS"), {{1, bad_uplo},
                                                                                    {2, bad_trans},
                                                                                    {3, bad_diag},
                                                                                    {4, bad_normin},
                                                                                    {5, bad_n},
                                                                                    {7, [](auto& c) { c.lda = 2; }},
                                                                                    {7, [](auto& c) { c.lda = 0; }}});
  expect_argument_checks<ScaledCall<T, Routine::latps>>(
      reported_name<T>("LATPS"), {{1, bad_uplo}, {2, bad_trans}, {3, bad_diag}, {4, bad_normin}, {5, bad_n}});
  expect_argument_checks<ScaledCall<T, Routine::latbs>>(reported_name<T>("LATBS"), {{1, bad_uplo},
                                                                                    {2, bad_trans},
                                                                                    {3, bad_diag},
                                                                                    {4, bad_normin},
                                                                                    {5, bad_n},
                                                                                    {6, [](auto& c) { c.kd = -1; }},
                                                                                    {8, [](auto& c) { c.lda = 2; }}});
}

}  // namespace
}  // namespace nuv::test
