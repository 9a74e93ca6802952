#include <algorithm>
#include <memory>
#include <sstream>
#include <string>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/store.h"

namespace cli {
namespace {

struct LookupOptions {
  std::string store;
  std::string form;
  std::string lemma;
  std::string source;
  std::string date;
  std::string trigram;
  std::string trigram_prefix;
};

// The key of 1 to 3 words, each followed by a zero byte.
std::string trigram_key(const std::string& option, const std::string& words, int least) {
  std::istringstream stream(words);
  std::string key;
  std::string word;
  int count = 0;
  for (; stream >> word; ++count) {
    if (word.size() >= TRIGRAM_BUILDER_WORD_SIZE) {
      throw Failure(option + ": '" + word + "' is longer than " +
                        std::to_string(TRIGRAM_BUILDER_WORD_SIZE - 1) +
                        " bytes, and no trigram holds such a word",
                    kWrongCall);
    }
    key.append(word.c_str(), word.size() + 1);
  }
  if (count < least || count > TRIGRAM_BUILDER_WORDS) {
    const std::string wanted = least == TRIGRAM_BUILDER_WORDS ? "3" : "1 to 3";
    throw Failure(option + ": '" + words + "' has " + std::to_string(count) + " words, not " +
                      wanted + "; write them in one argument, as \"etxe zuri bat\"",
                  kWrongCall);
  }
  return key;
}

using Lookup = OstrenGenerator* (*)(ArticledbDb*, const char*, guint32);

void lookup(const std::string& path, Lookup make, const std::string& key) {
  const Store store = open_store(path);
  const Stream stream(make(store.get(), key.data(), static_cast<guint32>(key.size())));
  print_articles(store.get(), stream);
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
  command.set_footer(
      "Keys are compared byte for byte: no lemma is looked for and case counts.\n"
      "Example:\n"
      "  fenra lookup articles.store --lemma etxe\n"
      "  fenra lookup articles.store --trigram-prefix \"etxe zuri\"");

  command.set_action([=] {
    if (form.given()) {
      lookup(options->store, articledb_db_form_lookup_generator_new, options->form);
    } else if (lemma.given()) {
      lookup(options->store, articledb_db_lemma_lookup_generator_new, options->lemma);
    } else if (source.given()) {
      lookup(options->store, articledb_db_source_lookup_generator_new, options->source);
    } else if (date.given()) {
      lookup(options->store, articledb_db_date_lookup_generator_new_from_string, options->date);
    } else {
      const std::string key =
          trigram.given() ? trigram_key("--trigram", options->trigram, TRIGRAM_BUILDER_WORDS)
                          : trigram_key("--trigram-prefix", options->trigram_prefix, 1);
      lookup(options->store, articledb_db_trigram_lookup_generator_new, key);
    }
  });
}

}  // namespace cli
