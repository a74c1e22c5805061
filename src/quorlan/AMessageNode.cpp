#include "quorlan/AMessageNode.h"

#include <boost/make_shared.hpp>

#include "common/Exceptions.h"
#include "quorlan/BoolMessageNode.h"
#include "quorlan/ByteArrayMessageNode.h"
#include "quorlan/IntegerMessageNode.h"
#include "quorlan/ListMessageNode.h"
#include "quorlan/NullMessageNode.h"
#include "quorlan/StringMessageNode.h"
#include "quorlan/StructMessageNode.h"

namespace quorlan {

MessageNodePtr CreateNode(uint8_t tag) {
  switch (tag & 0xC0) {
    case 0x40:
      return boost::make_shared<StringMessageNode>();
    case 0x80:
      return boost::make_shared<ByteArrayMessageNode>(256u);
    case 0x00:
      switch (tag & 0x30) {
        case 0x00:
          return boost::make_shared<NullMessageNode>();
        case 0x10:
          return boost::make_shared<StructMessageNode>();
        case 0x20:
          return boost::make_shared<ListMessageNode>();
        default:
          break;
      }
      break;
    default:  // 0xC0
      switch (tag & 0x3E) {
        case 0:
          return boost::make_shared<BoolMessageNode>();
        case 2:
        case 4:
        case 6:
        case 8:
          return boost::make_shared<IntegerMessageNode>();
        default:
          break;
      }
      break;
  }
  throw ParseException("node has unknown type");
}

}  // namespace quorlan
