#include "store/bulk/article_sorter.h"

#include "store/sorted/merged_section.h"
#include "store/sorted/run_file.h"
#include "store/sorted/sections.h"

namespace ostren::fenra::store {
namespace {

// Open files, and memory for reading them, stay bounded.
constexpr size_t MOST_RUNS = 64;

}  // namespace

void ArticleSorter::add(std::unique_ptr<PreparedArticle> article, guint64 id) {
  const auto keep = [this](std::string* record) -> std::string_view {
    records_.push_back(std::move(*record));
    return records_.back();
  };
  entries_.add({id, article->url_key, article->source_key, article->date,
                keep(&article->url_record), keep(&article->text_record)});
  entries_.add_terms(article->terms);
  if (entries_.bytes() + records_.size() * sizeof(std::string) >= limit_) {
    write_run();
  }
}

const SortedFiles& ArticleSorter::finish() {
  if (!entries_.is_empty()) {
    write_run();
  }
  return runs_;
}

void ArticleSorter::write_run() {
  auto run = std::make_unique<RunFile>(directory_);
  entries_.write(run.get());
  records_.clear();
  runs_.push_back(std::move(run));
  if (runs_.size() == MOST_RUNS) {
    merge_runs();
  }
}

// Makes one run of all.
void ArticleSorter::merge_runs() {
  auto merged = std::make_unique<RunFile>(directory_);
  for (int i = 0; i < section::COUNT; ++i) {
    merge_section(
        runs_, i, [](std::string_view) { return true; }, [] {}, merged.get());
    merged->end_section();
  }
  runs_.clear();
  runs_.push_back(std::move(merged));
}

}  // namespace ostren::fenra::store
