#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "dense_matrix.hpp"
#include "file_format.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

/// How a file in the Matrix Market format holds a matrix; others hold all of its elements.
struct WrittenForm {
  Layout layout = Layout::Array;
  Symmetry symmetry = Symmetry::General;  ///< that the matrix has; the lower triangle is written then
  std::string comment = {};               ///< one line, none where empty
};

/// Takes what is written, text in pieces of up to some million characters.
using TextSink = std::function<void(std::string_view)>;

/// Collects the text of numbers, each by the fewest digits that read back as the same bits, for a sink.
class NumberText {
 public:
  explicit NumberText(const TextSink& sink);

  void append(std::string_view text);
  void append(Int number);
  void append(float number);
  void append(double number);

  /// Both parts, parted by a blank.
  template <RealScalar R>
  void append(std::complex<R> number) {
    append(number.real());
    append(" ");
    append(number.imag());
  }

  /// Hands on all that is left.
  void flush();

 private:
  char* room_for(std::size_t size);

  const TextSink& sink_;
  std::string text_;
  std::size_t size_ = 0;
};

/// The first lines of a file in the Matrix Market format. entries: in the coordinate layout, how many follow
void append_banner(NumberText& text, const WrittenForm& form, bool is_complex, Int rows, Int columns,
                   std::uint64_t entries);

/// The line of an element in the coordinate layout.
template <Scalar T>
void append_entry(NumberText& text, Int i, Int j, T value) {
  text.append(i);
  text.append(" ");
  text.append(j);
  text.append(" ");
  text.append(value);
  text.append("\n");
}

/// Writes a matrix in a format. In the Matrix Market format it has that form, in the coordinate layout without zeros;
/// rows of a table are lines, complex numbers in it 1+2i; arrays of NumPy stand by columns.
template <Scalar T>
void write_matrix(const DenseMatrix<T>& a, FileFormat format, const TextSink& sink, const WrittenForm& form = {});

}  // namespace nuv::tools
