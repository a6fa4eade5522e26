// The threaded layer gives the bits of the sequential one, at any number of threads, and goes on alone where it must.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nuv/nuv_services.h>
#include <omp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "blas.hpp"
#include "layer.hpp"
#include "orthogonal/products_with_q.hpp"
#include "support/child_process.hpp"
#include "support/kernel_cases.hpp"
#include "support/options.hpp"
#include "support/packed.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class Threads : public ReportingTest {
 protected:
  void TearDown() override {
    nuv_thread_set_num_threads(0);
    ReportingTest::TearDown();
  }
  Random random{16};
};
TYPED_TEST_SUITE(Threads, Precisions, PrecisionLetter);

template <class T>
std::vector<T> numbers(Random& random, Int m, Int n) {
  const GuardedMatrix<T> A = random_matrix<T>(random, m, n, std::max(1, m));
  return {A.data(), A.data() + std::size_t(m) * n};
}

/// A positive definite matrix of order n.
template <class T>
std::vector<T> definite_numbers(Random& random, Int n) {
  std::vector<T> a = numbers<T>(random, n, n);
  for (Int i = 0; i < n; ++i) a[i + std::size_t(i) * n] = T(2 * std::sqrt(n + 1.0) + 2);
  return a;
}

/// The result of work on a copy of `before`, at each number of threads; all must be the same bits.
template <class T, class Work>
void expect_same_bits(const std::vector<T>& before, Work work) {
  nuv_thread_set_num_threads(1);
  std::vector<T> alone = before;
  work(alone.data());
  for (const int threads : {2, 3, 8}) {
    nuv_thread_set_num_threads(threads);
    std::vector<T> together = before;
    work(together.data());
    EXPECT_EQ(std::memcmp(alone.data(), together.data(), alone.size() * sizeof(T)), 0) << threads << " threads";
  }
}

TYPED_TEST(Threads, GiveTheBitsOfOne) {
  using T = TypeParam;
  const Int m = 150, n = 131, k = 83, q = 150;
  const auto a = numbers<T>(this->random, q, q), b = numbers<T>(this->random, q, q), c = numbers<T>(this->random, q, q);
  std::vector<T> triangle = a;
  for (Int i = 0; i < q; ++i) triangle[i + std::size_t(i) * q] = T(q);
  const Matrix<const T> A{a.data(), q}, B{b.data(), q}, R{triangle.data(), q};
  const T alpha = factor_of<T>(2, -1), beta = factor_of<T>(0.5, 1);
  const auto expect = [&](auto routine) { expect_same_bits(c, [&](T* x) { routine(Matrix<T>{x, q}); }); };
  for (const char trans : transes) {
    SCOPED_TRACE(trans);
    expect([&](Matrix<T> C) { blas::gemm(trans, 'N', m, n, k, alpha, A, B, beta, C); });
    expect([&](Matrix<T> C) { blas::gemm('N', trans, n, m, k, alpha, A, B, beta, C); });
    for (const char uplo : uplos) {
      for (const char side : sides) {
        expect([&](Matrix<T> C) { blas::trmm(side, uplo, trans, 'N', q, q, alpha, A, C); });
        expect([&](Matrix<T> C) { blas::trsm(side, uplo, trans, 'N', q, q, alpha, R, C); });
      }
      if (RealScalar<T> || trans != 'C') {
        expect([&](Matrix<T> C) { blas::syrk(uplo, trans, m, k, alpha, A, beta, C); });
        expect([&](Matrix<T> C) { blas::syr2k(uplo, trans, m, k, alpha, A, B, beta, C); });
      }
      if constexpr (ComplexScalar<T>) {
        if (trans == 'T') continue;
        expect([&](Matrix<T> C) { blas::herk(uplo, trans, m, k, Real<T>(2), A, Real<T>(-1), C); });
        expect([&](Matrix<T> C) { blas::her2k(uplo, trans, m, k, alpha, A, B, Real<T>(-1), C); });
      }
    }
  }
  for (const char uplo : uplos) {
    for (const char side : sides) {
      expect([&](Matrix<T> C) { blas::symm(side, uplo, q, q, alpha, A, B, beta, C); });
      if constexpr (ComplexScalar<T>) {
        expect([&](Matrix<T> C) { blas::hemm(side, uplo, q, q, alpha, A, B, beta, C); });
      }
    }
  }
}

