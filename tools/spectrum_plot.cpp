#include "spectrum_plot.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace nuv::tools {
namespace {

/// A script that draws the points behind it.
std::string settings(std::string_view title, int height, std::string_view axes) {
  return fmt::format(
      "set terminal svg size 800,{} background rgb 'white'\n"
      "set title '{}'\n"
      "{}"
      "unset key\n"
      "set grid\n"
      "plot '-' using 1:2 with points pointtype 7 pointsize 0.4\n",
      height, title, axes);
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

void draw(const std::string& script, Output& output) {
  const std::string picture = drawn_by(script + "e\n");
  if (picture.find("</svg>") == picture.npos) throw std::runtime_error("gnuplot did not draw the picture");
  output.write(picture);
  output.commit();
}

void require_some(bool any) {
  if (!any) throw std::runtime_error("--plot: there is no value to draw");
}

}  // namespace

void require_plotter() {
  const int status = std::system("gnuplot --version >/dev/null 2>&1");
  if (status == 0) return;
  throw std::runtime_error("--plot needs gnuplot, which is not installed here (on Debian: apt install gnuplot-nox)");
}

void plot_spectrum(const std::vector<double>& values, const SpectrumWords& words, Output& output) {
  require_some(!values.empty());
  const bool logarithmic =
      words.logarithmic && std::any_of(values.begin(), values.end(), [](double value) { return value > 0; });
  std::string script = settings(words.title, 500,
                                fmt::format("set xlabel 'number, in {} order'\n{}", words.order,
                                            logarithmic ? "set logscale y\nset format y '%.0e'\n" : ""));
  for (std::size_t k = 0; k < values.size(); ++k) script += fmt::format("{} {}\n", k + 1, values[k]);
  draw(script, output);
}

void plot_in_plane(const std::vector<std::complex<double>>& values, std::string_view title, Output& output) {
  require_some(!values.empty());
  std::string script = settings(title, 700, "set xlabel 'real part'\nset ylabel 'imaginary part'\nset zeroaxis\n");
  for (const auto value : values) script += fmt::format("{} {}\n", value.real(), value.imag());
  draw(script, output);
}

}  // namespace nuv::tools
