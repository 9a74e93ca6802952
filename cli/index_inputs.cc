#include "cli/index_inputs.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "cli/command_line.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

bool has_prefix(const std::string& text, const char* prefix) {
  return g_ascii_strncasecmp(text.c_str(), prefix, std::strlen(prefix)) == 0;
}

// Empty when the extension is not that of an article.
std::string mime_of(const fs::path& path) {
  const std::string extension = path.extension();
  const auto is = [&](const char* other) {
    return g_ascii_strcasecmp(extension.c_str(), other) == 0;
  };
  if (is(".html") || is(".htm") || is(".xhtml")) {
    return "text/html";
  }
  return is(".txt") ? "text/plain" : "";
}

// A base that ends in a letter or digit, as a host name does, gets the slash that
// was left out; behind any other character, as in "?page=", the path stands alone.
std::string join_url(std::string base, const std::string& relative) {
  if (g_ascii_isalnum(base.back())) {
    base += '/';
  }
  return base + relative;
}

class Collector {
 public:
  Collector(const InputOptions& options, Progress& progress)
      : options_(options), progress_(progress) {}

  void add_path(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
      progress_.refused(path, "no such file or directory");
    } else if (status.type() == fs::file_type::none) {
      progress_.refused(path, error.message());
    } else if (fs::is_directory(status)) {
      add_directory(path);
    } else {
      add_named_file(path);
    }
  }

  void add_list(const std::string& name) {
    if (name == "-") {
      add_lines(std::cin, "standard input");
      return;
    }
    errno = 0;
    std::ifstream file(name);
    if (!file) {
      progress_.refused(name, std::strerror(errno));
      return;
    }
    add_lines(file, name);
  }

  std::vector<Input> take() { return std::move(inputs_); }

 private:
  void add_named_file(const fs::path& path) {
    const std::string mime = options_.mime.empty() ? mime_of(path) : options_.mime;
    if (mime.empty()) {
      progress_.skipped();
      progress_.note("skipped: " + path.string() +
                     ": unknown extension; name its type with --mime");
      return;
    }
    add_file(path, path.filename(), mime);
  }

  void add_file(const fs::path& path, const std::string& relative, const std::string& mime) {
    const std::string url = options_.base_url.empty()
                                ? "file://" + fs::absolute(path).lexically_normal().string()
                                : join_url(options_.base_url, relative);
    inputs_.push_back({path, url, mime, options_.date, options_.source});
  }

  void add_directory(const fs::path& root) {
    std::vector<fs::path> files;
    // An own stack, so that one unreadable directory does not end the walk. Links
    // to directories are not followed, so there are no loops.
    std::vector<fs::path> pending = {root};
    while (!pending.empty()) {
      const fs::path directory = std::move(pending.back());
      pending.pop_back();
      list_directory(directory, files, pending);
    }
    std::sort(files.begin(), files.end(),
              [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
    for (const fs::path& file : files) {
      add_file(file, file.lexically_relative(root), mime_of(file));
    }
  }

  void list_directory(const fs::path& directory, std::vector<fs::path>& files,
                      std::vector<fs::path>& directories) {
    std::error_code error;
    fs::directory_iterator entry(directory, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
      std::error_code ignored;
      if (!entry->is_symlink(ignored) && entry->is_directory(ignored)) {
        directories.push_back(entry->path());
      } else if (entry->is_directory(ignored) || mime_of(entry->path()).empty()) {
        progress_.skipped();
      } else {
        files.push_back(entry->path());
      }
    }
    if (error) {
      progress_.refused(directory, error.message());
    }
  }

  void add_lines(std::istream& stream, const std::string& name) {
    std::string line;
    for (uint64_t number = 1; std::getline(stream, line); ++number) {
      add_line(line, name + ":" + std::to_string(number));
    }
    if (stream.bad()) {
      progress_.refused(name, "cannot be read to its end");
    }
  }

  void add_line(const std::string& line, const std::string& place) {
    const std::vector<std::string> fields = split(line);
    if (fields.size() < 3 || fields.size() > 5) {
      progress_.refused(place, "the line has " + std::to_string(fields.size()) +
                                   " fields, not URL, MIME type, path and perhaps date and source, "
                                   "with tabs between them");
    } else if (fields[0].empty() || fields[2].empty()) {
      progress_.refused(place, fields[0].empty() ? "the URL is empty" : "the path is empty");
    } else if (!is_known_mime(fields[1])) {
      progress_.refused(
          place, "unknown MIME type '" + fields[1] + "'; text/plain and text/html are known");
    } else if (fields.size() > 3 && !fields[3].empty() && !is_date(fields[3])) {
      progress_.refused(place, "the date '" + fields[3] + "' is not 8 digits");
    } else {
      inputs_.push_back({fields[2], fields[0], fields[1],
                         fields.size() > 3 ? fields[3] : options_.date,
                         fields.size() > 4 ? fields[4] : options_.source});
    }
  }

  static std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> fields(1);
    for (const char byte : line) {
      if (byte == '\t') {
        fields.emplace_back();
      } else {
        fields.back() += byte;
      }
    }
    return fields;
  }

  const InputOptions& options_;
  Progress& progress_;
  std::vector<Input> inputs_;
};

}  // namespace

std::vector<Input> collect_inputs(const InputOptions& options, Progress& progress) {
  Collector collector(options, progress);
  for (const std::string& path : options.paths) {
    collector.add_path(path);
  }
  if (!options.list.empty()) {
    collector.add_list(options.list);
  }
  return collector.take();
}

bool is_html(const std::string& mime) { return has_prefix(mime, "text/html"); }

bool is_known_mime(const std::string& mime) {
  return is_html(mime) || has_prefix(mime, "text/plain");
}

}  // namespace cli
