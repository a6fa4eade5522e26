#include "environment/tuning.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "environment/tuning_tables.hpp"

namespace nuv {
namespace {

using tuning::Name;

/// Rows, or columns, from which a matrix with n of the other kind gets a QR factorisation before its SVD.
Int svd_crossover(Int n) {
  const float crossover = static_cast<float>(n) * 1.6f;
  using Limits = std::numeric_limits<Int>;
  if (crossover >= static_cast<float>(Limits::max())) return Limits::max();
  return crossover > static_cast<float>(Limits::min()) ? static_cast<Int>(crossover) : Limits::min();
}

/// The Hessenberg QR iteration and the routines inside it, numbered from 0, which ask for its smallest order.
bool is_hessenberg_iteration(const Name& name) {
  if (name.precision == 0) return false;
  constexpr std::uint64_t driver = tuning::packed_letters("HSEQR"), inner = tuning::packed_letters("LAQR0");
  return name.letters == driver || (name.letters >= inner && name.letters <= inner + 5);
}

/// Block size (1), least block size (2) or crossover (3) of the routine; 1 for a name without a precision.
Int entry_of_routine(Int ispec, const Name& name, Text opts, const tuning::Sizes& sizes) {
  if (name.precision == 0) return 1;
  switch (ispec) {
    case 2:
      return tuning::look_up<tuning::least_block_sizes>(name, opts.data, sizes, 2);
    case 3:
      return tuning::look_up<tuning::crossovers>(name, opts.data, sizes, 0);
    default:
      return tuning::look_up<tuning::block_sizes>(name, opts.data, sizes, 1);
  }
}

/// Shifts for an active block of order n, an even number.
Int shift_count(std::int64_t n) {
  if (n < 30) return 2;
  if (n < 60) return 4;
  if (n < 150) return 10;
  if (n >= 6000) return 256;
  if (n >= 3000) return 128;
  if (n >= 590) return 64;
  const auto order = static_cast<double>(n);
  const Int count = std::max(10, static_cast<Int>(order / (std::log(order) / std::log(2.0))));
  return count - count % 2;
}

}  // namespace

Int ilaenv(Int ispec, Text name_text, Text opts, Int n1, Int n2, Int n3, Int n4) {
  switch (ispec) {
    case 1:
    case 2:
    case 3:
      return entry_of_routine(ispec, Name(name_text), opts, {n1, n2, n3, n4});
    case 4:
      return 6;
    case 5:
      return 2;
    case 6:
      return svd_crossover(std::min(n1, n2));
    case 7:
      return 1;
    case 8:
      return 50;
    case 9:
      return 25;
    case 10:
      return 1;
    case 11:
      return 0;
    case 12:
      if (is_hessenberg_iteration(Name(name_text))) return iparmq(ispec, name_text, opts, n1, n2, n3, n4);
      return entry_of_routine(1, Name(name_text), opts, {n1, n2, n3, n4});
    case 13:
    case 14:
    case 15:
    case 16:
      return iparmq(ispec, name_text, opts, n1, n2, n3, n4);
    default:
      return -1;
  }
}

Int iparmq(Int ispec, Text /*name*/, Text /*opts*/, Int /*n*/, Int ilo, Int ihi, Int /*lwork*/) {
  const std::int64_t order = std::int64_t{ihi} - ilo + 1;
  switch (ispec) {
    case 12:
      return 75;
    case 13:
      return order <= 500 ? shift_count(order) : 3 * shift_count(order) / 2;
    case 14:
      return 14;
    case 15:
      return shift_count(order);
    case 16:
      return shift_count(order) >= 14 ? 2 : 0;
    default:
      return -1;
  }
}

void ilaver(Int& major_version, Int& minor_version, Int& patch) {
  major_version = 3;
  minor_version = 1;
  patch = 1;
}

}  // namespace nuv

#include "environment/tuning.entries.inc"
