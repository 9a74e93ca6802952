#include "cli/store.h"

#include <fcntl.h>
#include <fenra/fenra.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

#include "cli/failure.h"
#include "cli/output.h"
#include "cli/rules.h"
#include "cli/urls.h"
#include "store/layout/database.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

template <typename Open>
Store open_with(Open open, const std::string& path, const std::string& failure) {
  Store store(articledb_db_new());
  if (store == nullptr) {
    throw std::bad_alloc();
  }
  errno = 0;
  int status = articledb_db_use_journal(store.get());
  status = status != 0 ? status : open(store.get(), path.c_str());
  if (status != 0) {
    // -1: the directory cannot be made, for the reason that the system gave.
    throw Failure(failure + " '" + path + "': " + status_text(status == -1 ? errno : status));
  }
  return store;
}

bool may_write(const std::string& path) {
  return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 ||
         (errno != EACCES && errno != EROFS);
}

Store open_existing(const std::string& path) {
  return open_with(articledb_db_open, path, "cannot open the store");
}

// The embedded lexicon through a loader that wants a file.
template <typename Load>
auto load_embedded(Load load) {
  const ostren::fenra::TmpFile file(fstContent, fstContentSize);
  if (file.name() == nullptr) {
    throw Failure(std::string("cannot write the lexicon to the temporary directory '") +
                  g_get_tmp_dir() + "'; set TMPDIR to another one");
  }
  auto handle = load(file.name());
  if (handle == nullptr) {
    throw Failure("cannot load the lexicon");
  }
  return handle;
}

Store create_with_rules(const std::string& path, const std::string& rules) {
  const auto create = [&rules](ArticledbDb* db, const char* directory) {
    return articledb_db_create_with_rules(db, directory, rules.c_str());
  };
  return open_with(create, path, "cannot make the store");
}

Store make_store(const std::string& path, const std::string& rules) {
  std::error_code error;
  if (fs::exists(path, error) && rmdir(path.c_str()) != 0) {
    const std::string reason = errno == ENOTEMPTY || errno == EEXIST
                                   ? std::string("it has files, but no ") + DATABASE_FILE
                                   : std::string(std::strerror(errno));
    throw Failure("cannot make a store of '" + path + "': " + reason +
                  "; name a new or an empty directory");
  }
  return create_with_rules(path, rules);
}

// Nothing can have been indexed in a store whose making was cut short.
bool is_complete(ArticledbDb* db) {
  using ostren::fenra::store::ID_COUNTER_KEY;
  DBT key = ostren::fenra::store::input_item(ID_COUNTER_KEY, sizeof(ID_COUNTER_KEY));
  return db->iddb->exists(db->iddb, nullptr, &key, 0) != DB_NOTFOUND;
}

// Whether what begins at `at` can stand behind a pair: another pair, or letters to the end.
bool can_follow_value(const std::string& metadata, size_t at) {
  const size_t key_end = metadata.find_first_not_of("abcdefghijklmnopqrstuvwxyz", at);
  return key_end == std::string::npos || metadata.compare(key_end, 2, "=\"") == 0;
}

[[noreturn]] void fail_record(uint64_t id, const std::string& reason) {
  throw Failure("the text of article " + std::to_string(id) + " " + reason);
}

}  // namespace

bool has_database(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(fs::path(path) / DATABASE_FILE, error);
}

void require_store(const std::string& path) {
  if (has_database(path)) {
    return;
  }
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  const std::string remedy = "; make a store with: fenra index STORE PATH...";
  if (!fs::exists(status)) {
    const std::string reason =
        status.type() == fs::file_type::not_found ? "no such directory" : error.message();
    throw Failure("there is no store at '" + path + "': " + reason + remedy);
  }
  if (!fs::is_directory(status)) {
    throw Failure("'" + path + "' is not a store: it is not a directory" + remedy);
  }
  throw Failure("'" + path + "' is not a store: it has no file " + DATABASE_FILE + remedy);
}

