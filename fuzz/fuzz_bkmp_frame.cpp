// Feeds arbitrary bytes to the message library's frame decoding, the way a
// peer's bytes reach it on a connection: whole, and in pieces.
// Checks, besides the absence of crashes and leaks:
// - a frame that decodes is written back byte for byte (one form per message);
// - a beginning of a frame is incomplete, never a message or an error, and an
//   error stays an error however many bytes follow (so a connection that
//   reads in pieces decides like one that reads everything at once).
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bkmp/bkmp.h"

namespace {

[[noreturn]] void Fail(const char* what, size_t at) {
  std::fprintf(stderr, "fuzz_bkmp_frame: %s (at %zu bytes)\n", what, at);
  std::abort();
}

// Decodes data[0, size); the message, if any, is destroyed at once.
int Decode(const uint8_t* data, size_t size, int* used) {
  BKMPMessage message = nullptr;
  const int result = BKMPMessageDecode(data, static_cast<int>(size), used, &message);
  if ((result == BKMP_OK) != (message != nullptr)) {
    Fail("a message without success or success without a message", size);
  }
  if (message != nullptr) {
    BKMPMessageDestroy(message);
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > BKMP_MAX_FRAME + 64) {
    return 0;
  }
  BKMPMessage message = nullptr;
  int used = 0;
  const int result = BKMPMessageDecode(data, static_cast<int>(size), &used, &message);
  if (result != BKMP_OK && result != BKMP_E_INCOMPLETE && result != BKMP_E_PROTOCOL) {
    Fail("an unexpected result", size);
  }
  size_t frameSize = size;
  if (result == BKMP_OK) {
    if (used < 12 || static_cast<size_t>(used) > size) {
      Fail("a frame size outside the input", size);
    }
    frameSize = static_cast<size_t>(used);
    std::vector<unsigned char> again(frameSize);
    int length = 0;
    if (BKMPMessageEncode(message, again.data(), static_cast<int>(again.size()), &length) != BKMP_OK ||
        static_cast<size_t>(length) != frameSize || std::memcmp(again.data(), data, frameSize) != 0) {
      Fail("a decoded frame didn't encode to its bytes", size);
    }
    BKMPMessageDestroy(message);
  }

  // Pieces: every short beginning, then a few longer ones.
  bool failed = false;
  for (size_t prefix = 0; prefix < frameSize; prefix = prefix < 64 ? prefix + 1 : prefix * 2) {
    int ignored = 0;
    const int partial = Decode(data, prefix, &ignored);
    if (partial == BKMP_OK) {
      Fail("a beginning of a frame decoded", prefix);
    }
    if (failed && partial != BKMP_E_PROTOCOL) {
      Fail("an error turned back into an incomplete frame", prefix);
    }
    failed = partial == BKMP_E_PROTOCOL;
    if (failed && result != BKMP_E_PROTOCOL) {
      Fail("a beginning failed that the whole doesn't", prefix);
    }
  }
  return 0;
}
