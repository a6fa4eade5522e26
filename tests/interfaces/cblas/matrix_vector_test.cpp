// Level 2 in both layouts. The operations that conjugate vectors for a row-major matrix are done with memory and
// without.

#include "interfaces/cblas/heard.hpp"
#include "interfaces/cblas/storage.hpp"
#include "support/memory_requests.hpp"

namespace nuv::test {
namespace {

template <class T>
class MatrixVector : public CblasTest {};
TYPED_TEST_SUITE(MatrixVector, Precisions, PrecisionLetter);

constexpr int memory[] = {MemoryRequests::none, MemoryRequests::all};
constexpr Int orders[] = {0, 1, 2, 7};
constexpr Int shapes[][2] = {{0, 3}, {3, 0}, {1, 1}, {2, 7}, {6, 3}};

template <Scalar T>
constexpr Meaning mirrored = ComplexScalar<T> ? Meaning::hermitian : Meaning::symmetric;

/// y, which is not to be read where its factor is zero.
template <Scalar T>
Stored<T> summand(Random& random, const Storage& storage, T beta) {
  return beta == T(0) ? Stored<T>(storage) : Stored<T>(random, storage);
}

/// Runs a product that makes alpha A x + beta y for an A given as mathematics has it.
template <Scalar T, class Call>
void expect_product(Random& random, const Dense& A, Call call) {
  for (const Increments inc : increments) {
    for (const auto& [alpha, beta] : factors<T>()) {
      for (const int refused : memory) {
        Stored<T> x(random, vector_of(A.columns(), inc.x));
        Stored<T> y = summand(random, vector_of(A.rows(), inc.y), beta);
        const Sum expected = Sum(A.rows(), 1).add(alpha, A, x.dense()).add(beta, y.dense());
        {
          const MemoryRequests requests(refused);
          call(alpha, x, beta, y);
          EXPECT_EQ(requests.kept(), 0);
        }
        EXPECT_TRUE(x.unchanged());
        if (A.rows() == 0 || A.columns() == 0) {
          EXPECT_TRUE(y.unchanged());
        } else {
          y.expect(expected);
        }
      }
    }
  }
}

/// storage_of(layout, m, n)  storage of A
template <Scalar T, class StorageOf, class Call>
void expect_general_products(StorageOf storage_of, Call call) {
  Random random(1);
  for (const CBLAS_LAYOUT layout : layouts) {
    for (const auto& [m, n] : shapes) {
      for (const CBLAS_TRANSPOSE trans : all_trans) {
        SCOPED_TRACE(testing::Message() << "layout " << layout << " trans " << trans << ", " << m << " by " << n);
        Stored<T> A(random, storage_of(layout, m, n));
        expect_product<T>(random, op(trans, A.dense()), [&](const T& alpha, auto& x, const T& beta, auto& y) {
          call(layout, trans, m, n, scalar(alpha), A, x, scalar(beta), y);
        });
      }
    }
  }
}

TYPED_TEST(MatrixVector, GeneralProducts) {
  using T = TypeParam;
  expect_general_products<T>(
      [](CBLAS_LAYOUT layout, Int m, Int n) { return general(layout, m, n, 2); },
      [](auto layout, auto trans, Int m, Int n, auto alpha, auto& A, auto& x, auto beta, auto& y) {
        NUV_MEMBER(T, gemv, gemv)
        (layout, trans, m, n, alpha, A.data(), A.ld(), x.data(), x.ld(), beta, y.data(), y.ld());
      });
}

TYPED_TEST(MatrixVector, BandProducts) {
  using T = TypeParam;
  for (const auto& [kl, ku] : {std::pair{0, 0}, {2, 1}, {0, 3}, {9, 8}}) {
    expect_general_products<T>(
        [&](CBLAS_LAYOUT layout, Int m, Int n) { return general_band(layout, m, n, kl, ku, 1); },
        [&](auto layout, auto trans, Int m, Int n, auto alpha, auto& A, auto& x, auto beta, auto& y) {
          NUV_MEMBER(T, gbmv, gbmv)
          (layout, trans, m, n, kl, ku, alpha, A.data(), A.ld(), x.data(), x.ld(), beta, y.data(), y.ld());
        });
  }
}

/// Runs body(layout, uplo, n) for all of them.
template <class Body>
void for_each_triangle(Body body) {
  for (const CBLAS_LAYOUT layout : layouts) {
    for (const CBLAS_UPLO uplo : all_uplo) {
      for (const Int n : orders) {
        SCOPED_TRACE(testing::Message() << "layout " << layout << " uplo " << uplo << " n " << n);
        body(layout, uplo, n);
      }
    }
  }
}

/// storage_of(layout, uplo, n)  storage of A
template <Scalar T, class StorageOf, class Call>
void expect_symmetric_products(StorageOf storage_of, Call call) {
  Random random(2);
  for_each_triangle([&](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) {
    Stored<T> A(random, storage_of(layout, uplo, n), mirrored<T>);
    expect_product<T>(random, A.dense(), [&](const T& alpha, auto& x, const T& beta, auto& y) {
      call(layout, uplo, n, scalar(alpha), A, x, scalar(beta), y);
    });
  });
}

TYPED_TEST(MatrixVector, SymmetricProducts) {
  using T = TypeParam;
  expect_symmetric_products<T>([](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) { return triangle(layout, uplo, n, 2); },
                               [](auto layout, auto uplo, Int n, auto alpha, auto& A, auto& x, auto beta, auto& y) {
                                 NUV_MEMBER(T, symv, hemv)
                                 (layout, uplo, n, alpha, A.data(), A.ld(), x.data(), x.ld(), beta, y.data(), y.ld());
                               });
}

TYPED_TEST(MatrixVector, SymmetricBandProducts) {
  using T = TypeParam;
  for (const Int k : {0, 2, 9}) {
    expect_symmetric_products<T>(
        [&](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) { return triangle_band(layout, uplo, n, k, 1); },
        [&](auto layout, auto uplo, Int n, auto alpha, auto& A, auto& x, auto beta, auto& y) {
          NUV_MEMBER(T, sbmv, hbmv)
          (layout, uplo, n, k, alpha, A.data(), A.ld(), x.data(), x.ld(), beta, y.data(), y.ld());
        });
  }
}

TYPED_TEST(MatrixVector, SymmetricPackedProducts) {
  using T = TypeParam;
  expect_symmetric_products<T>(
      packed_triangle, [](auto layout, auto uplo, Int n, auto alpha, auto& A, auto& x, auto beta, auto& y) {
        NUV_MEMBER(T, spmv, hpmv)(layout, uplo, n, alpha, A.data(), x.data(), x.ld(), beta, y.data(), y.ld());
      });
}

/// Runs an update of A by vectors of these lengths, call(alpha, x, y), with and without memory. expected(alpha, x, y)
/// gives the sum.
template <Scalar T, class Factor, class Make, class Call, class Expected>
void expect_update(Random& random, Int m, Int n, const std::vector<Factor>& alphas, Make make, Call call,
                   Expected expected) {
  for (const Increments inc : increments) {
    for (const Factor alpha : alphas) {
      for (const int refused : memory) {
        Stored<T> A = make(), x(random, vector_of(m, inc.x)), y(random, vector_of(n, inc.y));
        const Sum sum = expected(A.dense(), alpha, x.dense(), y.dense());
        {
          const MemoryRequests requests(refused);
          call(alpha, A, x, y);
          EXPECT_EQ(requests.kept(), 0);
        }
        EXPECT_TRUE(x.unchanged() && y.unchanged());
        if (alpha == Factor(0)) {
          EXPECT_TRUE(A.unchanged());
        } else {
          A.expect(sum);
        }
      }
    }
  }
}

template <Scalar T>
std::vector<T> update_factors() {
  Random random(4);
  return {T(0), T(1), random.divisor<T>()};
}

template <Scalar T, class Update>
void expect_outer_product(CBLAS_TRANSPOSE trans_y, Update update) {
  Random random(5);
  for (const CBLAS_LAYOUT layout : layouts) {
    for (const auto& [m, n] : shapes) {
      SCOPED_TRACE(testing::Message() << "layout " << layout << ", " << m << " by " << n);
      expect_update<T, T>(
          random, m, n, update_factors<T>(), [&] { return Stored<T>(random, general(layout, m, n, 2)); },
          [&](const T& alpha, auto& A, auto& x, auto& y) {
            update(layout, m, n, scalar(alpha), x.data(), x.ld(), y.data(), y.ld(), A.data(), A.ld());
          },
          [&](const Dense& A, T alpha, const Dense& x, const Dense& y) {
            return Sum::product(alpha, x, op(trans_y, y)).add(1, A);
          });
    }
  }
}

TYPED_TEST(MatrixVector, OuterProducts) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    expect_outer_product<T>(CblasTrans, member<T>(0, 0, cblas_cgeru, cblas_zgeru));
    expect_outer_product<T>(CblasConjTrans, member<T>(0, 0, cblas_cgerc, cblas_zgerc));
  } else {
    expect_outer_product<T>(CblasTrans, member<T>(cblas_sger, cblas_dger, 0, 0));
  }
}

