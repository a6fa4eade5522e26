#include "pair_svd.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dense_matrix.hpp"
#include "equations.hpp"
#include "error.hpp"
#include "estimate.hpp"
#include "memory.hpp"
#include "output.hpp"
#include "pair_residual.hpp"
#include "pair_solver.hpp"
#include "precision.hpp"
#include "report.hpp"
#include "spectrum_plot.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {
namespace {

bool wants_vectors(const SingularOptions& options) {
  return options.left_file || options.partner_left_file || options.right_file;
}

/// Beside the matrices, with vectors: both once more, U, V and Q, and X and its triangle.
void require_memory_for(const StoredMatrix& a, const StoredMatrix& b, std::size_t element_size, bool with_vectors) {
  const long double m = a.rows, p = b.rows, n = a.columns;
  const long double elements = (with_vectors ? 2 : 1) * (m + p) * n + (with_vectors ? m * m + p * p + 3 * n * n : 0);
  const std::string what =
      fmt::format("the pair of a {} by {} and a {} by {} matrix", a.rows, a.columns, b.rows, b.columns);
  if (const auto shortage = memory_shortage(what, elements * static_cast<long double>(element_size), "decompose")) {
    throw FileError(a.file, a.size_line, *shortage);
  }
}

/// The generalised singular values by their kinds, in descending order.
struct Spectrum {
  Int infinite = 0, zero = 0;
  std::vector<double> others;

  template <Scalar T>
  explicit Spectrum(const PairDecomposition<T>& pairs) {
    for (std::size_t i = 0; i < pairs.cosines.size(); ++i) {
      if (pairs.sines[i] == 0) ++infinite;
      else if (pairs.cosines[i] == 0) ++zero;
      else others.push_back(double(pairs.cosines[i]) / double(pairs.sines[i]));
    }
  }

  std::string words() const {
    std::vector<std::string> kinds;
    if (infinite > 0) kinds.push_back(fmt::format("{} infinite", infinite));
    if (others.size() == 1) kinds.push_back(fmt::format("1 of {:.4g}", others.front()));
    if (others.size() > 1) {
      kinds.push_back(fmt::format("{} from {:.4g} to {:.4g}", others.size(), others.front(), others.back()));
    }
    if (zero > 0) kinds.push_back(fmt::format("{} zero", zero));
    std::string words;
    for (const std::string& kind : kinds) words += (words.empty() ? ": " : ", ") + kind;
    return words;
  }
};

template <Scalar T>
void tell(const PairDecomposition<T>& pairs, const Spectrum& spectrum, Report& report) {
  report.line("singular values", fmt::format("{}{}", pairs.rank(), spectrum.words()))
      .fact("singular_values", pairs.rank())
      .fact("infinite", spectrum.infinite)
      .fact("zero", spectrum.zero)
      .line("rank", fmt::format("{}   of both below each other, {} of B", pairs.rank(), pairs.rank_of_b))
      .fact("rank", pairs.rank())
      .fact("rank_of_partner", pairs.rank_of_b)
      .template routine<T>("found by", pairs.driver);
}

template <Scalar T>
DenseMatrix<T> first_columns(DenseMatrix<T> a, Int count) {
  a.elements.resize(std::size_t(a.rows) * std::size_t(count));
  a.columns = count;
  return a;
}

/// Where results go, refused before the work where they can't be written.
struct Outputs {
  explicit Outputs(const SingularOptions& options) {
    pairs.emplace(options.output_file, options.format);
    const auto open = [&](std::optional<Output>& output, const std::optional<std::string>& file) {
      if (file) output.emplace(*file, options.format);
    };
    open(left_of_a, options.left_file);
    open(left_of_b, options.partner_left_file);
    open(right, options.right_file);
    if (options.plot_file) plot.emplace(*options.plot_file);
  }

