#ifndef FENRA_TESTS_REPEAT_H
#define FENRA_TESTS_REPEAT_H

#include <string>

inline std::string repeat(const std::string& unit, size_t count) {
  std::string text;
  while (count-- > 0) {
    text += unit;
  }
  return text;
}

#endif  // FENRA_TESTS_REPEAT_H
