// The layout of the public records, which programs have compiled in. A field that moves,
// or a record that callers allocate and that grows, breaks them: it needs a new major
// version. Private fields are at the end and are not listed.
#include <fenra/articledb.h>
#include <fenra/articledb_generator.h>
#include <fenra/articledb_util.h>
#include <fenra/ostren_ffst.h>
#include <fenra/ostren_generator.h>
#include <fenra/ostrenfst.h>

#include <cstddef>

namespace {

#define FIELD(record, field, offset) \
  static_assert(offsetof(record, field) == (offset), #record "." #field " has moved")
#define SIZE(record, size) static_assert(sizeof(record) == (size), #record " has another size")

FIELD(ArticledbDb, env, 0);
FIELD(ArticledbDb, urldb, 8);
FIELD(ArticledbDb, urlidx, 16);
FIELD(ArticledbDb, datedb, 24);
FIELD(ArticledbDb, sourcedb, 32);
FIELD(ArticledbDb, txtdb, 40);
FIELD(ArticledbDb, formdb, 48);
FIELD(ArticledbDb, trigramdb, 56);
FIELD(ArticledbDb, lemmadb, 64);
FIELD(ArticledbDb, iddb, 72);
FIELD(ArticledbDb, indexed_articles, 80);
FIELD(ArticledbDb, submitted_articles, 84);
FIELD(ArticledbDb, indexed_tokens, 88);
FIELD(ArticledbDb, processed_tokens, 92);
FIELD(ArticledbDb, indexed_text_bytes, 96);
FIELD(ArticledbDb, submitted_length, 100);

FIELD(ArticledbTransaction, store, 0);
FIELD(ArticledbTransaction, txn, 8);
SIZE(ArticledbTransaction, 16);

FIELD(ArticledbCursor, dbc, 0);
FIELD(ArticledbCursor, key, 8);
FIELD(ArticledbCursor, next_op, 8 + sizeof(DBT));

FIELD(ArticledbBuffer, data, 0);
FIELD(ArticledbBuffer, capacity, 8);
FIELD(ArticledbBuffer, length, 12);
SIZE(ArticledbBuffer, 16);

FIELD(OstrenGenerator, nextf, 0);
FIELD(OstrenGenerator, freef, 8);
SIZE(OstrenGenerator, 16);

FIELD(OstrenGeneratorFromArray, array, 16);
FIELD(OstrenGeneratorFromArray, length, 24);
FIELD(OstrenGeneratorFromArray, position, 28);
FIELD(OstrenGuint64RangeGenerator, current, 16);
FIELD(OstrenGuint64RangeGenerator, end, 24);
FIELD(OstrenGuint64RangeGenerator, step, 32);
FIELD(OstrenGuint64RangeGenerator, first, 40);

FIELD(OstrenSortedGeneratorCutter, left, 16);
FIELD(OstrenSortedGeneratorCutter, right, 24);
FIELD(OstrenSortedGeneratorCutter, compare, 32);
FIELD(OstrenSortedGeneratorUnioner, left, 16);
FIELD(OstrenSortedGeneratorUnioner, right, 24);
FIELD(OstrenSortedGeneratorUnioner, compare, 32);
FIELD(OstrenSortedGeneratorUnioner, left_item, 40);
FIELD(OstrenSortedGeneratorUnioner, right_item, 48);
FIELD(OstrenSortedGeneratorUnioner, left_pending, 56);
FIELD(OstrenSortedGeneratorUnioner, right_pending, 60);
FIELD(OstrenSortedGeneratorUnioner, left_status, 64);
FIELD(OstrenSortedGeneratorUnioner, right_status, 68);
FIELD(OstrenSortedGeneratorSubstractor, left, 16);
FIELD(OstrenSortedGeneratorSubstractor, right, 24);
FIELD(OstrenSortedGeneratorSubstractor, left_item, 32);
FIELD(OstrenSortedGeneratorSubstractor, right_item, 40);
FIELD(OstrenSortedGeneratorSubstractor, left_status, 48);
FIELD(OstrenSortedGeneratorSubstractor, right_status, 52);
FIELD(OstrenSortedGeneratorSubstractor, compare, 56);

FIELD(ArticledbCursorGenerator, cursor, 16);
FIELD(ArticledbCursorGenerator, buffer, 24);
FIELD(ArticledbGuint64Generator, inner, 16);
FIELD(ArticledbGuint64Generator, id, 24);
FIELD(ArticledbTrigramGenerator, inner, 16);

FIELD(ArticledbUtf8Tokenizer, text, 0);
FIELD(ArticledbUtf8Tokenizer, length, 8);

FIELD(TrigramBuilder, words, 0);
FIELD(TrigramBuilder, trigram, 192);
FIELD(TrigramBuilder, next, 384);
SIZE(TrigramBuilder, 388);

// These two are the file format as well.
FIELD(Edge, bits, 0);
FIELD(Edge, edge_count, 4);
FIELD(Edge, lower, 6);
FIELD(Edge, upper, 7);
SIZE(Edge, 8);
FIELD(LkFst, data_size, 0);
FIELD(LkFst, node_count, 4);
FIELD(LkFst, node_size, 8);
FIELD(LkFst, edge_count, 12);
FIELD(LkFst, edge_size, 16);
FIELD(LkFst, flags, 20);
FIELD(LkFst, data, 24);
SIZE(LkFst, 24);

FIELD(LookState, node, 0);
FIELD(LookState, parent, 8);
FIELD(LookState, in_word, 16);
FIELD(LookState, out_word, 24);
SIZE(LookState, 32);
FIELD(LkLookIterator, top, 0);
FIELD(LkLookIterator, input_label_getter, 8);
FIELD(LkLookIterator, output_label_getter, 16);
FIELD(LkLookIterator, search_cmp, 24);
FIELD(LkLookIterator, push_transitions, 32);
FIELD(LkLookIterator, lk_fst, 40);
FIELD(LkLookIterator, data, 48);
SIZE(LkLookIterator, 48 + LK_LOOK_STACK_SIZE * sizeof(LookState));

FIELD(QorLexicon, fst, 0);

}  // namespace
