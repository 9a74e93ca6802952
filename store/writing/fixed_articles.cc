#include "store/writing/fixed_articles.h"

#include "base/failed.h"
#include "store/layout/id_counter.h"

namespace ostren::fenra::store {

int FixedArticles::settle(ArticledbDb* db) {
  if (view_.is_empty()) {
    return 0;
  }
  db->env->errx(db->env,
                "%s: %" G_GUINT64_FORMAT
                " articles or more wait for being written to the databases; have them "
                "written there, with: fenra compact %s",
                directory_.c_str(), view_.last_id() - view_.base(), directory_.c_str());
  return STATUS_NOT_IN_ORDER;
}

int FixedArticles::look(ArticledbDb* db) {
  const int ret = status_of([&] {
    const guint64 counter = require_id_counter(db);
    view_.begin(directory_, counter, segments_behind(counter, read_segment_list(directory_)));
  });
  if (ret != 0) {
    db->env->err(db->env, ret, "%s: the articles of its segments cannot be read",
                 directory_.c_str());
  }
  return ret;
}

}  // namespace ostren::fenra::store
