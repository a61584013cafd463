#include "FilterCheck/Output/HtmlWriter.h"

namespace FilterCheck {

HtmlWriter& HtmlWriter::Void(std::string_view tag, Attributes attributes) {
  html_.append("<").append(tag);
  for (const Attribute& attribute : attributes) {
    html_.append(" ").append(attribute.name).append("=\"");
    Text(attribute.value);
    html_.append("\"");
  }
  html_.append(">");
  return *this;
}

HtmlWriter& HtmlWriter::Text(std::string_view text) {
  for (const char unit : text) {
    switch (unit) {
      case '&':
        html_ += "&amp;";
        break;
      case '<':
        html_ += "&lt;";
        break;
      case '>':
        html_ += "&gt;";
        break;
      case '"':
        html_ += "&quot;";
        break;
      case '\'':
        html_ += "&#39;";
        break;
      default:
        html_ += unit;
    }
  }
  return *this;
}

HtmlWriter& HtmlWriter::Open(std::string_view tag, Attributes attributes) {
  open_.emplace_back(tag);
  return Void(tag, attributes);
}

HtmlWriter& HtmlWriter::Close() {
  html_.append("</").append(open_.back()).append(">");
  open_.pop_back();
  return *this;
}

HtmlWriter& HtmlWriter::TextWithCode(std::string_view text) {
  for (;;) {
    const std::size_t start = text.find('`');
    const std::size_t end = start == std::string_view::npos ? start : text.find('`', start + 1);
    if (end == std::string_view::npos) return Text(text);
    Text(text.substr(0, start));
    Element("code", text.substr(start + 1, end - start - 1));
    text.remove_prefix(end + 1);
  }
}

HtmlWriter& HtmlWriter::Element(std::string_view tag, std::string_view text, Attributes attributes) {
  return Open(tag, attributes).Text(text).Close();
}

HtmlWriter& HtmlWriter::Markup(std::string_view html) {
  html_ += html;
  return *this;
}

}  // namespace FilterCheck
