#include "text/web_elements.h"

#include "text/name_table.h"

namespace ostren::fenra::text {
namespace {

constexpr Names<Element> kNames[] = {
    {Element::kApart, "button meter object output progress rb rp rt rtc select"},
    {Element::kVoid, "embed image img input keygen"},
    {Element::kBlock,
     "address article aside blockquote center details dir div dl fieldset figcaption figure footer "
     "form h1 h2 h3 h4 h5 h6 header hgroup legend main marquee menu nav ol search section summary "
     "ul"},
    {Element::kPreformatted, "pre listing"},
    {Element::kStructure, "p li dt dd option optgroup table caption thead tbody tfoot tr td th"},
    {Element::kBreak, "br hr"},
    {Element::kNothing, "area bgsound body col colgroup frame param source track wbr"},
    {Element::kHead, "html head meta link base basefont"},
    {Element::kFrameset, "frameset"},
    {Element::kFallback, "audio canvas datalist video"},
    {Element::kDialog, "dialog"},
    {Element::kRaw, "script style iframe noembed"},
    {Element::kRawFrames, "noframes"},
    {Element::kRawInHead, "noscript"},
    {Element::kTitle, "title"},
    {Element::kTextField, "textarea"},
    {Element::kRawText, "xmp"},
    {Element::kRestText, "plaintext"},
    {Element::kTemplate, "template"},
    {Element::kForeign, "svg math"},
};

}  // namespace

Element element_of(std::string_view name) {
  static const auto elements = make_name_table(kNames);
  const auto found = elements.find(name);
  return found == elements.end() ? Element::kInline : found->second;
}

}  // namespace ostren::fenra::text
