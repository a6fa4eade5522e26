#include "make.hpp"

#include <fmt/format.h>
#include <nuv/nuv_lapack.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cmath>
#include <complex>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "dense_matrix.hpp"
#include "error.hpp"
#include "matrix_file.hpp"
#include "matrix_writer.hpp"
#include "memory.hpp"
#include "output.hpp"
#include "precision.hpp"
#include "progress.hpp"
#include "report.hpp"
#include "routines.hpp"
#include "spectrum_by_blocks.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {
namespace {

template <RealScalar R>
constexpr auto latm1 = nuv_lapack_dlatm1;
template <>
constexpr auto latm1<float> = nuv_lapack_slatm1;

// ------------------------------------------------------------------------------------------------------- what to make

struct Kind {
  std::string_view name;
  char sym;  ///< as ?latms takes it
};

constexpr Kind kinds[] = {
    {"general", 'N'}, {"band", 'N'}, {"symmetric", 'S'}, {"hermitian", 'H'}, {"positive", 'P'},
};

struct Distribution {
  std::string_view name;
  char dist;  ///< as ?latms takes it
  std::string_view words;
};

constexpr Distribution distributions[] = {
    {"uniform", 'U', "uniform on (0, 1)"},
    {"symmetric", 'S', "uniform on (-1, 1)"},
    {"normal", 'N', "normally distributed"},
};

template <class Entry, std::size_t count>
const Entry& named(std::string_view name, const Entry (&table)[count]) {
  const auto found = std::find_if(std::begin(table), std::end(table), [&](const Entry& e) { return e.name == name; });
  if (found == std::end(table)) throw std::logic_error(fmt::format("no such name: {}", name));
  return *found;
}

/// Number of a distribution as ?latm1 takes it.
Int number_of(const Distribution& distribution) {
  return static_cast<Int>(&named(distribution.name, distributions) - distributions) + 1;
}

/// Whether a mode spreads the values between NORM and NORM / COND.
bool mode_spreads(Int mode) {
  return mode != 0 && std::abs(mode) != 6;
}

/// The options with nothing left open.
struct Plan {
  Kind kind;
  Int rows, columns;
  Int lower, upper;  ///< diagonals below and above the main one, perhaps more than there are
  bool has_bandwidths;
  char precision;
  Int mode;
  double cond, norm;  ///< in modes 1 to 5
  Distribution distribution;
  std::string spectrum_file;         ///< in mode 0
  std::optional<FileFormat> format;  ///< of files whose suffix tells none
  std::uint64_t seed;
  std::string target;  ///< as messages name it

