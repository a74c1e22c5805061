#include "data/TextMessage.h"

#include "common/Time.h"

namespace data {

bool TextMessage::MarkRead() {
  if (read) {
    return false;
  }
  read = true;
  lastChangeTime = common::GetTime();
  return true;
}

}  // namespace data
