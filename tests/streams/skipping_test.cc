// Intersections that pass over ids against the same ones that pull every id.
#include <algorithm>
#include <deque>
#include <iterator>
#include <map>
#include <numeric>
#include <random>
#include <set>

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

// A random composition; the same one for the same seed, whatever its cutters are.
// The multiset algorithms of the standard library say what it gives: they treat
// duplicates in the same way.
class Composition {
 public:
  using Lists = std::map<std::string, Script>;

  Composition(ArticledbDb* db, const Lists& forms, const Lists& lemmas, unsigned seed, Cut cut)
      : db_(db), forms_(forms), lemmas_(lemmas), random_(seed), cut_(cut) {
    // Every pull of the outermost cutter is seen.
    Script left;
    Script right;
    OstrenGenerator* first = make(4, &left);
    GeneratorPtr stream(cut_(first, make(4, &right)));
    std::set_intersection(left.begin(), left.end(), right.begin(), right.end(),
                          std::back_inserter(expected));
    elements = drain(stream.get());
    stream.reset();
    EXPECT_TRUE(std::all_of(stubs_.begin(), stubs_.end(),
                            [](const Stub& stub) { return stub.frees() == 1; }));
  }

  Script elements;
  Script expected;
  bool fails = false;  // an input does, so that nothing is expected

 private:
  unsigned below(unsigned limit) { return random_() % limit; }

  OstrenGenerator* make(int depth, Script* ids) {
    const unsigned kind = depth == 0 ? below(5) : below(12);
    if (kind <= 1) {
      return lookUp(articledb_db_form_lookup_generator_new, forms_, ids);
    }
    if (kind == 2) {
      return lookUp(articledb_db_lemma_lookup_generator_new, lemmas_, ids);
    }
    if (kind == 3) {
      const guint64 start = 1 + below(kLargest);
      ids->resize(below(kLargest));
      std::iota(ids->begin(), ids->end(), start);
      return ostren_guint64_range_generator_new(start, start + ids->size());
    }
    if (kind == 4) {
      return makeScript(ids);
    }
    if (kind == 5) {
      return uniteList(depth, ids);
    }
    Script a, b;
    OstrenGenerator* left = make(depth - 1, &a);
    OstrenGenerator* right = make(depth - 1, &b);
    const auto out = std::back_inserter(*ids);
    if (kind == 6) {
      std::set_union(a.begin(), a.end(), b.begin(), b.end(), out);
      return articledb_guint64_unioner_new(left, right);
    }
    if (kind == 7) {
      std::set_difference(a.begin(), a.end(), b.begin(), b.end(), out);
      return articledb_guint64_substractor_new(left, right);
    }
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), out);
    return cut_(left, right);
  }

  OstrenGenerator* lookUp(OstrenGenerator* (*query)(ArticledbDb*, const char*, guint32),
                          const Lists& lists, Script* ids) {
    const auto list = std::next(lists.begin(), below(static_cast<unsigned>(lists.size())));
    *ids = list->second;
    return query(db_, list->first.data(), static_cast<guint32>(list->first.size()));
  }

  OstrenGenerator* uniteList(int depth, Script* ids) {
    GList* streams = nullptr;
    for (unsigned i = 1 + below(5); i > 0; --i) {
      Script more, all;
      streams = g_list_prepend(streams, make(depth - 1, &more));
      std::set_union(ids->begin(), ids->end(), more.begin(), more.end(), std::back_inserter(all));
      *ids = all;
    }
    OstrenGenerator* united = ostren_generator_union_from_glist(streams, guint64_cmp);
    g_list_free(streams);
    return united;
  }

  // Ids with repetitions; in one of three scripts with failures among them.
  OstrenGenerator* makeScript(Script* ids) {
    const unsigned density = 1 + below(300);
    const bool failing = below(3) == 0;
    Script script;
    for (guint64 id = 1 + below(100); id < kLargest; id += 1 + below(density)) {
      do {
        script.push_back(failing && below(50) == 0 ? kFail : id);
      } while (below(6) == 0);
    }
    fails = fails || failing;
    *ids = script;
    return stubs_.emplace_back(script).generator();
  }

  ArticledbDb* db_;
  const Lists& forms_;
  const Lists& lemmas_;
  std::mt19937 random_;
  Cut cut_;
  std::deque<Stub> stubs_;
};

TEST_F(Skipping, ChangesNoElement) {
  std::mt19937 random(1);
  Composition::Lists forms = {{"absent", {}}};
  Composition::Lists lemmas = {{"absent", {}}};
  // Lists whose lengths are around those of batches, close together and wide apart.
  for (const guint64 length : {1, 2, 15, 255, 256, 257, 300, 4095, 4400}) {
    for (const unsigned spread : {2U, 40U}) {
      const std::string form = "form" + std::to_string(forms.size());
      for (guint64 id = random() % 30; forms[form].size() < length && id < kLargest;
           id += 1 + random() % (spread * 2 - 1)) {
        forms[form].push_back(id + 1);
      }
      post(form, forms[form]);
    }
  }
  for (const size_t number : {1, 2, 3, 8}) {
    std::vector<Composition::Lists::value_type> some;
    std::sample(forms.begin(), forms.end(), std::back_inserter(some), number, random);
    const std::string lemma = "lemma" + std::to_string(number);
    std::set<guint64> ids;
    for (const auto& [form, list] : some) {
      postLemma(lemma, {form});
      ids.insert(list.begin(), list.end());
    }
    lemmas[lemma].assign(ids.begin(), ids.end());
  }
  size_t elements = 0;
  int without_failures = 0;
  for (unsigned seed = 0; seed < 3000; ++seed) {
    const Composition plain(db, forms, lemmas, seed, cutPlainly);
    const Composition skipping(db, forms, lemmas, seed, articledb_guint64_cutter_new);
    ASSERT_EQ(skipping.elements, plain.elements) << seed;
    ASSERT_TRUE(plain.fails || plain.elements == plain.expected) << seed;
    elements += plain.elements.size();
    without_failures += plain.fails ? 0 : 1;
  }
  EXPECT_GT(without_failures, 1000);
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
  ArticledbCursor* cursor = nullptr;
  ArticledbCursor* copy = nullptr;
  ASSERT_EQ(articledb_db_lookup_form(db, &cursor, "many", 4), 0);
  guint64 id = 0;
  ArticledbBuffer buffer = {&id, sizeof id, 0};
  while (id < 1024 && articledb_cursor_next_data_dup(cursor, &buffer) == CURSOR_OK) {
  }
  ASSERT_EQ(articledb_cursor_dup(cursor, &copy), 0);
  for (const guint64 next : {1024, 1025}) {
    EXPECT_EQ(articledb_cursor_next_data_dup(copy, &buffer), CURSOR_OK);
    EXPECT_EQ(id, next);
  }
  EXPECT_EQ(articledb_cursor_close(copy), 0);
  EXPECT_EQ(articledb_cursor_close(cursor), 0);
  const GeneratorPtr stream(articledb_guint64_cutter_new(ask(kForm, "two"), ask(kForm, "many")));
  EXPECT_EQ(fenra_test::drain(stream.get()), (Script{10, 1024}));
}

}  // namespace
}  // namespace fenra_test
