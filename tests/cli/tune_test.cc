// `fenra tune`.
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "tests/cli/program.h"

namespace cli_test {
namespace {

class TuneTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string text = scratch_.write("one.txt", "etxe zuria");
    ASSERT_EQ(fenra({"index", store_, text}).status, 0);
  }

  Result tune(const Arguments& arguments = {}) const {
    Arguments all = {"tune", store_};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return fenra(all);
  }

  std::string config() const {
    std::ostringstream text;
    text << std::ifstream(store_ + "/DB_CONFIG").rdbuf();
    return text.str();
  }

  const ScratchDirectory scratch_;
  const std::string store_ = scratch_.path("store");
};

TEST_F(TuneTest, SetsShowsAndTakesBack) {
  const std::string normal =
      "cache set       10M, the default\ncache in effect 12.5 MiB of memory\n";
  EXPECT_EQ(tune().out, normal);
  scratch_.write("store/DB_CONFIG", "# mine\nset_cachesize 0 30000 1\n\n set_lg_max 10485760");
  EXPECT_EQ(tune({"--cache", "64M"}).out,
            "cache set       64M, in DB_CONFIG\ncache in effect 80.0 MiB of memory\n");
  EXPECT_EQ(config(), "# mine\n\n set_lg_max 10485760\nset_cachesize 0 67108864 1\n");
  EXPECT_EQ(tune({"--cache", "1025M"}).out,
            "cache set       1025M, in DB_CONFIG\ncache in effect 1025.0 MiB of memory\n");
  EXPECT_EQ(config(), "# mine\n\n set_lg_max 10485760\nset_cachesize 1 1048576 1\n");
  EXPECT_EQ(fenra({"search", store_, "etxe", "--count"}).out, "1\n");
  EXPECT_EQ(tune({"--cache", "default"}).out, normal);
  EXPECT_EQ(config(), "# mine\n\n set_lg_max 10485760\n");
  scratch_.write("store/DB_CONFIG", "");
  EXPECT_EQ(tune({"--cache", "20480"}).out.substr(0, 34), "cache set       20K, in DB_CONFIG\n");
  EXPECT_EQ(tune({"--cache", "default"}).out, normal);
  EXPECT_FALSE(std::filesystem::exists(store_ + "/DB_CONFIG"));
}

TEST_F(TuneTest, RefusesWhatMakesNoSense) {
  const struct {
    const char* size;
    const char* reason;
  } sizes[] = {{"", "is no size"},
               {"M", "is no size"},
               {"12.5M", "is no size"},
               {"-1", "is no size"},
               {"1KK", "is no size"},
               {"19K", "is too little; 20K is the least"},
               {"99999999999999999999", "is too much; 64G is the most"},
               {"18446744073709551615G", "is too much"}};
  for (const auto& size : sizes) {
    const Result result = tune({"--cache", size.size});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find(size.reason), std::string::npos) << result.err;
  }
  EXPECT_FALSE(std::filesystem::exists(store_ + "/DB_CONFIG"));
  EXPECT_EQ(fenra({"tune", scratch_.path("none"), "--cache", "1M"}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(scratch_.path("none")));

  scratch_.write("store/DB_CONFIG", "set_cachesize x\nset_flags DB_TXN_NOSYNC on\n");
  for (const Arguments& arguments : {Arguments{"--cache", "1M"}, {"--cache", "default"}}) {
    const Result result = tune(arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("line 1, 'set_flags DB_TXN_NOSYNC on'"), std::string::npos)
        << result.err;
  }
  EXPECT_EQ(config(), "set_cachesize x\nset_flags DB_TXN_NOSYNC on\n");
  const Result shown = tune();
  EXPECT_EQ(shown.status, 1);
  EXPECT_NE(shown.err.find("line 1, 'set_cachesize x'"), std::string::npos) << shown.err;
}

}  // namespace
}  // namespace cli_test
