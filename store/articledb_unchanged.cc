// Comparing an article with what the store shows.
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/failed.h"
#include "base/handles.h"
#include "store/article/article.h"
#include "store/article/article_terms.h"
#include "store/articledb.h"
#include "store/layout/database.h"
#include "store/layout/stored_key.h"
#include "store/process/gate.h"
#include "store/waiting/waiting_view.h"
#include "store/writing/article_version.h"

using namespace ostren::fenra;
using namespace ostren::fenra::store;

namespace {

// ---- what is stored ----

// Of the article that a URL shows.
struct Shown {
  guint64 id = 0;
  std::vector<char> url_record;
  CMemory<char> text_record;
  guint32 text_record_length = 0;
};

// Whether what is asked for waits. Under the gate, as long as that is not left. Throws Failed.
class Contents {
 public:
  explicit Contents(ArticledbDb* db) : db_(db) { require(gate_waiting(db, &waiting_)); }

  // DB_NOTFOUND when the URL shows none.
  int find_url(std::string_view url, guint64* id) const {
    *id = waiting_ == nullptr ? 0 : waiting_->find_url(StoredKey(url).bytes());
    if (*id != 0) {
      return 0;
    }
    const int ret = find_shown(db_, url, id);
    return ret == 0 && waiting_ != nullptr && waiting_->hides(*id) ? DB_NOTFOUND : ret;
  }

  // DB_NOTFOUND when the article does not have the key.
  int find_posting(DatabaseField database, std::string_view key, guint64 id) const {
    if (waits(id)) {
      return waiting_->has_id(database, key, id) ? 0 : DB_NOTFOUND;
    }
    DBT key_item = input_item(key);
    DBT data = id_item(&id);
    return (db_->*database)->get(db_->*database, nullptr, &key_item, &data, DB_GET_BOTH);
  }

  // Those of the article that is shown. DB_NOTFOUND when the URL record is not as long as there is
  // room.
  int read_records(Shown* shown) const {
    if (waits(shown->id)) {
      return copy(waiting_->url_record(shown->id), waiting_->text_record(shown->id), shown);
    }
    const int ret = read_url_record(shown);
    return ret != 0 ? ret : read_text_record(shown);
  }

 private:
  bool waits(guint64 id) const { return waiting_ != nullptr && id > waiting_->base(); }

  static int copy(std::string_view url_record, std::string_view text_record, Shown* shown) {
    if (url_record.size() != shown->url_record.size()) {
      return DB_NOTFOUND;
    }
    std::copy(url_record.begin(), url_record.end(), shown->url_record.begin());
    shown->text_record.reset(static_cast<char*>(malloc(text_record.size())));
    if (shown->text_record == nullptr) {
      return ENOMEM;
    }
    shown->text_record_length = static_cast<guint32>(text_record.size());
    text_record.copy(shown->text_record.get(), text_record.size());
    return 0;
  }

  int read_url_record(Shown* shown) const {
    std::vector<char>& record = shown->url_record;
    DBT key = id_item(&shown->id);
    DBT data = output_item(record.data(), static_cast<guint32>(record.size()));
    const int ret = db_->urldb->get(db_->urldb, nullptr, &key, &data, 0);
    return ret == DB_BUFFER_SMALL || (ret == 0 && data.size != record.size()) ? DB_NOTFOUND : ret;
  }

  int read_text_record(Shown* shown) const {
    DBT key = id_item(&shown->id);
    DBT data{};
    data.flags = DB_DBT_MALLOC;
    const int ret = db_->txtdb->get(db_->txtdb, nullptr, &key, &data, 0);
    if (ret == 0) {
      shown->text_record.reset(static_cast<char*>(data.data));
      shown->text_record_length = data.size;
    }
    return ret;
  }

