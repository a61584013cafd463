#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace FilterCheck {

/// Builds HTML in which whatever is handed over as text or as an attribute's value stays just that.
class HtmlWriter {
 public:
  struct Attribute {
    std::string_view name;
    std::string value;
  };
  using Attributes = std::initializer_list<Attribute>;

  HtmlWriter& Open(std::string_view tag, Attributes attributes = {});
  /// Closes the element that was opened last.
  HtmlWriter& Close();
  HtmlWriter& Text(std::string_view text);
  /// The same, with what stands between backticks as code.
  HtmlWriter& TextWithCode(std::string_view text);
  HtmlWriter& Element(std::string_view tag, std::string_view text, Attributes attributes = {});
  /// Adds an element that has no end, `<meta>` for example.
  HtmlWriter& Void(std::string_view tag, Attributes attributes);
  /// Adds what is HTML already: never foreign text.
  HtmlWriter& Markup(std::string_view html);

  const std::string& Html() const noexcept { return html_; }

 private:
  HtmlWriter& Start(std::string_view tag, Attributes attributes);
  HtmlWriter& Escaped(std::string_view text);

  std::string html_;
  std::vector<std::string> open_;
};

}  // namespace FilterCheck
