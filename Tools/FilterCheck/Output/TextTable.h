#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace FilterCheck {

/// How a text is highlighted on a console.
enum class Style : std::uint8_t { Plain, Heading, Faint, Good, Caution, Bad };

/// Writes text, with escape sequences for colors if `colored` is set.
class Painter {
 public:
  Painter(std::ostream& out, bool colored) : out_(out), colored_(colored) {}

  /// Writes text in a style.
  void Write(std::string_view text, Style style = Style::Plain) const;
  /// Writes text in lines of at most 100 columns, each indented by a number of spaces.
  void WriteParagraph(const std::string& text, std::size_t indentation) const;

 private:
  std::ostream& out_;
  bool colored_;
};

/// A cell of a table.
struct TextCell {
  std::string text;
  Style style = Style::Plain;
};

/// Rows of cells, aligned in columns. A text wider than `kWidest` columns is wrapped.
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

/// Wraps text between words; a word wider than `width` columns has its own line.
std::vector<std::string> Wrapped(const std::string& text, std::size_t width);

}  // namespace FilterCheck
