#include "facade/fenra.h"

#include "facade/lexicon_record.h"
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

}  // namespace ostren::fenra
