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

#define AT(field, offset) (offsetof(Record, field) == (offset))
#define RECORD(name, ...)                                                                 \
  [[maybe_unused]] constexpr auto k##name = [] {                                          \
    using Record = name;                                                                  \
    static_assert(__VA_ARGS__, "a field of " #name " has moved, or it has another size"); \
  }

RECORD(ArticledbDb, AT(env, 0) && AT(urldb, 8) && AT(urlidx, 16) && AT(datedb, 24) &&
                        AT(sourcedb, 32) && AT(txtdb, 40) && AT(formdb, 48) && AT(trigramdb, 56) &&
                        AT(lemmadb, 64) && AT(iddb, 72) && AT(indexed_articles, 80) &&
                        AT(submitted_articles, 84) && AT(indexed_tokens, 88) &&
                        AT(processed_tokens, 92) && AT(indexed_text_bytes, 96) &&
                        AT(submitted_length, 100));
RECORD(ArticledbTransaction, AT(store, 0) && AT(txn, 8) && sizeof(Record) == 16);
RECORD(ArticledbCursor, AT(dbc, 0) && AT(key, 8) && AT(next_op, 8 + sizeof(DBT)));
RECORD(ArticledbBuffer, AT(data, 0) && AT(capacity, 8) && AT(length, 12) && sizeof(Record) == 16);
RECORD(OstrenGenerator, AT(nextf, 0) && AT(freef, 8) && sizeof(Record) == 16);
RECORD(OstrenGeneratorFromArray, AT(array, 16) && AT(length, 24) && AT(position, 28));
RECORD(OstrenGuint64RangeGenerator,
       AT(current, 16) && AT(end, 24) && AT(step, 32) && AT(first, 40));
RECORD(OstrenSortedGeneratorCutter, AT(left, 16) && AT(right, 24) && AT(compare, 32));
RECORD(OstrenSortedGeneratorUnioner, AT(left, 16) && AT(right, 24) && AT(compare, 32) &&
                                         AT(left_item, 40) && AT(right_item, 48) &&
                                         AT(left_pending, 56) && AT(right_pending, 60) &&
                                         AT(left_status, 64) && AT(right_status, 68));
RECORD(OstrenSortedGeneratorSubstractor, AT(left, 16) && AT(right, 24) && AT(left_item, 32) &&
                                             AT(right_item, 40) && AT(left_status, 48) &&
                                             AT(right_status, 52) && AT(compare, 56));
RECORD(ArticledbCursorGenerator, AT(cursor, 16) && AT(buffer, 24));
RECORD(ArticledbGuint64Generator, AT(inner, 16) && AT(id, 24));
RECORD(ArticledbTrigramGenerator, AT(inner, 16));
RECORD(ArticledbUtf8Tokenizer, AT(text, 0) && AT(length, 8));
RECORD(TrigramBuilder, AT(words, 0) && AT(trigram, 192) && AT(next, 384) && sizeof(Record) == 388);
// These two are the file format as well.
RECORD(Edge,
       AT(bits, 0) && AT(edge_count, 4) && AT(lower, 6) && AT(upper, 7) && sizeof(Record) == 8);
RECORD(LkFst, AT(data_size, 0) && AT(node_count, 4) && AT(node_size, 8) && AT(edge_count, 12) &&
                  AT(edge_size, 16) && AT(flags, 20) && AT(data, 24) && sizeof(Record) == 24);

RECORD(LookState,
       AT(node, 0) && AT(parent, 8) && AT(in_word, 16) && AT(out_word, 24) && sizeof(Record) == 32);
RECORD(LkLookIterator, AT(top, 0) && AT(input_label_getter, 8) && AT(output_label_getter, 16) &&
                           AT(search_cmp, 24) && AT(push_transitions, 32) && AT(lk_fst, 40) &&
                           AT(data, 48) &&
                           sizeof(Record) == 48 + LK_LOOK_STACK_SIZE * sizeof(LookState));
RECORD(QorLexicon, AT(fst, 0));

}  // namespace