/// Threads take blocks of 256 columns each.
TYPED_TEST(Threads, GiveTheThreeRealProductsOfOne) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    const Int m = 20, n = 700, k = 30;
    const auto a = numbers<T>(this->random, m, k), b = numbers<T>(this->random, n, k),
               c = numbers<T>(this->random, m, n);
    for (const char trans : {'T', 'C'}) {
      expect_same_bits(c, [&](T* x) {
        blas::gemm3m('N', trans, m, n, k, factor_of<T>(2, -1), {a.data(), m}, {b.data(), n}, factor_of<T>(0.5, 1),
                     {x, m});
      });
    }
  }
}

TYPED_TEST(Threads, GiveTheInnerProductsOfOne) {
  using T = TypeParam;
  const Int k = 1100;
  for (const auto& [m, n] : {std::pair<Int, Int>{131, 30}, {30, 131}, {50, 60}, {200, 3}}) {
    SCOPED_TRACE(testing::Message() << m << " by " << n);
    const auto a = numbers<T>(this->random, k, m), b = numbers<T>(this->random, k, n),
               c = numbers<T>(this->random, m, n);
    for (const char trans : {'T', 'C'}) {
      expect_same_bits(c, [&](T* x) {
        blas::gemm(trans, 'N', m, n, k, T(2), {a.data(), k}, {b.data(), k}, T(1), {x, m});
      });
    }
  }
}

TYPED_TEST(Threads, GiveTheFactorsOfOne) {
  using T = TypeParam;
  std::vector<std::pair<int, int>> sizes = {{300, 300}, {513, 400}, {400, 520}, {257, 700}};
  if (std::same_as<T, double>) {
    // Panels of a matrix in cache, whole or not, and orders at both ends of where they pay.
    sizes.insert(sizes.end(),
                 {{257, 257}, {256 + 31, 257}, {290, 288}, {262, 262}, {700, 260}, {447, 447}, {448, 448}});
    // Several strips, whole or not, and columns behind the last row that strips and the square beside them update.
    sizes.insert(sizes.end(), {{900, 1000}, {700, 900}});
    if (!is_sanitized) sizes.insert(sizes.end(), {{1100, 1100}, {1024, 1024}, {1300, 770}});
  }
  for (const auto& [m, n] : sizes) {
    SCOPED_TRACE(std::to_string(m) + " by " + std::to_string(n));
    std::vector<T> a = numbers<T>(this->random, m, n);
    for (const int zero_column : {-1, 256, 200}) {
      if (zero_column >= 0) std::fill_n(a.begin() + std::ptrdiff_t(zero_column) * m, m, T(0));
      std::vector<Int> pivots;
      Int info = 0;
      expect_same_bits(a, [&](T* x) {
        std::vector<Int> mine(std::min(m, n));
        Int my_info = -7;
        layer::getrf(m, n, {x, m}, mine.data(), my_info);
        if (pivots.empty()) {
          pivots = mine;
          info = my_info;
        }
        EXPECT_EQ(pivots, mine);
        EXPECT_EQ(info, my_info);
      });
      EXPECT_EQ(info, zero_column + 1);
    }
  }
}

/// Tasks of matrices in cache take microseconds: what may run beside what shows when they are many.
TYPED_TEST(Threads, GiveTheSameFactorsEachTime) {
  using T = TypeParam;
  const Int n = ComplexScalar<T> ? 210 : 300;
  const int repetitions = is_sanitized ? 3 : 60;
  const std::vector<T> general = numbers<T>(this->random, n, n), definite = definite_numbers<T>(this->random, n);
  for (int i = 0; i < repetitions; ++i) {
    expect_same_bits(definite, [&](T* x) {
      Int info = -7;
      layer::potrf(i % 2 == 0 ? 'L' : 'U', n, {x, n}, info);
      EXPECT_EQ(info, 0);
    });
    if (i % 4 == 0) {
      expect_same_bits(general, [&](T* x) {
        std::vector<T> tau(n), work(std::size_t(16) * n);
        Int info = -7;
        layer::geqrf(n, n, {x, n}, tau.data(), work.data(), 16 * n, info);
        EXPECT_EQ(info, 0);
      });
    }
    if constexpr (std::same_as<T, double>) {
      expect_same_bits(general, [&](T* x) {
        std::vector<Int> pivots(n);
        Int info = -7;
        layer::getrf(n, n, {x, n}, pivots.data(), info);
        EXPECT_EQ(info, 0);
      });
    }
  }
}

