// The articles that wait in a store that is open for reading only: those of its segments.
#ifndef FENRA_STORE_WRITING_FIXED_ARTICLES_H
#define FENRA_STORE_WRITING_FIXED_ARTICLES_H

#include <string>
#include <string_view>

#include "store/process/waiting_articles.h"
#include "store/waiting/waiting_view.h"

namespace ostren::fenra::store {

class FixedArticles : public WaitingArticles {
 public:
  explicit FixedArticles(std::string directory) : directory_(std::move(directory)) {}

  // STATUS_NOT_IN_ORDER when there are any.
  int settle(ArticledbDb* db) override;

  int look(ArticledbDb* db) override;
  const WaitingView& view() const override { return view_; }

  int admits(ArticledbDb*) override { return EROFS; }
  int append(ArticledbDb*, std::string*, guint64, guint64*) override { return EROFS; }
  int append_large(ArticledbDb*, std::string_view, ArticleEntries*, guint64*) override {
    return EROFS;
  }
  int append_removal(ArticledbDb*, std::string_view) override { return EROFS; }
  void forget_last_id() override {}
  void end_work(ArticledbDb*) override {}
  int set_aside(ArticledbDb*) override { return EROFS; }
  int remove_journal() override { return EROFS; }

 private:
  const std::string directory_;
  WaitingView view_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_FIXED_ARTICLES_H
