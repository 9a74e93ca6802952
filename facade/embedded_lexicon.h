// The lexicon that is compiled into the library.
#ifndef FENRA_EMBEDDED_LEXICON_H
#define FENRA_EMBEDDED_LEXICON_H

#include <fenra/export.h>

#include <cstdio>
#include <string>

// The embedded lexicon: a gzip-compressed binary transducer file, constant for
// the life of the process.
extern "C" {
FENRA_API extern const unsigned char fstContent[];
FENRA_API extern const unsigned int fstContentSize;
}

namespace ostren {
namespace fenra {

// Names the embedded lexicon by its content: the CRC-32 of the transducer file that
// fstContent holds compressed, 8 hexadecimal digits, as the trailer of the gzip
// format has it. Indexes made with another lexicon have other lemmas.
inline std::string lexiconVersion() {
  const unsigned char* crc = fstContent + fstContentSize - 8;
  char digits[9];
  snprintf(digits, sizeof digits, "%02x%02x%02x%02x", crc[3], crc[2], crc[1], crc[0]);
  return digits;
}

// On disk: the file of a store directory that lists, a line each, the versions of
// the lexicons that instances and indexing programs have opened the store with.
constexpr char LEXICON_RECORD[] = "fenra.lexicon";

}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_EMBEDDED_LEXICON_H
