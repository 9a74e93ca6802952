// Instances of the facade and what they answer.
#ifndef FENRA_TESTS_INSTANCE_H
#define FENRA_TESTS_INSTANCE_H

#include <memory>
#include <string>
#include <vector>

#include "facade/fenra.h"

using Instance = std::unique_ptr<ostren::fenra::Fenra>;
using Results = std::unique_ptr<ostren::fenra::ResultIterator>;
using Urls = std::vector<std::string>;

// The URLs that an iterator has still to give.
inline Urls rest_of(const Results& results) {
  Urls urls;
  while (const char* url = results->next()) {
    urls.emplace_back(url);
  }
  return urls;
}

inline Urls answer(ostren::fenra::Fenra& fenra, const std::string& query) {
  return rest_of(Results(fenra.lookup(query.c_str())));
}

#endif  // FENRA_TESTS_INSTANCE_H
