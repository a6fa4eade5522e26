#pragma once

// The routines for symmetric and for Hermitian indefinite matrices, full and packed, under the same names.

#include "layer.hpp"
#include "routines.hpp"
#include "x_variants.hpp"

namespace nuv::test {

/// A family by the letters with which its names begin, and the name of its panel.
#define NUV_INDEFINITE_NAMES(Names, capitals, is_hermitian, p, panel_name)                 \
  struct Names {                                                                           \
    static constexpr const char* letters = capitals;                                       \
    static constexpr bool hermitian = is_hermitian;                                        \
    static constexpr auto factor = [](auto&&... a) { routine_call::p##trf(a...); };        \
    static constexpr auto unblocked = [](auto&&... a) { routine_call::p##tf2(a...); };     \
    static constexpr auto panel = [](auto&&... a) { layer::panel_name(a...); };            \
    static constexpr auto serial_panel = [](auto&&... a) { x_variant::panel_name(a...); }; \
    static constexpr auto solve = [](auto&&... a) { layer::p##trs(a...); };                \
    static constexpr auto solve_strip = [](auto&&... a) { routine_call::p##ts2(a...); };   \
    static constexpr auto drive = [](auto&&... a) { routine_call::p##sv(a...); };          \
    static constexpr auto invert = [](auto&&... a) { routine_call::p##tri(a...); };        \
  };
NUV_INDEFINITE_NAMES(SymmetricNames, "SY", false, sy, lasyf)
NUV_INDEFINITE_NAMES(HermitianNames, "HE", true, he, lahef)
NUV_INDEFINITE_NAMES(PackedSymmetricNames, "SP", false, sp, laspf)
NUV_INDEFINITE_NAMES(PackedHermitianNames, "HP", true, hp, lahpf)
#undef NUV_INDEFINITE_NAMES

}  // namespace nuv::test