  template <Scalar T>
  void write(PairDecomposition<T> result, bool full) {
    const Int rank = result.rank();
    if (left_of_a) {
      const Int all = result.left_of_a.columns;
      write_result(first_columns(std::move(result.left_of_a), full ? all : std::min(rank, all)), *left_of_a);
    }
    if (left_of_b) {
      const Int all = result.left_of_b.columns;
      write_result(first_columns(std::move(result.left_of_b), full ? all : result.rank_of_b), *left_of_b);
    }
    if (right) write_result(result.right, *right);
    DenseMatrix<Real<T>> table(rank, 2);
    std::copy(result.cosines.begin(), result.cosines.end(), table.column(1));
    std::copy(result.sines.begin(), result.sines.end(), table.column(2));
    write_result(table, *pairs);
  }

  std::optional<Output> pairs, left_of_a, left_of_b, right, plot;
};

template <Scalar T>
void require_result(const PairDecomposition<T>& result, const std::string& file) {
  if (result.info != 0) throw FileError(file, "the iteration for the singular values did not converge");
  if (!all_finite(result.cosines) || !all_finite(result.right.elements)) {
    throw FileError(file, "the singular values overflow the precision");
  }
}

template <Scalar T>
void decompose_in(StoredMatrix file, StoredMatrix partner, const SingularOptions& options, Stopwatch& stopwatch,
                  Outputs& outputs) {
  const bool with_vectors = wants_vectors(options);
  require_memory_for(file, partner, sizeof(T), with_vectors);
  const double rows = double(file.rows) + partner.rows, n = file.columns;
  Report report("svd");
  report.matrix("matrix", "matrix", file.rows, file.columns, file.file)
      .matrix("with", "with", partner.rows, partner.columns, partner.file);
  auto a = to_dense<T>(std::move(file)), b = to_dense<T>(std::move(partner));
  std::optional<std::pair<DenseMatrix<T>, DenseMatrix<T>>> kept;
  if (with_vectors) kept.emplace(a, b);

  nuv_serv_load_dll();  // loading the kernel library is no part of the work
  stopwatch.end("read");
  const auto result = with_estimate<T>("singular values of " + options.matrix_file,
                                       work_of_generalised_singular_values(rows, n, with_vectors),
                                       [&] { return decomposed(std::move(a), std::move(b), with_vectors); });
  stopwatch.end("solve");
  require_result(result, options.matrix_file);

  const Spectrum spectrum(result);
  tell(result, spectrum, report);
  if (with_vectors) {
    const SingularResiduals measures = residuals_of(kept->first, kept->second, result);
    report
        .line("residual",
              fmt::format("{:.3g}   larger of ||A - U C X^H|| / (||A|| n eps) and ||B - V S X^H|| / (||B|| n eps)",
                          measures.residual))
        .fact("residual", measures.residual)
        .line("orthogonality",
              fmt::format("{:.3g}   larger of ||U^H U - I|| and ||V^H V - I||, over n eps", measures.orthogonality))
        .fact("orthogonality", measures.orthogonality);
    stopwatch.end("check");
  }
  if (outputs.plot) {
    plot_spectrum(spectrum.others, {"Generalised singular values", "descending", true}, *outputs.plot);
  }
  outputs.write(result, options.full);
  stopwatch.end("write");
  report.times(stopwatch).show_beside(
      options.output_file, {options.left_file, options.partner_left_file, options.right_file, options.plot_file});
}

}  // namespace

void find_pair_values(const SingularOptions& options) {
  within_memory(options.matrix_file, "the matrices do not fit into memory", [&] {
    Stopwatch stopwatch;
    if (options.plot_file) require_plotter();
    Outputs outputs(options);
    require_one_standard_input({options.matrix_file, *options.partner_file});
    StoredMatrix file = read_in(options.precision, options.matrix_file, options.format);
    StoredMatrix partner = read_in(options.precision, *options.partner_file, options.format);
    if (partner.columns != file.columns) {
      throw FileError(partner.file, partner.size_line,
                      fmt::format("the matrix is {} by {}, its partner has {} columns", partner.rows, partner.columns,
                                  file.columns));
    }
    const char precision = precision_for(options.precision, {&file, &partner});
    in_precision(precision, [&]<Scalar T>(T) {
      decompose_in<T>(std::move(file), std::move(partner), options, stopwatch, outputs);
    });
  });
}

}  // namespace nuv::tools
