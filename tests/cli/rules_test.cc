// The rules of words, from outside.
#include "tests/cli/program.h"

namespace cli_test {
namespace {

class RulesTest : public ProgramTest {
 protected:
  void SetUp() override {
    list_ = "u:1\ttext/html\t" +
            write("a", "<p>Zer da <b>eremu-izenak</b> eta MA&Ntilde;ANA?<script>xede</script>") +
            "\nu:2\ttext/plain\t" + write("b", "Etxean, 10,000 eremu: http://A.eus/izena.pdf") +
            "\nu:3\ttext/plain\t" + write("c", "eremu handia") + "\n";
  }

  // What both ways of making a store have to give.
  void expect_web(const std::string& store) const {
    const std::pair<const char*, const char*> cases[] = {
        {"search @S etxe 10,000", "u:2"},
        {"search @S mañana EREMU", "u:1"},
        {"search @S Manana", "u:1"},
        {"search @S eremu izenak", "u:1 u:2"},
        {"search @S eremu-izenak", "u:1 u:2"},  // by its parts in u:2
        {"search @S http://a.eus/izena.pdf a.eus", "u:2"},
        {"search @S 10.000", ""},
        {"search @S xede", ""},
        {"lookup @S --form Ma\u00F1ana", "u:1"},
        {"lookup @S --lemma Etxe", "u:2"},
        {"lookup @S --trigram da_Eremu-izenak_eremu", "u:1"},
        {"lookup @S --trigram-prefix izenak_eta", "u:1"},
    };
    for (auto [call, urls] : cases) {
      std::string of_store = call;
      of_store.replace(of_store.find("@S"), 2, store);
      EXPECT_EQ(answer(of_store), urls) << of_store;
    }
    expect("search " + store + " ...", 0, "", HasSubstr("only letters and digits count"));
    expect("stats " + store, 0, HasSubstr("\nrules    web\n"));
    expect("verify --deep " + store, 0, AllOf(StartsWith("articles 3,"), HasSubstr("problems 0")));
  }

  std::string list_;
};

TEST_F(RulesTest, AreThoseOfTheStoreForEveryCommand) {
  expect("index @web --list -", 0, StartsWith("indexed 3,"), "", list_);
  expect_web("@web");
  // Once more, in the store as it is, and what is written before it is closed.
  expect("index @web --rules web --list -", 0, StartsWith("indexed 3,"), "", list_);
  expect_web("@web");
  expect("compact @web", 0, testing::_);
  expect_web("@web");
  expect("index --bulk @bulk --list -", 0, StartsWith("indexed 3,"), "", list_);
  expect_web("@bulk");
  expect("rebuild @bulk @new", 0, StartsWith("indexed 3,"));
  expect_web("@new");
}

TEST_F(RulesTest, OnlyARebuiltStoreHasOthers) {
  expect("index @plain --rules plain --list -", 3, StartsWith("indexed 2, refused 1,"),
         HasSubstr("the HTML has no title"), list_);
  expect("stats @plain", 0, HasSubstr("\nrules    plain\n"));
  expect("index @plain --list -", 3, StartsWith("indexed 2,"), testing::_, list_);
  expect("index @plain --rules web --list -", 1, "",
         AllOf(HasSubstr("has the rules of words 'plain', not 'web'"),
               HasSubstr("fenra rebuild --rules web")),
         list_);
  expect("rebuild @plain @web --rules web", 0, StartsWith("indexed 2,"));
  EXPECT_EQ(answer("search @web ETXE"), "u:2");
  EXPECT_EQ(answer("search @plain etxe"), "");
  expect("index @web --rules plain --list -", 1, "", HasSubstr("'web', not 'plain'"), list_);
  expect("rebuild @web @again --rules plain", 0, StartsWith("indexed 2,"));
  expect("stats @again", 0, HasSubstr("\nrules    plain\n"));
}

}  // namespace
}  // namespace cli_test
