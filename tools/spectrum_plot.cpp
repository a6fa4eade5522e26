#include "spectrum_plot.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace nuv::tools {
namespace {

std::string settings(const SpectrumWords& words, bool logarithmic) {
  return fmt::format(
      "set terminal svg size 800,500 background rgb 'white'\n"
      "set title '{}'\n"
      "set xlabel 'number, in {} order'\n"
      "{}"
      "unset key\n"
      "set grid\n"
      "plot '-' using 1:2 with points pointtype 7 pointsize 0.4\n",
      words.title, words.order, logarithmic ? "set logscale y\nset format y '%.0e'\n" : "");
}

/// What gnuplot writes for a script; nothing where it fails.
std::string drawn_by(const std::string& script) {
  // It reads the script from a file, so that one pipe is enough.
  std::FILE* const text = std::tmpfile();
  if (!text) return {};
  std::fwrite(script.data(), 1, script.size(), text);
  std::fflush(text);
  std::FILE* const pipe = popen(fmt::format("gnuplot /dev/fd/{} 2>/dev/null", fileno(text)).c_str(), "r");
  std::string result;
  if (pipe) {
    char piece[4096];
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, pipe)) result.append(piece, count);
    if (pclose(pipe) != 0) result.clear();
  }
  std::fclose(text);
  return result;
}

}  // namespace

void require_plotter() {
  const int status = std::system("gnuplot --version >/dev/null 2>&1");
  if (status == 0) return;
  throw std::runtime_error("--plot needs gnuplot, which is not installed here (on Debian: apt install gnuplot-nox)");
}

void plot_spectrum(const std::vector<double>& values, const SpectrumWords& words, Output& output) {
  if (values.empty()) throw std::runtime_error("--plot: there is no value to draw");
  const bool some_are_positive = std::any_of(values.begin(), values.end(), [](double value) { return value > 0; });
  std::string script = settings(words, words.logarithmic && some_are_positive);
  for (std::size_t k = 0; k < values.size(); ++k) script += fmt::format("{} {}\n", k + 1, values[k]);
  const std::string picture = drawn_by(script + "e\n");
  if (picture.find("</svg>") == picture.npos) throw std::runtime_error("gnuplot did not draw the picture");
  output.write(picture);
  output.commit();
}

}  // namespace nuv::tools
