#include "quorlan/MessageField.h"

#include <boost/make_shared.hpp>

#include "common/Exceptions.h"
#include "quorlan/AContainerNode.h"
#include "quorlan/BoolMessageNode.h"
#include "quorlan/ByteArrayMessageNode.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/NullMessageNode.h"
#include "quorlan/StringMessageNode.h"

namespace quorlan {

namespace {

// Which node a field type becomes, and how its value goes in and out.
template <class T>
struct NodeFor {
  typedef IntegerMessageNode Node;
  static T From(const Node& node) { return static_cast<T>(node.GetValue()); }
  static MessageNodePtr Make(const T& value) { return boost::make_shared<Node>(static_cast<int64_t>(value)); }
};

template <>
struct NodeFor<bool> {
  typedef BoolMessageNode Node;
  static bool From(const Node& node) { return node.GetValue(); }
  static MessageNodePtr Make(bool value) { return boost::make_shared<Node>(value); }
};

template <>
struct NodeFor<std::string> {
  typedef StringMessageNode Node;
  static std::string From(const Node& node) { return node.GetValue(); }
  static MessageNodePtr Make(const std::string& value) { return boost::make_shared<Node>(value); }
};

template <>
struct NodeFor<common::Buffer> {
  typedef ByteArrayMessageNode Node;
  static common::Buffer From(const Node& node) { return node.GetValue(); }
  static MessageNodePtr Make(const common::Buffer& value) { return boost::make_shared<Node>(value); }
};

}  // namespace

template <class T>
void GetField(AContainerNode& container, uint8_t key, MessageField<T>& field, bool required, bool nullable) {
  const MessageNodePtr* found = container.FindNode(key);
  if (found == nullptr) {
    if (required) {
      throw ParseException("missing node " + std::to_string(key));
    }
    field.state = Absent;
    return;
  }
  const AMessageNode* node = found->get();
  if (const auto* typed = dynamic_cast<const typename NodeFor<T>::Node*>(node)) {
    field.value = NodeFor<T>::From(*typed);
    field.state = Set;
    return;
  }
  if (nullable && dynamic_cast<const NullMessageNode*>(node) != nullptr) {
    field.state = Null;
    return;
  }
  throw ParseException("node " + std::to_string(key) + " has unexpected type");
}

template <class T>
void PutField(AContainerNode& container, uint8_t key, const MessageField<T>& field, bool required,
              bool nullable) {
  if (field.state == Set) {
    container.SetNode(key, NodeFor<T>::Make(field.value));
  } else if (nullable && field.state == Null) {
    container.SetNode(key, boost::make_shared<NullMessageNode>());
  } else if (required) {
    throw SerializeException("can't serialize parameter: " + std::to_string(key));
  }
}

#define QUORLAN_FIELD_TYPE(T)                                                        \
  template void GetField<T>(AContainerNode&, uint8_t, MessageField<T>&, bool, bool); \
  template void PutField<T>(AContainerNode&, uint8_t, const MessageField<T>&, bool, bool);

QUORLAN_FIELD_TYPE(uint8_t)
QUORLAN_FIELD_TYPE(uint16_t)
QUORLAN_FIELD_TYPE(uint32_t)
QUORLAN_FIELD_TYPE(int32_t)
QUORLAN_FIELD_TYPE(uint64_t)
QUORLAN_FIELD_TYPE(bool)
QUORLAN_FIELD_TYPE(std::string)
QUORLAN_FIELD_TYPE(common::Buffer)

#undef QUORLAN_FIELD_TYPE

}  // namespace quorlan
