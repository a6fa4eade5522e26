#include "svd/bidiagonal_matrices.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "support/random.hpp"

namespace nuv::test {
namespace {

/// The number of singular values below x > 0. Each pivot is a sum of two terms whose roundings change the squares by as
/// little relatively as they are themselves, and that changes no singular value by more.
Int count_below(const std::vector<long double>& squares, long double x) {
  Int negative = 1;
  long double pivot = -x;
  for (const long double square : squares) {
    pivot = -x - square / pivot;
    if (pivot == 0) pivot = -std::numeric_limits<long double>::min();
    negative += pivot < 0;
  }
  return negative - Int(squares.size() + 1) / 2;
}

/// The values of which first lie below low and last below high, in increasing order.
void bisect(const std::vector<long double>& squares, long double low, Int first, long double high, Int last,
            std::vector<long double>& values) {
  if (first == last) return;
  const long double middle = high > 4 * low ? std::sqrt(low) * std::sqrt(high) : low + (high - low) / 2;
  if (!(low < middle && middle < high) || high - low <= 4 * std::numeric_limits<long double>::epsilon() * high) {
    values.insert(values.end(), std::size_t(last - first), middle);
    return;
  }
  const Int count = std::clamp(count_below(squares, middle), first, last);
  bisect(squares, low, first, middle, count, values);
  bisect(squares, middle, count, high, last, values);
}

}  // namespace

std::vector<long double> singular_values(const std::vector<long double>& squares, long double least) {
  const Int n = Int(squares.size() + 1) / 2;
  const long double bound = 2.001L * std::sqrt(*std::max_element(squares.begin(), squares.end()));
  std::vector<long double> values;
  if (bound <= least) return std::vector<long double>(std::size_t(n), 0);
  const Int zeros = std::clamp(count_below(squares, least), 0, n);
  values.assign(std::size_t(zeros), 0);
  bisect(squares, least, zeros, bound, n, values);
  std::reverse(values.begin(), values.end());
  return values;
}

template <RealScalar R>
std::vector<long double> singular_values(const Bidiagonal<R>& matrix) {
  std::vector<long double> squares;
  for (std::size_t i = 0; i < matrix.d.size(); ++i) {
    if (i > 0) squares.push_back((long double)(matrix.e[i - 1]) * matrix.e[i - 1]);
    squares.push_back((long double)(matrix.d[i]) * matrix.d[i]);
  }
  return singular_values(squares, 1e-2000L);
}

template <RealScalar R>
double relative_error(const R* w, const std::vector<long double>& exact, long double floor) {
  double worst = 0;
  for (std::size_t k = 0; k < exact.size(); ++k) {
    const long double unit = std::numeric_limits<R>::epsilon() * std::max(exact[k], floor);
    const double error = double(std::abs(w[k] - exact[k]) / unit);
    if (!(error <= worst)) worst = error;
    if (std::isnan(worst)) return worst;
  }
  return worst;
}

template <RealScalar R>
std::vector<DescribedBidiagonal<R>> described_bidiagonals(Int n) {
  using std::exp2;
  Random random(41);
  const auto make = [n](const std::function<double(Int)>& d, const std::function<double(Int)>& e) {
    Bidiagonal<R> matrix;
    for (Int i = 1; i <= n; ++i) matrix.d.push_back(R(d(i)));
    for (Int i = 1; i < n; ++i) matrix.e.push_back(R(e(i)));
    return matrix;
  };
  const auto uniform = [&](Int) { return random.real(); };
  const auto constant = [](double x) { return [x](Int) { return x; }; };
  // Squares stay in range as long as elements are not below the norm by more than this power of two.
  const double range = std::same_as<R, float> ? 105 : 960;
  const auto of_any_size = [&](Int) { return random.divisor<double>() * exp2(-double(random.integer(0, int(range)))); };
  const auto down = [n, range](double factor) {
    return [=](Int i) { return factor * exp2(-range * (i - 1) / std::max(1, n - 1)); };
  };
  const auto up = [n, down](double factor) { return [=](Int i) { return down(factor)(n + 1 - i); }; };
  const auto eps = double(std::numeric_limits<R>::epsilon());
  const double largest = double(std::numeric_limits<R>::max()) / 8, least = double(std::numeric_limits<R>::min());
  const auto kahan = [](double s) { return [s](Int i) { return std::pow(s, i - 1); }; };
  const auto every = [](Int period, double there, double elsewhere) {
    return [=](Int i) { return i % period == period / 2 ? there : elsewhere; };
  };
  const auto wilkinson = [](Int i) { return std::abs((i - 1) % 21 - 10) + 1; };

  return {
      {"random", make(uniform, uniform)},
      {"of random sizes", make(of_any_size, of_any_size)},
      {"graded downwards", make(down(1), down(0.7))},
      {"graded upwards", make(up(1), up(0.7))},
      {"graded steeply", make(kahan(1e-3), kahan(1e-3))},
      {"graded with large elements above", make(kahan(0.5), constant(1))},
      {"Kahan's", make(kahan(0.9), [=](Int i) { return 0.43 * kahan(0.9)(i); })},
      {"ones", make(constant(1), constant(1))},
      {"ones and next to nothing", make(constant(1), constant(3 * eps))},
      {"ones and very little", make(constant(1), constant(std::sqrt(eps)))},
      {"equal parts glued", make(constant(1), every(10, 50 * eps, 0.25))},
      {"Wilkinson's glued", make(wilkinson, every(21, std::sqrt(eps), 1))},
      {"identity", make(constant(1), constant(0))},
      {"zeros on the diagonal", make(every(5, 0, 0.75), uniform)},
      {"zero first", make([](Int i) { return i == 1 ? 0 : 1; }, constant(0.5))},
      {"zero last", make([n](Int i) { return i == n ? 0 : 1; }, constant(0.5))},
      {"zero diagonal", make(constant(0), uniform)},
      {"zeros above", make(uniform, every(4, 0, 0.75))},
      {"zeros everywhere", make(every(5, 0, 0.75), every(3, 0, 0.5))},
      {"tiny on the diagonal", make(every(6, 1e-30, 0.5), uniform)},
      {"tiny beside huge", make(constant(least), constant(largest / 2))},
      {"huge beside tiny", make(constant(largest), constant(least))},
      {"tiny", make([&](Int) { return least * 4 * random.real(); }, [&](Int) { return least * 4 * random.real(); })},
      {"huge", make([&](Int) { return largest * random.real(); }, [&](Int) { return largest * random.real(); })},
      {"zero", make(constant(0), constant(0))}};
}

#define NUV_FOR(R)                                                                        \
  template std::vector<long double> singular_values(const Bidiagonal<R>&);                \
  template double relative_error(const R*, const std::vector<long double>&, long double); \
  template std::vector<DescribedBidiagonal<R>> described_bidiagonals(Int);
NUV_FOR(float)
NUV_FOR(double)
#undef NUV_FOR

}  // namespace nuv::test
