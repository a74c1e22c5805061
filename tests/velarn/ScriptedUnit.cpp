#include "velarn/ScriptedUnit.h"

#include <arpa/inet.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace linktest {

std::string Hex(const Bytes& bytes) {
  std::string text;
  char digits[4];
  for (size_t i = 0; i < bytes.size(); ++i) {
    std::snprintf(digits, sizeof(digits), i == 0 ? "%02X" : " %02X", bytes[i]);
    text += digits;
  }
  return text;
}

int64_t NowUs() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_usec;
}

sockaddr_in Loopback(const char* host, uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = inet_addr(host);
  result.sin_port = htons(port);
  return result;
}

ScriptedUnit::ScriptedUnit(const char* host) : fd(::socket(AF_INET, SOCK_DGRAM, 0)), address(), device() {
  if (fd < 0) {
    throw std::runtime_error("scripted unit: no socket");
  }
  const int on = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_TIMESTAMP, &on, sizeof(on));
  sockaddr_in local = Loopback(host);
  if (::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0) {
    ::close(fd);
    throw std::runtime_error(std::string("scripted unit: can't bind ") + host);
  }
  socklen_t length = sizeof(address);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
}

ScriptedUnit::~ScriptedUnit() { ::close(fd); }

void ScriptedUnit::SendRaw(const Bytes& bytes) {
  lastSentUs = NowUs();
  ::sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&device), sizeof(device));
}

void ScriptedUnit::SendConnectRequest(uint16_t session, uint16_t version) {
  SendRaw({0x42, 0x40, 0x00, static_cast<uint8_t>(version & 0xFF), static_cast<uint8_t>(version >> 8),
           static_cast<uint8_t>(session & 0xFF), static_cast<uint8_t>(session >> 8)});
}

void ScriptedUnit::SendData(uint8_t sequence, const Bytes& payload) {
  Bytes packet{0x42, 0x43, sequence};
  packet.insert(packet.end(), payload.begin(), payload.end());
  SendRaw(packet);
}

void ScriptedUnit::SendAck(uint8_t sequence) { SendRaw({0x42, 0x44, sequence}); }

void ScriptedUnit::SendKeepAlive() { SendRaw({0x42, 0x45, 0x00}); }

bool ScriptedUnit::Receive(Frame& frame, std::chrono::milliseconds timeout) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(fd, &set);
  const long long ms = timeout.count() > 0 ? timeout.count() : 0;
  timeval limit{static_cast<time_t>(ms / 1000), static_cast<suseconds_t>((ms % 1000) * 1000)};
  if (::select(fd + 1, &set, nullptr, nullptr, &limit) <= 0) {
    return false;
  }
  uint8_t data[65536];
  iovec vector{data, sizeof(data)};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(timeval))];
  msghdr message{};
  message.msg_iov = &vector;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof(control);
  const ssize_t received = ::recvmsg(fd, &message, 0);
  if (received < 0) {
    return false;
  }
  frame.bytes.assign(data, data + received);
  frame.atUs = NowUs();
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
    if (header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_TIMESTAMP) {
      timeval stamp{};
      std::memcpy(&stamp, CMSG_DATA(header), sizeof(stamp));
      frame.atUs = static_cast<int64_t>(stamp.tv_sec) * 1000000 + stamp.tv_usec;
    }
  }
  return true;
}

void ScriptedUnit::Service(const Frame& frame, const Options& options, int64_t& nextKeepAliveUs) {
  if (options.ackData && frame.IsData()) {
    SendAck(frame.Sequence());
  }
  if (options.keepLinkAlive && NowUs() >= nextKeepAliveUs) {
    SendKeepAlive();
    nextKeepAliveUs = NowUs() + 800000;
  }
}

bool ScriptedUnit::WaitFor(const std::function<bool(const Frame&)>& match, Frame& found,
                           std::chrono::milliseconds timeout, const Options& options) {
  const int64_t deadline = NowUs() + static_cast<int64_t>(timeout.count()) * 1000;
  int64_t nextKeepAliveUs = NowUs() + 800000;
  Frame frame;
  for (;;) {
    const int64_t now = NowUs();
    if (now >= deadline) {
      return false;
    }
    int64_t waitUs = deadline - now;
    if (options.keepLinkAlive && nextKeepAliveUs - now < waitUs) {
      waitUs = nextKeepAliveUs > now ? nextKeepAliveUs - now : 0;
    }
    const bool got = Receive(frame, std::chrono::milliseconds(waitUs / 1000 + 1));
    if (got) {
      Service(frame, options, nextKeepAliveUs);
      if (match(frame)) {
        found = frame;
        return true;
      }
      skipped.push_back(frame);
    } else {
      Service(Frame(), options, nextKeepAliveUs);
    }
  }
}

std::vector<Frame> ScriptedUnit::Collect(std::chrono::milliseconds window, const Options& options) {
  std::vector<Frame> frames;
  const size_t skippedBefore = skipped.size();
  Frame unused;
  WaitFor(
      [&frames](const Frame& frame) {
        frames.push_back(frame);
        return false;
      },
      unused, window, options);
  skipped.resize(skippedBefore);
  return frames;
}

uint16_t ScriptedUnit::Connect(uint16_t session, Frame* response, std::chrono::milliseconds timeout) {
  const int64_t deadline = NowUs() + static_cast<int64_t>(timeout.count()) * 1000;
  while (NowUs() < deadline) {
    SendConnectRequest(session);
    Frame found;
    const int64_t left = deadline - NowUs();
    if (!WaitFor([](const Frame& frame) { return frame.IsType(1) || frame.IsType(6); }, found,
                 std::chrono::milliseconds(left > 0 ? left / 1000 : 0))) {
      return 0;
    }
    if (found.IsType(1)) {
      if (response != nullptr) {
        *response = found;
      }
      return found.Session();
    }
  }
  return 0;
}

}  // namespace linktest
