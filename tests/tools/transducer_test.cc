#include "tools/lexicon_compiler/transducer.h"

#include "tests/tools/engine.h"
#include "tools/lexicon_compiler/search_bound.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT

TEST(Transducer, WithCyclesIsRejected) {
  Transducer transducer;
  const uint32_t next = transducer.Extend(0, 'a', 'a');
  transducer.AddArc(next, 'b', 'b', 0);
  EXPECT_THROW(SearchBound(transducer), BuildError);
}

TEST(AttText, RejectsWhatTheLoaderCannotRead) {
  EXPECT_THROW(AttText(Transducer()), BuildError);
  Transducer no_final;
  no_final.Extend(0, 'a', 'a');
  EXPECT_THROW(AttText(no_final), BuildError);
  for (const char label : {' ', '\n', '\x01', '\xe9'}) {
    Transducer transducer;
    transducer.states[transducer.Extend(0, 'a', label)].is_final = true;
    EXPECT_THROW(AttText(transducer), BuildError);
  }
  Transducer finals;
  for (int i = 0; i < 20000; ++i) {
    finals.states[finals.Extend(0, 'a', 'a')].is_final = true;
  }
  EXPECT_NE(fenra_test::Load(finals), nullptr);
  finals.states[0].is_final = true;
  EXPECT_THROW(AttText(finals), BuildError);
}

}  // namespace
