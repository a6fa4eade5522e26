#pragma once

#include <optional>

#include "eig.hpp"
#include "output.hpp"

namespace nuv::tools {

/// Where results of `nuv eig` go, refused before the work where they can't be written.
struct EigenOutputs {
  explicit EigenOutputs(const EigenOptions& options) {
    values.emplace(options.output_file, options.format);
    const auto open = [&](std::optional<Output>& output, const std::optional<std::string>& file) {
      if (file) output.emplace(*file, options.format);
    };
    open(vectors, options.vectors_file);
    open(left, options.left_file);
    open(schur, options.schur_file);
    open(schur_vectors, options.schur_vectors_file);
    if (options.plot_file) plot.emplace(*options.plot_file);
  }

  std::optional<Output> values, vectors, left, schur, schur_vectors, plot;
};

}  // namespace nuv::tools
