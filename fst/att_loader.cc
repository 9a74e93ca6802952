// The loader of AT&T text. The text is walked twice: the first walk checks every
// line, collects final states and symbols and counts arcs and states, so that the
// transducer can be one allocation; the second writes the arcs.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "fst/att_lines.h"
#include "fst/cells.h"
#include "fst/ostrenfst.h"
#include "fst/stack_failure.h"

using namespace fenra_fst;

namespace {

// What a target index can address.
constexpr size_t kMaxCells = size_t{1} << (32 - EDGE_NEXT_SHIFT);
constexpr size_t kMaxLabels = 256;
constexpr NodeIndex kNoOffset = 0xFFFFFFFF;

// ---- final states ----

struct Stack {
  NodeIndex top;
  NodeIndex data[20000];
};

void stack_init(Stack* stack) { stack->top = 0; }

void stack_push(Stack* stack, NodeIndex idx) {
  if (stack->top == sizeof stack->data / sizeof *stack->data) {
    fenra_fst::stack_failure("overflow", __FILE_NAME__, __LINE__);
  }
  stack->data[stack->top++] = idx;
}

NodeIndex stack_pop(Stack* stack) {
  if (stack->top == 0) {
    fenra_fst::stack_failure("underflow", __FILE_NAME__, __LINE__);
  }
  return stack->data[--stack->top];
}

// ---- messages ----

// A piece of the text for a message: cut, and without bytes that could end the
// message's line.
class Excerpt {
 public:
  Excerpt(const char* text, size_t length) {
    const size_t shown = std::min(length, kShown);
    char* const end = std::transform(text, text + shown, text_,
                                     [](char c) { return c < ' ' || c > '~' ? '?' : c; });
    std::snprintf(end, sizeof "...", "%s", shown < length ? "..." : "");
  }
  explicit Excerpt(const Number& number) : Excerpt(number.digits, number.length) {}
  const char* text() const { return text_; }

 private:
  static constexpr size_t kShown = 40;
  char text_[kShown + sizeof "..."];
};

// Reports why a text is not accepted.
class Rejection {
 public:
  // `source` is what the message begins with: the file or the kind of text.
  explicit Rejection(const char* source) : source_(source) {}

  // Writes the message and returns false.
  __attribute__((format(printf, 3, 4))) bool operator()(size_t line, const char* format,
                                                        ...) const {
    std::fprintf(stderr, "%s, line %zu: ", source_, line);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
    return false;
  }

 private:
  const char* source_;
};

// ---- first pass ----

// What the first pass finds out about a text.
struct Parameters {
  size_t node_count = 1;    // highest state number + 1
  size_t edge_count = 0;    // arc lines
  size_t source_count = 0;  // runs of arc lines with one source: states with arcs
  Stack finals;             // one entry a final-state line
  Char symbols[kMaxLabels] = {EPSILON_SYMBOL, UNKNOWN_SYMBOL, IDENTITY_SYMBOL};  // 0: undefined

  // Cells for the arcs and the head cells behind them. Repeated final-state lines
  // count, which leaves zero cells at the end.
  size_t cells() const {
    const size_t with_arcs = std::min(source_count, node_count);
    return edge_count + std::max<size_t>(finals.top, node_count - with_arcs);
  }
};

class FirstPass {
 public:
  FirstPass(const char* text, Parameters* parameters, const Rejection& reject)
      : lines_(text), found_(*parameters), reject_(reject) {}

  // False when the text was rejected.
  bool run() {
    while (lines_.next()) {
      const bool accepted = lines_.section() == Section::kEdges    ? edge_line()
                            : lines_.section() == Section::kFinals ? final_line()
                                                                   : symbol_line();
      if (!accepted) {
        return false;
      }
    }
    if (found_.finals.top == 0) {
      return reject_(lines_.number(), "the text ends without a final-state line");
    }
    return labels_defined();
  }

