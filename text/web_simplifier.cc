#include "text/web_simplifier.h"

#include <algorithm>

#include "text/utf8.h"

namespace ostren::fenra::text {
namespace {

constexpr size_t kPiece = 1024;  // bytes handed on at once, roughly

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 && !is_html_space(c); }

// Whether a run of text ends before this byte: "<" and "&", bytes that cannot stay, and
// the first of the characters that cannot: the stand-ins, and what the parser drops.
bool ends_run(char c) {
  return c == '<' || c == '&' || c == '\n' || is_control(c) || c == kLineEnd[0];
}

// What the parser calls a block; the newer ones are unknown to it.
std::string_view name_for_parser(const Tag& tag, Element element) {
  return element == Element::kStructure ? std::string_view(tag.name) : std::string_view("div");
}

bool is_structure(Element element) {
  switch (element) {
    case Element::kBlock:
    case Element::kPreformatted:
    case Element::kStructure:
    case Element::kFallback:
    case Element::kDialog:
      return true;
    default:
      return false;
  }
}

bool is_seen_raw(Element element) {
  return element == Element::kTextField || element == Element::kRawText ||
         element == Element::kRestText;
}

// Elements of SVG and MathML.
bool is_unseen_foreign(std::string_view name) {
  return name == "title" || name == "desc" || name == "metadata" || name == "annotation" ||
         name == "annotation-xml" || name == "script" || name == "style";
}

bool stays_in_head(Element element) {
  switch (element) {
    case Element::kHead:
    case Element::kTitle:
    case Element::kRaw:
    case Element::kRawFrames:
    case Element::kRawInHead:
    case Element::kTemplate:
      return true;
    default:
      return false;
  }
}

}  // namespace

void WebSimplifier::run() {
  while (at_ < html_.size()) {
    if (html_[at_] == '<') {
      read_markup();
      if (out_.size() > kPiece) {
        hand_on();
      }
    } else {
      read_text(std::min(html_.find('<', at_), html_.size()), true);
    }
  }
  hand_on();
}

// ---- markup ----

void WebSimplifier::read_markup() {
  const char next = at_ + 1 < html_.size() ? html_[at_ + 1] : '\0';
  const bool is_end = next == '/';
  const size_t name = at_ + (is_end ? 2 : 1);
  if (name < html_.size() && is_ascii_letter(html_[name])) {
    Tag tag;
    const bool whole = read_tag(html_, name, &tag, &at_);
    if (whole && is_end) {
      end_tag(tag);
    } else if (whole) {
      start_tag(tag);
    }
  } else if (next == '!' || next == '?' || (is_end && name < html_.size())) {
    read_declaration();
  } else {
    in_head_ = false;
    add(kLessThan);
    ++at_;
  }
}

void WebSimplifier::read_declaration() {
  constexpr std::string_view kCdata = "<![CDATA[";
  if (html_.substr(at_, 4) == "<!--") {
    at_ = comment_end(html_, at_ + 4);
  } else if ((is_xml_ || foreign_ > 0) && html_.substr(at_, kCdata.size()) == kCdata) {
    at_ += kCdata.size();
    read_cdata();
  } else {
    const size_t end = html_.find('>', at_);
    at_ = end == std::string_view::npos ? html_.size() : end + 1;
  }
}

void WebSimplifier::read_cdata() {
  const size_t end = std::min(html_.find("]]>", at_), html_.size());
  read_text(end, false);
  at_ = std::min(end + 3, html_.size());
}

void WebSimplifier::start_tag(const Tag& tag) {
  const Element element = element_of(tag.name);
  in_head_ = in_head_ && stays_in_head(element);
  if (!is_xml_ && is_structure(element)) {
    foreign_ = 0;  // whose end tag is missing, or which holds HTML
  }
  if (foreign_ > 0) {
    start_foreign(tag);
  } else {
    start_element(tag, element);
  }
  if (is_xml_ && tag.self_closing) {
    end_tag(tag);
  }
}

void WebSimplifier::start_element(const Tag& tag, Element element) {
  switch (element) {
    case Element::kInline:
    case Element::kApart:
      add(element == Element::kApart ? " " : "");
      passes_inline_ = passes_inline_ || tag.hidden;
      inline_tag(tag.hidden ? "<span hidden>" : "<span>");
      break;
    case Element::kVoid:
      add(" ");
      break;
    case Element::kBreak:
      add(kLineEnd);
      break;
    case Element::kFrameset:
      has_frames_ = true;
      break;
    case Element::kTemplate:
      ++templates_;
      break;
    case Element::kForeign:
      add(" ");
      foreign_ += is_xml_ || !tag.self_closing ? 1 : 0;
      break;
    case Element::kHead:
    case Element::kNothing:
      break;
    default:
      if (!is_structure(element)) {
        raw_element(tag, element);
        break;
      }
      preformatted_ += element == Element::kPreformatted ? 1 : 0;
      const bool hides =
          tag.hidden || element == Element::kFallback || (element == Element::kDialog && !tag.open);
      add("<");
      add(name_for_parser(tag, element));
      add(hides ? " hidden>" : ">");
  }
}

