#include "store/writing/journal_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "base/failed.h"
#include "store/process/ownership.h"

namespace ostren::fenra::store {
namespace {

constexpr char FILE_NAME[] = "fenra.journal";                         // on disk
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

std::string name_in(const char* directory) { return std::string(directory) + "/" + FILE_NAME; }

int write_whole(int fd, const char* bytes, size_t length, guint64 offset) {
  while (length > 0) {
    const ssize_t written = pwrite(fd, bytes, length, static_cast<off_t>(offset));
    if (written == -1 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return written == 0 ? ENOSPC : errno;
    }
    bytes += written;
    length -= static_cast<size_t>(written);
    offset += static_cast<guint64>(written);
  }
  return 0;
}

// The number of bytes read, fewer than asked for at the end of the file only. Throws
// Failed.
size_t read_whole(int fd, char* bytes, size_t length, guint64 offset) {
  size_t done = 0;
  while (done < length) {
    const ssize_t count = pread(fd, bytes + done, length - done, static_cast<off_t>(offset + done));
    if (count == -1 && errno == EINTR) {
      continue;
    }
    if (require_call(count) == 0) {
      break;
    }
    done += static_cast<size_t>(count);
  }
  return done;
}

// Brings a new file's name to the disk.
int sync_directory(const char* directory) {
  const int fd = ::open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd == -1) {
    return errno;
  }
  const int ret = fsync(fd) == 0 ? 0 : errno;
  close(fd);
  return ret;
}

}  // namespace

// ---- opening ----

int JournalFile::open(const char* directory, bool create, std::unique_ptr<JournalFile>* file) {
  file->reset();
  const int fd = open_own_file(directory, FILE_NAME, O_RDWR | (create ? O_CREAT : 0), 0600);
  if (fd == -1) {
    return errno == ENOENT && !create ? 0 : errno;
  }
  guint64 salt = 0;
  int ret = status_of([&] { require(read_header(fd, &salt)); });
  // In this order: who finds a header finds a name that is safe.
  if (ret == 0 && salt == 0 && create) {
    ret = sync_directory(directory);
    if (ret == 0) {
      ret = write_header(fd, &salt);
    }
  }
  // A file whose making was cut short holds nothing.
  if (ret == 0 && salt != 0) {
    file->reset(new (std::nothrow) JournalFile(fd, salt));
    ret = *file == nullptr ? ENOMEM : 0;
  }
  if (*file == nullptr) {
    close(fd);
  }
  return ret;
}

// A salt of 0 tells that nothing has been written yet.
int JournalFile::read_header(int fd, guint64* salt) {
  Header header = {};
  const size_t length = read_whole(fd, reinterpret_cast<char*>(&header), sizeof header, 0);
  const Header nothing = {};
  if (length < sizeof header || memcmp(&header, &nothing, sizeof header) == 0) {
    return 0;
  }
  if (memcmp(header.magic, MAGIC, sizeof MAGIC) != 0 || header.salt == 0) {
    return EPROTO;
  }
  *salt = header.salt;
  return 0;
}

// The first record that is written brings it to the disk.
int JournalFile::write_header(int fd, guint64* salt) {
  Header header = {};
  memcpy(header.magic, MAGIC, sizeof MAGIC);
  while (header.salt == 0) {
    if (getrandom(&header.salt, sizeof header.salt, 0) == -1 && errno != EINTR) {
      return errno;
    }
  }
  *salt = header.salt;
  return write_whole(fd, reinterpret_cast<const char*>(&header), sizeof header, 0);
}

JournalFile::~JournalFile() { close(fd_); }

int JournalFile::remove(const char* directory) {
  return unlink(name_in(directory).c_str()) == 0 || errno == ENOENT ? 0 : errno;
}

// ---- records ----

guint32 JournalFile::checksum(const char* record, size_t length) const {
  constexpr size_t SKIPPED = sizeof RecordHeader::checksum;
  const uLong seed = crc32(0, reinterpret_cast<const Bytef*>(&salt_), sizeof salt_);
  return static_cast<guint32>(crc32_z(seed, reinterpret_cast<const Bytef*>(record + SKIPPED),
                                      static_cast<z_size_t>(length) - SKIPPED));
}

int JournalFile::make_room(guint64 end) const {
  struct stat status = {};
  if (fstat(fd_, &status) != 0) {
    return errno;
  }
  const auto size = static_cast<guint64>(status.st_size);
  if (end <= size) {
    return 0;
  }
  const guint64 wanted = (end + GROWTH_BYTES - 1) / GROWTH_BYTES * GROWTH_BYTES;
  const std::string zeros(wanted - size, '\0');
  return write_whole(fd_, zeros.data(), zeros.size(), size);
}

int JournalFile::write(guint64 offset, guint64 id, std::string* record) {
  RecordHeader header = {};
  header.length = static_cast<guint32>(record->size() - sizeof header);
  header.id = id;
  memcpy(record->data(), &header, sizeof header);
  header.checksum = checksum(record->data(), record->size());
  memcpy(record->data(), &header, sizeof header);
  int ret = status_of([&] { require(make_room(offset + record->size())); });
  if (ret == 0) {
    ret = write_whole(fd_, record->data(), record->size(), offset);
  }
  if (ret == 0 && fdatasync(fd_) != 0) {
    ret = errno;
  }
  if (ret != 0) {
    // The article has another way to the store now, or none.
    const RecordHeader nothing = {};
    write_whole(fd_, reinterpret_cast<const char*>(&nothing), sizeof nothing, offset);
  }
  return ret;
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
  struct stat status = {};
  require_call(fstat(fd_, &status));
  end = std::min({end, static_cast<guint64>(status.st_size), MOST_BYTES});
  bytes->resize(offset < end ? end - offset : 0);
  bytes->resize(read_whole(fd_, bytes->data(), bytes->size(), offset));
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
