// Answers while articles wait for being written to the databases.
#include "tests/store/contents.h"
#include "tests/streams/stub_generator.h"

namespace {

using fenra_test::GeneratorPtr;
using fenra_test::pull;

// Everything that lookups and streams give of a store.
class WaitingTest : public ContentsTest {
 protected:
  WaitingTest() { uses_journal = true; }

  using Query = OstrenGenerator* (*)(ArticledbDb*, const char*, guint32);
  using Answers = std::map<std::string, std::string>;

  // The ids of a stream, as text.
  static std::string drain(OstrenGenerator* stream) {
    const GeneratorPtr owner(stream);
    return stream == nullptr ? "null" : testing::PrintToString(fenra_test::drain(stream));
  }

  std::string ask(Query make, const std::string& key) {
    return drain(make(db, key.data(), sizeOf(key)));
  }

  void askForWords(const Strings& words, Answers* answers) {
    for (const std::string& word : words) {
      (*answers)["form " + word] = ask(articledb_db_form_lookup_generator_new, word);
      (*answers)["lemma " + word] = ask(articledb_db_lemma_lookup_generator_new, word);
      (*answers)["prefix " + word] = ask(articledb_db_form_prefix_lookup_generator_new, word);
      (*answers)["source " + word] = ask(articledb_db_source_lookup_generator_new, word);
      (*answers)["forms " + word] =
          testing::PrintToString(dups(lookup(articledb_db_lookup_lemma, word)));
    }
    for (const std::string& word : {words[0], words[1], words[2]}) {
      for (const std::string& next : words) {
        const std::string two = word + '\0' + next;
        (*answers)["two words " + two] = ask(articledb_db_trigram_lookup_generator_new, two);
        for (const std::string& last : {words[0], words[2]}) {
          const std::string three = two + '\0' + last + '\0';
          (*answers)["three words " + three] =
              ask(articledb_db_trigram_lookup_generator_new, three);
        }
      }
    }
  }

  Answers answers(const Strings& words, guint64 urls) {
    Answers all;
    askForWords(words, &all);
    all["max"] = std::to_string(maxId());
    for (guint64 id = 0; id <= maxId() + 1; ++id) {
      all["url " + std::to_string(id)] = url(id);
      all["text " + std::to_string(id)] = text(id);
    }
    for (guint64 i = 0; i < urls; ++i) {
      const std::string name = "http://a.eus/" + std::to_string(i);
      guint64 id = 0;
      const int status = articledb_db_lookup_url(db, name.data(), sizeOf(name), &id);
      all[name] = std::to_string(status) + " " + std::to_string(id);
    }
    for (guint32 date = 20260101; date <= 20260105; ++date) {
      all["date " + std::to_string(date)] = drain(articledb_db_date_lookup_generator_new(db, date));
      all["to date " + std::to_string(date)] =
          drain(articledb_db_date_range_lookup_generator_new(db, 20260101, date));
    }
    return all;
  }
};

TEST_F(WaitingTest, AnswersAreTheSameWhereverArticlesWait) {
  constexpr int COUNT = 120;
  const unsigned seed = std::random_device()();
  const auto sources = random_articles(COUNT, seed, true);
  Strings words = {"w0", "w1", "w2", "lema", "", "w", "s", "ss"};
  for (const std::string& token : sources[0].tokens.tokens) {
    words.push_back(token);
    words.push_back(token.substr(0, token.size() / 2));
  }
  Handle other = another();
  for (int i = 0; i < COUNT; ++i) {
    // By two handles, of which each has to take notice of the other's.
    if (i % 3 == 0) {
      with(other, [&] { return indexSource(sources[static_cast<size_t>(i)]); });
    } else {
      indexSource(sources[static_cast<size_t>(i)]);
    }
    if (i % 40 != 39) {
      continue;
    }
    const Answers waiting = answers(words, COUNT / 2);
    EXPECT_EQ(with(other, [&] { return answers(words, COUNT / 2); }), waiting) << seed;
    if (i == 79) {
      EXPECT_EQ(with(other, [&] { return writeOut(); }), 0);
      EXPECT_EQ(answers(words, COUNT / 2), waiting) << seed;
    }
    if (i == COUNT - 1) {
      EXPECT_EQ(writeOut(), 0);
      EXPECT_EQ(answers(words, COUNT / 2), waiting) << seed;
    }
  }
}

// What a stream has not read yet may be written to the databases meanwhile, and come to what waits.
TEST_F(WaitingTest, StreamsGoOnWhereArticlesMove) {
  std::vector<GeneratorPtr> streams;
  for (guint64 id = 1; id <= 24; ++id) {
    ASSERT_EQ(index("u" + std::to_string(id), {"hitz"}), 0);
    streams.emplace_back(articledb_db_form_lookup_generator_new(db, "hitz", 4));
    for (guint64 opened = 1; opened <= id; ++opened) {
      EXPECT_EQ(pull(streams[opened - 1].get()), id - opened + 1);
    }
    if (id % 5 == 0) {
      EXPECT_EQ(writeOut(), 0);
    }
  }
}

}  // namespace
