#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace FilterCheck {

/// How a text stands out on a console.
enum class Style : std::uint8_t { Plain, Heading, Faint, Good, Caution, Bad };

/// Writes text, with the console's colours if they are wanted.
class Painter {
 public:
  Painter(std::ostream& out, bool colored) : out_(out), colored_(colored) {}

  void Write(std::string_view text, Style style = Style::Plain) const;
  /// Writes text word by word, each line at most 100 columns wide and with a number of blanks before it.
  void WriteParagraph(const std::string& text, std::size_t indentation) const;

 private:
  std::ostream& out_;
  bool colored_;
};

struct TextCell {
  std::string text;
  Style style = Style::Plain;
};

/// Rows of cells, aligned in columns. A text that is wider than `kWidest` goes on in the next line.
class TextTable {
 public:
  static constexpr std::size_t kWidest = 48;

  explicit TextTable(std::size_t indentation = 0) : indentation_(indentation) {}

  void AddRow(std::vector<TextCell> row) { rows_.push_back(std::move(row)); }
  void Write(const Painter& painter) const;

 private:
  std::size_t indentation_;
  std::vector<std::vector<TextCell>> rows_;
};

/// Splits text between words into lines; a word that is wider stands alone and is not cut.
std::vector<std::string> Wrapped(const std::string& text, std::size_t width);

}  // namespace FilterCheck
