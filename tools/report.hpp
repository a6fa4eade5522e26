#pragma once

// The accounts that the commands give of their work, all in one form: a label and words on each line, or the facts
// behind them as one object of JSON.

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "base/types.hpp"
#include "precision.hpp"

namespace nuv::tools {

using Seconds = std::chrono::duration<double>;

/// Tells how long the stages of a command took, one behind the other.
class Stopwatch {
 public:
  /// Ends a stage, which began with the stopwatch or at the end of the one before.
  void end(std::string_view stage);

  const std::vector<std::pair<std::string, Seconds>>& stages() const { return stages_; }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
  std::vector<std::pair<std::string, Seconds>> stages_;
};

class Report {
 public:
  /// What JSON can hold. Numbers that aren't finite become null there.
  using Value = std::variant<bool, std::int64_t, long double, std::string>;

  explicit Report(std::string_view command);

  /// A line of the account for people.
  Report& line(std::string_view label, std::string_view words);

  /// What programs get instead: a value by its key, or by the keys of objects that hold it, with slashes between.
  Report& fact(std::string key, Value value);

  /// A matrix, by its size and its file.
  Report& matrix(std::string_view label, std::string key, Int rows, Int columns, const std::string& file);

  /// The routine that did the work: `name` without its precision letter.
  template <Scalar T>
  Report& routine(std::string_view label, std::string_view name) {
    return routine(label, name, precision_letter<T>, precision_words<T>());
  }

  Report& warning(const std::string& words);
  Report& times(const Stopwatch& stopwatch);

  /// Shows the account as what was asked for, on standard output.
  void show() const;

  /// Shows it beside a result: on standard error, as JSON on standard output unless a result goes there, as one without
  /// a file does. There may be more results; those without files aren't there.
  void show_beside(const std::optional<std::string>& result_file,
                   std::initializer_list<std::optional<std::string>> more = {}) const;

  /// From now on accounts are JSON (--json).
  static void take_json();

 private:
  Report& routine(std::string_view label, std::string_view name, char letter, std::string_view precision);
  std::string json() const;

  std::string text_;
  std::vector<std::pair<std::string, Value>> facts_;
};

}  // namespace nuv::tools
