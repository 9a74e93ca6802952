#include "store/writing/journal_vocabulary.h"

#include <algorithm>

#include "store/layout/key_order.h"

namespace ostren::fenra::store {
namespace {

struct Form {
  guint64 prefix;
  std::string_view word;
  size_t place;  // in the ranks

  bool operator<(const Form& other) const {
    return prefix != other.prefix ? prefix < other.prefix : word < other.word;
  }
};

}  // namespace

JournalVocabulary::JournalVocabulary(const std::vector<JournalArticle>& articles) {
  std::vector<Form> forms;
  for (const JournalArticle& article : articles) {
    first_of_.push_back(forms.size());
    for (const std::string_view word : article.forms) {
      forms.push_back({prefix_of(word), word, forms.size()});
    }
  }
  std::sort(forms.begin(), forms.end());
  // One more: an article without forms has an address there too.
  ranks_.resize(forms.size() + 1);
  for (const Form& form : forms) {
    if (words_.empty() || words_.back() != form.word) {
      words_.push_back(form.word);
    }
    ranks_[form.place] = static_cast<guint32>(words_.size() - 1);
  }
  std::vector<guint64> order;
  for (guint32 rank = 0; rank < words_.size(); ++rank) {
    order.push_back(guint64{bucket_order(word_hash(words_[rank]))} << 32 | rank);
  }
  std::sort(order.begin(), order.end());
  bucket_places_.resize(words_.size());
  for (const guint64 entry : order) {
    const auto rank = static_cast<guint32>(entry);
    bucket_places_[rank] = static_cast<guint32>(in_bucket_order_.size());
    in_bucket_order_.push_back(rank);
  }
}

}  // namespace ostren::fenra::store
