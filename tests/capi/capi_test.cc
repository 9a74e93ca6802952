// The C interface, over real stores and the embedded lexicon.
#include <fenra/fenra_c.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/temporary_directory.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class CapiTest : public testing::Test {
 protected:
  fenra_store* open(unsigned flags = FENRA_CREATE, const char* rules = nullptr) {
    fenra_store* store = nullptr;
    EXPECT_EQ(fenra_open(path_.c_str(), flags, rules, &store, &error_), FENRA_OK) << error_.message;
    return store;
  }

  fenra_status index(fenra_store* store, const std::string& url, const std::string& text,
                     const char* mime = "text/plain", const char* date = nullptr,
                     const char* source = nullptr) {
    const fenra_article article = {url.c_str(), text.data(), text.size(), mime, date, source};
    return fenra_index(store, &article, &error_);
  }

  fenra_results* search(fenra_store* store, const char* query, const fenra_page* page = nullptr) {
    fenra_results* results = nullptr;
    EXPECT_EQ(fenra_search(store, query, page, &results, &error_), FENRA_OK) << error_.message;
    return results;
  }

  std::vector<std::string> urls(fenra_store* store, const char* query,
                                const fenra_page* page = nullptr) {
    fenra_results* results = search(store, query, page);
    std::vector<std::string> found;
    const fenra_hit* hit = nullptr;
    while (fenra_next(results, &hit, &error_) == FENRA_OK) {
      found.emplace_back(hit->url);
    }
    EXPECT_EQ(fenra_next(results, &hit, &error_), FENRA_END) << error_.message;
    EXPECT_EQ(hit, nullptr);
    fenra_results_free(results);
    return found;
  }

  const TemporaryDirectory directory_;
  const std::string path_ = directory_ / "store";
  fenra_error error_ = {};
};

TEST_F(CapiTest, ArticlesGoInAndComeOut) {
  fenra_store* store = open();
  EXPECT_EQ(index(store, "u:1|x", "<title>Etxe zuria</title><p>Gure etxea mendian dago.",
                  "text/html; charset=utf-8", "20090315", "berria"),
            FENRA_OK);
  EXPECT_EQ(index(store, "u:2", "Ibaia eta mendia.", "text/plain", "20100101"), FENRA_OK);
  EXPECT_EQ(index(store, "u:3", "Mendi bat."), FENRA_OK);

  fenra_results* results = search(store, "etxearen mendiak");
  const fenra_hit* hit = nullptr;
  ASSERT_EQ(fenra_next(results, &hit, &error_), FENRA_OK) << error_.message;
  EXPECT_STREQ(hit->url, "u:1%7Cx");
  EXPECT_STREQ(hit->date, "20090315");
  EXPECT_STREQ(hit->source, "berria");
  EXPECT_STREQ(hit->mime, "text/html; charset=utf-8");
  const char* title = nullptr;
  ASSERT_EQ(fenra_title(results, hit->id, &title, &error_), FENRA_OK) << error_.message;
  EXPECT_STREQ(title, "Etxe zuria");
  const fenra_snippet_text* snippet = nullptr;
  ASSERT_EQ(fenra_snippet(results, hit->id, &snippet, &error_), FENRA_OK) << error_.message;
  std::vector<std::string> matches;
  for (size_t i = 0; i < snippet->match_count; ++i) {
    matches.emplace_back(snippet->text + snippet->matches[i].begin,
                         snippet->text + snippet->matches[i].end);
  }
  EXPECT_THAT(matches, ElementsAre("etxea", "mendian"));
  // What is deleted meanwhile has no text any more.
  EXPECT_EQ(fenra_title(results, 99, &title, &error_), FENRA_NOT_FOUND);
  EXPECT_EQ(title, nullptr);
  fenra_results_free(results);

  const fenra_page latest = {FENRA_ORDER_DATE, 0, 2};
  EXPECT_THAT(urls(store, "mendi", &latest), ElementsAre("u:2", "u:1%7Cx"));
  const fenra_page older = {FENRA_ORDER_NEWEST, 3, 0};
  EXPECT_THAT(urls(store, "mendi", &older), ElementsAre("u:2", "u:1%7Cx"));
  const fenra_page unknown = {FENRA_ORDER_DATE, 77, 0};
  fenra_results* none = nullptr;
  EXPECT_EQ(fenra_search(store, "mendi", &unknown, &none, &error_), FENRA_WRONG_CALL);

  uint64_t articles = 0;
  EXPECT_EQ(fenra_count(store, &articles, &error_), FENRA_OK) << error_.message;
  EXPECT_EQ(articles, 3U);
  EXPECT_EQ(fenra_delete(store, "u:1|x", &error_), FENRA_OK);
  EXPECT_EQ(fenra_delete(store, "u:1|x", &error_), FENRA_NOT_FOUND);
  EXPECT_STREQ(error_.message, "there is no article 'u:1|x'");
  EXPECT_EQ(fenra_count(store, &articles, &error_), FENRA_OK);
  EXPECT_EQ(articles, 2U);
  EXPECT_THAT(urls(store, "mendi"), ElementsAre("u:2", "u:3"));
  EXPECT_EQ(fenra_close(store, &error_), FENRA_OK) << error_.message;
}

