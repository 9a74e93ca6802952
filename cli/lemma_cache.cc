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
  const std::string_view bytes(form, static_cast<size_t>(length));
  Place& place = places_[std::hash<std::string_view>()(bytes) % kPlaces];
  if (place.form == bytes && length != 0) {
    return place.lemma;
  }
  place.form = bytes;
  if (!cache_->find(place.form, &place.lemma)) {
    const StringList lemmas(
        articledb_simple_fst_lemmatizer_first_lemma(lemmatizer_.get(), form, length));
    place.lemma = static_cast<const char*>(lemmas->data);
    cache_->insert(place.form, place.lemma);
  }
  return place.lemma;
}

}  // namespace cli
