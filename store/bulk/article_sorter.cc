#include "store/bulk/article_sorter.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/failed.h"
#include "base/varint.h"
#include "store/layout/key_order.h"

namespace ostren::fenra::store {
namespace {

// Open files, and memory for reading them, stay bounded.
constexpr size_t MOST_RUNS = 64;

void append_big_endian(guint32 number, std::string* bytes) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes->push_back(static_cast<char>(number >> shift));
  }
}

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

LemmaKey::LemmaKey(std::string_view entry_key) {
  entry_key.remove_prefix(BUCKET_ORDER_BYTES);
  guint32 length = 0;
  for (int i = 0; i < 4; ++i) {
    length = (length << 8) | static_cast<guint8>(entry_key[static_cast<size_t>(i)]);
  }
  lemma = entry_key.substr(4, length);
  form = entry_key.substr(4 + length);
}

// ---- collecting ----

void ArticleSorter::add(std::unique_ptr<PreparedArticle> article, guint64 id) {
  if (records_.empty()) {
    first_id_ = id;
  }
  const auto index = static_cast<guint32>(id - first_id_);
  take_keys(*article, index);
  take_terms(article->terms, index);
  record_bytes_ += article->url_record.size() + article->text_record.size() + sizeof(Records);
  records_.push_back({std::move(article->url_record), std::move(article->text_record)});
  if (bytes() >= limit_) {
    write_run();
  }
}

void ArticleSorter::take_keys(const PreparedArticle& article, guint32 index) {
  urls_.push_back({words_.number(article.url_key), index});
  sources_.push_back({words_.number(article.source_key), index});
  const std::string_view date(reinterpret_cast<const char*>(&article.date), sizeof article.date);
  dates_.push_back({words_.number(date), index});
}

void ArticleSorter::take_terms(const ArticleTerms& terms, guint32 index) {
  const StringTable& strings = terms.strings();
  numbers_.truncate();
  for (guint32 i = 0; i < strings.size(); ++i) {
    numbers_.push_back(words_.number(strings[i], strings.hash(i)));
  }
  for (const guint32 form : terms.forms()) {
    forms_.push_back({numbers_[form], index});
  }
  for (const ArticleTerms::Term& term : terms.terms()) {
    if (term.kind == ArticleTerms::Kind::TRIGRAM) {
      const guint32* const words = &terms.sequence()[term.place];
      trigrams_.push_back({{numbers_[words[0]], numbers_[words[1]], numbers_[words[2]]}, index});
    }
  }
  for (const PairSet::Pair& pair : terms.lemmas()) {
    lemmas_.insert({numbers_[pair.first], numbers_[pair.second]});
  }
}

// Of one list's postings the sorting takes half as much again.
size_t ArticleSorter::bytes() const {
  const size_t postings = urls_.size() + sources_.size() + dates_.size() + forms_.size();
  return words_.bytes() + postings * (sizeof(Posting) + sizeof(guint32)) +
         trigrams_.size() * sizeof(Trigram) + lemmas_.bytes() + record_bytes_;
}

void ArticleSorter::clear() {
  words_.clear();
  urls_.clear();
  sources_.clear();
  dates_.clear();
  forms_.clear();
  trigrams_.clear();
  lemmas_.clear();
  records_.clear();
  record_bytes_ = 0;
}

// ---- writing a run ----

const Runs& ArticleSorter::finish() {
  if (!records_.empty()) {
    write_run();
  }
  return runs_;
}

void ArticleSorter::write_run() {
  auto run = std::make_unique<RunFile>(directory_, section::COUNT);
  const Numbers in_order = words_in_bucket_order();
  for (const Postings* postings : {&urls_, &sources_, &dates_, &forms_}) {
    write_postings(run.get(), *postings, in_order);
  }
  write_trigrams(run.get());
  write_lemmas(run.get());
  write_records(run.get(),
                [](const Records& records) -> std::string_view { return records.url_record; });
  write_records(run.get(),
                [](const Records& records) { return std::string_view(records.text_record); });
  runs_.push_back(std::move(run));
  clear();
  if (runs_.size() == MOST_RUNS) {
    merge_runs();
  }
}

ArticleSorter::Numbers ArticleSorter::words_in_byte_order() const {
  GrowingArray<SortedWord> sorted;
  for (guint32 i = 0; i < words_.size(); ++i) {
    sorted.push_back({prefix_of(words_[i]), i});
  }
  return sort_words(words_, std::move(sorted));
}

