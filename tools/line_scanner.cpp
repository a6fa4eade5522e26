#include "line_scanner.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include "error.hpp"

namespace nuv::tools {

bool LineScanner::next_line() {
  for (;; has_begun_ = true) {
    if (has_begun_) {
      at_ = static_cast<const char*>(std::memchr(at_, '\n', static_cast<std::size_t>(end_ - at_))) + 1;
      ++line_;
    }
    if (at_ == end_) return false;
    if (!at_line_end() && comment_signs_.find(*at_) == comment_signs_.npos) break;
  }
  has_begun_ = true;
  return true;
}

std::string_view LineScanner::word() const {
  const char* last = at_;
  while (!ends_word(last)) ++last;
  return {at_, static_cast<std::size_t>(last - at_)};
}

std::string_view LineScanner::expect(std::string_view what) {
  if (at_line_end()) fail(fmt::format("the line ends where {} is expected", what));
  const std::string_view taken = word();
  at_ += taken.size();
  return taken;
}

void LineScanner::expect_end() {
  if (!at_line_end()) fail(fmt::format("unexpected {} at the end of the line", in_quotes(word())));
}

double LineScanner::number(Precision precision, bool must_be_integer, std::string_view what) {
  if (at_line_end()) expect(what);
  Decimal decimal;
  const char* const end = scan_decimal(at_, decimal);
  if (end == nullptr || !ends_word(end) || (must_be_integer && !decimal.is_integer)) {
    fail(words_on_bad_number(word(), must_be_integer));
  }
  const double value = rounded(decimal, precision);
  if (value == 0 || !std::isfinite(value)) {
    if (auto words = words_on_range(decimal, value, precision)) fail(std::move(*words));
  }
  at_ = end;
  return value;
}

std::int64_t LineScanner::integer(std::string_view what) {
  if (at_line_end()) expect(what);
  const char* const digits = *at_ == '+' ? at_ + 1 : at_;
  std::int64_t value = 0;
  const auto [end, status] = std::from_chars(digits, end_, value);
  if (status == std::errc::invalid_argument || !ends_word(end) || (digits != at_ && *digits == '-')) {
    fail(fmt::format("expected {}, found {}", what, in_quotes(word())));
  }
  if (status == std::errc::result_out_of_range) {
    value = *at_ == '-' ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }
  at_ = end;
  return value;
}

bool names_no_finite_number(std::string_view word) {
  std::string name(word);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  if (name.starts_with('+') || name.starts_with('-')) name.erase(0, 1);
  return name == "inf" || name == "infinity" || name.starts_with("nan");
}

std::string words_on_bad_number(std::string_view word, bool must_be_integer) {
  if (names_no_finite_number(word)) return fmt::format("{} is not a finite number", in_quotes(word));
  return fmt::format("expected {}, found {}", must_be_integer ? "an integer" : "a number", in_quotes(word));
}

std::optional<std::string> words_on_range(const Decimal& number, double value, Precision precision) {
  const bool overflows = !std::isfinite(value);
  if (!overflows && !has_underflowed(number, value)) return std::nullopt;
  return fmt::format("{} {} {} precision", in_quotes(number.text), overflows ? "overflows" : "underflows",
                     name_of(precision));
}

}  // namespace nuv::tools
