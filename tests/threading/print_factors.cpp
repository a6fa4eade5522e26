// Prints a checksum of what each factorisation and each product with Q of the thread layer leaves, and of what routines
// that stand on them do, one line each. Linked with either layer.

#include <cstdio>
#include <cstring>
#include <limits>
#include <tuple>

#include "layer.hpp"
#include "orthogonal/products_with_q.hpp"
#include "routines.hpp"
#include "solvers/definite.hpp"
#include "support/packed.hpp"

namespace nuv::test {
namespace {

/// FNV-1a of all bytes, guards included.
template <class T>
std::uint64_t checksum(const GuardedMatrix<T>& A) {
  std::uint64_t sum = 0xCBF29CE484222325;
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      unsigned char bytes[sizeof(T)];
      std::memcpy(bytes, &A(i, j), sizeof bytes);
      for (const unsigned char byte : bytes) sum = (sum ^ byte) * 0x100000001B3;
    }
  }
  return sum;
}

template <Scalar T>
void print_products() {
  Random random(17);
  for (const ProductSizes& sizes : {ProductSizes{1, 1, 1}, {50, 60, 40}, {129, 100, 129}, {200, 300, 70}}) {
    for (const Form& form : forms) {
      const bool left = sizes.k % 2 == 0, plain = left == form.columnwise();
      const ProductWithQ<T> product(random, form, left, plain, sizes);
      const GuardedMatrix<T> C = product.template compute_by<ByLayer>(sizes.nw).C;
      std::printf("%s %016llx\n", to_string(product).c_str(), static_cast<unsigned long long>(checksum(C)));
    }
  }
}

template <Scalar T>
void print_factors() {
  Random random(16);
  for (const Int n : {1, 50, 128, 129, 300, 520}) {
    for (const char uplo : {'U', 'L'}) {
      for (const Int bad : {0, (n + 1) / 2}) {
        GuardedMatrix<T> A = random_definite<T>(random, uplo, n);
        if (bad > 0) A(bad, bad) = T(-1);
        Int info = 99;
        layer::potrf(uplo, n, A, info);
        std::printf("%cpotrf %c %d %d %016llx\n", precision_letter<T>, uplo, n, info,
                    static_cast<unsigned long long>(checksum(A)));
      }
    }
    GuardedMatrix<T> A = random_matrix<T>(random, n, n, n);
    GuardedVector<Int> pivots(n);
    Int info = 99;
    layer::getrf(n, n, A, pivots.data(), info);
    std::printf("%cgetrf %d %d %016llx\n", precision_letter<T>, n, info, static_cast<unsigned long long>(checksum(A)));

    A = random_matrix<T>(random, n, n, n);
    GuardedMatrix<T> tau(n, 1, n), work(n, 64, n);
    layer::geqrf(n, n, A, tau.data(), work.data(), 64 * n, info);
    std::printf("%cgeqrf %d %d %016llx %016llx\n", precision_letter<T>, n, info,
                static_cast<unsigned long long>(checksum(A)), static_cast<unsigned long long>(checksum(tau)));
  }
}

/// The factors of an indefinite matrix, full or packed, and solutions with them.
template <Scalar T>
void print_indefinite() {
  Random random(18);
  for (const Int n : {50, 129, 520}) {
    for (const char uplo : {'U', 'L'}) {
      constexpr Int nrhs = 150;
      GuardedMatrix<T> A = random_matrix<T>(random, n, n, n), B = random_matrix<T>(random, n, nrhs, n);
      GuardedMatrix<T> X = B, Y = B, work(n, 64, n);
      GuardedVector<T> ap = packed(uplo == 'U', A);
      GuardedVector<Int> ipiv(n);
      Int info = 99, packed_info = 99;
      routine_call::sysv(uplo, n, nrhs, A, ipiv.data(), X, work.data(), 64 * n, info);
      routine_call::spsv(uplo, n, nrhs, ap.data(), ipiv.data(), Y, packed_info);
      const GuardedMatrix<T> F = unpacked(uplo == 'U', n, ap);
      std::printf("%csysv %c %d %d %d %016llx %016llx %016llx %016llx\n", precision_letter<T>, uplo, n, info,
                  packed_info, static_cast<unsigned long long>(checksum(A)),
                  static_cast<unsigned long long>(checksum(X)), static_cast<unsigned long long>(checksum(F)),
                  static_cast<unsigned long long>(checksum(Y)));
    }
  }
}

