#include "facade/fenra.h"

#include <algorithm>
#include <set>
#include <vector>

#include "facade/lexicon_record.h"
#include "store/creation.h"

namespace ostren::fenra {
namespace {

// A word of a query, and the parts that it has as a compound.
struct QueryWord {
  std::string word;
  std::set<std::string> parts;

  // Parts of numbers are numbers of other meaning.
  bool has_letter() const {
    return std::any_of(word.begin(), word.end(), [](char byte) {
      return g_ascii_isalpha(byte) || (static_cast<unsigned char>(byte) & 0x80) != 0;
    });
  }
};

// Each word once.
std::vector<QueryWord> words_of(const ArticledbRules& rules, const char* query) {
  const auto length = static_cast<int>(std::min<size_t>(strlen(query), INT_MAX));
  const std::unique_ptr<void, void (*)(void*)> tokenizer(rules.tokenizer_new(query, length),
                                                         rules.tokenizer_free);
  std::vector<QueryWord> words;
  std::set<std::string> seen;
  bool is_new = false;
  const char* token = nullptr;
  int token_length = 0;
  while (rules.next_token(tokenizer.get(), &token, &token_length) == ARTICLEDB_TOKEN_OK) {
    std::string bytes(token, static_cast<size_t>(token_length));
    if (rules.is_part(tokenizer.get()) == 0) {
      is_new = seen.insert(bytes).second;
      if (is_new) {
        words.push_back({std::move(bytes), {}});
      }
    } else if (is_new) {
      words.back().parts.insert(std::move(bytes));
    }
  }
  return words;
}

}  // namespace

const int ResultIteratorBasic::URL_BUFFER_SIZE;

Fenra* Fenra::createInstance(int kind, const char* path) {
  if (kind != 0) {
    return nullptr;
  }
  store::complete_store(path);
  // The lemmatizer loads the whole transducer; the file is not read again.
  const TmpFile lexicon(fstContent, fstContentSize);
  auto* instance = new FenraBasic(path, lexicon.name());
  if (instance->error() == FENRA_NO_ERROR) {
    record_lexicon(path);
  }
  return instance;
}

Fenra* Fenra::createInstance(const char* path) { return createInstance(0, path); }

ResultIterator* FenraData::lookup(const char* query) {
  return new ResultIteratorBasic(parse_query(query == nullptr ? "" : query), this);
}

// A compound is found as it stands, in any form, and where its parts are.
OstrenGenerator* FenraData::parse_tokens(const char* query) {
  const auto stream_of = [this](const std::string& word) {
    return lookup_lemma_from_form(word.data(), static_cast<unsigned int>(word.size()));
  };
  OstrenGenerator* result = nullptr;
  for (const QueryWord& word : words_of(*rules, query)) {
    OstrenGenerator* stream = stream_of(word.word);
    OstrenGenerator* parts = nullptr;
    if (word.has_letter()) {
      for (const std::string& part : word.parts) {
        parts = intersection(parts, stream_of(part));
      }
    }
    if (stream != nullptr && parts != nullptr) {
      stream = articledb_guint64_unioner_new(stream, parts);
    } else if (stream == nullptr) {
      stream = parts;
    }
    result = intersection(result, stream);
  }
  return result;
}

}  // namespace ostren::fenra
