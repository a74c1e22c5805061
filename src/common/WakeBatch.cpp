#include "common/WakeBatch.h"

#include <algorithm>
#include <vector>

namespace common {

namespace {

thread_local unsigned depth = 0;
thread_local std::vector<boost::condition*>* held = nullptr;

}  // namespace

WakeBatch::WakeBatch() { ++depth; }

WakeBatch::~WakeBatch() {
  if (--depth != 0 || held == nullptr) {
    return;
  }
  for (boost::condition* condition : *held) {
    condition->notify_all();
  }
  held->clear();
}

void WakeBatch::NotifyAll(boost::condition& condition) {
  if (depth == 0) {
    condition.notify_all();
    return;
  }
  if (held == nullptr) {
    static thread_local std::vector<boost::condition*> storage;
    held = &storage;
  }
  if (std::find(held->begin(), held->end(), &condition) == held->end()) {
    held->push_back(&condition);
  }
}

}  // namespace common
