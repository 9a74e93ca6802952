// One measured program per search engine; bench/run.py starts them.
//
//   ENGINE VARIANT bulk STORE LIST [CACHE_MB]      makes a store of the listed articles
//   ENGINE VARIANT append STORE LIST [CACHE_MB]    adds them one by one, each on disk
//   ENGINE VARIANT mixed STORE LIST [CACHE_MB]     the same, and asks for words of each
//   ENGINE VARIANT grow STORE LIST EVERY STEP [CACHE_MB]
//                                                  adds them to a new store in the same way, and
//                                                  asks after every EVERY of them (0: never)
//   ENGINE VARIANT query STORE QUERIES [CACHE_MB]  answers lines CLASS<tab>USE<tab>QUERY
//   ENGINE VARIANT ten STORE QUERIES [CACHE_MB]    finds the first ten answers of each
//   ENGINE VARIANT open STORE [CACHE_MB]           opens the store
//
// LIST has lines URL<tab>MIME<tab>PATH, or behind these <tab>DATE<tab>SOURCE; USE is "warm" or
// "measure". A QUERY has words with blanks between, "WORDS IN A ROW", date:FIRST..LAST and
// source:SOURCE. All but bulk, which is timed from outside, print lines of numbers, as described
// at the functions; of grow in grow.h.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>

#include "bench/engine.h"
#include "bench/grow.h"
#include "bench/measuring.h"

