// What texts, queries and transducers that someone made to be slow cost, beside
// ordinary ones: 10 MB each. FENRA_BENCH_PAGES names a directory of HTML pages that
// serve as the ordinary ones; without it a page is made up.
//
// Text is converted and cut on a thread with 256 KiB of stack, which any recursion
// that depends on the text would overflow. The second part of a benchmark's name
// says how PCRE runs. Hostile texts are converted as the body of a page, so that
// every pass sees them, and bare.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/texts.h"
#include "facade/fenra.h"
#include "fst/ostrenfst.h"
#include "tests/support/temporary_directory.h"
#include "tests/text/support.h"
#include "text/articledb_util.h"

namespace {

using ostren::fenra::Fenra;
using ostren::fenra::ResultIterator;

constexpr size_t kSize = 10 * 1000 * 1000;

std::string repeated(const std::string& unit) {
  std::string text;
  text.reserve(kSize + unit.size());
  while (text.size() < kSize) {
    text += unit;
  }
  return text;
}

std::string random_bytes() {
  std::mt19937 random(1);
  std::string text(kSize, '\0');
  std::generate(text.begin(), text.end(), [&] { return static_cast<char>(1 + random() % 255); });
  return text;
}

std::string random_characters() {
  std::mt19937 random(1);
  std::string text;
  while (text.size() < kSize) {
    const size_t size = 1 + random() % 4;  // in UTF-8
    constexpr uint32_t kLeast[] = {1, 0x80, 0x800, 0x10000};
    constexpr uint32_t kMost[] = {0x7F, 0x7FF, 0xD7FF, 0x10FFFF};
    const uint32_t code = kLeast[size - 1] + random() % (kMost[size - 1] - kLeast[size - 1] + 1);
    char bytes[6];
    text.append(bytes, static_cast<size_t>(g_unichar_to_utf8(code, bytes)));
  }
  return text;
}

struct Input {
  std::string name;
  std::function<std::string()> make;
};

Input unit(const std::string& text) {
  return {text, [text] { return repeated(text); }};
}

const std::vector<Input>& hostile_texts() {
  static const std::vector<Input> inputs = {
      unit("<!--"),
      unit(">"),
      unit("<title>x</title"),
      {"a.a...", [] { return "a.a" + repeated("."); }},
      unit("a://"),
      {"one word", [] { return repeated("a"); }},
      {"random bytes", random_bytes},
      {"random UTF-8", random_characters},
      {"whitespace", [] { return repeated(" \n\t"); }},
      unit("&#38;"),
      unit("< "),
      unit("<script"),
      unit("\xC5\xBF"),
  };
  return inputs;
}

std::string made_up_page() {
  std::string page = "<html><head><title>Izenburua</title></head><body>";
  while (page.size() < 10000) {
    page +=
        "<p class=\"x\">Gure <b>etxea</b> zuria da, eta <a href=\"a.html\">mendiak</a> "
        "handiak; ikus txostena.pdf &amp; besteak.</p>\n<br>";
  }
  return page + "</body></html>";
}

const std::vector<std::string>& ordinary_pages() {
  static const std::vector<std::string> pages = [] {
    const char* directory = getenv("FENRA_BENCH_PAGES");
    std::vector<std::string> read;
    if (directory != nullptr) {
      read = bench::read_pages(directory);
    }
    if (read.empty()) {
      read.push_back(made_up_page());
    }
    return read;
  }();
  return pages;
}

void add(const std::string& name, const std::function<void(benchmark::State&)>& run) {
  benchmark::RegisterBenchmark(name.c_str(), run)->UseRealTime()->Unit(benchmark::kMillisecond);
}

// ---- text ----

// Megabytes (10^6 bytes) a second, and what else is worth a column.
void report(benchmark::State& state, size_t bytes_a_round) {
  state.counters["MB/s"] = benchmark::Counter(static_cast<double>(bytes_a_round) / 1e6,
                                              benchmark::Counter::kIsIterationInvariantRate);
}

// Runs `work` on every text, on a small stack. The counter "results" is the sum of
// what it returns.
void measure(benchmark::State& state, bool interpreter, const std::vector<std::string>& texts,
             const std::function<size_t(const std::string&)>& work) {
  pcre_seam::interpreter_only = interpreter;
  size_t results = 0;
  for (auto _ : state) {
    results = 0;
    on_small_stack([&] {
      for (const std::string& text : texts) {
        results += work(text);
      }
    });
  }
  pcre_seam::interpreter_only = false;
  report(state, bench::total_size(texts));
  state.counters["results"] = static_cast<double>(results);
}

// In a page, every pass of the conversion gets to see the text.
std::string in_page(const std::string& text) { return "<title>T</title><body></p>" + text + "<"; }

size_t converted_size(const std::string& page) { return bench::convert(page).size(); }

std::string way(bool interpreter) { return interpreter ? "/interpreter/" : "/machine code/"; }

void register_text(const std::string& input, bool interpreter,
                   const std::function<std::vector<std::string>()>& pages,
                   const std::function<std::vector<std::string>()>& texts) {
  add("html" + way(interpreter) + input,
      [=](benchmark::State& state) { measure(state, interpreter, pages(), converted_size); });
  add("tokenizer" + way(interpreter) + input,
      [=](benchmark::State& state) { measure(state, interpreter, texts(), bench::count_tokens); });
}

void register_texts() {
  using Texts = std::vector<std::string>;
  for (const bool interpreter : {false, true}) {
    register_text("ordinary", interpreter, ordinary_pages, [] {
      Texts texts;
      for (const std::string& page : ordinary_pages()) {
        texts.push_back(bench::convert(page));
      }
      return texts;
    });
    for (const Input& input : hostile_texts()) {
      register_text(
          input.name, interpreter, [=] { return Texts{in_page(input.make())}; },
          [=] { return Texts{input.make()}; });
      add("html, no page" + way(interpreter) + input.name, [=](benchmark::State& state) {
        measure(state, interpreter, {input.make() + "</p>"}, converted_size);
      });
    }
  }
}

// ---- queries ----

std::string words_of_length(size_t length) {
  std::mt19937 random(1);
  std::string text = repeated(std::string(length, 'a') + " ");
  for (char& c : text) {
    c = c == ' ' ? c : static_cast<char>('a' + random() % 26);
  }
  return text;
}

double heap_in_use() {
  const struct mallinfo2 heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd) / 1e6;
}

