#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <random>
#include <thread>

#include "fst_test_util.h"
#include "tests/support/temporary_directory.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

const char kExample[] = "0 1 3 4\n1 2 0 5\n2\n3 A\n4 a\n5 s\n";

std::string gzip(const TemporaryDirectory& dir, const std::string& bytes) {
  const gzFile file = gzopen((dir / "gzip").c_str(), "wb");
  gzwrite(file, bytes.data(), static_cast<unsigned>(bytes.size()));
  gzclose(file);
  return dir.read("gzip");
}

// Loads and gives what went to standard error.
Fst load(const std::string& path, std::string* message) {
  testing::internal::CaptureStderr();
  Fst fst(lk_fst_new_from_binary_file(path.c_str()));
  *message = testing::internal::GetCapturedStderr();
  return fst;
}

std::string header(NodeIndex data_size, NodeIndex node_size = 8, NodeIndex edge_size = 8,
                   int32_t flags = 1) {
  const NodeIndex fields[] = {data_size, 1, node_size, 0, edge_size, static_cast<NodeIndex>(flags)};
  return std::string(reinterpret_cast<const char*>(fields), sizeof fields);
}

TEST(BinaryFile, SavesTheBlockAsAGzipStreamAndLoadsItBack) {
  const TemporaryDirectory dir;
  // The last cell is spare, and the flags are not those of any sort.
  const Fst fst = make_fst({cell(15, 1, 1, 'a', 200), cell(9, 0, 0, 0, 0), {}}, 2, 1, 5);
  ASSERT_EQ(0, lk_fst_save_to_binary_file(fst.get(), (dir / "a").c_str()));
  const std::string file = dir.read("a");
  EXPECT_EQ(std::string("\x1f\x8b\x08\0\0\0\0\0\x02\x03", 10), file.substr(0, 10));
  std::string message;
  const Fst loaded = load(dir / "a", &message);
  ASSERT_TRUE(loaded) << message;
  EXPECT_EQ(image(fst), image(loaded));
}

TEST(BinaryFile, AcceptsEveryCompleteImage) {
  const TemporaryDirectory dir;
  const std::string example = image(from_att(kExample));
  const std::string images[] = {
      example,
      header(0),                                    // no cells at all
      header(5) + "12345",                          // not a multiple of a cell
      header(16, 8, 8, -1) + std::string(16, '~'),  // flags and cells without sense
      header(33 << 20) + std::string(33 << 20, 'x'),
  };
  for (const std::string& bytes : images) {
    for (const std::string& content :
         {bytes, bytes + "trailing", gzip(dir, bytes), gzip(dir, bytes + "trailing")}) {
      std::string message;
      const Fst fst = load(dir.write("f", content), &message);
      ASSERT_TRUE(fst) << message;
      EXPECT_TRUE(bytes == image(fst)) << bytes.size();
      EXPECT_EQ("", message);
    }
  }
}

TEST(BinaryFile, ReportsWhatItCannotLoad) {
  const TemporaryDirectory dir;
  const std::string example = gzip(dir, image(from_att(kExample)));
  std::string corrupt = example;
  corrupt[12] = static_cast<char>(~corrupt[12]);
  const std::string incompatible = "Incompatible binary format";
  const struct {
    const char* name;
    std::string content, message;
  } kCases[] = {
      {"empty", "", "Cannot gzread: "},
      {"3 bytes", "abc", "Cannot gzread: "},
      {"header only", header(8), "Cannot gzread: "},
      {"one byte short", gzip(dir, header(8) + "1234567"), "Cannot gzread: "},
      {"cut gzip", example.substr(0, 30), "Cannot gzread: "},
      {"corrupt gzip", corrupt, "Cannot gzread: "},
      {"4 GB claimed", header(0xffffffe7), "Cannot gzread: "},
      {"beyond 32 bits", header(0xffffffe8), incompatible},
      {"node size", header(0, 16), incompatible},
      {"edge size", header(0, 8, 16), incompatible},
  };
  std::string message;
  for (const auto& c : kCases) {
    EXPECT_FALSE(load(dir.write("f", c.content), &message)) << c.name;
    EXPECT_THAT(message, StartsWith(c.message)) << c.name;
    EXPECT_THAT(message, testing::Not(HasSubstr("Success"))) << c.name;
    EXPECT_EQ(c.message == incompatible, message == incompatible) << c.name;
  }
  EXPECT_FALSE(load(dir / "missing", &message));
  EXPECT_EQ("Cannot open file: No such file or directory\n", message);
  EXPECT_FALSE(load("/tmp", &message));
  EXPECT_EQ("Cannot gzread: Is a directory\n", message);

  const std::string fifo = dir / "fifo";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  std::thread writer([&] { std::ofstream(fifo, std::ios::binary) << header(0); });
  EXPECT_FALSE(load(fifo, &message));
  writer.join();
  EXPECT_EQ("Cannot rewind: Illegal seek\n", message);
}

TEST(BinaryFile, SavingFailsQuietly) {
  std::vector<Edge> noise(1 << 16);
  std::mt19937 random(1);
  for (Edge& edge : noise) {
    edge.bits = static_cast<NodeIndex>(random());
  }
  const Fst fst = make_fst(noise, 0, 0, 0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(1, lk_fst_save_to_binary_file(fst.get(), "/tmp"));
  EXPECT_EQ(1, lk_fst_save_to_binary_file(fst.get(), "/dev/full"));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

}  // namespace
