// The fenra program: the library's operations for the command line.
#include <csignal>
#include <exception>
#include <new>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"

namespace cli {
namespace {

ExitStatus run(int argc, char** argv) {
  CommandLine command_line("fenra", FENRA_VERSION, "Searches collections of Basque web articles.");
  const Command program = command_line.program();
  program.require_command();
  program.set_footer(
      "Example:\n"
      "  fenra index articles.store pages/ --base-url https://example.eus/\n"
      "  fenra search articles.store etxe zuria");
  ExitStatus status = kSuccess;
  add_index_command(program, status);
  add_delete_command(program, status);
  add_search_command(program);
  add_lookup_command(program);
  add_show_command(program);
  add_stats_command(program);
  add_tune_command(program);
  add_verify_command(program, status);
  add_rebuild_command(program, status);
  add_compact_command(program, status);
  add_backup_command(program, status);
  add_lemma_command(program);
  add_fst_command(program);
  const ExitStatus call = command_line.run(argc, argv);
  finish_output();
  return call == kSuccess ? status : call;
}

// Nothing that can go wrong leaves the program as an exception.
ExitStatus run_guarded(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const ReaderGone&) {
    return kSuccess;
  } catch (const Failure& failure) {
    complain(failure.what());
    return failure.status();
  } catch (const std::bad_alloc&) {
    complain("out of memory");
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return kFailed;
}

}  // namespace
}  // namespace cli

int main(int argc, char** argv) {
  // A write to a closed pipe shall be an error of the write, so that the store
  // is closed properly, and not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  return cli::run_guarded(argc, argv);
}
