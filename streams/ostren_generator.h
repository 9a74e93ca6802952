// Generators: lazily pulled streams, the protocol that all of them share, the
// basic kinds that need no store, and the operators on sorted streams.
//
// A generator is asked for one element at a time. Every kind allocates a record
// that begins with an OstrenGenerator head; a pointer to the record is also a
// pointer to the head. Records come from g_malloc, which ends the process when
// memory is exhausted, so no constructor here can fail.
//
// An element is an untyped pointer. In an id stream it points to a guint64
// article id, and ids ascend strictly. The storage belongs to the generator
// that produced the element and is valid only until that generator is pulled
// again or freed: who needs a value longer copies the value.
//
// A generator has exactly one owner, who frees it once with
// ostren_generator_free. Operators own their inputs. A generator, and all that
// it owns, is used by one thread at a time.
#ifndef FENRA_OSTREN_GENERATOR_H
#define FENRA_OSTREN_GENERATOR_H

#include <fenra/export.h>
#include <glib.h>

FENRA_BEGIN_DECLS

typedef struct OstrenGenerator OstrenGenerator;

// Produces the next element. Returns
//   1  an element was produced and *item set to it,
//   0  the stream is exhausted, *item untouched; every later pull gives 0 again,
//   2  the stream failed, *item untouched.
typedef int (*OstrenGeneratorNextFunc)(OstrenGenerator* gener, void** item);

// Releases the generator with all that it owns. Returns 0, or the status of
// closing a store cursor.
typedef int (*OstrenGeneratorFreeFunc)(OstrenGenerator* gener);

struct OstrenGenerator {
  OstrenGeneratorNextFunc nextf;
  OstrenGeneratorFreeFunc freef;
};

// ---- protocol ----

// Stores the two functions in the head and returns 0. A null generator is a
// programming error and fatal.
FENRA_API int ostren_generator_init(OstrenGenerator* gener, OstrenGeneratorNextFunc nextf,
                                    OstrenGeneratorFreeFunc freef);

// Pulls one element (results above). A null generator or a head without
// functions is a programming error and fatal.
FENRA_API int ostren_generator_next(OstrenGenerator* gener, void** item);

// Releases the generator, which must not be used afterwards. Returns what its
// free function returns. Fatal like ostren_generator_next.
FENRA_API int ostren_generator_free(OstrenGenerator* gener);

// ---- basic kinds ----

typedef struct OstrenGeneratorFromArray {
  OstrenGenerator head;
  void** array;      // borrowed
  guint32 length;    // elements in array
  guint32 position;  // index of the next element
} OstrenGeneratorFromArray;

typedef struct OstrenEmptyGenerator {
  OstrenGenerator head;
} OstrenEmptyGenerator;

typedef struct OstrenGuint64RangeGenerator {
  OstrenGenerator head;
  guint64 current;  // handed out last, or about to be handed out first
  guint64 end;      // exclusive
  guint64 step;     // always 1
  gint32 first;     // 1 until the first pull
} OstrenGuint64RangeGenerator;

// The elements of `array`, in order. The array is borrowed: it outlives the
// generator and is not freed by it.
FENRA_API OstrenGenerator* ostren_generator_from_array_new(void** array, guint32 length);
FENRA_API int ostren_generator_from_array_next(OstrenGenerator* gener, void** item);
FENRA_API int ostren_generator_from_array_free(OstrenGenerator* gener);

// The stream without elements.
FENRA_API OstrenGenerator* ostren_empty_generator_new(void);

// start, start + 1, ..., end - 1; nothing when start >= end. Every element is
// the same address, whose value changes with each pull.
FENRA_API OstrenGenerator* ostren_guint64_range_generator_new(guint64 start, guint64 end);

// ---- operators on sorted streams ----
//
// Both inputs ascend by `compare`, which has the shape of GLib's GCompareFunc
// and receives two elements. The constructors take ownership of both inputs,
// always succeed, and the free functions free left, then right, then the record
// and return 0. A null input is fatal at its first pull or at the free. An
// operator delivers element pointers that belong to its inputs; after creation
// it allocates nothing.