/// storage_of(layout, uplo, n)  storage of A; call(layout, uplo, n, alpha, x, A) updates it
template <Scalar T, class StorageOf, class Call>
void expect_rank_one(StorageOf storage_of, Call call) {
  Random random(6);
  for_each_triangle([&](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) {
    expect_update<T, Real<T>>(
        random, n, 0, update_factors<Real<T>>(),
        [&] { return Stored<T>(random, storage_of(layout, uplo, n), mirrored<T>); },
        [&](Real<T> alpha, auto& A, auto& x, auto&) { call(layout, uplo, n, alpha, x, A); },
        [&](const Dense& A, Real<T> alpha, const Dense& x, const Dense&) {
          return Sum::product(alpha, x, op(CblasConjTrans, x)).add(1, A);
        });
  });
}

TYPED_TEST(MatrixVector, RankOneUpdates) {
  using T = TypeParam;
  expect_rank_one<T>([](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) { return triangle(layout, uplo, n, 2); },
                     [](auto layout, auto uplo, Int n, auto alpha, auto& x, auto& A) {
                       NUV_MEMBER(T, syr, her)(layout, uplo, n, alpha, x.data(), x.ld(), A.data(), A.ld());
                     });
  expect_rank_one<T>(packed_triangle, [](auto layout, auto uplo, Int n, auto alpha, auto& x, auto& A) {
    NUV_MEMBER(T, spr, hpr)(layout, uplo, n, alpha, x.data(), x.ld(), A.data());
  });
}

