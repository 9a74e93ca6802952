#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/store.h"

namespace cli {
namespace {

struct ShowOptions {
  std::string store;
  std::string url;
};

void close_cursor(DBC* cursor) { cursor->close(cursor); }

using DatabaseCursor = std::unique_ptr<DBC, Releaser<close_cursor>>;

// The ids that were ever given to a URL. The library's own search of a URL gives
// only the first of them in byte order, which a replaced article may hold. So
// the URL index is read here, through the handle that the store publishes: one
// descent and one read for each time the URL was indexed, however large the
// store is.
std::vector<uint64_t> ids_of_url(ArticledbDb* db, std::string url) {
  DBC* handle = nullptr;
  int status = db->urlidx->cursor(db->urlidx, nullptr, &handle, 0);
  const DatabaseCursor cursor(handle);
  DBT key = {};
  key.data = url.data();
  key.size = static_cast<u_int32_t>(url.size());
  uint64_t id = 0;
  DBT data = {};
  data.data = &id;
  data.ulen = sizeof(id);
  data.flags = DB_DBT_USERMEM;

  std::vector<uint64_t> ids;
  if (status == 0) {
    status = cursor->get(cursor.get(), &key, &data, DB_SET);
  }
  while (status == 0) {
    ids.push_back(id);
    status = cursor->get(cursor.get(), &key, &data, DB_NEXT_DUP);
  }
  if (status != DB_NOTFOUND) {
    throw Failure("cannot read the URL index: " + status_text(status));
  }
  return ids;
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
  std::vector<uint64_t> ids = ids_of_url(store.get(), options.url);
  // Ids grow, so the article that is still there is the latest one.
  std::sort(ids.rbegin(), ids.rend());
  for (const uint64_t id : ids) {
    const std::optional<Article> article = reader.article(id);
    if (article) {
      print_line("url: " + options.url);
      print_line("id: " + std::to_string(id));
      print_line(metadata_lines(article->metadata));
      print_line(reader.text(id));
      return;
    }
  }
  throw Failure("there is no article '" + options.url + "' in '" + options.store + "'");
}

}  // namespace

void add_show_command(CLI::App& app) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App* command = app.add_subcommand("show", "Print an article: its metadata and its text");
  add_text(*command, "STORE", options->store, "Store directory")->required();
  add_text(*command, "URL", options->url, "The article's URL")->required();
  command->footer(
      "Example:\n"
      "  fenra show articles.store https://example.eus/1.html");
  command->callback([options] { show(*options); });
}

}  // namespace cli
