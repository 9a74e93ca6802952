#include <cstdio>
#include <memory>
#include <string>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/snapshot.h"
#include "cli/store_check.h"

namespace cli {
namespace {

void print_findings(const std::string& kind, const Findings& findings) {
  for (const std::string& line : findings.lines()) {
    print_line(kind + ": " + line);
  }
  const uint64_t more = findings.count() - findings.lines().size();
  if (more != 0) {
    print_line(kind + ": and " + std::to_string(more) + " more");
  }
}

ExitStatus verify(const std::string& path, bool deep) {
  const Stopwatch watch;
  StatusLine line;
  CheckResult result;
  const Snapshot snapshot(path, line);
  // Opening a store writes to it; the pages are looked at first, as they were copied.
  check_pages(snapshot.path(), line, result);
  // Berkeley DB trusts the pages that it reads.
  const bool readable = result.problems.count() == 0;
  if (readable) {
    try {
      check_articles(snapshot.path(), deep, line, result);
    } catch (const StoreFailure& failure) {
      result.problems.add(failure.what());
    }
  }
  line.clear();
  print_findings("problem", result.problems);
  print_findings("leftover", result.leftovers);
  if (!readable) {
    print_line("note: the articles are not checked, because the pages are damaged");
  }
  if (result.unexpected != 0) {
    print_line("note: " + std::to_string(result.unexpected) +
               " form and trigram postings of words that the texts do not hold");
  }
  char seconds[32];
  std::snprintf(seconds, sizeof(seconds), "%.2f", watch.seconds());
  print_line("articles " + std::to_string(result.articles) + ", postings " +
             std::to_string(result.postings) + ", problems " +
             std::to_string(result.problems.count()) + ", leftovers " +
             std::to_string(result.leftovers.count()) + ", seconds " + seconds);
  return result.problems.count() == 0 ? kSuccess : kFailed;
}

}  // namespace

void add_verify_command(const Command& program, ExitStatus& status) {
  auto path = std::make_shared<std::string>();
  auto deep = std::make_shared<bool>(false);
  const Command command = program.add_command("verify", "Look for damage in a store");
  command.add_text("STORE", *path, "Store directory").required();
  command.add_flag("--deep", *deep,
                   "Also read every text again and compare its words with the index");
  command.set_footer(
      "Copies the store as it stands to the temporary directory, which needs room for it (set\n"
      "TMPDIR), and verifies the copy, so the store can be in use and written to. Checked are the\n"
      "pages, the order and the references of all nine databases.\n"
      "A line \"problem\" tells of damage: the status is 1 then, and \"fenra rebuild\" makes a "
      "new\n"
      "index. A line \"leftover\" tells of an article that was not stored to its end, as when its\n"
      "writer was killed or is still writing; indexing its URL again mends it. With --deep a\n"
      "store that was indexed with another lexicon lacks lemmas.\n"
      "Example:\n"
      "  fenra verify articles.store --deep");
  command.set_action([=, &status] { status = verify(*path, *deep); });
}

}  // namespace cli
