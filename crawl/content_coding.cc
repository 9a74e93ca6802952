#include "crawl/content_coding.h"

#include <zlib.h>
#ifdef FENRA_HAVE_BROTLI
#include <brotli/decode.h>
#endif

#include <charconv>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

#include "base/handles.h"

namespace ostren::fenra::crawl {
namespace {

constexpr size_t kPortion = 65536;

[[noreturn]] void fail_too_long(size_t most) {
  throw Undecodable{"the page has more than " + std::to_string(most) +
                    " bytes; index it as a file, which may have more"};
}

[[noreturn]] void fail(const std::string& coding, const char* what) {
  throw Undecodable{"its body, coded as " + coding + ", is " + what};
}

// The size that a line of the form "1a2b; extension" tells; nothing for another line.
bool read_size(std::string_view line, size_t& size) {
  const char* const end = line.data() + line.size();
  const auto result = std::from_chars(line.data(), end, size, 16);
  return result.ec == std::errc() &&
         (result.ptr == end || *result.ptr == ';' || *result.ptr == ' ' || *result.ptr == '\r');
}

// Takes the size line of a chunk off the front. False when there is none.
bool take_size(std::string_view& rest, size_t& size) {
  const size_t feed = rest.find('\n');
  if (feed == std::string_view::npos || !read_size(rest.substr(0, feed), size)) {
    return false;
  }
  rest.remove_prefix(feed + 1);
  return true;
}

std::string unchunked(std::string body) {
  std::string_view rest = body;
  size_t size = 0;
  if (!take_size(rest, size)) {
    return body;
  }
  std::string result;
  while (size > 0) {
    if (rest.size() < size) {
      fail("chunked", "cut off");
    }
    result.append(rest.substr(0, size));
    rest.remove_prefix(size);
    const size_t feed = rest.find('\n');
    rest.remove_prefix(feed == std::string_view::npos ? rest.size() : feed + 1);
    if (!take_size(rest, size)) {
      fail("chunked", rest.empty() ? "cut off" : "damaged");
    }
  }
  return result;
}

// What an inflation makes of the body, by the window bits of zlib.
std::string inflated(const std::string& coding, const std::string& body, int bits, size_t most) {
  z_stream stream = {};
  if (inflateInit2(&stream, bits) != Z_OK) {
    throw std::bad_alloc();
  }
  const std::unique_ptr<z_stream, Releaser<inflateEnd>> owner(&stream);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
  stream.avail_in = static_cast<uInt>(body.size());
  std::string result;
  std::vector<char> portion(kPortion);
  int status = Z_OK;
  while (status == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(portion.data());
    stream.avail_out = kPortion;
    status = inflate(&stream, Z_NO_FLUSH);
    result.append(portion.data(), kPortion - stream.avail_out);
    if (result.size() > most) {
      fail_too_long(most);
    }
  }
  if (status != Z_STREAM_END) {
    fail(coding, status == Z_BUF_ERROR ? "cut off" : "damaged");
  }
  return result;
}

std::string ungzipped(const std::string& coding, std::string body, size_t most) {
  constexpr int kGzipOnly = 16;
  if (body.substr(0, 2) != "\x1f\x8b") {
    return body;
  }
  return inflated(coding, body, kGzipOnly + MAX_WBITS, most);
}

// With zlib's header, as it has to be, or without, as many servers send it.
std::string undeflated(const std::string& coding, const std::string& body, size_t most) {
  const auto byte = [&](size_t at) { return static_cast<unsigned char>(body[at]); };
  const bool has_header =
      body.size() > 1 && (byte(0) & 0x0f) == Z_DEFLATED && (byte(0) * 256 + byte(1)) % 31 == 0;
  return inflated(coding, body, has_header ? MAX_WBITS : -MAX_WBITS, most);
}

#ifdef FENRA_HAVE_BROTLI

std::string unbrotlied(const std::string& coding, const std::string& body, size_t most) {
  const std::unique_ptr<BrotliDecoderState, Releaser<BrotliDecoderDestroyInstance>> state(
      BrotliDecoderCreateInstance(nullptr, nullptr, nullptr));
  if (state == nullptr) {
    throw std::bad_alloc();
  }
  size_t packed = body.size();
  const auto* next = reinterpret_cast<const uint8_t*>(body.data());
  std::string result;
  BrotliDecoderResult status = BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT;
  while (status == BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT) {
    size_t room = 0;
    status = BrotliDecoderDecompressStream(state.get(), &packed, &next, &room, nullptr, nullptr);
    size_t length = 0;
    const uint8_t* portion = BrotliDecoderTakeOutput(state.get(), &length);
    result.append(reinterpret_cast<const char*>(portion), length);
    if (result.size() > most) {
      fail_too_long(most);
    }
  }
  if (status != BROTLI_DECODER_RESULT_SUCCESS) {
    fail(coding, status == BROTLI_DECODER_RESULT_NEEDS_MORE_INPUT ? "cut off" : "damaged");
  }
  return result;
}

#else

std::string unbrotlied(const std::string&, const std::string&, size_t) {
  throw Undecodable{
      "its body is coded as br, which this fenra was built without; build it where libbrotli-dev "
      "is installed, or crawl without Accept-Encoding: br"};
}

#endif

}  // namespace

std::string without_coding(const std::string& coding, std::string body, size_t most) {
  if (coding == "chunked") {
    return unchunked(std::move(body));
  }
  if (coding == "gzip" || coding == "x-gzip") {
    return ungzipped(coding, std::move(body), most);
  }
  if (coding == "deflate") {
    return undeflated(coding, body, most);
  }
  if (coding == "br") {
    return unbrotlied(coding, body, most);
  }
  throw Undecodable{"its body has the coding '" + coding.substr(0, 40) +
                    "'; chunked, gzip, deflate and br are known"};
}

}  // namespace ostren::fenra::crawl
