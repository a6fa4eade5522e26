#pragma once

// How a routine reports a bad argument.

#include <nuv/nuv_services.h>

#include "base/types.hpp"

namespace nuv {

/// Hands the name of a routine and the position of its bad argument to the error handler of the process. `info` is what
/// the routine returns: minus that position.
///
/// Static, since sources compiled for different instruction sets must not share a function.
template <Scalar T, std::size_t Size>
static void report_bad_argument(const char (&operation)[Size], Int info) {
  const RoutineName<T> name(operation);
  const Int position = -info;
  nuv_serv_xerbla(Text(name).data, &position, Text(name).length);
}

}  // namespace nuv
