// The loops that indexing and searching spend their time in, one at a time.
// FENRA_BENCH_PAGES names a directory of HTML pages, FENRA_BENCH_WORDS a file of words,
// one a line, and FENRA_BENCH_STORE a store of articles.
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/texts.h"
#include "facade/fenra.h"
#include "fst/ostrenfst.h"

namespace {

const char* setting(const char* name) {
  const char* value = getenv(name);
  if (value == nullptr) {
    throw std::runtime_error(std::string(name) + " is not set");
  }
  return value;
}

// ---- text ----

const std::vector<std::string>& pages() {
  static const std::vector<std::string> read = bench::read_pages(setting("FENRA_BENCH_PAGES"));
  return read;
}

template <typename Work>
void run_on_texts(benchmark::State& state, const std::vector<std::string>& texts, Work work) {
  for (auto _ : state) {
    for (const std::string& text : texts) {
      benchmark::DoNotOptimize(work(text));
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bench::total_size(texts)));
}

void html_to_text(benchmark::State& state) { run_on_texts(state, pages(), bench::convert); }
BENCHMARK(html_to_text);

void tokenizer(benchmark::State& state) {
  std::vector<std::string> texts;
  for (const std::string& page : pages()) {
    texts.push_back(bench::convert(page));
  }
  run_on_texts(state, texts, bench::count_tokens);
}
BENCHMARK(tokenizer);

// ---- streams ----

constexpr size_t kIds = 1 << 17;

// Ascending ids and the pointers to them that a stream hands out.
class Ids {
 public:
  // Some `count` of the first 4 * kIds ids.
  Ids(size_t count, std::mt19937* random) {
    const double step = 4.0 * kIds / static_cast<double>(count);
    for (size_t i = 0; i < count; ++i) {
      const double place = static_cast<double>(i) + static_cast<double>((*random)() % 1000) / 1000;
      const auto id = static_cast<guint64>(place * step) + 1;
      if (ids_.empty() || id > ids_.back()) {
        ids_.push_back(id);
      }
    }
    for (guint64& id : ids_) {
      pointers_.push_back(&id);
    }
  }
  OstrenGenerator* stream() {
    return ostren_generator_from_array_new(pointers_.data(),
                                           static_cast<guint32>(pointers_.size()));
  }
  size_t size() const { return ids_.size(); }

 private:
  std::vector<guint64> ids_;
  std::vector<void*> pointers_;
};

// Time for each id of the inputs.
template <typename Combine>
void run_on_streams(benchmark::State& state, size_t streams, Combine combine) {
  std::mt19937 random(1);
  std::vector<Ids> inputs;
  inputs.reserve(streams);
  size_t ids = 0;
  for (size_t i = 0; i < streams; ++i) {
    ids += inputs.emplace_back(kIds / streams, &random).size();
  }
  for (auto _ : state) {
    OstrenGenerator* const result = combine(inputs);
    void* item;
    while (ostren_generator_next(result, &item) == 1) {
      benchmark::DoNotOptimize(item);
    }
    ostren_generator_free(result);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(ids));
}

void union_of(benchmark::State& state) {
  run_on_streams(state, static_cast<size_t>(state.range(0)), [](std::vector<Ids>& inputs) {
    GList* list = nullptr;
    for (Ids& input : inputs) {
      list = g_list_prepend(list, input.stream());
    }
    OstrenGenerator* const result = ostren_generator_union_from_glist(list, guint64_cmp);
    g_list_free(list);
    return result;
  });
}
BENCHMARK(union_of)->Arg(2)->Arg(16)->Arg(128);

void intersection_of(benchmark::State& state) {
  run_on_streams(state, static_cast<size_t>(state.range(0)), [](std::vector<Ids>& inputs) {
    OstrenGenerator* result = nullptr;
    for (Ids& input : inputs) {
      result =
          result == nullptr ? input.stream() : articledb_guint64_cutter_new(result, input.stream());
    }
    return result;
  });
}
BENCHMARK(intersection_of)->Arg(2)->Arg(3);

// ---- lexicon and store ----

std::vector<std::string> words() {
  std::ifstream file(setting("FENRA_BENCH_WORDS"));
  return {std::istream_iterator<std::string>(file), {}};
}

void look_iterator(benchmark::State& state) {
  const ostren::fenra::TmpFile file(fstContent, fstContentSize);
  const std::unique_ptr<LkFst, void (*)(LkFst*)> fst(lk_fst_new_from_binary_file(file.name()),
                                                     lk_fst_free);
  const std::vector<std::string> list = words();
  lk_fst_sort(fst.get(), LK_LOOK_UP);
  LkLookIterator search;
  char result[512];
  for (auto _ : state) {
    for (const std::string& word : list) {
      lk_look_iterator_init(&search, fst.get(), word.c_str(), LK_LOOK_UP);
      benchmark::DoNotOptimize(lk_look_iterator_next(&search, result, sizeof result));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(list.size()));
}
BENCHMARK(look_iterator);

// With what the lemmatizer remembers, so in the order of a text.
void first_lemma(benchmark::State& state) {
  const ostren::fenra::TmpFile file(fstContent, fstContentSize);
  const std::unique_ptr<void, int (*)(void*)> lemmatizer(
      articledb_simple_fst_lemmatizer_new(file.name()), articledb_simple_fst_lemmatizer_free);
  const std::vector<std::string> list = words();
  for (auto _ : state) {
    for (const std::string& word : list) {
      articledb_string_list_free(articledb_simple_fst_lemmatizer_first_lemma(
          lemmatizer.get(), word.data(), static_cast<int>(word.size())));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(list.size()));
}
BENCHMARK(first_lemma);

void url_of_id(benchmark::State& state) {
  const std::unique_ptr<ArticledbDb, int (*)(ArticledbDb*)> db(articledb_db_new(),
                                                               articledb_db_close);
  guint64 max_id = 0;
  if (articledb_db_open(db.get(), setting("FENRA_BENCH_STORE")) != 0 ||
      articledb_db_max_id(db.get(), &max_id) != 0 || max_id == 0) {
    throw std::runtime_error("the store has no articles");
  }
  std::mt19937_64 random(1);
  char url[ostren::fenra::ResultIteratorBasic::URL_BUFFER_SIZE];
  for (auto _ : state) {
    guint32 size = sizeof url;
    benchmark::DoNotOptimize(
        articledb_db_lookup_id_to_url(db.get(), 1 + random() % max_id, url, &size));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(url_of_id);

}  // namespace

BENCHMARK_MAIN();