TYPED_TEST(Threads, GiveTheCholeskyFactorsOfOne) {
  using T = TypeParam;
  // Two blocks and more, in cache and beyond; the last block whole, of a line, or of few.
  std::vector<Int> orders = {100, 129, 145, 192, 193, 210, 245, 300, 520};
  if (!is_sanitized) orders.insert(orders.end(), {228, 230, 256, 257, 275, 384, 385, 395, 641, 700});
  for (const Int n : orders) {
    for (const Int bad_minor : {0, n - 50, n / 2}) {
      std::vector<T> a = definite_numbers<T>(this->random, n);
      if (bad_minor > 0) a[std::size_t(bad_minor - 1) * (n + 1)] = T(-1);
      for (const char uplo : {'U', 'L'}) {
        expect_same_bits(a, [&](T* x) {
          Int info = -7;
          layer::potrf(uplo, n, {x, n}, info);
          EXPECT_EQ(info, bad_minor) << uplo << ", order " << n;
        });
      }
    }
  }
}

/// An infinity, and the NaNs that it makes, stay where they are and end the factorisation at the same pivot.
TYPED_TEST(Threads, GiveTheCholeskyFactorsOfAnInfinityOfOne) {
  using T = TypeParam;
  const Int n = 210 + (RealScalar<T> ? 90 : 0);
  std::vector<T> a = definite_numbers<T>(this->random, n);
  a[n - 20] = a[std::size_t(n - 20) * n] = std::numeric_limits<Real<T>>::infinity();
  for (const char uplo : uplos) {
    expect_same_bits(a, [&](T* x) {
      Int info = -7;
      layer::potrf(uplo, n, {x, n}, info);
      EXPECT_EQ(info, n - 19) << uplo;
    });
  }
}

TYPED_TEST(Threads, GiveThePackedSolutionsOfOne) {
  using T = TypeParam;
  for (const Int n : {100, 300}) {
    const std::vector<T> b = numbers<T>(this->random, n, 40);
    for (const char uplo : {'U', 'L'}) {
      SCOPED_TRACE(std::to_string(n) + ' ' + uplo);
      std::vector<T> ap = numbers<T>(this->random, 1, packed_size(n));
      for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int k) {
        if (i == j) ap[std::size_t(k - 1)] = T(2 * std::sqrt(n + 1.0) + 2);
      });
      Int info = -7;
      expect_same_bits(ap, [&](T* x) {
        layer::pptrf(uplo, n, x, info);
        EXPECT_EQ(info, 0);
      });
      for (const Int nrhs : {3, 40}) {
        expect_same_bits(b, [&](T* x) {
          layer::pptrs(uplo, n, nrhs, ap.data(), {x, n}, info);
          EXPECT_EQ(info, 0);
          layer::tptrs(uplo, 'T', 'N', n, nrhs, ap.data(), {x, n}, info);
          EXPECT_EQ(info, 0);
        });
      }
    }
  }
}

TYPED_TEST(Threads, GiveThePackedReductionOfOne) {
  using T = TypeParam;
  for (const Int n : {100, 340}) {
    const std::vector<T> ap = numbers<T>(this->random, 1, packed_size(n));
    for (const char uplo : {'U', 'L'}) {
      SCOPED_TRACE(std::to_string(n) + ' ' + uplo);
      expect_same_bits(ap, [&](T* x) {
        std::vector<Real<T>> d(n), e(n);
        std::vector<T> tau(n);
        Int info = -7;
        layer::sptrd(uplo, n, x, d.data(), e.data(), tau.data(), info);
        EXPECT_EQ(info, 0);
      });
    }
  }
}

