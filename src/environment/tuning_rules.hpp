#pragma once

// What the tables of tuning answers are made of, and how a question finds its row.
//
// A row holds for routine names, under conditions, and a rule makes the answer from the problem sizes; the first row
// that fits decides. Names are compared as words of five letters, and an index over the first of them keeps the search
// short: drivers ask at every call, however small their matrix.

#include <array>
#include <bit>
#include <limits>
#include <span>
#include <string_view>

#include "frame/option_matching.hpp"

namespace nuv::tuning {

struct Sizes {
  Int n1, n2, n3, n4;
};

/// The answer to a question: steps over one of the sizes, or a function of them.
class Rule {
 public:
  using Function = Int (*)(const Sizes&);
  static constexpr int most_steps = 8;

  constexpr Rule(Int answer) : steps_{{std::numeric_limits<Int>::max(), answer}} {}
  constexpr Rule(Function function) : function_(function) {}

  constexpr Int operator()(const Sizes& sizes) const {
    if (function_ != nullptr) return function_(sizes);
    const Int size = sizes.*by_;
    const Step* step = steps_;
    while (size > step->up_to) ++step;
    return step->answer;
  }

 private:
  friend class By;
  struct Step {
    Int up_to, answer;
  };

  Function function_ = nullptr;
  Int Sizes::*by_ = &Sizes::n1;
  Step steps_[most_steps] = {};
};

/// Builds a rule of steps over one size: `n1.up_to(210, 4).below(500, 8).otherwise(16)`, limits rising.
class By {
 public:
  constexpr explicit By(Int Sizes::*size) : rule_(0) { rule_.by_ = size; }

  constexpr By up_to(Int limit, Int answer) const {
    By longer = *this;
    longer.rule_.steps_[longer.count_++] = {limit, answer};
    return longer;
  }
  constexpr By below(Int limit, Int answer) const { return up_to(limit - 1, answer); }
  constexpr Rule otherwise(Int answer) const { return up_to(std::numeric_limits<Int>::max(), answer).rule_; }

 private:
  Rule rule_;
  int count_ = 0;
};

inline constexpr By n1{&Sizes::n1}, n2{&Sizes::n2}, n3{&Sizes::n3}, n4{&Sizes::n4};

/// What a row asks of n2 where that is the number of threads; a serial routine may leave it at -1.
enum class Threads { any, one, at_most_one };

struct Row {
  const char* precisions;  ///< any of S, D, C, Z
  const char* names;       ///< without the precision, five letters each, with blanks between; ? stands for any letter
  Rule rule;
  Threads threads = Threads::any;
  char option = 0;  ///< first letter of the options, if the row asks for one

  bool holds_for(const Sizes& sizes, const char* opts) const {
    if (threads == Threads::one && sizes.n2 != 1) return false;
    if (threads == Threads::at_most_one && sizes.n2 > 1) return false;
    return option == 0 || same_letter(option, *opts);
  }
};

/// Five letters of a name as one word.
constexpr std::uint64_t packed_letters(const char* letters) {
  std::uint64_t word = 0;
  for (int i = 0; i < 5; ++i) word = word << 8 | to_upper_ascii(static_cast<unsigned char>(letters[i]));
  return word;
}

/// A bit for each precision, none for another letter.
constexpr std::uint8_t precision_bit(char letter) {
  switch (to_upper_ascii(static_cast<unsigned char>(letter))) {
    case 'S':
      return 1;
    case 'D':
      return 2;
    case 'C':
      return 4;
    case 'Z':
      return 8;
    default:
      return 0;
  }
}

/// A name as callers pass it: six characters are read, whatever its length says.
struct Name {
  std::uint8_t precision;
  std::uint64_t letters;

  explicit Name(Text name) : precision(precision_bit(name.data[0])), letters(packed_letters(name.data + 1)) {}
};

/// One name of a row.
struct Entry {
  std::uint64_t letters, mask;
  std::uint8_t precisions, row;
};

constexpr int alphabet = 26;

/// Place in the alphabet of the first letter of a name, `alphabet` for no letter.
constexpr int first_letter(std::uint64_t letters) {
  const int place = static_cast<int>(letters >> 32) - 'A';
  return place >= 0 && place < alphabet ? place : alphabet;
}

/// A table as it is searched: the names of all rows, in the order of rows among those with one first letter.
template <std::size_t Count>
struct NameIndex {
  std::array<Entry, Count> entries;
  std::array<std::uint8_t, alphabet + 2> first;  ///< by first letter; the last two are the end of the entries
};

constexpr std::size_t names_in(const Row& row) {
  return (std::string_view(row.names).size() + 1) / 6;
}

constexpr Entry entry_of(const Row& row, std::size_t name, std::uint8_t row_number) {
  const char* letters = row.names + 6 * name;
  Entry entry{packed_letters(letters), ~std::uint64_t{0}, 0, row_number};
  for (int i = 0; i < 5; ++i) {
    if (letters[i] == '?') entry.mask &= ~(std::uint64_t{255} << 8 * (4 - i));
  }
  entry.letters &= entry.mask;
  for (const char* p = row.precisions; *p != 0; ++p) entry.precisions |= precision_bit(*p);
  return entry;
}

template <const auto& Rows>
consteval auto index_names() {
  constexpr std::size_t count = [] {
    std::size_t names = 0;
    for (const Row& row : Rows) names += names_in(row);
    return names;
  }();
  static_assert(count < 256, "places are counted in bytes");

  NameIndex<count> index{};
  std::size_t at = 0;
  for (int letter = 0; letter < alphabet; ++letter) {
    index.first[letter] = static_cast<std::uint8_t>(at);
    std::uint8_t row_number = 0;
    for (const Row& row : Rows) {
      for (std::size_t name = 0; name < names_in(row); ++name) {
        const Entry entry = entry_of(row, name, row_number);
        if (first_letter(entry.letters) == letter) index.entries[at++] = entry;
      }
      ++row_number;
    }
  }
  index.first[alphabet] = index.first[alphabet + 1] = static_cast<std::uint8_t>(at);
  return index;
}

template <const auto& Rows>
inline constexpr auto name_index = index_names<Rows>();

/// The answer of the first row of a table that holds for a question, or `otherwise`.
template <const auto& Rows>
Int look_up(const Name& name, const char* opts, const Sizes& sizes, Int otherwise) {
  const auto& index = name_index<Rows>;
  static_assert(index.first[alphabet] == index.entries.size(), "a name begins with a letter");
  const int letter = first_letter(name.letters);
  for (int i = index.first[letter]; i < index.first[letter + 1]; ++i) {
    const Entry& entry = index.entries[i];
    if ((name.letters & entry.mask) != entry.letters || (name.precision & entry.precisions) == 0) continue;
    const Row& row = Rows[entry.row];
    if (row.holds_for(sizes, opts)) return row.rule(sizes);
  }
  return otherwise;
}

}  // namespace nuv::tuning
