#pragma once

#include <netinet/in.h>

#include <boost/noncopyable.hpp>

namespace common {

class Buffer;

// One IPv4 datagram socket whose operations wait for readiness with a
// time-out in milliseconds (0: without limit) and move whole datagrams.
//
// Sends return the bytes sent, or -1 when the time-out passed; an empty
// payload returns 0 without any system call. Receives return the datagram's
// length (0 for an empty datagram), or -1 on time-out with the buffer emptied.
// A receive buffer grows to exactly the length of the next datagram
// (FIONREAD), so a datagram is never truncated. Failures throw IOException
// ("can't write to socket", "can't read from socket", ...); a failed receive
// empties the buffer first.
//
// One thread may receive while another sends. Open and Close must not overlap
// with other operations.
class UdpSocket : private boost::noncopyable {
 public:
  UdpSocket() = default;
  ~UdpSocket();

  void Open();
  void Close();
  void Bind(const sockaddr_in& local);
  void Connect(const sockaddr_in& remote);

  int Send(const void* bytes, unsigned count, unsigned timeout);
  int Send(const Buffer& buffer, unsigned timeout);
  int Receive(Buffer& buffer, unsigned timeout);
  int SendTo(const void* bytes, unsigned count, const sockaddr_in& to, unsigned timeout);
  int SendTo(const Buffer& buffer, const sockaddr_in& to, unsigned timeout);
  int ReceiveFrom(Buffer& buffer, sockaddr_in& from, unsigned timeout);

  int GetDescriptor() const { return fd; }

 private:
  // select() on the descriptor; true when ready, false on time-out. -1 from
  // select throws with the given text.
  bool Wait(bool forWriting, unsigned timeout, const char* failureText);
  // Waits, sizes the buffer and receives; from may be null.
  int ReceiveInto(Buffer& buffer, sockaddr_in* from, unsigned timeout);

  int fd = -1;
};

}  // namespace common
