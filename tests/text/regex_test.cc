#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "tests/text/support.h"

namespace {

int write_nothing(const char*, int, int*, int, char*, int) { return 0; }
int refuse(const char*, int, int*, int, char*, int) { return -1; }
int claim_too_much(const char*, int, int*, int, char*, int space) { return space + 1; }
// Group 1, found through the whole subject, between brackets.
int bracket(const char* subject, int, int* offsets, int size, char* output, int space) {
  const int length = offsets[3] - offsets[2];
  if (size != 60 || space < length + 2) {
    return -1;
  }
  output[0] = '[';
  memcpy(output + 1, subject + offsets[2], static_cast<size_t>(length));
  output[length + 1] = ']';
  return length + 2;
}

enum Operation { kExtract, kSub, kFunction };
struct Case {
  Operation operation;
  const char* pattern;
  std::string subject;
  std::string inserted;  // the separator or the replacement
  ArticledbRegexReplacer replacer;
  int status;
  std::string output;
};

const Case kCases[] = {
    {kExtract, ">([^<]*)<", "<b>x</b> <i>y</i>", "", nullptr, 0, "x y"},
    {kExtract, "(\\w+),?", "bat,bi,hiru", "; ", nullptr, 0, "bat; bi; hiru"},
    {kExtract, "(\\w+)", "...", "-", nullptr, 0, ""},
    {kExtract, "(a)(b)", "ab", "", nullptr, 2, ""},
    {kExtract, "ab", "ab", "", nullptr, 2, ""},
    {kExtract, "(a)|(b)|c", "abca", "-", nullptr, 0, "a-a"},      // without group 1
    {kExtract, "(?<=(a))b", "abab", "-", nullptr, 0, "a-a-a-a"},  // group 1 before the match
    {kExtract, "()a", "aaa", "-", nullptr, 0, "--"},              // does not advance
    {kExtract, "(?=(ab))a", "abab", "-", nullptr, 0, "ab-ab"},    // ends behind the match
    {kExtract, "(.)", "E\xC3\xB1", "\xC3\xA9", nullptr, 0, "E\xC3\xA9\xC3\xB1"},
    {kSub, "A+", "baab a", "x", nullptr, 0, "bxb x"},
    {kSub, "a.b", "a\nb", "", nullptr, 0, ""},
    {kSub, "z", "irakurri", "x", nullptr, 0, "irakurri"},
    {kSub, "z*", "azb", "-", nullptr, 0, "a-b"},            // no empty match
    {kSub, "(?<=\\K[ab])b", "abb", "-", nullptr, 0, "--"},  // starts before the search
    {kSub, "(?=ab\\K)", "ab", "-", nullptr, 1, ""},         // ends before its start
    {kSub, "a\\C", "a\xC3\xB1", "-", nullptr, 0, "-\xB1"},  // ends inside a character
    {kExtract, "a(\\C)", "a\xC3\xB1", "-", nullptr, 0, "\xC3"},
    {kSub, "\\x{17f}", "s\xC5\xBFS", "-", nullptr, 0, "---"},
    {kFunction, "a", "banana", "", write_nothing, 0, "bnn"},
    {kFunction, "z", "", "", refuse, 0, ""},
    {kFunction, "a", "banana", "", refuse, 1, ""},
    {kFunction, "a", "banana", "", claim_too_much, 1, ""},
    {kFunction, "<(.)>", "<a>-<\xC3\xB1>", "", bracket, 0, "[a]-[\xC3\xB1]"},
};

// Returns the status; sets `result` to the output when it is 0. Nothing may be
// written behind a result, nor at or behind the capacity.
int run(const Case& c, int capacity, std::string* result) {
  const std::unique_ptr<pcre, decltype(&articledb_regex_free)> regex(articledb_regex_new(c.pattern),
                                                                     articledb_regex_free);
  std::string output(static_cast<size_t>(capacity) + 1, '\x01');
  const auto length = static_cast<int>(c.subject.size());
  const auto inserted = static_cast<int>(c.inserted.size());
  int size = capacity;
  const int status = c.operation == kExtract
                         ? articledb_regex_extract(regex.get(), c.subject.data(), length,
                                                   c.inserted.data(), inserted, &output[0], &size)
                     : c.operation == kSub
                         ? articledb_regex_sub(regex.get(), c.subject.data(), length,
                                               c.inserted.data(), inserted, &output[0], &size)
                         : articledb_regex_sub_with_function(regex.get(), c.subject.data(), length,
                                                             c.replacer, &output[0], &size);
  const auto written = static_cast<size_t>(status == 0 ? size : capacity);
  EXPECT_EQ(output.find_first_not_of('\x01', written), std::string::npos);
  EXPECT_TRUE(status == 0 || size == capacity);
  *result = output.substr(0, status == 0 ? written : 0);
  return status;
}

TEST(Regex, RewritesAndKeepsToEveryCapacity) {
  for (const Case& c : kCases) {
    const auto size = static_cast<int>(c.output.size());
    // An extract without a match is content with no capacity at all.
    const int least = c.operation == kExtract && size == 0 ? 0 : size + 1;
    for (int capacity = c.status == 0 ? 0 : 20; capacity < size + 30; ++capacity) {
      SCOPED_TRACE(c.pattern + (" in " + std::to_string(capacity)));
      std::string result;
      ASSERT_EQ(run(c, capacity, &result), capacity < least ? 1 : c.status);
      ASSERT_EQ(result, capacity < least ? "" : c.output);
    }
  }
}

TEST(Regex, RefusesBadArguments) {
  EXPECT_EQ(articledb_regex_new("(a"), nullptr);
  EXPECT_EQ(articledb_regex_new("\xC3"), nullptr);
  articledb_regex_free(nullptr);
  pcre* regex = articledb_regex_new("(a)");
  const auto extract = [&](const char* subject, int length, int separator_length, int capacity) {
    char output[9];
    const int given = capacity;
    const int status = articledb_regex_extract(regex, subject, length, nullptr, separator_length,
                                               output, &capacity);
    EXPECT_EQ(capacity, status == 0 ? 0 : given);
    return status;
  };
  EXPECT_EQ(extract(nullptr, 0, 0, 9), 0);
  EXPECT_EQ(extract(nullptr, 1, 0, 9), 1);
  EXPECT_EQ(extract("a", -1, 0, 9), 1);
  EXPECT_EQ(extract("a", 1, -1, 9), 1);
  EXPECT_EQ(extract("a", 1, 0, -1), 1);
  EXPECT_EQ(extract("z", 1, 0, -1), 0);  // nothing has to fit
  for (const std::string& invalid : kInvalidUtf8) {
    EXPECT_EQ(extract(invalid.data(), static_cast<int>(invalid.size()), 0, 9), 1);
  }
  articledb_regex_free(regex);
}

TEST(Regex, SearchErrorsFailButForTheFirstOfExtract) {
  pcre_seam::failure = PCRE_ERROR_MATCHLIMIT;
  for (const Operation operation : {kExtract, kSub, kFunction}) {
    for (int nth = 0; nth < 4; ++nth) {
      pcre_seam::failing_search = pcre_seam::searches + nth;
      std::string result;
      EXPECT_EQ(run({operation, "(a)", "aaa", "", write_nothing, 0, ""}, 9, &result),
                operation == kExtract && nth == 0 ? 0 : 1);
      EXPECT_EQ(result, "");
    }
  }
  pcre_seam::failing_search = -1;
}

// The pattern takes a level of recursion for every character.
TEST(Regex, DeepSearchesFailInsteadOfOverflowingTheStack) {
  std::string result;
  const auto status = [&](int depth) {
    return run({kSub, "(?:a|b)+c", repeat("a", depth) + "c", "", nullptr, 0, ""}, 9, &result);
  };
  EXPECT_EQ(status(2000), 0);
  EXPECT_EQ(status(100000), 1);
  on_small_stack([&] { EXPECT_EQ(status(2000), 1); });
}

}  // namespace
