// Segments beside a model of what they shall hold: written, merged, looked up, damaged.
#include <fcntl.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>

#include "base/failed.h"
#include "store/sorted/segment.h"
#include "store/sorted/segment_merge.h"
#include "store/sorted/segment_writer.h"
#include "tests/store/store_fixture.h"

namespace {

using namespace ostren::fenra;
using namespace ostren::fenra::store;
using namespace std::string_literals;

Strings keys_of(const Segment& segment, int section, std::string_view from = {}) {
  Strings keys;
  for (SegmentKeys walk(segment, section, from); walk.next();) {
    keys.emplace_back(walk.key());
  }
  return keys;
}

Ids read(SegmentIds ids, guint64 least = 0, size_t most = SIZE_MAX) {
  Ids result;
  ids.read(least, most, &result);
  return result;
}

// What a segment shall hold.
struct Model {
  guint64 first = 0;
  guint64 last = 0;
  std::map<std::string, std::set<guint64>> lists[section::LEMMAS];  // by the entries' keys
  std::map<std::string, std::set<std::string>> lemmas;
  std::map<guint64, std::string> records[2];
  std::set<guint64> hidden;

  void add_word(int section, std::string_view key, guint64 id) {
    lists[section][entry_key(section, key)].insert(id);
  }

  // What comes after this.
  void append(const Model& next) {
    first = first == 0 ? next.first : first;
    last = next.last;
    for (int i = 0; i < section::LEMMAS; ++i) {
      for (const auto& [key, ids] : next.lists[i]) {
        lists[i][key].insert(ids.begin(), ids.end());
      }
    }
    for (const auto& [lemma, forms] : next.lemmas) {
      lemmas[lemma].insert(forms.begin(), forms.end());
    }
    for (int i = 0; i < 2; ++i) {
      records[i].insert(next.records[i].begin(), next.records[i].end());
    }
    hidden.insert(next.hidden.begin(), next.hidden.end());
    settle();
  }

  // Hidden records go.
  void settle() {
    for (auto id = hidden.begin(); id != hidden.end();) {
      records[0].erase(*id);
      records[1].erase(*id);
      id = *id >= first ? hidden.erase(id) : std::next(id);
    }
  }
};

class SegmentTest : public testing::Test {
 protected:
  size_t below(size_t limit) { return random_() % limit; }

  // Few words are frequent; some are as long as a key may be, or begin alike.
  std::string word() {
    const size_t number = below(3) != 0 ? below(6) : below(2000);
    const std::string digits = std::to_string(number);
    return number % 97 == 96 ? std::string(900, 'k') + digits : "hitz" + digits;
  }

  static GList* lemmas_of(void*, const char* form, int length) {
    const std::string lemma(form, static_cast<size_t>(std::min(length, 5)));
    return articledb_string_list_prepend(articledb_string_list_new(), lemma.c_str());
  }

  // Words as a token source gives them, with zero bytes in them and without any byte.
  void add_terms(guint64 id, ArticleEntries* entries, Model* model) {
    TokenList tokens;
    for (size_t i = below(60); i > 0; --i) {
      tokens.tokens.push_back(below(8) == 0 ? "" : below(4) == 0 ? word() + '\0' + "x" : word());
    }
    ArticleTerms terms;
    terms.take({TokenList::pull, &tokens, lemmas_of, nullptr, WordSource::Asking::ONCE_A_FORM},
               ArticleTerms::Portion::WHOLE);
    entries->add_terms(terms);
    for (const guint32 form : terms.forms()) {
      model->add_word(section::FORMS, terms.strings()[form], id);
    }
    for (const ArticleTerms::Term& term : terms.terms()) {
      if (term.kind == ArticleTerms::Kind::TRIGRAM) {
        model->add_word(section::TRIGRAMS, terms.trigram(term.place), id);
      }
    }
    for (const PairSet::Pair& pair : terms.lemmas()) {
      model->lemmas[std::string(terms.strings()[pair.first])].emplace(terms.strings()[pair.second]);
    }
  }

