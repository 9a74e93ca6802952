#include "store/waiting/journal_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/failed.h"
#include "store/layout/schema.h"
#include "store/layout/store_files.h"
#include "store/process/ownership.h"

namespace ostren::fenra::store {
namespace {

constexpr char MAGIC[8] = {'f', 'e', 'n', 'r', 'a', 'j', '1', '\0'};  // on disk

// On disk, at the beginning of the file.
struct Header {
  char magic[sizeof MAGIC];
  // Chosen at random and part of every checksum: what a text contains is never taken for
  // a record, whatever it is.
  guint64 salt;
};
static_assert(sizeof(Header) == JournalFile::BEGIN, "records follow the header");

// On disk, in front of a payload.
struct RecordHeader {
  guint32 checksum;  // CRC-32 of the salt, and of the record from the next member on
  guint32 length;    // of the payload
  guint64 id;
};
static_assert(sizeof(RecordHeader) == JOURNAL_RECORD_HEADER_BYTES, "the header has no gaps");

// The file grows by this much at a time, in bytes that are written: a flush then has to
// bring a record to the disk, and not each time the file's new size and place as well.
constexpr guint64 GROWTH_BYTES = guint64{256} << 10;

}  // namespace

// ---- opening ----

std::unique_ptr<JournalFile> JournalFile::open(const char* directory, bool create) {
  Descriptor file(open_own_file(directory, JOURNAL_FILE, O_RDWR | (create ? O_CREAT : 0), 0600));
  if (!file) {
    require(errno == ENOENT && !create ? 0 : errno);
    return nullptr;
  }
  guint64 salt = read_header(file.get());
  // In this order: who finds a header finds a name that is safe.
  if (salt == 0 && create) {
    sync_path(directory);
    salt = write_header(file.get());
  }
  // A file whose making was cut short holds nothing.
  return std::unique_ptr<JournalFile>(salt == 0 ? nullptr : new JournalFile(std::move(file), salt));
}

// A salt of 0 tells that nothing has been written yet.
guint64 JournalFile::read_header(int fd) {
  Header header = {};
  const Header nothing = {};
  if (read_whole(fd, &header, sizeof header, 0) < sizeof header ||
      memcmp(&header, &nothing, sizeof header) == 0) {
    return 0;
  }
  require(memcmp(header.magic, MAGIC, sizeof MAGIC) != 0 || header.salt == 0 ? EPROTO : 0);
  return header.salt;
}

// The first record that is written brings it to the disk.
guint64 JournalFile::write_header(int fd) {
  Header header = {};
  memcpy(header.magic, MAGIC, sizeof MAGIC);
  while (header.salt == 0) {
    if (getrandom(&header.salt, sizeof header.salt, 0) == -1 && errno != EINTR) {
      throw Failed{errno};
    }
  }
  write_whole(fd, &header, sizeof header, 0);
  return header.salt;
}

void JournalFile::remove(const char* directory) {
  const std::string name = std::string(directory) + "/" + JOURNAL_FILE;
  require(unlink(name.c_str()) == 0 || errno == ENOENT ? 0 : errno);
}

// ---- records ----

guint32 JournalFile::checksum(const char* record, size_t length) const {
  constexpr size_t SKIPPED = sizeof RecordHeader::checksum;
  const uLong seed = crc32(0, reinterpret_cast<const Bytef*>(&salt_), sizeof salt_);
  return static_cast<guint32>(crc32_z(seed, reinterpret_cast<const Bytef*>(record + SKIPPED),
                                      static_cast<z_size_t>(length) - SKIPPED));
}

// Page by page: Linux keeps what is written at one go in one piece, and a record that changes a
// part of that later would bring all of it to the disk.
void JournalFile::make_room(guint64 end) const {
  const std::string zeros(PAGE_BYTES, '\0');
  guint64 size = file_size(file_.get());
  const guint64 wanted =
      end <= size ? size : (end + GROWTH_BYTES - 1) / GROWTH_BYTES * GROWTH_BYTES;
  for (; size < wanted; size += std::min<guint64>(zeros.size(), wanted - size)) {
    write_whole(file_.get(), zeros.data(), std::min<guint64>(zeros.size(), wanted - size), size);
  }
}

void JournalFile::write(guint64 offset, guint64 id, std::string* record) {
  RecordHeader header = {};
  header.length = static_cast<guint32>(record->size() - sizeof header);
  header.id = id;
  memcpy(record->data(), &header, sizeof header);
  header.checksum = checksum(record->data(), record->size());
  memcpy(record->data(), &header, sizeof header);
  try {
    make_room(offset + record->size());
    write_whole(file_.get(), record->data(), record->size(), offset);
    require_call(fdatasync(file_.get()));
  } catch (...) {
    // The article has another way to the store now, or none.
    const RecordHeader nothing = {};
    status_of([&] { write_whole(file_.get(), &nothing, sizeof nothing, offset); });
    throw;
  }
}

bool JournalFile::is_record(const char* bytes, size_t available) const {
  RecordHeader header;
  if (available < sizeof header) {
    return false;
  }
  memcpy(&header, bytes, sizeof header);
  return header.id != 0 && header.length <= available - sizeof header &&
         header.checksum == checksum(bytes, sizeof header + header.length);
}

std::vector<JournalFile::Record> JournalFile::read(guint64 offset, guint64 end,
                                                   std::string* bytes) const {
  end = std::min({end, file_size(file_.get()), MOST_BYTES});
  bytes->resize(offset < end ? end - offset : 0);
  bytes->resize(read_whole(file_.get(), bytes->data(), bytes->size(), offset));
  std::vector<Record> records;
  guint64 id_before = 0;
  for (size_t at = 0; is_record(bytes->data() + at, bytes->size() - at);) {
    RecordHeader header;
    memcpy(&header, bytes->data() + at, sizeof header);
    if (header.id <= id_before) {
      break;
    }
    id_before = header.id;
    records.push_back({header.id, offset + at,
                       std::string_view(bytes->data() + at + sizeof header, header.length)});
    at += sizeof header + header.length;
  }
  return records;
}

}  // namespace ostren::fenra::store
