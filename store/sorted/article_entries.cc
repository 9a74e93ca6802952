#include "store/sorted/article_entries.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "base/failed.h"
#include "store/layout/database.h"
#include "store/layout/key_order.h"
#include "store/sorted/id_list.h"
#include "store/sorted/sections.h"

namespace ostren::fenra::store {
namespace {

// Sorting words by a number of each first, so that few have to be fetched.
struct SortedWord {
  guint64 order;
  guint32 number;
};

GrowingArray<guint32> sort_words(const StringTable& words, GrowingArray<SortedWord> sorted) {
  std::sort(sorted.begin(), sorted.end(), [&](const SortedWord& a, const SortedWord& b) {
    return a.order != b.order ? a.order < b.order : words[a.number] < words[b.number];
  });
  GrowingArray<guint32> numbers;
  for (const SortedWord& word : sorted) {
    numbers.push_back(word.number);
  }
  return numbers;
}

}  // namespace

// ---- collecting ----

void ArticleEntries::add(const Article& article) {
  if (is_empty()) {
    first_id_ = article.id;
  }
  require(article.id <= last_id_ || article.id - first_id_ > G_MAXUINT32 ? EINVAL : 0);
  last_id_ = article.id;
  article_ = static_cast<guint32>(article.id - first_id_);
  if (!article.url.empty()) {
    const std::string_view date(reinterpret_cast<const char*>(&article.date), sizeof article.date);
    urls_.push_back({words_.number(article.url), article_});
    sources_.push_back({words_.number(article.source), article_});
    dates_.push_back({words_.number(date), article_});
  }
  records_.push_back({article_, article.url_record, article.text_record});
  record_bytes_ += article.url_record.size() + article.text_record.size();
}

void ArticleEntries::add_terms(const ArticleTerms& terms) {
  const StringTable& strings = terms.strings();
  numbers_.truncate();
  for (guint32 i = 0; i < strings.size(); ++i) {
    numbers_.push_back(words_.number(strings[i], strings.hash(i)));
  }
  for (const guint32 form : terms.forms()) {
    forms_.push_back({numbers_[form], article_});
  }
  take_sequence(terms.sequence());
  for (const PairSet::Pair& pair : terms.lemmas()) {
    lemmas_.insert({numbers_[pair.first], numbers_[pair.second]});
  }
}

void ArticleEntries::add_words(const std::vector<std::string_view>& forms,
                               const std::vector<guint32>& sequence) {
  numbers_.truncate();
  for (const std::string_view form : forms) {
    numbers_.push_back(words_.number(form));
    forms_.push_back({numbers_[numbers_.size() - 1], article_});
  }
  take_sequence(sequence);
}

// Each three in a row without a break are a trigram.
void ArticleEntries::take_sequence(const std::vector<guint32>& sequence) {
  guint32 words[TRIGRAM_BUILDER_WORDS] = {};
  size_t run = 0;  // words since the last break
  for (const guint32 word : sequence) {
    if (word == ArticleTerms::BREAK) {
      run = 0;
      continue;
    }
    words[0] = words[1];
    words[1] = words[2];
    words[2] = numbers_[word];
    if (++run >= TRIGRAM_BUILDER_WORDS) {
      trigrams_.push_back({{words[0], words[1], words[2]}, article_});
    }
  }
}

// Of one list's postings the sorting takes half as much again.
size_t ArticleEntries::bytes() const {
  const size_t postings = urls_.size() + sources_.size() + dates_.size() + forms_.size();
  return words_.bytes() + postings * (sizeof(Posting) + sizeof(guint32)) +
         trigrams_.size() * sizeof(Trigram) + lemmas_.bytes() + record_bytes_ +
         records_.size() * sizeof(Records) + hidden_.size() * sizeof(guint64);
}

// ---- writing ----

void ArticleEntries::write(SortedWriter* writer) {
  std::sort(hidden_.begin(), hidden_.end());
  hidden_.erase(std::unique(hidden_.begin(), hidden_.end()), hidden_.end());
  const Numbers in_order = words_in_bucket_order();
  write_postings(urls_, in_order, section::URLS, writer);
  write_postings(sources_, in_order, section::SOURCES, writer);
  write_postings(dates_, in_order, section::DATES, writer);
  write_postings(forms_, in_order, section::FORMS, writer);
  write_trigrams(writer);
  write_lemmas(writer);
  write_records(&Records::url_record, writer);
  write_records(&Records::text_record, writer);
  write_hidden(writer);
  *this = ArticleEntries();
}

ArticleEntries::Numbers ArticleEntries::words_in_byte_order() const {
  GrowingArray<SortedWord> sorted;
  for (guint32 i = 0; i < words_.size(); ++i) {
    sorted.push_back({prefix_of(words_[i]), i});
  }
  return sort_words(words_, std::move(sorted));
}

ArticleEntries::Numbers ArticleEntries::words_in_bucket_order() const {
  GrowingArray<SortedWord> sorted;
  for (guint32 i = 0; i < words_.size(); ++i) {
    sorted.push_back({bucket_order(word_hash(words_[i])), i});
  }
  return sort_words(words_, std::move(sorted));
}

// Brings the articles of each word together; they are in order already.
void ArticleEntries::write_postings(const Postings& postings, const Numbers& in_order, int section,
                                    SortedWriter* writer) const {
  Numbers starts;
  starts.assign_zeros(size_t{words_.size()} + 2);
  for (const Posting& posting : postings) {
    ++starts[size_t{posting.word} + 2];
  }
  for (size_t i = 2; i < starts.size(); ++i) {
    starts[i] += starts[i - 1];
  }
  // From here on starts[word + 1] is where the word's next article goes.
  Numbers articles;
  articles.assign_zeros(postings.size());
  for (const Posting& posting : postings) {
    articles[starts[size_t{posting.word} + 1]++] = posting.article;
  }
  std::string key;
  IdListWriter lists(writer);
  for (const guint32 word : in_order) {
    if (starts[word] == starts[size_t{word} + 1]) {
      continue;
    }
    assign_entry_key(section, words_[word], &key);
    lists.begin(key);
    for (guint32 i = starts[word]; i < starts[size_t{word} + 1]; ++i) {
      lists.add(first_id_ + articles[i]);
    }
    lists.end();
  }
  writer->end_section();
}

// The order of the trigrams' bytes is that of their words': a zero byte, less than any
// other, ends each.
void ArticleEntries::write_trigrams(SortedWriter* writer) {
  const Numbers in_order = words_in_byte_order();
  Numbers ranks;
  ranks.assign_zeros(in_order.size());
  // The words as trigrams have them, side by side.
  GrowingArray<char> bytes;
  GrowingArray<size_t> starts;
  for (size_t i = 0; i < in_order.size(); ++i) {
    ranks[in_order[i]] = static_cast<guint32>(i);
    const std::string_view word = words_[in_order[i]];
    starts.push_back(bytes.size());
    if (word.size() < TRIGRAM_BUILDER_WORD_SIZE) {
      bytes.append(word.data(), word.size());
      bytes.push_back('\0');
    }
  }
  starts.push_back(bytes.size());
  for (Trigram& trigram : trigrams_) {
    for (guint32& word : trigram.words) {
      word = ranks[word];
    }
  }
  std::sort(trigrams_.begin(), trigrams_.end(), [](const Trigram& a, const Trigram& b) {
    const auto high = [](const Trigram& t) { return guint64{t.words[0]} << 32 | t.words[1]; };
    const auto low = [](const Trigram& t) { return guint64{t.words[2]} << 32 | t.article; };
    return high(a) != high(b) ? high(a) < high(b) : low(a) < low(b);
  });
  std::string key;
  IdListWriter lists(writer);
  for (const Trigram* trigram = trigrams_.begin(); trigram != trigrams_.end();) {
    key.clear();
    for (const guint32 rank : trigram->words) {
      key.append(bytes.begin() + starts[rank], starts[size_t{rank} + 1] - starts[rank]);
    }
    lists.begin(key);
    const Trigram* const first = trigram;
    for (; trigram != trigrams_.end() &&
           memcmp(trigram->words, first->words, sizeof first->words) == 0;
         ++trigram) {
      // An article can have a trigram several times.
      lists.add(first_id_ + trigram->article);
    }
    lists.end();
  }
  writer->end_section();
}

void ArticleEntries::write_lemmas(SortedWriter* writer) const {
  std::vector<std::string> keys;
  keys.reserve(lemmas_.size());
  for (const PairSet::Pair& pair : lemmas_) {
    keys.push_back(lemma_prefix(words_[pair.first]).append(words_[pair.second]));
  }
  std::sort(keys.begin(), keys.end());
  for (const std::string& key : keys) {
    writer->write(key, {});
  }
  writer->end_section();
}

void ArticleEntries::write_records(std::string_view Records::*record, SortedWriter* writer) const {
  struct Key {
    std::array<char, BUCKET_ORDER_BYTES + sizeof(guint64)> bytes;
    const Records* records;
  };
  std::vector<Key> keys;
  keys.reserve(records_.size());
  std::string key;
  for (const Records& records : records_) {
    const guint64 id = first_id_ + records.article;
    if (!(records.*record).empty() && !std::binary_search(hidden_.begin(), hidden_.end(), id)) {
      assign_entry_key(section::URL_RECORDS, id_bytes(id), &key);
      keys.push_back({{}, &records});
      key.copy(keys.back().bytes.data(), keys.back().bytes.size());
    }
  }
  std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) {
    return memcmp(a.bytes.data(), b.bytes.data(), a.bytes.size()) < 0;
  });
  for (const Key& entry : keys) {
    writer->write({entry.bytes.data(), entry.bytes.size()}, entry.records->*record);
  }
  writer->end_section();
}

void ArticleEntries::write_hidden(SortedWriter* writer) const {
  for (const guint64 id : hidden_) {
    if (id < first_id_) {
      writer->write(hidden_key(id), {});
    }
  }
  writer->end_section();
}

}  // namespace ostren::fenra::store
