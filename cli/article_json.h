// An article in JSON, the same in the answers of every command.
#ifndef FENRA_CLI_ARTICLE_JSON_H
#define FENRA_CLI_ARTICLE_JSON_H

#include <cstdint>
#include <string_view>

#include "cli/json.h"
#include "cli/store.h"

namespace cli {

// Members id, url, title, date and source, to which a command can add its own. The title is that
// of articles/title.h. Date and source are empty when the article has none.
JsonObject article_json(uint64_t id, const Article& article, std::string_view text);

// With mime, lang, metadata (an object of all further pairs; of several with one key the first)
// and text.
JsonObject whole_article_json(uint64_t id, const Article& article, std::string_view text);

}  // namespace cli

#endif  // FENRA_CLI_ARTICLE_JSON_H
