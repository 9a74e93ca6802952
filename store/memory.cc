#include "store/memory.h"

#include "store/article/known_pairs.h"
#include "store/reading/read_memory.h"

using namespace ostren::fenra::store;

ArticledbMemory::ArticledbMemory()
    : known_pairs(std::make_unique<KnownPairs>()), reading(std::make_unique<ReadMemory>()) {}

ArticledbMemory::~ArticledbMemory() = default;
