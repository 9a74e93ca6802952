#include "store/waiting/waiting_index.h"

#include <utility>

namespace ostren::fenra::store {
namespace {

std::string_view date_key(const guint32& date) {
  return {reinterpret_cast<const char*>(&date), sizeof date};
}

// Takes the word with its zero byte, or what there is of it, off the prefix. False when they
// differ.
bool take_word(std::string_view word, std::string_view* prefix) {
  const size_t length = std::min(word.size(), prefix->size());
  if (word.substr(0, length) != prefix->substr(0, length)) {
    return false;
  }
  prefix->remove_prefix(length);
  if (!prefix->empty() && length == word.size()) {
    if (prefix->front() != '\0') {
      return false;
    }
    prefix->remove_prefix(1);
  }
  return true;
}

}  // namespace

void KeyedLists::add(std::string_view key, guint32 value) {
  bool is_new = false;
  const guint32 number = keys_.number(key, &is_new);
  const auto at = static_cast<guint32>(items_.size());
  items_.push_back({value, StringTable::NONE});
  if (is_new) {
    ends_.push_back({at, at});
  } else {
    items_[ends_[number].last].next = at;
    ends_[number].last = at;
  }
}

void WaitingIndex::add(JournalArticle article, const std::vector<guint64>& replaced) {
  const auto number = static_cast<guint32>(articles_.size());
  if (const JournalArticle* const earlier = newest_of_url(article.records.url)) {
    hidden_.insert(earlier->id);
  }
  hidden_.insert(replaced.begin(), replaced.end());
  if (article.is_removal()) {
    articles_.push_back(std::move(article));
    return;
  }
  urls_.add(article.records.url, number);
  sources_.add(article.records.source, number);
  dates_.add(date_key(article.records.date), number);
  for (const std::string_view form : article.forms) {
    forms_.add(form, number);
  }
  for (const JournalArticle::LemmaPair& pair : article.lemmas) {
    lemmas_.add(pair.lemma, static_cast<guint32>(lemma_forms_.size()));
    lemma_forms_.push_back(pair.form);
  }
  articles_.push_back(std::move(article));
}

void WaitingIndex::write_to(ArticleEntries* entries) const {
  for (const JournalArticle& article : articles_) {
    if (article.is_removal()) {
      entries->add({article.id, {}, {}, 0, {}, {}});
      continue;
    }
    entries->add({article.id, article.records.url, article.records.source, article.records.date,
                  article.records.url_record, article.records.text_record});
    entries->add_words(article.forms, article.sequence);
    for (const JournalArticle::LemmaPair& pair : article.lemmas) {
      entries->add_lemma(pair.lemma, pair.form);
    }
  }
  for (const guint64 id : hidden_) {
    entries->hide(id);
  }
}

// ---- articles ----

const JournalArticle* WaitingIndex::article(guint64 id) const {
  const auto found =
      std::lower_bound(articles_.begin(), articles_.end(), id,
                       [](const JournalArticle& a, guint64 wanted) { return a.id < wanted; });
  return found == articles_.end() || found->id != id ? nullptr : &*found;
}

const JournalArticle* WaitingIndex::newest_of_url(std::string_view url) const {
  const JournalArticle* newest = nullptr;
  urls_.for_each(url, [&](guint32 number) { newest = &articles_[number]; });
  return newest != nullptr && hides(newest->id) ? nullptr : newest;
}

// ---- lists ----

const KeyedLists* WaitingIndex::lists_of(DB* ArticledbDb::*field) const {
  return field == &ArticledbDb::formdb     ? &forms_
         : field == &ArticledbDb::sourcedb ? &sources_
         : field == &ArticledbDb::datedb   ? &dates_
                                           : nullptr;
}

void WaitingIndex::read_ids(DB* ArticledbDb::*field, std::string_view key, guint64 least,
                            size_t most, std::vector<guint64>* ids) const {
  const size_t end = ids->size() + most;
  const auto take = [&](guint64 id) {
    if (id >= least && ids->size() < end && (ids->empty() || ids->back() != id)) {
      ids->push_back(id);
    }
  };
  if (field == &ArticledbDb::trigramdb) {
    scan_trigrams(key, take);
  } else if (const KeyedLists* const lists = lists_of(field)) {
    lists->for_each(key, [&](guint32 number) { take(articles_[number].id); });
  }
}

bool WaitingIndex::has_id(DB* ArticledbDb::*field, std::string_view key, guint64 id) const {
  std::vector<guint64> ids;
  read_ids(field, key, id, 1, &ids);
  return !ids.empty() && ids[0] == id;
}

void WaitingIndex::read_forms(std::string_view lemma, std::vector<std::string_view>* forms) const {
  lemmas_.for_each(lemma, [&](guint32 place) { forms->push_back(lemma_forms_[place]); });
}

void WaitingIndex::scan_keys(DB* ArticledbDb::*field,
                             const std::function<bool(std::string_view)>& wanted,
                             const std::function<void(guint64)>& visit) const {
  const KeyedLists* const lists = lists_of(field);
  for (guint32 key = 0; lists != nullptr && key < lists->keys().size(); ++key) {
    if (wanted(lists->keys()[key])) {
      lists->for_each_of(key, [&](guint32 number) { visit(articles_[number].id); });
    }
  }
}

// A prefix with a whole word can only be met in the articles that have that.
void WaitingIndex::scan_trigrams(std::string_view prefix,
                                 const std::function<void(guint64)>& visit) const {
  const size_t end = prefix.find('\0');
  if (end != std::string_view::npos) {
    forms_.for_each(prefix.substr(0, end),
                    [&](guint32 number) { visit_trigrams(prefix, number, visit); });
    return;
  }
  for (guint32 number = 0; number < articles_.size(); ++number) {
    visit_trigrams(prefix, number, visit);
  }
}

void WaitingIndex::visit_trigrams(std::string_view prefix, guint32 number,
                                  const std::function<void(guint64)>& visit) const {
  const JournalArticle& article = articles_[number];
  for (size_t place = 0; place < article.sequence.size(); ++place) {
    std::string_view rest = prefix;
    size_t word = 0;
    while (article.has_trigram(place) && word < TRIGRAM_BUILDER_WORDS &&
           take_word(article.forms[article.sequence[place + word]], &rest)) {
      ++word;
    }
    if (word == TRIGRAM_BUILDER_WORDS && rest.empty()) {
      visit(article.id);
    }
  }
}

}  // namespace ostren::fenra::store
