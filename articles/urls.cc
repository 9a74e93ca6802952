#include "articles/urls.h"

#include <new>

#include "articles/failure.h"
#include "articles/handles.h"
#include "articles/pairs.h"

namespace ostren::fenra::articles {
namespace {

// A record is looked up once for each, so these keep the time linear in its length.
constexpr size_t kMostEnds = 1000;

// Whether `text` begins with key=".
bool begins_pair(std::string_view text) {
  const size_t key_end = text.find_first_of("|=\"");
  return key_end != 0 && key_end != std::string_view::npos && text.substr(key_end, 2) == "=\"";
}

// Whether the URL index has the pair. The library reads the first id of a URL only; which
// others there are is read past it, as a last resort: while the store is in use that takes
// no part in keeping the processes apart.
bool is_url(ArticledbDb* db, std::string_view url, uint64_t id) {
  const std::optional<uint64_t> first = first_id_of_url(db, std::string(url));
  return first && (*first == id || has_posting(db->urlidx, url, id));
}

[[noreturn]] void fail_url(std::string_view url, uint64_t id, const std::string& reason) {
  throw Failure("the URL '" + std::string(url) + "' of article " + std::to_string(id) + " " +
                reason + "; index the article anew under a URL without '|'");
}

}  // namespace

std::string escape_bars(std::string_view url) {
  std::string escaped;
  for (const char byte : url) {
    if (byte == '|') {
      escaped += "%7C";
    } else {
      escaped += byte;
    }
  }
  return escaped;
}

std::vector<size_t> url_ends(std::string_view record, uint64_t id) {
  const size_t first = record.find('|');
  std::vector<size_t> ends;
  for (size_t bar = first; bar != std::string_view::npos; bar = record.find('|', bar + 1)) {
    if (!begins_pair(record.substr(bar + 1))) {
      continue;
    }
    if (ends.size() == kMostEnds) {
      fail_url(record.substr(0, ends.front()), id,
               "goes on, and may end in more than " + std::to_string(kMostEnds) + " places");
    }
    ends.push_back(bar);
  }
  if (ends.empty()) {
    if (first != std::string_view::npos) {
      ends.push_back(first);
    }
    ends.push_back(record.size());
  }
  return ends;
}

std::optional<size_t> indexed_url_end(ArticledbDb* db, const std::vector<size_t>& ends,
                                      std::string_view record, uint64_t id) {
  for (const size_t end : ends) {
    if (is_url(db, record.substr(0, end), id)) {
      return end;
    }
  }
  return std::nullopt;
}

size_t url_end(ArticledbDb* db, std::string_view record, uint64_t id) {
  const std::vector<size_t> ends = url_ends(record, id);
  if (ends.size() == 1) {
    return ends.front();
  }
  const std::optional<size_t> end = indexed_url_end(db, ends, record, id);
  if (!end) {
    fail_url(record.substr(0, ends.front()), id,
             "is not in the index of URLs, nor is a longer one");
  }
  return *end;
}

std::vector<std::string> spellings(const std::string& url) {
  std::vector<std::string> all = {url};
  const std::string escaped = escape_bars(url);
  if (escaped != url) {
    all.push_back(escaped);
  }
  return all;
}

std::optional<uint64_t> shown_id(ArticledbDb* db, const std::string& url) {
  guint64 id = 0;
  const int status = articledb_db_lookup_url(db, url.data(), static_cast<guint32>(url.size()), &id);
  if (status == STATUS_NOT_FOUND) {
    return std::nullopt;
  }
  if (status != 0) {
    throw Failure("cannot look for the URL '" + url + "': " + status_text(status), status);
  }
  return id;
}

std::optional<uint64_t> first_id_of_url(ArticledbDb* db, const std::string& url) {
  const Transaction transaction(articledb_transaction_new());
  if (transaction == nullptr) {
    throw std::bad_alloc();
  }
  articledb_transaction_begin(transaction.get(), db);
  guint64 id = 0;
  const int status = articledb_transaction_get_id_from_url(transaction.get(), url.c_str(),
                                                           static_cast<guint32>(url.size()), &id);
  if (status == STATUS_NOT_FOUND) {
    return std::nullopt;
  }
  if (status != 0) {
    throw Failure("cannot read the URL index: " + status_text(status), status);
  }
  return id;
}

bool delete_article(ArticledbDb* db, const std::string& url) {
  const int status = articledb_db_delete(db, url.data(), static_cast<guint32>(url.size()));
  if (status != STATUS_NOT_FOUND) {
    check(status, "the store failed at the deletion of '" + url + "'");
  }
  return status == 0;
}

bool delete_url(ArticledbDb* db, const std::string& url) {
  bool found = false;
  for (const std::string& spelling : spellings(url)) {
    found = delete_article(db, spelling) || found;
  }
  return found;
}

}  // namespace ostren::fenra::articles
