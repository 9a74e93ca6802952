#include "store/bulk/store_filling.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "store/layout/database.h"
#include "store/sorted/id_list.h"
#include "store/sorted/merged_section.h"
#include "store/sorted/sections.h"

namespace ostren::fenra::store {
namespace {

std::string_view without_order(std::string_view entry_key) {
  return entry_key.substr(BUCKET_ORDER_BYTES);
}

class Filling {
 public:
  Filling(const SortedFiles& runs, guint64 last_id, StoreWriter* writer, WorkMeter* meter)
      : runs_(runs),
        last_id_(last_id),
        writer_(*writer),
        meter_(*meter),
        replaced_(last_id + 1, false) {
    guint64 total = 0;
    for (const auto& run : runs) {
      total += run->end_of(section::COUNT - 1);
    }
    meter->set_total(total);
  }

  void run(std::string_view rules) {
    // First, since it tells which articles have been replaced.
    fill_urls();
    fill_records(&ArticledbDb::urldb, section::URL_RECORDS);
    fill_ids(&ArticledbDb::datedb, section::DATES);
    fill_ids(&ArticledbDb::sourcedb, section::SOURCES);
    fill_records(&ArticledbDb::txtdb, section::TEXTS);
    fill_lemmas();
    fill_ids(&ArticledbDb::formdb, section::FORMS);
    writer_.begin(&ArticledbDb::trigramdb);
    for_each(section::TRIGRAMS,
             [this](std::string_view key, std::string_view numbers) { put_ids(key, numbers); });
    writer_.begin(&ArticledbDb::iddb);
    writer_.put({ID_COUNTER_KEY, sizeof ID_COUNTER_KEY}, id_bytes(last_id_));
    if (!rules.empty()) {
      writer_.put({RULES_KEY, sizeof RULES_KEY}, rules);
    }
  }

 private:
  // Calls `visit(key, payload)` for every entry of the section.
  template <typename Visit>
  void for_each(int number, Visit visit) {
    for (MergedSection entries(runs_, number); entries.next();) {
      visit(entries.key(), entries.payload());
      meter_.advance(entries.key().size() + entries.payload().size());
    }
  }

  // `take(key, payload, measure)` adds one entry to the measure.
  template <typename Take>
  BucketBytes measure(int number, Take take) const {
    BucketBytes keys;
    for (MergedSection entries(runs_, number); entries.next();) {
      take(entries.key(), entries.payload(), &keys);
    }
    return keys;
  }

  BucketBytes measure_ids(int number) const {
    return measure(number, [](std::string_view key, std::string_view numbers, BucketBytes* keys) {
      const size_t count = count_ids(numbers);
      keys->add(without_order(key), count, count * sizeof(guint64));
    });
  }

  void put_ids(std::string_view key, std::string_view numbers) {
    for (IdReader ids(numbers); !ids.at_end();) {
      const guint64 id = ids.next();
      writer_.put(key, id_bytes(id));
    }
  }

  void fill_ids(DB* ArticledbDb::*field, int number) {
    writer_.begin(field, measure_ids(number));
    for_each(number, [this](std::string_view key, std::string_view numbers) {
      put_ids(without_order(key), numbers);
    });
  }

  // All ids of a URL but the last one have been replaced.
  void fill_urls() {
    writer_.begin(&ArticledbDb::urlidx, measure_ids(section::URLS));
    std::string url;
    guint64 newest = 0;  // of `url`; 0 before the first one
    for_each(section::URLS, [&](std::string_view key, std::string_view numbers) {
      if (without_order(key) != url) {
        url = without_order(key);
        newest = 0;
      }
      for (IdReader ids(numbers); !ids.at_end();) {
        const guint64 id = ids.next();
        writer_.put(url, id_bytes(id));
        replaced_[newest] = true;
        newest = id;
      }
    });
  }

  bool is_live(std::string_view id_bytes) const {
    guint64 id = 0;
    memcpy(&id, id_bytes.data(), sizeof id);
    return !replaced_[id];
  }

  void fill_records(DB* ArticledbDb::*field, int number) {
    const auto put_live = [this](auto put) {
      return [this, put](std::string_view key, std::string_view record, auto... rest) {
        if (is_live(without_order(key))) {
          put(without_order(key), record, rest...);
        }
      };
    };
    writer_.begin(
        field,
        measure(number, put_live([](std::string_view id, std::string_view record,
                                    BucketBytes* keys) { keys->add(id, 1, record.size()); })));
    for_each(number, put_live([this](std::string_view id, std::string_view record) {
               writer_.put(id, record);
             }));
  }

  // An entry comes once for every run that has it.
  void fill_lemmas() {
    std::string before;
    const auto distinct = [&before](auto put) {
      return [&before, put](std::string_view key, std::string_view, auto... rest) {
        if (key != before) {
          before = key;
          const LemmaKey pair(key);
          put(pair.lemma, pair.form, rest...);
        }
      };
    };
    const BucketBytes bytes = measure(
        section::LEMMAS, distinct([](std::string_view lemma, std::string_view form,
                                     BucketBytes* keys) { keys->add(lemma, 1, form.size()); }));
    before.clear();
    writer_.begin(&ArticledbDb::lemmadb, bytes);
    for_each(section::LEMMAS, distinct([this](std::string_view lemma, std::string_view form) {
               writer_.put(lemma, form);
             }));
  }

  const SortedFiles& runs_;
  const guint64 last_id_;
  StoreWriter& writer_;
  WorkMeter& meter_;
  std::vector<bool> replaced_;  // by id
};

}  // namespace

void fill_store(const SortedFiles& runs, guint64 last_id, std::string_view rules,
                StoreWriter* writer, WorkMeter* meter) {
  Filling(runs, last_id, writer, meter).run(rules);
}

}  // namespace ostren::fenra::store