TEST_F(CapiTest, TermsAreExplained) {
  fenra_store* store = open();
  ASSERT_EQ(index(store, "u:1", "Gure etxea."), FENRA_OK);
  fenra_explanation* explanation = nullptr;
  ASSERT_EQ(fenra_explain(store, "etxearen -\"gure etxe\"", &explanation, &error_), FENRA_OK);
  EXPECT_EQ(fenra_close(store, &error_), FENRA_OK);
  const fenra_term* first = fenra_explanation_term(explanation, 0);
  EXPECT_EQ(first->kind, FENRA_TERM_LEMMA);
  EXPECT_STREQ(first->written, "etxearen");
  EXPECT_STREQ(first->lemma, "etxe");
  EXPECT_STREQ(first->meaning, "lemma etxe");
  EXPECT_EQ(first->articles, 1U);
  const fenra_term* second = fenra_explanation_term(explanation, 1);
  EXPECT_STREQ(second->meaning, "in a row gure etxe");
  EXPECT_EQ(second->lemma, nullptr);
  EXPECT_EQ(second->excluded, 1);
  EXPECT_EQ(second->articles, 0U);
  EXPECT_EQ(fenra_explanation_term(explanation, 2), nullptr);
  fenra_explanation_free(explanation);
}

TEST_F(CapiTest, EveryErrorHasItsStatusAndItsSentence) {
  fenra_store* store = nullptr;
  const auto expect = [&](fenra_status status, fenra_status expected, const char* words) {
    EXPECT_EQ(status, expected) << error_.message;
    EXPECT_EQ(error_.status, expected);
    EXPECT_THAT(error_.message, HasSubstr(words));
  };
  expect(fenra_open(path_.c_str(), 0, nullptr, &store, &error_), FENRA_NOT_FOUND, "FENRA_CREATE");
  expect(fenra_open((directory_ / "no/store").c_str(), FENRA_CREATE, nullptr, &store, &error_),
         FENRA_NOT_FOUND, "No such file");
  expect(fenra_open(path_.c_str(), 3, nullptr, &store, &error_), FENRA_WRONG_CALL, "flags 3");
  expect(fenra_open(path_.c_str(), FENRA_CREATE, "odd", &store, &error_), FENRA_WRONG_CALL,
         "'odd'");
  expect(fenra_open(directory_.path().c_str(), 0, nullptr, nullptr, &error_), FENRA_WRONG_CALL,
         "'store'");
  store = open(FENRA_CREATE, "plain");
  expect(index(store, "u:1", ""), FENRA_REFUSED, "empty");
  expect(index(store, "u:1", "a\xFF"), FENRA_REFUSED, "offset 1");
  expect(index(store, "u:1", "a", "image/png"), FENRA_REFUSED, "image/png");
  expect(index(store, "u:1", "a", "text/plain", "2009"), FENRA_REFUSED, "'2009'");
  expect(index(store, "u:\n", "a"), FENRA_REFUSED, "control character");
  expect(fenra_index(store, nullptr, &error_), FENRA_WRONG_CALL, "'article'");
  fenra_results* results = nullptr;
  expect(fenra_search(store, "(etxe", nullptr, &results, &error_), FENRA_WRONG_QUERY, "at byte 1");
  expect(fenra_search(store, " . ", nullptr, &results, &error_), FENRA_WRONG_QUERY, "no word");
  // Messages have an end, at a whole character.
  std::string letters = "u:";
  while (letters.size() < 3000) {
    letters += "\xC3\xB1";
  }
  expect(fenra_delete(store, letters.c_str(), &error_), FENRA_NOT_FOUND, "no article");
  EXPECT_EQ(strlen(error_.message) % 2, strlen("there is no article 'u:") % 2);
  EXPECT_GE(strlen(error_.message), FENRA_MESSAGE_BYTES - 3U);
  EXPECT_EQ(fenra_close(store, &error_), FENRA_OK);
  expect(fenra_open(path_.c_str(), 0, "web", &store, &error_), FENRA_EXISTS, "'plain'");
  EXPECT_EQ(store, nullptr);

  // No handle.
  uint64_t count = 7;
  const fenra_hit* hit = nullptr;
  expect(fenra_count(nullptr, &count, &error_), FENRA_WRONG_CALL, "'store' is NULL");
  EXPECT_EQ(count, 0U);
  expect(fenra_next(nullptr, &hit, &error_), FENRA_WRONG_CALL, "'results' is NULL");
  expect(fenra_bulk_finish(nullptr, nullptr, nullptr, &error_), FENRA_WRONG_CALL, "'bulk'");
  EXPECT_EQ(fenra_close(nullptr, nullptr), FENRA_OK);
  fenra_results_free(nullptr);
  fenra_bulk_free(nullptr);
  fenra_explanation_free(nullptr);
  EXPECT_EQ(fenra_explanation_term(nullptr, 0), nullptr);
}

