#include "store/waiting/journal_article.h"

#include <cerrno>

#include "base/failed.h"
#include "base/varint.h"
#include "store/layout/stored_key.h"

namespace ostren::fenra::store {
namespace {

// On disk. Earlier versions wrote keys of up to this length.
constexpr size_t MOST_KEY_BYTES = 1024;
constexpr size_t MOST_ARTICLE_BYTES = size_t{1} << 20;

// On disk: in a sequence, for ArticleTerms::BREAK; otherwise the form's number comes plus 1.
constexpr guint64 BREAK_MARK = 0;

bool is_key(std::string_view string) { return !string.empty() && string.size() <= MOST_KEY_BYTES; }

void append_string(std::string_view string, std::string* record) {
  append_varint(string.size(), record);
  record->append(string);
}

// False when there is something that a key may not be.
bool append_key(std::string_view string, std::string* record) {
  append_string(string, record);
  return is_key(string);
}

bool append_forms(const ArticleTerms& terms, std::string* record) {
  append_varint(terms.forms().size(), record);
  bool fits = true;
  for (const guint32 form : terms.forms()) {
    fits = append_key(terms.strings()[form], record) && fits;
  }
  return fits;
}

void append_sequence(const ArticleTerms& terms, std::string* record) {
  std::vector<guint32> places(terms.strings().size());
  for (size_t place = 0; place < terms.forms().size(); ++place) {
    places[terms.forms()[place]] = static_cast<guint32>(place);
  }
  append_varint(terms.sequence().size(), record);
  for (const guint32 word : terms.sequence()) {
    append_varint(word == ArticleTerms::BREAK ? BREAK_MARK : guint64{places[word]} + 1, record);
  }
}

bool append_new_lemmas(const ArticleTerms& terms, KnownPairs* known, std::string* record) {
  std::vector<PairSet::Pair> pairs;
  for (const PairSet::Pair& pair : terms.lemmas()) {
    if (!known->contains(terms.strings()[pair.first], terms.strings()[pair.second])) {
      pairs.push_back(pair);
    }
  }
  append_varint(pairs.size(), record);
  bool fits = true;
  for (const PairSet::Pair& pair : pairs) {
    fits = append_key(terms.strings()[pair.first], record) &&
           append_key(terms.strings()[pair.second], record) && fits;
  }
  return fits;
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  void end() const { require_that(bytes_.empty()); }

  guint64 number(guint64 most = G_MAXUINT32) {
    guint64 number = 0;
    require_that(take_varint(&bytes_, &number) && number <= most);
    return number;
  }

  std::string_view string() {
    const auto length = static_cast<size_t>(number());
    require_that(length <= bytes_.size());
    const std::string_view string = bytes_.substr(0, length);
    bytes_.remove_prefix(length);
    return string;
  }

  std::string_view key() {
    const std::string_view key = string();
    require_that(is_key(key));
    return key;
  }

 private:
  static void require_that(bool holds) { require(holds ? 0 : EPROTO); }

  std::string_view bytes_;
};

}  // namespace

JournalArticle read_journal_article(guint64 id, std::string_view payload) {
  JournalArticle article;
  Reader reader(payload);
  article.id = id;
  article.records.date = static_cast<guint32>(reader.number());
  article.records.url = reader.key();
  article.records.source = reader.string();
  article.records.url_record = reader.string();
  article.records.text_record = reader.string();
  for (guint64 count = reader.number(); count > 0; --count) {
    article.forms.push_back(reader.key());
  }
  for (guint64 count = reader.number(); count > 0; --count) {
    const guint64 mark = reader.number(article.forms.size());
    article.sequence.push_back(mark == BREAK_MARK ? ArticleTerms::BREAK
                                                  : static_cast<guint32>(mark - 1));
  }
  for (guint64 count = reader.number(); count > 0; --count) {
    const std::string_view lemma = reader.key();
    article.lemmas.push_back({lemma, reader.key()});
  }
  reader.end();
  return article;
}

bool append_journal_article(const ArticleRecords& records, const ArticleTerms& terms,
                            KnownPairs* known, std::string* record) {
  if (!terms.is_plain() ||
      records.url_record.size() + records.text_record.size() > MOST_ARTICLE_BYTES) {
    return false;
  }
  append_varint(records.date, record);
  bool fits = append_key(StoredKey(records.url).bytes(), record);
  append_string(StoredKey(records.source).bytes(), record);
  append_string(records.url_record, record);
  append_string(records.text_record, record);
  fits = append_forms(terms, record) && fits;
  append_sequence(terms, record);
  return append_new_lemmas(terms, known, record) && fits && record->size() <= MOST_ARTICLE_BYTES;
}

void append_journal_removal(std::string_view url, std::string* record) {
  constexpr int EMPTY = 6;  // source, both records, forms, sequence, lemmas
  append_varint(0, record);
  append_string(url, record);
  record->append(EMPTY, '\0');
}

}  // namespace ostren::fenra::store
