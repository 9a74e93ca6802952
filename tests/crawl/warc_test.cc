// WARC files, made here record by record, and the pages that come out of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#ifdef FENRA_HAVE_ZSTD
#include <zstd.h>
#endif

#include <memory>
#include <vector>

#include "crawl/unpacking.h"
#include "crawl/warc_pages.h"
#include "tests/support/memory_source.h"

namespace {

using ostren::fenra::crawl::CrawledPage;
using ostren::fenra::crawl::kMostPageBytes;
using ostren::fenra::crawl::unpacked;
using ostren::fenra::crawl::Unreadable;
using ostren::fenra::crawl::WarcPages;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Lines = std::vector<std::string>;

constexpr int kGzip = 31;
constexpr int kZlib = 15;
constexpr int kRaw = -15;

std::string record_of(const std::string& type, const std::string& uri, const std::string& block) {
  return "WARC/1.1\r\nWARC-Type: " + type + "\r\nwarc-target-uri: " + uri +
         "\r\nWARC-Date: 2009-03-15T10:20:30Z\r\nContent-Length: " + std::to_string(block.size()) +
         "\r\n\r\n" + block + "\r\n\r\n";
}

std::string http(const std::string& body, const std::string& fields = "",
                 const std::string& type = "text/html", const std::string& status = "200 OK") {
  return "HTTP/1.1 " + status + "\r\nContent-Type: " + type + "\r\n" + fields + "\r\n" + body;
}

std::string page_of(const std::string& uri, const std::string& body,
                    const std::string& fields = "") {
  return record_of("response", uri, http(body, fields));
}

// What comes out of the bytes: "URL MIME DATE BYTES", "skipped WHY" or "refused WHY".
Lines read(const std::string& bytes, size_t portion = 1 << 20) {
  WarcPages pages(unpacked(std::make_unique<MemorySource>(bytes, portion)));
  Lines lines;
  while (const std::optional<CrawledPage> page = pages.next()) {
    lines.push_back(!page->refusal.empty() ? "refused " + page->refusal
                    : !page->skipped.empty()
                        ? "skipped " + page->skipped
                        : page->url + " " + page->mime + " " + page->date + " " + page->bytes);
  }
  return lines;
}

std::string only(const std::string& bytes) {
  const Lines lines = read(bytes);
  return lines.size() == 1 ? lines.front() : std::to_string(lines.size()) + " lines";
}

const std::string kFirst = "u:1 text/html 20090315 <p>etxea";

TEST(WarcTest, TellsPagesFromWhatIsNone) {
  const std::string file =
      record_of("warcinfo", "", "software: x\r\n") +
      record_of("request", "<u:1>", "GET / HTTP/1.1") + page_of("<u:1>", "<p>etxea") +
      record_of("response", "u:2",
                http("x", "", "Application/XHTML+xml; a=b; Charset=\"latin1\"")) +
      record_of("response", "u:3", http("x", "", "text/plain;charset=a b")) +
      record_of("response", "u:4", http("x", "", "application/pdf")) +
      record_of("response", "u:5", http("x", "", "text/html", "404 Not Found")) +
      record_of("response", "u:6", "HTTP/1.0 200\n\nx") +
      record_of("response", "dns:x", "1.2.3.4") + record_of("revisit", "u:7", http("")) +
      record_of("a\nb", "u:8", "");
  const Lines expected = {"skipped record type warcinfo",
                          "skipped record type request",
                          kFirst,
                          "u:2 text/html; charset=latin1 20090315 x",
                          "u:3 text/plain 20090315 x",
                          "skipped MIME type application/pdf",
                          "skipped status 404",
                          "skipped no MIME type",
                          "skipped no HTTP",
                          "skipped record type revisit",
                          "skipped record type a"};
  EXPECT_EQ(read(file), expected);
  EXPECT_EQ(read(file, 1), expected);
  std::string gzipped;
  for (const std::string& half : {file.substr(0, 700), file.substr(700)}) {
    gzipped += deflated(half, kGzip);
  }
  EXPECT_EQ(read(gzipped), expected);
  EXPECT_EQ(read(gzipped, 7), expected);
}

TEST(WarcTest, UndoesCodings) {
  const std::string body = "<p>etxea";
  const std::string twice = deflated(body, kGzip);
  char size[16];
  snprintf(size, sizeof(size), "%zx", twice.size() - 3);
  const std::string chunked = "3;x=y\r\n" + twice.substr(0, 3) + "\r\n" + size + "\r\n" +
                              twice.substr(3) + "\r\n0\r\nTrailer: x\r\n\r\n";
  const std::pair<std::string, std::string> cases[] = {
      {"Transfer-Encoding: chunked\r\nContent-Encoding: gzip\r\n", chunked},
      {"Content-Encoding: deflate\r\n", deflated(body, kZlib)},
      {"Content-Encoding: deflate\r\n", deflated(body, kRaw)},
      {"Content-Encoding: X-GZIP, identity\r\n", twice},
#ifdef FENRA_HAVE_BROTLI
      {"Content-Encoding: br\r\n", std::string("\x8b\x03\x80<p>etxea\x03")},
#endif
      // The header has stayed where the coding is off.
      {"Transfer-Encoding: chunked\r\nContent-Encoding: gzip\r\n", body},
  };
  for (const auto& [fields, coded] : cases) {
    EXPECT_EQ(only(page_of("u:1", coded, fields)), kFirst) << fields;
  }
}

TEST(WarcTest, RefusesBodiesThatCannotBeHad) {
  const std::string bomb = deflated(std::string(kMostPageBytes + 1, 'x'), kGzip);
  const std::pair<std::string, std::string> cases[] = {
      {"Transfer-Encoding: chunked\r\n", "5\r\nabc"},
      {"Transfer-Encoding: chunked\r\n", "3\r\nabc\r\n"},
      {"Transfer-Encoding: chunked\r\n", "fffffffffffffffe\r\nabc\r\n0\r\n\r\n"},
      {"Transfer-Encoding: chunked\r\n", "1\r\na\r\nx\r\n"},
      {"Content-Encoding: gzip\r\n", deflated("<p>etxea", kGzip).substr(0, 20)},
      {"Content-Encoding: deflate\r\n", "\xff\xff\xff"},
      {"Content-Encoding: br\r\n", "\x8b"},
      {"Content-Encoding: zip\r\n", "x"},
      {"Content-Encoding: gzip, gzip, gzip\r\nTransfer-Encoding: gzip, gzip\r\n", "x"},
      {"Content-Encoding: gzip\r\n", bomb},
  };
  for (const auto& [fields, coded] : cases) {
    const Lines lines = read(page_of("u:0", coded, fields) + page_of("u:1", "<p>etxea"));
    EXPECT_THAT(lines, ElementsAre(StartsWith("refused "), kFirst)) << fields;
  }
}

TEST(WarcTest, GoesOnBehindWhatIsDamaged) {
  const std::string good = page_of("u:1", "<p>etxea");
  const auto with_length = [](const std::string& length) {
    return "WARC/1.0\r\nWARC-Type: response\r\n" + length + "\r\n" + http("x") + "\r\n\r\n";
  };
  for (const std::string& bad :
       {with_length(""), with_length("Content-Length: -1\r\n"),
        with_length("Content-Length: 99999999999999999999\r\n"),
        with_length("Content-Length: " + std::string(70000, '1') + "\r\n"),
        with_length("Content-Length: 3\r\n"), std::string("WARC/2.0\r\n\r\nx\r\n\r\n"),
        std::string("rubbish\n") + std::string(200000, 'x') + "\n"}) {
    const Lines lines = read(good + bad + good);
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines.front(), kFirst);
    EXPECT_EQ(lines.back(), kFirst) << bad.substr(0, 80);
    EXPECT_THAT(lines[lines.size() - 2], StartsWith("refused ")) << bad.substr(0, 80);
  }
}

