#pragma once

// The four factorisations whose reflectors a matrix may hold, and what tells them apart.

#include "base/types.hpp"
#include "environment/hermitian.hpp"

namespace nuv {

struct Form {
  bool rowwise;   ///< reflectors are made of rows (LQ, RQ), not of columns (QR, QL)
  bool backward;  ///< from the last row or column (QL, RQ): reflector i of k has its unit element in place nq - k + i
                  ///< of nq

  constexpr char storev() const { return rowwise ? 'R' : 'C'; }
  constexpr char direct() const { return backward ? 'B' : 'F'; }
};

inline constexpr Form qr{.rowwise = false, .backward = false}, lq{.rowwise = true, .backward = false},
    ql{.rowwise = false, .backward = true}, rq{.rowwise = true, .backward = true};

/// The name of a routine that comes in four forms, "?ORM" and the like with the letters of the form behind: "DORMQR".
template <Scalar T>
constexpr RoutineName<T> name_of_form(const char (&real_stem)[4], const char (&complex_stem)[4], Form form) {
  const auto& stem = ComplexScalar<T> ? complex_stem : real_stem;
  const char* const end = form.backward ? (form.rowwise ? "RQ" : "QL") : (form.rowwise ? "LQ" : "QR");
  const char name[] = {stem[0], stem[1], stem[2], end[0], end[1], '\0'};
  return RoutineName<T>(name);
}

/// The opposite of a transposition letter.
template <Scalar T>
constexpr char reversed(bool is_transposed) {
  return is_transposed ? 'N' : adjoint<T>;
}

}  // namespace nuv
