#include "lexicon/articledb_lemmatizer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <memory>
#include <thread>

#include "tests/lexicon/lexicon_file.h"

namespace {

using fenra_test::AttText;
using fenra_test::TemporaryDirectory;
using Strings = std::vector<std::string>;

// The strings of `list`, which is released.
Strings Take(GList* list) {
  Strings strings;
  for (GList* cell = list; cell != nullptr; cell = cell->next) {
    strings.emplace_back(static_cast<char*>(cell->data));
  }
  articledb_string_list_free(list);
  return strings;
}

using Lemmatizer = std::unique_ptr<void, int (*)(void*)>;

// A lemmatizer whose file no longer exists when it is used.
Lemmatizer NewLemmatizer(const std::string& att_text) {
  const TemporaryDirectory directory;
  const std::string path = directory.Write("lexicon.att", att_text);
  return {articledb_simple_fst_lemmatizer_new(path.c_str()), articledb_simple_fst_lemmatizer_free};
}

Strings FirstLemma(const Lemmatizer& lemmatizer, const char* form, int length) {
  return Take(articledb_simple_fst_lemmatizer_first_lemma(lemmatizer.get(), form, length));
}
Strings FirstLemma(const Lemmatizer& lemmatizer, const std::string& form) {
  return FirstLemma(lemmatizer, form.data(), static_cast<int>(form.size()));
}

TEST(StringList, PrependCopiesIntoANewHead) {
  char text[] = "b";
  GList* list = articledb_string_list_prepend(articledb_string_list_new(), text);
  text[0] = 'a';
  list = articledb_string_list_prepend(list, text);
  text[0] = 'x';
  EXPECT_EQ(Take(list), (Strings{"a", "b"}));
  EXPECT_EQ(Take(articledb_string_list_new()), Strings{});
}

// Forms of which nothing but the given bytes counts, for both lemmatizers.
TEST(Lemmatizers, CopyTheGivenBytesOfAnUnknownForm) {
  const Lemmatizer lemmatizer = NewLemmatizer(AttText({{"etxea", "IZE/house+"}}));
  const char unterminated[] = {'e', 't', 'x', 'e'};
  const std::string long_form(5000, 'x');
  const struct {
    const char* form;
    int length;
    std::string lemma;
  } cases[] = {
      {"etxea", 3, "etx"},       {"etxea", 0, ""},
      {"etxea", -1, ""},         {"etxea", INT_MIN, ""},
      {nullptr, 0, ""},          {"et\0xea", 6, "et"},
      {unterminated, 4, "etxe"}, {"\xc3\xb1", 2, "\xc3\xb1"},
      {"Etxea", 5, "Etxea"},     {long_form.data(), 5000, long_form},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Take(articledb_lemmatizer_identity(nullptr, c.form, c.length)), Strings{c.lemma});
    EXPECT_EQ(FirstLemma(lemmatizer, c.form, c.length), Strings{c.lemma});
  }
}

TEST(FirstLemma, IsCutOutOfTheAnalysis) {
  const std::pair<const char*, const char*> cases[] = {
      {"IZE/etxe+", "etxe"}, {"IZE/etxe+a+b", "etxe"}, {"IZE/a/b+", "a/b"},
      {"ADT/izan", "form"},  {"IZE+etxe", "form"},     {"etxe", "form"},
      {"+ADL/edun", "form"}, {"+ADL/edun+", "form"},   {"IZE+/etxe+", "form"},
      {"IZE/+", ""},         {"/etxe+", "etxe"},
  };
  for (const auto& [analysis, lemma] : cases) {
    EXPECT_EQ(FirstLemma(NewLemmatizer(AttText({{"form", analysis}})), "form"), Strings{lemma})
        << analysis;
  }
}

TEST(FirstLemma, OnlyTheFirstAnalysisCounts) {
  for (const auto& [first, lemma] : {std::pair("ADL/edun", "zuen"), {"ADL/ukan+", "ukan"}}) {
    const Lemmatizer lemmatizer = NewLemmatizer(AttText({{"zuen", first}, {"zuen", "IOR/zuek+"}}));
    EXPECT_EQ(FirstLemma(lemmatizer, "zuen"), Strings{lemma});
  }
}

// "a" has the analysis "/+", which is found after all ways through a dead end of
// so many layers of two epsilon arcs each: twice as many with every layer.
std::string BehindADeadEnd(int layers) {
  std::string text = "0 1 0 0\n0 4 0 0\n1 2 47 97\n2 3 43 0\n";
  for (int state = 4; state < 4 + layers; ++state) {
    const std::string arc = std::to_string(state) + ' ' + std::to_string(state + 1) + " 0 0\n";
    text += arc + arc;
  }
  return text + "3\n0 @0@\n47 /\n43 +\n97 a\n";
}

