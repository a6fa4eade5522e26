#pragma once

// The option letters of the triangular routines and of transposition.

#include "frame/option_matching.hpp"

namespace nuv::test {

inline constexpr char uplos[] = {'U', 'L'};
inline constexpr char transes[] = {'N', 'T', 'C'};
inline constexpr char diags[] = {'N', 'U'};
inline constexpr char sides[] = {'L', 'R'};

inline bool is_upper(char uplo) {
  return same_letter(uplo, 'U');
}
inline bool is_in_triangle(char uplo, int i, int j) {
  return is_upper(uplo) ? i <= j : i >= j;
}
inline bool is_unit(char diag) {
  return same_letter(diag, 'U');
}
inline bool is_transposed(char trans) {
  return !same_letter(trans, 'N');
}
inline bool is_left(char side) {
  return same_letter(side, 'L');
}

}  // namespace nuv::test
