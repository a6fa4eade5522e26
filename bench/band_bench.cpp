// Band and tridiagonal systems. WHO "plain" is the textbook loop of the unblocked form, compiled as the library's own
// code is; "dgemm" is the product of matrices whose rate the factorisations are held against.

#include <algorithm>
#include <cmath>

#include "blas.hpp"
#include "layer.hpp"
#include "plain_band.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

using Numbers = std::vector<double>;

/// A band in its storage, `diagonal` rows down its main one, to which the square root of its width is added where it is
/// to be definite.
Numbers band_numbers(int n, int ldab, int diagonal, bool definite) {
  Numbers ab = random_numbers<double>(std::size_t(n) * ldab);
  for (int j = 0; j < n && definite; ++j) ab[diagonal + std::size_t(j) * ldab] += 4 * std::sqrt(ldab) + 4;
  return ab;
}

/// Work on copies of two arrays, which are made anew before each run.
template <class Run>
struct OnCopies {
  Numbers a, b;
  Run run;
  Numbers x = a, y = b;

  void restore() {
    x = a;
    y = b;
  }
  void operator()() { run(x.data(), y.data()); }
};
template <class Run>
OnCopies(Numbers, Numbers, Run) -> OnCopies<Run>;

/// Multiply-adds of the elimination in a random band: row exchanges widen U to kl + ku diagonals nearly everywhere.
double lu_work(int n, int kl, int ku) {
  return double(n) * kl * (kl + ku);
}

void add_product(const std::string& routine, int k) {
  const int n = 1000;
  add(routine, "dgemm", k, multiply_adds<double>(double(n) * n * n), [=] {
    return [=, a = random_numbers<double>(std::size_t(n) * n), b = random_numbers<double>(std::size_t(n) * n),
            c = Numbers(std::size_t(n) * n)]() mutable {
      blas::gemm('N', 'N', n, n, n, 1.0, {a.data(), n}, {b.data(), n}, 0.0, {c.data(), n});
    };
  });
}

void add_factorisations(int k) {
  const int n = 20000, ldab = 3 * k + 1;
  add("dgbtrf", "nuv", k, multiply_adds<double>(lu_work(n, k, k)), [=] {
    return OnCopies{
        band_numbers(n, ldab, 2 * k, false), {}, [=, pivots = std::vector<int>(n)](double* ab, double*) mutable {
          int info = 0;
          layer::gbtrf(n, n, k, k, {ab, ldab}, pivots.data(), info);
        }};
  });
  add_product("dgbtrf", k);
  for (const char uplo : {'L', 'U'}) {
    const std::string routine = std::string("dpbtrf_") + uplo;
    add(routine, "nuv", k, multiply_adds<double>(double(n) * k * k / 2), [=] {
      return OnCopies{band_numbers(n, k + 1, uplo == 'L' ? 0 : k, true), {}, [=](double* ab, double*) {
                        int info = 0;
                        routine_call::pbtrf(uplo, n, k, {ab, k + 1}, info);
                      }};
    });
    add_product(routine, k);
  }
}

void add_narrow_systems(int k) {
  const int n = 100000, ldab = 3 * k + 1;
  const Measure lu = multiply_adds<double>(lu_work(n, k, k) + double(n) * 3 * k);
  const auto add_lu = [&](const char* who, auto solve) {
    add("dgbsv", who, k, lu, [=] {
      return OnCopies{band_numbers(n, ldab, 2 * k, false), random_numbers<double>(n),
                      [=, pivots = std::vector<int>(n)](double* ab, double* b) mutable {
                        solve(n, k, ab, ldab, pivots.data(), b);
                      }};
    });
  };
  add_lu("nuv", [](int n, int k, double* ab, int ldab, int* ipiv, double* b) {
    int info = 0;
    routine_call::gbsv(n, k, k, 1, {ab, ldab}, ipiv, {b, n}, info);
  });
  add_lu("plain",
         [](int n, int k, double* ab, int ldab, int* ipiv, double* b) { plain_gbsv(n, k, k, ab, ldab, ipiv, b); });

  const Measure cholesky = multiply_adds<double>(double(n) * k * k / 2 + double(n) * 2 * k);
  const auto add_cholesky = [&](const char* who, auto solve) {
    add("dpbsv", who, k, cholesky, [=] {
      return OnCopies{band_numbers(n, k + 1, 0, true), random_numbers<double>(n),
                      [=](double* ab, double* b) { solve(n, k, ab, b); }};
    });
  };
  add_cholesky("nuv", [](int n, int k, double* ab, double* b) {
    int info = 0;
    routine_call::pbsv('L', n, k, 1, {ab, k + 1}, {b, n}, info);
  });
  add_cholesky("plain", [](int n, int k, double* ab, double* b) { plain_pbsv(n, k, ab, k + 1, b); });
}

