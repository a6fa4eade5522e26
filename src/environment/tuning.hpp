#pragma once

#include <bit>

#include "base/types.hpp"

namespace nuv {

/// Settings of the blocked routines, by routine, precision and problem size.
///
/// ispec        1: block size; 2: smallest useful block size; 3: size below which the unblocked code is taken;
///              4, 5, 7: numbers of shifts and processors, and block sizes of column walks, that don't depend on the
///              name; 6: rows or columns from which a QR factorisation comes before an SVD; 8: crossover of an
///              iteration with many shifts; 9: order of the leaves of divide and conquer; 10, 11: 1 if infinities, NaNs
///              can be trusted; 12 to 16: settings of the Hessenberg QR iteration, see iparmq
/// name         routine name, read as six characters whatever its length says; letter case is ignored
/// opts         the routine's option characters, joined, or a word
/// n1 ... n4    the routine's problem sizes, -1 where there is none; for some routines n2 is the number of threads
///
/// Answers -1 for an ispec outside 1 to 16; a name that the tables do not hold gets 1, 2 and 0 for ispec 1, 2 and 3,
/// and a name that begins with no precision letter gets 1 for each of them.
Int ilaenv(Int ispec, Text name, Text opts, Int n1, Int n2, Int n3, Int n4);

/// The block size of double-precision getrf for n columns, as ilaenv answers it, without the search for the name: the
/// factorisation asks again for each of its small panels. It recurses on panels whose width is the largest power of two
/// below the number of columns, down to widths that the unblocked code takes.
constexpr Int getrf_panel_width(Int n) {
  if (n <= 8) return 1;
  if (n <= 32) return 8;
  if (n <= 128) return 32;
  return static_cast<Int>(std::bit_floor(static_cast<std::uint32_t>(n - 1)));
}

/// Settings of the multishift QR iteration with aggressive early deflation on rows ilo to ihi of a Hessenberg matrix
/// (K. Braman, R. Byers, R. Mathias, The multishift QR algorithm I and II, SIAM J. Matrix Anal. Appl. 23, 2002).
///
/// ispec    12: largest order for the double-shift code; 13: deflation window; 14: percentage of deflations that makes
///          a sweep superfluous; 15: number of shifts, even; 16: 2 if sweeps use products of 2 by 2 block matrices,
///          else 0; any other is answered with -1. name, opts and lwork are not looked at
Int iparmq(Int ispec, Text name, Text opts, Int n, Int ilo, Int ihi, Int lwork);

/// Version of the published interface that the routines keep to, as major_version.minor_version.patch.
void ilaver(Int& major_version, Int& minor_version, Int& patch);

}  // namespace nuv
