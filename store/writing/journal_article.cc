#include "store/writing/journal_article.h"

#include <cerrno>

#include "base/failed.h"
#include "base/varint.h"
#include "store/layout/stored_key.h"

namespace ostren::fenra::store {
namespace {

// On disk. Earlier versions wrote keys of up to this length.
constexpr size_t MOST_KEY_BYTES = 1024;
constexpr size_t MOST_ARTICLE_BYTES = size_t{1} << 20;

// On disk: in a sequence, for Postings::BREAK; otherwise the form's number comes plus 1.
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
  article.date = static_cast<guint32>(reader.number());
  article.url = reader.key();
  article.source = reader.string();
  article.url_record = reader.string();
  article.text_record = reader.string();
  for (guint64 count = reader.number(); count > 0; --count) {
    article.forms.push_back(reader.key());
  }
  for (guint64 count = reader.number(); count > 0; --count) {
    const guint64 mark = reader.number(article.forms.size());
    article.sequence.push_back(mark == BREAK_MARK ? Postings::BREAK
                                                  : static_cast<guint32>(mark - 1));
  }
  for (guint64 count = reader.number(); count > 0; --count) {
    const std::string_view lemma = reader.key();
    article.lemmas.push_back({lemma, reader.key()});
  }
  reader.end();
  return article;
}

bool append_journal_article(const Article& article, std::string_view url_record,
                            const TextRecord& text_record, const Postings& postings,
                            std::string* record) {
  const std::string_view text(text_record.bytes.get(), text_record.length);
  if (postings.sequence() == nullptr || url_record.size() + text.size() > MOST_ARTICLE_BYTES) {
    return false;
  }
  const StoredKey url({article.url.bytes, article.url.length});
  const StoredKey source({article.source.bytes, article.source.length});
  append_varint(article.date_number(), record);
  bool fits = append_key(url.bytes(), record);
  append_string(source.bytes(), record);
  append_string(url_record, record);
  append_string(text, record);
  append_varint(postings.form_count(), record);
  for (size_t number = 0; fits && number < postings.form_count(); ++number) {
    fits = append_key(postings.form(number), record);
  }
  append_varint(postings.sequence()->size(), record);
  for (const guint32 form : *postings.sequence()) {
    append_varint(form == Postings::BREAK ? BREAK_MARK : guint64{form} + 1, record);
  }
  append_varint(postings.lemma_count(), record);
  for (size_t number = 0; fits && number < postings.lemma_count(); ++number) {
    const Postings::LemmaPair pair = postings.lemma_pair(number);
    fits = append_key(pair.lemma, record) && append_key(pair.form, record);
  }
  return fits && record->size() <= MOST_ARTICLE_BYTES;
}

}  // namespace ostren::fenra::store
