#include "environment/tuning.hpp"

#include <bit>
#include <cstring>
#include <span>

#include "frame/option_matching.hpp"

namespace nuv {
namespace {

struct Sizes {
  Int n1, n2, n3, n4;
};

/// The right-looking factorisation recurses on panels whose width is the largest power of two below the number of
/// columns, down to widths that the unblocked code takes.
Int recursive_panel_width(const Sizes& sizes) {
  const Int n = sizes.n2;
  if (n <= 8) return 1;
  if (n <= 32) return 8;
  if (n <= 128) return 32;
  return static_cast<Int>(std::bit_floor(static_cast<std::uint32_t>(n - 1)));
}

/// One line of a tuning table: an answer for an operation in the precisions given, fixed or by size.
struct Rule {
  const char* precisions;
  const char* operation;  ///< five characters, behind the precision letter
  Int answer;
  Int (*by_size)(const Sizes&) = nullptr;
};

constexpr Rule block_sizes[] = {
    {"D", "GETRF", 0, recursive_panel_width},
    {"SCZ", "GETRF", 64},
    {"SDCZ", "GETRI", 64},
    {"SDCZ", "TRTRI", 64},
};

/// A name as the tables spell it: six upper-case characters.
struct Name {
  char precision;
  char operation[5];

  explicit Name(Text name) {
    precision = static_cast<char>(to_upper_ascii(static_cast<unsigned char>(name.data[0])));
    for (int i = 0; i < 5; ++i) {
      operation[i] = static_cast<char>(to_upper_ascii(static_cast<unsigned char>(name.data[i + 1])));
    }
  }

  bool has_precision() const { return std::strchr("SDCZ", precision) != nullptr && precision != '\0'; }
};

Int look_up(std::span<const Rule> table, const Name& name, const Sizes& sizes, Int otherwise) {
  for (const Rule& rule : table) {
    if (std::strchr(rule.precisions, name.precision) == nullptr) continue;
    if (std::memcmp(rule.operation, name.operation, sizeof name.operation) != 0) continue;
    return rule.by_size != nullptr ? rule.by_size(sizes) : rule.answer;
  }
  return otherwise;
}

}  // namespace

Int ilaenv(Int ispec, Text name_text, Text /*opts*/, Int n1, Int n2, Int n3, Int n4) {
  if (ispec < 1 || ispec > 16) return -1;
  const Name name(name_text);
  if (!name.has_precision()) return 1;
  switch (ispec) {
    case 1:
      return look_up(block_sizes, name, {n1, n2, n3, n4}, 1);
    case 2:
      return 2;
    default:
      return 0;
  }
}

}  // namespace nuv

#include "environment/tuning.entries.inc"
