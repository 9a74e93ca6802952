// What the program's command line can say: commands with their options and operands.
// The library that parses it is known to command_line.cc only, as it costs every file
// that includes it seconds of compilation.
//
// Options and operands are taken as they stand. The library would split the text
// "[a,b]" into two operands, take "++" for the end of a command's operands and "-ibai" for
// options of one letter, but file names and words may look like that; so such arguments are
// shielded before it sees them, and what is added here takes the shield off.
#ifndef FENRA_CLI_COMMAND_LINE_H
#define FENRA_CLI_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/failure.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace cli {

// An option or an operand of a command; a copy is the same one.
class Argument {
 public:
  explicit Argument(CLI::Option* option) : option_(option) {}

  // A call without it is wrong.
  void required() const;

  // In an action: whether the call has it.
  bool given() const;

 private:
  CLI::Option* option_;
};

// A command; a copy is the same one. Names that begin with "--" are those of options,
// others ("STORE") those of operands. Targets have to live until the action is over.
class Command {
 public:
  explicit Command(CLI::App* app) : app_(app) {}

  Command add_command(const std::string& name, const std::string& description) const;

  // Exactly one of the commands added has to follow.
  void require_command() const;

  // A group of options, exactly one of which has to be given.
  Command add_choice(const std::string& name, const std::string& description) const;

  Argument add_text(const std::string& name, std::string& target,
                    const std::string& description) const;

  // Any number of operands.
  Argument add_texts(const std::string& name, std::vector<std::string>& target,
                     const std::string& description) const;

  // A decimal number of at least 1.
  Argument add_count(const std::string& name, uint64_t& target,
                     const std::string& description) const;

  // A date: exactly 8 decimal digits, kept as text.
  Argument add_date(const std::string& name, std::string& target,
                    const std::string& description) const;

  // An option without a text; `target` tells whether the call has it.
  void add_flag(const std::string& name, bool& target, const std::string& description) const;

  // The option --quiet, for output.h.
  void add_quiet() const;

  // The end of the command's help.
  void set_footer(const std::string& text) const;

  // What a call of the command does.
  void set_action(std::function<void()> action) const;

 private:
  CLI::App* app_;
};

class CommandLine {
 public:
  CommandLine(const std::string& name, const std::string& version, const std::string& description);
  ~CommandLine();

  Command program() const { return Command(app_.get()); }

  // Reads a call and does the action of its command, whose exceptions pass through.
  // Help and version go to standard output; what is wrong with the call goes to
  // standard error and gives kWrongCall.
  ExitStatus run(int argc, char** argv);

 private:
  std::unique_ptr<CLI::App> app_;
};

bool is_date(const std::string& text);

}  // namespace cli

#endif  // FENRA_CLI_COMMAND_LINE_H
