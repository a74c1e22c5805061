// Feeds arbitrary bytes to the decoding of unit PDUs, the way a payload from
// the unit reaches it: AppMsgRegistry::Decode, then Dispatch to a handler.
// Only ParseException is an accepted outcome of bad input; anything else
// (std::out_of_range from a buffer access, a crash, a leak) is a finding.
// It also checks that a PDU that parses is written back byte for byte.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "velarn/pdu/AppMsgRegistry.h"
#include "velarn/pdu/IIncomingAppMsgHandler.h"
#include "velarn/pdu/IncomingAppMsgs.h"
#include "velarn/pdu/PDU.h"

namespace {

using namespace velarn;

class RecordingHandler : public IIncomingAppMsgHandler {
 public:
  void Handle(const AppMsg_1_2& m) override { Note(m, m.GetLogbook().mode); }
  void Handle(const AppMsg_4_3& m) override { Note(m, m.GetRowCount()); }
  void Handle(const AppMsg_4_5& m) override { Note(m, m.GetKey() + m.GetText().size()); }
  void Handle(const AppMsg_4_6& m) override { Note(m, 0); }
  void Handle(const AppMsg_4_8& m) override { Note(m, m.GetMessage().GetSize()); }
  void Handle(const AppMsg_4_A& m) override { Note(m, m.GetStatus()); }
  void Handle(const AppMsg_7_1& m) override {
    const GPSFixEx& x = m.GetFixEx();
    unsigned long sum = m.GetFix().speed;
    for (const SatelliteInfo& satellite : x.satellites) {
      sum += satellite.number;
    }
    Note(m, sum);
  }
  void Handle(const AppMsg_8_2& m) override { Note(m, m.GetName().size() + m.GetValue().GetSize()); }
  void Handle(const AppMsg_8_4& m) override { Note(m, m.GetName().size()); }
  void Handle(const AppMsg_8_6& m) override { Note(m, m.GetName().size()); }

  int calls = 0;
  unsigned short lastId = 0;
  unsigned long checksum = 0;

 private:
  void Note(const AIncomingAppMsg& message, unsigned long value) {
    ++calls;
    lastId = message.GetId();
    checksum += value;
  }
};

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "fuzz_pdu_decode: %s\n", what);
  std::abort();
}

}  // namespace

// The registry's factories must be there in this program too, which links the
// libraries like the daemon does: a minimal PDU of each incoming class has to
// decode before any input is tried.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const std::vector<std::vector<unsigned char>> minimal = {
      {0x01, 0x02, 0x01, 0x01, 0x00, 0x00},
      {0x04, 0x03, 0x01, 0x01, 0x00, 0x00},
      {0x04, 0x05, 0x01, 0x01, 0x00, 0x00, 0x02, 0x02, 0x00, 0x00, 0x00},
      {0x04, 0x06},
      {0x04, 0x08, 0x01, 0x00, 0x00},
      {0x04, 0x0A},
      {0x07, 0x01},
      {0x08, 0x02, 0x01, 0x00, 0x00},
      {0x08, 0x04, 0x01, 0x00, 0x00},
      {0x08, 0x06, 0x01, 0x00, 0x00},
  };
  for (const std::vector<unsigned char>& bytes : minimal) {
    common::Buffer buffer(16, 200);
    buffer.Append(bytes.data(), static_cast<unsigned>(bytes.size()));
    try {
      std::unique_ptr<AIncomingAppMsg> message(AppMsgRegistry::Instance().Decode(buffer));
      RecordingHandler handler;
      message->Dispatch(handler);
      if (handler.calls != 1 || handler.lastId != (bytes[0] << 8 | bytes[1])) {
        Fail("a minimal pdu went to the wrong handler");
      }
    } catch (const ParseException& error) {
      std::fprintf(stderr, "fuzz_pdu_decode: minimal pdu %02x:%02x: %s\n", bytes[0], bytes[1], error.what());
      std::abort();
    }
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  common::Buffer buffer(static_cast<unsigned>(size), 200);
  buffer.Append(data, static_cast<unsigned>(size));

  PDU pdu(0);
  bool parsed = true;
  try {
    pdu.Parse(buffer);
  } catch (const ParseException&) {
    parsed = false;
  }
  if (parsed) {
    common::Buffer again(0, 200);
    pdu.Serialize(again);
    if (again.GetSize() != size || (size != 0 && std::memcmp(again.GetData(), data, size) != 0)) {
      Fail("a parsed pdu didn't serialise to its input");
    }
    std::ostringstream dump;
    dump << pdu;
  }

  try {
    std::unique_ptr<AIncomingAppMsg> message(AppMsgRegistry::Instance().Decode(buffer));
    if (!parsed) {
      Fail("decoded what doesn't parse");
    }
    RecordingHandler handler;
    message->Dispatch(handler);
    if (handler.calls != 1 || handler.lastId != pdu.id || message->GetId() != pdu.id) {
      Fail("dispatch didn't reach the overload of the decoded class");
    }
  } catch (const ParseException&) {
    // Bad input is refused; that's all there is to it.
  }
  return 0;
}
