#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/handles.h"
#include "cli/output.h"

namespace cli {
namespace {

struct FstOptions {
  std::string input;
  std::string output;
  std::vector<std::string> words;
  bool down = false;
};

// The loaders say on standard error what is wrong with a file.
Lexicon open_transducer(const std::string& path) {
  QorLexicon* lexicon = nullptr;
  if (Pelko::open_lexicon(&lexicon, path.c_str()) != Pelko::VERIFIER_NO_ERROR) {
    const std::string format = Pelko::is_att_file(path.c_str()) != 0
                                   ? "AT&T text, because its path holds \".att\""
                                   : "a binary transducer, because its path does not hold \".att\"";
    throw Failure("cannot load '" + path + "' as " + format);
  }
  return Lexicon(lexicon);
}

void compile(const FstOptions& options) {
  const Transducer fst(lk_fst_new_from_att_file(options.input.c_str()));
  if (fst == nullptr) {
    throw Failure("cannot load '" + options.input + "' as AT&T text");
  }
  if (lk_fst_save_to_binary_file(fst.get(), options.output.c_str()) != 0) {
    throw Failure("cannot write '" + options.output + "'");
  }
}

void dump(const FstOptions& options) {
  const Lexicon lexicon = open_transducer(options.input);
  lk_fst_debug_write(lexicon->fst);
}

void look(const FstOptions& options) {
  const Lexicon lexicon = open_transducer(options.input);
  for (const std::string& word : options.words) {
    TransducerOutput results;
    if (options.down) {
      Pelko::lookdown(lexicon.get(), results, word.c_str());
    } else {
      Pelko::lookup(lexicon.get(), results, word.c_str());
    }
    for (const std::string& result : results) {
      print_line(word + "\t" + result);
    }
    if (results.empty()) {
      print_line(word + "\t-");
    }
  }
}

using Options = std::shared_ptr<FstOptions>;

void add_compile(const Command& fst, const Options& options) {
  const Command command = fst.add_command("compile", "Make a binary transducer from AT&T text");
  command.add_text("IN.att", options->input, "AT&T text, whatever its name").required();
  command.add_text("OUT.fst", options->output, "Binary transducer file to write").required();
  command.set_footer("Example:\n  fenra fst compile lexicon.att lexicon.fst");
  command.set_action([options] { compile(*options); });
}

void add_dump(const Command& fst, const Options& options) {
  const Command command = fst.add_command("dump", "Print the arcs and final cells of a transducer");
  command
      .add_text("FILE", options->input,
                "Transducer: AT&T text when its path holds \".att\", otherwise binary")
      .required();
  command.set_footer("Example:\n  fenra fst dump lexicon.fst");
  command.set_action([options] { dump(*options); });
}

void add_look(const Command& fst, const Options& options) {
  const Command command = fst.add_command("look", "Run words through a transducer");
  command
      .add_text("FILE", options->input,
                "Transducer: AT&T text when its path holds \".att\", otherwise binary")
      .required();
  command.add_texts("WORD", options->words, "Words").required();
  command.add_flag("--down", options->down, "From upper to lower labels, not from lower to upper");
  command.set_footer(
      "A line is WORD and RESULT with a tab between them; \"-\" for no result.\n"
      "Example:\n"
      "  fenra fst look lexicon.fst etxea\n"
      "  fenra fst look --down lexicon.fst IZE/etxe+");
  command.set_action([options] { look(*options); });
}

}  // namespace

void add_fst_command(const Command& program) {
  auto options = std::make_shared<FstOptions>();
  const Command command = program.add_command("fst", "Make, print and run transducers");
  command.require_command();
  command.set_footer("Example:\n  fenra fst compile lexicon.att lexicon.fst");
  add_compile(command, options);
  add_dump(command, options);
  add_look(command, options);
}

}  // namespace cli
