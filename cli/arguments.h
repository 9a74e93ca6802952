// Options and operands that are taken as they stand. CLI11 splits the text
// "[a,b]" into two operands and takes "++" for the end of a subcommand's
// operands; file names and words may look like that. So main() shields such
// arguments before the parser sees them, and the options added here take the
// shield off.
#ifndef FENRA_CLI_ARGUMENTS_H
#define FENRA_CLI_ARGUMENTS_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace cli {

// The arguments behind the program's name, shielded, in reverse: the order that
// CLI::App::parse takes.
std::vector<std::string> shield_arguments(int argc, char** argv);

// Removes every shield from a message of the parser's.
std::string without_shields(std::string message);

// One text, an option ("--source") or an operand ("STORE").
CLI::Option* add_text(CLI::App& app, const std::string& name, std::string& target,
                      const std::string& description);

// Any number of operands.
CLI::Option* add_texts(CLI::App& app, const std::string& name, std::vector<std::string>& target,
                       const std::string& description);

// A decimal number of at least 1.
CLI::Option* add_count(CLI::App& app, const std::string& name, uint64_t& target,
                       const std::string& description);

// A date: exactly 8 decimal digits, kept as text.
CLI::Option* add_date(CLI::App& app, const std::string& name, std::string& target,
                      const std::string& description);

bool is_date(const std::string& text);

}  // namespace cli

#endif  // FENRA_CLI_ARGUMENTS_H