  void add_words(guint64 id, ArticleEntries* entries, Model* model) {
    std::set<std::string> distinct;
    for (size_t i = 1 + below(40); i > 0; --i) {
      distinct.insert(word().substr(0, 60));
    }
    const Strings words(distinct.begin(), distinct.end());
    std::vector<guint32> sequence;
    for (size_t i = below(60); i > 0; --i) {
      sequence.push_back(below(9) == 0 ? ArticleTerms::BREAK
                                       : static_cast<guint32>(below(words.size())));
    }
    entries->add_words({words.begin(), words.end()}, sequence);
    for (const std::string& form : words) {
      model->add_word(section::FORMS, form, id);
      entries->add_lemma(form.substr(0, 5), form);
      model->lemmas[form.substr(0, 5)].insert(form);
    }
    for (size_t i = 2; i < sequence.size(); ++i) {
      std::string trigram;
      for (size_t k = i - 2; k <= i; ++k) {
        trigram += sequence[k] == ArticleTerms::BREAK ? "" : words[sequence[k]] + '\0';
      }
      if (std::count(&sequence[i - 2], &sequence[i + 1], ArticleTerms::BREAK) == 0) {
        model->add_word(section::TRIGRAMS, trigram, id);
      }
    }
  }

  void add_article(guint64 id, ArticleEntries* entries, Model* model) {
    while (below(10) == 0 && !ids_.empty()) {
      const guint64 hidden = ids_[below(ids_.size())];
      entries->hide(hidden);
      model->hidden.insert(hidden);
    }
    ids_.push_back(id);
    if (below(8) == 0) {
      entries->add({id, "", "", 0, "", ""});
      return;
    }
    const std::string url = "u" + std::to_string(below(300));
    const std::string source = below(2) == 0 ? "" : "iturria";
    const guint32 date = 20260000 + static_cast<guint32>(below(30));
    for (auto& records : model->records) {
      records[id] = url + std::string(below(50) == 0 ? 300000 : below(50), 'r');
    }
    entries->add({id, url, source, date, model->records[0][id], model->records[1][id]});
    model->add_word(section::URLS, url, id);
    model->add_word(section::SOURCES, source, id);
    model->add_word(section::DATES, {reinterpret_cast<const char*>(&date), sizeof date}, id);
    below(2) == 0 ? add_terms(id, entries, model) : add_words(id, entries, model);
  }

  // Writes a segment with ids from `id` on, and goes on with that.
  Model write(const std::string& name, size_t articles, guint64* id) {
    ArticleEntries entries;
    Model model;
    for (size_t i = 0; i < articles; ++i, *id += 1 + below(3) / 2 * below(1000)) {
      add_article(*id, &entries, &model);
    }
    model.first = entries.first_id();
    model.last = entries.last_id();
    write_segment(directory_.path(), name, &entries);
    model.settle();
    return model;
  }

  std::shared_ptr<const Segment> open(const std::string& name) {
    return Segment::open(directory_ / name);
  }

