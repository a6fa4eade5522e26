#include "det.hpp"

#include <fmt/format.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "lu_factors.hpp"
#include "report.hpp"

namespace nuv::tools {
namespace {

/// exp(logarithm) in decimal digits, whatever its exponent is.
std::string exponential(long double logarithm) {
  if (std::isinf(logarithm)) return "0";
  const long double decimal = logarithm / std::numbers::ln10_v<long double>;
  long double exponent = std::floor(decimal);
  std::string digits = fmt::format("{:.6g}", static_cast<double>(std::pow(10.0L, decimal - exponent)));
  if (digits == "10") {
    digits = "1";
    ++exponent;
  }
  return exponent == 0 ? digits : fmt::format("{} * 10^{:.0f}", digits, exponent);
}

std::string phase_words(const Determinant& determinant) {
  const std::complex<long double> phase = determinant.phase;
  if (phase == 0.0L) return "0";
  if (determinant.is_real) return phase.real() < 0 ? "-1" : "1";
  return fmt::format("{:.6g}{:+.6g}i", static_cast<double>(phase.real()), static_cast<double>(phase.imag()));
}

}  // namespace

void show_determinant(const MatrixOptions& options) {
  show_from_factors("det", options, "a determinant", [](const MatrixFactors& factors, Report& report) {
    const Determinant determinant = factors.determinant();
    report.line(determinant.is_real ? "sign" : "phase", phase_words(determinant))
        .line("logarithm",
              fmt::format("{:.15g}   of the magnitude, to base e", static_cast<double>(determinant.logarithm)))
        .line("magnitude", exponential(determinant.logarithm))
        .line("condition", fmt::format("{:.3g}   reciprocal, in the one norm", factors.reciprocal_condition('1')));
    const auto [phase, logarithm, is_real] = determinant;
    report.fact("phase/real", phase.real()).fact("phase/imaginary", phase.imag()).fact("logarithm", logarithm);
    report.fact("reciprocal_condition", factors.reciprocal_condition('1'));
  });
}

}  // namespace nuv::tools
