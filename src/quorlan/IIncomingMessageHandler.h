#pragma once

namespace quorlan {

class NewOrderInMsg;
class UpdateOrderInMsg;
class CancelOrderInMsg;
class NewTextMessageInMsg;
class ConfigurationInMsg;
class ResetInMsg;

// The receiver of dispatched server messages.
class IIncomingMessageHandler {
 public:
  virtual ~IIncomingMessageHandler() = default;
  virtual void Handle(const NewOrderInMsg& message) = 0;
  virtual void Handle(const UpdateOrderInMsg& message) = 0;
  virtual void Handle(const CancelOrderInMsg& message) = 0;
  virtual void Handle(const NewTextMessageInMsg& message) = 0;
  virtual void Handle(const ConfigurationInMsg& message) = 0;
  virtual void Handle(const ResetInMsg& message) = 0;
};

}  // namespace quorlan
