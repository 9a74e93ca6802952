// Random operations, compared with a plain model in memory.
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "tests/faults/support.h"

namespace faults {
namespace {

using ostren::fenra::FENRA_ERROR;
using ostren::fenra::FENRA_NO_ERROR;

// Forms and their lemmas; what the lexicon does not know is its own lemma.
const std::map<std::string, std::string> kLemmas = {
    {"etxea", "etxe"},        {"etxeak", "etxe"}, {"etxearen", "etxe"}, {"mendia", "mendi"},
    {"mendietatik", "mendi"}, {"xqaa", "xqaa"},   {"xqab", "xqab"},     {"xqac", "xqac"},
    {"xqad", "xqad"},         {"Xqaa", "Xqaa"},
};

class Model {
 public:
  void put(const std::string& url, const std::string& text, const std::set<std::string>& forms) {
    Article& article = articles_[url];
    article = {++last_id_, text, {}};
    for (const std::string& form : forms) {
      article.lemmas.insert(kLemmas.at(form));
    }
  }

  // The URLs of the articles with all of the forms' lemmas, in the order of ids.
  Urls search(const std::vector<std::string>& forms) const {
    std::map<uint64_t, std::string> found;
    for (const auto& [url, article] : articles_) {
      const auto& lemmas = article.lemmas;
      if (!forms.empty() && std::all_of(forms.begin(), forms.end(), [&](const std::string& form) {
            return lemmas.count(kLemmas.at(form)) != 0;
          })) {
        found.emplace(article.id, url);
      }
    }
    Urls urls;
    for (const auto& [id, url] : found) {
      urls.push_back(url);
    }
    return urls;
  }

 private:
  struct Article {
    uint64_t id = 0;
    std::string text;
    std::set<std::string> lemmas;
  };

  std::map<std::string, Article> articles_;
  uint64_t last_id_ = 0;
};

class ModelTest : public FaultTest {
 protected:
  void step() {
    const int choice = below(100);
    if (choice < 45) {
      put();
    } else if (choice < 50) {
      put_refused();
    } else if (choice < 95) {
      search();
    } else {
      Instance& one = instances_[static_cast<size_t>(below(2))];
      one.reset();
      if (below(2) == 0) {
        // Nobody has the store open for a moment.
        instances_[0].reset();
        instances_[1].reset();
      }
    }
  }

 private:
  // One of two instances on the store, opened when it is not.
  ostren::fenra::Fenra& instance() {
    Instance& one = instances_[static_cast<size_t>(below(2))];
    if (one == nullptr) {
      one = open();
    }
    return *one;
  }

  std::string form() {
    auto chosen = kLemmas.begin();
    std::advance(chosen, below(static_cast<int>(kLemmas.size())));
    return chosen->first;
  }

  void put() {
    const std::string url = "u" + std::to_string(below(40));
    std::string text = "-";
    std::set<std::string> forms;
    for (int i = below(12); i > 0; --i) {
      const std::string word = form();
      forms.insert(word);
      text += " " + word;
    }
    const bool html = below(3) == 0;
    const std::string page = "<html><title></title><body><p>" + text + "</p></body></html>";
    ASSERT_EQ(instance().index(url.c_str(), (html ? page : text).c_str(),
                               html ? "text/html" : "text/plain"),
              FENRA_NO_ERROR)
        << text;
    model_.put(url, text, forms);
  }

  // An article that is refused changes nothing, not even the one of the same URL.
  void put_refused() {
    const std::string url = "u" + std::to_string(below(40));
    static const std::pair<const char*, const char*> refused[] = {{"", "text/plain"},
                                                                  {"etxea \xff", "text/plain"},
                                                                  {"etxea", "image/png"},
                                                                  {"etxea", "text/html"},
                                                                  {nullptr, "text/plain"}};
    testing::internal::CaptureStderr();
    const auto& [text, mime] = refused[below(5)];
    EXPECT_EQ(instance().index(url.c_str(), text, mime), FENRA_ERROR);
    testing::internal::GetCapturedStderr();
  }

  void search() {
    std::vector<std::string> forms;
    std::string query;
    for (int i = below(4); i > 0; --i) {
      forms.push_back(form());
      query += forms.back() + " ";
    }
    ASSERT_EQ(answer(instance(), query), model_.search(forms)) << query;
  }

  Instance instances_[2];
  Model model_;
};

TEST_F(ModelTest, AnswersAreThoseOfTheModel) {
  const int steps = rounds(1) * 600;
  for (int i = 0; i < steps && !HasFatalFailure(); ++i) {
    SCOPED_TRACE("step " + std::to_string(i));
    step();
  }
}

}  // namespace
}  // namespace faults
