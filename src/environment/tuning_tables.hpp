#pragma once

// The tuning answers.

#include <algorithm>
#include <cmath>

#include "environment/tuning.hpp"
#include "environment/tuning_rules.hpp"

namespace nuv::tuning {

// --------------------------------------------------------------------------------------- rules that are no plain steps

constexpr std::int64_t quotient_rounded_up(std::int64_t a, std::int64_t b) {
  return a / b + (a % b != 0 ? 1 : 0);
}

inline Int recursive_panel_width(const Sizes& sizes) {
  return getrf_panel_width(sizes.n2);
}

inline Int second_size(const Sizes& sizes) {
  return sizes.n2;
}

/// Columns that the recursive QR panel takes in one piece: all of a short panel.
inline Int recursive_qr_panel(const Sizes& sizes) {
  return sizes.n1 <= 350 ? sizes.n2 : 16;
}

template <Int Limit>
Int order_up_to(const Sizes& sizes) {
  return std::min(sizes.n1, Limit);
}

/// Columns of the triangular factor of a block reflector that are formed at once.
inline Int reflector_block(const Sizes& sizes) {
  return sizes.n2 > 64 && sizes.n1 <= 14999 ? 32 : 16;
}

/// Reflectors of a real orthogonal matrix that are applied at once, by the matrix's elements, counted modulo 2^32.
inline Int real_orthogonal_block(const Sizes& sizes) {
  if (sizes.n1 <= 64 || sizes.n2 <= 64) return 16;
  const auto elements = static_cast<Int>(static_cast<std::uint32_t>(sizes.n1) * static_cast<std::uint32_t>(sizes.n2));
  if (elements < 256000) return 32;
  return elements < 1500000 ? 64 : 128;
}

/// Width of the panels of a packed matrix that are unpacked into a buffer: at most Limit for orders up to 3000; beyond
/// that panels of equal width near Columns, as many as divide evenly among n2 buffers.
template <Int Limit, Int Columns>
Int buffered_panel_width(const Sizes& sizes) {
  if (sizes.n1 <= 3000) return std::min(sizes.n1, Limit);
  const std::int64_t buffers = std::max(sizes.n2, 1);
  const std::int64_t panels = quotient_rounded_up(quotient_rounded_up(sizes.n1, Columns), buffers) * buffers;
  return static_cast<Int>(quotient_rounded_up(sizes.n1, panels));
}

/// Width of the blocks in which a packed factor is unpacked for n2 right-hand sides: a small factor at once; else the
/// more columns the more right-hand sides share the unpacking.
inline Int unpacked_block_width(const Sizes& sizes) {
  if (sizes.n1 <= 64) return sizes.n1;
  return std::clamp(sizes.n2, 16, 64);
}

/// Remaining columns below which a QR factorisation goes on unblocked; a panel that is large by itself stays blocked.
template <Int ManyElements, Int Columns>
Int qr_crossover(const Sizes& sizes) {
  if (sizes.n2 <= 8) return 128;
  return sizes.n1 > 4000 || std::int64_t{sizes.n1} * sizes.n2 > ManyElements ? 8 : Columns;
}

/// Order from which eigenvalues alone are computed through a band: fixed for one thread, and with the square root of
/// the number of threads, n1, for more of them. The slopes come from single precision.
struct BandCrossover {
  Int one_thread;
  double scale, slope, offset;
};
inline constexpr BandCrossover band_crossover_s{1562, 8000000, 0.6f, 700}, band_crossover_d{1100, 4000000, 0.6f, 500},
    band_crossover_z{781, 8000000, 0.3f, 350};

template <const BandCrossover& Crossover>
Int order_for_band(const Sizes& sizes) {
  if (sizes.n1 <= 1) return Crossover.one_thread;
  return static_cast<Int>(std::sqrt(sizes.n1 * Crossover.scale) * Crossover.slope - Crossover.offset);
}

// ---------------------------------------------------------------------------------------------------------- the tables

inline constexpr Row block_sizes[] = {
    {"SD", "POTRF", 128},
    {"SCZ", "GETRF", 64},
    {"SDCZ", "GETRI TRTRI LAUUM SYTRF", 64},
    {"SD", "SYGST", 64},
    {"CZ", "HEGST HETRF POTRF", 64},
    {"S", "SYRDB", 40},
    {"Z", "HERDB", 40},
    {"SDCZ", "GEBRD GEHRD GELQF GEQLF GERQF LAQPS", 32},
    {"SD", "SPTRD", 32},
    {"CZ", "HPTRD", 32},
    {"CZ", "UNGBR UNGHR UNGLQ UNGQL UNGQR UNGRQ UNGTR UNMBR UNMHR UNMLQ UNMQL UNMQR UNMRQ UNMTR", 32},

    {"D", "GETRF", recursive_panel_width},
    {"SDCZ", "GEQRF", n2.up_to(300, 16).up_to(350, 24).up_to(800, 48).up_to(1150, 64).up_to(3400, 96).otherwise(128)},
    {"SDCZ", "LAQRF", recursive_qr_panel},
    {"SDCZ", "LARFT", reflector_block},
    {"SD", "ORG?? ORM??", real_orthogonal_block},

    // Sweeps of rotations that are gathered before they are applied.
    {"SDCZ", "ST?QR BD?QR",
     n1.up_to(210, 4).up_to(260, 100).up_to(450, 120).up_to(1000, 140).up_to(2200, 160).up_to(4000, 180).otherwise(200),
     Threads::one},
    {"SDCZ", "ST?QR BD?QR",
     n1.up_to(210, 4).up_to(630, 100).up_to(1100, 140).up_to(2500, 160).up_to(6200, 180).otherwise(200)},

    {"DC", "SYTRS SPTRS", n1.below(2500, 64).below(5000, 32).otherwise(16)},
    {"C", "HETRS HPTRS", n1.below(2500, 64).below(5000, 32).otherwise(16)},
    {"S", "SYTRS SPTRS", n1.below(2500, 128).below(5000, 64).otherwise(32)},
    {"Z", "SYTRS SPTRS HETRS HPTRS", n1.below(2500, 32).below(5000, 16).otherwise(8)},

    {"SDCZ", "PBTRF", n2.up_to(64, 1).otherwise(32)},
    {"SDCZ", "GBTRF", n4.up_to(64, 1).otherwise(32)},
    {"SDCZ", "GBTRS PBTRS TBTRS", n3.below(3, 1).otherwise(128)},

    {"S", "SYTRD", n1.below(1400, 20).otherwise(24), Threads::at_most_one},
    {"S", "SYTRD", 12},
    {"D", "SYTRD", n1.below(1550, 24).otherwise(32), Threads::at_most_one, 'U'},
    {"D", "SYTRD", n1.below(1100, 24).otherwise(32), Threads::at_most_one},
    {"D", "SYTRD", n1.below(1700, 12).otherwise(16)},
    {"C", "HETRD", n1.below(750, 24).otherwise(40), Threads::at_most_one},
    {"C", "HETRD", 12},
    {"Z", "HETRD", n1.below(400, 20).below(1000, 24).otherwise(32), Threads::at_most_one, 'U'},
    {"Z", "HETRD", n1.below(400, 20).below(1000, 24).otherwise(40), Threads::at_most_one},
    {"Z", "HETRD", n1.below(1550, 12).otherwise(16), Threads::any, 'U'},
    {"Z", "HETRD", n1.below(1400, 12).otherwise(16)},

    {"DZ", "SPTRF", 64, Threads::one},
    {"DZ", "SPTRF", n1.below(2000, 64).otherwise(128)},
    {"Z", "HPTRF", 64, Threads::one},
    {"Z", "HPTRF", n1.below(2000, 64).otherwise(128)},
    {"SC", "SPTRF", 128, Threads::one},
    {"SC", "SPTRF", n1.below(2000, 128).otherwise(256)},
    {"C", "HPTRF", 128, Threads::one},
    {"C", "HPTRF", n1.below(2000, 128).otherwise(256)},

    {"D", "SYRDB", 40, Threads::at_most_one},
    {"D", "SYRDB", n1.below(2950, 40).otherwise(64)},
    {"C", "HERDB", n1.below(2350, 40).otherwise(64), Threads::at_most_one},
    {"C", "HERDB", n1.below(2800, 40).otherwise(64)},

    {"SDCZ", "GTTRS PTTRS", second_size},

    // With "Memory" there is a buffer; "No Memory" says that there was none to be had.
    {"DZ", "PPTRF", buffered_panel_width<64, 200>, Threads::any, 'M'},
    {"DZ", "PPTRF", order_up_to<128>, Threads::one},
    {"DZ", "PPTRF", order_up_to<64>},
    {"SC", "PPTRF", buffered_panel_width<128, 400>, Threads::any, 'M'},
    {"SC", "PPTRF", order_up_to<256>, Threads::one},
    {"SC", "PPTRF", order_up_to<128>},
    {"SDCZ", "PPTRS", unpacked_block_width},
    {"DZ", "TPTRS", order_up_to<256>},
    {"SC", "TPTRS", order_up_to<512>},
};

inline constexpr Row least_block_sizes[] = {
    {"SDCZ", "SYTRF", 8},
};

inline constexpr Row crossovers[] = {
    // Eigenvectors make the way through a band too long. The simple driver's name may come without its sixth letter.
    {"SDCZ", "SYEVD SYEVR SYEVX HEEVD HEEVR HEEVX", 1000000},
    {"S", "SYEV?", order_for_band<band_crossover_s>, Threads::any, 'N'},
    {"D", "SYEV?", order_for_band<band_crossover_d>, Threads::any, 'N'},
    {"C", "HEEV?", order_for_band<band_crossover_d>, Threads::any, 'N'},
    {"Z", "HEEV?", order_for_band<band_crossover_z>, Threads::any, 'N'},
    {"SDCZ", "SYEV? HEEV?", 1000000},
    {"SDCZ", "LATRD", 100000},
    {"S", "SYTRD", 250, Threads::at_most_one},
    {"S", "SYTRD", 600},
    // An order that is not told is -1, and no other number.
    {"D", "SYTRD", n1.below(-1, 200).up_to(-1, 32).otherwise(200), Threads::at_most_one},
    {"D", "SYTRD", n1.below(-1, 500).up_to(-1, 32).otherwise(500)},
    {"C", "HETRD", n1.below(750, 150).otherwise(200), Threads::at_most_one},
    {"C", "HETRD", 300},
    {"Z", "HETRD", n1.below(400, 50).below(1000, 100).otherwise(150), Threads::at_most_one, 'U'},
    {"Z", "HETRD", n1.below(400, 50).otherwise(100), Threads::at_most_one},
    {"Z", "HETRD", n1.below(1550, 150).otherwise(100), Threads::any, 'U'},
    {"Z", "HETRD", n1.below(1400, 150).otherwise(100)},
    {"SDCZ", "ST?QR BD?QR", 210},
    {"SDCZ", "PO??? PTTRS", 128},
    {"SDCZ", "SPTRF", 128},
    {"CZ", "HPTRF", 128},
    {"SD", "SYTRF", 100},
    {"S", "SYTD2", 100},
    {"D", "SYTD2", 80},
    {"C", "HETD2", 60},
    {"Z", "HETD2", n1.below(1400, 60).otherwise(80)},
    {"SDCZ", "GTTRS", 64},
    {"SDCZ", "PPTRF", 50},
    {"SDCZ", "GEBRD GEHRD GELQF GEQLF GERQF ORGBR ORGHR ORGLQ ORGQL ORGQR ORGRQ ORGTR UNG??", 32},

    {"DCZ", "GEQRF", qr_crossover<12500, 128>},
    {"S", "GEQRF", qr_crossover<25000, 256>},
    {"SDCZ", "GBTRS PBTRS TBTRS", n1.below(128, 4).otherwise(32)},
    {"SDCZ", "PPTRS TPTRS", n2.up_to(5, 50000).up_to(11, 500).otherwise(50)},
};

}  // namespace nuv::tuning