template <Scalar T, class StorageOf, class Call>
void expect_rank_two(StorageOf storage_of, Call call) {
  Random random(7);
  for_each_triangle([&](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) {
    expect_update<T, T>(
        random, n, n, update_factors<T>(), [&] { return Stored<T>(random, storage_of(layout, uplo, n), mirrored<T>); },
        [&](const T& alpha, auto& A, auto& x, auto& y) { call(layout, uplo, n, scalar(alpha), x, y, A); },
        [&](const Dense& A, T alpha, const Dense& x, const Dense& y) {
          return Sum::product(alpha, x, op(CblasConjTrans, y))
              .add(conjugate(alpha), y, op(CblasConjTrans, x))
              .add(1, A);
        });
  });
}

TYPED_TEST(MatrixVector, RankTwoUpdates) {
  using T = TypeParam;
  expect_rank_two<T>([](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) { return triangle(layout, uplo, n, 2); },
                     [](auto layout, auto uplo, Int n, auto alpha, auto& x, auto& y, auto& A) {
                       NUV_MEMBER(T, syr2, her2)
                       (layout, uplo, n, alpha, x.data(), x.ld(), y.data(), y.ld(), A.data(), A.ld());
                     });
  expect_rank_two<T>(packed_triangle, [](auto layout, auto uplo, Int n, auto alpha, auto& x, auto& y, auto& A) {
    NUV_MEMBER(T, spr2, hpr2)(layout, uplo, n, alpha, x.data(), x.ld(), y.data(), y.ld(), A.data());
  });
}

/// multiply and solve(layout, uplo, trans, diag, n, A, x)
template <Scalar T, class StorageOf, class Multiply, class Solve>
void expect_triangular(StorageOf storage_of, Multiply multiply, Solve solve) {
  Random random(8);
  for_each_triangle([&](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) {
    for (const CBLAS_DIAG diag : all_diag) {
      Stored<T> A(random, storage_of(layout, uplo, n), diag == CblasUnit ? Meaning::unit_triangle : Meaning::as_stored);
      for (const CBLAS_TRANSPOSE trans : all_trans) {
        SCOPED_TRACE(testing::Message() << "trans " << trans << " diag " << diag);
        const Dense opA = op(trans, A.dense());
        for (const Increments inc : increments) {
          const Stored<T> x(random, vector_of(n, inc.x));
          Stored<T> product = x;
          multiply(layout, uplo, trans, diag, n, A, product);
          product.expect(Sum::product(1, opA, x.dense()));

          Stored<T> solution = x;
          solve(layout, uplo, trans, diag, n, A, solution);
          const Sum residual = Sum::product(1, opA, solution.dense()).add(-1, x.dense());
          for (Int i = 0; i < n; ++i) EXPECT_LE(residual.error_of(i, 0, 0, epsilon<T>), 10);
        }
      }
    }
  });
}

