// Shared by the transducer tests.
#ifndef FENRA_TESTS_FST_TEST_UTIL_H
#define FENRA_TESTS_FST_TEST_UTIL_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/handles.h"
#include "fst/ostrenfst.h"

using Fst = std::unique_ptr<LkFst, ostren::fenra::Releaser<lk_fst_free>>;
using Iterator = std::unique_ptr<LkLookIterator, ostren::fenra::Releaser<lk_look_iterator_free>>;

inline Fst from_att(const std::string& text) {
  return Fst(lk_fst_new_from_att_string(text.c_str()));
}

// A block of its own with these cells.
inline Fst make_fst(const std::vector<Edge>& cells, NodeIndex node_count, NodeIndex edge_count,
                    int32_t flags) {
  const NodeIndex data_size = static_cast<NodeIndex>(cells.size() * sizeof(Edge));
  Fst fst(static_cast<LkFst*>(malloc(sizeof(LkFst) + data_size)));
  *fst = {data_size, node_count, sizeof(Node), edge_count, sizeof(Edge), flags};
  memcpy(fst->data, cells.data(), data_size);
  return fst;
}

inline Edge cell(NodeIndex flags, NodeIndex target, EdgeCount count, int lower, int upper) {
  return Edge{flags | target << EDGE_NEXT_SHIFT, count, static_cast<Char>(lower),
              static_cast<Char>(upper)};
}

// The block as it stands in a file.
inline std::string image(const Fst& fst) {
  return std::string(reinterpret_cast<const char*>(fst.get()), sizeof(LkFst) + fst->data_size);
}

// All results in the order found.
inline std::vector<std::string> look(const Fst& fst, const std::string& word,
                                     LkLookDirection direction = LK_LOOK_UP) {
  const Iterator it(lk_look_iterator_new());
  lk_look_iterator_init(it.get(), fst.get(), word.c_str(), direction);
  std::vector<std::string> results;
  for (char out[64]; lk_look_iterator_next(it.get(), out, sizeof out);) {
    results.emplace_back(out);
  }
  return results;
}

#endif  // FENRA_TESTS_FST_TEST_UTIL_H
