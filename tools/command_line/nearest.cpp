#include "command_line/nearest.hpp"

#include <algorithm>

namespace nuv::tools {

std::size_t edit_distance(std::string_view from, std::string_view to) {
  std::vector<std::vector<std::size_t>> steps(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      std::size_t& least = steps[i][j];
      if (i == 0 || j == 0) {
        least = i + j;
        continue;
      }
      const bool same = from[i - 1] == to[j - 1];
      least = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + (same ? 0 : 1)});
      const bool exchanged = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (exchanged) least = std::min(least, steps[i - 2][j - 2] + 1);
    }
  }
  return steps[from.size()][to.size()];
}

std::optional<std::string> nearest(std::string_view word, const std::vector<std::string>& names) {
  std::optional<std::string> best;
  // A third of the characters may be wrong.
  std::size_t least = word.size() / 3 + 1;
  for (const std::string& name : names) {
    const bool begins_it = word.size() > 3 && name.starts_with(word);
    const std::size_t distance = begins_it ? 1 : edit_distance(word, name);
    if (distance >= least && !(distance == least && !best && distance < 3)) continue;
    best = name;
    least = distance;
  }
  return best;
}

}  // namespace nuv::tools
