#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "articles/pairs.h"
#include "articles/urls.h"
#include "cli/failure.h"
#include "cli/handles.h"
#include "cli/rules.h"
#include "cli/store.h"
#include "cli/store_check.h"

namespace cli {
namespace {

using ostren::fenra::articles::indexed_url_end;
using ostren::fenra::articles::url_ends;

using ostren::fenra::articles::has_pair;
using ostren::fenra::articles::has_posting;

using Ids = std::vector<uint64_t>;  // sorted

bool contains(const Ids& ids, uint64_t id) {
  return std::binary_search(ids.begin(), ids.end(), id);
}

// ---- walking a database ----

void close_cursor(ArticledbCursor* cursor) { articledb_cursor_close(cursor); }

// The pairs of a whole database, one after the other.
class Walk {
 public:
  using Open = int (*)(ArticledbDb*, ArticledbCursor**);

  Walk(ArticledbDb* db, Open open, const char* name) : name_(name) {
    ArticledbCursor* cursor = nullptr;
    require(open(db, &cursor), 0);
    cursor_.reset(cursor);
  }

  bool next() {
    ArticledbBuffer key = {};
    ArticledbBuffer data = {};
    int status = DB_BUFFER_SMALL;
    while (status == DB_BUFFER_SMALL) {
      key_.resize(std::max<size_t>(key_.size(), key.length));
      data_.resize(std::max<size_t>(data_.size(), data.length));
      key.data = key_.data();
      key.capacity = static_cast<guint32>(key_.size());
      data.data = data_.data();
      data.capacity = static_cast<guint32>(data_.size());
      status = articledb_cursor_next_key_and_data(cursor_.get(), &key, &data);
    }
    if (status == CURSOR_END) {
      return false;
    }
    require(status, CURSOR_OK);
    key_length_ = key.length;
    data_length_ = data.length;
    return true;
  }

  std::string_view key() const { return {key_.data(), key_length_}; }
  std::string_view data() const { return {data_.data(), data_length_}; }

 private:
  void require(int status, int wanted) const {
    if (status != wanted) {
      throw Failure(std::string("cannot read ") + name_ + ": " + status_text(status));
    }
  }

  const char* const name_;
  std::unique_ptr<ArticledbCursor, Releaser<close_cursor>> cursor_;
  std::vector<char> key_ = std::vector<char>(1024);
  std::vector<char> data_ = std::vector<char>(1024);
  size_t key_length_ = 0;
  size_t data_length_ = 0;
};

// ---- the order of one article's writes ----

// An article is written posting by posting, and recovery brings back the first so many
// of its writes. So of one whose indexing was cut short the last ones are missing;
// a gap before a posting that is there is damage.
class WriteOrder {
 public:
  // `own`: no other article can have written it.
  void wrote(bool found, bool own) {
    ++expected_;
    if (!found) {
      ++missing_;
    } else if (own && missing_ != 0) {
      gap_ = true;
    }
  }

  uint64_t expected() const { return expected_; }
  uint64_t missing() const { return missing_; }
  bool gap() const { return gap_; }

 private:
  uint64_t expected_ = 0;
  uint64_t missing_ = 0;
  bool gap_ = false;
};

class Check {
 public:
  Check(ArticledbDb* db, bool deep, StatusLine& line, CheckResult& result)
      : db_(db), deep_(deep), line_(line), result_(result), last_id_(last_id(db)), reader_(db) {
    if (deep) {
      rules_ = &rules_of(db);
      lemmatizer_ = load_lemmatizer();
    }
  }

  void run() {
    read_urls();
    read_texts();
    for (const uint64_t id : live_) {
      check_article(id);
      ++result_.articles;
      line_.show([this](int columns) {
        return progress_line(result_.articles, live_.size(), watch_.seconds(), columns);
      });
    }
    const uint64_t posted = walk_postings(articledb_db_get_forms, "formdb", true) +
                            walk_postings(articledb_db_get_trigrams, "trigramdb", true);
    walk_postings(articledb_db_get_sources, "sourcedb", false);
    walk_postings(articledb_db_get_dates, "datedb", false);
    if (deep_) {
      result_.unexpected = posted - found_;
    }
    for (const uint64_t id : textless_) {
      // The text is written before the postings.
      if (posted_textless_.count(id) != 0) {
        result_.problems.add(name(id) + " has postings and no text");
      } else {
        result_.leftovers.add(name(id) + " has no text: its indexing was cut short");
      }
    }
  }

 private:
  static std::string name(uint64_t id) { return "article " + std::to_string(id); }

  // ---- the records by id ----

  // The id under which a record is stored.
  bool is_id(std::string_view bytes, const char* database, uint64_t* id) {
    if (bytes.size() == sizeof(*id)) {
      std::memcpy(id, bytes.data(), sizeof(*id));
      if (*id != 0 && *id <= last_id_) {
        return true;
      }
      result_.problems.add(std::string(database) + ": id " + std::to_string(*id) +
                           " was never handed out; the last one is " + std::to_string(last_id_));
      return false;
    }
    result_.problems.add(std::string(database) + ": an id of " + std::to_string(bytes.size()) +
                         " bytes");
    return false;
  }

  void read_urls() {
    uint64_t id = 0;
    for (Walk walk(db_, articledb_db_get_urls, "urldb"); walk.next();) {
      if (is_id(walk.key(), "urldb", &id)) {
        live_.push_back(id);
        check_url(id, walk.data());
      }
    }
    std::sort(live_.begin(), live_.end());
  }

