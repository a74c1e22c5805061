#pragma once

#include <netinet/in.h>

#include <boost/noncopyable.hpp>
#include <memory>

namespace common {

class Buffer;

// One IPv4 datagram socket whose operations wait with a time-out in
// milliseconds (0: without limit) and move whole datagrams.
//
// Sends return the bytes sent, or -1 when the time-out passed; an empty
// payload returns 0 without any system call. Receives return the datagram's
// length (0 for an empty datagram), or -1 on time-out with the buffer emptied.
// A receive buffer grows to exactly the length of a datagram longer than its
// capacity, so a datagram is never truncated. Failures throw IOException
// ("can't write to socket", "can't read from socket", ...); a failed receive
// empties the buffer first.
//
// Each send or receive is one system call in the normal case: the socket
// blocks, and a time-out is handed to the kernel (SO_RCVTIMEO, SO_SNDTIMEO)
// only when it differs from the last one, rather than asking select() before
// every call. A receive reads into the buffer and, behind it, into a spare
// block of 64 KiB, so it learns a datagram's length from the same call that
// takes it instead of asking first (FIONREAD).
//
// One thread may receive while another sends. Open and Close must not overlap
// with other operations; WakeReceiver may be called from any thread while the
// socket is open.
class UdpSocket : private boost::noncopyable {
 public:
  UdpSocket();
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

  // Ends a receive that waits on another thread, and makes every later one
  // return at once: it shuts the socket down for reading. For a stop; the
  // socket can still send, and is closed next.
  void WakeReceiver();

  int GetDescriptor() const { return fd; }

 private:
  // Hands the time-out to the kernel if it differs from the one set last.
  void SetTimeout(int option, unsigned timeout, unsigned& current, const char* failureText);
  int SendOne(const void* bytes, unsigned count, const sockaddr_in* to, unsigned timeout);
  int ReceiveInto(Buffer& buffer, sockaddr_in* from, unsigned timeout);

  int fd = -1;
  unsigned receiveTimeout = 0;  // as set on the socket; 0 after Open
  unsigned sendTimeout = 0;
  std::unique_ptr<unsigned char[]> spare;  // behind the buffer of a receive
};

}  // namespace common
