#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/cli/program.h"

namespace cli_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class VerifyTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string list = "u:1\ttext/plain\t" + scratch_.write("a", "Etxe zuria mendian dago") +
                             "\t20090315\ta\";b\n" + "u:2\ttext/html\t" +
                             scratch_.write("b", html_page("Etxeak", "itsasoa")) +
                             "\nu:1\ttext/plain\t" + scratch_.write("c", "etxe urdina itsasoan") +
                             "\t20100101\tArgia\n";
    ASSERT_EQ(0, fenra({"index", store(), "--list", "-"}, list).status);
  }

  std::string store() const { return scratch_.path("store"); }

  // Overwrites bytes of the database file from the middle of a page in `part` of 8 on.
  void damage(int part) const {
    std::fstream file(store() + "/fenra.index", std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(0, std::ios::end);
    const long pages = static_cast<long>(file.tellg()) / 4096;
    file.seekp(pages * part / 8 * 4096);
    file << std::string(4096, '\x55');
  }

  const ScratchDirectory scratch_;
};

TEST_F(VerifyTest, FindsASoundStoreSound) {
  for (const Arguments& call :
       {Arguments{"verify", store()}, Arguments{"verify", store(), "--deep"}}) {
    const Result result = fenra(call);
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, StartsWith("articles 2, postings "));
    EXPECT_THAT(result.out, HasSubstr("problems 0, leftovers 0"));
    EXPECT_EQ("", result.err);
  }
}

TEST_F(VerifyTest, ACompactedStoreIsSoundAndTheSame) {
  const std::string before = fenra({"show", store(), "u:2"}).out;
  Result result = fenra({"compact", store()});
  EXPECT_EQ(0, result.status) << result.err;
  EXPECT_THAT(result.out, StartsWith("database          pages     fill          now     fill\n"));
  EXPECT_THAT(result.out, HasSubstr("\ntotal "));
  EXPECT_THAT(ScratchDirectory::listing(store()),
              testing::ElementsAre("fenra.index", "fenra.lexicon"));
  EXPECT_EQ(before, fenra({"show", store(), "u:2"}).out);
  EXPECT_THAT(fenra({"verify", store(), "--deep"}).out, HasSubstr("problems 0, leftovers 0"));

  result = fenra({"compact", scratch_.path("none")});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.err, HasSubstr("there is no store at"));
}

TEST_F(VerifyTest, TellsOfDamage) {
  damage(3);
  const Result result = fenra({"verify", store(), "--deep"});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.out + result.err, testing::AnyOf(HasSubstr("problem: "), HasSubstr("cannot")));
  EXPECT_EQ(1, fenra({"verify", scratch_.path("none")}).status);
}

TEST_F(VerifyTest, RebuildsEveryLiveArticle) {
  const std::string rebuilt = scratch_.path("new");
  const Result result = fenra({"rebuild", store(), rebuilt});
  EXPECT_EQ(0, result.status) << result.err;
  EXPECT_THAT(result.out, StartsWith("indexed 2, refused 0, skipped 0, "));
  EXPECT_EQ(fenra({"search", store(), "etxea"}).out, fenra({"search", rebuilt, "etxea"}).out);
  const std::string shown = fenra({"show", rebuilt, "u:2"}).out;
  EXPECT_THAT(shown, AllOf(HasSubstr("mime: text/html"), HasSubstr("itsasoa")));
  EXPECT_THAT(fenra({"show", rebuilt, "u:1"}).out,
              AllOf(HasSubstr("source: Argia"), HasSubstr("date: 20100101"),
                    HasSubstr("etxe urdina"), Not(HasSubstr("mendian"))));
  EXPECT_EQ(0, fenra({"verify", rebuilt, "--deep"}).status);
  // Not into a store that is there.
  EXPECT_EQ(1, fenra({"rebuild", store(), rebuilt}).status);
}

}  // namespace
}  // namespace cli_test
