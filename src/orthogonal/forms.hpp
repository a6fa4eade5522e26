#pragma once

// The four factorisations whose reflectors a matrix may hold, and what tells them apart.

#include "base/matrix.hpp"
#include "base/types.hpp"
#include "solvers/hermitian.hpp"

namespace nuv {

enum class Form { qr, lq, ql, rq };

template <Form form>
inline constexpr bool is_rowwise = form == Form::lq || form == Form::rq;

/// QL and RQ factor from the last column or row: reflector i of k has its unit element in place nq - k + i of nq.
template <Form form>
inline constexpr bool is_backward = form == Form::ql || form == Form::rq;

template <Form form>
inline constexpr char storev = is_rowwise<form> ? 'R' : 'C';

template <Form form>
inline constexpr char direct = is_backward<form> ? 'B' : 'F';

/// The name of a routine that comes in four forms, "?ORM" and the like with the letters of the form behind: "DORMQR".
template <Form form, Scalar T>
constexpr RoutineName<T> name_of_form(const char (&real_stem)[4], const char (&complex_stem)[4]) {
  constexpr const char* letters[] = {"QR", "LQ", "QL", "RQ"};
  const auto& stem = ComplexScalar<T> ? complex_stem : real_stem;
  const char* const end = letters[static_cast<int>(form)];
  const char name[] = {stem[0], stem[1], stem[2], end[0], end[1], '\0'};
  return RoutineName<T>(name);
}

/// The opposite of a transposition letter.
template <Scalar T>
constexpr char reversed(bool is_transposed) {
  return is_transposed ? 'N' : adjoint<T>;
}

}  // namespace nuv
