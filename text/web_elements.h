// What the elements of HTML mean to a page's text.
#ifndef FENRA_TEXT_WEB_ELEMENTS_H
#define FENRA_TEXT_WEB_ELEMENTS_H

#include <string_view>

namespace ostren::fenra::text {

enum class Element {
  kInline,        // does not part words; every unknown element
  kApart,         // inline, but parts words
  kBlock,         // stands on lines of its own
  kPreformatted,  // a block in which line ends are some
  kStructure,     // a block whose end tag may be missing, or a part of a table
  kVoid,          // has no content and parts words
  kBreak,         // a line end
  kNothing,       // neither seen nor with content
  kHead,          // the head, and what stands in it without content
  kFrameset,
  kFallback,  // its content is for those who cannot show it
  kDialog,
  kRaw,        // what is in it is neither markup nor seen
  kRawFrames,  // raw unless the page has frames
  kRawInHead,  // raw in the head
  kTitle,
  kTextField,  // text with references, without tags
  kRawText,    // seen as it stands
  kRestText,   // all behind it is seen as it stands
  kTemplate,
  kForeign,  // of another language: SVG, MathML
};

// `name` is in lower case.
Element element_of(std::string_view name);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_WEB_ELEMENTS_H