 private:
  bool edge_line() {
    if (!is_edge_line(lines_.line(), lines_.length())) {
      return reject_(lines_.number(),
                     "\"%s\" is neither an arc (source target upper lower, all numbers) nor a "
                     "final state (one number); symbols follow the final states",
                     Excerpt(lines_.line(), lines_.length()).text());
    }
    const EdgeLine edge = read_edge_line(lines_.line());
    for (const Number& state : {edge.source, edge.target}) {
      if (state.value >= kMaxCells) {
        return reject_(lines_.number(),
                       "state number %s is above %zu; number the states from 0 without gaps",
                       Excerpt(state).text(), kMaxCells - 1);
      }
    }
    for (const Number& label : {edge.upper, edge.lower}) {
      if (label.value >= kMaxLabels) {
        return reject_(lines_.number(), "label number %s is not below %zu", Excerpt(label).text(),
                       kMaxLabels);
      }
      if (first_use_[label.value] == 0) {
        first_use_[label.value] = lines_.number();
      }
    }
    if (found_.edge_count == 0 && edge.source.value != 0) {
      return reject_(lines_.number(),
                     "the first arc leaves state %s; it must leave state 0, the start state",
                     Excerpt(edge.source).text());
    }
    if (found_.edge_count == 0 || edge.source.value != source_) {
      source_ = edge.source.value;
      edges_of_source_ = 0;
      ++found_.source_count;
    }
    if (++edges_of_source_ > UINT16_MAX) {
      return reject_(lines_.number(), "state %s has more than %d arcs", Excerpt(edge.source).text(),
                     UINT16_MAX);
    }
    ++found_.edge_count;
    found_.node_count =
        std::max<size_t>(found_.node_count, std::max(edge.source.value, edge.target.value) + 1);
    return fits();
  }

  bool final_line() {
    const Number state = read_number(lines_.line());
    if (state.value >= found_.node_count) {
      return reject_(lines_.number(),
                     "final state %s is above the highest state of the arcs, %zu; if a symbol is "
                     "meant, put the line \"0 %s\" in front of the symbols",
                     Excerpt(state).text(), found_.node_count - 1,
                     special_symbol_to_string(EPSILON_SYMBOL));
    }
    stack_push(&found_.finals, static_cast<NodeIndex>(state.value));
    return fits();
  }

  bool symbol_line() {
    const Number label = read_number(lines_.line());
    if (label.length == 0) {
      return reject_(lines_.number(), "\"%s\" does not begin with a label number",
                     Excerpt(lines_.line(), lines_.length()).text());
    }
    if (label.value >= kMaxLabels) {
      return reject_(lines_.number(), "label number %s is not below %zu", Excerpt(label).text(),
                     kMaxLabels);
    }
    if (!is_special_symbol(static_cast<int>(label.value))) {
      const size_t symbol = label.length + 1;
      found_.symbols[label.value] =
          symbol < lines_.length() ? static_cast<Char>(lines_.line()[symbol]) : Char{0};
    }
    return true;
  }

  bool fits() {
    if (found_.cells() > kMaxCells) {
      return reject_(lines_.number(), "the transducer needs more than %zu cells", kMaxCells);
    }
    return true;
  }

  // Reports the first arc line that uses a label without a character.
  bool labels_defined() {
    size_t undefined = 0;
    for (size_t label = SPECIAL_SYMBOLS_LAST; label < kMaxLabels; ++label) {
      if (first_use_[label] != 0 && found_.symbols[label] == 0 &&
          (undefined == 0 || first_use_[label] < first_use_[undefined])) {
        undefined = label;
      }
    }
    return undefined == 0 || reject_(first_use_[undefined],
                                     "label number %zu has no character; add the symbol line "
                                     "\"%zu CHARACTER\"",
                                     undefined, undefined);
  }