  bool spreads() const { return mode_spreads(mode); }
  Int order() const { return std::min(rows, columns); }
};

bool is_complex(char precision) {
  return precision == 'c' || precision == 'z';
}
bool is_single(char precision) {
  return precision == 's' || precision == 'c';
}

std::string_view words_of(char precision) {
  std::string_view words;
  in_precision(precision, [&]<Scalar T>(T) { words = precision_words<T>(); });
  return words;
}

char precision_for(const MakeOptions& options) {
  const bool needs_complex = options.kind == "hermitian";
  const char letter = options.precision.value_or(needs_complex ? 'z' : 'd');
  if (needs_complex && !is_complex(letter)) {
    throw UsageError(
        fmt::format("a Hermitian matrix is complex, precision {} is real; a real one is called symmetric", letter));
  }
  return letter;
}

Int columns_for(const MakeOptions& options, const Kind& kind) {
  const Int columns = options.columns.value_or(options.rows);
  if (kind.sym != 'N' && columns != options.rows) {
    throw UsageError(
        fmt::format("{} rows and {} columns, but a {} matrix is square", options.rows, columns, kind.name));
  }
  return columns;
}

std::pair<Int, Int> bandwidths_for(const MakeOptions& options, const Kind& kind, Int columns) {
  const auto [lower, upper] = std::pair(options.lower, options.upper);
  if (kind.name == "band") {
    if (!lower || !upper) throw UsageError("a band matrix takes --lower and --upper");
    return {*lower, *upper};
  }
  const std::pair full{std::max(options.rows, 1) - 1, std::max(columns, 1) - 1};
  if (!lower && !upper) return full;
  if (kind.name == "general") throw UsageError("a general matrix has no bandwidths, a band matrix has");
  if (lower && upper && lower != upper) {
    throw UsageError(fmt::format("a {} matrix has as many diagonals above the main one as below", kind.name));
  }
  const Int both = lower ? *lower : *upper;
  return {both, both};
}

Int mode_for(const MakeOptions& options) {
  const Int mode = options.mode.value_or(options.spectrum_file ? 0 : 3);
  if (options.spectrum_file && mode != 0) throw UsageError(fmt::format("--spectrum is mode 0, not mode {}", mode));
  if (!options.spectrum_file && mode == 0) throw UsageError("mode 0 takes its numbers from a file: --spectrum FILE");
  const bool spreads = mode_spreads(mode);
  const auto refuse = [&](std::string_view option) {
    throw UsageError(fmt::format("{} does not apply to mode {}", option, mode));
  };
  if (options.cond && !spreads) refuse("--cond");
  if (options.norm && !spreads) refuse("--norm");
  if (options.distribution && std::abs(mode) != 6) refuse("--distribution");
  return mode;
}

void require_number(std::string_view option, double value, char precision) {
  if (!std::isfinite(value)) throw UsageError(fmt::format("{} is not a finite number", option));
  const double rounded = is_single(precision) ? static_cast<float>(value) : value;
  if (!std::isfinite(rounded) || (rounded == 0 && value != 0)) {
    throw UsageError(fmt::format("{} {} is out of the range of {}", option, value, words_of(precision)));
  }
}

Plan plan_for(const MakeOptions& options) {
  const Kind& kind = named(options.kind, kinds);
  const Int columns = columns_for(options, kind);
  const auto [lower, upper] = bandwidths_for(options, kind, columns);
  const char precision = precision_for(options);
  const double cond = options.cond.value_or(100), norm = options.norm.value_or(1);
  require_number("--cond", cond, precision);
  require_number("--norm", norm, precision);
  if (cond < 1) throw UsageError("--cond is less than 1");
  if (norm <= 0) throw UsageError("--norm is not positive");
  return {.kind = kind,
          .rows = options.rows,
          .columns = columns,
          .lower = lower,
          .upper = upper,
          .has_bandwidths = options.lower || options.upper,
          .precision = precision,
          .mode = mode_for(options),
          .cond = cond,
          .norm = norm,
          .distribution = named(options.distribution.value_or("normal"), distributions),
          .spectrum_file = options.spectrum_file.value_or(""),
          .format = options.format,
          .seed = options.seed,
          .target = output_name(options.output_file)};
}

// ------------------------------------------------------------------------------------------------------ what was made

/// The words of iseed for a seed: the upper 48 bits of the first number that SplitMix64 gives for it, twelve in each
/// word, the last word made odd. Neighbours would else start with products of neighbours, which show in a congruential
/// generator (G. L. Steele, D. Lea, C. H. Flood, Fast splittable pseudorandom number generators, OOPSLA 2014).
std::array<Int, 4> words_of_seed(std::uint64_t seed) {
  std::uint64_t z = seed + 0x9E3779B97F4A7C15u;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  z ^= z >> 31;
  const auto word = [&](int shift) { return static_cast<Int>((z >> shift) & 4095); };
  return {word(52), word(40), word(28), word(16) | 1};
}

/// A file name as a shell takes it.
std::string quoted(std::string_view name) {
  const auto is_plain = [](unsigned char c) {
    return std::isalnum(c) != 0 || std::string_view("._/+-").find(static_cast<char>(c)) != std::string_view::npos;
  };
  if (!name.empty() && std::all_of(name.begin(), name.end(), is_plain)) return std::string(name);
  std::string result = "'";
  for (const char c : name) {
    if (c == '\'') result += "'\\'";
    result += c;
  }
  return result + "'";
}

/// A command that makes the same matrix, whatever is left open today.
std::string command(const Plan& plan) {
  std::string text = fmt::format("nuv make {} {} {}", plan.kind.name, plan.rows, plan.columns);
  if (plan.has_bandwidths) text += fmt::format(" --lower {} --upper {}", plan.lower, plan.upper);
  text += fmt::format(" --precision {}", plan.precision);
  if (plan.mode == 0) text += fmt::format(" --spectrum {}", quoted(printable(plan.spectrum_file)));
  else text += fmt::format(" --mode {}", plan.mode);
  if (plan.spreads()) text += fmt::format(" --cond {} --norm {}", plan.cond, plan.norm);
  else if (plan.mode != 0) text += fmt::format(" --distribution {}", plan.distribution.name);
  return text + fmt::format(" --seed {}", plan.seed);
}

bool has_eigenvalues(const Plan& plan) {
  return plan.kind.sym != 'N' && !(plan.kind.sym == 'S' && is_complex(plan.precision));
}

/// Whether the matrix has no zeros beside a band, so that reflectors make it.
bool is_full(const Plan& plan) {
  return plan.order() > 0 && plan.lower >= plan.rows - 1 && plan.upper >= plan.columns - 1;
}

std::string spread(const Plan& plan) {
  const double largest = plan.norm, smallest = plan.norm / plan.cond;
  switch (std::abs(plan.mode)) {
    case 1:
      return fmt::format("one {}, the others {}", largest, smallest);
    case 2:
      return fmt::format("one {}, the others {}", smallest, largest);
    case 3:
      return fmt::format("geometric from {} to {}", largest, smallest);
    case 4:
      return fmt::format("arithmetic from {} to {}", largest, smallest);
    default:
      return fmt::format("between {} and {}, their logarithms uniform", largest, smallest);
  }
}

std::string spectrum_words(const Plan& plan) {
  if (plan.mode == 0) return fmt::format("those in {}", shown(plan.spectrum_file));
  if (!plan.spreads()) {
    return fmt::format("{}{}", plan.kind.sym == 'P' ? "magnitudes of numbers " : "", plan.distribution.words);
  }
  const bool has_signs = has_eigenvalues(plan) && plan.kind.sym != 'P';
  return fmt::format("{}{}{}", spread(plan), has_signs ? ", signs at random" : "",
                     plan.mode < 0 ? ", in reverse order" : "");
}

/// In the Matrix Market format. Others hold all elements, and say nothing about them.
WrittenForm form_for(const Plan& plan, StoredCount stored, Symmetry symmetry) {
  return {.layout = stored.nonzeros == stored.elements ? Layout::Array : Layout::Coordinate,
          .symmetry = symmetry,
          .comment = command(plan)};
}

Symmetry symmetry_of(const Plan& plan) {
  switch (plan.kind.sym) {
    case 'N':
      return Symmetry::General;
    case 'S':
      return Symmetry::Symmetric;
    default:
      return is_complex(plan.precision) ? Symmetry::Hermitian : Symmetry::Symmetric;
  }
}

template <Scalar T>
Report account_of(const Plan& plan, const WrittenForm& form, StoredCount stored, const std::array<Int, 4>& iseed) {
  const bool is_array = form.layout == Layout::Array;
  const std::uint64_t written = is_array ? stored.elements : stored.nonzeros;
  Report report("make");
  report.fact("kind", std::string(plan.kind.name))
      .fact("matrix/rows", plan.rows)
      .fact("matrix/columns", plan.columns)
      .fact("spectrum", spectrum_words(plan))
      .fact("precision", std::string(1, plan.precision))
      .fact("seed", std::to_string(plan.seed))
      .fact("layout", is_array ? "array" : "coordinate")
      .fact("written", static_cast<std::int64_t>(written))
      .fact("made_again_by", command(plan))
      .line("matrix", fmt::format("{} by {}, {}, {}", plan.rows, plan.columns, plan.kind.name, precision_words<T>()))
      .line(has_eigenvalues(plan) ? "eigenvalues" : "singular values", spectrum_words(plan))
      .line("made by",
            fmt::format("nuv_lapack_{}latms{}, seed {}, iseed {}", static_cast<char>(std::tolower(precision_letter<T>)),
                        is_full(plan) ? " by blocks" : "", plan.seed, fmt::join(iseed, " ")))
      .line("written", fmt::format("{} {} as {}", written, is_array ? "elements" : "nonzeros",
                                   is_array ? "array" : "coordinates"));
  return report;
}

// ------------------------------------------------------------------------------------------------------------- making

/// The numbers in the file of a spectrum.
template <RealScalar R>
std::vector<R> given_spectrum(const Plan& plan) {
  const std::string& file = plan.spectrum_file;
  StoredMatrix numbers = read_in(plan.precision, file, plan.format);
  if (numbers.is_complex()) throw FileError(file, numbers.field_line, "the numbers are complex, a spectrum is real");
  if (numbers.rows != 1 && numbers.columns != 1 && plan.order() != 0) {
    throw FileError(file, numbers.size_line,
                    fmt::format("a {} by {} matrix is no list of numbers", numbers.rows, numbers.columns));
  }
  const std::int64_t count = std::int64_t{numbers.rows} * numbers.columns;
  if (count != plan.order()) {
    throw FileError(file, fmt::format("{} numbers, but the matrix has {} {}", count, plan.order(),
                                      has_eigenvalues(plan) ? "eigenvalues" : "singular values"));
  }
  const auto d = to_dense<R>(std::move(numbers)).elements;
  const bool is_positive = plan.kind.sym == 'P';
  const bool may_be_negative = has_eigenvalues(plan) && !is_positive;
  for (std::size_t k = 0; k < d.size(); ++k) {
    if (is_positive && !(d[k] > 0)) throw FileError(file, fmt::format("number {} is not positive: {}", k + 1, d[k]));
    if (!may_be_negative && d[k] < 0) throw FileError(file, fmt::format("number {} is negative: {}", k + 1, d[k]));
  }
  return d;
}

void require_made(Int info) {
  if (info != 0) throw std::logic_error(fmt::format("the generator of matrices refused with {}", info));
}

/// The numbers on the diagonal that ?latms would begin with.
template <RealScalar R>
std::vector<R> spectrum_of(const Plan& plan, std::array<Int, 4>& iseed) {
  if (plan.mode == 0) return given_spectrum<R>(plan);
  const Int count = plan.order(), idist = number_of(plan.distribution);
  const bool is_positive = plan.kind.sym == 'P';
  const Int random_signs = has_eigenvalues(plan) && !is_positive ? 1 : 0;
  const R cond = static_cast<R>(plan.cond);
  std::vector<R> d(static_cast<std::size_t>(count));
  Int info = 0;
  latm1<R>(&plan.mode, &cond, &random_signs, &idist, iseed.data(), d.data(), &count, &info);
  require_made(info);
  if (is_positive && !plan.spreads()) std::transform(d.begin(), d.end(), d.begin(), [](R x) { return std::abs(x); });
  if (plan.spreads()) {
    const R largest =
        std::abs(*std::max_element(d.begin(), d.end(), [](R x, R y) { return std::abs(x) < std::abs(y); }));
    const R factor = static_cast<R>(plan.norm) / largest;
    std::transform(d.begin(), d.end(), d.begin(), [factor](R x) { return x * factor; });
  }
  return d;
}

std::string words_of(const Plan& plan) {
  return fmt::format("making a {} by {} matrix", plan.rows, plan.columns);
}

template <Scalar T>
DenseMatrix<T> make_by_blocks(const Plan& plan, std::array<Int, 4> iseed) {
  const auto d = spectrum_of<Real<T>>(plan, iseed);
  const Sides sides = plan.kind.sym == 'N'    ? Sides::Independent
                      : has_eigenvalues(plan) ? Sides::Adjoint
                                              : Sides::Transposed;
  DenseMatrix<T> a(plan.rows, plan.columns);
  Progress progress(words_of(plan));
  fill_with_spectrum<T>(sides, d, iseed, a, [&](double share) { progress.reach(share); });
  return a;
}

template <Scalar T>
DenseMatrix<T> call_latms(const Plan& plan, std::array<Int, 4> iseed) {
  using R = Real<T>;
  std::vector<R> d = plan.mode == 0 ? given_spectrum<R>(plan) : std::vector<R>(static_cast<std::size_t>(plan.order()));
  DenseMatrix<T> a(plan.rows, plan.columns);
  std::vector<T> work(3 * static_cast<std::size_t>(std::max(plan.rows, plan.columns)));
  const R cond = static_cast<R>(plan.cond), dmax = static_cast<R>(plan.norm);
  const Int lda = a.ld();
  Int info = 0;
  Routines<T>::latms(&plan.rows, &plan.columns, &plan.distribution.dist, iseed.data(), &plan.kind.sym, d.data(),
                     &plan.mode, &cond, &dmax, &plan.lower, &plan.upper, "N", a.elements.data(), &lda, work.data(),
                     &info, 1, 1, 1);
  require_made(info);
  return a;
}

/// From the time that a smaller matrix takes: the rotations that give a band its diagonals go through it once for each.
template <Scalar T>
std::optional<Seconds> time_for_band(const Plan& plan) {
  constexpr Int share = 8, large_enough = 1000;
  if (!Progress::is_shown() || plan.order() < large_enough) return std::nullopt;
  Plan smaller = plan;
  smaller.rows /= share;
  smaller.columns /= share;
  smaller.lower = std::min(plan.lower, smaller.rows - 1);
  smaller.upper = std::min(plan.upper, smaller.columns - 1);
  smaller.mode = 1;
  Stopwatch stopwatch;
  call_latms<T>(smaller, words_of_seed(plan.seed));
  stopwatch.end("");
  const double diagonals = std::min(plan.lower, plan.rows) + 1.0 + std::min(plan.upper, plan.columns);
  return stopwatch.stages().front().second * (share * share * diagonals / (smaller.lower + 1.0 + smaller.upper));
}

template <Scalar T>
DenseMatrix<T> make_by_rotations(const Plan& plan, const std::array<Int, 4>& iseed) {
  const Progress progress(words_of(plan), time_for_band<T>(plan));
  return call_latms<T>(plan, iseed);
}

template <Scalar T>
void make_in(const Plan& plan, const MakeOptions& options, Stopwatch& stopwatch, Output& output) {
  if (const auto shortage = memory_shortage(plan.rows, plan.columns, sizeof(T), 1, "make")) {
    throw FileError(plan.target, *shortage);
  }
  const auto iseed = words_of_seed(plan.seed);
  nuv_serv_load_dll();  // loading the kernel library is no part of the work
  stopwatch.end("read");
  const auto a = is_full(plan) ? make_by_blocks<T>(plan, iseed) : make_by_rotations<T>(plan, iseed);
  stopwatch.end("make");
  if (!all_finite(a.elements)) throw FileError(plan.target, "the matrix overflows the precision");

  const bool is_matrix_market = output.format() == FileFormat::MatrixMarket;
  const Symmetry symmetry = is_matrix_market ? symmetry_of(plan) : Symmetry::General;
  const auto stored = count_stored(a, symmetry);
  const WrittenForm form = is_matrix_market ? form_for(plan, stored, symmetry) : WrittenForm();
  write_matrix(
      a, output.format(), [&](std::string_view text) { output.write(text); }, form);
  output.commit();
  stopwatch.end("write");
  account_of<T>(plan, form, stored, iseed).times(stopwatch).show_beside(options.output_file);
}

}  // namespace

void make(const MakeOptions& options) {
  const Plan plan = plan_for(options);
  within_memory(plan.target, "the matrix does not fit into memory", [&] {
    Stopwatch stopwatch;
    Output output(options.output_file, options.format);
    in_precision(plan.precision, [&]<Scalar T>(T) { make_in<T>(plan, options, stopwatch, output); });
  });
}

}  // namespace nuv::tools
