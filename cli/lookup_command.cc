#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "articles/answer.h"
#include "cli/article_json.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/rules.h"
#include "cli/store.h"

namespace cli {
namespace {

using ostren::fenra::articles::Answer;
using ostren::fenra::articles::Found;

struct LookupOptions {
  std::string store;
  std::string form;
  std::string lemma;
  std::string source;
  std::string date;
  std::string trigram;
  std::string trigram_prefix;
  bool json = false;
};

using Words = std::vector<std::string>;

// The 1 to 3 words that an option gives.
Words split_words(const std::string& option, const std::string& text, int least) {
  std::istringstream stream(text);
  Words words{std::istream_iterator<std::string>(stream), {}};
  const auto count = static_cast<int>(words.size());
  if (count < least || count > TRIGRAM_BUILDER_WORDS) {
    const std::string wanted = least == TRIGRAM_BUILDER_WORDS ? "3" : "1 to 3";
    throw Failure(option + ": '" + text + "' has " + std::to_string(count) + " words, not " +
                      wanted + "; write them in one argument, as \"etxe zuri bat\"",
                  kWrongCall);
  }
  return words;
}

// The key of words: each followed by a zero byte.
std::string trigram_key(const ArticledbRules& rules, const Words& words) {
  std::string key;
  for (const std::string& word : words) {
    const std::string form = form_of(rules, word);
    if (form.size() >= TRIGRAM_BUILDER_WORD_SIZE) {
      throw Failure("'" + word + "' is longer than " +
                        std::to_string(TRIGRAM_BUILDER_WORD_SIZE - 1) +
                        " bytes, and no trigram holds such a word",
                    kWrongCall);
    }
    key.append(form.c_str(), form.size() + 1);
  }
  return key;
}

void print_articles(ArticledbDb* db, Stream stream, bool json) {
  ArticleReader reader(db);
  Answer answer(db, std::move(stream), {});
  while (const std::optional<Found> found = answer.next()) {
    if (!json) {
      print_line(found->article.url);
    } else if (const std::optional<std::string> text = reader.current_text(found->id)) {
      print_line(article_json(found->id, found->article, *text).line());
    }
  }
}

using Lookup = OstrenGenerator* (*)(ArticledbDb*, const char*, guint32);

// `key_of(rules)` gives the key.
template <typename KeyOf>
void lookup_word(const LookupOptions& options, Lookup make, KeyOf key_of) {
  const Store store = open_store(options.store);
  const std::string key = key_of(rules_of(store.get()));
  Stream stream(make(store.get(), key.data(), static_cast<guint32>(key.size())));
  print_articles(store.get(), std::move(stream), options.json);
}

void lookup(const LookupOptions& options, Lookup make, const std::string& key) {
  lookup_word(options, make, [&key](const ArticledbRules&) { return key; });
}

void lookup_form(const LookupOptions& options, Lookup make, const std::string& word) {
  lookup_word(options, make, [&word](const ArticledbRules& rules) { return form_of(rules, word); });
}

void lookup_trigram(const LookupOptions& options, bool whole) {
  const Words words = whole ? split_words("--trigram", options.trigram, TRIGRAM_BUILDER_WORDS)
                            : split_words("--trigram-prefix", options.trigram_prefix, 1);
  lookup_word(options, articledb_db_trigram_lookup_generator_new,
              [&](const ArticledbRules& rules) { return trigram_key(rules, words); });
}

}  // namespace

void add_lookup_command(const Command& program) {
  auto options = std::make_shared<LookupOptions>();
  const Command command =
      program.add_command("lookup", "Print the URLs of the articles under one key of an index");
  command.add_text("STORE", options->store, "Store directory").required();

  const Command keys = command.add_choice("Key", "Exactly one of");
  LookupOptions& o = *options;
  const Argument form = keys.add_text("--form", o.form, "A word exactly as it stands in the text");
  const Argument lemma = keys.add_text("--lemma", o.lemma, "The lemma of a word of the text");
  const Argument source = keys.add_text("--source", o.source, "The article's source");
  const Argument date = keys.add_date("--date", o.date, "The article's date");
  const Argument trigram =
      keys.add_text("--trigram", o.trigram, "Three consecutive words, in one argument");
  keys.add_text("--trigram-prefix", o.trigram_prefix,
                "The first 1 to 3 words of three consecutive ones, in one argument");
  command.add_flag("--json", options->json,
                   "Print a JSON object a line: id, url, title, date and source");
  command.set_footer(
      "Keys are compared byte for byte: no lemma is looked for. By the rules plain case counts; "
      "by\n"
      "the rules web a word is folded first, and a compound has its parts behind it: of the words\n"
      "\"gure eremu-izenak\" the trigrams are those of \"gure eremu-izenak eremu izenak\".\n"
      "Example:\n"
      "  fenra lookup articles.store --lemma etxe\n"
      "  fenra lookup articles.store --trigram-prefix \"etxe zuri\"");

  command.set_action([=] {
    if (form.given()) {
      lookup_form(*options, articledb_db_form_lookup_generator_new, options->form);
    } else if (lemma.given()) {
      lookup_form(*options, articledb_db_lemma_lookup_generator_new, options->lemma);
    } else if (source.given()) {
      lookup(*options, articledb_db_source_lookup_generator_new, options->source);
    } else if (date.given()) {
      lookup(*options, articledb_db_date_lookup_generator_new_from_string, options->date);
    } else {
      lookup_trigram(*options, trigram.given());
    }
  });
}

}  // namespace cli