namespace bench {
namespace {

// A class of queries is run up to these times, so that one with many answers does
// not hold up the rest.
constexpr double kWarmingSeconds = 0.25;
constexpr double kMeasuringSeconds = 2.5;

constexpr size_t kFirstAnswers = 10;

// Prints: actions, seconds, p50 and p99 in seconds.
void print(const Times& times) {
  std::printf("%zu %.9f %.9f %.9f", times.count, times.sum, times.p50, times.p99);
}

void bulk(Engine& engine, const std::string& list) {
  for_each_article(list, [&](const Article& article) { engine.add(article); });
  engine.commit();
}

// Some words of a text, as a query.
std::vector<std::string> words_of(const std::string& text) {
  constexpr size_t kWords = 2;
  constexpr size_t kLeastLength = 6;
  std::vector<std::string> words = plain_words(text, text.find(' ', text.size() / 2), kLeastLength);
  words.resize(std::min(words.size(), kWords));
  return words;
}

// Prints the times of the articles, the longest, and the seconds to close the store. With
// `asking` some words of an article are asked for as soon as it is on disk, and its answer
// has to be among those.
void append(std::unique_ptr<Engine> engine, const std::string& list, bool asking) {
  std::vector<Article> articles;
  for_each_article(list, [&](const Article& article) { articles.push_back(article); });
  std::vector<double> times;
  for (const Article& article : articles) {
    Query query;
    if (asking) {
      query.words = words_of(article.text);
    }
    bool found = query.words.empty();
    const Clock::time_point start = Clock::now();
    engine->add(article);
    engine->commit();
    if (!query.words.empty()) {
      engine->search(query, [&](const char* url, size_t length) {
        found = found || article.url.compare(0, std::string::npos, url, length) == 0;
      });
    }
    times.push_back(seconds_since(start));
    if (!found) {
      throw std::runtime_error("not found: " + article.url);
    }
  }
  const Clock::time_point start = Clock::now();
  engine.reset();
  const double closing = seconds_since(start);
  const Times summed = summary(std::move(times));
  print(summed);
  std::printf(" %.9f %.9f\n", summed.longest, closing);
}

// Runs the queries, in turn, until the time is over. Returns the time of each and adds
// up the answers.
std::vector<double> run_queries(Engine& engine, const std::vector<Query>& queries, double limit,
                                size_t* hits) {
  std::vector<double> times;
  size_t url_bytes = 0;
  const Clock::time_point begin = Clock::now();
  for (const Query& query : queries) {
    const Clock::time_point start = Clock::now();
    engine.search(query, [&](const char*, size_t length) {
      ++*hits;
      url_bytes += length;
    });
    times.push_back(seconds_since(start));
    if (seconds_since(begin) > limit) {
      break;
    }
  }
  if (*hits != 0 && url_bytes == 0) {
    throw std::runtime_error("the URLs are empty");
  }
  return times;
}

struct QueryClass {
  std::vector<Query> warming;
  std::vector<Query> measured;
};

Query read_query(const std::string& line) {
  Query query;
  query.line = line;
  query.in_a_row = line[0] == '"';
  std::istringstream tokens(query.in_a_row ? line.substr(1, line.size() - 2) : line);
  const std::string date = "date:";
  const std::string source = "source:";
  const size_t digits = 8;
  for (std::string token; tokens >> token;) {
    if (token.rfind(date, 0) == 0) {
      query.first_date = token.substr(date.size(), digits);
      query.last_date = token.substr(token.size() - digits);
    } else if (token.rfind(source, 0) == 0) {
      query.source = token.substr(source.size());
    } else {
      query.words.push_back(token);
    }
  }
  return query;
}

std::map<std::string, QueryClass> read_queries(const std::string& path, size_t most_answers) {
  std::map<std::string, QueryClass> classes;
  std::ifstream lines = open_file(path);
  std::string name;
  std::string use;
  std::string line;
  while (std::getline(lines, name, '\t') && std::getline(lines, use, '\t') &&
         std::getline(lines, line)) {
    Query query = read_query(line);
    query.most_answers = most_answers;
    QueryClass& queries = classes[name];
    (use == "warm" ? queries.warming : queries.measured).push_back(std::move(query));
  }
  return classes;
}

// Prints for each class, of its measured queries when they are asked first and when the same
// ones are asked again: "first" or "again", name, times of the queries, answers.
void query(Engine& engine, const std::string& queries_file, size_t most_answers) {
  for (const auto& [name, queries] : read_queries(queries_file, most_answers)) {
    size_t hits = 0;
    run_queries(engine, queries.warming, kWarmingSeconds, &hits);
    for (const char* asked : {"first", "again"}) {
      hits = 0;
      std::vector<double> times = run_queries(engine, queries.measured, kMeasuringSeconds, &hits);
      std::printf("%s %s ", asked, name.c_str());
      print(summary(std::move(times)));
      std::printf(" %zu\n", hits);
    }
  }
}

int run(const std::vector<std::string>& arguments) {
  const std::string& variant = arguments.at(1);
  const std::string& action = arguments.at(2);
  const std::string& store = arguments.at(3);
  const size_t cache_at = action == "open" ? 4 : action == "grow" ? 7 : 5;
  const size_t cache_mb = arguments.size() > cache_at ? std::stoul(arguments[cache_at]) : 0;
  const Access access = action == "bulk"     ? Access::BUILD
                        : action == "grow"   ? Access::GROW
                        : action == "append" ? Access::APPEND
                        : action == "mixed"  ? Access::APPEND
                                             : Access::READ;
  const Clock::time_point start = Clock::now();
  std::unique_ptr<Engine> engine = open_engine(variant, store, access, cache_mb);
  if (action == "open") {
    std::printf("%.9f\n", seconds_since(start));
  } else if (action == "bulk") {
    bulk(*engine, arguments.at(4));
  } else if (action == "grow") {
    grow(std::move(engine), arguments.at(4), std::stoul(arguments.at(5)),
         std::stoul(arguments.at(6)));
  } else if (action == "append" || action == "mixed") {
    append(std::move(engine), arguments.at(4), action == "mixed");
  } else if (action == "query" || action == "ten") {
    query(*engine, arguments.at(4), action == "ten" ? kFirstAnswers : SIZE_MAX);
  } else {
    throw std::runtime_error("unknown action " + action);
  }
  return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  try {
    return bench::run({argv, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
}
