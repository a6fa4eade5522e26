#include "nonsymmetric/hessenberg_matrices.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

using Complex = std::complex<double>;

Complex any(Random& random) {
  return random.scalar<Complex>();
}

const std::vector<HessenbergDescription> descriptions{
    {"random", [](Random& random, Int, Int, Int) { return any(random); }},
    {"zero", [](Random&, Int, Int, Int) { return Complex(0); }},
    {"multiple of the identity", [](Random&, Int i, Int j, Int) { return Complex(i == j ? 3 : 0); }},
    {"nilpotent", [](Random&, Int i, Int j, Int) { return Complex(j == i + 1); }},
    {"Jordan block", [](Random&, Int i, Int j, Int) { return i == j ? Complex(0.75, 0.5) : Complex(j == i + 1); }},
    {"lower Jordan block",
     [](Random&, Int i, Int j, Int) { return i == j ? Complex(0.75, 0.5) : Complex(i == j + 1); }},
    {"cyclic", [](Random&, Int i, Int j, Int n) { return Complex(i == j + 1 || (i == 1 && j == n)); }},
    {"skew-symmetric",
     [](Random&, Int i, Int j, Int) {
       return Complex(i == j + 1 ? 1 + 0.25 * (j % 3) : j == i + 1 ? -1 - 0.25 * (i % 3) : 0);
     }},
    {"second difference",
     [](Random&, Int i, Int j, Int) {
       return Complex(i == j ? 2 : std::abs(i - j) == 1 ? -1 : 0);
     }},
    {"Grcar", [](Random&, Int i, Int j, Int) { return Complex(i == j + 1   ? -1
                                                              : j <= i + 3 ? 1
                                                                           : 0); }},
    {"Frank", [](Random&, Int i, Int j, Int n) { return Complex(n + 1 - std::max(i, j)); }},
    {"companion", [](Random& random, Int i, Int j, Int) { return i == 1 ? any(random) : Complex(i == j + 1); }},
    {"zero subdiagonals",
     [](Random& random, Int i, Int j, Int) { return i == j + 1 && j % 4 == 3 ? Complex(0) : any(random); }},
    {"block diagonal",
     [](Random& random, Int i, Int j, Int) { return (i - 1) / 5 == (j - 1) / 5 ? any(random) : Complex(0); }},
    {"small subdiagonals",
     [](Random& random, Int i, Int j, Int) { return i == j + 1 ? 1e-3 * any(random) : any(random); }},
    {"graded",
     [](Random& random, Int i, Int j, Int n) { return any(random) * std::pow(1e-10, double(i + j) / (2 * n)); }},
    {"graded from the end",
     [](Random& random, Int i, Int j, Int n) { return any(random) * std::pow(1e-10, 1 - double(i + j) / (2 * n)); }},
};

}  // namespace

const std::vector<HessenbergDescription>& described_hessenberg_matrices() {
  return descriptions;
}

const HessenbergDescription& hessenberg_matrix(const std::string& name) {
  const auto at = std::ranges::find(descriptions, name, &HessenbergDescription::name);
  if (at == descriptions.end()) throw std::invalid_argument(name);
  return *at;
}

template <Scalar T>
GuardedMatrix<T> make_hessenberg(const HessenbergDescription& description, Random& random, Int n, Int ld) {
  GuardedMatrix<T> H(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      const Complex element = i <= j + 1 ? description.element(random, i, j, n) : Complex(0);
      if constexpr (ComplexScalar<T>) {
        H(i, j) = T(element);
      } else {
        H(i, j) = T(element.real());
      }
    }
  }
  H.seal();
  return H;
}

template <Scalar T>
GuardedMatrix<T> partly_triangular(const GuardedMatrix<T>& H, Int ilo, Int ihi) {
  GuardedMatrix<T> A = H;
  for (Int j = 1; j < A.rows(); ++j) {
    if (j < ilo || j >= ihi) A(j + 1, j) = T(0);
  }
  A.seal();
  return A;
}

template <Scalar T>
GuardedMatrix<T> unitary_hessenberg(Random& random, Int n, Int ld) {
  GuardedMatrix<T> H = random_unitary<T>(random, n, ld);
  GuardedVector<T> tau(std::max(1, n)), work(std::max(1, n));
  Int info = 0;
  routine_call::gehd2(n, 1, n, Matrix<T>(H), tau.data(), work.data(), info);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 2; i <= n; ++i) H(i, j) = T(0);
  }
  H.seal();
  return H;
}

#define NUV_INSTANTIATE(T)                                                                       \
  template GuardedMatrix<T> make_hessenberg<T>(const HessenbergDescription&, Random&, Int, Int); \
  template GuardedMatrix<T> partly_triangular<T>(const GuardedMatrix<T>&, Int, Int);             \
  template GuardedMatrix<T> unitary_hessenberg<T>(Random&, Int, Int);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
