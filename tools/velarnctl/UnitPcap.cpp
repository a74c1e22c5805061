#include "velarnctl/UnitPcap.h"

#include <sys/time.h>

#include <algorithm>
#include <cerrno>

#include "common/Buffer.h"
#include "common/Exceptions.h"

namespace velarnctl {

namespace {

const uint32_t kLinkTypeIpv4 = 228;
const uint32_t kSnapLength = 65535;
const unsigned kHeaders = 20 + 8;  // IPv4 without options, UDP

void Little32(std::string& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) {
    out += static_cast<char>((value >> shift) & 0xFF);
  }
}

void Big16(std::string& out, uint32_t value) {
  out += static_cast<char>((value >> 8) & 0xFF);
  out += static_cast<char>(value & 0xFF);
}

// Network byte order as it stands in the address.
void Raw(std::string& out, const void* bytes, size_t size) {
  out.append(static_cast<const char*>(bytes), size);
}

}  // namespace

PcapWriter::PcapWriter(const std::string& path) : file(std::fopen(path.c_str(), "wb")) {
  if (file == nullptr) {
    throw IOException("can't create capture file " + path, errno);
  }
  const std::string header = FileHeader();
  if (std::fwrite(header.data(), 1, header.size(), file) != header.size() || std::fflush(file) != 0) {
    const int error = errno;
    std::fclose(file);
    throw IOException("can't write capture file " + path, error);
  }
}

PcapWriter::~PcapWriter() { std::fclose(file); }

void PcapWriter::SetAddresses(const sockaddr_in& unitAddress, const sockaddr_in& daemonAddress) {
  std::lock_guard<std::mutex> lock(mutex);
  unit = unitAddress;
  daemon = daemonAddress;
}

void PcapWriter::Write(bool fromUnit, const common::Buffer& datagram) {
  timeval now{};
  gettimeofday(&now, nullptr);
  std::lock_guard<std::mutex> lock(mutex);
  const std::string record =
      Record(fromUnit ? unit : daemon, fromUnit ? daemon : unit, ++ipId, static_cast<uint32_t>(now.tv_sec),
             static_cast<uint32_t>(now.tv_usec), datagram);
  // A failed write (a full disk) loses the capture's tail, never the run.
  if (std::fwrite(record.data(), 1, record.size(), file) == record.size()) {
    std::fflush(file);
  }
}

std::string PcapWriter::FileHeader() {
  std::string header;
  Little32(header, 0xA1B2C3D4);                  // microsecond stamps, written little-endian
  header += std::string("\x02\x00\x04\x00", 4);  // version 2.4
  Little32(header, 0);                           // time zone
  Little32(header, 0);                           // accuracy
  Little32(header, kSnapLength);
  Little32(header, kLinkTypeIpv4);
  return header;
}

std::string PcapWriter::Record(const sockaddr_in& source, const sockaddr_in& destination, uint16_t ipId,
                               uint32_t seconds, uint32_t microseconds, const common::Buffer& datagram) {
  // A datagram can't be longer than an IP packet allows; the rest of a
  // longer one (which no socket delivers) is cut.
  const unsigned payload = std::min(datagram.GetSize(), kSnapLength - kHeaders);
  std::string ip;
  ip += '\x45';  // version 4, 5 words of header
  ip += '\x00';
  Big16(ip, kHeaders + payload);
  Big16(ip, ipId);
  Big16(ip, 0x4000);  // don't fragment
  ip += '\x40';       // time to live 64
  ip += '\x11';       // UDP
  Big16(ip, 0);       // checksum, below
  Raw(ip, &source.sin_addr.s_addr, 4);
  Raw(ip, &destination.sin_addr.s_addr, 4);
  uint32_t sum = 0;
  for (size_t i = 0; i < ip.size(); i += 2) {
    sum +=
        static_cast<uint32_t>(static_cast<unsigned char>(ip[i]) << 8 | static_cast<unsigned char>(ip[i + 1]));
  }
  while (sum > 0xFFFF) {
    sum = (sum & 0xFFFF) + (sum >> 16);
  }
  ip[10] = static_cast<char>((~sum >> 8) & 0xFF);
  ip[11] = static_cast<char>(~sum & 0xFF);
  Raw(ip, &source.sin_port, 2);
  Raw(ip, &destination.sin_port, 2);
  Big16(ip, 8 + payload);
  Big16(ip, 0);  // no UDP checksum
  ip.append(reinterpret_cast<const char*>(datagram.GetData()), payload);

  std::string record;
  Little32(record, seconds);
  Little32(record, microseconds);
  Little32(record, static_cast<uint32_t>(ip.size()));
  Little32(record, static_cast<uint32_t>(ip.size()));
  return record + ip;
}

}  // namespace velarnctl
