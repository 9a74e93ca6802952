#include "query/query_stream.h"

#include <iterator>
#include <utility>

#include "query/phrase.h"

namespace ostren::fenra::query {
namespace {

// The articles of a stream whose texts have the phrases; or all others.
struct Part {
  Stream stream;
  Phrases phrases;
  bool others = false;
};

Stream required(OstrenGenerator* stream) {
  if (stream == nullptr) {
    throw StoreFailed();
  }
  return Stream(stream);
}

guint32 size_of(const std::string& bytes) { return static_cast<guint32>(bytes.size()); }

Stream look_up(ArticledbDb* db, const Term& term) {
  const std::string& value = term.value;
  switch (term.kind) {
    case ARTICLEDB_QUERY_FORM:
      return required(articledb_db_form_lookup_generator_new(db, value.data(), size_of(value)));
    case ARTICLEDB_QUERY_PREFIX:
      return required(
          articledb_db_form_prefix_lookup_generator_new(db, value.data(), size_of(value)));
    case ARTICLEDB_QUERY_PHRASE:
      return required(phrase_candidates(db, term.tokens));
    case ARTICLEDB_QUERY_SOURCE:
      return required(articledb_db_source_lookup_generator_new(db, value.data(), size_of(value)));
    case ARTICLEDB_QUERY_DATES:
      return required(
          articledb_db_date_range_lookup_generator_new(db, term.first_date, term.last_date));
    case ARTICLEDB_QUERY_LEMMA:
      break;
  }
  return required(word_stream(db, term.word));
}

// What the articles of a term have to be asked for.
Phrases phrases_of(ArticledbDb* db, const Term& term) {
  Phrases phrases;
  if (term.kind == ARTICLEDB_QUERY_PHRASE && !is_one_key(term.tokens)) {
    phrases.push_back({&term.tokens, begins_trigrams(term.tokens)
                                         ? required(articles_with_trigrams_of(db, term.tokens))
                                         : nullptr});
  }
  return phrases;
}

Stream without(Stream left, Stream right) {
  return right == nullptr
             ? std::move(left)
             : Stream(articledb_guint64_substractor_new(left.release(), right.release()));
}

class Builder {
 public:
  Builder(ArticledbDb* db, const ArticledbRules& rules, const Syntax& syntax)
      : db_(db), rules_(rules), syntax_(syntax) {}

  Stream build() {
    Part part = build(syntax_.root);
    const bool others = part.others;
    Stream stream = checked(std::move(part));
    return others ? without(required(articledb_db_get_id_universe_new(db_)), std::move(stream))
                  : std::move(stream);
  }

 private:
  Part build(const Node& node) {
    if (node.kind == Node::Kind::TERM) {
      return of_term(syntax_.terms[node.term]);
    }
    std::vector<Part> parts;
    for (const Node& child : node.children) {
      parts.push_back(build(child));
    }
    switch (node.kind) {
      case Node::Kind::AND:
        return all_of(std::move(parts));
      case Node::Kind::OR:
        return any_of(std::move(parts));
      default:
        parts.front().others = !parts.front().others;
        return std::move(parts.front());
    }
  }

  Part of_term(const Term& term) { return {look_up(db_, term), phrases_of(db_, term), false}; }

  // Texts are read last, for what all streams have left.
  Part all_of(std::vector<Part> parts) {
    Part result;
    Stream excluded;
    std::vector<Exclusion> exclusions;
    for (Part& part : parts) {
      if (!part.others) {
        result.stream = cut(std::move(result.stream), std::move(part.stream));
        std::move(part.phrases.begin(), part.phrases.end(), std::back_inserter(result.phrases));
      } else if (part.phrases.empty()) {
        excluded = united(std::move(excluded), std::move(part.stream));
      } else {
        exclusions.push_back({std::move(part.stream), std::move(part.phrases)});
      }
    }
    if (result.stream == nullptr) {
      return others_than(std::move(excluded), std::move(exclusions));
    }
    result.stream = without(std::move(result.stream), std::move(excluded));
    if (!exclusions.empty()) {
      result.stream.reset(text_check_new(db_, rules_, std::move(result.stream),
                                         std::move(result.phrases), std::move(exclusions)));
      result.phrases.clear();
    }
    return result;
  }

  // All articles but those that one of them has.
  Part others_than(Stream excluded, std::vector<Exclusion> exclusions) {
    for (Exclusion& exclusion : exclusions) {
      excluded = united(std::move(excluded),
                        checked({std::move(exclusion.stream), std::move(exclusion.phrases)}));
    }
    return {std::move(excluded), {}, true};
  }

  // With parts that are all others than something: all others than what is in each of those and
  // in no other part.
  Part any_of(std::vector<Part> parts) {
    Stream either;
    Stream neither;
    for (Part& part : parts) {
      const bool others = part.others;
      Stream stream = checked(std::move(part));
      if (others) {
        neither = cut(std::move(neither), std::move(stream));
      } else {
        either = united(std::move(either), std::move(stream));
      }
    }
    if (neither == nullptr) {
      return {std::move(either), {}, false};
    }
    return {without(std::move(neither), std::move(either)), {}, true};
  }

  // The articles of a part, or those that it has all others of.
  Stream checked(Part part) {
    return part.phrases.empty() ? std::move(part.stream)
                                : Stream(text_check_new(db_, rules_, std::move(part.stream),
                                                        std::move(part.phrases), {}));
  }

  ArticledbDb* const db_;
  const ArticledbRules& rules_;
  const Syntax& syntax_;
};

}  // namespace

Stream term_stream(ArticledbDb* db, const ArticledbRules& rules, const Term& term) {
  Stream stream = look_up(db, term);
  Phrases phrases = phrases_of(db, term);
  return phrases.empty()
             ? std::move(stream)
             : Stream(text_check_new(db, rules, std::move(stream), std::move(phrases), {}));
}

Stream query_stream(ArticledbDb* db, const ArticledbRules& rules, const Syntax& syntax) {
  return Builder(db, rules, syntax).build();
}

}  // namespace ostren::fenra::query