// An instance does that.
void note_lexicon(const std::string& path) {
  const std::unique_ptr<ostren::fenra::Fenra> instance(
      ostren::fenra::Fenra::createInstance(path.c_str()));
  if (instance->error() != ostren::fenra::FENRA_NO_ERROR) {
    throw Failure("cannot open the store '" + path + "' with the lexicon");
  }
}

Store open_store(const std::string& path) {
  require_store(path);
  return may_write(path)
             ? open_existing(path)
             : open_with(articledb_db_open_read_only, path, "cannot open the store for reading");
}

Store open_or_make_store(const std::string& path, const std::string& rules) {
  const std::string wanted = rules.empty() ? kDefaultRules : rules;
  Store store;
  if (has_database(path)) {
    store = open_existing(path);
    if (!is_complete(store.get())) {
      close_store(std::move(store));
      store = create_with_rules(path, wanted);
    }
  } else {
    store = make_store(path, wanted);
  }
  const std::string own = rules_of(store.get()).name;
  if (!rules.empty() && rules != own) {
    throw Failure("the store '" + path + "' has the rules of words '" + own + "', not '" + rules +
                  "'; leave out --rules, or make a new store of its texts with: fenra rebuild "
                  "--rules " +
                  rules + " " + path + " NEW");
  }
  note_lexicon(path);
  return store;
}

void close_store(Store store) {
  ArticledbDb* db = store.release();
  const int status = articledb_db_close(db);
  if (status != 0) {
    throw Failure("cannot close the store: " + status_text(status));
  }
}

Lemmatizer load_lemmatizer() {
  return load_embedded(
      [](const char* path) { return Lemmatizer(articledb_simple_fst_lemmatizer_new(path)); });
}

Lexicon load_lexicon() {
  return load_embedded([](const char* path) {
    QorLexicon* lexicon = nullptr;
    Pelko::open_lexicon(&lexicon, path);
    return Lexicon(lexicon);
  });
}

std::string status_text(int status) {
  switch (status) {
    case STATUS_MISSING_METADATA:
      return "metadata missing";
    case STATUS_NOT_FOUND:
      return "no such record";
    case STATUS_UNKNOWN_RULES:
      return "this version of fenra does not have them; use the one that made the store";
    case STATUS_STORE_CHANGED:
      return "somebody has written to it meanwhile; try again";
    case STATUS_NOT_IN_ORDER:
      return "somebody who may write to it has to close it in order first";
    case -1:
      return "out of memory";
    default:
      return db_strerror(status);
  }
}

std::string build_refusal(const std::string& path, const std::string& otherwise) {
  std::error_code error;
  const fs::path store = path.substr(0, path.find_last_not_of('/') + 1);
  const std::string name = fs::weakly_canonical(store, error).string() + ".fenra-build";
  // A directory that a build has made, or taken over, it has removed again.
  return fs::exists(fs::symlink_status(name, error))
             ? "'" + name +
                   "' is no directory, or belongs to somebody else, or others can write to it; "
                   "remove it"
             : otherwise;
}

std::optional<std::string_view> ArticleReader::record(Lookup lookup, uint64_t id) {
  for (;;) {
    auto size = static_cast<guint32>(buffer_.size());
    const int status = lookup(db_, id, buffer_.data(), &size);
    if (status == 0) {
      return std::string_view(buffer_.data(), size);
    }
    if (status == STATUS_NOT_FOUND) {
      return std::nullopt;
    }
    if (status != STATUS_BUFFER_SMALL) {
      throw Failure("cannot read article " + std::to_string(id) + ": " + status_text(status));
    }
    buffer_.resize(size);
  }
}

std::optional<Article> ArticleReader::article(uint64_t id) {
  const std::optional<std::string_view> found = record(articledb_db_lookup_id_to_url, id);
  if (!found) {
    return std::nullopt;
  }
  const size_t end = url_end(db_, *found, id);
  Article article;
  article.url = found->substr(0, end);
  article.metadata = found->substr(std::min(end + 1, found->size()));
  return article;
}

