// The embedded lexicon through loaders that want a file.
#ifndef FENRA_FACADE_LEXICON_LOADING_H
#define FENRA_FACADE_LEXICON_LOADING_H

#include <fenra/embedded_lexicon.h>
#include <fenra/temporary_file.h>
#include <glib.h>

#include <string>

#include "articles/failure.h"

namespace ostren::fenra {

// What `load` makes of the name of a file with the embedded lexicon. Throws articles::Failure when
// the file cannot be written to the temporary directory, or `load` gives null.
template <typename Load>
auto load_embedded(Load load) {
  const TmpFile file(fstContent, fstContentSize);
  if (file.name() == nullptr) {
    throw articles::Failure(std::string("cannot write the lexicon to the temporary directory '") +
                            g_get_tmp_dir() + "'; set TMPDIR to another one");
  }
  auto handle = load(file.name());
  if (handle == nullptr) {
    throw articles::Failure("cannot load the lexicon");
  }
  return handle;
}

}  // namespace ostren::fenra

#endif  // FENRA_FACADE_LEXICON_LOADING_H
