// Tables of names that share a meaning.
#ifndef FENRA_TEXT_NAME_TABLE_H
#define FENRA_TEXT_NAME_TABLE_H

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <unordered_map>

namespace ostren::fenra::text {

template <typename Meaning>
struct Names {
  Meaning meaning;
  const char* names;  // with blanks between them
};

// From each name of a table to its meaning.
template <typename Meaning, size_t Size>
std::unordered_map<std::string_view, Meaning> make_name_table(const Names<Meaning> (&table)[Size]) {
  std::unordered_map<std::string_view, Meaning> meanings;
  for (const Names<Meaning>& names : table) {
    std::string_view rest = names.names;
    while (!rest.empty()) {
      const size_t end = std::min(rest.find(' '), rest.size());
      meanings.emplace(rest.substr(0, end), names.meaning);
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  return meanings;
}

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_NAME_TABLE_H
