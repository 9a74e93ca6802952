#include "facade/fenra.h"

namespace ostren {
namespace fenra {

const int ResultIteratorBasic::URL_BUFFER_SIZE;

Fenra* Fenra::createInstance(int kind, const char* path) {
  if (kind != 0) {
    return nullptr;
  }
  // The lemmatizer loads the whole transducer; the file is not read again.
  const TmpFile lexicon(fstContent, fstContentSize);
  return new FenraBasic(path, lexicon.name());
}

Fenra* Fenra::createInstance(const char* path) { return createInstance(0, path); }

ResultIterator* FenraData::lookup(const char* query) {
  return new ResultIteratorBasic(parse_query(query == nullptr ? "" : query), this);
}

}  // namespace fenra
}  // namespace ostren
