#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "base/types.hpp"
#include "decimal.hpp"

namespace nuv::tools {

/// What is wrong in a line, before it is known where in the file the line stands.
struct BadLine {
  std::size_t line;  ///< counted from zero
  std::string message;
};

/// Takes the words of whole lines one by one. Blanks, tabs and the carriage return before a line feed part words.
class LineScanner {
 public:
  /// A line whose first word begins with one of the signs is a comment. Eight bytes behind the lines may be read.
  LineScanner(std::string_view lines, std::string_view comment_signs)
      : at_(lines.data()), end_(lines.data() + lines.size()), comment_signs_(comment_signs) {}

  /// Goes to the first word of the next line that is neither blank nor a comment; false at the end.
  bool next_line();

  /// Goes to the next word of the line; whether there is none.
  bool at_line_end() {
    while (*at_ == ' ' || *at_ == '\t') ++at_;
    return ends_line(at_);
  }

  /// Lines before the one at hand.
  std::size_t line() const { return line_; }

  /// The word at hand, to be looked at.
  std::string_view word() const;

  const char* at() const { return at_; }
  void go_to(const char* at) { at_ = at; }

  /// Whether a word can't go on here.
  static bool ends_word(const char* at) { return *at == ' ' || *at == '\t' || ends_line(at); }

  /// Takes a word.
  std::string_view expect(std::string_view what);

  void expect_end();

  /// A number of the line; what exceeds the precision is refused, as is what isn't finite.
  double number(Precision precision, bool must_be_integer, std::string_view what);

  /// An integer of any length; what exceeds 64 bits comes back as the limit, which no caller accepts.
  std::int64_t integer(std::string_view what);

  [[noreturn]] void fail(std::string message) const { throw BadLine{line_, std::move(message)}; }

 private:
  static bool ends_line(const char* at) { return *at == '\n' || (*at == '\r' && at[1] == '\n'); }

  const char* at_;
  const char* end_;
  std::string_view comment_signs_;
  std::size_t line_ = 0;
  bool has_begun_ = false;
};

/// What is wrong with a word that should be a number.
std::string words_on_bad_number(std::string_view word, bool must_be_integer);

/// What is wrong with a number that leaves the range of a precision; nothing for others.
std::optional<std::string> words_on_range(const Decimal& number, double value, Precision precision);

/// Whether a word stands for infinity, or for no number at all.
bool names_no_finite_number(std::string_view word);

}  // namespace nuv::tools
