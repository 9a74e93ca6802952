// The subcommands. Each function adds one to the program; its callback does the
// work, and `status` is set by those that succeed with another status than 0.
// They throw Failure, and ReaderGone when standard output has no reader left.
#ifndef FENRA_CLI_COMMANDS_H
#define FENRA_CLI_COMMANDS_H

#include <CLI/CLI.hpp>

#include "cli/failure.h"

namespace cli {

void add_index_command(CLI::App& app, ExitStatus& status);
void add_search_command(CLI::App& app);
void add_lookup_command(CLI::App& app);
void add_show_command(CLI::App& app);
void add_stats_command(CLI::App& app);
void add_tune_command(CLI::App& app);
void add_verify_command(CLI::App& app, ExitStatus& status);
void add_rebuild_command(CLI::App& app, ExitStatus& status);
void add_compact_command(CLI::App& app, ExitStatus& status);
void add_lemma_command(CLI::App& app);
void add_fst_command(CLI::App& app);

}  // namespace cli

#endif  // FENRA_CLI_COMMANDS_H