/// Three diagonals of n elements, one after the other; those of a definite matrix first d, then e.
Numbers diagonals(int n, bool definite) {
  Numbers all = random_numbers<double>(3 * std::size_t(n));
  for (int i = 0; i < n && definite; ++i) all[i] += 4;
  return all;
}

void add_tridiagonal_systems(int nrhs) {
  const int n = 1000000;
  const Measure measure = multiply_adds<double>(double(n) * (2 + 4 * nrhs));
  const auto add_solve = [&](const char* routine, const char* who, bool definite, auto solve) {
    add(routine, who, nrhs, measure, [=] {
      return OnCopies{diagonals(n, definite), random_numbers<double>(std::size_t(n) * nrhs),
                      [=](double* a, double* b) { solve(n, nrhs, a, a + n, a + 2 * std::ptrdiff_t{n}, b); }};
    });
  };
  add_solve("dgtsv", "nuv", false, [](int n, int nrhs, double* d, double* dl, double* du, double* b) {
    int info = 0;
    routine_call::gtsv(n, nrhs, dl, d, du, {b, n}, info);
  });
  add_solve("dgtsv", "plain", false, [](int n, int nrhs, double* d, double* dl, double* du, double* b) {
    plain_gtsv(n, nrhs, dl, d, du, b, n);
  });
  add_solve("dptsv", "nuv", true, [](int n, int nrhs, double* d, double* e, double*, double* b) {
    int info = 0;
    routine_call::ptsv(n, nrhs, d, e, {b, n}, info);
  });
  add_solve("dptsv", "plain", true,
            [](int n, int nrhs, double* d, double* e, double*, double* b) { plain_ptsv(n, nrhs, d, e, b, n); });
}

void add_solves(int k) {
  const int n = 1000, nrhs = 100, ldab = 3 * k + 1;
  add("dgbtrs", "nuv", k, multiply_adds<double>(double(n) * nrhs * 3 * k), [=] {
    Numbers ab = band_numbers(n, ldab, 2 * k, false);
    std::vector<int> pivots(n);
    int info = 0;
    layer::gbtrf(n, n, k, k, {ab.data(), ldab}, pivots.data(), info);
    return OnCopies{{}, random_numbers<double>(std::size_t(n) * nrhs), [=](double*, double* b) {
                      int solved = 0;
                      layer::gbtrs('N', n, k, k, nrhs, {ab.data(), ldab}, pivots.data(), {b, n}, solved);
                    }};
  });
  add("dgbtrs", "dtrsm", k, multiply_adds<double>(double(n) * n * nrhs / 2), [=] {
    Numbers a = random_numbers<double>(std::size_t(n) * n);
    for (int i = 0; i < n; ++i) a[i + std::size_t(i) * n] += n;
    return OnCopies{{}, random_numbers<double>(std::size_t(n) * nrhs), [=](double*, double* b) {
                      blas::trsm('L', 'U', 'N', 'N', n, nrhs, 1.0, {a.data(), n}, {b, n});
                    }};
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int k : {100, 300}) add_factorisations(k);
  for (const int k : {2, 3, 4, 5}) add_narrow_systems(k);
  for (const int nrhs : {1, 8}) add_tridiagonal_systems(nrhs);
  for (const int k : {20, 100, 200}) add_solves(k);
  return run(argc, argv);
}
