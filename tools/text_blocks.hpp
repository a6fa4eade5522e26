#pragma once

#include <cstddef>
#include <future>
#include <memory>
#include <string_view>
#include <vector>

#include "input.hpp"
#include "parallel.hpp"

namespace nuv::tools {

/// Whole lines of a file, each with its line feed. Eight bytes behind them may be read, whatever they are.
struct Lines {
  std::string_view text;
  std::size_t first = 1;  ///< number of the first line
};

/// Hands out a text in blocks of whole lines. While one block is worked on, the next is read. A mark of the byte order
/// at the start is dropped; a last line without end gets one.
class TextBlocks {
 public:
  explicit TextBlocks(Input& input) : input_(input) {}
  ~TextBlocks();
  TextBlocks(const TextBlocks&) = delete;
  TextBlocks& operator=(const TextBlocks&) = delete;

  /// The next block, valid until the next call; without text at the end, when `first` is the line that is missing.
  Lines next();

 private:
  struct Block {
    std::unique_ptr<char[]> bytes;
    std::size_t room = 0;
    std::size_t filled = 0;
    std::size_t lines_end = 0;  ///< behind the last whole line
    std::size_t first_line = 1;

    std::string_view lines() const { return {bytes.get(), lines_end}; }
    std::size_t line_behind() const;
  };

  static void make_room(Block& block, std::size_t room);
  void fill(Block& block, const Block& before);
  void drop_byte_order_mark(Block& block);

  Input& input_;
  bool at_end_ = false;  ///< the block read last is the last one
  Block current_, following_;
  std::future<void> reading_;
};

/// The text in up to so many pieces of whole lines, which are about equally long; fewer where it is short.
std::vector<std::string_view> pieces_of(std::string_view text, std::size_t count);

/// Parses a block, pieces of it side by side, and takes what they give in the order of the text. parse(text, piece)
/// gives a Piece, of which `lines` must tell how many lines there were; take(lines, piece) takes it. The pieces are
/// kept from block to block with what they have allocated.
template <class Piece, class Parse, class Take>
void parse_side_by_side(Lines block, std::vector<Piece>& pieces, Parse parse, Take take) {
  const auto texts = pieces_of(block.text, processors());
  if (pieces.size() < texts.size()) pieces.resize(texts.size());
  run_side_by_side(texts.size(), [&](std::size_t k) { parse(texts[k], pieces[k]); });
  for (std::size_t k = 0; k < texts.size(); ++k) {
    take(Lines{texts[k], block.first}, pieces[k]);
    block.first += pieces[k].lines;
  }
}

}  // namespace nuv::tools
