// Binary transducer files: the block, gzip-compressed. zlib's file functions
// pass a file that is not compressed through as it is.
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "fst/ostrenfst.h"

namespace {

// Images up to this size are read into one allocation. Larger ones are read into
// a block that grows with what the file really holds, because the size comes from
// an untrusted header.
constexpr size_t kTrustedSize = size_t{16} << 20;

// gzread and gzwrite count in int.
constexpr size_t kMaxTransfer = size_t{1} << 30;

struct GzClose {
  void operator()(gzFile file) const { gzclose(file); }
};
using GzHandle = std::unique_ptr<gzFile_s, GzClose>;

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<char, Free>;

// Gives errno a value where the failure was not one of the system: damaged data
// or an early end.
void set_errno_of(gzFile file) {
  if (errno != 0) {
    return;
  }
  int code = Z_OK;
  gzerror(file, &code);
  errno = code == Z_DATA_ERROR ? EBADMSG : code == Z_MEM_ERROR ? ENOMEM : ENODATA;
}

// Reads exactly `length` bytes. On failure errno is set.
bool read_all(gzFile file, char* to, size_t length) {
  while (length > 0) {
    const size_t wanted = std::min(length, kMaxTransfer);
    errno = 0;
    const int got = gzread(file, to, static_cast<unsigned>(wanted));
    if (got < 0 || static_cast<size_t>(got) != wanted) {
      set_errno_of(file);
      return false;
    }
    to += wanted;
    length -= wanted;
  }
  return true;
}

// The next `size` bytes of the file in one block; null, after a message, when
// memory or data run out.
Block read_block(gzFile file, size_t size) {
  Block block;
  size_t have = 0;
  while (have < size) {
    const size_t capacity = std::min(size, std::max(kTrustedSize, 2 * have));
    void* const grown = std::realloc(block.get(), capacity);
    if (grown == nullptr) {
      std::perror("Cannot malloc");
      return nullptr;
    }
    (void)block.release();
    block.reset(static_cast<char*>(grown));
    if (!read_all(file, block.get() + have, capacity - have)) {
      std::perror("Cannot gzread");
      return nullptr;
    }
    have = capacity;
  }
  return block;
}

}  // namespace

LkFst* lk_fst_new_from_binary_file(const char* filename) {
  errno = 0;
  const GzHandle file(gzopen(filename, "rb"));
  if (!file) {
    if (errno == 0) {
      errno = ENOMEM;  // zlib's rule for a failed gzopen
    }
    std::perror("Cannot open file");
    return nullptr;
  }
  NodeIndex data_size = 0;
  if (!read_all(file.get(), reinterpret_cast<char*>(&data_size), sizeof data_size)) {
    std::perror("Cannot gzread");
    return nullptr;
  }
  if (data_size > UINT32_MAX - sizeof(LkFst)) {
    std::fputs("Incompatible binary format", stderr);
    return nullptr;
  }
  if (gzrewind(file.get()) != 0) {
    std::perror("Cannot rewind");
    return nullptr;
  }
  Block block = read_block(file.get(), sizeof(LkFst) + data_size);
  if (!block) {
    return nullptr;
  }
  LkFst* const fst = reinterpret_cast<LkFst*>(block.get());
  if (fst->node_size != sizeof(Node) || fst->edge_size != sizeof(Edge)) {
    std::fputs("Incompatible binary format", stderr);
    return nullptr;
  }
  (void)block.release();
  return fst;
}

int lk_fst_save_to_binary_file(LkFst* fst, const char* filename) {
  const GzHandle file(gzopen(filename, "wb9"));
  if (!file) {
    return 1;
  }
  const char* from = reinterpret_cast<const char*>(fst);
  size_t length = sizeof(LkFst) + size_t{fst->data_size};
  while (length > 0) {
    const size_t chunk = std::min(length, kMaxTransfer);
    const int written = gzwrite(file.get(), from, static_cast<unsigned>(chunk));
    if (written < 0 || static_cast<size_t>(written) != chunk) {
      return 1;
    }
    from += chunk;
    length -= chunk;
  }
  return 0;
}
