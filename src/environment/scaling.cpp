#include "environment/scaling.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

/// A quotient as a product of factors, none of which over- or underflows.
template <RealScalar R>
class FactoredQuotient {
 public:
  FactoredQuotient(R numerator, R denominator, R smallest, R largest)
      : numerator_(numerator), denominator_(denominator), smallest_(smallest), largest_(largest) {}

  bool is_done() const { return done_; }

  R next_factor() {
    // No factor brings an infinity into range: its quotients are zero, infinite or NaN at once.
    const bool in_range = std::isfinite(numerator_) && std::isfinite(denominator_);
    const R lesser_denominator = denominator_ * smallest_;
    const R lesser_numerator = numerator_ / largest_;
    if (in_range && std::abs(lesser_denominator) > std::abs(numerator_) && numerator_ != R(0)) {
      denominator_ = lesser_denominator;
      return smallest_;
    }
    if (in_range && std::abs(lesser_numerator) > std::abs(denominator_)) {
      numerator_ = lesser_numerator;
      return largest_;
    }
    done_ = true;
    return numerator_ / denominator_;
  }

 private:
  R numerator_, denominator_;
  R smallest_, largest_;
  bool done_ = false;
};

/// Rows of a column, none if last < first. Wide, since limits of bands are sums of sizes.
struct Rows {
  std::int64_t first, last;
};

/// Rows of column j that hold entries of a matrix of the type given.
Rows rows_of_column(char type, std::int64_t kl, std::int64_t ku, std::int64_t m, std::int64_t n, std::int64_t j) {
  using std::max, std::min;
  switch (to_upper_ascii(static_cast<unsigned char>(type))) {
    case 'L':
      return {j, m};
    case 'U':
      return {1, min(j, m)};
    case 'H':
      return {1, min(j + 1, m)};
    case 'B':
      return {1, min(kl + 1, n + 1 - j)};
    case 'Q':
      return {max<std::int64_t>(ku + 2 - j, 1), ku + 1};
    case 'Z':
      return {max(kl + ku + 2 - j, kl + 1), min(2 * kl + ku + 1, kl + ku + 1 + m - j)};
    default:
      return {1, m};
  }
}

/// x := factor x; both parts of complex entries.
template <Scalar T>
void multiply(T* entries, std::int64_t count, Real<T> factor) {
  auto* const x = reinterpret_cast<Real<T>*>(entries);
  const std::int64_t size = count * std::int64_t(sizeof(T) / sizeof(Real<T>));
  for (std::int64_t i = 0; i < size; ++i) x[i] *= factor;
}

/// Whether a band fits a matrix of that size.
bool is_bandwidth(Int k, Int size) {
  return k >= 0 && k <= std::max(size - 1, 0);
}

}  // namespace

template <Scalar T>
void lascl(char type, Int kl, Int ku, Real<T> cfrom, Real<T> cto, Int m, Int n, T* a, Int lda, Int& info) {
  const bool symmetric_band = is_one_of(type, 'B', 'Q');
  const bool band = symmetric_band || same_letter(type, 'Z');
  info = 0;
  if (!band && !is_one_of(type, 'G', 'L', 'U', 'H')) info = -1;
  else if (cfrom == Real<T>(0)) info = -4;
  else if (m < 0) info = -6;
  else if (n < 0 || (symmetric_band && n != m)) info = -7;
  else if (!band && lda < std::max(1, m)) info = -9;
  else if (band && !is_bandwidth(kl, m)) info = -2;
  else if (band && (!is_bandwidth(ku, n) || (symmetric_band && kl != ku))) info = -3;
  else if (same_letter(type, 'B') && lda <= kl) info = -9;
  else if (same_letter(type, 'Q') && lda <= ku) info = -9;
  else if (same_letter(type, 'Z') && lda <= 2 * std::int64_t{kl} + ku) info = -9;
  if (info != 0) return report_bad_argument<T>("LASCL", info);
  if (m == 0 || n == 0) return;

  const Matrix A{a, lda};
  const Real<T> smlnum = Machine<Real<T>>::safe_min;
  FactoredQuotient<Real<T>> factors(cto, cfrom, smlnum, 1 / smlnum);
  while (!factors.is_done()) {
    const Real<T> factor = factors.next_factor();
    for (Int j = 1; j <= n; ++j) {
      const Rows rows = rows_of_column(type, kl, ku, m, n, j);
      multiply(A.at(1, j) + (rows.first - 1), rows.last - rows.first + 1, factor);
    }
  }
}

template <Scalar T>
void rscl(Int n, Real<T> sa, T* x, Int incx) {
  if (n <= 0) return;
  Real<T> smlnum = Machine<Real<T>>::safe_min;
  Real<T> bignum = 1 / smlnum;
  labad(smlnum, bignum);
  FactoredQuotient<Real<T>> factors(1, sa, smlnum, bignum);
  while (!factors.is_done()) blas::scal(n, factors.next_factor(), {x, incx});
}

}  // namespace nuv

#include "environment/scaling.entries.inc"
