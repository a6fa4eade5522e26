#pragma once

// Comparison of option characters: plain ASCII, no locale, only the first character of an argument counts.

#include "base/types.hpp"

namespace nuv {

constexpr unsigned char to_upper_ascii(unsigned char c) {
  return c >= 97 && c <= 122 ? c - 32 : c;
}

/// True if two characters are the same letter, whatever their case.
constexpr bool same_letter(char a, char b) {
  return a == b || to_upper_ascii(static_cast<unsigned char>(a)) == to_upper_ascii(static_cast<unsigned char>(b));
}

/// True if an option is one of the letters given.
template <class... Letters>
constexpr bool is_one_of(char option, Letters... letters) {
  return (same_letter(option, letters) || ...);
}

/// True if the first n characters of the words ca and cb agree by same_letter; false if either word is shorter than n.
Logical lsamen(Int n, Text ca, Text cb);

}  // namespace nuv
