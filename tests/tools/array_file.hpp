#pragma once

// Files in the array form of Matrix Market as a test looks at them.

#include <gtest/gtest.h>

#include <complex>
#include <sstream>
#include <string>
#include <vector>

namespace nuv::test {

using Complex = std::complex<double>;

/// An array file, read in complex numbers.
struct ArrayFile {
  std::string field;
  int rows = 0, columns = 0;
  std::vector<Complex> elements;

  explicit ArrayFile(const std::string& text) {
    std::istringstream words(text);
    std::string word;
    words >> word >> word >> word >> field >> word >> rows >> columns;
    // Streams read no infinities.
    while (words >> word) {
      const double real = std::stod(word);
      double imaginary = 0;
      if (field == "complex") {
        words >> word;
        imaginary = std::stod(word);
      }
      elements.emplace_back(real, imaginary);
    }
    EXPECT_EQ(elements.size(), std::size_t(rows * columns));
  }

  Complex operator()(int i, int j) const { return elements[std::size_t(j * rows + i)]; }
};

}  // namespace nuv::test
