#include <fenra/fenra.h>

#include <cstdio>
#include <memory>

using namespace ostren::fenra;

int main() {
  std::unique_ptr<Fenra> fenra(Fenra::createInstance("articles.store"));
  if (fenra->error() != FENRA_NO_ERROR) {
    return 1;
  }
  fenra->index("https://example.eus/1", "Gure etxea mendian dago.", "text/plain");
  fenra->index("https://example.eus/2", "Zer da etxe hau mendi honetan?", "text/plain");
  std::unique_ptr<ResultIterator> results(fenra->lookup("etxearen mendiak"));
  while (const char* url = results->next()) {
    std::puts(url);
  }
  return 0;
}
