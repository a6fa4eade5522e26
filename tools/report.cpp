#include "report.hpp"

#include <fmt/format.h>

#include <cctype>
#include <cstdio>
#include <iterator>

namespace nuv::tools {

Report& Report::line(std::string_view label, std::string_view words) {
  fmt::format_to(std::back_inserter(text_), "{:<18} {}\n", label, words);
  return *this;
}

Report& Report::time(Seconds time) {
  return line("time", fmt::format("{:.3g} s", time.count()));
}

Report& Report::routine(std::string_view label, std::string_view name, char letter, std::string_view precision) {
  return line(label, fmt::format("nuv_lapack_{}{}, {}", static_cast<char>(std::tolower(letter)), name, precision));
}

void Report::to_standard_error() const {
  std::fwrite(text_.data(), 1, text_.size(), stderr);
}

}  // namespace nuv::tools
