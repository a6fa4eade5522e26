#pragma once

// What a person at a terminal sees of work that lasts: one line on standard error, rewritten in place and gone in the
// end.

#include <memory>
#include <optional>
#include <string>

#include "report.hpp"

namespace nuv::tools {

/// Shows how far some work is while the object lives. Nothing is shown of work that takes less than two seconds, where
/// standard error is no terminal or belongs to another process group's, and after silence().
///
///     Progress progress("reading A.mtx");
///     while (...) progress.reach(bytes_read / bytes);
class Progress {
 public:
  /// Work that tells by reach() how far it is. `what` is in words: "reading A.mtx".
  explicit Progress(std::string what);

  /// Work that can't tell, but whose time was estimated; what is shown says so.
  Progress(std::string what, std::optional<Seconds> estimate);

  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// The share of the work that is done. Cheap, and any thread may call it.
  void reach(double share) noexcept;

  /// From now on nothing is shown (--quiet).
  static void silence();

  /// Whether anything would be shown, for whom an estimate costs time.
  static bool is_shown();

 private:
  class Display;
  std::unique_ptr<Display> display_;  ///< none where nothing is shown
};

/// The line for a terminal of so many columns: its last one stays free, since some wrap there. `what` is cut where it
/// is too long. share: of the work, if known; estimate: of its time, if there is one.
std::string progress_line(const std::string& what, Seconds elapsed, std::optional<double> share,
                          std::optional<Seconds> estimate, std::size_t columns);

}  // namespace nuv::tools
