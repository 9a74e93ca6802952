// The fenra program: the library's operations for the command line.
#include <csignal>
#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/output.h"

namespace cli {
namespace {

std::string without_line_feed(std::string text) {
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  return text;
}

// The parser's verdict: help and version on standard output with status 0,
// anything else on standard error with status 2.
ExitStatus report_parse_result(const CLI::App& app, const CLI::ParseError& error) {
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

ExitStatus run(int argc, char** argv) {
  CLI::App app("Searches collections of Basque web articles.", "fenra");
  app.set_version_flag("--version", "fenra " FENRA_VERSION);
  app.require_subcommand(1);
  app.footer(
      "Example:\n"
      "  fenra index articles.store pages/ --base-url https://example.eus/\n"
      "  fenra search articles.store etxe zuria");
  ExitStatus status = kSuccess;
  add_index_command(app, status);
  add_search_command(app);
  add_lookup_command(app);
  add_show_command(app);
  add_stats_command(app);
  add_tune_command(app);
  add_verify_command(app, status);
  add_rebuild_command(app, status);
  add_compact_command(app, status);
  add_lemma_command(app);
  add_fst_command(app);
  try {
    app.parse(shield_arguments(argc, argv));
  } catch (const CLI::ParseError& error) {
    status = report_parse_result(app, error);
  }
  finish_output();
  return status;
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