void measure_query(benchmark::State& state, const std::string& query) {
  const TemporaryDirectory directory;
  const std::unique_ptr<Fenra> fenra(Fenra::createInstance((directory / "store").c_str()));
  for (int i = 0; i < 100; ++i) {
    fenra->index(("u:" + std::to_string(i)).c_str(), "a b c d e etxe zuria da", "text/plain");
  }
  double answers = 0;
  double heap = 0;
  const double before = heap_in_use();
  for (auto _ : state) {
    const std::unique_ptr<ResultIterator> results(fenra->lookup(query.c_str()));
    heap = heap_in_use() - before;
    for (answers = 0; results->next() != nullptr;) {
      ++answers;
    }
    // Freed as on a thread of a host.
    on_small_stack([&] { results->close(); });
  }
  report(state, query.size());
  state.counters["answers"] = answers;
  state.counters["heap_MB"] = heap;
}

void register_queries() {
  const Input queries[] = {
      {"ordinary", [] { return std::string("etxea zuria"); }},
      {"one word", [] { return repeated("a"); }},
      {"words of 1 letter", [] { return repeated("a "); }},
      {"words of 1 letter, mixed", [] { return words_of_length(1); }},
      {"words of 4 letters, mixed", [] { return words_of_length(4); }},
      {"random bytes", random_bytes},
  };
  for (const Input& query : queries) {
    add("query/" + query.name,
        [query](benchmark::State& state) { measure_query(state, query.make()); });
  }
}

// ---- transducers ----

std::string lines(const std::function<std::string(size_t)>& line, const std::string& end) {
  std::string text;
  for (size_t i = 0; text.size() < kSize; ++i) {
    text += line(i);
  }
  return text + end;
}

void register_att_texts() {
  const auto arc = [](size_t i) {
    return std::to_string(i) + ' ' + std::to_string(i + 1) + " 3 3\n";
  };
  const Input texts[] = {
      {"chain of arcs", [=] { return lines(arc, "0\n0 E\n3 a\n"); }},
      {"arcs of 65535 a state",
       [] {
         return lines([](size_t i) { return std::to_string(i / 65535) + " 0 3 3\n"; },
                      "0\n0 E\n3 a\n");
       }},
      {"arcs of one state", [] { return repeated("0 0 3 3\n"); }},
      {"sources apart", [] { return repeated("0 0 3 3\n1 1 3 3\n"); }},
      {"line feeds", [] { return repeated("\n"); }},
      {"blanks", [] { return repeated(" "); }},
      {"comments", [] { return repeated("#\n"); }},
      {"one comment", [] { return repeated("#"); }},
      {"one number", [] { return repeated("1"); }},
      {"numbers on one line", [] { return repeated("1 "); }},
      {"symbols", [] { return "0\n0 E\n" + repeated("3 a\n"); }},
      {"random bytes", random_bytes},
  };
  for (const Input& input : texts) {
    add("att/" + input.name, [input](benchmark::State& state) {
      const std::string text = input.make();
      double states = 0;
      for (auto _ : state) {
        LkFst* const fst = lk_fst_new_from_att_string(text.c_str());
        states = fst != nullptr ? static_cast<double>(fst->node_count) : 0;
        lk_fst_free(fst);
      }
      report(state, text.size());
      state.counters["states"] = states;
    });
  }
}

// 10 MB of cells with random content behind a header that claims all of it.
void register_damaged_transducer() {
  add("damaged transducer/sort", [](benchmark::State& state) {
    const std::string cells = random_bytes();
    const std::unique_ptr<LkFst, void (*)(LkFst*)> fst(
        static_cast<LkFst*>(malloc(sizeof(LkFst) + cells.size())), lk_fst_free);
    for (auto _ : state) {
      const auto size = static_cast<NodeIndex>(cells.size());
      *fst = LkFst{size, size, sizeof(Node), size, sizeof(Edge), 0};
      memcpy(static_cast<void*>(fst->data), cells.data(), cells.size());
      lk_fst_sort(fst.get(), LK_LOOK_UP);
      lk_fst_sort(fst.get(), LK_LOOK_DOWN);
    }
    report(state, cells.size());
  });
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  register_texts();
  register_queries();
  register_att_texts();
  register_damaged_transducer();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
