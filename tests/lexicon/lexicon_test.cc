// Lexicon files and the lemmas that they give.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "base/handles.h"
#include "lexicon/articledb_lemmatizer.h"
#include "lexicon/ostren_ffst.h"
#include "tests/support/temporary_directory.h"

namespace {

// AT&T text with a chain of arcs for every pair of a word and its output. A word
// may come twice; its results keep their order when it sorts before the others.
std::string AttText(const std::vector<std::pair<std::string, std::string>>& pairs) {
  std::string start_arcs;
  std::string arcs;
  std::string finals;
  int states = 1;
  for (const auto& [word, output] : pairs) {
    int source = 0;
    for (size_t i = 0; i < std::max(word.size(), output.size()); ++i) {
      const auto label = [i](const std::string& text) {
        return std::to_string(i < text.size() ? static_cast<unsigned char>(text[i]) : 0);
      };
      (i == 0 ? start_arcs : arcs) += std::to_string(source) + ' ' + std::to_string(states) + ' ' +
                                      label(output) + ' ' + label(word) + '\n';
      source = states++;
    }
    finals += std::to_string(source) + '\n';
  }
  std::string text = start_arcs + arcs + finals + "0 @0@\n";
  for (int label = 3; label < 256; ++label) {
    text += std::to_string(label) + ' ' + static_cast<char>(label) + '\n';
  }
  return text;
}

// ---- lemmas ----

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

using Lemmatizer =
    std::unique_ptr<void, ostren::fenra::Releaser<articledb_simple_fst_lemmatizer_free>>;

// A lemmatizer whose file no longer exists when it is used.
Lemmatizer NewLemmatizer(const std::string& att_text) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("lexicon.att", att_text);
  return Lemmatizer(articledb_simple_fst_lemmatizer_new(path.c_str()));
}

Strings FirstLemma(const Lemmatizer& lemmatizer, const char* form, int length) {
  return Take(articledb_simple_fst_lemmatizer_first_lemma(lemmatizer.get(), form, length));
}

// Nothing but the given bytes counts, up to a zero byte, for both lemmatizers; what is
// remembered is as good as what was found first, and of the same form.
TEST(Lemmatizers, TakeTheGivenBytesAlsoWhenAskedAgain) {
  const auto y = [](size_t count) { return std::string(count, 'y'); };
  const Lemmatizer lemmatizer = NewLemmatizer(AttText({{"etxe", "IZE/house+"},
                                                       {"huts", "IZE/+"},
                                                       {"dut", "ADL/dun+"},
                                                       {"zaldia", "IZE/zaldi+"},
                                                       {"b", "IZE/" + y(26) + "+"},
                                                       {"c", "IZE/" + y(27) + "+"},
                                                       {"d", "IZE/" + y(400) + "+"}}));
  struct Case {
    std::string bytes;
    int length;
    std::string copy, lemma;
  };
  std::vector<Case> cases = {
      {"etxea", 3, "etx", "etx"},
      {"etxea", 0, "", ""},
      {"etxea", -1, "", ""},
      {"etxea", INT_MIN, "", ""},
      {std::string("et\0xea", 6), 6, "et", "et"},
      {"\xc3\xb1", 2, "\xc3\xb1", "\xc3\xb1"},
      {"Etxe", 4, "Etxe", "Etxe"},
      {"etxea", 4, "etxe", "house"},
      {std::string("etxe\0a", 6), 20, "etxe", "house"},
      {"huts", 4, "huts", ""},
      {"dut", 3, "dut", "dun"},
      {"zaldia", 6, "zaldia", "zaldi"},
      {"b", 1, "b", y(26)},
      {"c", 1, "c", y(27)},
      {"d", 1, "d", y(400)},
  };
  for (const size_t length : {27, 28, 27 + 256, 65536}) {
    cases.push_back({y(length), static_cast<int>(length), y(length), y(length)});
  }
  for (int times = 0; times < 3; ++times) {
    for (const Case& c : cases) {
      // Nothing behind the bytes may be read.
      const std::vector<char> form(c.bytes.begin(), c.bytes.end());
      EXPECT_EQ(Take(articledb_lemmatizer_identity(nullptr, form.data(), c.length)),
                Strings{c.copy});
      EXPECT_EQ(FirstLemma(lemmatizer, form.data(), c.length), Strings{c.lemma})
          << c.bytes << ", " << c.length << ", after " << times;
    }
    EXPECT_EQ(FirstLemma(lemmatizer, nullptr, 0), Strings{""});
  }
  EXPECT_EQ(FirstLemma(NewLemmatizer(AttText({{"", "X/y+"}})), "", 0), Strings{"y"});
}

