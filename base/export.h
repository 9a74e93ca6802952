// The one switch of symbol visibility. The library is compiled with hidden
// visibility; what carries FENRA_API is its whole dynamic symbol table.
#ifndef FENRA_EXPORT_H
#define FENRA_EXPORT_H

#define FENRA_API __attribute__((visibility("default")))

// Plain functions have C linkage, so that any language can call them.
#ifdef __cplusplus
#define FENRA_BEGIN_DECLS extern "C" {
#define FENRA_END_DECLS }
#else
#define FENRA_BEGIN_DECLS
#define FENRA_END_DECLS
#endif

#endif  // FENRA_EXPORT_H
