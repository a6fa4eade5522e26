#include "general_eig.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <string>

#include "error.hpp"
#include "estimate.hpp"
#include "general_eig_results.hpp"
#include "general_eigen_residual.hpp"
#include "general_eigen_solvers.hpp"
#include "residual.hpp"
#include "spectrum_plot.hpp"

namespace nuv::tools {
namespace {

void require_result(Int info, Int order, const std::string& file) {
  if (info == 0) return;
  throw FileError(file, fmt::format("the iteration for the eigenvalues did not converge: {} of {} were found",
                                    order - info, order));
}

template <Scalar T>
void require_finite(const GeneralValues<T>& values, const std::string& file) {
  const auto is_finite = [](auto value) { return std::isfinite(value.real()) && std::isfinite(value.imag()); };
  if (!std::all_of(values.begin(), values.end(), is_finite)) {
    throw FileError(file, "the eigenvalues overflow the precision");
  }
}

/// An error of ||A|| eps moves an eigenvalue by up to so much over its cosine, and its vector by so much over the
/// separation.
template <Scalar T>
void tell_conditions(const DenseMatrix<T>& a, const GeneralEigenpairs<T>& pairs, Report& report) {
  const auto change = static_cast<double>(frobenius_norm(a)) * std::numeric_limits<Real<T>>::epsilon();
  const std::vector<std::size_t> order = ascending_places(pairs.cosines);
  for (std::size_t rank = 0; rank < std::min(order.size(), shown_conditions); ++rank) {
    const std::size_t k = order[rank];
    report.line("condition",
                fmt::format("{:.3g} of value {}, {}: off by up to {:.1e}, its vector by {:.1e}",
                            1 / double(pairs.cosines[k]), k + 1, words_of(std::complex<double>(pairs.values[k])),
                            change / double(pairs.cosines[k]), change / double(pairs.separations[k])));
  }
  for (std::size_t k = 0; k < pairs.values.size(); ++k) {
    const std::string number = std::to_string(k);
    report.fact("conditions/" + number, static_cast<long double>(1 / pairs.cosines[k]))
        .fact("separations/" + number, static_cast<long double>(pairs.separations[k]));
  }
}

template <Scalar T>
void tell_values(const GeneralValues<T>& values, std::string_view driver, Report& report) {
  const auto complex = std::count_if(values.begin(), values.end(), [](auto value) { return value.imag() != 0; });
  report
      .line("eigenvalues", fmt::format("{}, all; {}", values.size(),
                                       complex == 0 ? "real" : fmt::format("{} of them complex", complex)))
      .fact("eigenvalues", static_cast<std::int64_t>(values.size()))
      .fact("complex", static_cast<std::int64_t>(complex))
      .template routine<T>("found by", driver);
}

}  // namespace

const char* general_option(const EigenOptions& options) {
  if (options.left_file) return "--left";
  if (options.conditions) return "--conditions";
  if (options.schur_file) return "--schur";
  if (options.schur_vectors_file) return "--schur-vectors";
  return options.general ? "--general" : nullptr;
}

const char* symmetric_option(const EigenOptions& options) {
  if (options.range) return "--range";
  if (options.index) return "--index";
  if (options.type != 1) return "--type";
  return options.method ? "--method" : nullptr;
}

template <Scalar T>
void find_general_eigenvalues(const DenseMatrix<T>& a, const EigenOptions& options, Report& report,
                              Stopwatch& stopwatch, EigenOutputs& outputs) {
  const Int n = a.rows;
  const bool by_schur_form = outputs.schur || outputs.schur_vectors;
  const GeneralEigenRequest request{
      .right = outputs.vectors.has_value(), .left = outputs.left.has_value(), .conditions = options.conditions};
  const bool wants_pairs = request.right || request.left || request.conditions || !by_schur_form;
  GeneralEigenpairs<T> pairs;
  SchurForm<T> form;
  with_estimate<T>("eigenvalues of " + options.matrix_file,
                   request.right || request.left || request.conditions || by_schur_form
                       ? work_of_general_eigenvectors(n)
                       : work_of_general_eigenvalues(n),
                   [&] {
                     if (wants_pairs) pairs = general_eigenpairs<T>(a, request);
                     if (by_schur_form) form = schur_form<T>(a, true);
                   });
  stopwatch.end("solve");
  require_result(std::max(pairs.info, form.info), n, options.matrix_file);
  const GeneralValues<T>& values = wants_pairs ? pairs.values : form.values;
  require_finite<T>(values, options.matrix_file);

  tell_values<T>(values, wants_pairs ? pairs.driver : form.driver, report);
  if (request.right) {
    tell_residual("residual", "residual", right_residual(a, pairs), "||A V - V W|| / (||A|| ||V|| n eps)", report);
  }
  if (request.left) {
    tell_residual("left residual", "left_residual", left_residual(a, pairs),
                  "||A^H U - U W^H|| / (||A^H|| ||U|| n eps)", report);
  }
  if (by_schur_form) {
    tell_residual("Schur form", "schur_residual", schur_residual(a, form), "||A Z - Z T|| / (||A|| n eps)", report);
  }
  if (request.conditions) tell_conditions(a, pairs, report);
  if (request.right || request.left || by_schur_form) stopwatch.end("check");

  if (outputs.plot) plot_in_plane({values.begin(), values.end()}, "Eigenvalues", *outputs.plot);
  if (outputs.vectors) write_vectors<T>(values, pairs.right, *outputs.vectors);
  if (outputs.left) write_vectors<T>(values, pairs.left, *outputs.left);
  if (outputs.schur) write_result(form.t, *outputs.schur);
  if (outputs.schur_vectors) write_result(form.z, *outputs.schur_vectors);
  write_values<T>(values, *outputs.values);
  stopwatch.end("write");
}

#define NUV_INSTANTIATE(T)                                                                                \
  template void find_general_eigenvalues(const DenseMatrix<T>&, const EigenOptions&, Report&, Stopwatch&, \
                                         EigenOutputs&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
