#include "cli/index_inputs.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "crawl/byte_source.h"

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

bool holds_inputs(const Inputs::Found& found) { return found.format != InputFormat::kUnknown; }

class Collector {
 public:
  Collector(const InputOptions& options, Progress& progress)
      : options_(options), progress_(progress) {}

  void add_path(const std::string& path) {
    if (path == "-") {
      return add_inputs(path, format_named(options_.format));
    }
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
      refuse(path, "no such file or directory");
    } else if (status.type() == fs::file_type::none) {
      refuse(path, error.message());
    } else if (fs::is_directory(status)) {
      add_directory(path);
    } else {
      add_named_file(path);
    }
  }

  void add_inputs(const std::string& file, InputFormat format) {
    found_.emplace_back();
    found_.back().path = file;
    found_.back().format = format;
  }

  std::deque<Inputs::Found> take() { return std::move(found_); }

 private:
  void refuse(const std::string& path, const std::string& reason) {
    found_.emplace_back();
    found_.back().path = path;
    found_.back().refusal = reason;
  }

  void add_named_file(const fs::path& path) {
    const std::string mime = options_.mime.empty() ? mime_of(path) : options_.mime;
    if (!mime.empty()) {
      return add_page(path, path.filename(), mime);
    }
    try {
      std::error_code ignored;
      const InputFormat format =
          fs::is_regular_file(path, ignored) ? format_of(path) : InputFormat::kUnknown;
      if (format != InputFormat::kUnknown) {
        return add_inputs(path, format);
      }
    } catch (const ostren::fenra::crawl::Unreadable& unreadable) {
      return refuse(path, unreadable.reason);
    }
    progress_.skipped();
    progress_.note("skipped: " + path.string() + ": unknown extension; name its type with --mime");
  }

  void add_page(const fs::path& path, const std::string& relative, const std::string& mime) {
    found_.push_back({path, InputFormat::kUnknown, "", relative, mime});
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
      add_page(file, file.lexically_relative(root), mime_of(file));
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
      refuse(directory, error.message());
    }
  }

  const InputOptions& options_;
  Progress& progress_;
  std::deque<Inputs::Found> found_;
};

}  // namespace

Inputs::Inputs(const InputOptions& options, Progress& progress) : options_(options) {
  Collector collector(options, progress);
  for (const std::string& path : options.paths) {
    collector.add_path(path);
  }
  if (!options.list.empty()) {
    collector.add_inputs(options.list, InputFormat::kList);
  }
  found_ = collector.take();
  const bool countable = std::none_of(found_.begin(), found_.end(), holds_inputs);
  progress.set_total(countable ? found_.size() : 0);
}

std::optional<Input> Inputs::next() {
  for (;;) {
    if (source_ != nullptr) {
      if (std::optional<Input> input = source_->next()) {
        return input;
      }
      source_.reset();
    }
    if (found_.empty()) {
      return std::nullopt;
    }
    const Found found = std::move(found_.front());
    found_.pop_front();
    if (!holds_inputs(found)) {
      return page(found);
    }
    source_ = open_inputs(found.path, found.format, options_);
  }
}

Input Inputs::page(const Found& found) const {
  Input input;
  input.name = found.path;
  input.refusal = found.refusal;
  input.file = found.path;
  input.url = !found.refusal.empty() ? ""
              : options_.base_url.empty()
                  ? "file://" + fs::absolute(found.path).lexically_normal().string()
                  : join_url(options_.base_url, found.relative);
  input.mime = found.mime;
  input.date = options_.date;
  input.source = options_.source;
  return input;
}

bool is_html(const std::string& mime) { return has_prefix(mime, "text/html"); }

bool is_known_mime(const std::string& mime) {
  return is_html(mime) || has_prefix(mime, "text/plain");
}

}  // namespace cli
