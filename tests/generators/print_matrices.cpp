// Prints test matrices made from one state of the random numbers, one line each: a name, the order, info and the state
// that is left, and the numbers of the array in hexadecimal. Linked with either layer.

#include <cstdio>
#include <string>
#include <vector>

#include "base/matrix.hpp"
#include "spectrum_cases.hpp"

namespace nuv::test {
namespace {

template <RealScalar R>
void print(R x) {
  std::printf(" %a", double(x));
}

template <ComplexScalar T>
void print(T x) {
  print(x.real());
  print(x.imag());
}

/// A matrix of order n in an array of 2n by n numbers, which has room for every form, and what makes it.
template <Scalar T>
struct Made {
  Int n;
  std::vector<T> a = std::vector<T>(2 * n * n);
  std::vector<T> work = std::vector<T>(3 * n);
  Seed seed = first_seed;
  Int info = 99;

  Matrix<T> array() { return {a.data(), 2 * n}; }

  void print(const std::string& name) const {
    std::printf("%c%s|%d|%d: %d %d %d %d|", precision_letter<T>, name.c_str(), n, info, seed[0], seed[1], seed[2],
                seed[3]);
    for (const T x : a) test::print(x);
    std::printf("\n");
  }
};

template <Scalar T>
void print_with_spectrum(const std::string& name, Int n, char sym, Int kl, Int ku, char pack) {
  using R = Real<T>;
  Made<T> made{n};
  std::vector<R> d(n);
  routine_call::latms(n, n, 'S', made.seed.data(), sym, d.data(), 5, R(100), R(3), kl, ku, pack, made.array(),
                      made.work.data(), made.info);
  made.print(name);
}

template <Scalar T>
void print_of_entries(const std::string& name, Int n, char sym, Int k, char pack) {
  using R = Real<T>;
  Made<T> made{n};
  std::vector<T> d(n), dl = d, dr = d;
  std::vector<Int> pivots(n), iwork(n);
  for (Int i = 0; i < n; ++i) pivots[i] = n - i;
  const char grade = sym == 'N' ? 'B' : sym;
  routine_call::latmr(n, n, 'N', made.seed.data(), sym, d.data(), 3, R(100), T(3), 'T', grade, dl.data(), 4, R(5),
                      dr.data(), 5, R(7), 'B', pivots.data(), k, k, R(0.1), R(2), pack, made.array(), iwork.data(),
                      made.info);
  made.print(name);
}

template <Scalar T>
void print_with_eigenvalues(const std::string& name, Int n, char sim, Int kl, Int ku) {
  using R = Real<T>;
  Made<T> made{n};
  std::vector<T> d(n);
  std::vector<R> ds(n);
  routine_call::latme(n, 'S', made.seed.data(), d.data(), 5, R(100), T(3), " ", 'T', 'T', sim, ds.data(), 3, R(10), kl,
                      ku, R(-1), made.array(), made.work.data(), made.info);
  made.print(name);
}

/// Bands are small. They come from rotations and reflections that rid the matrix of what lies beyond, and where such an
/// element and the one beside it both are small, rounding decides which: the error grows from diagonal to diagonal.
template <Scalar T>
void print_matrices() {
  const Int small = 7, large = 40;
  for (const char sym : {'N', 'S', 'H', 'P'}) {
    const std::string name = std::string("latms ") + sym;
    print_with_spectrum<T>(name, large, sym, large, large, 'N');
    print_with_spectrum<T>(name, small, sym, 2, 2, 'N');
    print_with_spectrum<T>(name, small, sym, 3, 3, 'Z');
  }
  print_with_spectrum<T>("latms triangle", small, 'N', 0, 4, 'C');
  for (const char sym : {'N', 'S', 'H'}) {
    const std::string name = std::string("latmr ") + sym;
    print_of_entries<T>(name, large, sym, large, 'N');
    print_of_entries<T>(name, large, sym, 3, 'Z');
  }
  print_with_eigenvalues<T>("latme triangle", large, 'F', large, large);
  print_with_eigenvalues<T>("latme full", large, 'T', large, large);
  print_with_eigenvalues<T>("latme lower band", small, 'T', 2, small);
  print_with_eigenvalues<T>("latme upper band", small, 'T', small, 1);
}

}  // namespace
}  // namespace nuv::test

int main() {
  using namespace nuv::test;
  print_matrices<float>();
  print_matrices<double>();
  print_matrices<std::complex<float>>();
  print_matrices<std::complex<double>>();
}
