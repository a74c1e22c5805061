#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

namespace common {
class Buffer;
}

namespace velarnctl {

// A capture file in the classic pcap format, of the datagrams that the unit
// simulator sends and receives, for Wireshark or tshark (with the dissector
// in tools/wireshark). Each datagram is written as the IPv4 packet it was
// on the wire (link type 228, raw IPv4): an IP header, a UDP header with no
// checksum, and the payload, stamped with the time of the system clock.
//
// A received datagram is written as it came from the socket, before the
// simulator's own loss decides its fate; a sent one when it is handed to
// the socket, after the loss and the delay. Every record is flushed at
// once, so a capture is complete up to the last datagram whatever ends the
// simulator. Safe to call from any thread.
class PcapWriter {
 public:
  // Creates or truncates path; throws IOException if it can't.
  explicit PcapWriter(const std::string& path);
  ~PcapWriter();
  PcapWriter(const PcapWriter&) = delete;
  PcapWriter& operator=(const PcapWriter&) = delete;

  // The two ends: the unit (this simulator) and the daemon.
  void SetAddresses(const sockaddr_in& unit, const sockaddr_in& daemon);
  // One datagram; fromUnit tells its direction.
  void Write(bool fromUnit, const common::Buffer& datagram);

  // The bytes of one record (header and packet) as Write appends them, for
  // a datagram from source to destination at the given time.
  static std::string Record(const sockaddr_in& source, const sockaddr_in& destination, uint16_t ipId,
                            uint32_t seconds, uint32_t microseconds, const common::Buffer& datagram);
  // The file header.
  static std::string FileHeader();

 private:
  std::mutex mutex;
  std::FILE* file;
  sockaddr_in unit{};
  sockaddr_in daemon{};
  uint16_t ipId = 0;
};

}  // namespace velarnctl
