// A disk that becomes full while articles are indexed.
#include <unistd.h>

#include <algorithm>

#include "tests/faults/injection.h"
#include "tests/faults/support.h"

namespace faults {
namespace {

using FullDiskTest = FaultTest;

TEST_F(FullDiskTest, AFileSystemOf48Megabytes) {
  const std::string disk = directory().path();
  run_in_small_file_system(disk, "48m", [&] {
    // More than the cache may hold back: the next checkpoint writes that out.
    const std::string ballast = disk + "/ballast";
    std::ofstream(ballast, std::ios::binary) << std::string(14 << 20, 'x');
    const std::string store = disk + "/store";
    Instance fenra = open(store);
    std::vector<uint64_t> stored;
    uint64_t number = 0;
    while (number < 20000 && stores(*fenra, number, 800)) {
      stored.push_back(number++);
    }
    ASSERT_LT(number, 20000U) << "the disk is not full";
    EXPECT_GE(stored.size(), 10U);
    for (const uint64_t end = ++number + 20; number < end; ++number) {
      if (stores(*fenra, number, 800)) {
        stored.push_back(number);
      }
    }
    // It answers what it is asked, also now.
    EXPECT_GE(answer(*fenra, "etxea").size(), stored.size());
    std::filesystem::remove(ballast);
    for (const uint64_t end = number + 20; number < end; ++number) {
      EXPECT_TRUE(stores(*fenra, number, 800)) << "with room again";
      stored.push_back(number);
    }
    expect_found(*fenra, stored);
    fenra.reset();
    expect_sound(store);
    expect_found(*open(store), stored);
  });
}

// A process dies, and the disk becomes full: what was in the databases is found by whoever opens
// the store, and what waited when there is room again. In the smaller one the journal, which
// wants room, takes no articles.
TEST_F(FullDiskTest, AStoreIsOpenedAndReadOnAFullDisk) {
  for (const char* size : {"48m", "120m"}) {
    SCOPED_TRACE(size);
    run_in_small_file_system(directory().path(), size, [this] {
      const std::string store = directory().path() + "/store";
      const std::string ballast = directory().path() + "/ballast";
      wait_for(start([&] {
        const Instance fenra = open(store);
        for (uint64_t number = 0; number < 90; ++number) {
          EXPECT_TRUE(stores(*fenra, number));
          if (number == 59) {
            answer(*fenra, "etxea");
          }
        }
        raise(SIGKILL);
      }));
      std::ofstream file(ballast, std::ios::binary);
      while (file.write(std::string(4096, 'x').data(), 4096).flush()) {
      }
      for (int i = 0; i < 2; ++i) {
        const Instance fenra = open(store);
        EXPECT_GE(answer(*fenra, "etxea").size(), 60U);
      }
      std::filesystem::remove(ballast);
      file.close();
      EXPECT_EQ(answer(*open(store), "etxea").size(), 90U);
    });
  }
}

// Others fill the disk while articles wait for being written to the databases, or while they
// are. The first ones replace articles that have been there.
TEST_F(FullDiskTest, WaitingArticlesAreNotLost) {
  for (int i = 0; i < rounds(3); ++i) {
    const std::string store = directory() / ("waiting" + std::to_string(i));
    const int64_t room = i == 0 ? 0 : below(3 << 20);
    SCOPED_TRACE(room);
    run_apart([&] {
      constexpr uint64_t kReplaced = 100;
      silence();
      install_hooks();
      Instance fenra = open(store);
      std::vector<uint64_t> stored;
      Urls replaced;
      while (stored.size() < kReplaced) {
        EXPECT_TRUE(stores(*fenra, stored.size(), 100));
        replaced.push_back(url_of(stored.size()));
        stored.push_back(stored.size());
      }
      EXPECT_EQ(answer(*fenra, "etxea"), replaced);
      while (stored.size() < 150) {
        stored.push_back(stored.size());
      }
      for (const uint64_t number : stored) {
        EXPECT_TRUE(stores(*fenra, number, 400));
      }
      fill_disk(room);
      EXPECT_TRUE(!stores(*fenra, 1000) || room != 0);
      Urls shown = answer(*fenra, "etxea");
      std::sort(shown.begin(), shown.end());
      EXPECT_TRUE(std::includes(shown.begin(), shown.end(), replaced.begin(), replaced.end()));
      EXPECT_EQ(std::adjacent_find(shown.begin(), shown.end()), shown.end());
      lift_faults();
      EXPECT_GE(answer(*fenra, "etxea").size(), stored.size());
      expect_found(*fenra, stored);
      EXPECT_TRUE(stores(*fenra, 1001));
      fenra.reset();
      expect_sound(store);
      expect_found(*open(store), stored);
    });
  }
}

}  // namespace
}  // namespace faults
