// Stores that are only read.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "store/articledb_backup.h"
#include "store_fixture.h"

namespace {

namespace fs = std::filesystem;

class ReadOnlyTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    for (int number = 0; number < 300; ++number) {
      ASSERT_EQ(index("u" + std::to_string(number), {"etxe", "h" + std::to_string(number)}), 0);
    }
    close();
  }

  int openReadOnly() {
    db = articledb_db_new();
    begin();
    return articledb_db_open_read_only(db, path.c_str());
  }

  void expectRefusal(int status, const std::string& message) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(openReadOnly(), status);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(message));
    close();
  }

  void expectAnswers() {
    EXPECT_THAT(formIds("etxe"), SizeIs(300));
    EXPECT_EQ(formIds("h7"), Ids{8});
    EXPECT_EQ(text(8), "testua");
    EXPECT_EQ(maxId(), 300U);
    EXPECT_THAT(keys(whole(articledb_db_get_urls)), SizeIs(300));
    const ArticledbRules* rules = nullptr;
    EXPECT_EQ(articledb_db_get_rules(db, &rules), 0);
  }

  // The names of the store's files with their times.
  std::map<std::string, fs::file_time_type> files() const {
    std::map<std::string, fs::file_time_type> times;
    for (const auto& entry : fs::directory_iterator(path)) {
      times[entry.path()] = entry.last_write_time();
    }
    return times;
  }
};

TEST_F(ReadOnlyTest, EverythingReadsAndNothingWrites) {
  const auto before = files();
  ASSERT_EQ(openReadOnly(), 0);
  expectAnswers();
  EXPECT_EQ(articledb_db_use_journal(db), EROFS);
  EXPECT_EQ(index("u0", {"mendi"}), EROFS);
  EXPECT_EQ(articledb_transaction_put_form(t, "mendi", 5, 1), EROFS);
  guint64 id = 1;
  EXPECT_EQ(articledb_transaction_delete_id(t, &id), EROFS);
  EXPECT_EQ(articledb_transaction_next_id(t, &id), EROFS);
  EXPECT_EQ(articledb_db_remove_logs(db), EROFS);
  expectAnswers();
  close();
  EXPECT_EQ(files(), before);
}

// Others who only read are in nobody's way; after a write every read says so, whatever had been
// read before.
TEST_F(ReadOnlyTest, SaysWhenSomebodyHasWritten) {
  ASSERT_EQ(openReadOnly(), 0);
  Handle other = another();
  EXPECT_THAT(with(other, [this] { return formIds("etxe"); }), SizeIs(300));
  expectAnswers();
  other.reset();
  expectAnswers();
  ArticledbCursor* const cursor = whole(articledb_db_get_forms);
  char bytes[64];
  ArticledbBuffer buffer = {bytes, sizeof bytes, 0};
  EXPECT_EQ(articledb_cursor_next_key(cursor, &buffer), CURSOR_OK);

  other = another();
  EXPECT_EQ(with(other, [this] { return index("u0", {"mendi", "etxe"}); }), 0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(articledb_cursor_next_key(cursor, &buffer), STATUS_STORE_CHANGED);
  for (int i = 0; i < 2; ++i) {
    guint64 id = 0;
    EXPECT_EQ(articledb_db_max_id(db, &id), STATUS_STORE_CHANGED);
    EXPECT_EQ(url(8), "-8");
    other.reset();
  }
  EXPECT_EQ(articledb_cursor_close(cursor), STATUS_STORE_CHANGED);
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_THAT(told, testing::StartsWith(
                        path + ": somebody has written to it since it was opened for reading"));
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
  close();
  ASSERT_EQ(openReadOnly(), 0);
  EXPECT_THAT(formIds("etxe"), SizeIs(301));
}

TEST_F(ReadOnlyTest, TakesOnlyWhatWasClosedInOrder) {
  // A writer at work, then dead; an article waits in the journal, or in the log.
  open();
  expectAnswers();
  ASSERT_EQ(index("u300", {"etxe"}), 0);
  ArticledbDb* const writer = db;
  ArticledbTransaction* const transaction = t;
  expectRefusal(STATUS_NOT_IN_ORDER, "somebody has it open and has written to it");
  db = writer;
  t = transaction;
  close();
  for (const bool journal : {true, false}) {
    uses_journal = journal;
    EXPECT_TRUE(getsToTheEnd([&] { index("u301", {"etxe"}); }));
    uses_journal = false;
    expectRefusal(STATUS_NOT_IN_ORDER, "open it once, with: fenra tune " + path);
    EXPECT_EQ(openAndClose(), 0);
    EXPECT_EQ(openReadOnly(), 0);
    close();
  }
  // Without the mark of this machine the log tells; a bulk-built store and a backup have none.
  const std::string copy = root + "/copy";
  fs::copy(path, copy);
  fs::remove(copy + "/fenra.gate");
  const std::string backup = root + "/backup";
  EXPECT_EQ(articledb_backup(path.c_str(), backup.c_str(), nullptr, nullptr, nullptr), 0);
  for (const std::string& name : {copy, backup}) {
    path = name;
    EXPECT_EQ(openReadOnly(), 0) << name;
    EXPECT_THAT(formIds("etxe"), SizeIs(303));
    close();
  }
}

TEST_F(ReadOnlyTest, BadFilesAreRefused) {
  const std::string file = path + "/fenra.index";
  fs::resize_file(file, fs::file_size(file) - 100);
  expectRefusal(EINVAL, "bytes are no databases, or damaged");
  fs::remove(file);
  expectRefusal(ENOENT, "it has no file fenra.index");
  for (const char* name : {"/fenra.index", "/fenra.gate"}) {
    fs::remove(path + name);
    ASSERT_EQ(mkfifo((path + name).c_str(), 0600), 0);
    expectRefusal(EINVAL, path + name + ": Invalid argument; it is no regular file");
    fs::remove(path + name);
    fs::create_symlink("/etc/passwd", path + name);
    expectRefusal(EINVAL, path + name + ": Invalid argument; it is no regular file");
    fs::remove(path + name);
    directory.write(std::string("store") + name, std::string(8192, '\x5a'));
  }
  expectRefusal(EINVAL, "bytes are no databases, or damaged");
}

}  // namespace
