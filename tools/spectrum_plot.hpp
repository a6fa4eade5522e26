#pragma once

// Pictures of spectra, drawn by gnuplot.

#include <vector>

#include "output.hpp"

namespace nuv::tools {

/// Throws std::runtime_error, which says what to install, where gnuplot isn't there.
void require_plotter();

/// Draws values over their numbers as SVG, and makes the picture final. Throws std::runtime_error where gnuplot fails.
void plot_spectrum(const std::vector<double>& values, Output& output);

}  // namespace nuv::tools
