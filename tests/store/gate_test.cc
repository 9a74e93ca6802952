// What a store does when the processes on it die, hold places or come and go.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <set>

#include "store/creation.h"
#include "store/process/gate.h"
#include "store/process/gate_file.h"
#include "store_fixture.h"

namespace {

using ostren::fenra::store::gate_generation;
using ostren::fenra::store::GateFile;

// ---- dying at a chosen point, in a process of its own ----

int writes_left;

ssize_t writeOrDie(int fd, const void* bytes, size_t length) {
  if (--writes_left < 0) {
    raise(SIGKILL);
  }
  return write(fd, bytes, length);
}

// The process dies at its n-th write to a file, counted from 0.
void dieAtWrite(int n) {
  writes_left = n;
  db_env_set_func_write(writeOrDie);
}

class GateTest : public StoreTest {
 protected:
  // The file that recovery makes anew.
  ino_t region() const {
    struct stat status = {};
    EXPECT_EQ(stat((path + "/__db.001").c_str(), &status), 0);
    return status.st_ino;
  }
};

TEST_F(GateTest, ASurvivorGoesOnWhereItWas) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(index("u" + std::to_string(i), {"etxe", "zuri"}), 0);
  }
  ArticledbCursor* list = lookup(articledb_db_lookup_form, "etxe");
  ArticledbCursor* unread = whole(articledb_db_get_forms);
  ArticledbCursor* positioned = whole(articledb_db_get_urls);
  ArticledbCursor* forgotten = whole(articledb_db_get_urls);
  for (auto* cursor : {positioned, forgotten}) {
    ASSERT_EQ(once(cursor, articledb_cursor_next_key).size(), sizeof(guint64));
  }
  for (int death = 0; death < 3; ++death) {
    EXPECT_EQ(once(list, articledb_cursor_next_data_dup)[0], death + 1);
    const guint64 generation = gate_generation(db);
    neighbourDies();
    ASSERT_EQ(index("berria" + std::to_string(death), {"etxe"}), 0);
    EXPECT_GT(gate_generation(db), generation) << "used as the death left it";
  }
  EXPECT_EQ(ids(list), (Ids{4, 5, 6}));
  // A position is gone with its environment; a cursor without one has lost nothing.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(once(positioned, articledb_cursor_next_key), std::to_string(DB_RUNRECOVERY) + ":0");
  }
  ArticledbCursor* copy = nullptr;
  EXPECT_EQ(articledb_cursor_dup(positioned, &copy), DB_RUNRECOVERY);
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(articledb_cursor_close(positioned), 0);
  EXPECT_EQ(articledb_cursor_close(forgotten), 0);
  EXPECT_THAT(keys(unread), testing::IsSupersetOf({"etxe", "zuri"}));
  close();
  verify();
}

// The writes that a rebuild takes away are made again: an article is whole whenever its
// neighbour dies.
TEST_F(GateTest, AnArticleIsWholeWhateverDiesMeanwhile) {
  Strings tokens;
  for (int i = 0; i < 9000; ++i) {
    tokens.push_back("h" + std::to_string(i % 1500) + (i > 5000 ? "x" : ""));
  }
  const std::set<size_t> deaths = {0, 1, 700, 4096, 4097, 9000};
  int others = 0;
  const auto meanwhile = [&](size_t place) {
    if (deaths.count(place) == 0) {
      return;
    }
    neighbourDies();
    // Somebody else takes the id that the rebuilt counter gives.
    const std::string url = "bestea" + std::to_string(others++);
    EXPECT_EQ(with(another(), [&] { return index(url, {"bestea"}); }), 0);
  };
  ASSERT_EQ(index(Metadata(articleValues("u")), {tokens, ARTICLEDB_TOKEN_END, meanwhile}), 0);
  guint64 id = 0;
  for (guint64 i = maxId(); i > 0; --i) {
    if (url(i).rfind("u|", 0) == 0) {
      EXPECT_EQ(std::exchange(id, i), 0U) << "stored twice";
    }
  }
  ASSERT_NE(id, 0U);
  EXPECT_EQ(formIds("bestea").size(), 6U);
  EXPECT_EQ(keys(whole(articledb_db_get_urls)).size(), 7U);
  for (size_t i = 0; i < tokens.size(); ++i) {
    const std::string& form = tokens[i];
    ASSERT_THAT(formIds(form), testing::Contains(id)) << form;
    ASSERT_THAT(dups(lookup(articledb_db_lookup_lemma, form)), ElementsAre(form));
    if (i >= 2) {
      const std::string trigram = tokens[i - 2] + '\0' + tokens[i - 1] + '\0' + form + '\0';
      ArticledbCursor* cursor = lookup(articledb_db_lookup_trigram, trigram);
      ASSERT_EQ(ids(cursor).back(), id) << i;
    }
  }
  close();
  verify();
}

