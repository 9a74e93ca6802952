#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <sstream>
#include <utility>

#include "cli/output.h"

namespace cli {
namespace {

constexpr char kShield = '\x01';

// A word that is not wanted in a query: no option but -h has a single hyphen.
bool has_hyphen(const std::string& text) {
  return text.size() > 1 && text[0] == '-' && text[1] != '-' && text != "-h";
}

// Shielding what begins with the shield makes taking it off exact.
bool needs_shield(const std::string& text) {
  return text == "++" || has_hyphen(text) ||
         (!text.empty() &&
          (text.front() == kShield || (text.front() == '[' && text.back() == ']')));
}

std::string without_shield(const std::string& text) {
  return !text.empty() && text.front() == kShield ? text.substr(1) : text;
}

// The arguments behind the program's name, shielded, in reverse: the order that
// CLI::App::parse takes.
std::vector<std::string> shield_arguments(int argc, char** argv) {
  std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  for (std::string& argument : arguments) {
    if (needs_shield(argument)) {
      argument.insert(argument.begin(), kShield);
    }
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

// Removes every shield from a message of the parser's.
std::string without_shields(std::string message) {
  message.erase(std::remove(message.begin(), message.end(), kShield), message.end());
  return message;
}

std::string without_line_feed(std::string text) {
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  return text;
}

// The parser's verdict: help and version, or what is wrong with the call.
ExitStatus report(const CLI::App& app, const CLI::ParseError& error) {
  std::ostringstream out;
  std::ostringstream err;
  if (app.exit(error, out, err) == 0) {
    print(out.str());
    return kSuccess;
  }
  // The parser tells of a missing subcommand where another one was meant.
  const std::vector<std::string> unknown = app.remaining(true);
  complain(without_shields(unknown.empty() ? without_line_feed(err.str())
                                           : "'" + unknown.front() + "' is not expected here\n" +
                                                 "Run with --help for more information."));
  return kWrongCall;
}

bool is_digit(char byte) { return byte >= '0' && byte <= '9'; }

// An option whose text `take` accepts or, with a message, refuses.
Argument add_taken(CLI::App& app, const std::string& name, const std::string& description,
                   const std::string& type, const std::function<void(const std::string&)>& take) {
  CLI::Option* option = app.add_option(
      name,
      [take](const CLI::results_t& texts) {
        take(without_shield(texts.back()));
        return true;
      },
      description);
  return Argument(option->type_name(type)->expected(1));
}

}  // namespace

void Argument::required() const { option_->required(); }

bool Argument::given() const { return option_->count() > 0; }

Command Command::add_command(const std::string& name, const std::string& description) const {
  return Command(app_->add_subcommand(name, description));
}

void Command::require_command() const { app_->require_subcommand(1); }

Command Command::add_choice(const std::string& name, const std::string& description) const {
  CLI::App* group = app_->add_option_group(name, description);
  group->require_option(1);
  return Command(group);
}

Argument Command::add_text(const std::string& name, std::string& target,
                           const std::string& description) const {
  return add_taken(*app_, name, description, "TEXT",
                   [&target](const std::string& text) { target = text; });
}

Argument Command::add_texts(const std::string& name, std::vector<std::string>& target,
                            const std::string& description) const {
  CLI::Option* option = app_->add_option(
      name,
      [&target](const CLI::results_t& texts) {
        target.clear();
        std::transform(texts.begin(), texts.end(), std::back_inserter(target), without_shield);
        return true;
      },
      description);
  return Argument(option->type_name("TEXT")
                      ->expected(1, CLI::detail::expected_max_vector_size)
                      ->allow_extra_args());
}

Argument Command::add_count(const std::string& name, uint64_t& target,
                            const std::string& description) const {
  return add_taken(*app_, name, description, "N", [&target, name](const std::string& text) {
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, target);
    if (result.ec != std::errc() || result.ptr != end || target == 0) {
      throw CLI::ValidationError(name, "'" + text + "' is not a number of at least 1");
    }
  });
}

Argument Command::add_date(const std::string& name, std::string& target,
                           const std::string& description) const {
  return add_taken(*app_, name, description, "YYYYMMDD", [&target, name](const std::string& text) {
    if (!is_date(text)) {
      throw CLI::ValidationError(name, "'" + text + "' is not a date of 8 digits, as 20090315");
    }
    target = text;
  });
}

void Command::add_flag(const std::string& name, bool& target,
                       const std::string& description) const {
  app_->add_flag(name, target, description);
}

void Command::add_quiet() const {
  add_flag("--quiet", quiet(), "Show no progress and no summary, only what goes wrong");
}

void Command::set_footer(const std::string& text) const { app_->footer(text); }

void Command::set_action(std::function<void()> action) const { app_->callback(std::move(action)); }

CommandLine::CommandLine(const std::string& name, const std::string& version,
                         const std::string& description)
    : app_(std::make_unique<CLI::App>(description, name)) {
  app_->set_version_flag("--version", name + ' ' + version);
}

CommandLine::~CommandLine() = default;

ExitStatus CommandLine::run(int argc, char** argv) {
  try {
    app_->parse(shield_arguments(argc, argv));
  } catch (const CLI::ParseError& error) {
    return report(*app_, error);
  }
  return kSuccess;
}

bool is_date(const std::string& text) {
  return text.size() == 8 && std::all_of(text.begin(), text.end(), is_digit);
}

}  // namespace cli
