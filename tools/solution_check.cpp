#include "solution_check.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "band_matrix.hpp"
#include "dense_matrix.hpp"
#include "error.hpp"
#include "memory.hpp"
#include "methods.hpp"
#include "precision.hpp"
#include "report.hpp"
#include "residual.hpp"

namespace nuv::tools {
namespace {

/// Up to which a scaled residual is one of rounding errors.
constexpr long double threshold = 10;

struct Files {
  StoredMatrix a, x, b;
};

void require_matching_sizes(const Files& files) {
  const auto& [a, x, b] = files;
  const auto refuse = [](const StoredMatrix& file, const std::string& message) {
    throw FileError(file.file, file.size_line, message);
  };
  if (x.rows != a.columns) {
    refuse(x, fmt::format("the solution has {} rows, the matrix has {} columns", x.rows, a.columns));
  }
  if (b.rows != a.rows) refuse(b, fmt::format("the right-hand sides have {} rows, the matrix has {}", b.rows, a.rows));
  if (x.columns != b.columns) {
    refuse(x, fmt::format("the solution has {} columns, the right-hand sides have {}", x.columns, b.columns));
  }
}

void tell_verdict(long double measure, Report& report) {
  const bool is_good = measure <= threshold;  // not so for a NaN
  report
      .line("verdict", is_good ? fmt::format("good: no more than {} times what rounding makes", threshold)
                               : fmt::format("poor: more than {} times what rounding makes", threshold))
      .fact("threshold", threshold)
      .fact("good", is_good);
}

template <class Matrix, Scalar T>
void judge(const Matrix& a, const DenseMatrix<T>& x, const DenseMatrix<T>& b, Report& report) {
  const auto norms = residual_norms(a, x, b);
  const long double largest = norms.empty() ? 0 : *std::max_element(norms.begin(), norms.end());
  report.line("residual norm", fmt::format("{:.6g}   largest ||A x - b||", largest)).fact("residual_norm", largest);
  if (a.rows > a.columns) {
    const long double measure = scaled_optimality(a, x, b);
    report
        .line("least squares",
              fmt::format("{:.3g}   ||A^H r|| / (||A|| (||r|| + ||A|| ||x||) m eps), r = A x - b", measure))
        .fact("kind", "least squares")
        .fact("scaled_residual", measure);
    tell_verdict(measure, report);
  } else {
    const long double measure = scaled_residual(a, x, b);
    report.line("scaled residual", fmt::format("{:.3g}   ||A X - B|| / (||A|| ||X|| n eps)", measure))
        .fact("kind", a.rows == a.columns ? "system" : "fewer equations than unknowns")
        .fact("scaled_residual", measure);
    tell_verdict(measure, report);
  }
}

void require_memory(const StoredMatrix& file, std::size_t element_size) {
  if (const auto shortage = memory_shortage(file.rows, file.columns, element_size, 1, "judge")) {
    throw FileError(file.file, file.size_line, *shortage);
  }
}

template <Scalar T>
void judge_in(Files files, Report& report, Stopwatch& stopwatch) {
  require_memory(files.x, sizeof(T));
  require_memory(files.b, sizeof(T));
  const auto x = to_dense<T>(std::move(files.x)), b = to_dense<T>(std::move(files.b));
  const bool is_square = files.a.rows == files.a.columns;
  const Choice choice = is_square ? choose_lu(files.a) : Choice{};
  if (is_square && choice.method.storage == Storage::Band) {
    const auto a = to_band<T>(std::move(files.a), choice.band);
    stopwatch.end("read");
    judge(a, x, b, report);
  } else {
    require_memory(files.a, sizeof(T));
    const auto a = to_dense<T>(std::move(files.a));
    stopwatch.end("read");
    judge(a, x, b, report);
  }
  stopwatch.end("check");
}

}  // namespace

void judge_solution(const SolutionOptions& options) {
  Report report("residual");
  Stopwatch stopwatch;
  within_memory(options.matrix_file, "the system does not fit into memory", [&] {
    require_one_standard_input({options.matrix_file, options.solution_file, options.right_hand_side_file});
    const auto read = [&](const std::string& file) { return read_in(options.precision, file, options.format); };
    Files files{read(options.matrix_file), read(options.solution_file), read(options.right_hand_side_file)};
    require_matching_sizes(files);
    const auto tell = [&](std::string_view label, const char* key, const StoredMatrix& file) {
      report.matrix(label, key, file.rows, file.columns, file.file);
    };
    tell("matrix", "matrix", files.a);
    tell("solution", "solution", files.x);
    tell("right-hand sides", "right_hand_sides", files.b);
    const char precision = precision_for(options.precision, {&files.a, &files.x, &files.b});
    report.fact("precision", std::string(1, precision));
    in_precision(precision, [&]<Scalar T>(T) { judge_in<T>(std::move(files), report, stopwatch); });
  });
  report.times(stopwatch).show();
}

}  // namespace nuv::tools
