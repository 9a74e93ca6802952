// The subcommands. Each function adds one to the program; its callback does the
// work, and `status` is set by those that succeed with another status than 0.
// They throw Failure, and ReaderGone when standard output has no reader left.
#ifndef FENRA_CLI_COMMANDS_H
#define FENRA_CLI_COMMANDS_H

#include "cli/command_line.h"
#include "cli/failure.h"

namespace cli {

void add_index_command(const Command& program, ExitStatus& status);
void add_delete_command(const Command& program, ExitStatus& status);
void add_search_command(const Command& program);
void add_lookup_command(const Command& program);
void add_show_command(const Command& program);
void add_stats_command(const Command& program);
void add_tune_command(const Command& program);
void add_verify_command(const Command& program, ExitStatus& status);
void add_rebuild_command(const Command& program, ExitStatus& status);
void add_compact_command(const Command& program, ExitStatus& status);
void add_backup_command(const Command& program, ExitStatus& status);
void add_lemma_command(const Command& program);
void add_fst_command(const Command& program);

}  // namespace cli

#endif  // FENRA_CLI_COMMANDS_H
