#include "cli/article_json.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "articles/title.h"
#include "text/utf8.h"

namespace cli {
namespace {

using ostren::fenra::articles::title_of;
using ostren::fenra::text::repaired_utf8;

// The members that have their place in the object.
constexpr const char* kNamedKeys[] = {"date", "source", "mime", "lang"};

JsonObject further_pairs(const MetadataPairs& pairs) {
  std::set<std::string> taken(std::begin(kNamedKeys), std::end(kNamedKeys));
  JsonObject object;
  for (const auto& [key, value] : pairs) {
    if (taken.insert(repaired_utf8(key)).second) {
      object.add_text(key, value);
    }
  }
  return object;
}

}  // namespace

JsonObject article_json(uint64_t id, const Article& article, std::string_view text) {
  const MetadataPairs pairs = metadata_pairs(article.metadata);
  JsonObject object;
  object.add_number("id", id)
      .add_text("url", article.url)
      .add_text("title", title_of(text))
      .add_text("date", value_of(pairs, "date"))
      .add_text("source", value_of(pairs, "source"));
  return object;
}

JsonObject whole_article_json(uint64_t id, const Article& article, std::string_view text) {
  const MetadataPairs pairs = metadata_pairs(article.metadata);
  return article_json(id, article, text)
      .add_text("mime", value_of(pairs, "mime"))
      .add_text("lang", value_of(pairs, "lang"))
      .add_object("metadata", further_pairs(pairs))
      .add_text("text", text);
}

}  // namespace cli
