#pragma once

#include <string>
#include <vector>

#include "velarn/pdu/IIncomingAppMsgHandler.h"
#include "velarn/pdu/IncomingAppMsgs.h"

namespace velarntest {

// Notes which overload a message was dispatched to, and the message's id.
class RecordingHandler : public velarn::IIncomingAppMsgHandler {
 public:
  void Handle(const velarn::AppMsg_1_2& m) override { Note("1:2", m); }
  void Handle(const velarn::AppMsg_4_3& m) override { Note("4:3", m); }
  void Handle(const velarn::AppMsg_4_5& m) override { Note("4:5", m); }
  void Handle(const velarn::AppMsg_4_6& m) override { Note("4:6", m); }
  void Handle(const velarn::AppMsg_4_8& m) override { Note("4:8", m); }
  void Handle(const velarn::AppMsg_4_A& m) override { Note("4:A", m); }
  void Handle(const velarn::AppMsg_7_1& m) override { Note("7:1", m); }
  void Handle(const velarn::AppMsg_8_2& m) override { Note("8:2", m); }
  void Handle(const velarn::AppMsg_8_4& m) override { Note("8:4", m); }
  void Handle(const velarn::AppMsg_8_6& m) override { Note("8:6", m); }

  std::vector<std::string> calls;
  std::vector<unsigned short> ids;

 private:
  void Note(const char* overload, const velarn::AIncomingAppMsg& message) {
    calls.push_back(overload);
    ids.push_back(message.GetId());
  }
};

}  // namespace velarntest