/// Bands that are solved with by blocks and row by row, for one strip of right-hand sides and for several.
TYPED_TEST(Threads, GiveTheBandSolutionsOfOne) {
  using T = TypeParam;
  for (const auto& [n, kl, ku, nrhs] : {std::array{250, 40, 70, 300}, {250, 40, 70, 100}, {300, 3, 2, 400}}) {
    SCOPED_TRACE(testing::Message() << "kl " << kl << ", ku " << ku << ", right-hand sides " << nrhs);
    const Int ldab = 2 * kl + ku + 1, kd = kl + ku;
    std::vector<T> ab = numbers<T>(this->random, ldab, n);
    for (Int j = 0; j < n; ++j) ab[std::size_t(kd) + std::size_t(j) * ldab] += T(3);
    std::vector<Int> pivots(n);
    expect_same_bits(ab, [&](T* x) {
      Int info = -7;
      layer::gbtrf(n, n, kl, ku, {x, ldab}, pivots.data(), info);
      EXPECT_EQ(info, 0);
    });
    Int info = -7;
    layer::gbtrf(n, n, kl, ku, {ab.data(), ldab}, pivots.data(), info);
    const Matrix<const T> F{ab.data(), ldab};
    const std::vector<T> b = numbers<T>(this->random, n, nrhs);
    for (const char trans : {'N', 'C'}) {
      expect_same_bits(b, [&](T* x) { layer::gbtrs(trans, n, kl, ku, nrhs, F, pivots.data(), {x, n}, info); });
      expect_same_bits(b, [&](T* x) { layer::tbtrs('U', trans, 'N', n, kd, nrhs, F, {x, n}, info); });
    }
    expect_same_bits(b, [&](T* x) { layer::pbtrs('U', n, kd, nrhs, F, {x, n}, info); });
    EXPECT_EQ(info, 0);
  }
}

TYPED_TEST(Threads, GiveTheTridiagonalSolutionsOfOne) {
  using T = TypeParam;
  const Int n = 9000, nrhs = 11;
  const auto dl = numbers<T>(this->random, n, 1), d = numbers<T>(this->random, n, 1),
             du = numbers<T>(this->random, n, 1), du2 = numbers<T>(this->random, n, 1);
  std::vector<Int> pivots(n);
  std::vector<Real<T>> real(n);
  for (Int i = 0; i < n; ++i) {
    pivots[i] = i + 1 + (i % 3 == 0 && i < n - 1 ? 1 : 0);
    real[i] = Real<T>(2 + std::abs(d[i]));
  }
  Int info = -7;
  const auto b = numbers<T>(this->random, n, nrhs);
  for (const char trans : {'N', 'C'}) {
    expect_same_bits(b, [&](T* x) {
      layer::gttrs(trans, n, nrhs, dl.data(), d.data(), du.data(), du2.data(), pivots.data(), {x, n}, info);
    });
  }
  expect_same_bits(b, [&](T* x) {
    if constexpr (ComplexScalar<T>) layer::pttrs('L', n, nrhs, real.data(), dl.data(), {x, n}, info);
    else layer::pttrs(n, nrhs, real.data(), dl.data(), {x, n}, info);
  });
  EXPECT_EQ(info, 0);
}

TYPED_TEST(Threads, GiveTheQrFactorsOfOne) {
  using T = TypeParam;
  // A last panel of all widths that are left to the unblocked code, from the fewest columns on; panels of one width,
  // and of several, of which the wider ones are applied by another form of product.
  std::vector<std::pair<Int, Int>> sizes = {{199, 199}, {200, 200}, {270, 263}, {300, 300}, {620, 225},
                                            {310, 305}, {400, 170}, {240, 360}, {900, 40},  {420, 410}};
  if (!is_sanitized) sizes.insert(sizes.end(), {{1310, 200}, {340, 333}});
  if (!is_sanitized && RealScalar<T>) sizes.push_back({820, 820});
  for (const auto& [m, n] : sizes) {
    SCOPED_TRACE(std::to_string(m) + " by " + std::to_string(n));
    const std::vector<T> a = numbers<T>(this->random, m, n);
    // Room for whole panels, for narrower ones, and not quite for these.
    for (const Int lwork : {64 * n, 37 * n, 16 * n - 1}) {
      std::vector<T> tau;
      expect_same_bits(a, [&](T* x) {
        std::vector<T> mine(std::min(m, n)), work(lwork);
        Int info = -7;
        layer::geqrf(m, n, {x, m}, mine.data(), work.data(), lwork, info);
        EXPECT_EQ(info, 0);
        if (tau.empty()) tau = mine;
        EXPECT_EQ(std::memcmp(tau.data(), mine.data(), mine.size() * sizeof(T)), 0);
      });
    }
  }
}