ArticleSorter::Numbers ArticleSorter::words_in_bucket_order() const {
  GrowingArray<SortedWord> sorted;
  for (guint32 i = 0; i < words_.size(); ++i) {
    sorted.push_back({bucket_order(word_hash(words_[i])), i});
  }
  return sort_words(words_, std::move(sorted));
}

// Brings the articles of each word together; they are in order already.
void ArticleSorter::write_postings(RunFile* run, const Postings& postings,
                                   const Numbers& in_order) {
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
  std::string ids;
  for (const guint32 word : in_order) {
    if (starts[word] == starts[size_t{word} + 1]) {
      continue;
    }
    key.clear();
    append_big_endian(bucket_order(word_hash(words_[word])), &key);
    key.append(words_[word]);
    ids.clear();
    guint64 before = 0;
    for (guint32 i = starts[word]; i < starts[size_t{word} + 1]; ++i) {
      append_varint(first_id_ + articles[i] - before, &ids);
      before = first_id_ + articles[i];
    }
    run->write(key, ids);
  }
  run->end_section();
}

// The order of the trigrams' bytes is that of their words': a zero byte, less than any
// other, ends each.
void ArticleSorter::write_trigrams(RunFile* run) {
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
  std::string ids;
  for (const Trigram* trigram = trigrams_.begin(); trigram != trigrams_.end();) {
    key.clear();
    for (const guint32 rank : trigram->words) {
      key.append(bytes.begin() + starts[rank], starts[size_t{rank} + 1] - starts[rank]);
    }
    ids.clear();
    guint64 before = 0;
    const Trigram* const first = trigram;
    for (; trigram != trigrams_.end() &&
           memcmp(trigram->words, first->words, sizeof first->words) == 0;
         ++trigram) {
      const guint64 id = first_id_ + trigram->article;
      // An article can have a trigram several times.
      if (id != before) {
        append_varint(id - before, &ids);
        before = id;
      }
    }
    run->write(key, ids);
  }
  run->end_section();
}

void ArticleSorter::write_lemmas(RunFile* run) {
  std::vector<std::string> keys;
  keys.reserve(lemmas_.size());
  for (const PairSet::Pair& pair : lemmas_) {
    std::string key;
    append_big_endian(bucket_order(word_hash(words_[pair.first])), &key);
    append_big_endian(static_cast<guint32>(words_[pair.first].size()), &key);
    key.append(words_[pair.first]).append(words_[pair.second]);
    keys.push_back(std::move(key));
  }
  std::sort(keys.begin(), keys.end());
  for (const std::string& key : keys) {
    run->write(key, {});
  }
  run->end_section();
}

template <typename RecordOf>
void ArticleSorter::write_records(RunFile* run, RecordOf record_of) {
  struct Key {
    std::array<char, BUCKET_ORDER_BYTES + sizeof(guint64)> bytes;
    guint32 index;
  };
  std::vector<Key> keys;
  keys.reserve(records_.size());
  std::string key;
  for (guint32 i = 0; i < records_.size(); ++i) {
    const guint64 id = first_id_ + i;
    const std::string_view id_bytes(reinterpret_cast<const char*>(&id), sizeof id);
    key.clear();
    append_big_endian(bucket_order(word_hash(id_bytes)), &key);
    key.append(id_bytes);
    Key entry = {{}, i};
    key.copy(entry.bytes.data(), entry.bytes.size());
    keys.push_back(entry);
  }
  std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) {
    return memcmp(a.bytes.data(), b.bytes.data(), a.bytes.size()) < 0;
  });
  for (const Key& entry : keys) {
    run->write({entry.bytes.data(), entry.bytes.size()}, record_of(records_[entry.index]));
  }
  run->end_section();
}

// Makes one run of all.
void ArticleSorter::merge_runs() {
  auto merged = std::make_unique<RunFile>(directory_, section::COUNT);
  for (int i = 0; i < section::COUNT; ++i) {
    for (MergedSection entries(runs_, i); entries.next();) {
      merged->write(entries.key(), entries.payload());
    }
    merged->end_section();
  }
  runs_.clear();
  runs_.push_back(std::move(merged));
}

}  // namespace ostren::fenra::store
