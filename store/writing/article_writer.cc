#include "store/writing/article_writer.h"

#include <cerrno>
#include <exception>
#include <string>

#include "base/failed.h"
#include "store/layout/stored_key.h"
#include "store/process/gate.h"
#include "store/sorted/article_entries.h"
#include "store/waiting/journal_article.h"
#include "store/waiting/journal_file.h"
#include "store/writing/article_version.h"
#include "store/writing/term_writing.h"

namespace ostren::fenra::store {

int ArticleWriter::write(bool* exhausted) {
  int ret = uses_journal_ ? write_to_journal() : DECLINED;
  if (ret != 0) {
    ret = write_to_databases();
  }
  *exhausted = ret == 0 && source_status_ == ARTICLEDB_TOKEN_END;
  return ret != 0 || *exhausted ? ret : source_status_;
}

// Whatever this fails for, the databases may do.
int ArticleWriter::write_to_journal() {
  int ret = gate_admits_articles(db_);
  if (ret != 0) {
    return ret;
  }
  collect_terms(ArticleTerms::Portion::WHOLE);
  ret = append_to_journal();
  if (ret == 0) {
    end_portion();
  }
  return ret;
}

// No record can hold it.
int ArticleWriter::append_large() {
  ArticleEntries entries;
  const StoredKey url(records_.url);
  const StoredKey source(records_.source);
  entries.add(
      {1, url.bytes(), source.bytes(), records_.date, records_.url_record, records_.text_record});
  entries.add_terms(terms_);
  return gate_append_large(db_, records_.url, &entries, &id_);
}

int ArticleWriter::append_to_journal() {
  // Beside a key: an item with its id. Pages are half full.
  constexpr size_t BYTES_BESIDE_A_KEY = 40;
  try {
    std::string record(JOURNAL_RECORD_HEADER_BYTES, '\0');
    if (!append_journal_article(records_, terms_, known_, &record)) {
      return terms_.is_plain() ? append_large() : DECLINED;
    }
    const size_t keys = terms_.bytes() + terms_.terms().size() * BYTES_BESIDE_A_KEY;
    return gate_append_article(db_, &record, record.size() + 2 * keys, &id_);
  } catch (const Failed& failed) {
    return failed.code;
  } catch (const std::exception&) {
    return ENOMEM;
  }
}

// An article of a new URL gets its records first, and is found by more and more of its
// words; one that replaces another is shown when all of its words are on the disk, or the
// write of one has failed.
int ArticleWriter::write_to_databases() {
  do {
    const int ret = write_portion();
    if (ret != 0) {
      if (id_ != 0 && !shown_) {
        replace_earlier_articles();
      }
      return ret;
    }
    end_portion();
    started_ = true;
  } while (source_status_ == ARTICLEDB_TOKEN_OK);
  return shown_ ? 0 : replace_earlier_articles();
}

int ArticleWriter::write_portion() {
  int ret;
  do {
    ret = run_in_gate(db_, [this] {
      generation_ = gate_generation(db_);
      return 0;
    });
    if (ret == 0 && !started_) {
      ret = write_records();
    }
    if (ret == 0 && !collected_) {
      collect_terms(ArticleTerms::Portion::BOUNDED);
    }
    if (ret == 0) {
      ret = write_terms_of_portion();
    }
  } while (ret == WRITES_LOST);
  collected_ = false;
  return ret;
}

// Another try draws another id: the first one may be somebody else's by now.
int ArticleWriter::write_records() {
  const Binding binding(db_, generation_);
  id_ = 0;
  int ret = articledb_transaction_next_id(t_, &id_);
  if (ret == 0) {
    ret = run_in_gate(db_, [this] { return put_first_version(db_, id_, records_, &shown_); });
    report(ret);
  }
  return ret;
}

int ArticleWriter::replace_earlier_articles() {
  const int ret = run_in_gate(db_, [this] { return put_next_version(db_, id_, records_); });
  report(ret);
  return ret;
}

void ArticleWriter::report(int code) const {
  DB_ENV* env = db_->env;
  if (code != 0 && code != WRITES_LOST && env != nullptr) {
    env->err(env, code, "the records of the article '%s' cannot be written", records_.url.data());
  }
}

// The token source and the lemmatizer are the host's, and run unbound.
void ArticleWriter::collect_terms(ArticleTerms::Portion portion) {
  collected_ = true;
  try {
    source_status_ = terms_.take(source_, portion);
  } catch (const std::exception&) {
    source_status_ = -1;
  }
}

// What has been written is on disk.
void ArticleWriter::end_portion() {
  const StringTable& strings = terms_.strings();
  try {
    for (const PairSet::Pair& pair : terms_.lemmas()) {
      known_->add(strings[pair.first], strings[pair.second]);
    }
  } catch (const std::exception&) {
    // What is not known is asked for again.
  }
  terms_.next_portion();
}

int ArticleWriter::write_terms_of_portion() {
  const Binding binding(db_, generation_);
  const int ret = write_terms(t_, terms_, known_, id_);
  if (ret != 0) {
    return ret;
  }
  DB_ENV* const* env = &db_->env;
  return run_in_gate(db_, [env] { return (*env)->log_flush(*env, nullptr); });
}

}  // namespace ostren::fenra::store
