#include "eig.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "dense_matrix.hpp"
#include "eigen_outputs.hpp"
#include "eigen_residual.hpp"
#include "equations.hpp"
#include "error.hpp"
#include "estimate.hpp"
#include "general_eig.hpp"
#include "memory.hpp"
#include "pencil_eig.hpp"
#include "precision.hpp"
#include "report.hpp"
#include "spectrum_plot.hpp"
#include "stored_matrix.hpp"
#include "symmetry_check.hpp"

namespace nuv::tools {
namespace {

/// The two numbers of FROM:TO.
template <class Number>
std::pair<Number, Number> interval(std::string_view option, std::string_view text) {
  const auto number = [&](std::string_view part) {
    Number value{};
    const char* const end = part.data() + part.size();
    const auto [stop, status] = std::from_chars(part.data(), end, value);
    if (status != std::errc() || stop != end || value != value) {
      throw UsageError(fmt::format("{} takes two numbers with a colon between, not {}", option, in_quotes(text)));
    }
    return value;
  };
  const std::size_t colon = text.find(':');
  if (colon == text.npos) number("");
  return {number(text.substr(0, colon)), number(text.substr(colon + 1))};
}

Selection selection_of(const EigenOptions& options) {
  if (options.range && options.index) throw UsageError("--range and --index are two ways to choose: give one");
  Selection selection;
  if (options.range) {
    selection.by = Selection::By::Value;
    std::tie(selection.above, selection.up_to) = interval<double>("--range", *options.range);
    if (!(selection.above < selection.up_to)) {
      throw UsageError(fmt::format("--range {}: nothing lies above the first number and not above the second",
                                   in_quotes(*options.range)));
    }
  }
  if (options.index) {
    selection.by = Selection::By::Index;
    std::tie(selection.first, selection.last) = interval<Int>("--index", *options.index);
    if (selection.first < 1 || selection.last < selection.first) {
      throw UsageError(fmt::format("--index {}: counts from 1, the smaller number first", in_quotes(*options.index)));
    }
  }
  return selection;
}

/// What is asked for, as far as the options tell.
EigenRequest request_of(const EigenOptions& options) {
  const char *const general = general_option(options), *const symmetric = symmetric_option(options);
  if (general && symmetric) {
    throw UsageError(fmt::format("{} is for general matrices, {} for symmetric ones", general, symmetric));
  }
  EigenRequest request;
  request.vectors = options.vectors_file.has_value();
  request.selection = selection_of(options);
  request.type = options.type;
  if (!options.partner_file && options.type != 1) throw UsageError("--type is for two matrices: give --with");
  if (options.partner_file && (options.schur_file || options.schur_vectors_file)) {
    throw UsageError("--schur and --schur-vectors are for one matrix, --with gives two");
  }
  const bool selects = request.selection.by != Selection::By::All;
  const std::string method = options.method.value_or(selects ? "mrrr" : request.vectors ? "dc" : "qr");
  if (selects && method != "mrrr") {
    throw UsageError(fmt::format("--method {} finds all values: leave out --range and --index", method));
  }
  if (options.partner_file && options.method == "mrrr") {
    throw UsageError("--method mrrr is for one matrix, --with gives two");
  }
  request.method = method == "qr"   ? EigenMethod::Qr
                   : method == "dc" ? EigenMethod::DivideAndConquer
                                    : EigenMethod::Representations;
  return request;
}

/// Beside the matrices a driver takes some n by n arrays of workspace; the residual needs the matrices once more.
void require_memory_for_vectors(const StoredMatrix& file, std::size_t element_size, const EigenRequest& request,
                                const EigenOptions& options) {
  const int copies = general_option(options) ? 12 : request.vectors ? 5 : 2;
  if (const auto shortage = memory_shortage(file.rows, file.columns, element_size, copies, "decompose")) {
    throw FileError(file.file, file.size_line, *shortage);
  }
}

/// Throws FileError, which tells where a matrix is neither symmetric nor Hermitian.
template <Scalar T>
void require_hermitian(const std::string& file, const Asymmetry& asymmetry) {
  if (!asymmetry.is_rounding()) throw FileError(file, words_of(asymmetry, ComplexScalar<T>));
}

/// The second matrix of a generalised problem.
template <Scalar T>
DenseMatrix<T> partner_matrix(std::optional<StoredMatrix> file) {
  if (!file) return {0, 0};
  return to_dense<T>(std::move(*file));
}

/// What a driver could not do, from its info.
template <Scalar T>
void require_result(const Eigenpairs<T>& pairs, Int order, const EigenOptions& options) {
  if (options.partner_file && pairs.info > order) {
    throw FileError(*options.partner_file,
                    fmt::format("the matrix is not positive definite: its leading minor of order {} is not positive",
                                pairs.info - order));
  }
  if (pairs.info != 0) throw FileError(options.matrix_file, "the iteration for the eigenvalues did not converge");
  if (!all_finite(pairs.values)) throw FileError(options.matrix_file, "the eigenvalues overflow the precision");
}

std::string words_of(const Selection& selection, Int order, std::size_t found) {
  switch (selection.by) {
    case Selection::By::Value:
      return fmt::format("{} of {}: above {}, not above {}", found, order, selection.above, selection.up_to);
    case Selection::By::Index:
      return fmt::format("{} of {}: number {} to number {}", found, order, selection.first, selection.last);
    default:
      return fmt::format("{}, all", found);
  }
}

std::string_view formula_of(const EigenOptions& options) {
  if (!options.partner_file) return "||A Z - Z W|| / (||A|| n eps)";
  if (options.type == 1) return "||A Z - B Z W|| / ((||A|| + ||B|| ||W||) ||Z|| n eps)";
  return options.type == 2 ? "||A B Z - Z W|| / (||A|| ||B|| ||Z|| n eps)"
                           : "||B A Z - Z W|| / (||A|| ||B|| ||Z|| n eps)";
}

std::string_view orthogonality_of(const EigenOptions& options) {
  if (!options.partner_file) return "||Z^H Z - I|| / (n eps)";
  return options.type == 3 ? "||Z^H A Z - W|| / (||A|| ||Z||^2 n eps)" : "||Z^H B Z - I|| / (||B|| ||Z||^2 n eps)";
}

template <Scalar T>
void find_general(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const EigenOptions& options, Report& report,
                  Stopwatch& stopwatch, EigenOutputs& outputs) {
  if (options.partner_file) find_pencil_eigenvalues(a, b, options, report, stopwatch, outputs);
  else find_general_eigenvalues(a, options, report, stopwatch, outputs);
  report.times(stopwatch).show_beside(options.output_file, {options.vectors_file, options.left_file, options.schur_file,
                                                            options.schur_vectors_file, options.plot_file});
}

template <Scalar T>
void find_in(StoredMatrix file, std::optional<StoredMatrix> partner, const EigenOptions& options,
             const EigenRequest& request, Stopwatch& stopwatch, EigenOutputs& outputs) {
  require_memory_for_vectors(file, sizeof(T), request, options);
  Report report("eig");
  report.matrix("matrix", "matrix", file.rows, file.columns, file.file);
  if (partner) {
    report.matrix("with", "with", partner->rows, partner->columns, partner->file).fact("type", request.type);
  }
  const Int n = file.rows;
  const bool is_generalised = partner.has_value();
  const auto a = to_dense<T>(std::move(file));
  const auto b = partner_matrix<T>(std::move(partner));
  const Asymmetry asymmetry = asymmetry_of(a, true), asymmetry_of_b = asymmetry_of(b, true);
  const bool may_be_general = !symmetric_option(options);
  const bool is_general =
      general_option(options) || (may_be_general && !(asymmetry.is_rounding() && asymmetry_of_b.is_rounding()));
  if (!is_general) {
    require_hermitian<T>(options.matrix_file, asymmetry);
    if (is_generalised) require_hermitian<T>(*options.partner_file, asymmetry_of_b);
  }

  nuv_serv_load_dll();  // loading the kernel library is no part of the work
  stopwatch.end("read");
  if (is_general) return find_general(a, b, options, report, stopwatch, outputs);
  const auto pairs = with_estimate<T>(
      "eigenvalues of " + options.matrix_file, request.vectors ? work_of_eigenvectors(n) : work_of_eigenvalues(n),
      [&] { return is_generalised ? generalised_eigenpairs<T>(a, b, request) : eigenpairs<T>(a, request); });
  // That a partner is not positive definite shows at the start of the work.
  if (is_generalised && pairs.info > n && may_be_general) {
    return find_general(a, b, options, report, stopwatch, outputs);
  }
  stopwatch.end("solve");
  require_result(pairs, n, options);

  report.line("eigenvalues", words_of(request.selection, n, pairs.values.size()))
      .fact("eigenvalues", static_cast<std::int64_t>(pairs.values.size()))
      .template routine<T>("found by", pairs.driver);
  if (request.vectors) {
    const EigenResiduals measures = is_generalised ? residuals_of(a, b, pairs, request.type) : residuals_of(a, pairs);
    report.line("residual", fmt::format("{:.3g}   {}", measures.residual, formula_of(options)))
        .fact("residual", measures.residual)
        .line("orthogonality", fmt::format("{:.3g}   {}", measures.orthogonality, orthogonality_of(options)))
        .fact("orthogonality", measures.orthogonality);
    stopwatch.end("check");
  }
  if (outputs.plot) {
    plot_spectrum({pairs.values.begin(), pairs.values.end()}, {"Eigenvalues", "ascending"}, *outputs.plot);
  }
  if (outputs.vectors) write_result(pairs.vectors, *outputs.vectors);
  write_result(pairs.values, *outputs.values);
  stopwatch.end("write");
  report.times(stopwatch).show_beside(options.output_file, {options.vectors_file, options.plot_file});
}

}  // namespace

void find_eigenvalues(const EigenOptions& options) {
  const EigenRequest request = request_of(options);
  within_memory(options.matrix_file, "the matrix does not fit into memory", [&] {
    Stopwatch stopwatch;
    if (options.plot_file) require_plotter();
    EigenOutputs outputs(options);
    require_one_standard_input({options.matrix_file, options.partner_file.value_or("")});
    StoredMatrix file = read_in(options.precision, options.matrix_file, options.format);
    require_square(file, "an eigenvalue");
    std::optional<StoredMatrix> partner;
    if (options.partner_file) partner = read_in(options.precision, *options.partner_file, options.format);
    if (partner && (partner->rows != file.rows || partner->columns != file.columns)) {
      throw FileError(partner->file, partner->size_line,
                      fmt::format("the matrix is {} by {}, its partner is of order {}", partner->rows, partner->columns,
                                  file.rows));
    }
    if (request.selection.last > file.rows) {
      throw UsageError(fmt::format("--index {}: the matrix is of order {}", in_quotes(*options.index), file.rows));
    }
    const char precision =
        partner ? precision_for(options.precision, {&file, &*partner}) : precision_for(options.precision, {&file});
    in_precision(precision, [&]<Scalar T>(T) {
      find_in<T>(std::move(file), std::move(partner), options, request, stopwatch, outputs);
    });
  });
}

}  // namespace nuv::tools