TEST_F(GateTest, AForkedChildHasNothingOfItsParent) {
  ASSERT_EQ(index("u", {"etxe"}), 0);
  EXPECT_EQ(result_of([this] {
              guint64 id = 0;
              const bool refused = index("v", {"etxe"}) == EPERM &&
                                   articledb_db_max_id(db, &id) == EPERM &&
                                   articledb_db_close(db) == EPERM;
              return refused ? 7 : 1;
            }),
            7);
  // It does not make a parent that dies under the gate seem to live.
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_FALSE(getsToTheEnd([&] {
    if (fork() == 0) {
      char unused;
      ::close(ends[1]);
      _exit(static_cast<int>(read(ends[0], &unused, 1)));
    }
    BrokenPuts::install(db->formdb, 0, SIGKILL);
    putForm("hila", 2);
  }));
  // Nor do signals that come all the time keep the death from being noticed.
  signal(SIGALRM, [](int) {});
  const struct itimerval often = {{0, 5000}, {0, 5000}};
  const struct itimerval never = {};
  ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
  EXPECT_EQ(index("v", {"etxe"}), 0);
  ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
  signal(SIGALRM, SIG_DFL);
  EXPECT_EQ(formIds("etxe"), (Ids{1, 2}));
  ::close(ends[0]);
  ::close(ends[1]);
}

// What never got to the disk is not remembered as being there.
TEST_F(GateTest, PairsOfAnArticleThatFailedAreWrittenAgain) {
  ASSERT_EQ(index("a", {"etxe"}), 0);
  db->env->log_flush = [](DB_ENV*, const DB_LSN*) { return EIO; };
  EXPECT_EQ(index("b", {"etxe", "zuri"}), EIO);
  neighbourDies();
  EXPECT_THAT(keys(whole(articledb_db_get_lemmas)), ElementsAre("etxe"));
  EXPECT_EQ(index("c", {"etxe", "zuri"}), 0);
  for (const char* form : {"etxe", "zuri"}) {
    EXPECT_THAT(dups(lookup(articledb_db_lookup_lemma, form)), ElementsAre(form));
  }
}

TEST_F(GateTest, ARecoveryThatIsKilledIsMadeByTheNextOne) {
  ASSERT_EQ(index("u", {"etxe"}), 0);
  for (const int write : {0, 1, 2, 3, 5, 8}) {
    neighbourDies();
    result_of([&] {
      dieAtWrite(write);
      return openAndClose();
    });
    ASSERT_EQ(index("u" + std::to_string(write), {"etxe"}), 0) << write;
  }
  EXPECT_EQ(formIds("etxe").size(), 7U);
  close();
  verify();
}

TEST_F(GateTest, ACreationThatIsKilledIsCompleted) {
  close();
  using ostren::fenra::store::complete_store;
  bool finished = false;
  for (int write = 0; !finished; write += 1 + write / 4) {
    ASSERT_LT(write, 10000);
    path = root + "/half" + std::to_string(write);
    finished = result_of([&] {
                 dieAtWrite(write);
                 return articledb_db_create(articledb_db_new(), path.c_str());
               }) != -SIGKILL;
    testing::internal::CaptureStderr();
    complete_store(path.c_str());
    ASSERT_NO_FATAL_FAILURE(open()) << write;
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(maxId(), 0U);
    ASSERT_EQ(index("u", {"etxe"}), 0) << write;
    // Completing it again is no second beginning.
    complete_store(path.c_str());
    EXPECT_EQ(maxId(), 1U);
    close();
    verify();
  }
  complete_store(nullptr);
  complete_store((root + "/none").c_str());
  EXPECT_FALSE(std::filesystem::exists(root + "/none"));
}