TEST(WarcTest, ACutOffFileLosesItsLastRecordOnly) {
  const std::string first = page_of("u:1", "<p>etxea");
  const std::string second = page_of("u:2", std::string(500, 'x'));
  const auto refused = ElementsAre(kFirst, HasSubstr("refused the file is cut off"));
  // Behind the first bytes of the second, and before the last of its block.
  for (size_t length = 9; length + 4 < second.size(); length += 7) {
    EXPECT_THAT(read(first + second.substr(0, length)), refused) << length;
  }
  EXPECT_EQ(read(first + second.substr(0, second.size() - 4)).size(), 2U);
  const std::string packed = deflated(second, kGzip);
  for (size_t length = 30; length < packed.size() - 8; length += 5) {
    const Lines lines = read(deflated(first, kGzip) + packed.substr(0, length));
    EXPECT_EQ(lines.front(), kFirst);
    EXPECT_THAT(lines.back(), HasSubstr("refused the file is cut off")) << length;
  }
  // What is skipped is missed too.
  EXPECT_THAT(read(first + record_of("request", "", std::string(500, 'x')).substr(0, 300)),
              ElementsAre(kFirst, "skipped record type request", HasSubstr("is cut off")));
  // A length that is a lie is not read into memory.
  std::string endless = page_of("u:2", std::string(9000, 'x'));
  const size_t digits = endless.find("Length: ") + 8;
  endless.replace(digits, endless.find('\r', digits) - digits, std::to_string(UINT64_MAX));
  EXPECT_THAT(read(endless),
              ElementsAre(HasSubstr("refused its record has more than"), HasSubstr("is cut off")));
  std::string damaged = deflated(first, kGzip) + packed;
  damaged[deflated(first, kGzip).size() + 40] ^= 0x55;
  EXPECT_THAT(read(damaged).back(), StartsWith("refused "));
}

