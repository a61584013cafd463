#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace FilterCheck {

/// Returns the text as a string, for attribute values.
inline std::string Owned(std::string_view text) {
  return std::string{text};
}

/// Builds HTML and escapes all text and attribute values.
class HtmlWriter {
 public:
  struct Attribute {
    std::string_view name;
    std::string value;
  };
  using Attributes = std::initializer_list<Attribute>;

  /// Opens an element.
  HtmlWriter& Open(std::string_view tag, Attributes attributes = {});
  /// Closes the element that was opened last.
  HtmlWriter& Close();
  /// Adds text.
  HtmlWriter& Text(std::string_view text);
  /// Adds text and formats the parts between backticks as code.
  HtmlWriter& TextWithCode(std::string_view text);
  /// Adds an element that contains only text.
  HtmlWriter& Element(std::string_view tag, std::string_view text, Attributes attributes = {});
  /// Adds an element without an end tag, for example `<meta>`.
  HtmlWriter& Void(std::string_view tag, Attributes attributes);
  /// Adds HTML without escaping it. Do not pass untrusted text.
  HtmlWriter& Markup(std::string_view html);

  /// Returns the HTML built so far.
  const std::string& Html() const noexcept { return html_; }

 private:
  std::string html_;
  std::vector<std::string> open_;
};

}  // namespace FilterCheck
