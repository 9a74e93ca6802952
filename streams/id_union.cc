// A window ends at the least of the ids that are last in what some list has read, so a
// list is read again exactly when a union that compares element by element would
// pull it: for the element after that one.
#include "streams/id_union.h"

#include <cstring>
#include <utility>

#include "streams/id_list.h"

namespace ostren::fenra::streams {
namespace {

using store::ReadAhead;

constexpr guint32 WORD_BITS = 64;
constexpr guint32 MAX_WORDS = 64;
// After a step far ahead, since another one is likely to follow.
constexpr guint32 MIN_WORDS = 1;
constexpr guint32 GROWTH = 4;

// What comes next is the stream's id, if that is pending, and then what it has ahead.
struct List {
  ArticledbGuint64Generator* stream;  // owned
  bool pending;
};

struct IdUnion {
  OstrenGenerator head;
  guint32 size;
  guint32 live;  // lists that have not ended; they are in front
  List* lists;
  gint32 last_status;  // what the list that ended last gave: 0 or 2
  guint64 id;          // the element

  // The window: the ids from `base` on, a bit each, those delivered excepted.
  guint64 base;
  guint32 word;       // the one that `bits` is of
  guint32 words;      // in use
  guint32 max_words;  // of the next window
  guint64 bits;       // left of the word
  guint64 window[MAX_WORDS];
};

IdUnion* from_head(OstrenGenerator* gener) { return reinterpret_cast<IdUnion*>(gener); }

// Reads those of the lists that have nothing from `least` on, and drops the lists that have
// ended.
void refill_lists(IdUnion* united, guint64 least) {
  for (guint32 i = 0; i < united->live;) {
    List* list = &united->lists[i];
    int status = 1;
    if (!list->pending || list->stream->id < least) {
      void* item;
      status = id_list_skip(&list->stream->head, least, &item);
      list->pending = status == 1;
    }
    if (status == 1) {
      ++i;
    } else {
      united->last_status = status;
      std::swap(*list, united->lists[--united->live]);
    }
  }
}

// The last id that is known of a list with a pending one.
guint64 last_known(const List& list) {
  const ReadAhead* ahead = id_list_ahead(list.stream);
  return ahead->empty() ? list.stream->id : ahead->end[-1];
}

// Moves the list's ids that are in the window there.
void move_to_window(List* list, IdUnion* united, guint64 last_bit) {
  ReadAhead* const ahead = id_list_ahead(list->stream);
  const guint64* next = ahead->begin;
  guint64 id = list->stream->id;
  for (guint64 bit; (bit = id - united->base) <= last_bit;) {
    united->window[bit / WORD_BITS] |= guint64{1} << bit % WORD_BITS;
    if (next == ahead->end) {
      list->pending = false;
      break;
    }
    id = *next++;
  }
  list->stream->id = id;
  ahead->begin = next;
}

// Fills the next window from the lists, all of which have ids.
void fill_window(IdUnion* united) {
  guint64 base = G_MAXUINT64;
  guint64 last = G_MAXUINT64;
  for (guint32 i = 0; i < united->live; ++i) {
    base = MIN(base, united->lists[i].stream->id);
    last = MIN(last, last_known(united->lists[i]));
  }
  last = MIN(last - base, united->max_words * WORD_BITS - 1);
  united->base = base;
  united->words = static_cast<guint32>(last / WORD_BITS) + 1;
  memset(united->window, 0, united->words * sizeof united->window[0]);
  for (guint32 i = 0; i < united->live; ++i) {
    move_to_window(&united->lists[i], united, last);
  }
  united->word = 0;
  united->bits = united->window[0];
  united->max_words = MIN(united->max_words * GROWTH, MAX_WORDS);
}

// Goes on behind the window, which has been used up.
int open_window(IdUnion* united, guint64 least) {
  if (united->live == 0) {
    return 0;
  }
  const bool last_one = united->live == 1;
  refill_lists(united, least);
  // Only the failure of a list that was alone counts as the union's own.
  if (united->live == 0) {
    return last_one ? united->last_status : 0;
  }
  fill_window(united);
  return 1;
}

// Drops what the window holds of ids less than `least`.
void drop_in_window(IdUnion* united, guint64 least) {
  if (united->words == 0 || least <= united->base) {
    return;
  }
  const guint64 bit = least - united->base;
  const guint64 word = bit / WORD_BITS;
  if (word >= united->words) {
    if (word >= guint64{united->words} * 2) {
      united->max_words = MIN_WORDS;
    }
    united->words = 0;
    united->word = 0;
    united->bits = 0;
    return;
  }
  if (word > united->word) {
    united->word = static_cast<guint32>(word);
    united->bits = united->window[word];
  }
  if (word == united->word) {
    united->bits &= ~guint64{0} << bit % WORD_BITS;
  }
}

int id_union_free(OstrenGenerator* gener) {
  IdUnion* united = from_head(gener);
  for (guint32 i = 0; i < united->size; ++i) {
    ostren_generator_free(&united->lists[i].stream->head);
  }
  g_free(united->lists);
  g_free(united);
  return 0;
}

}  // namespace

OstrenGenerator* id_union_new(OstrenGenerator** lists, guint32 size) {
  auto* united = g_new0(IdUnion, 1);
  ostren_generator_init(&united->head, id_union_next, id_union_free);
  united->size = size;
  united->live = size;
  united->max_words = MAX_WORDS;
  united->lists = g_new0(List, size);
  for (guint32 i = 0; i < size; ++i) {
    united->lists[i].stream = reinterpret_cast<ArticledbGuint64Generator*>(lists[i]);
  }
  refill_lists(united, 0);
  return &united->head;
}

int id_union_next(OstrenGenerator* gener, void** item) { return id_union_skip(gener, 0, item); }

int id_union_skip(OstrenGenerator* gener, guint64 least, void** item) {
  IdUnion* united = from_head(gener);
  drop_in_window(united, least);
  for (;;) {
    while (united->bits == 0 && united->word + 1 < united->words) {
      united->bits = united->window[++united->word];
    }
    if (united->bits != 0) {
      const auto bit = static_cast<guint32>(__builtin_ctzll(united->bits));
      united->bits &= united->bits - 1;
      united->id = united->base + guint64{united->word} * WORD_BITS + bit;
      *item = &united->id;
      return 1;
    }
    const int status = open_window(united, least);
    if (status != 1) {
      united->words = 0;
      return status;
    }
  }
}

}  // namespace ostren::fenra::streams
