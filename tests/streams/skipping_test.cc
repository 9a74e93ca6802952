// Intersections that pass over ids against the same ones that pull every id.
#include <deque>
#include <numeric>
#include <random>

#include "tests/streams/stream_store.h"

namespace fenra_test {
namespace {

constexpr guint64 kLargest = 12000;
constexpr auto kForm = articledb_db_form_lookup_generator_new;

class Skipping : public StreamStoreTest {};

using Cut = OstrenGenerator* (*)(OstrenGenerator*, OstrenGenerator*);

OstrenGenerator* cutPlainly(OstrenGenerator* left, OstrenGenerator* right) {
  return ostren_sorted_generator_cutter_new(left, right, guint64_cmp);
}

// A random composition; the same one for the same seed, whatever its cutters and substractors are.
class Composition {
 public:
  Composition(ArticledbDb* db, const Strings& forms, const Strings& lemmas, unsigned seed, Cut cut)
      : db_(db), forms_(forms), lemmas_(lemmas), random_(seed), cut_(cut) {
    // Every pull of the outermost cutter is seen.
    OstrenGenerator* first = make(4);
    GeneratorPtr stream(cut_(first, make(4)));
    elements = drain(stream.get());
    stream.reset();
    EXPECT_TRUE(std::all_of(stubs_.begin(), stubs_.end(),
                            [](const Stub& stub) { return stub.frees() == 1; }));
  }

  Script elements;

 private:
  unsigned below(unsigned limit) { return random_() % limit; }

  OstrenGenerator* make(int depth) {
    const unsigned kind = depth == 0 ? below(5) : below(12);
    if (kind <= 2) {
      const Strings& keys = kind == 2 ? lemmas_ : forms_;
      const std::string& key = keys[below(static_cast<unsigned>(keys.size()))];
      return (kind == 2 ? articledb_db_lemma_lookup_generator_new : kForm)(
          db_, key.data(), static_cast<guint32>(key.size()));
    }
    if (kind == 3) {
      const guint64 start = 1 + below(kLargest);
      return ostren_guint64_range_generator_new(start, start + below(kLargest));
    }
    if (kind == 4) {
      return makeScript();
    }
    if (kind == 5) {
      Generators streams(1 + below(5));
      std::generate(streams.begin(), streams.end(), [&] { return make(depth - 1); });
      return uniteList(streams);
    }
    OstrenGenerator* left = make(depth - 1);
    OstrenGenerator* right = make(depth - 1);
    return kind == 6   ? articledb_guint64_unioner_new(left, right)
           : kind == 7 ? subtract(left, right)
                       : cut_(left, right);
  }

  OstrenGenerator* subtract(OstrenGenerator* left, OstrenGenerator* right) const {
    return cut_ == cutPlainly ? ostren_sorted_generator_substractor_new(left, right, guint64_cmp)
                              : articledb_guint64_substractor_new(left, right);
  }

  // Ids with repetitions; in one of three scripts with failures among them.
  OstrenGenerator* makeScript() {
    const unsigned density = 1 + below(300);
    const bool failing = below(3) == 0;
    Script script;
    for (guint64 id = 1 + below(100); id < kLargest; id += 1 + below(density)) {
      do {
        script.push_back(failing && below(50) == 0 ? kFail : id);
      } while (below(6) == 0);
    }
    return stubs_.emplace_back(script).generator();
  }

  ArticledbDb* db_;
  const Strings& forms_;
  const Strings& lemmas_;
  std::mt19937 random_;
  Cut cut_;
  std::deque<Stub> stubs_;
};

TEST_F(Skipping, ChangesNoElement) {
  std::mt19937 random(1);
  Strings forms = {"absent"};
  Strings lemmas = {"absent"};
  // Lists whose lengths are around those of batches, close together and wide apart.
  for (const guint64 length : {1, 2, 15, 255, 256, 257, 300, 4095, 4400}) {
    for (const unsigned spread : {2U, 40U}) {
      Script list;
      for (guint64 id = random() % 30; list.size() < length && id < kLargest;
           id += 1 + random() % (spread * 2 - 1)) {
        list.push_back(id + 1);
      }
      forms.push_back("form" + std::to_string(forms.size()));
      post(forms.back(), list);
    }
  }
  for (const size_t number : {1, 2, 3, 8}) {
    Strings some;
    std::sample(forms.begin(), forms.end(), std::back_inserter(some), number, random);
    lemmas.push_back("lemma" + std::to_string(number));
    postLemma(lemmas.back(), some);
  }
  size_t elements = 0;
  for (unsigned seed = 0; seed < 3000; ++seed) {
    const Composition plain(db, forms, lemmas, seed, cutPlainly);
    const Composition skipping(db, forms, lemmas, seed, articledb_guint64_cutter_new);
    ASSERT_EQ(skipping.elements, plain.elements) << seed;
    elements += plain.elements.size();
  }
  EXPECT_GT(elements, 100000U);
}

TEST_F(Skipping, CostsInProportionToTheRareWord) {
  Script many(30000);
  std::iota(many.begin(), many.end(), 1);
  post("many", many);
  post("few", {10, 15000, 29990, 40000});
  post("near", {20, 14900, 29980, 40001});
  for (const bool few_first : {true, false}) {
    // Nothing that is kept of the lists is of use.
    post("other", {few_first ? 1U : 2U});
    const auto expect = [&](const std::string& few, const Script& ids, int most) {
      Cursors::made = 0;
      OstrenGenerator* left = ask(kForm, few_first ? few : "many");
      const GeneratorPtr stream(
          articledb_guint64_cutter_new(left, ask(kForm, few_first ? "many" : few)));
      EXPECT_EQ(fenra_test::drain(stream.get()), ids);
      EXPECT_LE(Cursors::made, most);
    };
    // Nine when every id is pulled.
    expect("few", {10, 15000, 29990}, 6);
    // What the jumps have read is kept for those that go near there.
    expect("near", {20, 14900, 29980}, 2);
  }
}

// What is kept of the ids after one is not what is kept of those from it on.
TEST_F(Skipping, FindsWhatACursorStandsOn) {
  Script many(3000);
  std::iota(many.begin(), many.end(), 1);
  post("many", many);
  post("two", {10, 1024});
  ArticledbCursor* cursor = lookup(articledb_db_lookup_form, "many");
  for (guint64 id = 0; id < 1024; ++id) {
    once(cursor, articledb_cursor_next_data_dup);
  }
  EXPECT_EQ(ids(copyOf(cursor)).at(1), 1025U);
  EXPECT_EQ(articledb_cursor_close(cursor), 0);
  const GeneratorPtr stream(articledb_guint64_cutter_new(ask(kForm, "two"), ask(kForm, "many")));
  EXPECT_EQ(fenra_test::drain(stream.get()), (Script{10, 1024}));
}

}  // namespace
}  // namespace fenra_test