/// Q and T of a reduction by way of a band. The order of the largest is one from which narrow products are cut.
template <Scalar T>
void print_two_stage() {
  Random random(19);
  for (const Int n : {50, 150, ComplexScalar<T> ? 300 : 600}) {
    for (const char uplo : {'U', 'L'}) {
      constexpr Int kd = 24;
      GuardedMatrix<T> A = random_matrix<T>(random, n, n, n), tau(n, 1, n), work(n, 3 * kd + 3, n);
      GuardedMatrix<Real<T>> d(n, 1, n), e(n, 1, n);
      Int info = 99;
      routine_call::syrdb('V', uplo, n, kd, A, d.data(), e.data(), tau.data(), A, work.data(), (3 * kd + 3) * n, info);
      std::printf("%csyrdb %c %d %d %016llx %016llx %016llx\n", precision_letter<T>, uplo, n, info,
                  static_cast<unsigned long long>(checksum(A)), static_cast<unsigned long long>(checksum(d)),
                  static_cast<unsigned long long>(checksum(e)));
    }
  }
}

/// Drivers that begin with these factorisations: the eigenvectors of a pencil, least squares at any rank by QR and by
/// divide and conquer.
template <Scalar T>
void print_drivers() {
  using R = Real<T>;
  const auto print = [](const char* name, Int n, Int info, const auto&... results) {
    std::printf("%c%s %d %d", precision_letter<T>, name, n, info);
    (std::printf(" %016llx", static_cast<unsigned long long>(checksum(results))), ...);
    std::printf("\n");
  };
  Random random(20);
  for (const Int n : {50, 150}) {
    const Int m = 2 * n, nrhs = 40;
    GuardedMatrix<T> work(n, 700, n);
    GuardedMatrix<R> rwork(n, 700, n);
    GuardedVector<Int> iwork(n * 40), jpvt(n);
    const Int lwork = n * 700;
    const R rcond = std::numeric_limits<R>::epsilon();
    Int rank = 0, info = 99;
    const GuardedMatrix<T> tall = random_matrix<T>(random, m, n, m), right = random_matrix<T>(random, m, nrhs, m);
    const auto with_reals = [&](auto... arguments) {
      if constexpr (ComplexScalar<T>) return std::tuple(arguments..., rwork.data());
      else return std::tuple(arguments...);
    };
    const auto work_of_member = with_reals(work.data(), lwork);

    GuardedMatrix<T> A = tall, B = right;
    for (Int j = 1; j <= n; ++j) jpvt(j) = 0;
    std::apply([&](auto... w) { routine_call::gelsy(m, n, nrhs, A, B, jpvt.data(), rcond, rank, w..., info); },
               work_of_member);
    print("gelsy", n, info, A, B);

    A = tall;
    B = right;
    GuardedMatrix<R> s(n, 1, n);
    std::apply(
        [&](auto... w) { routine_call::gelsd(m, n, nrhs, A, B, s.data(), rcond, rank, w..., iwork.data(), info); },
        work_of_member);
    print("gelsd", n, info, s, B);

    A = random_matrix<T>(random, n, n, n);
    B = random_matrix<T>(random, n, n, n);
    GuardedMatrix<T> VL(n, n, n), VR(n, n, n), alpha(n, 1, n), alphai(n, 1, n), beta(n, 1, n);
    std::apply(
        [&](auto... w) {
          if constexpr (ComplexScalar<T>) {
            routine_call::ggev('V', 'V', n, A, B, alpha.data(), beta.data(), VL, VR, w..., info);
          } else {
            routine_call::ggev('V', 'V', n, A, B, alpha.data(), alphai.data(), beta.data(), VL, VR, w..., info);
          }
        },
        work_of_member);
    print("ggev", n, info, alpha, alphai, beta, VL, VR);
  }
}

}  // namespace
}  // namespace nuv::test

int main() {
  using namespace nuv::test;
  print_factors<float>();
  print_products<float>();
  print_indefinite<float>();
  print_two_stage<float>();
  print_drivers<float>();
  print_factors<double>();
  print_products<double>();
  print_indefinite<double>();
  print_two_stage<double>();
  print_drivers<double>();
  print_factors<std::complex<float>>();
  print_products<std::complex<float>>();
  print_indefinite<std::complex<float>>();
  print_two_stage<std::complex<float>>();
  print_drivers<std::complex<float>>();
  print_factors<std::complex<double>>();
  print_products<std::complex<double>>();
  print_indefinite<std::complex<double>>();
  print_two_stage<std::complex<double>>();
  print_drivers<std::complex<double>>();
}
