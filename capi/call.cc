#include "capi/call.h"

#include <fenra/articledb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "articles/failure.h"
#include "articles/offered_article.h"

namespace ostren::fenra::capi {
namespace {

fenra_status status_of_code(int code) {
  switch (code) {
    case -1:
    case ENOMEM:
      return FENRA_NO_MEMORY;
    case ENOENT:
      return FENRA_NOT_FOUND;
    case EEXIST:
      return FENRA_EXISTS;
    case EROFS:
      return FENRA_READ_ONLY;
    case EACCES:
    case EPERM:
      return FENRA_DENIED;
    case EBUSY:
      return FENRA_BUSY;
    case ERANGE:
      return FENRA_WRONG_CALL;
    case ECANCELED:
      return FENRA_CANCELLED;
    case STATUS_NOT_IN_ORDER:
      return FENRA_NOT_IN_ORDER;
    case STATUS_STORE_CHANGED:
      return FENRA_STORE_CHANGED;
    default:
      return FENRA_FAILED;
  }
}

// Of `size` bytes of a text, those of whole characters.
size_t whole_characters(const char* text, size_t size) {
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) {
    --size;
  }
  return size;
}

void set(fenra_error* error, fenra_status status, const char* message) {
  if (error == nullptr) {
    return;
  }
  error->status = status;
  size_t size = strlen(message);
  if (size >= FENRA_MESSAGE_BYTES) {
    size = whole_characters(message, FENRA_MESSAGE_BYTES - 1);
  }
  memcpy(error->message, message, size);
  error->message[size] = '\0';
}

}  // namespace

fenra_status report(fenra_status status, const std::string& message, fenra_error* error) {
  set(error, status, message.c_str());
  return status;
}

fenra_status report_exception(fenra_error* error) noexcept {
  try {
    throw;
  } catch (const Outcome& outcome) {
    return report(outcome.status, outcome.message, error);
  } catch (const articles::Refused& refused) {
    return report(FENRA_REFUSED, refused.reason, error);
  } catch (const articles::Failure& failure) {
    set(error, status_of_code(failure.code()), failure.what());
    return status_of_code(failure.code());
  } catch (const std::bad_alloc&) {
    set(error, FENRA_NO_MEMORY, "out of memory");
    return FENRA_NO_MEMORY;
  } catch (const std::exception& exception) {
    set(error, FENRA_FAILED, exception.what());
  } catch (...) {
    set(error, FENRA_FAILED, "a failure without a name");
  }
  return FENRA_FAILED;
}

}  // namespace ostren::fenra::capi
