// The lemmas of all the forms that a program asks for, for threads.
#ifndef FENRA_CLI_LEMMA_CACHE_H
#define FENRA_CLI_LEMMA_CACHE_H

#include <array>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "cli/handles.h"

namespace cli {

// Shared by threads.
class LemmaCache {
 public:
  // Loads the lexicon. Borrows the rules. Throws Failure.
  explicit LemmaCache(const ArticledbRules& rules);

  // The lemmatizer of the rules, with a LemmaCache*.
  static GList* first_lemma(void* lemmatizer, const char* form, int length);

 private:
  static constexpr size_t kShards = 64;
  // Some 100 bytes each. A shard that is full begins anew.
  static constexpr size_t kMostForms = 400000 / kShards;

  struct Shard {
    std::mutex mutex;
    std::unordered_map<std::string, std::string> lemmas;  // by form
  };

  std::string lemma_of(const std::string& form);
  bool find(const std::string& form, std::string* lemma);
  void insert(const std::string& form, const std::string& lemma);

  Shard& shard_of(const std::string& form) {
    return shards_[std::hash<std::string_view>()(form) / 64 % kShards];
  }

  const ArticledbRules& rules_;
  const Lemmatizer lemmatizer_;
  std::array<Shard, kShards> shards_;
};

}  // namespace cli

#endif  // FENRA_CLI_LEMMA_CACHE_H
