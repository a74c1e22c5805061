#pragma once

namespace quorlan {

class IntegerMessageNode;
class BoolMessageNode;
class NullMessageNode;
class StringMessageNode;
class ByteArrayMessageNode;
class StructMessageNode;
class ListMessageNode;
class Message;

// One operation per concrete node class; AMessageNode::Accept picks it.
class IMessageNodeVisitor {
 public:
  virtual ~IMessageNodeVisitor() = default;
  virtual void Visit(const IntegerMessageNode& node) = 0;
  virtual void Visit(const BoolMessageNode& node) = 0;
  virtual void Visit(const NullMessageNode& node) = 0;
  virtual void Visit(const StringMessageNode& node) = 0;
  virtual void Visit(const ByteArrayMessageNode& node) = 0;
  virtual void Visit(const StructMessageNode& node) = 0;
  virtual void Visit(const ListMessageNode& node) = 0;
  virtual void Visit(const Message& node) = 0;
};

}  // namespace quorlan