  void check_url(uint64_t id, std::string_view record) {
    if (record.empty() || record.front() == '|') {
      result_.problems.add(name(id) + " has no URL");
      return;
    }
    std::vector<size_t> ends;
    try {
      ends = url_ends(record, id);
    } catch (const StoreFailure& failure) {
      result_.problems.add(failure.what());
      return;
    }
    if (!indexed_url_end(db_, ends, record, id)) {
      result_.problems.add(name(id) + " is not in the index of URLs: " +
                           std::string(record.substr(0, ends.front())));
    }
  }

  void read_texts() {
    uint64_t id = 0;
    Ids with_text;
    for (Walk walk(db_, articledb_db_get_txts, "txtdb"); walk.next();) {
      if (!is_id(walk.key(), "txtdb", &id)) {
        continue;
      }
      with_text.push_back(id);
      if (!contains(live_, id)) {
        result_.leftovers.add("the text of article " + std::to_string(id) +
                              " is left: its replacement was cut short");
      }
    }
    std::sort(with_text.begin(), with_text.end());
    std::set_difference(live_.begin(), live_.end(), with_text.begin(), with_text.end(),
                        std::back_inserter(textless_));
  }

  // ---- one article ----

  void check_article(uint64_t id) {
    if (!deep_ || contains(textless_, id)) {
      return;
    }
    try {
      check_tokens(id, reader_.text(id));
    } catch (const StoreFailure& failure) {
      result_.problems.add(failure.what());
    }
  }

  // Returns whether this is the first one of the article. A posting that several tokens
  // make is looked for once.
  bool expect(DB* database, std::unordered_set<std::string>& seen, std::string_view key,
              uint64_t id, WriteOrder& order) {
    if (!seen.emplace(key).second) {
      return false;
    }
    const bool found = has_posting(database, key, id);
    order.wrote(found, true);
    found_ += found ? 1 : 0;
    return true;
  }

  void expect_lemmas(std::string_view form, WriteOrder& order) {
    const StringList lemmas(
        rules_->first_lemma(lemmatizer_.get(), form.data(), static_cast<int>(form.size())));
    for (const GList* lemma = lemmas.get(); lemma != nullptr; lemma = lemma->next) {
      order.wrote(has_pair(db_->lemmadb, static_cast<const char*>(lemma->data), form), false);
    }
  }

  void check_tokens(uint64_t id, const std::string& text) {
    std::unordered_set<std::string> forms;
    std::unordered_set<std::string> trigrams;
    WriteOrder order;
    TrigramBuilder builder;
    trigram_builder_init(&builder);
    const Tokens tokens = tokens_of(*rules_, text);
    const char* token = nullptr;
    int length = 0;
    int status;
    while ((status = rules_->next_token(tokens.get(), &token, &length)) == ARTICLEDB_TOKEN_OK) {
      const std::string_view form(token, static_cast<size_t>(length));
      const bool is_new = expect(db_->formdb, forms, form, id, order);
      const char* trigram = nullptr;
      int trigram_length = 0;
      if (trigram_builder_next_trigram(&builder, token, length, &trigram, &trigram_length) != 0) {
        expect(db_->trigramdb, trigrams, {trigram, static_cast<size_t>(trigram_length)}, id, order);
      }
      if (is_new) {
        expect_lemmas(form, order);
      }
    }
    if (status != ARTICLEDB_TOKEN_END) {
      result_.problems.add(name(id) + ": its text cannot be read as words");
    }
    report(id, order);
  }

  void report(uint64_t id, const WriteOrder& order) {
    if (order.missing() == 0) {
      return;
    }
    const std::string text = name(id) + " lacks " + std::to_string(order.missing()) + " of its " +
                             std::to_string(order.expected()) + " forms, trigrams and lemmas";
    if (order.gap()) {
      result_.problems.add(text);
    } else {
      result_.leftovers.add(text + ", the last ones: its indexing was cut short");
    }
  }

  // ---- the postings ----

  // Returns the number of postings of live articles.
  uint64_t walk_postings(Walk::Open open, const char* database, bool of_text) {
    uint64_t live = 0;
    uint64_t id = 0;
    uint64_t count = 0;
    for (Walk walk(db_, open, database); walk.next();) {
      ++result_.postings;
      ++count;
      line_.show([&](int) {
        return std::string("postings of ") + database + ": " + std::to_string(count);
      });
      if (!is_id(walk.data(), database, &id)) {
        continue;
      }
      live += contains(live_, id) ? 1 : 0;
      if (of_text && !textless_.empty() && contains(textless_, id)) {
        posted_textless_.insert(id);
      }
    }
    return live;
  }

  ArticledbDb* const db_;
  const bool deep_;
  StatusLine& line_;
  CheckResult& result_;
  const Stopwatch watch_;
  const uint64_t last_id_;
  ArticleReader reader_;
  const ArticledbRules* rules_ = nullptr;  // deep only, as the lemmatizer
  Lemmatizer lemmatizer_;
  Ids live_;
  Ids textless_;  // live ids without a text record
  std::unordered_set<uint64_t> posted_textless_;
  uint64_t found_ = 0;  // postings that a text asks for and that are there
};

}  // namespace

void check_articles(const std::string& path, bool deep, StatusLine& line, CheckResult& result) {
  Store store = open_databases(path);
  check_long_keys(store.get(), result);
  Check(store.get(), deep, line, result).run();
  close_store(std::move(store));
}

}  // namespace cli
