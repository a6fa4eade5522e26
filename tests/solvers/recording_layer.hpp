#pragma once

// A thread layer for tests that notes what is asked of it and hands the work on to the sequential layer. A program that
// links it ahead of nuv_sequential has its own calls noted too.

#include <string>
#include <vector>

namespace nuv::test {

/// The calls since the last time, each with its options as capitals and its sizes: "gemm NT 5 3 8" for m, n, k. Calls
/// that have nothing to write are left out. Those of ?unm.. go by the names of ?orm...
std::vector<std::string> take_recorded_calls();

/// The same calls, those of gemm and trmm with alpha and beta behind the sizes: "gemm NT 5 3 8, 1, 0".
std::vector<std::string> take_recorded_calls_with_factors();

}  // namespace nuv::test