TEST(WarcTest, HeadersMayBeHugeOrAlone) {
  EXPECT_EQ(only(record_of("response", "u:1", "HTTP/1.1 200 OK\r\nContent-Type: text/html")),
            "u:1 text/html 20090315 ");
  EXPECT_EQ(only(page_of("u:1", "<p>etxea", "X: " + std::string(200000, 'x') + "\r\n")), kFirst);
  EXPECT_THAT(only(page_of("u:1", "<p>etxea", "X: " + std::string(300000, 'x') + "\r\n")),
              HasSubstr("HTTP answer has more than 262144 bytes"));
  std::string record = page_of("u:1", "<p>etxea");
  record.insert(10, "X-Long: " + std::string(1000000, 'x') + "\r\n continued\r\nno colon\r\n");
  EXPECT_EQ(only(record), kFirst);
  for (const char* nothing : {"", "\x1f", "\r\n\n"}) {
    EXPECT_EQ(read(nothing).size(), nothing[0] == 0x1f ? 1U : 0U);
  }
  EXPECT_THAT(only(page_of("u:1", std::string(kMostPageBytes, 'x'))),
              HasSubstr("index the page as a file"));
}

#ifdef FENRA_HAVE_ZSTD

std::string zstd(const std::string& text, const std::string& dictionary = "") {
  const std::unique_ptr<ZSTD_CCtx, size_t (*)(ZSTD_CCtx*)> context(ZSTD_createCCtx(),
                                                                   ZSTD_freeCCtx);
  std::string packed(ZSTD_compressBound(text.size()), '\0');
  ZSTD_CCtx_loadDictionary(context.get(), dictionary.data(), dictionary.size());
  packed.resize(
      ZSTD_compress2(context.get(), packed.data(), packed.size(), text.data(), text.size()));
  return packed;
}

// The frame that holds a dictionary.
std::string dictionary_frame(const std::string& dictionary) {
  std::string frame = "\x5d\x2a\x4d\x18";
  for (int shift = 0; shift < 32; shift += 8) {
    frame += static_cast<char>(dictionary.size() >> shift);
  }
  return frame + dictionary;
}

TEST(WarcTest, ReadsZstd) {
  const std::string file = page_of("u:1", "<p>etxea") + page_of("u:2", "x");
  const Lines twice = {kFirst, "u:2 text/html 20090315 x", kFirst, "u:2 text/html 20090315 x"};
  std::string packed = zstd(file);
  EXPECT_EQ(read(packed + packed, 5), twice);
  const std::string dictionary = std::string(5000, 'x') + file;
  const std::string with_dictionary = zstd(file, dictionary) + zstd(file, dictionary);
  EXPECT_EQ(read(dictionary_frame(dictionary) + with_dictionary, 5), twice);
  EXPECT_EQ(read(dictionary_frame(zstd(dictionary)) + with_dictionary), twice);
  EXPECT_THAT(read(with_dictionary), ElementsAre(HasSubstr("or need a dictionary")));
  EXPECT_THROW(read(dictionary_frame(file).substr(0, 30)), Unreadable);
  EXPECT_THROW(read("\x5d\x2a\x4d\x18\xff\xff\xff\xff" + file), Unreadable);
  EXPECT_THAT(read(packed + packed.substr(0, packed.size() - 3)).back(), HasSubstr("is cut off"));
  packed[packed.size() / 2] ^= 0x55;
  EXPECT_THAT(read(packed).back(), StartsWith("refused "));
}

#else

TEST(WarcTest, RefusesZstd) {
  try {
    read("\x28\xb5\x2f\xfd");
    FAIL();
  } catch (const Unreadable& unreadable) {
    EXPECT_THAT(unreadable.reason, HasSubstr("unpack it with zstd -d"));
  }
}

#endif

}  // namespace
