// Xapian. Terms are the words and, with a prefix, their Snowball stems, as its term
// generator makes them; a term of the URL keeps it unique.
//   positions   positions of words; URL in a value slot; text in the document's data
//   plain       the same without positions
//   dated       positions, and the article's date in a value slot and its source as a term
//   lean        no positions; the document's data is the URL, the text is not stored
#include <xapian.h>

#include <algorithm>
#include <stdexcept>

#include "bench/engine.h"

namespace bench {
namespace {

constexpr Xapian::valueno kUrlSlot = 0;
constexpr Xapian::valueno kDateSlot = 1;
constexpr char kSourcePrefix[] = "XS";

class XapianEngine : public Engine {
 public:
  XapianEngine(const std::string& variant, const std::string& store, Access access)
      : dated_(variant == "dated"),
        positions_(dated_ || variant == "positions"),
        lean_(variant == "lean"),
        access_(access) {
    if (!positions_ && !lean_ && variant != "plain") {
      throw std::runtime_error("unknown variant " + variant);
    }
    if (access == Access::READ) {
      reader_ = Xapian::Database(store);
      return;
    }
    writer_ = Xapian::WritableDatabase(
        store, access == Access::APPEND ? Xapian::DB_OPEN : Xapian::DB_CREATE);
    reader_ = writer_;
    generator_.set_stemmer(stemmer_);
  }

  void add(const Article& article) override {
    Xapian::Document document;
    generator_.set_document(document);
    if (positions_) {
      generator_.set_termpos(0);
      generator_.index_text(article.text);
    } else {
      generator_.index_text_without_positions(article.text);
    }
    document.set_data(lean_ ? article.url : article.text);
    if (!lean_) {
      document.add_value(kUrlSlot, article.url);
    }
    if (dated_) {
      document.add_value(kDateSlot, article.date);
      document.add_boolean_term(kSourcePrefix + article.source);
    }
    const std::string url_term = "Q" + article.url;
    document.add_boolean_term(url_term);
    if (access_ != Access::BUILD) {
      writer_.replace_document(url_term, document);
    } else {
      writer_.add_document(document);
    }
  }

  void commit() override { writer_.commit(); }

  void search(const Query& query, const Visit& visit) override {
    Xapian::Enquire enquire(reader_);
    enquire.set_weighting_scheme(Xapian::BoolWeight());
    enquire.set_docid_order(Xapian::Enquire::ASCENDING);
    enquire.set_query(xapian_query(query));
    const Xapian::MSet found =
        enquire.get_mset(0, static_cast<Xapian::doccount>(
                                std::min<size_t>(query.most_answers, reader_.get_doccount())));
    if (lean_) {
      for (auto hit = found.begin(); hit != found.end(); ++hit) {
        const std::string url = hit.get_document().get_data();
        visit(url.data(), url.size());
      }
      return;
    }
    // Ids ascend, so the values are walked along: cheaper than asking each document.
    auto value = reader_.valuestream_begin(kUrlSlot);
    for (auto hit = found.begin(); hit != found.end(); ++hit) {
      value.skip_to(*hit);
      const std::string url = *value;
      visit(url.data(), url.size());
    }
  }

 private:
  Xapian::Query xapian_query(const Query& query) const {
    if (query.in_a_row) {
      return {Xapian::Query::OP_PHRASE, query.words.begin(), query.words.end()};
    }
    std::vector<std::string> terms;
    for (const std::string& word : query.words) {
      terms.push_back("Z" + stemmer_(word));
    }
    if (!query.source.empty()) {
      terms.push_back(kSourcePrefix + query.source);
    }
    const Xapian::Query all(Xapian::Query::OP_AND, terms.begin(), terms.end());
    return query.first_date.empty() ? all
                                    : all & Xapian::Query(Xapian::Query::OP_VALUE_RANGE, kDateSlot,
                                                          query.first_date, query.last_date);
  }

  const bool dated_;
  const bool positions_;
  const bool lean_;
  const Access access_;
  const Xapian::Stem stemmer_{"basque"};
  Xapian::TermGenerator generator_;
  Xapian::WritableDatabase writer_;
  Xapian::Database reader_;
};

}  // namespace

std::unique_ptr<Engine> open_engine(const std::string& variant, const std::string& store,
                                    Access access, size_t) {
  return std::make_unique<XapianEngine>(variant, store, access);
}

}  // namespace bench
