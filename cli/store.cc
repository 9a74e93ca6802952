#include "cli/store.h"

#include <fcntl.h>
#include <fenra/fenra.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "articles/opening.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/rules.h"
#include "facade/lexicon_loading.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

bool may_write(const std::string& path) {
  return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 ||
         (errno != EACCES && errno != EROFS);
}

}  // namespace

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
  return may_write(path) ? ostren::fenra::articles::open_existing(path)
                         : ostren::fenra::articles::open_read_only(path);
}

Store open_databases(const std::string& path) {
  require_store(path);
  return ostren::fenra::articles::open_databases(path);
}

Store open_or_make_store(const std::string& path, const std::string& rules) {
  Store store = ostren::fenra::articles::open_or_make(path, rules.empty() ? kDefaultRules : rules);
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

Lemmatizer load_lemmatizer() {
  return ostren::fenra::load_embedded(
      [](const char* path) { return Lemmatizer(articledb_simple_fst_lemmatizer_new(path)); });
}

Lexicon load_lexicon() {
  return ostren::fenra::load_embedded([](const char* path) {
    QorLexicon* lexicon = nullptr;
    Pelko::open_lexicon(&lexicon, path);
    return Lexicon(lexicon);
  });
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

uint64_t last_id(ArticledbDb* db) {
  guint64 id = 0;
  const int status = articledb_db_max_id(db, &id);
  if (status != 0) {
    throw Failure("cannot read the id counter: " + status_text(status));
  }
  return id;
}

}  // namespace cli
