#pragma once

// The accounts that the commands give of their work, all in one form: a label and words on each line.

#include <chrono>
#include <string>
#include <string_view>

#include "base/types.hpp"
#include "precision.hpp"

namespace nuv::tools {

using Seconds = std::chrono::duration<double>;

class Report {
 public:
  Report& line(std::string_view label, std::string_view words);
  Report& time(Seconds time);

  /// The routine that did the work: `name` without its precision letter.
  template <Scalar T>
  Report& routine(std::string_view label, std::string_view name) {
    return routine(label, name, precision_letter<T>, precision_words<T>());
  }

  const std::string& text() const { return text_; }
  void to_standard_error() const;

 private:
  Report& routine(std::string_view label, std::string_view name, char letter, std::string_view precision);

  std::string text_;
};

/// Runs some work and tells how long it took.
template <class Work>
Seconds timed(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::steady_clock::now() - start;
}

}  // namespace nuv::tools
