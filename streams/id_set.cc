#include "streams/id_set.h"

#include <algorithm>
#include <cstring>

#include "store/reading/prefix_scan.h"

namespace ostren::fenra::streams {
namespace {

constexpr guint64 WORD_BITS = 64;
// 32 MiB.
constexpr guint64 MAX_BITS = guint64{1} << 28;
constexpr gsize MIN_OTHERS = 4096;

struct IdSet {
  OstrenGenerator head;
  guint64 words;  // the ids less than words * WORD_BITS have a bit
  guint64* bits;
  guint64* others;  // the first `others_length` are in use
  gsize others_length;
  gsize others_room;
  guint64 id;  // the element
  // The next elements: what is left of a word, and the others from a place on.
  guint64 word;
  guint64 left;
  gsize next_other;
};

IdSet* from_head(OstrenGenerator* gener) { return reinterpret_cast<IdSet*>(gener); }

void sort_others(IdSet* set) {
  std::sort(set->others, set->others + set->others_length);
  set->others_length =
      static_cast<gsize>(std::unique(set->others, set->others + set->others_length) - set->others);
}

void add_other(IdSet* set, guint64 id) {
  if (set->others_length == set->others_room) {
    // Room for as many again as are different.
    sort_others(set);
    set->others_room = MAX(MIN_OTHERS, set->others_length * 2);
    set->others = g_renew(guint64, set->others, set->others_room);
  }
  set->others[set->others_length++] = id;
}

void add(void* ids, guint64 id) {
  auto* set = static_cast<IdSet*>(ids);
  if (id / WORD_BITS < set->words) {
    set->bits[id / WORD_BITS] |= guint64{1} << id % WORD_BITS;
  } else {
    add_other(set, id);
  }
}

int id_set_free(OstrenGenerator* gener) {
  IdSet* set = from_head(gener);
  g_free(set->bits);
  g_free(set->others);
  g_free(set);
  return 0;
}

IdSet* new_set_of_words(guint64 words) {
  auto* set = g_new0(IdSet, 1);
  ostren_generator_init(&set->head, id_set_next, id_set_free);
  set->words = words;
  set->bits = g_new0(guint64, words);
  return set;
}

IdSet* new_set(guint64 max_id) { return new_set_of_words(MIN(max_id, MAX_BITS) / WORD_BITS + 1); }

// To its first element.
OstrenGenerator* finish(IdSet* set) {
  sort_others(set);
  set->left = set->bits[0];
  return &set->head;
}

}  // namespace

OstrenGenerator* id_set_new(ArticledbDb* db, const std::function<int(AddId add, void* ids)>& read) {
  guint64 max_id = 0;
  if (articledb_db_max_id(db, &max_id) != 0) {
    return nullptr;
  }
  auto* set = new_set(max_id);
  if (read(add, set) != 0) {
    id_set_free(&set->head);
    return nullptr;
  }
  return finish(set);
}

std::string_view id_set_bits(const OstrenGenerator* gener) {
  const auto* set = reinterpret_cast<const IdSet*>(gener);
  return set->others_length != 0 ? std::string_view()
                                 : std::string_view(reinterpret_cast<const char*>(set->bits),
                                                    set->words * sizeof *set->bits);
}

OstrenGenerator* id_set_of_bits_new(std::string_view bits) {
  IdSet* set = new_set_of_words(bits.size() / sizeof *set->bits);
  memcpy(set->bits, bits.data(), bits.size());
  return finish(set);
}

OstrenGenerator* id_set_of_trigrams_new(ArticledbDb* db, const char* prefix, guint32 length) {
  guint64 max_id = 0;
  if (articledb_db_max_id(db, &max_id) != 0) {
    max_id = 0;
  }
  auto* set = new_set(max_id);
  store::scan_trigrams(db, prefix, length, add, set);
  return finish(set);
}

int id_set_next(OstrenGenerator* gener, void** item) { return id_set_skip(gener, 0, item); }

int id_set_skip(OstrenGenerator* gener, guint64 least, void** item) {
  IdSet* set = from_head(gener);
  const guint64 word = MIN(least / WORD_BITS, set->words);
  if (word > set->word && set->word < set->words) {
    set->word = word;
    set->left = word < set->words ? set->bits[word] : 0;
  }
  while (set->word < set->words && set->left == 0) {
    ++set->word;
    set->left = set->word < set->words ? set->bits[set->word] : 0;
  }
  if (set->left != 0) {
    set->id = set->word * WORD_BITS + static_cast<guint32>(__builtin_ctzll(set->left));
    set->left &= set->left - 1;
  } else if (set->next_other < set->others_length) {
    set->id = set->others[set->next_other++];
  } else {
    return 0;
  }
  *item = &set->id;
  return 1;
}

}  // namespace ostren::fenra::streams