// Within SVG and MathML names mean other things, and "/>" ends an element.
void WebSimplifier::start_foreign(const Tag& tag) {
  if (tag.self_closing && !is_xml_) {
    add(" ");
  } else if (element_of(tag.name) == Element::kForeign) {
    ++foreign_;
  } else if (is_unseen_foreign(tag.name)) {
    at_ = tag.self_closing ? at_ : raw_text_end(html_, at_, tag.name);
  } else {
    add(tag.name == "tspan" ? "" : " ");
  }
}

size_t WebSimplifier::raw_content_end(const Tag& tag, Element element) {
  if (element == Element::kRestText) {
    return html_.size();
  }
  if (element != Element::kTitle) {
    return raw_text_end(html_, at_, tag.name);
  }
  // Browsers take all behind a title that does not end for a part of it; here it ends at
  // the next tag, so that the page is found.
  const size_t end = is_title_open_ ? html_.size() : raw_text_end(html_, at_, tag.name);
  is_title_open_ = end == html_.size();
  return is_title_open_ ? std::min(html_.find('<', at_), html_.size()) : end;
}

// The elements whose content ends only at their own end tag.
void WebSimplifier::raw_element(const Tag& tag, Element element) {
  if (tag.self_closing && is_xml_) {
    return;
  }
  if ((element == Element::kRawFrames && has_frames_) ||
      (element == Element::kRawInHead && !in_head_)) {
    add(kLineEnd);
    return;
  }
  const size_t end = raw_content_end(tag, element);
  if (element == Element::kTitle && !has_title_ && templates_ == 0) {
    has_title_ = true;
    title_target_ = &title_;
    read_text(end, true);
    title_target_ = nullptr;
  } else if (is_seen_raw(element) && !tag.hidden) {
    add(kLineEnd);
    ++preformatted_;
    read_text(end, element == Element::kTextField);
    --preformatted_;
    add(kLineEnd);
  }
  at_ = end;
}

void WebSimplifier::end_tag(const Tag& tag) {
  const Element element = element_of(tag.name);
  if (element == Element::kForeign) {
    foreign_ = std::max(foreign_ - 1, 0);
    add(" ");
  } else if (foreign_ > 0) {
    add(tag.name == "tspan" ? "" : " ");
  } else if (element == Element::kInline || element == Element::kApart) {
    inline_tag("</span>");
    add(element == Element::kApart ? " " : "");
  } else if (element == Element::kTemplate) {
    templates_ = std::max(templates_ - 1, 0);
  } else if (element == Element::kHead) {
    in_head_ = in_head_ && tag.name != "head";
  } else if (is_structure(element)) {
    preformatted_ -= element == Element::kPreformatted && preformatted_ > 0 ? 1 : 0;
    // The end of a paragraph that did not begin is one all the same.
    add(tag.name == "p" ? kLineEnd : "");
    add("</");
    add(name_for_parser(tag, element));
    add(">");
  } else if (element == Element::kBreak || element == Element::kRawFrames ||
             element == Element::kRawInHead) {
    add(kLineEnd);
  }
}

void WebSimplifier::inline_tag(std::string_view tag) {
  if (passes_inline_) {
    add(tag);
  }
}

// ---- text ----

// Hands on the text up to `end`.
void WebSimplifier::read_text(size_t end, bool has_references) {
  const std::string_view text = html_.substr(0, end);
  while (at_ < end) {
    const size_t from = at_;
    while (at_ < end && !ends_run(text[at_])) {
      ++at_;
    }
    add_run(text.substr(from, at_ - from));
    if (at_ == end) {
      return;
    }
    scratch_.clear();
    if (text[at_] == '&' && has_references && read_reference(text, &at_, &scratch_)) {
      add_character(scratch_);
      continue;
    }
    size_t size = text[at_] == kLineEnd[0] ? kLineEnd.size() : 1;
    add_character(text.substr(at_, size));
    while (is_control(text[at_]) && at_ + size < end && is_control(text[at_ + size])) {
      ++size;  // all of them are one blank
    }
    at_ += size;
  }
}

void WebSimplifier::add_character(std::string_view character) {
  if (character == "<") {
    add_run(kLessThan);
  } else if (character == "&") {
    add_run(kAmpersand);
  } else if (character == "\n" && preformatted_ > 0 && title_target_ == nullptr) {
    add_run(kLineEnd);
  } else if (is_control(character[0])) {
    add_run(" ");
  } else if (character == kLessThan || character == kAmpersand || character == kLineEnd ||
             character == "\uFFFE" || character == "\uFFFF") {
    add_run(kReplacementCharacter);
  } else {
    add_run(character);
  }
}

void WebSimplifier::add_run(std::string_view run) {
  if (title_target_ != nullptr) {
    title_target_->add(run);
    return;
  }
  in_head_ = in_head_ && std::all_of(run.begin(), run.end(), is_html_space);
  while (run.size() > kPiece) {
    size_t end = kPiece;
    while ((run[end] & 0xC0) == 0x80) {
      --end;  // not within a character
    }
    add(run.substr(0, end));
    hand_on();
    run.remove_prefix(end);
  }
  add(run);
  if (out_.size() > kPiece) {
    hand_on();
  }
}

// Adds markup or text, unless it is in a template.
void WebSimplifier::add(std::string_view markup) {
  if (templates_ == 0) {
    out_ += markup;
  }
}

void WebSimplifier::hand_on() {
  reader_->feed(out_);
  out_.clear();
}

}  // namespace ostren::fenra::text
