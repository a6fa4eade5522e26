#pragma once

// The routines that come in four forms, called by the form.

#include <string>

#include "base/matrix.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "x_variants.hpp"

namespace nuv::test {

/// How a block of reflectors is stored.
struct Form {
  char direct, storev;

  bool forward() const { return direct == 'F'; }
  bool columnwise() const { return storev == 'C'; }
};

inline constexpr Form forms[] = {{'F', 'C'}, {'F', 'R'}, {'B', 'C'}, {'B', 'R'}};

inline std::string to_string(const Form& form) {
  return std::string{form.direct, form.storev};
}

/// "QR", "LQ", "QL" or "RQ".
inline std::string letters_of(const Form& form) {
  if (form.columnwise()) return form.forward() ? "QR" : "QL";
  return form.forward() ? "LQ" : "RQ";
}

/// "2R", "L2", "2L" or "R2".
inline std::string unblocked_letters_of(const Form& form) {
  if (form.columnwise()) return form.forward() ? "2R" : "2L";
  return form.forward() ? "L2" : "R2";
}

// ------------------------------------------------------------------------------------------------------ factorisation

template <Scalar T>
void factor_by_blocks(const Form& form, Int m, Int n, Matrix<T> A, T* tau, T* work, Int lwork, Int& info) {
  if (form.columnwise()) {
    form.forward() ? layer::geqrf(m, n, A, tau, work, lwork, info)
                   : routine_call::geqlf(m, n, A, tau, work, lwork, info);
  } else {
    form.forward() ? routine_call::gelqf(m, n, A, tau, work, lwork, info)
                   : routine_call::gerqf(m, n, A, tau, work, lwork, info);
  }
}

template <Scalar T>
void factor_one_by_one(const Form& form, Int m, Int n, Matrix<T> A, T* tau, T* work, Int& info) {
  if (form.columnwise()) {
    form.forward() ? routine_call::geqr2(m, n, A, tau, work, info) : routine_call::geql2(m, n, A, tau, work, info);
  } else {
    form.forward() ? routine_call::gelq2(m, n, A, tau, work, info) : routine_call::gerq2(m, n, A, tau, work, info);
  }
}

// --------------------------------------------------------------------------------------------------- products with Q

/// The same call by the layer, by the serial body, and one reflector after another.
struct ByLayer {
  template <class... Arguments>
  static void call(const Form& form, Arguments&&... arguments) {
    if (form.columnwise()) {
      form.forward() ? layer::ormqr(arguments...) : layer::ormql(arguments...);
    } else {
      form.forward() ? layer::ormlq(arguments...) : layer::ormrq(arguments...);
    }
  }
};
struct ByBody {
  template <class... Arguments>
  static void call(const Form& form, Arguments&&... arguments) {
    if (form.columnwise()) {
      form.forward() ? x_variant::ormqr(arguments...) : x_variant::ormql(arguments...);
    } else {
      form.forward() ? x_variant::ormlq(arguments...) : x_variant::ormrq(arguments...);
    }
  }
};
struct OneByOne {
  template <Scalar T>
  static void call(const Form& form, char side, char trans, Int m, Int n, Int k, Matrix<T> A, const T* tau, Matrix<T> C,
                   T* work, Int /*lwork*/, Int& info) {
    if (form.columnwise()) {
      form.forward() ? routine_call::orm2r(side, trans, m, n, k, A, tau, C, work, info)
                     : routine_call::orm2l(side, trans, m, n, k, A, tau, C, work, info);
    } else {
      form.forward() ? routine_call::orml2(side, trans, m, n, k, A, tau, C, work, info)
                     : routine_call::ormr2(side, trans, m, n, k, A, tau, C, work, info);
    }
  }
};

// ----------------------------------------------------------------------------------------------------------- Q itself

template <Scalar T>
void form_q_by_blocks(const Form& form, Int m, Int n, Int k, Matrix<T> A, const T* tau, T* work, Int lwork, Int& info) {
  if (form.columnwise()) {
    form.forward() ? routine_call::orgqr(m, n, k, A, tau, work, lwork, info)
                   : routine_call::orgql(m, n, k, A, tau, work, lwork, info);
  } else {
    form.forward() ? routine_call::orglq(m, n, k, A, tau, work, lwork, info)
                   : routine_call::orgrq(m, n, k, A, tau, work, lwork, info);
  }
}

template <Scalar T>
void form_q_one_by_one(const Form& form, Int m, Int n, Int k, Matrix<T> A, const T* tau, T* work, Int& info) {
  if (form.columnwise()) {
    form.forward() ? routine_call::org2r(m, n, k, A, tau, work, info)
                   : routine_call::org2l(m, n, k, A, tau, work, info);
  } else {
    form.forward() ? routine_call::orgl2(m, n, k, A, tau, work, info)
                   : routine_call::orgr2(m, n, k, A, tau, work, info);
  }
}

}  // namespace nuv::test