typedef struct OstrenSortedGeneratorCutter {
  OstrenGenerator head;
  OstrenGenerator* left;   // owned
  OstrenGenerator* right;  // owned
  GCompareFunc compare;
  gint32 of_ids;                              // private: 1 where ids may be passed over
  gint32 ended;                               // 1 once a pull has given 0
  gint32 waiting;                             // 1 while right_item awaits a left element
  void* right_item;                           // last element pulled from right
  struct OstrenSortedGeneratorCutter* outer;  // during a walk: whose left input this is
} OstrenSortedGeneratorCutter;

typedef struct OstrenSortedGeneratorUnioner {
  OstrenGenerator head;
  OstrenGenerator* left;   // owned
  OstrenGenerator* right;  // owned
  GCompareFunc compare;
  void* left_item;       // last element pulled from left
  void* right_item;      // last element pulled from right
  gint32 left_pending;   // 1 while left_item has not been delivered
  gint32 right_pending;  // 1 while right_item has not been delivered
  gint32 left_status;    // result of the last pull from left
  gint32 right_status;   // result of the last pull from right
} OstrenSortedGeneratorUnioner;

typedef struct OstrenSortedGeneratorSubstractor {
  OstrenGenerator head;
  OstrenGenerator* left;   // owned: the stream to filter
  OstrenGenerator* right;  // owned: the elements to remove
  void* left_item;
  void* right_item;
  gint32 left_status;   // result of the last pull from left, 0 at creation
  gint32 right_status;  // result of the last pull from right
  GCompareFunc compare;
  gint32 of_ids;  // private: 1 where ids may be passed over
} OstrenSortedGeneratorSubstractor;

// Intersection. Delivers the left input's element for every pair of equal
// elements, so an element that occurs k times left and m times right comes
// min(k, m) times. A failing input ends it like an exhausted one, for good.
// Creation pulls nothing. At most n + m comparisons for n and m elements. A
// cutter may nest in the left input of another to any depth: pulling and freeing
// such a chain takes constant stack.
FENRA_API OstrenGenerator* ostren_sorted_generator_cutter_new(OstrenGenerator* left,
                                                              OstrenGenerator* right,
                                                              GCompareFunc compare);
FENRA_API int ostren_sorted_generator_cutter_next(OstrenGenerator* gener, void** item);
FENRA_API int ostren_sorted_generator_cutter_free(OstrenGenerator* gener);

// Union. Delivers an element of both inputs once, from the left one, so an
// element that occurs k times left and m times right comes max(k, m) times. A
// failing input counts as ended while the other still produces; the failure of
// the last live input is passed on. Creation pulls the first element of both.
FENRA_API OstrenGenerator* ostren_sorted_generator_unioner_new(OstrenGenerator* left,
                                                               OstrenGenerator* right,
                                                               GCompareFunc compare);
FENRA_API int ostren_sorted_generator_unioner_next(OstrenGenerator* gener, void** item);
FENRA_API int ostren_sorted_generator_unioner_free(OstrenGenerator* gener);

// Difference, left minus right: an element that occurs k times left and m times
// right comes max(0, k - m) times. A failure of either input is passed on, and
// one of the right input on every later pull too. Creation pulls the first
// element of right.
FENRA_API OstrenGenerator* ostren_sorted_generator_substractor_new(OstrenGenerator* left,
                                                                   OstrenGenerator* right,
                                                                   GCompareFunc compare);
FENRA_API int ostren_sorted_generator_substractor_next(OstrenGenerator* gener, void** item);
FENRA_API int ostren_sorted_generator_substractor_free(OstrenGenerator* gener);

// The union of every generator in a list of OstrenGenerator*. An empty list
// gives an empty generator, a list of one that very generator, a longer one a
// generator that behaves in every pull like the chain of two-input unions
// g1 u (g2 u (... u gn)): equal elements come once, from the first of their
// generators, and a failure is passed on only from the last live generator.
// Takes over the generators; the list cells stay the caller's, who releases them
// with g_list_free. Creation pulls the first element of every generator. An
// element costs a number of comparisons logarithmic in the list's length, and
// any length is safe for the stack.
FENRA_API OstrenGenerator* ostren_generator_union_from_glist(GList* list, GCompareFunc compare);

FENRA_END_DECLS

#endif  // FENRA_OSTREN_GENERATOR_H
