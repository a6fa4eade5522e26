#include "cond.hpp"

#include <fmt/format.h>

#include "lu_factors.hpp"
#include "report.hpp"

namespace nuv::tools {

void show_condition(const MatrixOptions& options) {
  show_from_factors("cond", options, "a condition number", [](const MatrixFactors& factors, Report& report) {
    const double one = factors.reciprocal_condition('1'), infinity = factors.reciprocal_condition('I');
    report.line("one norm", fmt::format("{:.3g}   1 / (||A|| ||A^-1||)", one))
        .fact("reciprocal_condition/one_norm", one)
        .line("infinity norm", fmt::format("{:.3g}", infinity))
        .fact("reciprocal_condition/infinity_norm", infinity);
  });
}

}  // namespace nuv::tools
