#ifndef FENRA_TESTS_SMALL_STACK_H
#define FENRA_TESTS_SMALL_STACK_H

#include <pthread.h>

#include <thread>

// Calls `body` on a thread with 256 KiB of stack, as later threads get too.
template <typename Body>
void on_small_stack(Body body) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  pthread_setattr_default_np(&attributes);
  std::thread(body).join();
}

#endif  // FENRA_TESTS_SMALL_STACK_H
