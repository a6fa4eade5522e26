#pragma once

// How a routine reports a bad argument.

#include <nuv/nuv_services.h>

#include "base/types.hpp"

namespace nuv {

/// Hands the name of a routine and the position of its bad argument to the error handler of the process. `info` is what
/// the routine returns: minus that position.
///
/// Static, since sources compiled for different instruction sets must not share a function.
[[maybe_unused]] static void report_bad_argument(Text name, Int info) {
  const Int position = -info;
  nuv_serv_xerbla(name.data, &position, name.length);
}

/// The same for the member of precision T of an operation.
template <Scalar T, std::size_t Size>
static void report_bad_argument(const char (&operation)[Size], Int info) {
  report_bad_argument(RoutineName<T>(operation), info);
}

}  // namespace nuv
