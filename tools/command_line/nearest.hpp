#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nuv::tools {

/// The least number of characters to insert, delete, replace or exchange with their neighbours that makes one word of
/// another (optimal string alignment).
std::size_t edit_distance(std::string_view from, std::string_view to);

/// The name that somebody may have meant by a word: the nearest, or one that begins with it; none where all are far.
std::optional<std::string> nearest(std::string_view word, const std::vector<std::string>& names);

}  // namespace nuv::tools