TEST_F(GateTest, OnlyWhatWasNotClosedInOrderIsRecovered) {
  ASSERT_EQ(index("u", {"etxe"}), 0);
  const auto recovers = [this] {
    const ino_t before = region();
    // Keeps the number from being used again.
    const int pinned = ::open((path + "/__db.001").c_str(), O_RDONLY);
    open();
    EXPECT_EQ(formIds("etxe"), Ids{1});
    const bool recovered = region() != before;
    close();
    ::close(pinned);
    return recovered;
  };
  close();
  EXPECT_FALSE(recovers());
  const auto neighbour_dies = [this] { EXPECT_FALSE(getsToTheEnd([] { raise(SIGKILL); })); };
  neighbour_dies();
  EXPECT_TRUE(recovers());
  EXPECT_FALSE(recovers());
  // The first of two to close is not the last.
  Handle first = another();
  Handle second = another();
  first.reset();
  neighbour_dies();
  second.reset();
  EXPECT_TRUE(recovers());

  // Gate files of another time: of before the machine was started, with a holder that is
  // dead, of other files, and broken ones.
  constexpr size_t BOOT_ID = 40;
  constexpr size_t HOLDER = 128;
  constexpr size_t DATABASE_INODE = 1312;
  const std::pair<std::function<void(std::string&)>, bool> changes[] = {
      {[](std::string& bytes) { bytes[BOOT_ID] ^= 1; }, true},
      {[](std::string& bytes) { bytes[HOLDER] = 7; }, false},
      {[](std::string& bytes) { bytes[DATABASE_INODE] ^= 1; }, true},
      {[](std::string& bytes) { bytes.assign(4096, '\xff'); }, true},
      {[](std::string& bytes) { bytes.resize(100); }, true},
      {[](std::string& bytes) { bytes.clear(); }, true}};
  for (const auto& [change, recovered] : changes) {
    std::string bytes = directory.read("store/fenra.gate");
    ASSERT_EQ(bytes.size(), 4096U);
    change(bytes);
    directory.write("store/fenra.gate", bytes);
    EXPECT_EQ(recovers(), recovered);
  }
  std::filesystem::remove(path + "/fenra.gate");
  EXPECT_TRUE(recovers());
}

TEST_F(GateTest, APositionedCursorRefusesWritesForATime) {
  for (guint32 id = 11; id <= 13; ++id) {
    ASSERT_EQ(putForm("etxe", id), 0);
    ASSERT_EQ(putLemma("etxe", std::string("abc", id - 10)), 0);
  }
  ArticledbCursor* form = whole(articledb_db_get_forms);
  ArticledbCursor* lemma = whole(articledb_db_get_lemmas);
  EXPECT_EQ(once(form, articledb_cursor_next_data).size(), sizeof(guint64));
  EXPECT_EQ(once(lemma, articledb_cursor_next_data), "a");
  testing::internal::CaptureStderr();
  EXPECT_EQ(putForm("etxe", 14), DB_LOCK_DEADLOCK);
  EXPECT_EQ(putLemma("etxe", "b"), DB_LOCK_DEADLOCK);
  EXPECT_EQ(index("u", {"etxe"}), DB_LOCK_DEADLOCK);
  testing::internal::GetCapturedStderr();
  // Reading goes on, here and there.
  EXPECT_EQ(once(form, articledb_cursor_next_data).size(), sizeof(guint64));
  EXPECT_EQ(formIds("etxe"), (Ids{11, 12, 13}));
  EXPECT_EQ(articledb_cursor_close(form), 0);
  EXPECT_EQ(articledb_cursor_close(lemma), 0);
  EXPECT_EQ(index("u", {"etxe"}), 0);
  EXPECT_EQ(formIds("etxe").size(), 4U);

  // That of a process which is gone stands in nobody's way.
  EXPECT_FALSE(getsToTheEnd([&] {
    EXPECT_EQ(once(whole(articledb_db_get_forms), articledb_cursor_next_data).size(),
              sizeof(guint64));
    raise(SIGKILL);
  }));
  EXPECT_EQ(putForm("etxe", 19), 0);
  close();
  verify();
}

