// Factorisation and solves in packed storage beside those in full storage.

#include "blas.hpp"
#include "layer.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// A positive definite matrix, both triangles; the lower one packed.
template <class T>
struct Definite {
  int n;
  std::vector<T> full = random_numbers<T>(std::size_t(n) * n), packed;

  explicit Definite(int order) : n(order) {
    for (std::size_t j = 0; j < std::size_t(n); ++j) {
      full[j + j * n] = T(2 * std::sqrt(n + 1.0) + 2);
      for (std::size_t i = j; i < std::size_t(n); ++i) packed.push_back(full[i + j * n]);
    }
    // Column by column an upper triangle is a lower one by rows.
    for (std::size_t j = 0; j < std::size_t(n); ++j) {
      for (std::size_t i = 0; i < j; ++i) full[i + j * n] = conjugate(full[j + i * n]);
    }
  }

  std::vector<T> triangle(char uplo) const {
    if (uplo == 'L') return packed;
    std::vector<T> upper;
    for (std::size_t j = 0; j < std::size_t(n); ++j) {
      for (std::size_t i = 0; i <= j; ++i) upper.push_back(full[i + j * n]);
    }
    return upper;
  }
};

template <class T>
void add_factorisation(char uplo, int n) {
  const std::string routine = std::string(1, letter<T>) + "pptrf " + uplo;
  const Measure measure = multiply_adds<T>(double(n) * n * n / 6);
  add(routine, "nuv", n, measure, [=] {
    return [=, ap = Definite<T>(n).triangle(uplo), w = std::vector<T>()]() mutable {
      w = ap;
      int info = 0;
      layer::pptrf(uplo, n, w.data(), info);
    };
  });
  add(routine, "potrf", n, measure, [=] {
    return [=, a = Definite<T>(n).full, w = std::vector<T>()]() mutable {
      w = a;
      int info = 0;
      layer::potrf(uplo, n, {w.data(), n}, info);
    };
  });
}

void add_solve(char uplo, int n, int nrhs) {
  const std::string routine = std::string("dpptrs ") + uplo + ", " + std::to_string(nrhs) + " right-hand sides";
  const Measure measure = multiply_adds<double>(double(n) * n * nrhs);
  add(routine, "nuv", n, measure, [=] {
    return [=, ap = Definite<double>(n).triangle(uplo), b = random_numbers<double>(std::size_t(n) * nrhs),
            x = std::vector<double>()]() mutable {
      x = b;
      int info = 0;
      layer::pptrs(uplo, n, nrhs, ap.data(), {x.data(), n}, info);
    };
  });
  add(routine, "trsm", n, measure, [=] {
    return [=, a = Definite<double>(n).full, b = random_numbers<double>(std::size_t(n) * nrhs),
            x = std::vector<double>()]() mutable {
      x = b;
      for (const char trans : {uplo == 'U' ? 'T' : 'N', uplo == 'U' ? 'N' : 'T'}) {
        blas::trsm('L', uplo, trans, 'N', n, nrhs, 1.0, Matrix<const double>{a.data(), n}, Matrix{x.data(), n});
      }
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {50, 100, 200, 500, 1000, 2000, 4000}) {
    for (const char uplo : {'U', 'L'}) {
      add_factorisation<double>(uplo, n);
      add_factorisation<std::complex<double>>(uplo, n);
      for (const int nrhs : {1, 10, 100}) add_solve(uplo, n, nrhs);
    }
  }
  return run(argc, argv);
}
