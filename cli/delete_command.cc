#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

struct DeleteOptions {
  std::string store;
  std::vector<std::string> urls;
  std::string list;  // file name, "-" for standard input; empty: no list
};

void add_lines(std::istream& stream, const std::string& name, std::vector<std::string>& urls) {
  for (std::string line; std::getline(stream, line);) {
    urls.push_back(line);
  }
  if (stream.bad()) {
    throw Failure("cannot read " + name + " to its end; nothing is deleted");
  }
}

void add_list(const std::string& name, std::vector<std::string>& urls) {
  if (name == "-") {
    return add_lines(std::cin, "standard input", urls);
  }
  errno = 0;
  std::ifstream file(name);
  if (!file) {
    throw Failure("cannot read the list '" + name + "': " + std::strerror(errno));
  }
  add_lines(file, "the list '" + name + "'", urls);
}

ExitStatus delete_all(const DeleteOptions& options) {
  if (options.urls.empty() && options.list.empty()) {
    throw Failure("delete: name at least one URL, or a file of URLs with --list", kWrongCall);
  }
  std::vector<std::string> urls = options.urls;
  if (!options.list.empty()) {
    add_list(options.list, urls);
  }
  Store store = open_store(options.store);
  catch_stop_signals();
  uint64_t deleted = 0;
  uint64_t unknown = 0;
  for (auto url = urls.begin(); url != urls.end() && !stop_requested(); ++url) {
    if (delete_url(store.get(), *url)) {
      ++deleted;
    } else {
      ++unknown;
      complain("unknown: there is no article '" + *url + "' in '" + options.store + "'");
    }
  }
  close_store(std::move(store));
  print_summary("deleted " + std::to_string(deleted) + ", unknown " + std::to_string(unknown));
  return stop_requested() ? kInterrupted : unknown == 0 ? kSuccess : kSomeRefused;
}

}  // namespace

void add_delete_command(const Command& program, ExitStatus& status) {
  auto options = std::make_shared<DeleteOptions>();
  const Command command = program.add_command("delete", "Delete articles");
  command.add_text("STORE", options->store, "Store directory").required();
  command.add_texts("URL", options->urls, "URLs of the articles");
  command.add_text("--list", options->list, "File of URLs, one a line; - for standard input");
  command.add_quiet();
  command.set_footer(
      "An article that is deleted is gone for everybody at once; \"fenra compact\" frees the room "
      "of\n"
      "its words. A URL is found with its '|' as it stands and as %7C.\n"
      "Status 3 tells that there was no article of some URLs; each is on standard error.\n"
      "Example:\n"
      "  fenra delete articles.store https://example.eus/1.html");
  command.set_action([options, &status] { status = delete_all(*options); });
}

}  // namespace cli