TEST_F(GateTest, AHandleMendsItsDamagedEnvironment) {
  ASSERT_EQ(index("u", {"etxe"}), 0);
  ArticledbCursor* list = lookup(articledb_db_lookup_form, "etxe");
  testing::internal::CaptureStderr();
  ASSERT_EQ(db->env->set_flags(db->env, DB_PANIC_ENVIRONMENT, 1), 0);
  EXPECT_EQ(index("v", {"etxe"}), 0);
  ASSERT_EQ(db->env->set_flags(db->env, DB_PANIC_ENVIRONMENT, 1), 0);
  EXPECT_EQ(ids(list), (Ids{1, 2}));
  // One that cannot be opened any more says so, and can later.
  ASSERT_EQ(db->env->set_flags(db->env, DB_PANIC_ENVIRONMENT, 1), 0);
  std::filesystem::rename(path, path + ".away");
  guint64 id = 0;
  for (int i = 0; i < 2; ++i) {
    EXPECT_NE(articledb_db_max_id(db, &id), 0);
    EXPECT_NE(index("w"), 0);
    EXPECT_NE(articledb_db_remove_logs(db), 0);
  }
  std::filesystem::rename(path + ".away", path);
  EXPECT_EQ(index("w", {"etxe"}), 0);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(formIds("etxe"), (Ids{1, 2, 3}));
}

// ---- what is mapped ----

int countMappings(const std::string& of) {
  std::ifstream maps("/proc/self/maps");
  int count = 0;
  for (std::string line; std::getline(maps, line);) {
    count += line.find(of) != std::string::npos ? 1 : 0;
  }
  return count;
}

// Nothing of it stays mapped, and all of a store whose path ends like this one's. There is a
// newline in the path, which the system writes in another way.
TEST_F(GateTest, WhatIsMappedOfItAloneGoesWithAnEnvironment) {
  close();
  std::filesystem::rename(path, root + "/lerro\nbat");
  path = root + "/lerro\nbat";
  const std::string other_path = root + "/x" + path;
  std::filesystem::create_directories(std::filesystem::path(other_path).parent_path());
  const Handle other(articledb_db_new());
  ASSERT_EQ(articledb_db_create(other.get(), other_path.c_str()), 0);
  open();
  const auto mapped = [this] {
    const int all = countMappings("/lerro\\012bat/__db.");
    const int others = countMappings("/x" + root + "/lerro\\012bat/__db.");
    return std::pair(all - others, others);
  };
  const auto usual = mapped();
  ASSERT_GT(usual.first, 0);
  ASSERT_GT(usual.second, 0);
  neighbourDies();
  ASSERT_EQ(index("u", {"etxe"}), 0);
  EXPECT_EQ(mapped(), usual);
}

// All places are marked, those of the dead as well as that of this process's handle.
TEST_F(GateTest, APlaceOfTheDeadIsTakenOverWhenNoneIsFree) {
  std::unique_ptr<GateFile> file;
  ASSERT_EQ(GateFile::open(path.c_str(), false, 0, &file), 0);
  for (int place = 0; place < GateFile::PLACES; ++place) {
    file->set_occupied(place, true);
  }
  const guint64 generation = file->generation();
  Handle taker = another();
  EXPECT_GT(file->generation(), generation) << "what the dead have locked is still locked";
  EXPECT_EQ(index("u", {"etxe"}), 0);
  const auto occupied = [&file] {
    int count = 0;
    for (int place = 0; place < GateFile::PLACES; ++place) {
      count += file->occupied(place) ? 1 : 0;
    }
    return count;
  };
  EXPECT_EQ(occupied(), 2);
  taker.reset();
  EXPECT_EQ(occupied(), 1);
}

}  // namespace