TYPED_TEST(MatrixVector, Triangular) {
  using T = TypeParam;
  expect_triangular<T>([](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) { return triangle(layout, uplo, n, 2); },
                       [](auto layout, auto uplo, auto trans, auto diag, Int n, auto& A, auto& x) {
                         NUV_MEMBER(T, trmv, trmv)(layout, uplo, trans, diag, n, A.data(), A.ld(), x.data(), x.ld());
                       },
                       [](auto layout, auto uplo, auto trans, auto diag, Int n, auto& A, auto& x) {
                         NUV_MEMBER(T, trsv, trsv)(layout, uplo, trans, diag, n, A.data(), A.ld(), x.data(), x.ld());
                       });
}

TYPED_TEST(MatrixVector, TriangularBand) {
  using T = TypeParam;
  for (const Int k : {0, 2, 9}) {
    expect_triangular<T>(
        [&](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) { return triangle_band(layout, uplo, n, k, 1); },
        [&](auto layout, auto uplo, auto trans, auto diag, Int n, auto& A, auto& x) {
          NUV_MEMBER(T, tbmv, tbmv)(layout, uplo, trans, diag, n, k, A.data(), A.ld(), x.data(), x.ld());
        },
        [&](auto layout, auto uplo, auto trans, auto diag, Int n, auto& A, auto& x) {
          NUV_MEMBER(T, tbsv, tbsv)(layout, uplo, trans, diag, n, k, A.data(), A.ld(), x.data(), x.ld());
        });
  }
}

TYPED_TEST(MatrixVector, TriangularPacked) {
  using T = TypeParam;
  expect_triangular<T>(
      packed_triangle,
      [](auto layout, auto uplo, auto trans, auto diag, Int n, auto& A, auto& x) {
        NUV_MEMBER(T, tpmv, tpmv)(layout, uplo, trans, diag, n, A.data(), x.data(), x.ld());
      },
      [](auto layout, auto uplo, auto trans, auto diag, Int n, auto& A, auto& x) {
        NUV_MEMBER(T, tpsv, tpsv)(layout, uplo, trans, diag, n, A.data(), x.data(), x.ld());
      });
}

// ------------------------------------------------------------------------------------------------------------- memory

TEST(WorkMemory, CopiesAreOneRequest) {
  using T = std::complex<double>;
  constexpr Int n = 50;
  const T alpha{1, 2};
  std::vector<T> a(n * n, T(1)), x(n, T(1)), y(n, T(1));
  {
    const MemoryRequests requests;
    cblas_zher2(CblasRowMajor, CblasUpper, n, &alpha, x.data(), 1, y.data(), 1, a.data(), n);
    EXPECT_EQ(requests.count(), 1);
    EXPECT_TRUE(requests.included(2 * n * sizeof(T)));
  }
  const MemoryRequests requests;
  cblas_zher2(CblasColMajor, CblasUpper, n, &alpha, x.data(), 1, y.data(), 1, a.data(), n);
  EXPECT_EQ(requests.count(), 0);
}

TEST(WorkMemory, NothingIsReadWhereAlphaIsZero) {
  using T = std::complex<double>;
  const T alpha = 0, beta = {2, 1};
  T y[] = {{1, 2}, {3, -4}};
  cblas_zhemv(CblasRowMajor, CblasUpper, 2, &alpha, nullptr, 2, nullptr, 1, &beta, y, 1);
  EXPECT_EQ(y[0], T(0, 5));
  EXPECT_EQ(y[1], T(10, -5));
  cblas_zgerc(CblasRowMajor, 2, 2, &alpha, nullptr, 1, nullptr, 1, nullptr, 2);
}

}  // namespace
}  // namespace nuv::test
