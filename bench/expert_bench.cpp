// What it costs to know how good a solution is: condition numbers and expert drivers beside the factorisation and the
// plain driver; and solutions by way of single precision.

#include <cmath>

#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

using Numbers = std::vector<double>;

/// H1 D H2 for two reflectors and singular values from 1 to 1/condition in equal ratios.
Numbers matrix_of_condition(int n, double condition) {
  const auto unit_vector = [n](int from) {
    Numbers u = random_numbers<double>(std::size_t(from + n));
    u.erase(u.begin(), u.begin() + from);
    double sum = 0;
    for (const double x : u) sum += x * x;
    for (double& x : u) x /= std::sqrt(sum);
    return u;
  };
  const Numbers u = unit_vector(0), v = unit_vector(n);
  Numbers d(n), a(std::size_t(n) * n);
  double udv = 0;
  for (int i = 0; i < n; ++i) {
    d[i] = std::pow(condition, -double(i) / (n - 1));
    udv += u[i] * d[i] * v[i];
  }
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      a[std::size_t(j) * n + i] =
          (i == j ? d[i] : 0) - 2 * u[i] * u[j] * d[j] - 2 * d[i] * v[i] * v[j] + 4 * u[i] * udv * v[j];
    }
  }
  return a;
}

Measure measure_of_lu(int n) {
  return multiply_adds<double>(double(n) * n * n / 3);
}

/// The system that these solve, and the arrays to do it in.
struct System {
  int n;
  Numbers a = matrix_of_condition(n, 100), b = random_numbers<double>(n), w = a, f = a, x = b, y = b;
  std::vector<int> pivots = std::vector<int>(n);
  int info = 0;

  explicit System(int n_) : n(n_) {}
};

void add_condition(int n) {
  add("dgetrf", "nuv", n, measure_of_lu(n), [=] {
    return [s = System(n)]() mutable {
      s.w = s.a;
      layer::getrf(s.n, s.n, {s.w.data(), s.n}, s.pivots.data(), s.info);
    };
  });
  add("dgecon", "nuv", n, bytes_read(4.0 * n * n * sizeof(double)), [=] {
    System s(n);
    layer::getrf(n, n, {s.w.data(), n}, s.pivots.data(), s.info);
    return [s, work = Numbers(4 * std::size_t(n)), iwork = std::vector<int>(n)]() mutable {
      double rcond;
      routine_call::gecon('1', s.n, {s.w.data(), s.n}, 1.0, rcond, work.data(), iwork.data(), s.info);
      benchmark::DoNotOptimize(rcond);
    };
  });
}

void add_drivers(int n) {
  add("dgesv", "nuv", n, measure_of_lu(n), [=] {
    return [s = System(n)]() mutable {
      s.w = s.a;
      s.x = s.b;
      routine_call::gesv(s.n, 1, {s.w.data(), s.n}, s.pivots.data(), {s.x.data(), s.n}, s.info);
    };
  });
  for (const char fact : {'N', 'E'}) {
    add(fact == 'N' ? "dgesvx" : "dgesvx_E", "nuv", n, measure_of_lu(n), [=] {
      return [s = System(n), fact, work = Numbers(4 * std::size_t(n)), r = Numbers(n), c = Numbers(n),
              iwork = std::vector<int>(n)]() mutable {
        s.w = s.a;
        s.x = s.b;
        char equed;
        double rcond, ferr, berr;
        routine_call::gesvx(fact, 'N', s.n, 1, {s.w.data(), s.n}, {s.f.data(), s.n}, s.pivots.data(), equed, r.data(),
                            c.data(), {s.x.data(), s.n}, {s.y.data(), s.n}, rcond, &ferr, &berr, work.data(),
                            iwork.data(), s.info);
      };
    });
  }
  add("dsgesv", "nuv", n, measure_of_lu(n), [=] {
    return [s = System(n), work = Numbers(n), swork = std::vector<float>(std::size_t(n) * (n + 1))]() mutable {
      int iter;
      s.w = s.a;
      routine_call::dsgesv(s.n, 1, {s.w.data(), s.n}, s.pivots.data(), {s.b.data(), s.n}, {s.x.data(), s.n},
                           work.data(), swork.data(), iter, s.info);
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000, 2000}) {
    add_condition(n);
    add_drivers(n);
  }
  return run(argc, argv);
}
