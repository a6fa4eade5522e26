// Matrix products and solves, sizes 4 to 4000, and products with one short side.

#include "blas.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

// A peer that is called by its Fortran names.
extern "C" {
#define NUV_PEER_PRODUCT(name, T)                                                                                   \
  void name(const char*, const char*, const int*, const int*, const int*, const T*, const T*, const int*, const T*, \
            const int*, const T*, T*, const int*);
NUV_PEER_PRODUCT(sgemm_, float)
NUV_PEER_PRODUCT(dgemm_, double)
NUV_PEER_PRODUCT(cgemm_, std::complex<float>)
NUV_PEER_PRODUCT(zgemm_, std::complex<double>)
#undef NUV_PEER_PRODUCT
}

namespace nuv::bench {
namespace {

void peer_gemm(char ta, char tb, int m, int n, int k, const float* a, int lda, const float* b, int ldb, float* c,
               int ldc) {
  const float one = 1, zero = 0;
  sgemm_(&ta, &tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}
void peer_gemm(char ta, char tb, int m, int n, int k, const double* a, int lda, const double* b, int ldb, double* c,
               int ldc) {
  const double one = 1, zero = 0;
  dgemm_(&ta, &tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}
void peer_gemm(char ta, char tb, int m, int n, int k, const std::complex<float>* a, int lda,
               const std::complex<float>* b, int ldb, std::complex<float>* c, int ldc) {
  const std::complex<float> one = 1, zero = 0;
  cgemm_(&ta, &tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}
void peer_gemm(char ta, char tb, int m, int n, int k, const std::complex<double>* a, int lda,
               const std::complex<double>* b, int ldb, std::complex<double>* c, int ldc) {
  const std::complex<double> one = 1, zero = 0;
  zgemm_(&ta, &tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}

constexpr int square_sizes[] = {4, 8, 16, 32, 64, 100, 128, 200, 300, 500, 1000, 2000, 4000};

template <class T>
struct Operands {
  std::vector<T> a, b, c;
  Operands(std::size_t na, std::size_t nb, std::size_t nc)
      : a(random_numbers<T>(na)), b(random_numbers<T>(nb)), c(random_numbers<T>(nc)) {}
};

template <class T>
auto product_by_eigen(char ta, char tb, int m, int n, int k) {
  return [=] {
    const EigenMatrix<T> a = ta == 'N' ? EigenMatrix<T>::Random(m, k) : EigenMatrix<T>::Random(k, m);
    const EigenMatrix<T> b = tb == 'N' ? EigenMatrix<T>::Random(k, n) : EigenMatrix<T>::Random(n, k);
    EigenMatrix<T> c(m, n);
    return [=]() mutable {
      if (ta == 'N' && tb == 'N') c.noalias() = a * b;
      else if (ta == 'N') c.noalias() = a * b.transpose();
      else if (tb == 'N') c.noalias() = a.transpose() * b;
      else c.noalias() = a.transpose() * b.transpose();
      benchmark::DoNotOptimize(c.data());
    };
  };
}

template <class T>
void add_product(const std::string& routine, char ta, char tb, int m, int n, int k, long size) {
  const Measure measure = multiply_adds<T>(double(m) * n * k);
  const int lda = ta == 'N' ? m : k, ldb = tb == 'N' ? k : n;
  const auto operands = [=] { return Operands<T>(std::size_t(m) * k, std::size_t(k) * n, std::size_t(m) * n); };
  add(routine, "nuv", size, measure, [=] {
    return [=, x = operands()]() mutable {
      blas::gemm(ta, tb, m, n, k, T(1), {x.a.data(), lda}, {x.b.data(), ldb}, T(0), {x.c.data(), m});
    };
  });
  add(routine, "blis", size, measure, [=] {
    return
        [=, x = operands()]() mutable { peer_gemm(ta, tb, m, n, k, x.a.data(), lda, x.b.data(), ldb, x.c.data(), m); };
  });
  add(routine, "eigen", size, measure, product_by_eigen<T>(ta, tb, m, n, k));
}

template <class T>
void add_products() {
  const std::string gemm = std::string(1, letter<T>) + "gemm_";
  for (const char* op : {"NN", "NT", "TN", "TT"}) {
    for (const int n : square_sizes) add_product<T>(gemm + op, op[0], op[1], n, n, n, n);
  }
}

void add_skinny_products() {
  for (const int k : {8, 32, 128}) add_product<double>("dgemm_NN_m=n=2000_k", 'N', 'N', 2000, 2000, k, k);
  for (const int k : {200, 1000, 20000}) add_product<double>("dgemm_TN_m=n=50_k", 'T', 'N', 50, 50, k, k);
  for (const int n : {200, 500, 1000, 2000}) {
    add_product<double>("dgemm_TN_n=16", 'T', 'N', n, 16, n, n);
    add_product<double>("dgemm_NN_m=16", 'N', 'N', 16, n, n, n);
    add_product<double>("dgemm_NN_n=16", 'N', 'N', n, 16, n, n);
  }
}

/// Square problems of the other operations; `work(n, a, b, c)` does one.
template <class T, class Work>
void add_square(const std::string& routine, double multiply_adds_per_cube, Work work) {
  for (const int n : square_sizes) {
    add(std::string(1, letter<T>) + routine, "nuv", n, multiply_adds<T>(multiply_adds_per_cube * n * n * n), [=] {
      const std::size_t size = std::size_t(n) * n;
      Operands<T> x(size, size, size);
      // Triangles with small entries beside a diagonal of ones, so that repeated solves stay finite.
      for (std::size_t i = 0; i < size; ++i) x.a[i] = i % (n + 1) == 0 ? T(1) : x.a[i] / T(n);
      return [=]() mutable { work(n, Matrix<T>{x.a.data(), n}, Matrix<T>{x.b.data(), n}, Matrix<T>{x.c.data(), n}); };
    });
  }
}

template <class T>
void add_symmetric_and_triangular() {
  for (const char uplo : {'L', 'U'}) {
    for (const char trans : {'N', 'T'}) {
      const std::string options = std::string("_") + uplo + trans;
      add_square<T>("syrk" + options, 0.5,
                    [=](int n, auto A, auto, auto C) { blas::syrk(uplo, trans, n, n, T(1), A, T(0), C); });
      add_square<T>("syr2k" + options, 1,
                    [=](int n, auto A, auto B, auto C) { blas::syr2k(uplo, trans, n, n, T(1), A, B, T(0), C); });
    }
    for (const char side : {'L', 'R'}) {
      const std::string options = std::string("_") + side + uplo;
      add_square<T>("symm" + options, 1,
                    [=](int n, auto A, auto B, auto C) { blas::symm(side, uplo, n, n, T(1), A, B, T(0), C); });
      for (const char trans : {'N', 'T'}) {
        add_square<T>("trmm" + options + trans, 0.5,
                      [=](int n, auto A, auto B, auto) { blas::trmm(side, uplo, trans, 'N', n, n, T(1), A, B); });
        add_square<T>("trsm" + options + trans, 0.5,
                      [=](int n, auto A, auto B, auto) { blas::trsm(side, uplo, trans, 'N', n, n, T(1), A, B); });
      }
    }
  }
}

void add_hermitian() {
  using Z = std::complex<double>;
  for (const char uplo : {'L', 'U'}) {
    for (const char trans : {'N', 'C'}) {
      add_square<Z>(std::string("herk_") + uplo + trans, 0.5,
                    [=](int n, auto A, auto, auto C) { blas::herk(uplo, trans, n, n, 1.0, A, 0.0, C); });
    }
  }
  add_square<Z>("gemm3m_NN", 1,
                [](int n, auto A, auto B, auto C) { blas::gemm3m('N', 'N', n, n, n, Z(1), A, B, Z(0), C); });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  add_products<double>();
  add_products<float>();
  add_products<std::complex<double>>();
  add_products<std::complex<float>>();
  add_skinny_products();
  add_symmetric_and_triangular<double>();
  add_symmetric_and_triangular<float>();
  add_hermitian();
  return run(argc, argv);
}
