// Eigenvectors of a generalised Schur form; a block that is moved from one end of it to the other; and deflating
// subspaces for every other eigenvalue; and condition numbers.

#include <cmath>

#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// A generalised Schur form with values on a circle: of a real one pairs, but for the last value if n is odd.
template <class T>
struct Form {
  using R = Real<T>;

  int n;
  std::vector<T> s, p;

  explicit Form(int order) : n(order), s(random_numbers<T>(std::size_t(n) * n)), p(s) {
    const Matrix<T> S{s.data(), n}, P{p.data(), n};
    for (int j = 1; j <= n; ++j) {
      for (int i = 1; i <= n; ++i) {
        S(i, j) = i < j ? S(i, j) / R(std::sqrt(n)) : T(0);
        P(i, j) = i < j ? P(i, j) / R(n) : T(i == j);
      }
      const R angle = R(6.28) * R(j) / R(n);
      if constexpr (std::is_same_v<T, R>) {
        S(j, j) = 2 * std::cos(angle);
        if (j % 2 == 0) {
          S(j, j) = S(j - 1, j - 1);
          S(j - 1, j) = std::abs(2 * std::sin(angle)) + R(0.1);
          S(j, j - 1) = negated(S(j - 1, j));
          P(j - 1, j) = T(0);
        }
      } else {
        S(j, j) = std::polar(R(2), angle);
      }
    }
  }
};

/// Substitution takes n^3 / 3 multiply-adds, the product with a matrix n^3 / 2.
template <class T>
void add_vectors(char side, char howmny, int n) {
  const double count = (howmny == 'B' ? 5 : 2) / 6.0 * n * double(n) * n;
  add(std::string(1, letter<T>) + "tgevc" + side + howmny, "nuv", n, multiply_adds<T>(count), [=] {
    return [=, form = Form<T>(n), q = random_numbers<T>(std::size_t(n) * n), v = std::vector<T>(),
            work = std::vector<T>(6 * std::size_t(n)), rwork = std::vector<Real<T>>(2 * std::size_t(n))]() mutable {
      v = q;
      int m = 0, info = 0;
      const Matrix<const T> S{form.s.data(), n}, P{form.p.data(), n};
      const Matrix<T> V{v.data(), n};
      if constexpr (std::is_same_v<T, Real<T>>) {
        routine_call::tgevc(side, howmny, nullptr, n, S, P, V, V, n, m, work.data(), info);
      } else {
        routine_call::tgevc(side, howmny, nullptr, n, S, P, V, V, n, m, work.data(), rwork.data(), info);
      }
    };
  });
}

/// The pair, Q and Z as a call changes them.
template <class T>
struct Changed {
  Form<T> given;
  std::vector<T> basis, s, p, q, z;

  explicit Changed(int n) : given(n), basis(random_numbers<T>(std::size_t(n) * n)) {}
  void restore() {
    s = given.s;
    p = given.p;
    q = z = basis;
  }
  static Matrix<T> view(std::vector<T>& x, int n) { return {x.data(), n}; }
};

void add_move(int n) {
  add("dtgexc", "nuv", n, multiply_adds<double>(12.0 * n * n), [=] {
    return [=, x = Changed<double>(n), work = std::vector<double>(4 * std::size_t(n) + 16)]() mutable {
      x.restore();
      int ifst = n, ilst = 1, info = 0;
      routine_call::tgexc(-1, -1, n, x.view(x.s, n), x.view(x.p, n), x.view(x.q, n), x.view(x.z, n), ifst, ilst,
                          work.data(), int(work.size()), info);
    };
  });
}

/// Every other block goes up: n^2 / 8 swaps of eigenvalues, each of which changes six vectors of about n elements
/// twice.
void add_subspace(int ijob, int n) {
  add("dtgsen" + std::to_string(ijob), "nuv", n, multiply_adds<double>(1.5 * n * n * double(n)), [=] {
    std::vector<int> select(std::size_t(n), 0);
    for (int j = 0; j < n; ++j) select[std::size_t(j)] = j / 2 % 2;
    return [=, x = Changed<double>(n), values = std::vector<double>(3 * std::size_t(n)),
            work = std::vector<double>(std::size_t(n) * n + 4 * std::size_t(n) + 16),
            iwork = std::vector<int>(std::size_t(n) * n + 6)]() mutable {
      x.restore();
      int m = 0, info = 0;
      double pl, pr, dif[2];
      routine_call::tgsen(ijob, -1, -1, select.data(), n, x.view(x.s, n), x.view(x.p, n), values.data(),
                          values.data() + n, values.data() + 2 * n, x.view(x.q, n), x.view(x.z, n), m, pl, pr, dif,
                          work.data(), int(work.size()), iwork.data(), int(iwork.size()), info);
    };
  });
}

/// Of all eigenvalues ('E'), each of which takes products of both matrices with its vectors, or of all vectors ('V'):
/// each block is moved in front and equations with the rest are solved, about 20 n^2 multiply-adds.
void add_conditions(char job, int n) {
  const double cubes = job == 'E' ? 2 : 20;
  add(std::string("dtgsna") + job, "nuv", n, multiply_adds<double>(cubes * n * n * n), [=] {
    const std::size_t size = std::size_t(n) * n;
    const Form<double> form(n);
    std::vector<double> vl(size), vr(size), scratch(6 * std::size_t(n));
    int m = 0, info = 0;
    routine_call::tgevc('B', 'A', nullptr, n, Matrix<const double>{form.s.data(), n},
                        Matrix<const double>{form.p.data(), n}, Matrix<double>{vl.data(), n},
                        Matrix<double>{vr.data(), n}, n, m, scratch.data(), info);
    return [=, s = std::vector<double>(n), dif = std::vector<double>(n), work = std::vector<double>(),
            iwork = std::vector<int>(std::size_t(n) + 6)]() mutable {
      with_workspace(work, [&](double* room, int lwork) {
        routine_call::tgsna(job, 'A', nullptr, n, Matrix<const double>{form.s.data(), n},
                            Matrix<const double>{form.p.data(), n}, Matrix<const double>{vl.data(), n},
                            Matrix<const double>{vr.data(), n}, s.data(), dif.data(), n, m, room, lwork, iwork.data(),
                            info);
      });
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 300, 500}) {
    for (const char howmny : {'A', 'B'}) {
      for (const char side : {'R', 'L'}) {
        add_vectors<double>(side, howmny, n);
        add_vectors<std::complex<double>>(side, howmny, n);
      }
    }
    add_move(n);
    for (const int ijob : {0, 4, 5}) add_subspace(ijob, n);
    for (const char job : {'E', 'V'}) {
      if (job == 'E' || n <= 300) add_conditions(job, n);
    }
  }
  return run(argc, argv);
}
