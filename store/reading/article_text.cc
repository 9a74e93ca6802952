#include "store/reading/article_text.h"

#include <zlib.h>

#include <cerrno>
#include <cstring>

namespace ostren::fenra::store {

const char* inflate_text(std::string_view record, std::string* text) {
  // Deflate shrinks at most 1,032 times, so a damaged length is found before memory is asked for.
  constexpr guint64 MOST_SHRINKING = 1032;
  guint32 length = 0;
  if (record.size() < sizeof length) {
    return "the record is too short";
  }
  memcpy(&length, record.data(), sizeof length);
  const std::string_view stream = record.substr(sizeof length);
  if (length > stream.size() * MOST_SHRINKING) {
    return "the record has a wrong length";
  }
  text->resize(length);
  uLongf inflated = length;
  const int status =
      uncompress(reinterpret_cast<Bytef*>(text->data()), &inflated,
                 reinterpret_cast<const Bytef*>(stream.data()), static_cast<uLong>(stream.size()));
  if (status != Z_OK) {
    return zError(status);
  }
  return inflated == length ? nullptr : "the record has a wrong length";
}

int TextReader::read(guint64 id) {
  for (;;) {
    auto size = static_cast<guint32>(record_.size());
    const int status = articledb_db_lookup_id_to_txt(db_, id, record_.data(), &size);
    if (status == STATUS_BUFFER_SMALL) {
      record_.resize(size);
    } else if (status != 0) {
      return status;
    } else {
      return inflate_text({record_.data(), size}, &text_) == nullptr ? 0 : EPROTO;
    }
  }
}

}  // namespace ostren::fenra::store
