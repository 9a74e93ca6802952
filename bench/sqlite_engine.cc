// SQLite FTS5, in WAL mode with synchronous=FULL. It has no Basque stemmer, so its
// column of words gets the words' Snowball stems.
//   apart    the full-text table has no content of its own; URLs and texts are in two
//            ordinary tables
//   dated    the same, with date and source, and for words in a row the texts themselves in
//            another full-text table without content
//   stored   URL, stems and text are columns of the full-text table
#include <libstemmer.h>
#include <sqlite3.h>

#include <cctype>
#include <stdexcept>

#include "bench/engine.h"

namespace bench {
namespace {

constexpr size_t kBuildingCacheMb = 256;

class Stemmer {
 public:
  // The lower-case stem; valid until the next call.
  std::string stem(const std::string& word) {
    const sb_symbol* stem =
        sb_stemmer_stem(stemmer_.get(), reinterpret_cast<const sb_symbol*>(word.data()),
                        static_cast<int>(word.size()));
    return {reinterpret_cast<const char*>(stem),
            static_cast<size_t>(sb_stemmer_length(stemmer_.get()))};
  }

  // The stems of a text's words, separated by spaces.
  std::string stems(const std::string& text) {
    std::string result;
    std::string word;
    for (size_t i = 0; i <= text.size(); ++i) {
      const auto byte = static_cast<unsigned char>(i < text.size() ? text[i] : ' ');
      if (byte >= 0x80 || std::isalnum(byte) != 0) {
        word += static_cast<char>(std::tolower(byte));
      } else if (!word.empty()) {
        result += stem(word) + ' ';
        word.clear();
      }
    }
    return result;
  }

 private:
  std::unique_ptr<sb_stemmer, void (*)(sb_stemmer*)> stemmer_{sb_stemmer_new("basque", "UTF_8"),
                                                              sb_stemmer_delete};
};

class Statement {
 public:
  Statement(sqlite3* database, const std::string& sql) : database_(database) {
    if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sql + ": " + sqlite3_errmsg(database));
    }
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // `value` outlives the run.
  void bind(int parameter, const std::string& value) {
    sqlite3_bind_text(statement_, parameter, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
  }
  void bind(int parameter, sqlite3_int64 value) {
    sqlite3_bind_int64(statement_, parameter, value);
  }

  bool next_row() {
    const int status = sqlite3_step(statement_);
    if (status != SQLITE_ROW && status != SQLITE_DONE) {
      throw std::runtime_error(sqlite3_errmsg(database_));
    }
    return status == SQLITE_ROW;
  }
  void run() {
    while (next_row()) {
    }
    sqlite3_reset(statement_);
  }
  const char* text() { return reinterpret_cast<const char*>(sqlite3_column_text(statement_, 0)); }
  size_t size() { return static_cast<size_t>(sqlite3_column_bytes(statement_, 0)); }
  void reset() { sqlite3_reset(statement_); }

 private:
  sqlite3* database_;
  sqlite3_stmt* statement_ = nullptr;
};

class SqliteEngine : public Engine {
 public:
  SqliteEngine(const std::string& variant, const std::string& store, Access access, size_t cache_mb)
      : dated_(variant == "dated"), apart_(dated_ || variant == "apart") {
    if (!apart_ && variant != "stored") {
      throw std::runtime_error("unknown variant " + variant);
    }
    sqlite3* opened = nullptr;
    const int status = sqlite3_open(store.c_str(), &opened);
    database_.reset(opened);
    if (status != SQLITE_OK) {
      throw std::runtime_error("cannot open " + store);
    }
    run("PRAGMA journal_mode=WAL");
    run("PRAGMA synchronous=FULL");
    const size_t cache = cache_mb == 0 && access == Access::BUILD ? kBuildingCacheMb : cache_mb;
    if (cache != 0) {
      run("PRAGMA cache_size=-" + std::to_string(cache * 1024));
    }
    if (access == Access::BUILD || access == Access::GROW) {
      create();
    }
    if (access != Access::BUILD) {
      search_ = apart_ ? search_in("words")
                       : statement("SELECT url FROM words WHERE words MATCH ? ORDER BY rowid");
    }
    if (access != Access::BUILD && dated_) {
      search_rows_ = search_in("forms");
      search_dated_ = search_in("words", "AND date BETWEEN ? AND ? AND source = ?");
    }
    if (access != Access::READ) {
      prepare_writing();
    }
  }

