#include "pencil_eig.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "error.hpp"
#include "estimate.hpp"
#include "general_eig_results.hpp"
#include "pencil_residual.hpp"
#include "pencil_solvers.hpp"
#include "residual.hpp"
#include "spectrum_plot.hpp"

namespace nuv::tools {
namespace {

template <Scalar T>
void require_result(const PencilPairs<T>& pairs, const std::string& file) {
  const Int order = static_cast<Int>(pairs.size());
  if (pairs.info > order + 1) throw FileError(file, "the eigenvectors could not be found");
  if (pairs.info > 0) {
    throw FileError(file, fmt::format("the iteration for the eigenvalues did not converge: {} of {} were found",
                                      std::max(0, order - pairs.info), order));
  }
  const auto is_finite = [](auto alpha) { return std::isfinite(alpha.real()) && std::isfinite(alpha.imag()); };
  if (!std::all_of(pairs.alpha.begin(), pairs.alpha.end(), is_finite) ||
      !std::all_of(pairs.beta.begin(), pairs.beta.end(), [](auto beta) { return std::isfinite(beta); })) {
    throw FileError(file, "the eigenvalues overflow the precision");
  }
}

template <Scalar T>
void tell_values(const PencilPairs<T>& pairs, const GeneralValues<T>& values, Report& report) {
  const auto complex = std::count_if(values.begin(), values.end(), [](auto value) { return value.imag() != 0; });
  const auto infinite =
      std::count_if(values.begin(), values.end(), [](auto value) { return std::isinf(value.real()); });
  std::string words = complex == 0 ? "real" : fmt::format("{} of them complex", complex);
  if (infinite > 0) words += fmt::format(", {} infinite", infinite);
  report.line("eigenvalues", fmt::format("{}, all; {}", values.size(), words))
      .fact("eigenvalues", static_cast<std::int64_t>(values.size()))
      .fact("complex", static_cast<std::int64_t>(complex))
      .fact("infinite", static_cast<std::int64_t>(infinite))
      .template routine<T>("found by", pairs.driver);
  if (pairs.any_indefinite()) {
    report.warning("the pair is singular, any number is an eigenvalue: those shown are not to be relied on");
  }
}

/// Infinite for a size of zero, also of a change of nothing.
double quotient(double change, double size) {
  return size == 0 ? std::numeric_limits<double>::infinity() : change / size;
}

/// An error of ||(A, B)|| eps moves (alpha, beta), as a direction, by up to so much over its chord, and its vector by
/// so much over the separation.
template <Scalar T>
void tell_conditions(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const PencilPairs<T>& pairs,
                     const GeneralValues<T>& values, Report& report) {
  const auto norm = static_cast<double>(std::hypot(frobenius_norm(a), frobenius_norm(b)));
  const double change = norm * std::numeric_limits<Real<T>>::epsilon();
  const std::vector<std::size_t> order = ascending_places(pairs.chords);
  for (std::size_t rank = 0; rank < std::min(order.size(), shown_conditions); ++rank) {
    const std::size_t k = order[rank];
    const auto chord = double(pairs.chords[k]), separation = double(pairs.separations[k]);
    report.line("condition",
                fmt::format("{:.3g} of value {}, {}: off by up to {:.1e} on the sphere, its vector by {:.1e}",
                            quotient(norm, chord), k + 1, words_of(std::complex<double>(values[k])),
                            quotient(change, chord), quotient(change, separation)));
  }
  for (std::size_t k = 0; k < values.size(); ++k) {
    const std::string number = std::to_string(k);
    report.fact("conditions/" + number, static_cast<long double>(quotient(norm, double(pairs.chords[k]))))
        .fact("separations/" + number, static_cast<long double>(pairs.separations[k]));
  }
}

/// A picture has no place for infinite ones.
template <Scalar T>
void plot_finite(const GeneralValues<T>& values, Output& output) {
  std::vector<std::complex<double>> finite;
  for (const auto value : values) {
    if (std::isfinite(value.real())) finite.emplace_back(value);
  }
  plot_in_plane(finite, "Eigenvalues", output);
}

}  // namespace

template <Scalar T>
void find_pencil_eigenvalues(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const EigenOptions& options,
                             Report& report, Stopwatch& stopwatch, EigenOutputs& outputs) {
  const Int n = a.rows;
  const GeneralEigenRequest request{
      .right = outputs.vectors.has_value(), .left = outputs.left.has_value(), .conditions = options.conditions};
  const bool wants_forms = request.right || request.left || request.conditions;
  const auto pairs = with_estimate<T>("eigenvalues of " + options.matrix_file,
                                      wants_forms ? work_of_pencil_eigenvectors(n) : work_of_pencil_eigenvalues(n),
                                      [&] { return pencil_pairs<T>(a, b, request); });
  stopwatch.end("solve");
  require_result(pairs, options.matrix_file);
  const GeneralValues<T> values = pairs.values();

  tell_values(pairs, values, report);
  if (request.right) {
    tell_residual("residual", "residual", right_residual(a, b, pairs),
                  "||A V b - B V a|| / ((||A|| ||b|| + ||B|| ||a||) ||V|| n eps), W = a / b", report);
  }
  if (request.left) {
    tell_residual("left residual", "left_residual", left_residual(a, b, pairs),
                  "||A^H U b - B^H U a^H|| / ((||A^H|| ||b|| + ||B^H|| ||a||) ||U|| n eps)", report);
  }
  if (request.conditions) tell_conditions(a, b, pairs, values, report);
  if (request.right || request.left) stopwatch.end("check");

  if (outputs.plot) plot_finite<T>(values, *outputs.plot);
  if (outputs.vectors) write_vectors<T>(pairs.alpha, pairs.right, *outputs.vectors);
  if (outputs.left) write_vectors<T>(pairs.alpha, pairs.left, *outputs.left);
  write_values<T>(values, *outputs.values);
  stopwatch.end("write");
}

#define NUV_INSTANTIATE(T)                                                                                          \
  template void find_pencil_eigenvalues(const DenseMatrix<T>&, const DenseMatrix<T>&, const EigenOptions&, Report&, \
                                        Stopwatch&, EigenOutputs&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
