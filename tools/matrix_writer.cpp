#include "matrix_writer.hpp"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "npy.hpp"
#include "parallel.hpp"

namespace nuv::tools {
namespace {

constexpr std::size_t piece = 32768;
constexpr std::size_t longest_number = 32;

/// Hands on the text of the elements of lines 1 to `lines`, of line l those from first(l) to `length`, in this order.
/// append(text, line, k) adds an element. Pieces are put into text side by side while those before them are written:
/// the one takes about as long as the other.
template <class First, class Append>
void write_side_by_side(Int lines, Int length, const TextSink& sink, First first, Append append) {
  constexpr int at_once = 1 << 16;  // some milliseconds of work
  struct Place {
    std::int64_t line, k;
  };
  const auto walk = [&](Place& place, auto visit) {
    for (int left = at_once; left > 0 && place.line <= lines;) {
      if (place.k <= length) {
        visit(static_cast<Int>(place.line), static_cast<Int>(place.k++));
        --left;
      } else {
        place = {place.line + 1, first(place.line + 1)};
      }
    }
  };

  std::vector<Place> starts(processors());
  std::vector<std::string> texts(starts.size()), finished;
  const auto hand_on = [&] {
    for (const std::string& text : finished) sink(text);
  };
  for (Place place{1, first(1)}; place.line <= lines;) {
    std::size_t count = 0;
    for (; count < starts.size() && place.line <= lines; ++count) {
      starts[count] = place;
      walk(place, [](Int, Int) {});
    }
    texts.resize(count);
    run_side_by_side(count + 1, [&](std::size_t number) {
      if (number == 0) return hand_on();
      std::string& whole = texts[number - 1];
      whole.clear();
      const TextSink collect = [&](std::string_view more) { whole += more; };
      NumberText text(collect);
      walk(starts[number - 1], [&](Int line, Int k) { append(text, line, k); });
      text.flush();
    });
    texts.swap(finished);
  }
  hand_on();
}

template <Scalar T>
void write_matrix_market(const DenseMatrix<T>& a, const TextSink& sink, const WrittenForm& form) {
  const bool is_array = form.layout == Layout::Array;
  NumberText banner(sink);
  append_banner(banner, form, ComplexScalar<T>, a.rows, a.columns,
                is_array ? 0 : count_stored(a, form.symmetry).nonzeros);
  banner.flush();
  write_side_by_side(
      a.columns, a.rows, sink, [&](std::int64_t j) { return first_stored_row(form.symmetry, j); },
      [&](NumberText& text, Int j, Int i) {
        if (is_array) {
          text.append(a(i, j));
          text.append("\n");
        } else if (a(i, j) != T(0)) {
          append_entry(text, i, j, a(i, j));
        }
      });
}

template <Scalar T>
void append_cell(NumberText& text, T value) {
  if constexpr (ComplexScalar<T>) {
    text.append(value.real());
    if (!std::signbit(value.imag())) text.append("+");
    text.append(value.imag());
    text.append("i");
  } else {
    text.append(value);
  }
}

template <Scalar T>
void write_table(const DenseMatrix<T>& a, const TextSink& sink, std::string_view separator) {
  write_side_by_side(
      a.rows, a.columns, sink, [](std::int64_t) { return 1; },
      [&](NumberText& text, Int i, Int j) {
        append_cell(text, a(i, j));
        text.append(j < a.columns ? separator : "\n");
      });
}

template <Scalar T>
void write_npy(const DenseMatrix<T>& a, const TextSink& sink) {
  sink(npy_header(ComplexScalar<T> ? 'c' : 'f', sizeof(T), a.rows, a.columns));
  sink({reinterpret_cast<const char*>(a.elements.data()), a.elements.size() * sizeof(T)});
}

}  // namespace

NumberText::NumberText(const TextSink& sink) : sink_(sink), text_(piece, '\0') {}

char* NumberText::room_for(std::size_t size) {
  if (size_ + size > text_.size()) flush();
  text_.resize(std::max(text_.size(), size));
  return text_.data() + size_;
}

void NumberText::append(std::string_view text) {
  text.copy(room_for(text.size()), text.size());
  size_ += text.size();
}

void NumberText::append(Int number) {
  char* const room = room_for(longest_number);
  size_ += static_cast<std::size_t>(fmt::format_to(room, FMT_COMPILE("{}"), number) - room);
}

void NumberText::append(float number) {
  char* const room = room_for(longest_number);
  size_ += static_cast<std::size_t>(fmt::format_to(room, FMT_COMPILE("{}"), number) - room);
}

void NumberText::append(double number) {
  char* const room = room_for(longest_number);
  size_ += static_cast<std::size_t>(fmt::format_to(room, FMT_COMPILE("{}"), number) - room);
}

void NumberText::flush() {
  sink_(std::string_view(text_).substr(0, size_));
  size_ = 0;
}

void append_banner(NumberText& text, const WrittenForm& form, bool is_complex, Int rows, Int columns,
                   std::uint64_t entries) {
  const bool is_array = form.layout == Layout::Array;
  text.append(fmt::format("%%MatrixMarket matrix {} {} {}\n", is_array ? "array" : "coordinate",
                          is_complex ? "complex" : "real", name_of(form.symmetry)));
  if (!form.comment.empty()) text.append(fmt::format("% {}\n", form.comment));
  text.append(fmt::format("{} {}", rows, columns));
  text.append(is_array ? "\n" : fmt::format(" {}\n", entries));
}

template <Scalar T>
void write_matrix(const DenseMatrix<T>& a, FileFormat format, const TextSink& sink, const WrittenForm& form) {
  switch (format) {
    case FileFormat::Npy:
      return write_npy(a, sink);
    case FileFormat::Csv:
      return write_table(a, sink, ",");
    case FileFormat::Table:
      return write_table(a, sink, " ");
    default:
      return write_matrix_market(a, sink, form);
  }
}

template void write_matrix(const DenseMatrix<float>&, FileFormat, const TextSink&, const WrittenForm&);
template void write_matrix(const DenseMatrix<double>&, FileFormat, const TextSink&, const WrittenForm&);
template void write_matrix(const DenseMatrix<std::complex<float>>&, FileFormat, const TextSink&, const WrittenForm&);
template void write_matrix(const DenseMatrix<std::complex<double>>&, FileFormat, const TextSink&, const WrittenForm&);

}  // namespace nuv::tools
