#include "cli/lemma_cache.h"

#include "cli/store.h"

namespace cli {

bool LemmaCache::find(const std::string& form, std::string* lemma) {
  Shard& shard = shard_of(form);
  const std::lock_guard<std::mutex> hold(shard.mutex);
  const auto known = shard.lemmas.find(form);
  if (known == shard.lemmas.end()) {
    return false;
  }
  *lemma = known->second;
  return true;
}

void LemmaCache::insert(const std::string& form, const std::string& lemma) {
  Shard& shard = shard_of(form);
  const std::lock_guard<std::mutex> hold(shard.mutex);
  if (shard.lemmas.size() >= kMostForms) {
    shard.lemmas.clear();
  }
  shard.lemmas.emplace(form, lemma);
}

CachedLemmatizer::CachedLemmatizer(LemmaCache* cache)
    : cache_(cache), lemmatizer_(load_lemmatizer()) {}

GList* CachedLemmatizer::first_lemma(void* lemmatizer, const char* form, int length) {
  const std::string& lemma = static_cast<CachedLemmatizer*>(lemmatizer)->lemma_of(form, length);
  return articledb_string_list_prepend(nullptr, lemma.c_str());
}

const std::string& CachedLemmatizer::lemma_of(const char* form, int length) {
  form_.assign(form, static_cast<size_t>(length));
  if (!cache_->find(form_, &lemma_)) {
    const StringList lemmas(
        articledb_simple_fst_lemmatizer_first_lemma(lemmatizer_.get(), form, length));
    lemma_ = static_cast<const char*>(lemmas->data);
    cache_->insert(form_, lemma_);
  }
  return lemma_;
}

}  // namespace cli
