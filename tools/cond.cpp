#include "cond.hpp"

#include <fmt/format.h>

#include "lu_factors.hpp"
#include "report.hpp"

namespace nuv::tools {

std::string condition_report(const MatrixOptions& options) {
  return report_on_factors(options, "a condition number", [](const MatrixFactors& factors, Report& report) {
    report.line("one norm", fmt::format("{:.3g}   1 / (||A|| ||A^-1||)", factors.reciprocal_condition('1')))
        .line("infinity norm", fmt::format("{:.3g}", factors.reciprocal_condition('I')));
  });
}

}  // namespace nuv::tools