TEST_F(CapiTest, AReaderSeesTheStoreAsItWas) {
  fenra_store* store = open();
  ASSERT_EQ(index(store, "u:1", "Etxea."), FENRA_OK);
  EXPECT_EQ(fenra_close(store, &error_), FENRA_OK);
  fenra_store* reader = open(FENRA_OPEN_READ_ONLY);
  EXPECT_EQ(index(reader, "u:2", "Etxea."), FENRA_READ_ONLY) << error_.message;
  EXPECT_THAT(urls(reader, "etxe"), ElementsAre("u:1"));
  store = open();
  ASSERT_EQ(index(store, "u:2", "Mendia."), FENRA_OK);
  EXPECT_EQ(fenra_close(store, &error_), FENRA_OK);
  for (const char* query : {"mendi", "\"etxe zuri\""}) {
    fenra_results* results = nullptr;
    const fenra_hit* hit = nullptr;
    fenra_status status = fenra_search(reader, query, nullptr, &results, &error_);
    if (status == FENRA_OK) {
      status = fenra_next(results, &hit, &error_);
    }
    EXPECT_EQ(status, FENRA_STORE_CHANGED) << query << ": " << error_.message;
    fenra_results_free(results);
  }
  EXPECT_EQ(fenra_close(reader, &error_), FENRA_OK);
}

TEST_F(CapiTest, ResultsEndWithTheirStore) {
  fenra_store* store = open();
  ASSERT_EQ(index(store, "u:1", "Etxea."), FENRA_OK);
  fenra_results* results = search(store, "etxe");
  const fenra_hit* hit = nullptr;
  EXPECT_EQ(fenra_next(results, &hit, &error_), FENRA_OK);
  EXPECT_EQ(fenra_close(store, &error_), FENRA_OK);
  const char* title = nullptr;
  EXPECT_EQ(fenra_next(results, &hit, &error_), FENRA_CLOSED);
  EXPECT_EQ(fenra_title(results, 1, &title, &error_), FENRA_CLOSED);
  fenra_results_free(results);
}

TEST_F(CapiTest, AForkedChildGetsAnErrorFromEveryCall) {
  fenra_store* store = open();
  ASSERT_EQ(index(store, "u:1", "Etxea."), FENRA_OK);
  fenra_results* results = search(store, "etxe");
  fenra_bulk* bulk = nullptr;
  ASSERT_EQ(fenra_bulk_open((directory_ / "bulk").c_str(), nullptr, &bulk, &error_), FENRA_OK);
  EXPECT_EQ(
      result_of([&] {
        const fenra_article article = {"u:2", "a", 1, nullptr, nullptr, nullptr};
        fenra_results* other = nullptr;
        fenra_explanation* explanation = nullptr;
        const fenra_hit* hit = nullptr;
        const fenra_snippet_text* snippet = nullptr;
        const char* title = nullptr;
        uint64_t count = 0;
        int forked = 0;
        for (const fenra_status status :
             {index(store, "u:2", "a"), fenra_delete(store, "u:1", &error_),
              fenra_count(store, &count, &error_),
              fenra_search(store, "etxe", nullptr, &other, &error_),
              fenra_explain(store, "etxe", &explanation, &error_),
              fenra_next(results, &hit, &error_), fenra_title(results, 1, &title, &error_),
              fenra_snippet(results, 1, &snippet, &error_), fenra_bulk_add(bulk, &article, &error_),
              fenra_bulk_finish(bulk, nullptr, nullptr, &error_), fenra_close(store, &error_)}) {
          forked += status == FENRA_FORKED ? 1 : 0;
        }
        fenra_results_free(results);
        fenra_bulk_free(bulk);
        return forked;
      }),
      11);
  const fenra_hit* hit = nullptr;
  EXPECT_EQ(fenra_next(results, &hit, &error_), FENRA_OK) << error_.message;
  EXPECT_EQ(index(store, "u:2", "Etxea."), FENRA_OK) << error_.message;
  EXPECT_EQ(fenra_bulk_finish(bulk, nullptr, nullptr, &error_), FENRA_OK) << error_.message;
  fenra_bulk_free(bulk);
  fenra_results_free(results);
  EXPECT_EQ(fenra_close(store, &error_), FENRA_OK);
}

