#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "cli/article_json.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/store.h"
#include "cli/urls.h"

namespace cli {
namespace {

struct ShowOptions {
  std::string store;
  std::string url;
  bool json = false;
};

struct StoredArticle {
  uint64_t id = 0;
  Article article;
};

// The article that is stored under a URL. Usually two reads; but the URL index keeps
// the ids of replaced articles, and of a URL that was indexed more than once its first
// id is rarely that of the article. Then the URL records are walked from the latest
// one down: in the worst case one read for every id that was ever handed out, some
// seconds for a million.
std::optional<StoredArticle> find_article(ArticledbDb* db, ArticleReader& reader,
                                          const std::string& url) {
  const std::optional<uint64_t> first = first_id_of_url(db, url);
  if (!first) {
    return std::nullopt;
  }
  if (std::optional<Article> article = reader.article(*first)) {
    return StoredArticle{*first, *article};
  }
  guint64 id = 0;
  const int status = articledb_db_max_id(db, &id);
  if (status != 0) {
    throw Failure("cannot read the id counter: " + status_text(status));
  }
  for (; id > 0; --id) {
    const std::optional<Article> article = reader.article(id);
    if (article && article->url == url) {
      return StoredArticle{id, *article};
    }
  }
  return std::nullopt;
}

// The newest article of a URL, which the program stores with its '|' escaped and the
// library as it comes.
std::optional<StoredArticle> find_newest(ArticledbDb* db, ArticleReader& reader,
                                         const std::string& url) {
  std::optional<StoredArticle> found = find_article(db, reader, url);
  const std::string escaped = escape_bars(url);
  if (escaped != url) {
    std::optional<StoredArticle> other = find_article(db, reader, escaped);
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