TYPED_TEST(Threads, GiveTheProductsWithQOfOne) {
  using T = TypeParam;
  // Several blocks of reflectors and two strips of C, large enough for several threads.
  const ProductSizes sizes = is_sanitized ? ProductSizes{70, 270, 40} : ProductSizes{200, 300, 70};
  for (const Form& form : forms) {
    for (const bool left : {true, false}) {
      const ProductWithQ<T> product(this->random, form, left, left == form.forward(), sizes);
      SCOPED_TRACE(to_string(product));
      const Int lwork = left ? sizes.nw : product.best_lwork();
      nuv_thread_set_num_threads(1);
      const GuardedMatrix<T> alone = product.template compute_by<ByLayer>(lwork).C;
      EXPECT_FALSE(alone.unchanged());
      for (const int threads : {2, 3, 8}) {
        nuv_thread_set_num_threads(threads);
        EXPECT_TRUE(product.template compute_by<ByLayer>(lwork).C.same_as(alone)) << threads << " threads";
      }
    }
  }
}

TYPED_TEST(Threads, OfTheProgramMultiplyByQWithMemoryOfTheirOwn) {
  using T = TypeParam;
  nuv_thread_set_num_threads(2);
  for (const Form& form : forms) {
    SCOPED_TRACE(letters_of(form));
    // Least workspace, so that each call takes its own from the pool.
    const ProductWithQ<T> product(this->random, form, true, false, {120, 90, 70});
    const GuardedMatrix<T> expected = product.template compute_by<ByLayer>(product.best_lwork()).C;
    std::vector<int> right(6);
    std::vector<std::thread> callers;
    for (int& mine : right) {
      callers.emplace_back([&] {
        for (int i = 0; i < 5; ++i)
          mine += bool(product.template compute_by<ByLayer>(product.sizes.nw).C.same_as(expected));
      });
    }
    for (std::thread& caller : callers) caller.join();
    for (const int mine : right) EXPECT_EQ(mine, 5);
  }
}

TYPED_TEST(Threads, OfTheProgramFactorWithMemoryOfTheirOwn) {
  using T = TypeParam;
  nuv_thread_set_num_threads(2);
  const Int n = 200;
  const std::vector<T> definite = definite_numbers<T>(this->random, n), general = numbers<T>(this->random, n, n);
  const auto factor = [&] {
    std::vector<T> cholesky = definite, qr = general, tau(n), work(std::size_t(64) * n);
    Int info = -7, qr_info = -7;
    layer::potrf('L', n, {cholesky.data(), n}, info);
    layer::geqrf(n, n, {qr.data(), n}, tau.data(), work.data(), Int(work.size()), qr_info);
    if (info != 0 || qr_info != 0) return std::vector<T>();
    cholesky.insert(cholesky.end(), qr.begin(), qr.end());
    cholesky.insert(cholesky.end(), tau.begin(), tau.end());
    return cholesky;
  };
  const std::vector<T> expected = factor();
  ASSERT_EQ(expected.size(), std::size_t(2 * n + 1) * n);
  std::vector<int> right(6);
  std::vector<std::thread> callers;
  for (int& mine : right) {
    callers.emplace_back([&] {
      for (int i = 0; i < 5; ++i) mine += factor() == expected;
    });
  }
  for (std::thread& caller : callers) caller.join();
  for (const int mine : right) EXPECT_EQ(mine, 5);
}

