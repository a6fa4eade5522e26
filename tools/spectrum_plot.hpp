#pragma once

// Pictures of spectra, drawn by gnuplot.

#include <complex>
#include <string_view>
#include <vector>

#include "output.hpp"

namespace nuv::tools {

/// Throws std::runtime_error, which says what to install, where gnuplot isn't there.
void require_plotter();

struct SpectrumWords {
  std::string_view title, order;
  bool logarithmic = false;  ///< zeros, which have no logarithm, are left out then, unless there is nothing else
};

/// Draws values over their numbers as SVG, and makes the picture final. Throws std::runtime_error where there are no
/// values, and where gnuplot fails.
void plot_spectrum(const std::vector<double>& values, const SpectrumWords& words, Output& output);

/// The same in the complex plane.
void plot_in_plane(const std::vector<std::complex<double>>& values, std::string_view title, Output& output);

}  // namespace nuv::tools
