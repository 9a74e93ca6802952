// A scripted generator that reports what is done to it, and helpers to read
// streams of ids.
#ifndef FENRA_TESTS_STREAMS_STUB_GENERATOR_H
#define FENRA_TESTS_STREAMS_STUB_GENERATOR_H

#include <memory>
#include <utility>
#include <vector>

#include "base/handles.h"
#include "streams/articledb_generator.h"

namespace fenra_test {

// In a script: this pull fails. No test uses it as an id.
constexpr guint64 kFail = G_MAXUINT64;
// What an element shows once its generator has been pulled again without success
// or freed: a value that no test uses as an id either.
constexpr guint64 kStale = G_MAXUINT64 - 1;

using Script = std::vector<guint64>;

// What a stub was asked to do, in order: its number for a pull, its complement
// (~number) for a free.
using Log = std::vector<int>;

// Pulls follow the script, then give 0. Every element is the address of one
// slot, which the next pull overwrites.
class Stub : private OstrenGenerator {
 public:
  explicit Stub(Script script, int number = 0, Log* log = nullptr)
      : OstrenGenerator{next, free}, script_(std::move(script)), number_(number), log_(log) {}
  Stub(const Stub&) = delete;
  Stub& operator=(const Stub&) = delete;

  OstrenGenerator* generator() { return this; }
  bool owns(const void* element) const { return element == &slot_; }
  int pulls() const { return pulls_; }
  int frees() const { return frees_; }

 private:
  static Stub* called(OstrenGenerator* gener, bool freed) {
    Stub* stub = static_cast<Stub*>(gener);
    stub->slot_ = kStale;
    ++(freed ? stub->frees_ : stub->pulls_);
    if (stub->log_ != nullptr) {
      stub->log_->push_back(freed ? ~stub->number_ : stub->number_);
    }
    return stub;
  }

  static int next(OstrenGenerator* gener, void** item) {
    Stub* stub = called(gener, false);
    if (stub->position_ == stub->script_.size()) {
      return 0;
    }
    const guint64 step = stub->script_[stub->position_++];
    if (step == kFail) {
      return 2;
    }
    stub->slot_ = step;
    *item = &stub->slot_;
    return 1;
  }

  // No operator hands this result on.
  static int free(OstrenGenerator* gener) {
    called(gener, true);
    return 7;
  }

  Script script_;
  int number_;
  Log* log_;
  guint64 slot_ = kStale;
  std::size_t position_ = 0;
  int pulls_ = 0;
  int frees_ = 0;
};

using GeneratorPtr =
    std::unique_ptr<OstrenGenerator, ostren::fenra::Releaser<ostren_generator_free>>;

using Generators = std::vector<OstrenGenerator*>;

inline OstrenGenerator* uniteList(const Generators& inputs) {
  GList* list = nullptr;
  for (auto input = inputs.rbegin(); input != inputs.rend(); ++input) {
    list = g_list_prepend(list, *input);
  }
  OstrenGenerator* result = ostren_generator_union_from_glist(list, guint64_cmp);
  g_list_free(list);
  return result;
}

// One pull as a number: the id, kFail, or 0 for the end (0 is never an id). An
// item that changes without an element shows as kStale.
inline guint64 pull(OstrenGenerator* gener) {
  void* const untouched = &gener;
  void* item = untouched;
  const int status = ostren_generator_next(gener, &item);
  if (status == 1) {
    return *static_cast<guint64*>(item);
  }
  const guint64 none = status == 2 ? kFail : 0;
  return item == untouched ? none : kStale;
}

// All pulls up to the end, failures included, and what a few more pulls give: an
// end that is not final shows as additional elements.
inline Script drain(OstrenGenerator* gener) {
  Script pulls;
  for (int ends = 0; ends < 5;) {
    const guint64 id = pull(gener);
    ends += id == 0 ? 1 : 0;
    if (id != 0) {
      pulls.push_back(id);
    }
  }
  return pulls;
}

}  // namespace fenra_test

#endif  // FENRA_TESTS_STREAMS_STUB_GENERATOR_H
