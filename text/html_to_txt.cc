#undef NDEBUG
#include <cassert>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "text/articledb_util.h"
#include "text/pattern.h"
#include "text/rewrite.h"
#include "text/utf8.h"

namespace ostren::fenra::text {
namespace {

// The patterns of the conversion. Each matches just what the pattern above it
// does, in a form whose searches over one text take time linear in it and
// constant stack: a repetition that is followed by what it cannot match itself
// does not give back, and (*COMMIT) ends the search where no later start can do
// better.

//   <\s*script[^<]*<\s*/\s*script\s*>|<!--.*?-->|<\s*/\s*p\s*>|<\s*/\s*br\s*>
// Elements to delete. Behind a comment that is never closed no other one is, so
// the search gives up there and goes on without that alternative.
#define FENRA_DELETED_TAGS \
  R"(<\s*+script[^<]*+<\s*+/\s*+script\s*+>|<\s*+/\s*+p\s*+>|<\s*+/\s*+br\s*+>)"
Pattern removescriptandcomment;
constexpr char kRemoveScriptAndComment[] = R"(<!--(?:.*?-->|(*COMMIT)(*FAIL))|)" FENRA_DELETED_TAGS;
Pattern removescript;
constexpr char kRemoveScript[] = FENRA_DELETED_TAGS;
#undef FENRA_DELETED_TAGS

//   <\s*br\s*>
Pattern replacebr;
constexpr char kReplaceBr[] = R"(<\s*+br\s*+>)";

//   <\s*p\s*>
Pattern replacep;
constexpr char kReplaceP[] = R"(<\s*+p\s*+>)";

//   (?:<\s*title\s*>(.*?)<\s*/\s*title).*?(<\s*body.*)
// Group 1 is the title, group 2 the text from the body start tag on. What cannot
// be completed behind the first title start tag, and behind the first end tag
// that follows it, cannot behind later ones either.
Pattern gettitlebody;
constexpr char kGetTitleBody[] =
    R"((?:<\s*+title\s*+>(*COMMIT)(.*?)<\s*+/\s*+title)(*COMMIT).*?(<\s*+body(*COMMIT).*))";

//   >([^<]*)<
// Group 1 is the text between two tags. No text that runs to the end has a later
// one.
Pattern gettext;
constexpr char kGetText[] = R"(>([^<]*+)(?:<|(*COMMIT)(*FAIL)))";

//   \s+
Pattern blanks;
constexpr char kBlanks[] = R"(\s++)";

//   &[0-9a-zA-Z#]*;
Pattern findentities;
constexpr char kFindEntities[] = R"(&[0-9a-zA-Z#]*+;)";

bool articledb_html_to_txt_init() {
  removescriptandcomment = compile_builtin(kRemoveScriptAndComment);
  assert(removescriptandcomment);
  removescript = compile_builtin(kRemoveScript);
  assert(removescript);
  removescriptandcomment.successor = &removescript;
  replacebr = compile_builtin(kReplaceBr);
  assert(replacebr);
  replacep = compile_builtin(kReplaceP);
  assert(replacep);
  gettitlebody = compile_builtin(kGetTitleBody);
  assert(gettitlebody);
  gettext = compile_builtin(kGetText);
  assert(gettext);
  blanks = compile_builtin(kBlanks);
  assert(blanks);
  findentities = compile_builtin(kFindEntities);
  assert(findentities);
  return true;
}

// Collapses a run of whitespace: to nothing at the start of the text, to a line
// feed at its end, else to an empty line, a line feed or a blank, whichever the
// run holds.
int blank_replacer(const char* subject, int subject_length, int* offsets, int /*offsets_size*/,
                   char* output, int space) {
  const int start = offsets[0];
  const int end = offsets[1];
  if (start == 0) {
    return 0;
  }
  if (end == subject_length) {
    output[0] = '\n';
    return 1;
  }
  if (space < 2) {
    return -1;
  }
  const std::string_view run(subject + start, static_cast<size_t>(end - start));
  if (run.find("\n\n") != std::string_view::npos) {
    output[0] = output[1] = '\n';
    return 2;
  }
  output[0] = run.find('\n') != std::string_view::npos ? '\n' : ' ';
  return 1;
}

// The base that the prefix of a number stands for. "0b" is none, whatever the C
// library's strtol takes it for.
int number_base(const char* digits) {
  if (digits[0] != '0') {
    return 10;
  }
  return digits[1] == 'x' || digits[1] == 'X' ? 16 : 8;
}

// Decodes a numeric character reference, of which only the low 32 bits count, and
// copies any other.
int entity_replacer(const char* subject, int /*subject_length*/, int* offsets, int /*offsets_size*/,
                    char* output, int space) {
  if (space <= 3) {
    return -1;
  }
  const char* const reference = subject + offsets[0];
  const int length = offsets[1] - offsets[0];
  if (reference[1] == '#') {
    // No digits at all stand for 0. The ";" ends the number before the subject
    // does.
    const char* const digits = reference + 2;
    char* end = nullptr;
    const long number = strtol(digits, &end, number_base(digits));
    return end == reference + length - 1
               ? encode_wide_char(static_cast<uint32_t>(number), output, space)
               : -1;
  }
  if (space < length) {
    return -1;
  }
  memcpy(output, reference, static_cast<size_t>(length));
  return length;
}

struct FreeDeleter {
  void operator()(char* block) const { free(block); }
};

// The passes read one half of a work area and write the other. Every half has the
// capacity of the page, so a page of which nothing is deleted does not fit.
// Returns 0 or an error as articledb_html_to_txt.
int convert(std::string_view html, char* output, int* capacity) {
  const auto length = static_cast<int>(html.size());
  const std::unique_ptr<char, FreeDeleter> area(static_cast<char*>(malloc(2 * html.size())));
  if (area == nullptr) {
    return ARTICLEDB_REGEX_FAILED;
  }
  Output a(area.get(), length);
  Output b(area.get() + length, length);

  if (sub(removescriptandcomment, html, "", a) != ARTICLEDB_REGEX_OK ||
      sub(replacebr, a.text(), "\n", b) != ARTICLEDB_REGEX_OK) {
    return ARTICLEDB_REGEX_FAILED;
  }
  a.clear();
  if (sub(replacep, b.text(), "\n\n", a) != ARTICLEDB_REGEX_OK) {
    return ARTICLEDB_REGEX_FAILED;
  }

  int offsets[30];
  const int result = search(gettitlebody, a.text(), 0, offsets, 30);
  if (result != 3) {
    return result;
  }
  const auto slice = [&](int from, int to) {
    return a.text().substr(static_cast<size_t>(from), static_cast<size_t>(to - from));
  };
  const std::string_view title = slice(offsets[2], offsets[3]);
  const std::string_view body = slice(offsets[4], offsets[5]);
  b.clear();
  if (!b.append(title) || !b.append("\n\n") ||
      extract(gettext, body, "", b) != ARTICLEDB_REGEX_OK) {
    return ARTICLEDB_REGEX_FAILED;
  }
  a.clear();
  if (sub_with_function(blanks, b.text(), blank_replacer, a) != ARTICLEDB_REGEX_OK) {
    return ARTICLEDB_REGEX_FAILED;
  }
  b.clear();
  if (sub_with_function(findentities, a.text(), entity_replacer, b) != ARTICLEDB_REGEX_OK ||
      *capacity <= b.size()) {
    return ARTICLEDB_REGEX_FAILED;
  }
  memcpy(output, b.text().data(), b.text().size());
  *capacity = b.size();
  return 0;
}

}  // namespace
}  // namespace ostren::fenra::text

int articledb_html_to_txt(const char* html, int length, char* output, int* capacity) {
  using namespace ostren::fenra::text;
  static const bool initted = articledb_html_to_txt_init();
  static_cast<void>(initted);
  if (!is_valid_utf8(html, length)) {
    return PCRE_ERROR_BADUTF8;
  }
  return convert(std::string_view(html, static_cast<size_t>(length)), output, capacity);
}
