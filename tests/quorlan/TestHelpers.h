#pragma once

#include <cstdint>
#include <cstdio>
#include <exception>
#include <initializer_list>
#include <string>
#include <utility>

#include <boost/make_shared.hpp>

#include "common/Buffer.h"
#include "quorlan/BoolMessageNode.h"
#include "quorlan/ByteArrayMessageNode.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/Message.h"
#include "quorlan/NullMessageNode.h"
#include "quorlan/StringMessageNode.h"
#include "quorlan/StructMessageNode.h"
#include "support/Thrown.h"

// Byte strings and trees for the tests of server messages. Bytes are written
// as in the protocol's tables: Bytes({0x04, 0x04, ...}), Hex(buffer) gives
// "04 04 ...". Trees: Tree(0x0401, {{1, Int(5)}, {6, Struct({{1, Str("x")}})}}).
namespace quorlantest {

typedef std::initializer_list<std::pair<uint8_t, quorlan::MessageNodePtr>> Entries;

inline quorlan::MessageNodePtr Int(int64_t value) {
  return boost::make_shared<quorlan::IntegerMessageNode>(value);
}
inline quorlan::MessageNodePtr Bool(bool value) {
  return boost::make_shared<quorlan::BoolMessageNode>(value);
}
inline quorlan::MessageNodePtr Null() { return boost::make_shared<quorlan::NullMessageNode>(); }
inline quorlan::MessageNodePtr Str(const std::string& value) {
  return boost::make_shared<quorlan::StringMessageNode>(value);
}

inline quorlan::MessageNodePtr Struct(Entries entries) {
  const boost::shared_ptr<quorlan::StructMessageNode> node = boost::make_shared<quorlan::StructMessageNode>();
  for (const auto& entry : entries) {
    node->SetNode(entry.first, entry.second);
  }
  return node;
}

inline quorlan::MessageNodePtr List(std::initializer_list<quorlan::MessageNodePtr> elements) {
  const boost::shared_ptr<quorlan::ListMessageNode> node = boost::make_shared<quorlan::ListMessageNode>();
  for (const auto& element : elements) {
    node->SetNode(0, element);
  }
  return node;
}

inline common::Buffer Bytes(std::initializer_list<int> bytes) {
  common::Buffer buffer(static_cast<unsigned>(bytes.size()), 200);
  for (const int byte : bytes) {
    buffer.Append(static_cast<unsigned char>(byte));
  }
  return buffer;
}

inline common::Buffer Bytes(const std::string& raw) {
  common::Buffer buffer(static_cast<unsigned>(raw.size()), 200);
  buffer.Append(raw.data(), static_cast<unsigned>(raw.size()));
  return buffer;
}

inline std::string Hex(const common::Buffer& buffer) {
  std::string text;
  char digits[4];
  for (unsigned i = 0; i < buffer.GetSize(); ++i) {
    std::snprintf(digits, sizeof(digits), i == 0 ? "%02X" : " %02X", buffer.GetData()[i]);
    text += digits;
  }
  return text;
}

inline quorlan::MessageNodePtr ByteArray(const common::Buffer& value) {
  return boost::make_shared<quorlan::ByteArrayMessageNode>(value);
}

using testsupport::Thrown;

inline common::Buffer Tree(uint16_t id, Entries entries) {
  quorlan::Message message(id);
  for (const auto& entry : entries) {
    message.SetNode(entry.first, entry.second);
  }
  common::Buffer buffer(64, 200);
  message.Serialize(buffer);
  return buffer;
}

}  // namespace quorlantest
