#include "FilterCheck/Output/TextTable.h"

#include <algorithm>
#include <ostream>
#include <sstream>

#include "Common/PlainText.h"

namespace FilterCheck {

namespace {

using Tools::TextWidth;

constexpr std::size_t kLineWidth = 100;
constexpr std::size_t kGap = 2;

std::string_view ColorOf(Style style) noexcept {
  constexpr std::string_view kColors[] = {"", "\x1B[1m", "\x1B[2m", "\x1B[32m", "\x1B[33m", "\x1B[31m"};
  return kColors[static_cast<std::size_t>(style)];
}

// The cells of a row, each as lines.
using Lines = std::vector<std::vector<std::string>>;

Lines LinesOf(const std::vector<TextCell>& row) {
  Lines lines;
  for (const TextCell& cell : row) lines.push_back(Wrapped(cell.text, TextTable::kWidest));
  return lines;
}

void Widen(std::vector<std::size_t>& widths, const Lines& lines) {
  widths.resize(std::max(widths.size(), lines.size()));
  for (std::size_t column = 0; column < lines.size(); ++column) {
    for (const std::string& line : lines[column]) widths[column] = std::max(widths[column], TextWidth(line));
  }
}

void WriteRow(const std::vector<TextCell>& row, const Lines& lines, const std::vector<std::size_t>& widths,
              std::size_t indentation, const Painter& painter) {
  std::size_t height = 0;
  for (const auto& cell : lines) height = std::max(height, cell.size());
  for (std::size_t line = 0; line < height; ++line) {
    // Spaces are written only before text, so that no line ends in spaces.
    std::size_t spaces = indentation;
    for (std::size_t column = 0; column < row.size(); ++column) {
      const std::string text = line < lines[column].size() ? lines[column][line] : std::string{};
      if (!text.empty()) {
        painter.Write(std::string(spaces, ' '));
        painter.Write(text, row[column].style);
        spaces = 0;
      }
      spaces += widths[column] - TextWidth(text) + kGap;
    }
    painter.Write("\n");
  }
}

}  // namespace

void Painter::Write(std::string_view text, Style style) const {
  const std::string_view color = colored_ ? ColorOf(style) : std::string_view{};
  out_ << color << text;
  if (!color.empty()) out_ << "\x1B[0m";
}

void Painter::WriteParagraph(const std::string& text, std::size_t indentation) const {
  for (const std::string& line : Wrapped(text, kLineWidth - indentation)) {
    Write(std::string(indentation, ' ') + line + "\n");
  }
}

void TextTable::Write(const Painter& painter) const {
  std::vector<Lines> lines;
  std::vector<std::size_t> widths;
  for (const auto& row : rows_) {
    lines.push_back(LinesOf(row));
    Widen(widths, lines.back());
  }
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    WriteRow(rows_[row], lines[row], widths, indentation_, painter);
  }
}

std::vector<std::string> Wrapped(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  std::istringstream words{text};
  for (std::string word; words >> word;) {
    if (!lines.empty() && TextWidth(lines.back()) + 1 + TextWidth(word) <= width) {
      lines.back().append(" ").append(word);
    } else {
      lines.push_back(word);
    }
  }
  return lines;
}

}  // namespace FilterCheck