TEST(FirstLemma, ASearchThatWouldNotEndFindsNothing) {
  EXPECT_EQ(FirstLemma(NewLemmatizer(BehindADeadEnd(18)), "a"), Strings{""});
  EXPECT_EQ(FirstLemma(NewLemmatizer(BehindADeadEnd(200)), "a"), Strings{"a"});
}

// What is remembered is as good as what was found first, and of the same form.
TEST(FirstLemma, IsTheSameWhenAskedAgain) {
  const auto y = [](size_t count) { return std::string(count, 'y'); };
  const std::string terminated("etxe", 5);
  const Lemmatizer lemmatizer = NewLemmatizer(AttText({{"etxe", "IZE/house+"},
                                                       {"huts", "IZE/+"},
                                                       {"b", "IZE/" + y(60) + "+"},
                                                       {"c", "IZE/" + y(61) + "+"},
                                                       {"d", "IZE/" + y(400) + "+"}}));
  const struct {
    std::string bytes;
    int length;
    std::string lemma;
  } cases[] = {
      {"etxe", 4, "house"},
      {"etxea", 5, "etxea"},
      {"etxea", 4, "house"},
      {"etxea", 3, "etx"},
      {terminated + "a", 6, "house"},
      {terminated, 20, "house"},
      {"huts", 4, ""},
      {"", 0, ""},
      {"etxe", 0, ""},
      {"etxe", -4, ""},
      {terminated.substr(4), 1, ""},
      {"b", 1, y(60)},
      {"c", 1, y(61)},
      {"d", 1, y(400)},
      {y(30), 30, y(30)},
      {y(31), 31, y(31)},
      {y(61), 61, y(61)},
      {y(62), 62, y(62)},
      {y(30 + 256), 30 + 256, y(30 + 256)},
      {y(65536), 65536, y(65536)},
  };
  for (int times = 0; times < 3; ++times) {
    for (const auto& c : cases) {
      // Nothing behind the bytes may be read.
      const std::vector<char> form(c.bytes.begin(), c.bytes.end());
      EXPECT_EQ(FirstLemma(lemmatizer, form.data(), c.length), Strings{c.lemma})
          << c.bytes << ", " << c.length << ", after " << times;
    }
  }
}

// The lemma of a number has the letters "a" to "j" for its digits.
std::string LettersForDigits() {
  std::string text = "0 1 47 0\n1 2 43 0\n";
  std::string labels = "0 @0@\n43 +\n47 /\n";
  for (int digit = 0; digit < 10; ++digit) {
    text += "1 1 " + std::to_string('a' + digit) + ' ' + std::to_string('0' + digit) + '\n';
    labels += std::to_string('a' + digit) + ' ' + static_cast<char>('a' + digit) + '\n';
    labels += std::to_string('0' + digit) + ' ' + static_cast<char>('0' + digit) + '\n';
  }
  return text + "2\n" + labels;
}

// Asks for the number and for a form without analysis.
bool IsRightFor(const Lemmatizer& lemmatizer, int number) {
  const std::string form = std::to_string(number);
  std::string lemma = form;
  for (char& digit : lemma) {
    digit = static_cast<char>('a' + (digit - '0'));
  }
  return FirstLemma(lemmatizer, form) == Strings{lemma} &&
         FirstLemma(lemmatizer, 'x' + form) == Strings{'x' + form};
}

// More forms than can be remembered displace each other, at the hands of several threads
// at once, while some of them are asked for all the time.
TEST(FirstLemma, IsThatOfTheFormWhateverElseIsAskedFor) {
  for (const unsigned count : {1, 4}) {
    const Lemmatizer lemmatizer = NewLemmatizer(LettersForDigits());
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < count; ++i) {
      threads.emplace_back([&lemmatizer, &wrong] {
        for (int number = 0; number < 20000; ++number) {
          wrong += IsRightFor(lemmatizer, number) ? 0 : 1;
          wrong += IsRightFor(lemmatizer, number % 50) ? 0 : 1;
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_EQ(wrong, 0) << count << " threads";
  }
}

TEST(FirstLemma, TheEmptyFormCanHaveAnAnalysis) {
  EXPECT_EQ(FirstLemma(NewLemmatizer(AttText({{"", "X/y+"}})), ""), Strings{"y"});
}

TEST(FirstLemma, WithoutALexicon) {
  const TemporaryDirectory directory;
  EXPECT_EQ(articledb_simple_fst_lemmatizer_new(directory.Path("none.fst").c_str()), nullptr);
  EXPECT_EQ(articledb_simple_fst_lemmatizer_new(nullptr), nullptr);
  EXPECT_EQ(articledb_simple_fst_lemmatizer_first_lemma(nullptr, "etxea", 5), nullptr);
  EXPECT_EQ(articledb_simple_fst_lemmatizer_free(nullptr), 0);
}

}  // namespace
