#pragma once

#include <string>

namespace common {
class Buffer;
}

namespace velarn {

// What the driver asks of the top of the stack: each operation becomes one or
// two PDUs for the transport layer. Only SendMessage lets the caller choose
// the packet flags; everything else lives only inside a link.
class IApplicationLayer {
 public:
  virtual ~IApplicationLayer() = default;
  virtual void SendMessage(const common::Buffer& message, const std::string& recipient, unsigned flags) = 0;
  virtual void RequestLogbookInfo() = 0;
  virtual void SetLogbookMode(unsigned char mode) = 0;
  virtual void RequestParam(const std::string& name) = 0;
  virtual void SendParamResponse(const std::string& name, const common::Buffer& value) = 0;
  virtual void SendParamNotFound(const std::string& name) = 0;
  virtual void NotifyParamChanged(const std::string& name) = 0;
};

}  // namespace velarn
