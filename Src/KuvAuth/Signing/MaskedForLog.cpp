#include "KuvAuth/Signing/MaskedForLog.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>

#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/Signing/ContentTypes.h"
#include "KuvAuth/Signing/FieldRules.h"
#include "KuvAuth/Signing/SizeSum.h"

namespace Kuv::Signing {

namespace {

constexpr std::string_view kMask = "#####";
// The characters that separate the parts of an address.
constexpr std::string_view kSeparators = "/?;#&";

bool IsSeparator(char character) noexcept {
  return kSeparators.find(character) != std::string_view::npos;
}

int HexValue(char digit) noexcept {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

// Replaces each "%" with two digits after it by the byte. Other characters stay.
std::string PercentDecode(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool complete = text[i] == '%' && text.size() - i > 2;
    const int high = complete ? HexValue(text[i + 1]) : -1;
    const int low = complete ? HexValue(text[i + 2]) : -1;
    if (high < 0 || low < 0) {
      decoded += text[i];
    } else {
      decoded += static_cast<char>(16 * high + low);
      i += 2;
    }
  }
  return decoded;
}

// Names to mask, each as it is and decoded.
class MaskedNames {
 public:
  explicit MaskedNames(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      names_.insert(name);
      names_.insert(PercentDecode(name));
    }
  }

  // Also finds a name that is encoded once more, as in the encoded text of a parameter whose name is encoded.
  bool Contains(std::string_view name) const {
    if (name.empty()) return false;
    const std::string once = PercentDecode(name);
    return names_.contains(name) || names_.contains(once) || names_.contains(PercentDecode(once));
  }
  // Also finds a name that contains separators and is not encoded, at the end of a text.
  bool IsAtEndOf(std::string_view text) const {
    return std::any_of(names_.begin(), names_.end(), [text](const std::string& name) {
      if (name.find_first_of(kSeparators) == std::string::npos || !text.ends_with(name)) return false;
      const std::string_view before = text.substr(0, text.size() - name.size());
      return before.empty() || before.ends_with('=') || IsSeparator(before.back());
    });
  }
  bool ContainsEmpty() const { return names_.contains(std::string_view{}); }

 private:
  std::set<std::string, std::less<>> names_;
};

// Returns the position after "NAME=" for the first masked name in a text, or nothing. A name starts at the
// start of the text or after a separator. It can contain "=" itself, and separators if it is not encoded.
std::optional<std::size_t> FindMasked(std::string_view text, const MaskedNames& names) {
  std::size_t part = 0;
  std::size_t word = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '=') {
      if (names.Contains(text.substr(word, i - word)) || names.Contains(text.substr(part, i - part)) ||
          names.IsAtEndOf(text.substr(0, i)))
        return i + 1;
      word = i + 1;
    } else if (IsSeparator(text[i])) {
      part = word = i + 1;
    }
  }
  return std::nullopt;
}

// Returns how much of a pair can be shown if the rest must be masked. A value can contain the text of other
// parameters, encoded once more; it is masked as a whole if one of them is.
std::optional<std::size_t> FindMaskedInPair(std::string_view pair, const MaskedNames& names) {
  if (pair.starts_with('=') && names.ContainsEmpty()) return 1;
  if (const auto position = FindMasked(pair, names)) return position;
  const std::size_t equals = pair.find('=');
  const std::size_t start = equals == std::string_view::npos ? 0 : equals + 1;
  constexpr int kLevels = 3;
  std::string value{pair.substr(start)};
  for (int level = 0; level < kLevels; ++level) {
    value = PercentDecode(value);
    if (FindMasked(value, names)) return start;
  }
  return std::nullopt;
}

// Masks values in a target or in parameters. A masked value ends at the next "&" only, so that no part of it
// is shown if it is not encoded.
std::string MaskText(std::string_view text, const MaskedNames& names) {
  std::string masked;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find('&', start), text.size());
    const std::string_view pair = text.substr(start, end - start);
    const std::optional<std::size_t> shown = FindMaskedInPair(pair, names);
    if (start != 0) masked += '&';
    masked.append(pair.substr(0, shown.value_or(pair.size())));
    if (shown) masked.append(kMask);
    start = end + 1;
  }
  return masked;
}

// Escapes what is not visible ASCII.
std::string Visible(std::string_view text) {
  std::string visible;
  for (const char& character : text) {
    if (character > 0x20 && character < 0x7F) {
      visible += character;
    } else {
      visible += Util::PercentEncode(&character, 1);
    }
  }
  return visible;
}

std::string DescribeBody(std::size_t size) {
  return " (body of " + std::to_string(size) + " bytes)";
}

constexpr char kTooLarge[] = "(request that is too large for a log)";

}  // namespace

std::string MaskedForLog(const Request& request, const std::vector<std::string>& names) {
  if (IsTooLarge(request)) return kTooLarge;
  const MaskedNames masked{names};
  std::string line = Visible(request.method) + " " + Visible(MaskText(request.path, masked));
  if (const auto* const json = std::get_if<JsonBody>(&request.content))
    line += DescribeBody(json->text.size());
  if (const auto* const parameters = std::get_if<Util::ParameterList>(&request.content)) {
    if (parameters->empty()) return line;
    line += HasNoBody(request.method) ? '?' : ' ';
    line += MaskText(Util::BuildParameterString(*parameters, {}), masked);
  }
  return line;
}

std::string MaskedForLog(const SignedRequest& request, const std::vector<std::string>& names) {
  SizeSum sum;
  for (const std::string* text : {&request.method, &request.target, &request.body}) sum.Add(text->size());
  if (sum.IsTooLarge()) return kTooLarge;
  const MaskedNames masked{names};
  std::string line = Visible(request.method) + " " + Visible(MaskText(request.target, masked));
  if (request.body.empty()) return line;
  // Only parameters can be masked by name.
  if (request.contentType == kParameterType) return line + " " + Visible(MaskText(request.body, masked));
  return line + DescribeBody(request.body.size());
}

}  // namespace Kuv::Signing
