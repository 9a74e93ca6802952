// Tells who waits for it that articles are being written to the databases.
#ifndef FENRA_STORE_WRITING_WRITING_PROGRESS_H
#define FENRA_STORE_WRITING_WRITING_PROGRESS_H

#include <glib.h>

#include "store/articledb.h"
#include "store/memory.h"
#include "store/sorted/sections.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

class WritingProgress {
 public:
  // Of writing all sections of the files. What is named outlives this.
  WritingProgress(ArticledbDb* db, const SortedFiles& files) : db_(db) {
    for (const auto& file : files) {
      total_ += file->end_of(section::COUNT - 1);
    }
  }

  void advance(guint64 bytes) {
    constexpr guint32 STEPS_A_LOOK = 4096;
    done_ += bytes;
    if (++steps_ % STEPS_A_LOOK == 0) {
      tell();
    }
  }

 private:
  void tell() {
    constexpr gint64 PATIENCE_MICROSECONDS = 3000000;
    if (db_->memory != nullptr && db_->memory->writing_progress != nullptr) {
      db_->memory->writing_progress(db_->memory->writing_state, MIN(done_, total_), total_);
    } else if (!told_ && g_get_monotonic_time() - begin_ > PATIENCE_MICROSECONDS) {
      told_ = true;
      db_->env->errx(db_->env,
                     "articles that waited are being written to the databases; %" G_GUINT64_FORMAT
                     " %% of it has taken 3 s",
                     MIN(done_, total_) * 100 / MAX(total_, 1));
    }
  }

  ArticledbDb* const db_;
  const gint64 begin_ = g_get_monotonic_time();
  guint64 total_ = 0;
  guint64 done_ = 0;
  guint32 steps_ = 0;
  bool told_ = false;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_WRITING_PROGRESS_H