std::optional<std::string> ArticleReader::current_text(uint64_t id) {
  if (const std::optional<std::string_view> found = record(articledb_db_lookup_id_to_txt, id)) {
    return inflate_text(id, *found);
  }
  if (record(articledb_db_lookup_id_to_url, id)) {
    fail_record(id, "is missing");
  }
  return std::nullopt;
}

std::string ArticleReader::text(uint64_t id) {
  std::optional<std::string> text = current_text(id);
  if (!text) {
    fail_record(id, "is missing");
  }
  return *std::move(text);
}

std::vector<std::pair<std::string, std::string>> metadata_pairs(const std::string& metadata) {
  std::vector<std::pair<std::string, std::string>> pairs;
  size_t start = 0;
  while (start < metadata.size()) {
    const size_t open = metadata.find("=\"", start);
    if (open == std::string::npos) {
      pairs.emplace_back("", metadata.substr(start));
      break;
    }
    size_t close = metadata.find("\";", open + 2);
    while (close != std::string::npos && !can_follow_value(metadata, close + 2)) {
      close = metadata.find("\";", close + 1);
    }
    const bool ends = close != std::string::npos;
    pairs.emplace_back(metadata.substr(start, open - start),
                       metadata.substr(open + 2, ends ? close - open - 2 : close));
    start = ends ? close + 2 : metadata.size();
  }
  return pairs;
}

std::string inflate_text(uint64_t id, std::string_view record) {
  // Deflate shrinks at most 1,032 times, so a damaged length is found before
  // memory is asked for.
  constexpr uint64_t kMostShrinking = 1032;
  guint32 length = 0;
  if (record.size() < sizeof(length)) {
    fail_record(id, "is damaged: a record of " + std::to_string(record.size()) + " bytes");
  }
  std::memcpy(&length, record.data(), sizeof(length));
  const std::string_view stream = record.substr(sizeof(length));
  if (length > stream.size() * kMostShrinking) {
    fail_record(id, "is damaged: a length of " + std::to_string(length) + " bytes");
  }
  std::string text(length, '\0');
  uLongf inflated = length;
  const int status =
      uncompress(reinterpret_cast<Bytef*>(text.data()), &inflated,
                 reinterpret_cast<const Bytef*>(stream.data()), static_cast<uLong>(stream.size()));
  if (status != Z_OK || inflated != length) {
    fail_record(id, std::string("is damaged: ") + zError(status));
  }
  return text;
}

uint64_t last_id(ArticledbDb* db) {
  guint64 id = 0;
  const int status = articledb_db_max_id(db, &id);
  if (status != 0) {
    throw Failure("cannot read the id counter: " + status_text(status));
  }
  return id;
}

bool delete_article(ArticledbDb* db, const std::string& url) {
  const int status = articledb_db_delete(db, url.data(), static_cast<guint32>(url.size()));
  if (status != 0 && status != STATUS_NOT_FOUND) {
    throw Failure("the store failed at the deletion of '" + url + "': " + status_text(status));
  }
  return status == 0;
}

uint64_t each_article(ArticledbDb* db, const Stream& stream, uint64_t limit,
                      const std::function<void(uint64_t id, const Article& article)>& take) {
  if (stream == nullptr) {
    throw Failure("the lookup in the store failed");
  }
  ArticleReader reader(db);
  uint64_t count = 0;
  int status = 1;
  void* item = nullptr;
  while (count < limit && (status = ostren_generator_next(stream.get(), &item)) == 1) {
    const uint64_t id = *static_cast<const guint64*>(item);
    const std::optional<Article> article = reader.article(id);
    if (article) {
      ++count;
      take(id, *article);
    }
  }
  if (status == 2) {
    throw Failure("the store failed while the answer was read");
  }
  return count;
}

void print_articles(ArticledbDb* db, const Stream& stream, uint64_t limit, bool count_only) {
  const uint64_t count = each_article(db, stream, limit, [=](uint64_t, const Article& article) {
    if (!count_only) {
      print_line(article.url);
    }
  });
  if (count_only) {
    print_line(std::to_string(count));
  }
}

}  // namespace cli