TYPED_TEST(Threads, AreNotAskedWhereAnArgumentIsBad) {
  using T = TypeParam;
  T a[9] = {}, tau[3] = {}, work[3] = {};
  Int info = 7;
  layer::potrf('X', 3, {a, 3}, info);
  EXPECT_EQ(info, -1);
  layer::potrf('U', 3, {a, 2}, info);
  EXPECT_EQ(info, -4);
  layer::geqrf(3, -1, {a, 3}, tau, work, 3, info);
  EXPECT_EQ(info, -2);
  layer::geqrf(3, 3, {a, 3}, tau, work, 2, info);
  EXPECT_EQ(info, -7);
  EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>("POTRF"), 1},
                                                            {reported_name<T>("POTRF"), 4},
                                                            {reported_name<T>("GEQRF"), 2},
                                                            {reported_name<T>("GEQRF"), 7}}));
}

TEST(ThreadLayers, GiveTheSameFactors) {
  const ChildResult alone = run_child({.arguments = {NUV_PRINT_FACTORS_SEQUENTIAL}});
  EXPECT_TRUE(alone.succeeded()) << to_string(alone);
  EXPECT_EQ(std::count(alone.output.begin(), alone.output.end(), '\n'), 4 * (6 * 6 + 4 * 4 + 3 * 2 + 3 * 2 + 2 * 3));
  const std::vector<const char*> numbers_of_threads = is_sanitized ? std::vector{"3"} : std::vector{"1", "2", "3", "8"};
  for (const char* threads : numbers_of_threads) {
    const ChildResult together =
        run_child({.arguments = {"env", std::string("NUV_NUM_THREADS=") + threads, NUV_PRINT_FACTORS_THREADED}});
    EXPECT_TRUE(together.succeeded()) << to_string(together);
    EXPECT_EQ(together.output, alone.output) << threads << " threads";
  }
}

/// A product large enough for several threads; true if each element is right.
bool product_is_right() {
  const Int n = 200;
  const std::vector<double> ones(std::size_t(n) * n, 1.0);
  std::vector<double> c(ones.size());
  blas::gemm('N', 'N', n, n, n, 1.0, {ones.data(), n}, {ones.data(), n}, 0.0, {c.data(), n});
  return std::all_of(c.begin(), c.end(), [](double x) { return x == n; });
}

TEST(ThreadedLayer, IsBoundAndListens) {
  const char* layer = "libnuv_orvo_thread.so";
  void* const handle = dlopen(layer, RTLD_NOLOAD | RTLD_LAZY);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(nuv_serv_load_thread_fun("nuv_blas_dgemm"), dlsym(handle, "nuv_blas_dgemm"));
  nuv_thread_set_num_threads(5);
  EXPECT_EQ(nuv_thread_get_num_threads(), 5);
  EXPECT_EQ(nuv_serv_nuv_get_max_threads(), 5);
  nuv_thread_set_num_threads(-1);
  EXPECT_EQ(nuv_thread_get_num_threads(), omp_get_max_threads());
  omp_set_num_threads(7);
  EXPECT_EQ(nuv_thread_get_num_threads(), 7);
  omp_set_num_threads(omp_get_num_procs());
}

TEST(ThreadedLayer, SharesTheWorkOfEachRoutine) {
  for (const char* routine : {"gemm", "syrk", "getrf", "potrf", "geqrf", "ormQR", "ormLQ", "ormQL", "ormRQ"}) {
    for (const char* order : {"300", "500"}) {
      const ChildResult counted = run_child({.arguments = {NUV_COUNT_THREADS, routine, order}});
      EXPECT_TRUE(counted.succeeded()) << to_string(counted);
      EXPECT_EQ(counted.output, "1, 2\n") << routine << ", order " << order;
    }
  }
}

/// Runs a program that tells the number of threads in use with a setting of a variable.
std::string threads_with(const std::string& setting) {
  const ChildResult told = run_child({.arguments = {"env", "-u", "OMP_NUM_THREADS", setting, NUV_TELL_THREADS}});
  EXPECT_TRUE(told.succeeded()) << to_string(told);
  return told.output;
}

