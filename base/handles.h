// Owning pointers to what C interfaces make.
#ifndef FENRA_BASE_HANDLES_H
#define FENRA_BASE_HANDLES_H

#include <glib.h>

#include <cstdlib>
#include <memory>

namespace ostren::fenra {

// Calls the release function of a handle; what that returns is not looked at.
template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* handle) const {
    Release(handle);
  }
};

// Memory of GLib's, and of malloc(3).
template <typename T>
using GMemory = std::unique_ptr<T, Releaser<g_free>>;
template <typename T>
using CMemory = std::unique_ptr<T, Releaser<free>>;

}  // namespace ostren::fenra

#endif  // FENRA_BASE_HANDLES_H
