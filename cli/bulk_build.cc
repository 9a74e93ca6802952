#include "cli/bulk_build.h"

#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include "cli/failure.h"
#include "cli/input_article.h"
#include "cli/ordered_pool.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

// Prepared articles that wait for their turn, for each worker.
constexpr size_t kWaitingPerWorker = 8;

// An input as a worker leaves it: prepared, refused or skipped.
struct Outcome {
  std::string name;     // of the input
  BulkArticle article;  // null when there is none
  uint64_t bytes = 0;
  std::string refusal;
  std::string skipped;
};

class Worker {
 public:
  Worker(const ArticledbRules& rules, void* lemmatizer) : rules_(&rules), lemmatizer_(lemmatizer) {}

  Outcome operator()(const Input& input) const {
    Outcome outcome;
    outcome.name = input.name;
    outcome.skipped = input.skipped;
    if (!input.skipped.empty()) {
      return outcome;
    }
    try {
      const InputArticle article(input, *rules_);
      outcome.article = prepare(article);
      outcome.bytes = article.bytes();
    } catch (const Refused& refused) {
      outcome.refusal = refused.reason;
    }
    return outcome;
  }

 private:
  BulkArticle prepare(const InputArticle& article) const {
    ArticledbBulkArticle* prepared = nullptr;
    const int status = articledb_bulk_prepare(article.offered().metadata(), rules_->next_token,
                                              article.offered().tokenizer(), rules_->first_lemma,
                                              lemmatizer_, &prepared);
    BulkArticle owner(prepared);
    if (status != 0) {
      throw Failure("cannot read " + article.input().name + ": " + status_text(status));
    }
    return owner;
  }

  const ArticledbRules* rules_;
  void* lemmatizer_;
};

std::string reason_not_to_build(const std::string& path, int status) {
  switch (status) {
    case EEXIST:
      return has_database(path) ? "it is a store already; name a new or an empty directory, or "
                                  "leave out --bulk to add to it"
                                : "there is something that is not a store; name a new or an empty "
                                  "directory";
    case EBUSY:
      return "somebody else is building it";
    case EPERM:
      return build_refusal(path, status_text(status));
    default:
      return status_text(status);
  }
}

int show_progress(void* progress, guint64 done, guint64 total) {
  static_cast<Progress*>(progress)->working("writing the store", done, total);
  return stop_requested() ? 1 : 0;
}

}  // namespace

BulkBuild::BulkBuild(const std::string& store, const ArticledbRules& rules)
    : path_(store), rules_(rules) {
  ArticledbBulk* bulk = nullptr;
  const int status = articledb_bulk_new(&bulk, store.c_str(), 0);
  bulk_.reset(bulk);
  if (status != 0) {
    throw Failure("cannot make a store of '" + store + "': " + reason_not_to_build(store, status));
  }
  articledb_bulk_set_rules(bulk, rules.name);
}

void BulkBuild::add_all(Inputs& inputs, Progress& progress) {
  ostren::fenra::articles::compile_patterns();
  const Lemmatizer lemmatizer = load_lemmatizer();
  std::vector<Worker> workers;
  for (unsigned i = worker_count(); i > 0; --i) {
    workers.emplace_back(rules_, lemmatizer.get());
  }
  OrderedPool<Input, Outcome> pool([&inputs] { return inputs.next(); },
                                   workers.size() * kWaitingPerWorker, workers);
  while (!stop_requested()) {
    std::optional<Outcome> outcome = pool.next();
    if (!outcome) {
      return;
    }
    if (!outcome->skipped.empty()) {
      progress.skipped(outcome->skipped);
      continue;
    }
    if (outcome->article == nullptr) {
      progress.refused(outcome->name, outcome->refusal);
      continue;
    }
    const int status = articledb_bulk_add(bulk_.get(), outcome->article.release(), nullptr);
    if (status != 0) {
      throw Failure("the store failed at " + outcome->name + ": " + status_text(status));
    }
    progress.indexed(outcome->bytes);
  }
}

void BulkBuild::finish(Progress& progress) {
  const int status =
      stop_requested() ? ECANCELED : articledb_bulk_finish(bulk_.get(), show_progress, &progress);
  bulk_.reset();
  if (status != 0) {
    progress.nothing_stored();
  }
  if (status == ECANCELED) {
    progress.note("interrupted: nothing is stored");
    return;
  }
  if (status != 0) {
    throw Failure("the store cannot be written: " + status_text(status));
  }
  note_lexicon(path_);
}

}  // namespace cli
