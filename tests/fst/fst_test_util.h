// Shared by the transducer tests.
#ifndef FENRA_TESTS_FST_TEST_UTIL_H
#define FENRA_TESTS_FST_TEST_UTIL_H

#include <stdlib.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "fst/ostrenfst.h"

struct FstFree {
  void operator()(LkFst* fst) const { lk_fst_free(fst); }
};
using Fst = std::unique_ptr<LkFst, FstFree>;

struct IteratorFree {
  void operator()(LkLookIterator* it) const { lk_look_iterator_free(it); }
};
using Iterator = std::unique_ptr<LkLookIterator, IteratorFree>;

inline Fst from_att(const std::string& text) {
  return Fst(lk_fst_new_from_att_string(text.c_str()));
}

inline void set_header(LkFst* fst, NodeIndex data_size, NodeIndex node_count, NodeIndex edge_count,
                       int32_t flags) {
  const NodeIndex fields[] = {data_size,  node_count,   sizeof(Node),
                              edge_count, sizeof(Edge), static_cast<NodeIndex>(flags)};
  memcpy(fst, fields, sizeof fields);
}

// A block of its own with these cells.
inline Fst make_fst(const std::vector<Edge>& cells, NodeIndex node_count, NodeIndex edge_count,
                    int32_t flags) {
  const NodeIndex data_size = static_cast<NodeIndex>(cells.size() * sizeof(Edge));
  Fst fst(static_cast<LkFst*>(malloc(sizeof(LkFst) + data_size)));
  set_header(fst.get(), data_size, node_count, edge_count, flags);
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
inline std::vector<std::string> look(LkFst* fst, const std::string& word,
                                     LkLookDirection direction = LK_LOOK_UP) {
  const Iterator it(lk_look_iterator_new());
  lk_look_iterator_init(it.get(), fst, word.c_str(), direction);
  std::vector<std::string> results;
  for (char out[64]; lk_look_iterator_next(it.get(), out, sizeof out);) {
    results.emplace_back(out);
  }
  return results;
}

inline std::vector<std::string> look(const Fst& fst, const std::string& word,
                                     LkLookDirection direction = LK_LOOK_UP) {
  return look(fst.get(), word, direction);
}

// A directory that is removed with what was put into it.
class TempDir {
 public:
  TempDir() { path_ = mkdtemp(path_.data()); }
  ~TempDir() { (void)!system(("rm -rf " + path_).c_str()); }
  std::string path(const std::string& name) const { return path_ + "/" + name; }
  std::string write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  std::string read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_ = "/tmp/fst_test_XXXXXX";
};

#endif  // FENRA_TESTS_FST_TEST_UTIL_H
