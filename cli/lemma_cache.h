// The lemmas of forms that have been asked for, shared by threads.
#ifndef FENRA_CLI_LEMMA_CACHE_H
#define FENRA_CLI_LEMMA_CACHE_H

#include <array>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "cli/handles.h"

namespace cli {

class LemmaCache {
 public:
  // Writes the lemma of the form, when it is known, to *lemma.
  bool find(const std::string& form, std::string* lemma);

  void insert(const std::string& form, const std::string& lemma);

 private:
  static constexpr size_t kShards = 64;
  // Some 100 bytes each. A shard that is full begins anew.
  static constexpr size_t kMostForms = 400000 / kShards;

  struct Shard {
    std::mutex mutex;
    std::unordered_map<std::string, std::string> lemmas;  // by form
  };

  Shard& shard_of(const std::string& form) {
    return shards_[std::hash<std::string_view>()(form) / 64 % kShards];
  }

  std::array<Shard, kShards> shards_;
};

// A lemmatizer that remembers. One thread uses it at a time.
class CachedLemmatizer {
 public:
  // Loads a lexicon of its own. Borrows the cache. Throws Failure.
  explicit CachedLemmatizer(LemmaCache* cache);

  // As articledb_simple_fst_lemmatizer_first_lemma, with a CachedLemmatizer*.
  static GList* first_lemma(void* lemmatizer, const char* form, int length);

 private:
  const std::string& lemma_of(const char* form, int length);

  // The forms that are met most often, without a lock: each has one place where it can be.
  static constexpr size_t kPlaces = 1 << 14;
  struct Place {
    std::string form;
    std::string lemma;
  };

  LemmaCache* const cache_;
  const Lemmatizer lemmatizer_;
  std::vector<Place> places_ = std::vector<Place>(kPlaces);
};

}  // namespace cli

#endif  // FENRA_CLI_LEMMA_CACHE_H
