#include "cli/lemma_cache.h"

#include "cli/store.h"

namespace cli {

LemmaCache::LemmaCache(const ArticledbRules& rules)
    : rules_(rules), lemmatizer_(load_lemmatizer()) {}

std::string LemmaCache::lemma_of(const std::string& form) {
  std::string lemma;
  if (!find(form, &lemma)) {
    const StringList lemmas(
        rules_.first_lemma(lemmatizer_.get(), form.data(), static_cast<int>(form.size())));
    lemma = static_cast<const char*>(lemmas->data);
    insert(form, lemma);
  }
  return lemma;
}

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

GList* LemmaCache::first_lemma(void* lemmatizer, const char* form, int length) {
  const std::string word(form, static_cast<size_t>(length));
  const std::string lemma = static_cast<LemmaCache*>(lemmatizer)->lemma_of(word);
  return articledb_string_list_prepend(nullptr, lemma.c_str());
}

}  // namespace cli
