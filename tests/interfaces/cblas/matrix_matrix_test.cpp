// Level 3 in both layouts.

#include "interfaces/cblas/heard.hpp"
#include "interfaces/cblas/storage.hpp"

namespace nuv::test {
namespace {

template <class T>
class MatrixMatrix : public CblasTest {};
TYPED_TEST_SUITE(MatrixMatrix, Precisions, PrecisionLetter);

constexpr Int products[][3] = {{0, 3, 2}, {3, 0, 2}, {3, 2, 0}, {1, 1, 1}, {4, 7, 3}, {9, 2, 6}};
constexpr Int shapes[][2] = {{0, 3}, {3, 0}, {1, 1}, {4, 7}, {9, 2}};

/// C, which is not to be read where its factor is zero.
template <Scalar T>
Stored<T> summand(Random& random, const Storage& storage, bool is_read, Meaning meaning = Meaning::as_stored) {
  return is_read ? Stored<T>(random, storage, meaning) : Stored<T>(storage);
}

/// An m by n matrix as it is stored where trans transposes it.
Storage general(CBLAS_LAYOUT layout, CBLAS_TRANSPOSE trans, Int m, Int n, Int more) {
  return trans == CblasNoTrans ? test::general(layout, m, n, more) : test::general(layout, n, m, more);
}

template <Scalar T, class Gemm>
void expect_gemm(Gemm gemm) {
  Random random(1);
  for (const CBLAS_LAYOUT layout : layouts) {
    for (const auto& [m, n, k] : products) {
      for (const CBLAS_TRANSPOSE transa : all_trans) {
        for (const CBLAS_TRANSPOSE transb : all_trans) {
          SCOPED_TRACE(testing::Message() << "layout " << layout << " transa " << transa << " transb " << transb << ", "
                                          << m << ", " << n << ", " << k);
          Stored<T> A(random, general(layout, transa, m, k, 1)), B(random, general(layout, transb, k, n, 2));
          for (const auto& [alpha, beta] : factors<T>()) {
            auto C = summand<T>(random, test::general(layout, m, n, 3), beta != T(0));
            const Sum expected = Sum::product(alpha, op(transa, A.dense()), op(transb, B.dense())).add(beta, C.dense());
            gemm(layout, transa, transb, m, n, k, scalar(alpha), A.data(), A.ld(), B.data(), B.ld(), scalar(beta),
                 C.data(), C.ld());
            C.expect(expected);
          }
        }
      }
    }
  }
}

TYPED_TEST(MatrixMatrix, Gemm) {
  using T = TypeParam;
  expect_gemm<T>(NUV_MEMBER(T, gemm, gemm));
  if constexpr (ComplexScalar<T>) expect_gemm<T>(member<T>(0, 0, cblas_cgemm3m, cblas_zgemm3m));
}

/// Runs body(layout, side, uplo, m, n, order of A) for all of them.
template <class Body>
void for_each_side(Body body) {
  for (const CBLAS_LAYOUT layout : layouts) {
    for (const CBLAS_SIDE side : all_sides) {
      for (const CBLAS_UPLO uplo : all_uplo) {
        for (const auto& [m, n] : shapes) {
          SCOPED_TRACE(testing::Message()
                       << "layout " << layout << " side " << side << " uplo " << uplo << ", " << m << " by " << n);
          body(layout, side, uplo, m, n, side == CblasLeft ? m : n);
        }
      }
    }
  }
}

Sum product(CBLAS_SIDE side, WideScalar alpha, const Dense& A, const Dense& B) {
  return side == CblasLeft ? Sum::product(alpha, A, B) : Sum::product(alpha, B, A);
}

template <Scalar T, class Symm>
void expect_symm(Meaning meaning, Symm symm) {
  Random random(2);
  for_each_side([&](CBLAS_LAYOUT layout, CBLAS_SIDE side, CBLAS_UPLO uplo, Int m, Int n, Int order) {
    Stored<T> A(random, triangle(layout, uplo, order, 2), meaning), B(random, test::general(layout, m, n, 1));
    for (const auto& [alpha, beta] : factors<T>()) {
      auto C = summand<T>(random, test::general(layout, m, n, 3), beta != T(0));
      const Sum expected = product(side, alpha, A.dense(), B.dense()).add(beta, C.dense());
      symm(layout, side, uplo, m, n, scalar(alpha), A.data(), A.ld(), B.data(), B.ld(), scalar(beta), C.data(), C.ld());
      C.expect(expected);
    }
  });
}

TYPED_TEST(MatrixMatrix, Symm) {
  using T = TypeParam;
  expect_symm<T>(Meaning::symmetric, NUV_MEMBER(T, symm, symm));
  if constexpr (ComplexScalar<T>) expect_symm<T>(Meaning::hermitian, member<T>(0, 0, cblas_chemm, cblas_zhemm));
}

/// Runs body(layout, uplo, trans, n, k) for all of them with this transposition.
template <class Body>
void for_each_rank_k(CBLAS_TRANSPOSE transposition, Body body) {
  for (const CBLAS_LAYOUT layout : layouts) {
    for (const CBLAS_UPLO uplo : all_uplo) {
      for (const CBLAS_TRANSPOSE trans : {CblasNoTrans, transposition}) {
        for (const auto& [n, k] : shapes) {
          SCOPED_TRACE(testing::Message()
                       << "layout " << layout << " uplo " << uplo << " trans " << trans << " n " << n << " k " << k);
          body(layout, uplo, trans, n, k);
        }
      }
    }
  }
}

/// Expects C changed, unless nothing was to be added to it and it keeps its factor of one.
template <Scalar T>
void expect_updated(Stored<T>& C, bool nothing_is_added, WideScalar beta, const Sum& expected) {
  if (nothing_is_added && beta == WideScalar(1)) {
    EXPECT_TRUE(C.unchanged());
  } else {
    C.expect(expected);
  }
}

/// Factor is the type of alpha and beta; the transposition belongs to the meaning of C.
template <Scalar T, Scalar Factor, class Syrk>
void expect_syrk(CBLAS_TRANSPOSE transposition, Meaning meaning, Syrk syrk) {
  Random random(3);
  for_each_rank_k(transposition, [&](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, CBLAS_TRANSPOSE trans, Int n, Int k) {
    Stored<T> A(random, general(layout, trans, n, k, 1));
    const Dense opA = op(trans, A.dense());
    for (const auto& [alpha, beta] : factors<Factor>()) {
      auto C = summand<T>(random, triangle(layout, uplo, n, 2), beta != Factor(0), meaning);
      const Sum expected = Sum::product(alpha, opA, op(transposition, opA)).add(beta, C.dense());
      syrk(layout, uplo, trans, n, k, scalar(alpha), A.data(), A.ld(), scalar(beta), C.data(), C.ld());
      expect_updated(C, alpha == Factor(0) || k == 0, beta, expected);
    }
  });
}

TYPED_TEST(MatrixMatrix, Syrk) {
  using T = TypeParam;
  expect_syrk<T, T>(CblasTrans, Meaning::symmetric, NUV_MEMBER(T, syrk, syrk));
  if constexpr (ComplexScalar<T>) {
    expect_syrk<T, Real<T>>(CblasConjTrans, Meaning::hermitian, member<T>(0, 0, cblas_cherk, cblas_zherk));
  } else {
    expect_syrk<T, T>(CblasConjTrans, Meaning::symmetric, member<T>(cblas_ssyrk, cblas_dsyrk, 0, 0));
  }
}

template <Scalar T, Scalar Beta, class Syr2k>
void expect_syr2k(CBLAS_TRANSPOSE transposition, Meaning meaning, Syr2k syr2k) {
  Random random(4);
  for_each_rank_k(transposition, [&](CBLAS_LAYOUT layout, CBLAS_UPLO uplo, CBLAS_TRANSPOSE trans, Int n, Int k) {
    Stored<T> A(random, general(layout, trans, n, k, 1)), B(random, general(layout, trans, n, k, 4));
    const Dense opA = op(trans, A.dense()), opB = op(trans, B.dense());
    for (const auto& [alpha, any_beta] : factors<T>()) {
      const Beta beta = [&] {
        if constexpr (std::same_as<Beta, T>) return any_beta;
        else return std::real(any_beta);
      }();
      auto C = summand<T>(random, triangle(layout, uplo, n, 2), beta != Beta(0), meaning);
      const T other_alpha = meaning == Meaning::hermitian ? conjugate(alpha) : alpha;
      const Sum expected = Sum::product(alpha, opA, op(transposition, opB))
                               .add(other_alpha, opB, op(transposition, opA))
                               .add(beta, C.dense());
      syr2k(layout, uplo, trans, n, k, scalar(alpha), A.data(), A.ld(), B.data(), B.ld(), scalar(beta), C.data(),
            C.ld());
      expect_updated(C, alpha == T(0) || k == 0, beta, expected);
    }
  });
}

TYPED_TEST(MatrixMatrix, Syr2k) {
  using T = TypeParam;
  expect_syr2k<T, T>(CblasTrans, Meaning::symmetric, NUV_MEMBER(T, syr2k, syr2k));
  if constexpr (ComplexScalar<T>) {
    expect_syr2k<T, Real<T>>(CblasConjTrans, Meaning::hermitian, member<T>(0, 0, cblas_cher2k, cblas_zher2k));
  } else {
    expect_syr2k<T, T>(CblasConjTrans, Meaning::symmetric, member<T>(cblas_ssyr2k, cblas_dsyr2k, 0, 0));
  }
}

/// Runs the routine on all triangles A, and judge(side, alpha, op(A), B, what B became).
template <Scalar T, class Routine, class Judge>
void for_each_triangular(Routine routine, Judge judge) {
  Random random(5);
  for_each_side([&](CBLAS_LAYOUT layout, CBLAS_SIDE side, CBLAS_UPLO uplo, Int m, Int n, Int order) {
    for (const CBLAS_DIAG diag : all_diag) {
      Stored<T> A(random, triangle(layout, uplo, order, 2),
                  diag == CblasUnit ? Meaning::unit_triangle : Meaning::as_stored);
      for (const CBLAS_TRANSPOSE trans : all_trans) {
        SCOPED_TRACE(testing::Message() << "trans " << trans << " diag " << diag);
        for (const auto& [alpha, unused] : factors<T>()) {
          const Stored<T> B(random, test::general(layout, m, n, 1));
          Stored<T> X = B;
          routine(layout, side, uplo, trans, diag, m, n, scalar(alpha), A.data(), A.ld(), X.data(), X.ld());
          EXPECT_TRUE(A.unchanged());
          judge(side, alpha, op(trans, A.dense()), B, X);
        }
      }
    }
  });
}

TYPED_TEST(MatrixMatrix, Trmm) {
  using T = TypeParam;
  for_each_triangular<T>(NUV_MEMBER(T, trmm, trmm),
                         [](CBLAS_SIDE side, T alpha, const Dense& opA, const Stored<T>& B, Stored<T>& X) {
                           X.expect(product(side, alpha, opA, B.dense()));
                         });
}

TYPED_TEST(MatrixMatrix, Trsm) {
  using T = TypeParam;
  for_each_triangular<T>(NUV_MEMBER(T, trsm, trsm),
                         [](CBLAS_SIDE side, T alpha, const Dense& opA, const Stored<T>& B, Stored<T>& X) {
                           const Dense solution = X.dense();
                           const Sum residual = product(side, 1, opA, solution).add(-WideScalar(alpha), B.dense());
                           for (Int j = 0; j < solution.columns(); ++j) {
                             for (Int i = 0; i < solution.rows(); ++i) {
                               EXPECT_LE(residual.error_of(i, j, 0, epsilon<T>), 10);
                             }
                           }
                         });
}

}  // namespace
}  // namespace nuv::test
