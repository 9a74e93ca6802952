#include "facade/fenra.h"

#include <algorithm>
#include <set>
#include <vector>

#include "facade/lexicon_record.h"
#include "query/word.h"
#include "store/creation.h"

namespace ostren::fenra {

const int ResultIteratorBasic::URL_BUFFER_SIZE;

Fenra* Fenra::createInstance(int kind, const char* path) {
  if (kind != 0) {
    return nullptr;
  }
  store::complete_store(path);
  // The lemmatizer loads the whole transducer; the file is not read again.
  const TmpFile lexicon(fstContent, fstContentSize);
  auto* instance = new FenraBasic(path, lexicon.name());
  if (instance->error() == FENRA_NO_ERROR) {
    record_lexicon(path);
  }
  return instance;
}

Fenra* Fenra::createInstance(const char* path) { return createInstance(0, path); }

ResultIterator* FenraData::lookup(const char* query) {
  return new ResultIteratorBasic(parse_query(query == nullptr ? "" : query), this);
}

OstrenGenerator* FenraData::parse_tokens(const char* query) {
  const size_t length = std::min<size_t>(strlen(query), INT_MAX);
  std::vector<query::Word> words;
  query::WordReader(*rules, lemmatizer).read({query, length}, &words);
  std::set<std::string> seen;
  OstrenGenerator* result = nullptr;
  for (const query::Word& word : words) {
    if (seen.insert(word.form).second) {
      result = intersection(result, query::word_stream(db, word));
    }
  }
  return result;
}

}  // namespace ostren::fenra
