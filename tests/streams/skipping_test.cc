// Intersections that pass over ids against the same ones that pull every id.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <numeric>
#include <random>

#include "streams/articledb_generator.h"
#include "tests/store/store_fixture.h"
#include "tests/streams/stub_generator.h"

namespace fenra_test {
namespace {

constexpr guint64 kLargest = 12000;

// Cursors opened on the form lists.
int reads;
int (*real_cursor)(DB*, DB_TXN*, DBC**, guint32);

int countedCursor(DB* db, DB_TXN* txn, DBC** cursor, guint32 flags) {
  ++reads;
  return real_cursor(db, txn, cursor, flags);
}

class Skipping : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    real_cursor = db->formdb->cursor;
    db->formdb->cursor = countedCursor;
  }

  void TearDown() override {
    db->formdb->cursor = real_cursor;
    StoreTest::TearDown();
  }

  void post(const std::string& form, const Script& ids) {
    for (const guint64 id : ids) {
      ASSERT_EQ(articledb_transaction_put_form(t, form.data(), sizeOf(form), id), 0);
    }
  }

  void postLemma(const std::string& lemma, const Strings& forms) {
    for (const std::string& form : forms) {
      ASSERT_EQ(articledb_transaction_put_lemma(t, lemma.data(), sizeOf(lemma), form.data(),
                                                sizeOf(form)),
                0);
    }
  }

  static guint32 sizeOf(const std::string& text) { return static_cast<guint32>(text.size()); }

  OstrenGenerator* list(const std::string& form) {
    return articledb_db_form_lookup_generator_new(db, form.data(), sizeOf(form));
  }
};

using Cut = OstrenGenerator* (*)(OstrenGenerator*, OstrenGenerator*);

OstrenGenerator* cutPlainly(OstrenGenerator* left, OstrenGenerator* right) {
  return ostren_sorted_generator_cutter_new(left, right, guint64_cmp);
}

// A random composition; the same one for the same seed, whatever its cutters are.
class Composition {
 public:
  Composition(ArticledbDb* db, const Strings& forms, const Strings& lemmas, unsigned seed, Cut cut)
      : db_(db), forms_(forms), lemmas_(lemmas), random_(seed), cut_(cut) {}

  // Lets every pull of the outermost cutter be seen.
  Script read() {
    OstrenGenerator* left = make(4);
    const GeneratorPtr stream(cut_(left, make(4)));
    return drain(stream.get());
  }

 private:
  unsigned below(unsigned limit) { return random_() % limit; }

  OstrenGenerator* make(int depth) {
    const unsigned kind = depth == 0 ? below(5) : below(12);
    switch (kind) {
      case 0:
      case 1:
        return lookUp(articledb_db_form_lookup_generator_new, forms_);
      case 2:
        return lookUp(articledb_db_lemma_lookup_generator_new, lemmas_);
      case 3: {
        const guint64 start = below(kLargest);
        return ostren_guint64_range_generator_new(start, start + below(kLargest));
      }
      case 4:
        return stubs_.emplace_back(script()).generator();
      case 5:
        return uniteList(depth);
      default:
        break;
    }
    OstrenGenerator* left = make(depth - 1);
    OstrenGenerator* right = make(depth - 1);
    return kind < 7    ? articledb_guint64_unioner_new(left, right)
           : kind == 7 ? articledb_guint64_substractor_new(left, right)
                       : cut_(left, right);
  }

  OstrenGenerator* lookUp(OstrenGenerator* (*query)(ArticledbDb*, const char*, guint32),
                          const Strings& keys) {
    const std::string& key = keys[below(static_cast<unsigned>(keys.size()))];
    return query(db_, key.data(), static_cast<guint32>(key.size()));
  }

  OstrenGenerator* uniteList(int depth) {
    GList* streams = nullptr;
    for (unsigned i = 1 + below(5); i > 0; --i) {
      streams = g_list_prepend(streams, make(depth - 1));
    }
    OstrenGenerator* united = ostren_generator_union_from_glist(streams, guint64_cmp);
    g_list_free(streams);
    return united;
  }

  // Ids with repetitions; in one of three scripts with failures among them.
  Script script() {
    const unsigned density = 1 + below(300);
    const bool fails = below(3) == 0;
    Script ids;
    for (guint64 id = 1 + below(100); id < kLargest; id += 1 + below(density)) {
      do {
        ids.push_back(fails && below(50) == 0 ? kFail : id);
      } while (below(6) == 0);
    }
    return ids;
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
      forms.push_back("form" + std::to_string(forms.size()));
      Script ids;
      for (guint64 id = random() % 30; ids.size() < length && id < kLargest;
           id += 1 + random() % (spread * 2 - 1)) {
        ids.push_back(id + 1);
      }
      post(forms.back(), ids);
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
    const Script all = Composition(db, forms, lemmas, seed, cutPlainly).read();
    ASSERT_EQ(Composition(db, forms, lemmas, seed, articledb_guint64_cutter_new).read(), all)
        << seed;
    elements += all.size();
  }
  EXPECT_GT(elements, 100000U);
}

TEST_F(Skipping, CostsInProportionToTheRareWord) {
  Script many(30000);
  std::iota(many.begin(), many.end(), 1);
  post("many", many);
  post("few", {10, 15000, 29990, 40000});
  int others = 0;
  for (const bool few_first : {true, false}) {
    for (const Cut cut : {cutPlainly, Cut{articledb_guint64_cutter_new}}) {
      // Nothing that is kept of the lists is of use.
      post("other", {static_cast<guint64>(++others)});
      reads = 0;
      OstrenGenerator* left = list(few_first ? "few" : "many");
      const GeneratorPtr stream(cut(left, list(few_first ? "many" : "few")));
      EXPECT_EQ(fenra_test::drain(stream.get()), (Script{10, 15000, 29990}));
      if (cut == cutPlainly) {
        EXPECT_GE(reads, 9);
      } else {
        EXPECT_LE(reads, 6);
      }
    }
  }
}

// Ids that are stored behind the place are found as they are without passing over any.
TEST_F(Skipping, GoesOnWhileItsWordsAreWritten) {
  for (const guint64 step : {1, 7, 400}) {
    const std::string dense = "dense" + std::to_string(step);
    const std::string sparse = "sparse" + std::to_string(step);
    Script all(5000);
    std::iota(all.begin(), all.end(), 1);
    post(dense, all);
    for (guint64 id = step; id <= all.size(); id += step) {
      post(sparse, {id});
    }
    const GeneratorPtr stream(articledb_guint64_cutter_new(list(dense), list(sparse)));
    guint64 next = (all.size() / step + 1) * step;
    guint64 expected = step;
    for (guint64 id; (id = pull(stream.get())) != 0; expected += step) {
      ASSERT_EQ(id, expected);
      if (next < 8000) {
        // Below the place, which is not gone back to, and behind the end.
        post(sparse, {id / 2 + 1, next});
        post(dense, {next});
        next += step;
      }
      if (expected > all.size()) {
        break;
      }
    }
    EXPECT_GT(expected, all.size());
  }
}

}  // namespace
}  // namespace fenra_test
