#include "file_format.hpp"

#include <algorithm>
#include <iterator>

namespace nuv::tools {
namespace {

struct Entry {
  std::string_view word;
  FileFormat format;
};

constexpr Entry names[] = {{"mtx", FileFormat::MatrixMarket},
                           {"npy", FileFormat::Npy},
                           {"csv", FileFormat::Csv},
                           {"table", FileFormat::Table}};

constexpr Entry suffixes[] = {{".mtx", FileFormat::MatrixMarket}, {".mm", FileFormat::MatrixMarket},
                              {".npy", FileFormat::Npy},          {".csv", FileFormat::Csv},
                              {".tsv", FileFormat::Table},        {".txt", FileFormat::Table},
                              {".dat", FileFormat::Table}};

constexpr Entry starts[] = {{"%%MatrixMarket", FileFormat::MatrixMarket},
                            {"\xEF\xBB\xBF%%MatrixMarket", FileFormat::MatrixMarket},
                            {"\x93NUMPY", FileFormat::Npy}};

constexpr std::string_view packed = ".gz";

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equal_but_for_case(std::string_view x, std::string_view y) {
  return std::equal(x.begin(), x.end(), y.begin(), y.end(), [](char a, char b) { return lower(a) == lower(b); });
}

bool has_suffix(std::string_view file, std::string_view suffix) {
  return file.size() > suffix.size() && equal_but_for_case(file.substr(file.size() - suffix.size()), suffix);
}

template <std::size_t count, class Fits>
std::optional<FileFormat> find(const Entry (&entries)[count], Fits fits) {
  const auto found = std::find_if(std::begin(entries), std::end(entries), [&](const Entry& e) { return fits(e.word); });
  return found == std::end(entries) ? std::nullopt : std::optional(found->format);
}

}  // namespace

std::optional<FileFormat> format_named(std::string_view name) {
  return find(names, [&](std::string_view word) { return word == name; });
}

bool has_packed_suffix(std::string_view file) {
  return has_suffix(file, packed);
}

std::optional<FileFormat> format_by_suffix(std::string_view file) {
  if (has_packed_suffix(file)) file.remove_suffix(packed.size());
  return find(suffixes, [&](std::string_view suffix) { return has_suffix(file, suffix); });
}

FileFormat format_to_read(std::string_view start, std::string_view file, std::optional<FileFormat> wanted) {
  const auto begins_so = [&](std::string_view word) { return equal_but_for_case(start.substr(0, word.size()), word); };
  if (const auto told = find(starts, begins_so)) return *told;
  if (const auto told = format_by_suffix(file)) return *told;
  return wanted.value_or(FileFormat::Table);
}

FileFormat format_to_write(const std::optional<std::string>& file, std::optional<FileFormat> wanted) {
  if (wanted) return *wanted;
  return (file ? format_by_suffix(*file) : std::nullopt).value_or(FileFormat::MatrixMarket);
}

}  // namespace nuv::tools
