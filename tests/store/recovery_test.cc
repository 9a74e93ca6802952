// Stores whose writer was killed.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "store_fixture.h"

namespace {

class RecoveryTest : public StoreTest {
 protected:
  static std::string urlOf(guint64 n) { return "http://adibidea.eus/" + std::to_string(n); }
  static std::string textOf(guint64 n) {
    std::mt19937 random(static_cast<unsigned>(n));
    std::string text;
    while (text.size() < 400) {
      text += "h" + std::to_string(random() % 300) + " ";
    }
    return text;
  }
  static Strings tokensOf(guint64 n) {
    Strings tokens;
    const std::string text = textOf(n);
    for (size_t start = 0, end; (end = text.find(' ', start)) != std::string::npos;
         start = end + 1) {
      tokens.push_back(text.substr(start, end - start));
    }
    return tokens;
  }

  // Never returns: indexes articles from `next` on and writes a byte for each that
  // the store has acknowledged.
  [[noreturn]] void indexUntilKilled(guint64 next, int acknowledgements) {
    db = articledb_db_new();
    if (articledb_db_open(db, path.c_str()) != 0) {
      _exit(1);
    }
    for (;; ++next) {
      const Metadata metadata(articleValues(urlOf(next), textOf(next)));
      if (index(metadata, {tokensOf(next)}) != 0 || write(acknowledgements, "x", 1) != 1) {
        _exit(1);
      }
    }
  }
};

TEST_F(RecoveryTest, AcknowledgedArticlesSurviveTheirKilledWriter) {
  close();
  guint64 acknowledged = 0;
  for (int round = 0; round < 6; ++round) {
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
      ::close(pipe_ends[0]);
      indexUntilKilled(acknowledged, pipe_ends[1]);
    }
    ::close(pipe_ends[1]);
    char byte;
    const guint64 goal = acknowledged + 7 + static_cast<guint64>(round) * 5;
    while (acknowledged < goal && read(pipe_ends[0], &byte, 1) == 1) {
      ++acknowledged;
    }
    EXPECT_EQ(acknowledged, goal);
    kill(child, SIGKILL);
    while (read(pipe_ends[0], &byte, 1) == 1) {
      ++acknowledged;
    }
    ::close(pipe_ends[0]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
  }
  db = articledb_db_new();
  ASSERT_EQ(articledb_db_open(db, path.c_str()), 0);
  begin();
  const guint64 last = maxId();
  EXPECT_GE(last, acknowledged);
  for (guint64 n = 0; n < acknowledged; ++n) {
    guint64 id = 0;
    // The last round's article after the acknowledged ones may be half there.
    ArticledbCursor* form = lookup(articledb_db_lookup_form, tokensOf(n).back());
    const Ids posted = ids(form);
    for (id = last; id > 0 && url(id).rfind(urlOf(n) + "|", 0) != 0; --id) {
    }
    ASSERT_NE(id, 0U) << n;
    EXPECT_EQ(text(id), textOf(n));
    EXPECT_THAT(posted, testing::Contains(id));
  }
  EXPECT_EQ(index("berria", {"hitz"}), 0);
  close();
  verify();
}

}  // namespace