TEST(ThreadedLayer, TakesItsNumberFromTheEnvironmentIfItIsOne) {
  EXPECT_EQ(threads_with("NUV_NUM_THREADS=3"), "3\n");
  EXPECT_EQ(threads_with("NUV_NUM_THREADS=007"), "7\n");
  EXPECT_EQ(threads_with("NUV_NUM_THREADS=1000"), "256\n");
  EXPECT_EQ(threads_with("NUV_NUM_THREADS=2147483647"), "256\n");
  const std::string unset = threads_with("NUV_NUM_THREADS=");
  for (const char* junk : {"0", "-3", "+3", "3x", " 3", "3 ", "1e9", "0x4", "2147483648", "99999999999", "4294967298",
                           "18446744073709551619", "three"}) {
    EXPECT_EQ(threads_with(std::string("NUV_NUM_THREADS=") + junk), unset) << junk;
  }
  EXPECT_EQ(threads_with("OMP_NUM_THREADS=5,2"), "5\n");
  EXPECT_EQ(threads_with("OMP_NUM_THREADS=5x"), unset);
}

TEST(ThreadedLayer, BoundsTheNumberThatACallAsksFor) {
  nuv_thread_set_num_threads(100000);
  EXPECT_EQ(nuv_thread_get_num_threads(), 256);
  nuv_thread_set_num_threads(0);
}

TEST(ThreadedLayer, HasNoMoreThreadsThanPiecesOfWork) {
  // The narrowest piece of each, but for the last, has so many columns, rows or lines, or more. The most threads of all
  // are more than that leaves, so that they can't be what holds the number.
  const struct {
    const char* routine;
    int order, narrowest;
  } cases[] = {{"gemm", 500, 2},  {"syrk", 500, 4},   {"trsm", 500, 2},  {"getrf", 500, 8},
               {"getrf", 600, 8}, {"potrf", 500, 16}, {"geqrf", 500, 8}, {"ormQR", 500, 2}};
  for (const auto& [routine, order, narrowest] : cases) {
    const ChildResult counted =
        run_child({.arguments = {"env", "NUV_NUM_THREADS=100000", NUV_COUNT_THREADS, routine, std::to_string(order)}});
    ASSERT_TRUE(counted.succeeded()) << to_string(counted);
    int before = 0, after = 0;
    ASSERT_EQ(std::sscanf(counted.output.c_str(), "%d, %d", &before, &after), 2) << counted.output;
    EXPECT_GT(after, 2) << routine << ", order " << order;
    EXPECT_LE(after, (order - 1) / narrowest + 1) << routine << ", order " << order;
  }
}

/// A matrix large enough for tasks on several threads, and its factors of three kinds.
struct Factored {
  Int n;
  std::vector<double> general, definite;

  Factored(Random& random, Int order)
      : n(order), general(numbers<double>(random, n, n)), definite(definite_numbers<double>(random, n)) {}

  std::vector<double> factors() const {
    std::vector<double> lu = general, cholesky = definite, qr = general, tau(n), work(std::size_t(64) * n);
    std::vector<Int> pivots(n);
    Int lu_info = -7, info = -7, qr_info = -7;
    layer::getrf(n, n, {lu.data(), n}, pivots.data(), lu_info);
    layer::potrf('L', n, {cholesky.data(), n}, info);
    layer::geqrf(n, n, {qr.data(), n}, tau.data(), work.data(), 64 * n, qr_info);
    if (info != 0 || lu_info != 0 || qr_info != 0) return {};
    for (const std::vector<double>& more : {cholesky, qr, tau}) lu.insert(lu.end(), more.begin(), more.end());
    return lu;
  }
};

class Factorisations : public testing::TestWithParam<Int> {
 protected:
  void TearDown() override { nuv_thread_set_num_threads(0); }
};
INSTANTIATE_TEST_SUITE_P(Orders, Factorisations, testing::Values(300, 520), testing::PrintToStringParamName());