  void add(const Article& article) override {
    if (!in_transaction_) {
      begin_->run();
      in_transaction_ = true;
    }
    const std::string stems = stemmer_.stems(article.text);
    insert_article_->bind(1, article.url);
    if (dated_) {
      insert_article_->bind(2, article.date);
      insert_article_->bind(3, article.source);
    }
    if (!apart_) {
      insert_article_->bind(2, stems);
      insert_article_->bind(3, article.text);
      insert_article_->run();
      return;
    }
    insert_article_->run();
    const sqlite3_int64 id = sqlite3_last_insert_rowid(database_.get());
    insert_text_->bind(1, id);
    insert_text_->bind(2, article.text);
    insert_text_->run();
    insert_words_->bind(1, id);
    insert_words_->bind(2, stems);
    insert_words_->run();
    if (dated_) {
      insert_forms_->bind(1, id);
      insert_forms_->bind(2, article.text);
      insert_forms_->run();
    }
  }

  void commit() override {
    end_->run();
    in_transaction_ = false;
  }

  void search(const Query& query, const Visit& visit) override {
    std::string stems;  // strings side by side: all of them
    for (const std::string& word : query.words) {
      stems += '"' + stemmer_.stem(word) + "\" ";
    }
    const bool dated = !query.first_date.empty();
    Statement& search = *(query.in_a_row ? search_rows_ : dated ? search_dated_ : search_);
    search.bind(1, query.in_a_row ? query.line : stems);
    if (dated) {
      search.bind(2, query.first_date);
      search.bind(3, query.last_date);
      search.bind(4, query.source);
    }
    for (size_t left = query.most_answers; left > 0 && search.next_row(); --left) {
      visit(search.text(), search.size());
    }
    search.reset();
  }

 private:
  using Prepared = std::unique_ptr<Statement>;

  Prepared statement(const std::string& sql) {
    return std::make_unique<Statement>(database_.get(), sql);
  }
  void run(const std::string& sql) { statement(sql)->run(); }

  Prepared search_in(const std::string& table, const std::string& condition = "") {
    return statement("SELECT url FROM " + table + " JOIN articles ON id = " + table +
                     ".rowid WHERE " + table + " MATCH ? " + condition + " ORDER BY " + table +
                     ".rowid");
  }

  void create() {
    if (apart_) {
      run("CREATE TABLE articles(id INTEGER PRIMARY KEY, url TEXT UNIQUE" +
          std::string(dated_ ? ", date TEXT, source TEXT)" : ")"));
      run("CREATE TABLE texts(id INTEGER PRIMARY KEY, text TEXT)");
      run("CREATE VIRTUAL TABLE words USING fts5(stems, content='', tokenize='ascii')");
      if (dated_) {
        run("CREATE VIRTUAL TABLE forms USING fts5(text, content='', tokenize='ascii')");
      }
    } else {
      run("CREATE VIRTUAL TABLE words USING "
          "fts5(url UNINDEXED, stems, text UNINDEXED, tokenize='ascii')");
    }
  }

  void prepare_writing() {
    begin_ = statement("BEGIN IMMEDIATE");
    end_ = statement("COMMIT");
    if (apart_) {
      insert_article_ = statement(dated_ ? "INSERT INTO articles(url, date, source) VALUES(?, ?, ?)"
                                         : "INSERT INTO articles(url) VALUES(?)");
      insert_text_ = statement("INSERT INTO texts VALUES(?, ?)");
      insert_words_ = statement("INSERT INTO words(rowid, stems) VALUES(?, ?)");
      if (dated_) {
        insert_forms_ = statement("INSERT INTO forms(rowid, text) VALUES(?, ?)");
      }
    } else {
      insert_article_ = statement("INSERT INTO words VALUES(?, ?, ?)");
    }
  }

  const bool dated_;
  const bool apart_;
  bool in_transaction_ = false;
  Stemmer stemmer_;
  std::unique_ptr<sqlite3, int (*)(sqlite3*)> database_{nullptr, sqlite3_close};
  // Finalized before the database is closed.
  Prepared begin_, end_, insert_article_, insert_text_, insert_words_, insert_forms_;
  Prepared search_, search_rows_, search_dated_;
};

}  // namespace

std::unique_ptr<Engine> open_engine(const std::string& variant, const std::string& store,
                                    Access access, size_t cache_mb) {
  return std::make_unique<SqliteEngine>(variant, store, access, cache_mb);
}

}  // namespace bench
