#include "lexicon/ostren_ffst.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "lexicon/first_result.h"
#include "lexicon/lemma_memory.h"

namespace Pelko {

namespace {

struct FstDeleter {
  void operator()(LkFst* fst) const { lk_fst_free(fst); }
};
using FstPtr = std::unique_ptr<LkFst, FstDeleter>;

FstPtr load(const char* filename) {
  return FstPtr(is_att_file(filename) != 0 ? lk_fst_new_from_att_file(filename)
                                           : lk_fst_new_from_binary_file(filename));
}

// Appends every result of `word` in the given direction to `output`.
int look(QorLexicon* lex, TransducerOutput& output, const char* word, LkLookDirection direction) {
  if (lex != nullptr && word != nullptr) {
    LkLookIterator iterator;
    char result[RESULT_BUFFER_SIZE];
    lk_look_iterator_init(&iterator, lex->fst, word, direction);
    while (lk_look_iterator_next(&iterator, result, RESULT_BUFFER_SIZE) != 0) {
      output.emplace_back(result);
    }
  }
  return static_cast<int>(output.size());
}

// A search that gives up. The iterator comes first, so that the pusher, which is
// handed the iterator, finds the rest.
struct BoundedSearch {
  LkLookIterator iterator;
  TransitionPusher push;  // the engine's
  int expansions_left;
  const char* word;
  const char* furthest;  // in the word
};
static_assert(std::is_standard_layout_v<BoundedSearch>);

// Pushes nothing once the expansions are used up, so that the search runs dry.
void push_bounded(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node) {
  auto* const search = reinterpret_cast<BoundedSearch*>(stack);
  if (search->expansions_left > 0) {
    --search->expansions_left;
    search->furthest = std::max(search->furthest, state->in_word);
    search->push(stack, state, fst, node);
  }
}

// Goes on from the first state by its arcs of the first character only.
void push_key(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node) {
  const auto* const search = reinterpret_cast<const BoundedSearch*>(stack);
  if (state->parent == nullptr || state->in_word != search->word) {
    push_bounded(stack, state, fst, node);
  }
}

bool run(BoundedSearch& search, const QorLexicon& lex, const char* word, TransitionPusher push,
         char (&result)[RESULT_BUFFER_SIZE]) {
  lk_look_iterator_init(&search.iterator, lex.fst, word, LK_LOOK_UP);
  search.push = search.iterator.push_transitions;
  search.iterator.push_transitions = push;
  search.expansions_left = MAX_EXPANSIONS;
  search.word = search.furthest = word;
  const bool found = lk_look_iterator_next(&search.iterator, result, RESULT_BUFFER_SIZE) != 0;
  // What a search finds while it runs dry need not be the first result.
  return found && search.expansions_left > 0;
}

}  // namespace

bool first_result(const QorLexicon& lex, const char* word, char (&result)[RESULT_BUFFER_SIZE]) {
  BoundedSearch search;
  return run(search, lex, word, push_bounded, result);
}

bool result_of_key(const QorLexicon& lex, const char* key, char (&result)[RESULT_BUFFER_SIZE],
                   size_t* read) {
  BoundedSearch search;
  const bool found = run(search, lex, key, push_key, result);
  *read = static_cast<size_t>(search.furthest - key);
  return found;
}

ErrorCode xfst_init() { return VERIFIER_NO_ERROR; }

ErrorCode xfst_destroy() { return VERIFIER_NO_ERROR; }

bool not_used_verify_file_format(FILE* /*lexicon_file*/) { return false; }

int is_att_file(const char* filename) {
  return filename != nullptr && std::strstr(filename, ".att") != nullptr ? 1 : 0;
}

ErrorCode open_lexicon(QorLexicon** lex, const char* filename) {
  FstPtr fst = load(filename);
  if (fst == nullptr) {
    return VERIFIER_CANNOT_OPEN_FILE;
  }
  auto* opened = new (std::nothrow) QorLexicon;
  if (opened == nullptr) {
    return VERIFIER_CANNOT_OPEN_FILE;
  }
  opened->fst = fst.release();
  *lex = opened;
  return VERIFIER_NO_ERROR;
}

ErrorCode close_lexicon(QorLexicon* lex) {
  if (lex != nullptr) {
    lk_fst_free(lex->fst);
    delete lex->memory;
    delete lex;
  }
  return VERIFIER_NO_ERROR;
}

int lookup(QorLexicon* lex, TransducerOutput& output, const char* word) {
  return look(lex, output, word, LK_LOOK_UP);
}

int lookdown(QorLexicon* lex, TransducerOutput& output, const char* word) {
  return look(lex, output, word, LK_LOOK_DOWN);
}

int lookdown(QorLexicon* /*lex*/, TransducerOutput& /*output*/, const char* /*word*/,
             int /*completion_mode*/) {
  return -1;
}

int lookup_only_the_first(QorLexicon* lex, const char* word) {
  char result[RESULT_BUFFER_SIZE];
  return lex != nullptr && word != nullptr && first_result(*lex, word, result) ? 1 : 0;
}

}  // namespace Pelko
