#include "text_blocks.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "error.hpp"

namespace nuv::tools {
namespace {

constexpr std::size_t block_size = std::size_t{4} << 20;  // as much as stays in a cache while it is parsed
constexpr std::size_t longest_line = std::size_t{256} << 20;
constexpr std::size_t slack = 16;  // behind a block: a line feed, and what is read in eights

}  // namespace

std::size_t TextBlocks::Block::line_behind() const {
  return first_line + static_cast<std::size_t>(std::count(lines().begin(), lines().end(), '\n'));
}

TextBlocks::~TextBlocks() {
  if (reading_.valid()) reading_.wait();
}

void TextBlocks::make_room(Block& block, std::size_t room) {
  if (block.room >= room) return;
  auto bytes = std::make_unique_for_overwrite<char[]>(room + slack);
  if (block.filled > 0) std::memcpy(bytes.get(), block.bytes.get(), block.filled);
  std::memset(bytes.get() + room, 0, slack);
  block.bytes = std::move(bytes);
  block.room = room;
}

void TextBlocks::drop_byte_order_mark(Block& block) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  if (!std::string_view(block.bytes.get(), block.filled).starts_with(mark)) return;
  block.filled -= mark.size();
  std::memmove(block.bytes.get(), block.bytes.get() + mark.size(), block.filled);
}

/// Reads what follows a block, of which a part of a line may be left.
void TextBlocks::fill(Block& block, const Block& before) {
  const std::size_t left = before.filled - before.lines_end;
  const std::size_t first_line = before.line_behind();
  const bool is_first = before.bytes == nullptr;
  block.filled = 0;
  block.first_line = first_line;
  make_room(block, std::max(block_size, 2 * left));
  if (left > 0) std::memcpy(block.bytes.get(), before.bytes.get() + before.lines_end, left);
  block.filled = left;

  for (std::size_t searched = 0;; searched = block.filled) {
    const std::size_t wanted = block.room - block.filled;
    const std::size_t count = input_.read(block.bytes.get() + block.filled, wanted);
    block.filled += count;
    at_end_ = count < wanted;
    if (is_first && searched == 0) drop_byte_order_mark(block);
    if (at_end_) break;
    const auto bytes = std::string_view(block.bytes.get(), block.filled).substr(searched);
    if (const std::size_t last = bytes.rfind('\n'); last != bytes.npos) {
      block.lines_end = searched + last + 1;
      return;
    }
    if (block.filled >= longest_line) {
      throw FileError(input_.name(), first_line, fmt::format("line of more than {} characters", longest_line));
    }
    make_room(block, 2 * block.room);
  }
  if (block.filled > 0 && block.bytes[block.filled - 1] != '\n') block.bytes[block.filled++] = '\n';
  block.lines_end = block.filled;
}

Lines TextBlocks::next() {
  if (reading_.valid()) {
    reading_.get();
    std::swap(current_, following_);
  } else if (!at_end_) {
    fill(following_, current_);
    std::swap(current_, following_);
  } else if (current_.filled > 0) {
    const std::size_t first_line = current_.line_behind();
    current_ = Block();
    current_.first_line = first_line;
  }
  // Where no thread is to be had for it, reading waits for the next call.
  if (!at_end_) {
    reading_ = std::async(std::launch::async | std::launch::deferred, [this] { fill(following_, current_); });
  }
  return {current_.lines(), current_.first_line};
}

std::vector<std::string_view> pieces_of(std::string_view text, std::size_t count) {
  constexpr std::size_t worth_a_thread = std::size_t{1} << 18;
  count = std::clamp<std::size_t>(text.size() / worth_a_thread, 1, count);
  std::vector<std::string_view> pieces;
  for (; !text.empty(); --count) {
    const std::size_t line_end = count == 1 ? text.npos : text.find('\n', text.size() / count);
    pieces.push_back(text.substr(0, line_end == text.npos ? text.npos : line_end + 1));
    text.remove_prefix(pieces.back().size());
  }
  return pieces;
}

}  // namespace nuv::tools