  ArticledbDb* const db_;
  const WaitingView* waiting_ = nullptr;
};

// `read(contents)` under the gate.
template <typename Read>
int read_contents(ArticledbDb* db, Read read) {
  return read_in_gate(db, [&] {
    int ret = 0;
    const int failed = status_of([&] { ret = read(Contents(db)); });
    return failed != 0 ? failed : ret;
  });
}

// Reads what the URL shows. DB_NOTFOUND when that is not this article. The postings tell apart
// what the URL record may not: it has its pairs unescaped.
int read_shown(const Contents& contents, const ArticleRecords& records, Shown* shown) {
  const std::string_view date(reinterpret_cast<const char*>(&records.date), sizeof records.date);
  int ret = contents.find_url(records.url, &shown->id);
  if (ret == 0) {
    ret =
        contents.find_posting(&ArticledbDb::sourcedb, StoredKey(records.source).bytes(), shown->id);
  }
  if (ret == 0) {
    ret = contents.find_posting(&ArticledbDb::datedb, date, shown->id);
  }
  return ret != 0 ? ret : contents.read_records(shown);
}

// ---- the records ----

bool take_prefix(std::string_view prefix, std::string_view* text) {
  const bool has = text->substr(0, prefix.size()) == prefix;
  text->remove_prefix(has ? prefix.size() : 0);
  return has;
}

// Whether a URL record of the same length is of the same pairs. Their order is that of a hash
// table.
bool is_same_url_record(const ArticleRecords& records, GHashTable* metadata,
                        std::string_view stored) {
  if (stored == records.url_record) {
    return true;
  }
  if (!take_prefix(records.url, &stored) || !take_prefix("|", &stored)) {
    return false;
  }
  std::set<std::string> keys;
  while (!stored.empty()) {
    const std::string key(stored.substr(0, stored.find('=')));
    gpointer value = nullptr;
    const bool has = g_hash_table_lookup_extended(metadata, key.c_str(), nullptr, &value) != 0;
    if (!has || key[0] == '_' || !keys.insert(key).second ||
        !take_prefix(
            key + "=\"" + (value == nullptr ? "" : static_cast<const char*>(value)) + "\";",
            &stored)) {
      return false;
    }
  }
  // The length tells that none is missing.
  return true;
}

class Inflation {
 public:
  explicit Inflation(std::string_view stream) : is_open_(inflateInit(&stream_) == Z_OK) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(stream.data()));
    stream_.avail_in = static_cast<uInt>(stream.size());
  }
  ~Inflation() { inflateEnd(&stream_); }
  Inflation(const Inflation&) = delete;
  Inflation& operator=(const Inflation&) = delete;

  // Whether all of it is the text.
  bool gives(std::string_view text) {
    std::vector<char> buffer(PIECE_BYTES);
    int status = is_open_ ? Z_OK : Z_MEM_ERROR;
    while (status == Z_OK) {
      stream_.next_out = reinterpret_cast<Bytef*>(buffer.data());
      stream_.avail_out = static_cast<uInt>(buffer.size());
      status = inflate(&stream_, Z_NO_FLUSH);
      if (!take_prefix({buffer.data(), buffer.size() - stream_.avail_out}, &text)) {
        return false;
      }
    }
    return status == Z_STREAM_END && text.empty();
  }

 private:
  static constexpr size_t PIECE_BYTES = 32 << 10;
  z_stream stream_ = {};
  const bool is_open_;
};

bool is_same_text(std::string_view text, std::string_view record) {
  const auto length = static_cast<guint32>(text.size());
  guint32 stored_length = 0;
  if (record.size() < sizeof stored_length) {
    return false;
  }
  memcpy(&stored_length, record.data(), sizeof stored_length);
  return stored_length == length && Inflation(record.substr(sizeof stored_length)).gives(text);
}

// ---- the words ----

GList* no_lemmas(void*, const char*, int) { return nullptr; }

struct Term {
  DatabaseField database;
  std::string key;
};

// Terms are written in the order in which they come up, each once. So the article is whole when
// it has the last one that was new.
std::vector<Term> last_terms(const ArticleTerms& terms) {
  std::vector<Term> last;
  for (auto term = terms.terms().rbegin(); term != terms.terms().rend(); ++term) {
    if (term->kind == ArticleTerms::Kind::FORM) {
      last.push_back(
          {&ArticledbDb::formdb, std::string(terms.strings()[terms.forms()[term->place]])});
      break;
    }
    last.push_back({&ArticledbDb::trigramdb, terms.trigram(term->place)});
  }
  return last;
}

// DB_NOTFOUND when words are missing.
int find_words(ArticledbDb* db, const WordSource& source, guint64 id) {
  ArticleTerms terms;
  const int status = terms.take(source, ArticleTerms::Portion::WHOLE);
  if (status != ARTICLEDB_TOKEN_END) {
    return status == 0 ? DB_NOTFOUND : status;
  }
  const std::vector<Term> last = last_terms(terms);
  return read_contents(db, [&](const Contents& contents) {
    int ret = 0;
    for (auto term = last.begin(); ret == 0 && term != last.end(); ++term) {
      ret = contents.find_posting(term->database, term->key, id);
    }
    return ret;
  });
}

// 0; DB_NOTFOUND when something is different; or the code of what failed.
int compare(ArticledbDb* db, GHashTable* metadata, const WordSource& source) {
  Article article(metadata);
  int ret = article.build_keys();
  if (ret != 0) {
    return ret;
  }
  const ArticleRecords& records = article.records();
  Shown shown;
  shown.url_record.resize(records.url_record.size());
  ret = read_contents(
      db, [&](const Contents& contents) { return read_shown(contents, records, &shown); });
  if (ret != 0) {
    return ret;
  }
  const bool same =
      is_same_url_record(records, metadata, {shown.url_record.data(), shown.url_record.size()}) &&
      is_same_text(article.text(), {shown.text_record.get(), shown.text_record_length});
  return same ? find_words(db, source, shown.id) : DB_NOTFOUND;
}

}  // namespace

int articledb_db_is_unchanged(ArticledbDb* db, GHashTable* metadata,
                              ArticledbNextTokenFunc next_token, void* tokenizer, int* unchanged) {
  const WordSource source = {next_token, tokenizer, no_lemmas, nullptr,
                             WordSource::Asking::ONCE_A_FORM};
  int ret;
  try {
    ret = compare(db, metadata, source);
  } catch (const std::exception&) {
    return -1;
  }
  if (ret == 0 || ret == DB_NOTFOUND) {
    *unchanged = ret == 0 ? 1 : 0;
    ret = 0;
  }
  return ret;
}
