#include <cstring>

#include "text/articledb_util.h"

void trigram_builder_init(TrigramBuilder* builder) {
  for (auto& word : builder->words) {
    word[0] = '\0';
  }
  builder->next = 0;
}

int trigram_builder_next_trigram(TrigramBuilder* builder, const char* word, int length,
                                 const char** trigram, int* trigram_length) {
  if (length < 1 || length >= TRIGRAM_BUILDER_WORD_SIZE) {
    trigram_builder_init(builder);
    return 0;
  }
  char* const newest = builder->words[builder->next];
  memcpy(newest, word, static_cast<size_t>(length));
  newest[length] = '\0';
  builder->next = (builder->next + 1) % TRIGRAM_BUILDER_WORDS;
  if (builder->words[builder->next][0] == '\0') {
    return 0;
  }
  char* end = builder->trigram;
  for (int i = 0; i < TRIGRAM_BUILDER_WORDS; ++i) {
    const char* const next = builder->words[(builder->next + i) % TRIGRAM_BUILDER_WORDS];
    end = stpcpy(end, next) + 1;
  }
  *trigram = builder->trigram;
  *trigram_length = static_cast<int>(end - builder->trigram);
  return 1;
}