  DataLines lines_;
  Parameters& found_;
  const Rejection& reject_;
  uint64_t source_ = 0;                // of the last arc line
  size_t edges_of_source_ = 0;         // in its run
  size_t first_use_[kMaxLabels] = {};  // line number; 0: not used
};

// ---- second pass ----

// Writes the cells of a text that the first pass accepted into zeroed cells.
// `node_offsets` has room for a head cell's index for every state. Returns false,
// after a message, when the arc lines of a state do not stand together.
bool load_cells(const char* text, Parameters* found, LkFst* fst, NodeIndex* node_offsets,
                const Rejection& reject) {
  std::fill_n(node_offsets, found->node_count, kNoOffset);
  NodeIndex free_cell = 0;
  uint64_t source = 0;
  Node* head = nullptr;
  for (DataLines lines(text); lines.next() && lines.section() == Section::kEdges;) {
    const EdgeLine line = read_edge_line(lines.line());
    if (head == nullptr || line.source.value != source) {
      source = line.source.value;
      if (node_offsets[source] != kNoOffset) {
        return reject(lines.number(),
                      "state %s has arcs further up; the arcs of a state must stand together",
                      Excerpt(line.source).text());
      }
      if (free_cell > 0) {
        fst->data[free_cell - 1].bits |= EDGE_IS_LAST;
      }
      node_offsets[source] = free_cell;
      head = &fst->data[free_cell];
      node_init(head);
    }
    Edge* const edge = &fst->data[free_cell++];
    edge->bits |= EDGE_IS_EDGE;
    EDGE_SET_NEXT(edge, static_cast<NodeIndex>(line.target.value));  // a state number for now
    edge->upper = found->symbols[line.upper.value];
    edge->lower = found->symbols[line.lower.value];
    ++head->edge_count;
  }
  if (free_cell > 0) {
    fst->data[free_cell - 1].bits |= EDGE_IS_LAST;
  }
  for (size_t state = 0; state < found->node_count; ++state) {
    if (node_offsets[state] == kNoOffset) {
      node_init(&fst->data[free_cell]);
      node_offsets[state] = free_cell++;
    }
  }
  while (found->finals.top > 0) {
    fst->data[node_offsets[stack_pop(&found->finals)]].bits |= EDGE_IS_FINAL;
  }
  for (Edge* edge = fst->data; edge != fst->data + found->edge_count; ++edge) {
    EDGE_SET_NEXT(edge, node_offsets[target_of(edge)]);
  }
  return true;
}

// ---- building ----

struct FstFree {
  void operator()(LkFst* fst) const { lk_fst_free(fst); }
};

LkFst* build(const char* text, const char* source_name) {
  const Rejection reject(source_name);
  Parameters found;
  stack_init(&found.finals);
  if (!FirstPass(text, &found, reject).run()) {
    return nullptr;
  }
  const size_t data_size = found.cells() * sizeof(Edge);
  const std::unique_ptr<NodeIndex[]> node_offsets(new (std::nothrow) NodeIndex[found.node_count]);
  std::unique_ptr<LkFst, FstFree> fst(
      static_cast<LkFst*>(std::calloc(1, sizeof(LkFst) + data_size)));
  if (!fst || !node_offsets) {
    return nullptr;
  }
  fst->data_size = static_cast<NodeIndex>(data_size);
  fst->node_count = static_cast<NodeIndex>(found.node_count);
  fst->node_size = sizeof(Node);
  fst->edge_count = static_cast<NodeIndex>(found.edge_count);
  fst->edge_size = sizeof(Edge);
  if (!load_cells(text, &found, fst.get(), node_offsets.get(), reject)) {
    return nullptr;
  }
  lk_fst_sort(fst.get(), LK_LOOK_UP);
  return fst.release();
}

struct FileClose {
  void operator()(FILE* file) const { std::fclose(file); }
};
struct Free {
  void operator()(char* buffer) const { std::free(buffer); }
};
using Text = std::unique_ptr<char, Free>;

Text file_failure(const char* what) {
  std::perror(what);
  return nullptr;
}

// The whole file with a zero byte behind it; null, after a message, when it cannot
// be read.
Text read_file(const char* filename) {
  const std::unique_ptr<FILE, FileClose> file(std::fopen(filename, "rb"));
  if (!file) {
    return file_failure("Cannot open file");
  }
  if (std::fseek(file.get(), 0, SEEK_END) != 0) {
    return file_failure("Cannot SEEK_END");
  }
  const long position = std::ftell(file.get());
  if (position < 0) {
    return file_failure("Cannot ftell");
  }
  const size_t length = static_cast<size_t>(position);
  Text text(static_cast<char*>(std::malloc(length + 1)));
  if (!text) {
    return file_failure("Cannot malloc");
  }
  text.get()[length] = '\0';
  if (std::fseek(file.get(), 0, SEEK_SET) != 0) {
    return file_failure("Cannot SEEK_SET");
  }
  errno = 0;
  if (std::fread(text.get(), 1, length, file.get()) != length) {
    if (errno == 0) {
      errno = ENODATA;  // the file has become shorter
    }
    return file_failure("fread error");
  }
  return text;
}

}  // namespace

LkFst* lk_fst_new_from_att_string(const char* filedata) { return build(filedata, "AT&T text"); }

LkFst* lk_fst_new_from_att_file(const char* filename) {
  const Text text = read_file(filename);
  return text ? build(text.get(), filename) : nullptr;
}
