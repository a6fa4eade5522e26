// Sylvester equations with coefficients in Schur form, beside the inner products that they are made of; and a block
// that is moved from one end of a Schur form to the other; and condition numbers.

#include <cmath>

#include "blas.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

/// A Schur form of order n, real with pairs, with eigenvalues around `centre`.
template <class T>
std::vector<T> schur_form(int n, double centre) {
  using R = Real<T>;
  std::vector<T> s = random_numbers<T>(std::size_t(n) * n);
  const Matrix<T> S{s.data(), n};
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= n; ++i) S(i, j) = i < j ? S(i, j) / R(n) : i == j ? S(i, j) + R(centre) : T(0);
    if constexpr (std::is_same_v<T, R>) {
      if (j % 2 == 0) {
        S(j, j) = S(j - 1, j - 1);
        S(j, j - 1) = R(-0.5);
        S(j - 1, j) = R(0.75);
      }
    }
  }
  return s;
}

/// For each unknown one product over what is known of its column and one over what is known of its row.
template <class T>
Measure equation_work(int n) {
  return multiply_adds<T>(n * double(n) * n);
}

template <class T>
void add_equation(char trana, char tranb, int n) {
  add(std::string(1, letter<T>) + "trsyl" + trana + tranb, "nuv", n, equation_work<T>(n), [=] {
    return [=, a = schur_form<T>(n, 4), b = schur_form<T>(n, 0), c = random_numbers<T>(std::size_t(n) * n),
            x = std::vector<T>()]() mutable {
      x = c;
      Real<T> scale;
      int info = 0;
      routine_call::trsyl(trana, tranb, 1, n, n, Matrix<const T>{a.data(), n}, Matrix<const T>{b.data(), n},
                          Matrix<T>{x.data(), n}, scale, info);
    };
  });
}

double inner_product(int n, Vector<const double> x, Vector<const double> y) {
  return blas::dot(n, x, y);
}

/// The inner products of an equation without transposes: rows of A and of C go by strides.
void add_products(int n) {
  add("dtrsylNN", "kernels", n, equation_work<double>(n), [=] {
    return [=, a = random_numbers<double>(std::size_t(n) * n), b = random_numbers<double>(std::size_t(n) * n),
            c = random_numbers<double>(std::size_t(n) * n)]() mutable {
      const Matrix<const double> A{a.data(), n}, B{b.data(), n}, C{c.data(), n};
      double sum = 0;
      for (int l = 1; l <= n; ++l) {
        for (int k = n; k >= 1; --k) {
          sum += inner_product(n - k, row(A, k, k + 1), column(C, k + 1, l));
          sum += inner_product(l - 1, row(C, k, 1), column(B, 1, l));
        }
      }
      benchmark::DoNotOptimize(sum);
    };
  });
}

void add_move(int n) {
  add("dtrexcV", "nuv", n, multiply_adds<double>(6.0 * n * n), [=] {
    return [=, s = schur_form<double>(n, 0), q = random_numbers<double>(std::size_t(n) * n),
            work = std::vector<double>(static_cast<std::size_t>(n)), S = std::vector<double>()]() mutable {
      S = s;
      int ifst = n, ilst = 1, info = 0;
      routine_call::trexc('V', n, Matrix<double>{S.data(), n}, Matrix<double>{q.data(), n}, ifst, ilst, work.data(),
                          info);
    };
  });
}

/// Of all eigenvalues ('E'), each of which takes a few inner products of its vectors, or of all vectors ('V'): each
/// block is moved in front and equations with the rest are solved, about 8 n^2 multiply-adds.
void add_conditions(char job, int n) {
  const Measure work_of_all = job == 'E' ? bytes_read(16.0 * n * n) : multiply_adds<double>(8.0 * n * n * n);
  add(std::string("dtrsna") + job, "nuv", n, work_of_all, [=] {
    const std::size_t size = std::size_t(n) * n;
    const std::vector<double> t = schur_form<double>(n, 0);
    std::vector<double> vl(size), vr(size), room(3 * std::size_t(n));
    int m = 0, info = 0;
    routine_call::trevc('B', 'A', nullptr, n, Matrix<const double>{t.data(), n}, Matrix<double>{vl.data(), n},
                        Matrix<double>{vr.data(), n}, n, m, room.data(), info);
    return [=, s = std::vector<double>(n), sep = std::vector<double>(n), work = std::vector<double>(size + 6 * n),
            iwork = std::vector<int>(2 * std::size_t(n))]() mutable {
      routine_call::trsna(job, 'A', nullptr, n, Matrix<const double>{t.data(), n}, Matrix<const double>{vl.data(), n},
                          Matrix<const double>{vr.data(), n}, s.data(), sep.data(), n, m,
                          Matrix<double>{work.data(), n}, iwork.data(), info);
    };
  });
}

/// Every other block goes up: n^2 / 8 swaps of eigenvalues, each of which changes three vectors of about n elements;
/// with condition numbers ('B') or without ('N').
void add_subspace(char job, int n) {
  add(std::string("dtrsen") + job, "nuv", n, multiply_adds<double>(n * double(n) * n), [=] {
    std::vector<int> select(std::size_t(n), 0);
    for (int j = 0; j < n; ++j) select[std::size_t(j)] = j / 2 % 2;
    return [=, t = schur_form<double>(n, 0), q = random_numbers<double>(std::size_t(n) * n), S = std::vector<double>(),
            wr = std::vector<double>(n), wi = std::vector<double>(n), work = std::vector<double>(std::size_t(n) * n),
            iwork = std::vector<int>(std::size_t(n) * n)]() mutable {
      S = t;
      int m = 0, info = 0;
      double s = 0, sep = 0;
      routine_call::trsen(job, 'V', select.data(), n, Matrix<double>{S.data(), n}, Matrix<double>{q.data(), n},
                          wr.data(), wi.data(), m, s, sep, work.data(), int(work.size()), iwork.data(),
                          int(iwork.size()), info);
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000}) {
    for (const char trana : {'N', 'T'}) {
      for (const char tranb : {'N', 'T'}) add_equation<double>(trana, tranb, n);
    }
    add_equation<std::complex<double>>('N', 'N', n);
    add_products(n);
    add_move(n);
    for (const char job : {'E', 'V'}) {
      if (job == 'E' || n <= 500) add_conditions(job, n);
    }
    for (const char job : {'N', 'B'}) add_subspace(job, n);
  }
  return run(argc, argv);
}
