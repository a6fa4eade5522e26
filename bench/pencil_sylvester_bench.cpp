// Generalised Sylvester equations with coefficients in generalised Schur form, beside the products of matrices that
// take as many operations; and estimates of the separation of their pencils.

#include "blas.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// A quasi-triangle (real) or triangle of order n, with pairs in every other two rows, and eigenvalues around `centre`.
template <class T>
std::vector<T> schur_form(int n, double centre, bool with_pairs) {
  using R = Real<T>;
  std::vector<T> s = random_numbers<T>(std::size_t(n) * n);
  const Matrix<T> S{s.data(), n};
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= n; ++i) S(i, j) = i < j ? S(i, j) / R(n) : i == j ? S(i, j) / R(4) + R(centre) : T(0);
    if constexpr (std::is_same_v<T, R>) {
      if (with_pairs && j % 4 == 2) {
        S(j, j) = S(j - 1, j - 1);
        S(j, j - 1) = R(-0.5);
        S(j - 1, j) = R(0.75);
      }
    }
  }
  return s;
}

/// Four products over what is known for each element of R and L together.
template <class T>
Measure equation_work(int n) {
  return multiply_adds<T>(2.0 * n * n * n);
}

template <class T>
struct Equation {
  int n;
  std::vector<T> a, b, c, d, e, f, r, l, work;
  std::vector<int> iwork;

  explicit Equation(int order)
      : n(order),
        a(schur_form<T>(n, 4, true)),
        b(schur_form<T>(n, 0, true)),
        c(random_numbers<T>(std::size_t(n) * n)),
        d(schur_form<T>(n, 1, false)),
        e(schur_form<T>(n, 1, false)),
        f(c),
        work(2 * std::size_t(n) * n),
        iwork(2 * std::size_t(n) + 6) {}

  void solve(char trans, int ijob) {
    r = c;
    l = f;
    Real<T> scale, dif;
    int info = 0;
    const auto given = [&](const std::vector<T>& x) { return Matrix<const T>{x.data(), n}; };
    routine_call::tgsyl(trans, ijob, n, n, given(a), given(b), Matrix<T>{r.data(), n}, given(d), given(e),
                        Matrix<T>{l.data(), n}, scale, dif, work.data(), int(work.size()), iwork.data(), info);
  }
};

template <class T>
void add_equation(char trans, int ijob, int n) {
  add(std::string(1, letter<T>) + "tgsyl" + trans + std::to_string(ijob), "nuv", n, equation_work<T>(n),
      [=] { return [=, equation = Equation<T>(n)]() mutable { equation.solve(trans, ijob); }; });
}

void add_products(int n) {
  add("dtgsylN0", "products", n, equation_work<double>(n), [=] {
    return [=, a = random_numbers<double>(std::size_t(n) * n), b = random_numbers<double>(std::size_t(n) * n),
            c = random_numbers<double>(std::size_t(n) * n)]() mutable {
      for (int k = 0; k < 2; ++k) {
        blas::gemm('N', 'N', n, n, n, -1.0, Matrix<const double>{a.data(), n}, Matrix<const double>{b.data(), n}, 0.5,
                   Matrix<double>{c.data(), n});
      }
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 300, 500}) {
    add_equation<double>('N', 0, n);
    add_equation<double>('T', 0, n);
    add_equation<double>('N', 3, n);
    add_equation<double>('N', 4, n);
    add_equation<std::complex<double>>('N', 0, n);
    add_products(n);
  }
  return run(argc, argv);
}
