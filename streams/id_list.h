// The ids under one key of an index, straight from what its cursor has read ahead.
#ifndef FENRA_STREAMS_ID_LIST_H
#define FENRA_STREAMS_ID_LIST_H

#include "store/reading/item_list.h"
#include "streams/articledb_generator.h"

namespace ostren::fenra::streams {

// Of the generators that articledb_guint64_generator_new makes; as pull_from().
int id_list_skip(OstrenGenerator* gener, guint64 least, void** item);

// Where the ids are that come after the one pulled last, as long as there are any there; who
// takes some has pulled them. Valid once the generator has been pulled.
store::ReadAhead* id_list_ahead(ArticledbGuint64Generator* list);

}  // namespace ostren::fenra::streams

#endif  // FENRA_STREAMS_ID_LIST_H