TEST_F(CapiTest, BulkBuildingShowsItsProgressAndCanBeCancelled) {
  const auto build = [&](fenra_progress progress, void* state) {
    fenra_bulk* bulk = nullptr;
    EXPECT_EQ(fenra_bulk_open(path_.c_str(), nullptr, &bulk, &error_), FENRA_OK) << error_.message;
    const fenra_article empty = {"u:0", "", 0, nullptr, nullptr, nullptr};
    EXPECT_EQ(fenra_bulk_add(bulk, &empty, &error_), FENRA_REFUSED);
    // So many that the callback is called.
    std::string text = "Etxea.";
    for (int i = 0; i < 20000; ++i) {
      text += " x" + std::to_string(i);
    }
    const fenra_article article = {"u:1", text.data(), text.size(), nullptr, "20090315", "berria"};
    EXPECT_EQ(fenra_bulk_add(bulk, &article, &error_), FENRA_OK) << error_.message;
    const fenra_status status = fenra_bulk_finish(bulk, progress, state, &error_);
    fenra_bulk_free(bulk);
    return status;
  };
  EXPECT_EQ(build([](void*, uint64_t, uint64_t) { return 1; }, nullptr), FENRA_CANCELLED);
  EXPECT_FALSE(std::filesystem::exists(path_));
  int calls = 0;
  const auto count = [](void* state, uint64_t done, uint64_t total) {
    *static_cast<int*>(state) += done <= total ? 1 : 0;
    return 0;
  };
  EXPECT_EQ(build(count, &calls), FENRA_OK) << error_.message;
  EXPECT_GT(calls, 0);
  fenra_bulk* again = nullptr;
  EXPECT_EQ(fenra_bulk_open(path_.c_str(), nullptr, &again, &error_), FENRA_EXISTS);
  fenra_store* store = open(0);
  EXPECT_THAT(urls(store, "etxearen source:berria date:2009"), ElementsAre("u:1"));
  EXPECT_EQ(fenra_close(store, &error_), FENRA_OK);
}

// For the thread sanitizer too.
TEST_F(CapiTest, ThreadsShareAHandleAndHaveTheirOwn) {
  fenra_store* shared = open();
  const auto work = [this](fenra_store* store, const std::string& name) {
    for (int i = 0; i < 8; ++i) {
      const std::string url = name + std::to_string(i);
      const fenra_article article = {url.c_str(), "Etxea.", 6, "text/html", nullptr, nullptr};
      fenra_error error;
      EXPECT_EQ(fenra_index(store, &article, &error), FENRA_OK) << error.message;
      fenra_results* results = nullptr;
      EXPECT_EQ(fenra_search(store, "etxe", nullptr, &results, &error), FENRA_OK);
      const fenra_hit* hit = nullptr;
      EXPECT_EQ(fenra_next(results, &hit, &error), FENRA_OK) << error.message;
      fenra_results_free(results);
    }
  };
  std::vector<std::thread> threads;
  for (const char* name : {"a", "b"}) {
    threads.emplace_back(work, shared, name);
  }
  threads.emplace_back([&] {
    fenra_store* own = open();
    work(own, "c");
    fenra_error error;
    EXPECT_EQ(fenra_close(own, &error), FENRA_OK) << error.message;
  });
  for (std::thread& thread : threads) {
    thread.join();
  }
  uint64_t count = 0;
  EXPECT_EQ(fenra_count(shared, &count, &error_), FENRA_OK) << error_.message;
  EXPECT_EQ(count, 24U);
  EXPECT_EQ(fenra_close(shared, &error_), FENRA_OK);
}

}  // namespace