TEST_P(Factorisations, RunInParallelRegionsInChildrenAndWhileTheNumberOfThreadsChanges) {
  Random random(19);
  const Factored a(random, GetParam());
  nuv_thread_set_num_threads(1);
  const std::vector<double> expected = a.factors();
  ASSERT_FALSE(expected.empty());
  nuv_thread_set_num_threads(4);

  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(2);
  int right = 0;
#pragma omp parallel num_threads(2) reduction(+ : right)
  {
#pragma omp parallel num_threads(2) reduction(+ : right)
    right = a.factors() == expected;
  }
  omp_set_max_active_levels(levels);
  EXPECT_EQ(right, 4);

  ASSERT_EQ(a.factors(), expected);
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    _exit(a.factors() == expected ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;

  std::atomic<bool> is_over = false;
  std::thread changer([&] {
    for (int threads = 1; !is_over; threads = threads % 9 + 1) nuv_thread_set_num_threads(threads);
  });
  for (int i = 0; i < 20; ++i) EXPECT_EQ(a.factors(), expected);
  is_over = true;
  changer.join();
}

TEST_P(Factorisations, ServeSeveralThreadsOfTheProgram) {
  Random random(20);
  const Factored a(random, GetParam());
  const std::vector<double> expected = a.factors();
  ASSERT_FALSE(expected.empty());
  nuv_thread_set_num_threads(2);
  std::vector<int> right(4);
  std::vector<std::thread> callers;
  for (int& mine : right) {
    callers.emplace_back([&] {
      for (int i = 0; i < 10; ++i) mine += a.factors() == expected;
    });
  }
  for (std::thread& caller : callers) caller.join();
  for (const int mine : right) EXPECT_EQ(mine, 10);
}

TEST(ThreadedLayer, WorksAloneInsideAParallelRegion) {
  nuv_thread_set_num_threads(4);
  int right = 0, widest = 0;
#pragma omp parallel num_threads(3) reduction(+ : right) reduction(max : widest)
  {
    widest = nuv_serv_nuv_get_max_threads();
    right = product_is_right();
  }
  EXPECT_EQ(right, 3);
  EXPECT_EQ(widest, 1);
}

int kept_by_the_thread = 0;
#pragma omp threadprivate(kept_by_the_thread)

TEST(ThreadedLayer, LeavesWhatTheProgramsThreadsKeep) {
  omp_set_dynamic(0);
#pragma omp parallel num_threads(4)
  kept_by_the_thread = 100 + omp_get_thread_num();
  std::vector<std::thread> callers;
  for (int i = 0; i < 3; ++i) {
    callers.emplace_back([] {
      for (const int threads : {2, 3}) {
        nuv_thread_set_num_threads(threads);
        EXPECT_TRUE(product_is_right());
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  ASSERT_TRUE(product_is_right());
  nuv_thread_set_num_threads(0);
  int kept = 0;
#pragma omp parallel num_threads(4) reduction(+ : kept)
  kept = kept_by_the_thread == 100 + omp_get_thread_num();
  EXPECT_EQ(kept, 4);
}

TEST(ThreadedLayer, EndsInAForkedChild) {
  nuv_thread_set_num_threads(4);
  ASSERT_TRUE(product_is_right());
  const pid_t child = fork();
  if (child == 0) {
    alarm(30);
    _exit(product_is_right() && nuv_serv_nuv_get_max_threads() == 1 ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(ThreadedLayer, ServesManyThreadsOfTheProgram) {
  nuv_thread_set_num_threads(2);
  std::vector<int> right(8);
  std::vector<std::thread> callers;
  for (int& mine : right) {
    callers.emplace_back([&mine] {
      for (int i = 0; i < 20; ++i) mine += product_is_right();
    });
  }
  for (std::thread& caller : callers) caller.join();
  for (const int mine : right) EXPECT_EQ(mine, 20);
}

TEST(ThreadedLayer, LeavesTheProcessSettings) {
  const int threads = omp_get_max_threads(), dynamic = omp_get_dynamic(), levels = omp_get_max_active_levels();
  nuv_thread_set_num_threads(threads + 3);
  ASSERT_TRUE(product_is_right());
  EXPECT_EQ(omp_get_max_threads(), threads);
  EXPECT_EQ(omp_get_dynamic(), dynamic);
  EXPECT_EQ(omp_get_max_active_levels(), levels);
}

}  // namespace
}  // namespace nuv::test