  Strings names() const {
    Strings names;
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  void expect_ids(const SegmentIds& found, const std::set<guint64>& ids) {
    ASSERT_EQ(read(found), Ids(ids.begin(), ids.end()));
    EXPECT_EQ(found.count(), ids.size());
    // By parts, with leaps in between.
    SegmentIds cursor = found;
    for (guint64 least = *ids.begin(); least <= *ids.rbegin();) {
      const size_t most = 1 + below(400);
      Ids expected;
      for (auto at = ids.lower_bound(least); at != ids.end() && expected.size() < most; ++at) {
        expected.push_back(*at);
      }
      Ids part;
      cursor.read(least, most, &part);
      ASSERT_EQ(part, expected) << least;
      least = part.back() + 1 + below(3) * below(2000);
      EXPECT_EQ(SegmentIds(cursor).contains(least), ids.count(least) != 0) << least;
    }
    for (const guint64 id : ids) {
      EXPECT_TRUE(SegmentIds(found).contains(id)) << id;
    }
    EXPECT_FALSE(SegmentIds(found).contains(*ids.rbegin() + 1));
  }

  void expect_lists(const Segment& segment, const Model& model) {
    for (int section = 0; section < section::LEMMAS; ++section) {
      Strings keys;
      for (const auto& [key, ids] : model.lists[section]) {
        keys.push_back(key);
        expect_ids(segment.find(section, key), ids);
        for (const std::string& absent : {key + '\0', key.substr(0, key.size() - 1)}) {
          EXPECT_EQ(segment.find(section, absent).is_empty(),
                    model.lists[section].count(absent) == 0);
        }
      }
      EXPECT_EQ(keys_of(segment, section), keys) << section;
      EXPECT_TRUE(segment.find(section, "\xff\xff\xff\xff\xff").is_empty());
      EXPECT_TRUE(segment.find(section, "").is_empty());
    }
    const auto& trigrams = model.lists[section::TRIGRAMS];
    for (const char* from : {"hitz1", "hitz3", "i"}) {
      const auto tail = keys_of(segment, section::TRIGRAMS, from);
      EXPECT_EQ(tail.size(), std::distance(trigrams.lower_bound(from), trigrams.end())) << from;
    }
  }

  void expect_rest(const Segment& segment, const Model& model) {
    for (const auto& [lemma, forms] : model.lemmas) {
      std::vector<std::string_view> found;
      segment.read_forms(lemma, &found);
      EXPECT_EQ(Strings(found.begin(), found.end()), Strings(forms.begin(), forms.end()));
      segment.read_forms(lemma + "-", &found);
      EXPECT_EQ(found.size(), forms.size());
    }
    Ids hidden;
    segment.read_hidden(&hidden);
    EXPECT_EQ(hidden, Ids(model.hidden.begin(), model.hidden.end()));
    for (guint64 id = 1; id < model.last + 5; ++id) {
      for (const int i : {0, 1}) {
        const auto record = model.records[i].find(id);
        EXPECT_EQ(segment.record(section::URL_RECORDS + i, id),
                  record == model.records[i].end() ? "" : record->second);
      }
      EXPECT_EQ(segment.hides(id), model.hidden.count(id) != 0);
    }
  }

  void expect_holds(const std::string& name, const Model& model) {
    SCOPED_TRACE(name);
    const auto segment = open(name);
    EXPECT_EQ(segment->verify(), "");
    EXPECT_EQ(segment->first_id(), model.first);
    EXPECT_EQ(segment->last_id(), model.last);
    expect_lists(*segment, model);
    expect_rest(*segment, model);
  }

  std::mt19937 random_{7};
  Ids ids_;  // of all articles so far
  TemporaryDirectory directory_;
};

TEST_F(SegmentTest, HoldsWhatTheModelHolds) {
  guint64 id = 1;
  Model all = write("0", 60, &id);
  // The records of a part that is not merged are not hidden in it, and stay hidden elsewhere.
  expect_holds("0", all);
  Model later;
  Strings parts;
  for (const size_t articles : {700, 1, 900, 30}) {
    parts.push_back(std::to_string(parts.size() + 1));
    const Model part = write(parts.back(), articles, &id);
    expect_holds(parts.back(), part);
    later.append(part);
  }
  merge_segments(directory_.path(), parts, "later", [] { return false; });
  ASSERT_FALSE(later.hidden.empty());
  expect_holds("later", later);
  all.append(later);
  merge_segments(directory_.path(), {"0", "later"}, "all", [] { return false; });
  expect_holds("all", all);
  EXPECT_THAT(names(), ElementsAre("0", "1", "2", "3", "4", "all", "later"));
}

TEST_F(SegmentTest, LeavesNothingOfAMergeThatEnds) {
  guint64 id = 1;
  write("a", 100, &id);
  write("b", 100, &id);
  const auto merge = [this](const Strings& parts, bool gives_up) {
    return status_of(
        [&] { merge_segments(directory_.path(), parts, "c", [=] { return gives_up; }); });
  };
  EXPECT_EQ(merge({"a", "b"}, true), ECANCELED);
  EXPECT_EQ(merge({"b", "a"}, false), EINVAL);
  EXPECT_EQ(merge({"a", "d"}, false), ENOENT);
  std::string bytes = directory_.read("b");
  bytes[bytes.size() / 2] ^= 1;
  directory_.write("b", bytes);
  EXPECT_EQ(merge({"a", "b"}, false), EIO);
  EXPECT_THAT(names(), ElementsAre("a", "b"));
}

class DamagedSegmentTest : public SegmentTest {
 protected:
  // Calls everything.
  static void use(const Segment& segment) {
    const auto attempt = [](auto call) {
      const int status = status_of(call);
      EXPECT_TRUE(status == 0 || status == EIO) << status;
    };
    for (int section = 0; section < section::COUNT; ++section) {
      for (const std::string& word : {"hitz3"s, "u7"s, "hitz3"s + '\0'}) {
        attempt([&] {
          const SegmentIds ids = segment.find(section, entry_key(section, word));
          ids.count();
          SegmentIds(ids).contains(40);
          Ids found = read(ids, 9);
          EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
        });
      }
      attempt([&] {
        for (SegmentKeys keys(segment, section, "hitz2"); keys.next();) {
          read(keys.ids(), 20, 3);
        }
      });
    }
    attempt([&] {
      std::vector<std::string_view> forms;
      segment.read_forms("hitz3", &forms);
    });
    attempt([&] {
      Ids hidden;
      segment.read_hidden(&hidden);
    });
    for (guint64 id = 1; id < 50; id += 7) {
      attempt([&] { segment.record(section::TEXTS, id); });
      attempt([&] { segment.hides(id); });
    }
  }
};

TEST_F(DamagedSegmentTest, IsReadWithinItsBounds) {
  guint64 id = 100;
  write("0", 300, &id);
  const std::string sound = directory_.read("0");
  SegmentFooter footer;
  const size_t end = sound.size() - sizeof footer;
  for (int round = 0; round < 500; ++round) {
    std::string bytes = sound;
    for (size_t i = 1 + below(3); i > 0; --i) {
      bytes[below(end)] = static_cast<char>(below(4) == 0 ? 0xff : below(256));
    }
    if (round % 3 == 0) {
      // Ranges that are elsewhere, and inside.
      memcpy(&footer, &bytes[end], sizeof footer);
      auto& section = footer.sections[below(section::COUNT)];
      auto& range = below(2) == 0 ? section.entries : section.index;
      range.begin = below(end);
      range.end = range.begin + below(end - range.begin) / 16 * 16;
      seal(&footer);
      memcpy(&bytes[end], &footer, sizeof footer);
    }
    directory_.write("0", bytes);
    const auto segment = open("0");
    use(*segment);
    EXPECT_EQ(segment->verify().empty(), bytes == sound);
  }
}

TEST_F(DamagedSegmentTest, IsNoneWithAnotherEnd) {
  guint64 id = 100;
  write("0", 3, &id);
  const std::string sound = directory_.read("0");
  const auto status = [this](const std::string& bytes) {
    directory_.write("0", bytes);
    return status_of([this] { open("0"); });
  };
  for (size_t i = 1; i <= sizeof(SegmentFooter); ++i) {
    EXPECT_EQ(status(sound.substr(0, sound.size() - i)), EPROTO);
    std::string flipped = sound;
    flipped[flipped.size() - i] ^= 4;
    EXPECT_EQ(status(flipped), EPROTO) << i;
  }
  EXPECT_EQ(status(""), EPROTO);
  SegmentFooter footer;
  memcpy(&footer, &sound[sound.size() - sizeof footer], sizeof footer);
  footer.sections[section::FORMS].index.end = sound.size();
  seal(&footer);
  EXPECT_EQ(status(sound.substr(0, sound.size() - sizeof footer) +
                   std::string(reinterpret_cast<const char*>(&footer), sizeof footer)),
            EPROTO);
  EXPECT_EQ(status(sound), 0);
}

}  // namespace