// The lemma of a number has the letters "a" to "j" for its digits.
Lemmatizer LettersForDigits() {
  std::string text = "0 1 47 0\n1 2 43 0\n";
  std::string labels = "0 @0@\n43 +\n47 /\n";
  for (char digit = '0'; digit <= '9'; ++digit) {
    const std::string letter = std::to_string(digit + 'a' - '0');
    text += "1 1 " + letter + ' ' + std::to_string(digit) + '\n';
    labels += letter + ' ' + static_cast<char>(digit + 'a' - '0') + '\n';
    labels += std::to_string(digit) + ' ' + digit + '\n';
  }
  return NewLemmatizer(text + "2\n" + labels);
}

// Asks for the number and for a form without analysis.
bool IsRightFor(const Lemmatizer& lemmatizer, int number) {
  const std::string form = std::to_string(number);
  const std::string unknown = 'x' + form;
  std::string lemma = form;
  std::for_each(lemma.begin(), lemma.end(), [](char& digit) { digit += 'a' - '0'; });
  const auto length = static_cast<int>(form.size());
  return FirstLemma(lemmatizer, form.data(), length) == Strings{lemma} &&
         FirstLemma(lemmatizer, unknown.data(), length + 1) == Strings{unknown};
}

// Forms displace each other where they are remembered, at the hands of several threads at
// once, while some of them are asked for all the time.
TEST(FirstLemma, IsThatOfTheFormWhateverElseIsAskedFor) {
  for (const unsigned count : {1, 4}) {
    const Lemmatizer lemmatizer = LettersForDigits();
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

TEST(FirstLemma, IsCutOutOfTheFirstAnalysis) {
  const std::pair<const char*, const char*> cases[] = {
      {"IZE/etxe+", "etxe"}, {"IZE/etxe+a+b", "etxe"}, {"IZE/a/b+", "a/b"},
      {"ADT/izan", "form"},  {"IZE+etxe", "form"},     {"etxe", "form"},
      {"+ADL/edun", "form"}, {"+ADL/edun+", "form"},   {"IZE+/etxe+", "form"},
      {"IZE/+", ""},         {"/etxe+", "etxe"},
  };
  for (const auto& [analysis, lemma] : cases) {
    const Lemmatizer lemmatizer = NewLemmatizer(AttText({{"form", analysis}, {"form", "X/y+"}}));
    EXPECT_EQ(FirstLemma(lemmatizer, "form", 4), Strings{lemma}) << analysis;
  }
}

// `arcs` from state 0 to 3 beside a dead end of so many layers of two epsilon arcs
// each, which is searched first: there are twice as many ways with every layer.
std::string BesideADeadEnd(int layers, const std::string& arcs) {
  std::string text = arcs;
  for (int state = 4; state < 4 + layers; ++state) {
    const std::string arc = std::to_string(state) + ' ' + std::to_string(state + 1) + " 0 0\n";
    text += arc + arc;
  }
  return text + "3\n0 @0@\n47 /\n43 +\n97 a\n";
}

TEST(FirstLemma, WithoutALexicon) {
  const TemporaryDirectory directory;
  EXPECT_EQ(articledb_simple_fst_lemmatizer_new((directory / "none.fst").c_str()), nullptr);
  EXPECT_EQ(articledb_simple_fst_lemmatizer_new(nullptr), nullptr);
  EXPECT_EQ(articledb_simple_fst_lemmatizer_first_lemma(nullptr, "etxea", 5), nullptr);
  EXPECT_EQ(articledb_simple_fst_lemmatizer_free(nullptr), 0);
}

// ---- lexicons ----

using Lexicon = std::unique_ptr<QorLexicon, ostren::fenra::Releaser<Pelko::close_lexicon>>;

Lexicon Open(const std::string& path) {
  QorLexicon* lexicon = nullptr;
  EXPECT_EQ(Pelko::open_lexicon(&lexicon, path.c_str()), Pelko::VERIFIER_NO_ERROR);
  return Lexicon(lexicon);
}

class LexiconFacade : public ::testing::Test {
 protected:
  const TemporaryDirectory directory_;
  const std::string text_ = AttText({{"da", "ADT/izan"}, {"da", "ADL/izan"}, {"dago", "ADT/izan"}});
};

TEST_F(LexiconFacade, TheNameAloneChoosesTheFormat) {
  for (const char* name : {"a.att", "a.att.gz", "x.attic/a.fst", ".att"}) {
    EXPECT_EQ(Pelko::is_att_file(name), 1) << name;
    EXPECT_NE(Open(directory_.write(name, text_)), nullptr) << name;
  }
  const Lexicon from_text = Open(directory_ / "a.att");
  const std::string binary = directory_ / "a.fst";
  ASSERT_EQ(lk_fst_save_to_binary_file(from_text->fst, binary.c_str()), 0);
  EXPECT_EQ(Pelko::is_att_file(binary.c_str()), 0);
  TransducerOutput output;
  EXPECT_EQ(Pelko::lookup(Open(binary).get(), output, "dago"), 1);
}

TEST_F(LexiconFacade, AFailedOpenLeavesTheHandle) {
  QorLexicon untouched;
  QorLexicon* lexicon = &untouched;
  for (const std::string& path :
       {directory_ / "none.fst", directory_ / "none.att", directory_.write("text.fst", text_)}) {
    EXPECT_EQ(Pelko::open_lexicon(&lexicon, path.c_str()), Pelko::VERIFIER_CANNOT_OPEN_FILE);
    EXPECT_EQ(lexicon, &untouched) << path;
  }
}

TEST_F(LexiconFacade, ResultsAccumulateInOrder) {
  const Lexicon lexicon = Open(directory_.write("l.att", text_));
  TransducerOutput output;
  EXPECT_EQ(Pelko::lookup(lexicon.get(), output, "da"), 2);
  EXPECT_EQ(Pelko::lookup(lexicon.get(), output, "dag"), 2);
  EXPECT_EQ(Pelko::lookup(lexicon.get(), output, "dago"), 3);
  EXPECT_EQ(Pelko::lookdown(lexicon.get(), output, "ADL/izan"), 4);
  EXPECT_EQ(Pelko::lookdown(lexicon.get(), output, "da"), 4);
  EXPECT_EQ(Pelko::lookdown(lexicon.get(), output, "ADL/izan", 1), -1);
  EXPECT_EQ(output, (TransducerOutput{"ADT/izan", "ADL/izan", "ADT/izan", "da"}));
  // The longest path that the search stack has room for.
  const Lexicon deep =
      Open(directory_.write("deep.att", AttText({{std::string(511, 'a'), std::string(511, 'b')}})));
  EXPECT_EQ(Pelko::lookup(deep.get(), output, std::string(511, 'a').c_str()), 5);
  EXPECT_EQ(output.back(), std::string(511, 'b'));
  EXPECT_EQ(Pelko::lookup_only_the_first(lexicon.get(), "da"), 1);
  for (const char* word : {"", "d", "dagoa", "Da"}) {
    EXPECT_EQ(Pelko::lookup_only_the_first(lexicon.get(), word), 0) << word;
  }
}

// A result that is left on the stack need not be the first one.
TEST_F(LexiconFacade, ASearchThatGivesUpHasNoResult) {
  const std::string arcs = "0 3 47 0\n0 4 0 0\n";
  for (const auto& [layers, results] : {std::pair(18, 1), {200, 0}}) {
    const Lexicon lexicon = Open(directory_.write("l.att", BesideADeadEnd(layers, arcs)));
    EXPECT_EQ(Pelko::lookup_only_the_first(lexicon.get(), ""), results);
  }
}

TEST_F(LexiconFacade, NullHandlesAndWordsHaveNoResults) {
  const Lexicon lexicon = Open(directory_.write("l.att", text_));
  TransducerOutput output{"kept"};
  for (const auto& [handle, word] :
       {std::pair<QorLexicon*, const char*>{nullptr, "da"}, {lexicon.get(), nullptr}}) {
    EXPECT_EQ(Pelko::lookup(handle, output, word), 1);
    EXPECT_EQ(Pelko::lookdown(handle, output, word), 1);
    EXPECT_EQ(Pelko::lookup_only_the_first(handle, word), 0);
  }
  EXPECT_EQ(Pelko::close_lexicon(nullptr), Pelko::VERIFIER_NO_ERROR);
  EXPECT_EQ(Pelko::is_att_file(nullptr), 0);
}

}  // namespace
