#pragma once

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "KuvAuth/ServiceClient/SignedRequest.h"

// The random inputs and the results of Python's library for them (make_corpus.py).
namespace KuvTest {

/// The fields of one case; the last one is the result.
using CorpusFields = std::vector<std::string>;

inline std::string FromHex(const std::string& hex) {
  std::string bytes;
  for (std::size_t i = 0; hex != "-" && i < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

/// Returns the cases of one kind. Throws `std::runtime_error` if the file cannot be opened.
inline std::vector<CorpusFields> ReadCorpus(const char* path, const std::string& kind) {
  std::ifstream file{path};
  if (!file.is_open()) throw std::runtime_error{path};
  std::vector<CorpusFields> cases;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words{line};
    std::string word;
    words >> word;
    if (word != kind) continue;
    cases.emplace_back();
    while (words >> word) cases.back().push_back(FromHex(word));
  }
  return cases;
}

/// The parameters of a case of the kind "parameters".
struct CorpusParameters {
  explicit CorpusParameters(const CorpusFields& fields) {
    std::string name;
    for (std::size_t i = 0; i + 1 < fields.size(); ++i) {
      const std::string content = fields[i].substr(1);
      if (fields[i][0] == 'n') name = content;
      if (fields[i][0] == 'm') masked.insert(content);
      if (fields[i][0] == 'v') list[name] = Units(content);
    }
  }

  Kuv::Util::ParameterList list;
  Kuv::Util::MaskedNameSet masked;

 private:
  static std::wstring Units(const std::string& bytes) {
    std::wstring units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
      units += static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) |
                                    static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return units;
  }
};

}  // namespace KuvTest
