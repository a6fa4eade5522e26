#include "report.hpp"

#include <fmt/format.h>
#include <nuv/nuv_services.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iterator>
#include <nlohmann/json.hpp>

#include "error.hpp"
#include "output.hpp"

namespace nuv::tools {
namespace {

bool is_json = false;

bool is_standard_output(const std::string& file) {
  if (file == "-") return true;
  struct stat there, output;
  return stat(file.c_str(), &there) == 0 && fstat(STDOUT_FILENO, &output) == 0 && there.st_dev == output.st_dev &&
         there.st_ino == output.st_ino;
}

}  // namespace

void Stopwatch::end(std::string_view stage) {
  const auto now = std::chrono::steady_clock::now();
  stages_.emplace_back(stage, now - last_);
  last_ = now;
}

Report::Report(std::string_view command) {
  fact("command", std::string(command));
}

Report& Report::line(std::string_view label, std::string_view words) {
  fmt::format_to(std::back_inserter(text_), "{:<18} {}\n", label, words);
  return *this;
}

Report& Report::fact(std::string key, Value value) {
  facts_.emplace_back(std::move(key), std::move(value));
  return *this;
}

Report& Report::matrix(std::string_view label, std::string key, Int rows, Int columns, const std::string& file) {
  line(label, fmt::format("{} by {}, {}", rows, columns, shown(file)));
  return fact(key + "/file", file).fact(key + "/rows", rows).fact(key + "/columns", columns);
}

Report& Report::routine(std::string_view label, std::string_view name, char letter, std::string_view precision) {
  const auto lower = static_cast<char>(std::tolower(letter));
  const std::string full_name = fmt::format("nuv_lapack_{}{}", lower, name);
  std::string key(label);
  std::replace(key.begin(), key.end(), ' ', '_');
  line(label, fmt::format("{}, {}", full_name, precision));
  return fact(key, full_name).fact("precision", std::string(1, lower));
}

Report& Report::warning(const std::string& words) {
  return line("warning", words).fact("warning", words);
}

Report& Report::times(const Stopwatch& stopwatch) {
  std::string words;
  for (const auto& [stage, time] : stopwatch.stages()) {
    fmt::format_to(std::back_inserter(words), "{}{} {:.3g} s", words.empty() ? "" : ", ", stage, time.count());
    fact("time/" + stage, static_cast<long double>(time.count()));
  }
  return line("time", words);
}

std::string Report::json() const {
  nlohmann::ordered_json object;
  const auto set = [&](const std::string& key, const auto& value) {
    object[nlohmann::ordered_json::json_pointer("/" + key)] = value;
  };
  for (const auto& [key, value] : facts_) {
    if (const auto* number = std::get_if<long double>(&value)) set(key, static_cast<double>(*number));
    else std::visit([&, &name = key](const auto& other) { set(name, other); }, value);
  }
  set("threads", nuv_serv_nuv_get_max_threads());
  // File names may be any bytes.
  return object.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void Report::show() const {
  Output output;
  output.write(is_json ? json() : text_);
  output.commit();
}

void Report::show_beside(const std::optional<std::string>& result_file,
                         std::initializer_list<std::optional<std::string>> more) const {
  const auto takes_it = [](const std::optional<std::string>& file) { return file && is_standard_output(*file); };
  const bool is_taken = !result_file || takes_it(result_file) || std::any_of(more.begin(), more.end(), takes_it);
  if (is_json && !is_taken) return show();
  const std::string text = is_json ? json() : text_;
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void Report::take_json() {
  is_json = true;
}

}  // namespace nuv::tools
