#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "articles/urls.h"
#include "cli/article_json.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/store.h"

namespace cli {
namespace {

using ostren::fenra::articles::shown_id;
using ostren::fenra::articles::spellings;

struct ShowOptions {
  std::string store;
  std::string url;
  bool json = false;
};

struct StoredArticle {
  uint64_t id = 0;
  Article article;
};

// The article that a URL shows, in this spelling.
std::optional<StoredArticle> find_article(ArticledbDb* db, ArticleReader& reader,
                                          const std::string& url) {
  // Others may replace it meanwhile.
  while (const std::optional<uint64_t> id = shown_id(db, url)) {
    if (std::optional<Article> article = reader.article(*id)) {
      return StoredArticle{*id, *article};
    }
  }
  return std::nullopt;
}

// The newest article of a URL in any spelling.
std::optional<StoredArticle> find_newest(ArticledbDb* db, ArticleReader& reader,
                                         const std::string& url) {
  std::optional<StoredArticle> found;
  for (const std::string& spelling : spellings(url)) {
    std::optional<StoredArticle> other = find_article(db, reader, spelling);
    if (other && (!found || found->id < other->id)) {
      found = std::move(other);
    }
  }
  return found;
}

std::string metadata_lines(const std::string& metadata) {
  std::string lines;
  for (const auto& [key, value] : metadata_pairs(metadata)) {
    lines += (key.empty() ? value : key + ": " + value) + "\n";
  }
  return lines;
}

void show(const ShowOptions& options) {
  const Store store = open_store(options.store);
  ArticleReader reader(store.get());
  const std::optional<StoredArticle> found = find_newest(store.get(), reader, options.url);
  if (!found) {
    throw Failure("there is no article '" + options.url + "' in '" + options.store + "'");
  }
  if (options.json) {
    const std::string text = reader.text(found->id);
    print_line(whole_article_json(found->id, found->article, text).line());
    return;
  }
  print_line("url: " + found->article.url);
  print_line("id: " + std::to_string(found->id));
  print_line(metadata_lines(found->article.metadata));
  print_line(reader.text(found->id));
}

}  // namespace

void add_show_command(const Command& program) {
  auto options = std::make_shared<ShowOptions>();
  const Command command =
      program.add_command("show", "Print an article: its metadata and its text");
  command.add_text("STORE", options->store, "Store directory").required();
  command.add_text("URL", options->url, "The article's URL").required();
  command.add_flag("--json", options->json,
                   "Print one JSON object: id, url, title, date, source, mime, lang, metadata (all "
                   "others, an object) and text");
  command.set_footer(
      "Example:\n"
      "  fenra show articles.store https://example.eus/1.html");
  command.set_action([options] { show(*options); });
}

}  // namespace cli
