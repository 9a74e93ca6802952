// Character references.
#include <glib.h>
#include <libxml/HTMLparser.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>

#include "text/utf8.h"
#include "text/web_markup.h"

namespace ostren::fenra::text {
namespace {

constexpr size_t kLongestReference = 10;  // without "&" and ";"
constexpr size_t kLongestBareReference = 6;
constexpr uint32_t kReplacement = 0xFFFD;

struct NamedCharacter {
  const char* name;
  uint32_t code;
};

// The names that HTML 4, whose names libxml2 knows, did not have and that texts do.
constexpr NamedCharacter kNewerNames[] = {
    {"AMP", '&'},       {"LT", '<'},       {"GT", '>'},       {"QUOT", '"'},      {"COPY", 0xA9},
    {"REG", 0xAE},      {"Tab", '\t'},     {"NewLine", '\n'}, {"excl", '!'},      {"num", '#'},
    {"dollar", '$'},    {"percnt", '%'},   {"lpar", '('},     {"rpar", ')'},      {"ast", '*'},
    {"plus", '+'},      {"comma", ','},    {"period", '.'},   {"sol", '/'},       {"colon", ':'},
    {"semi", ';'},      {"equals", '='},   {"quest", '?'},    {"commat", '@'},    {"lsqb", '['},
    {"lbrack", '['},    {"bsol", '\\'},    {"rsqb", ']'},     {"rbrack", ']'},    {"Hat", '^'},
    {"lowbar", '_'},    {"grave", '`'},    {"lcub", '{'},     {"lbrace", '{'},    {"verbar", '|'},
    {"vert", '|'},      {"rcub", '}'},     {"rbrace", '}'},   {"hyphen", 0x2010}, {"dash", 0x2010},
    {"horbar", 0x2015}, {"half", 0xBD},    {"star", 0x2606},  {"phone", 0x260E},  {"check", 0x2713},
    {"numero", 0x2116}, {"Amacr", 0x100},  {"amacr", 0x101},  {"Abreve", 0x102},  {"abreve", 0x103},
    {"Aogon", 0x104},   {"aogon", 0x105},  {"Cacute", 0x106}, {"cacute", 0x107},  {"Ccirc", 0x108},
    {"ccirc", 0x109},   {"Cdot", 0x10A},   {"cdot", 0x10B},   {"Ccaron", 0x10C},  {"ccaron", 0x10D},
    {"Dcaron", 0x10E},  {"dcaron", 0x10F}, {"Dstrok", 0x110}, {"dstrok", 0x111},  {"Emacr", 0x112},
    {"emacr", 0x113},   {"Edot", 0x116},   {"edot", 0x117},   {"Eogon", 0x118},   {"eogon", 0x119},
    {"Ecaron", 0x11A},  {"ecaron", 0x11B}, {"Gcirc", 0x11C},  {"gcirc", 0x11D},   {"Gbreve", 0x11E},
    {"gbreve", 0x11F},  {"Hcirc", 0x124},  {"hcirc", 0x125},  {"Imacr", 0x12A},   {"imacr", 0x12B},
    {"Iogon", 0x12E},   {"iogon", 0x12F},  {"Idot", 0x130},   {"imath", 0x131},   {"inodot", 0x131},
    {"Jcirc", 0x134},   {"jcirc", 0x135},  {"Lacute", 0x139}, {"lacute", 0x13A},  {"Lcaron", 0x13D},
    {"lcaron", 0x13E},  {"Lstrok", 0x141}, {"lstrok", 0x142}, {"Nacute", 0x143},  {"nacute", 0x144},
    {"Ncaron", 0x147},  {"ncaron", 0x148}, {"Omacr", 0x14C},  {"omacr", 0x14D},   {"Odblac", 0x150},
    {"odblac", 0x151},  {"Racute", 0x154}, {"racute", 0x155}, {"Rcaron", 0x158},  {"rcaron", 0x159},
    {"Sacute", 0x15A},  {"sacute", 0x15B}, {"Scirc", 0x15C},  {"scirc", 0x15D},   {"Scedil", 0x15E},
    {"scedil", 0x15F},  {"Tcedil", 0x162}, {"tcedil", 0x163}, {"Tcaron", 0x164},  {"tcaron", 0x165},
    {"Umacr", 0x16A},   {"umacr", 0x16B},  {"Ubreve", 0x16C}, {"ubreve", 0x16D},  {"Uring", 0x16E},
    {"uring", 0x16F},   {"Udblac", 0x170}, {"udblac", 0x171}, {"Wcirc", 0x174},   {"wcirc", 0x175},
    {"Ycirc", 0x176},   {"ycirc", 0x177},  {"Zacute", 0x179}, {"zacute", 0x17A},  {"Zdot", 0x17B},
    {"zdot", 0x17C},    {"Zcaron", 0x17D}, {"zcaron", 0x17E}, {"fflig", 0xFB00},  {"filig", 0xFB01},
    {"fllig", 0xFB02}};

// What the numbers 0x80 to 0x9F stand for: the characters of windows-1252.
constexpr uint16_t kWindows1252[] = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

using Names = std::unordered_map<std::string_view, uint32_t>;

Names make_names() {
  constexpr unsigned kLastOfHtml4 = 9830;
  Names names;
  for (unsigned code = 1; code <= kLastOfHtml4; ++code) {
    if (const htmlEntityDesc* entity = htmlEntityValueLookup(code)) {
      names.emplace(entity->name, code);
    }
  }
  for (const NamedCharacter& character : kNewerNames) {
    names.emplace(character.name, character.code);
  }
  return names;
}

// 0 when no character has that name.
uint32_t named_character(std::string_view name) {
  static const Names names = make_names();
  const auto found = names.find(name);
  return found == names.end() ? 0 : found->second;
}

// Whether browsers know the name of this character without ";" behind it.
bool is_known_bare(uint32_t code) {
  return (code >= 0xA0 && code <= 0xFF) || code == '&' || code == '<' || code == '>' || code == '"';
}

void append_character(uint32_t code, std::string* text) {
  if (code >= 0x80 && code <= 0x9F) {
    code = kWindows1252[code - 0x80];
  }
  if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    code = kReplacement;
  }
  char bytes[6];
  text->append(bytes, static_cast<size_t>(encode_wide_char(code, bytes, sizeof bytes)));
}

// Reads the number behind "&#".
bool read_number(std::string_view html, size_t* at, std::string* text) {
  size_t digit = *at + 2;
  const bool hexadecimal = digit < html.size() && ascii_lower(html[digit]) == 'x';
  digit += hexadecimal ? 1 : 0;
  const size_t first = digit;
  uint32_t code = 0;
  for (; digit < html.size(); ++digit) {
    const int value =
        hexadecimal ? g_ascii_xdigit_value(html[digit]) : g_ascii_digit_value(html[digit]);
    if (value < 0) {
      break;
    }
    // Once too large, it stays so.
    code =
        std::min<uint32_t>(code * (hexadecimal ? 16 : 10) + static_cast<uint32_t>(value), 0x110000);
  }
  if (digit == first) {
    return false;
  }
  append_character(code, text);
  *at = digit + (html.substr(digit, 1) == ";" ? 1 : 0);
  return true;
}

}  // namespace

bool read_reference(std::string_view html, size_t* at, std::string* text) {
  const size_t from = *at + 1;
  if (html.substr(from, 1) == "#") {
    return read_number(html, at, text);
  }
  size_t length = 0;
  while (length <= kLongestReference && from + length < html.size() &&
         g_ascii_isalnum(html[from + length])) {
    ++length;
  }
  if (html.substr(from + length, 1) == ";") {
    if (const uint32_t code = named_character(html.substr(from, length))) {
      append_character(code, text);
      *at = from + length + 1;
      return true;
    }
  }
  for (length = std::min(length, kLongestBareReference); length >= 2; --length) {
    const uint32_t code = named_character(html.substr(from, length));
    if (code != 0 && is_known_bare(code)) {
      append_character(code, text);
      *at = from + length;
      return true;
    }
  }
  return false;
}

}  // namespace ostren::fenra::text
