// velarnd_figures: measures a running velarnd end to end on loopback and
// prints one table (docs/figures.md shows a run and says how to read it).
//
//   velarnd_figures VELARND [--orders N] [--burst N] [--texts N] [--idle SECONDS]
//
// This one process plays both other parties, so that every time is read from
// one clock (steady_clock):
//
// - the telematics unit with the dispatch server behind it: the simulator of
//   `velarnctl unit` (UnitSimulator), whose frame trace marks the moment a
//   data packet goes to the socket;
// - the navigation application: a client of the message library that answers
//   the handshake and stamps every message as it comes out of Receive.
//
// It starts the daemon itself (console mode, in a temporary folder) and
// measures, in this order: resident memory idle; CPU over an idle period
// while attached; the UDP round trip on loopback; the latency of single
// orders, each sent only after the previous one arrived; a burst of orders;
// resident memory with a full database and CPU over a second idle period;
// and the time from SIGTERM to the daemon's exit. Exit status 0 when every step worked, 1 otherwise, 2 for a
// wrong command line.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include "bkcom/Actions.h"
#include "bkcom/BrenikCommunication.h"
#include "bkcom/BrenikCommunicationMessage.h"
#include "bkcom/Events.h"
#include "bkcom/Text.h"
#include "bkmp/bkmp.h"
#include "common/Buffer.h"
#include "data/Database.h"
#include "quorlan/Message.h"
#include "velarnctl/MsgJson.h"
#include "velarnctl/UnitOutput.h"
#include "velarnctl/UnitSimulator.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

double Micros(Clock::duration duration) {
  return std::chrono::duration<double, std::micro>(duration).count();
}
double Millis(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The value below which the given share of the sorted samples lie (nearest
// rank).
double Percentile(std::vector<double> samples, double share) {
  if (samples.empty()) {
    return 0;
  }
  std::sort(samples.begin(), samples.end());
  size_t rank = static_cast<size_t>(share * static_cast<double>(samples.size()) + 0.999999);
  rank = std::min(std::max<size_t>(rank, 1), samples.size());
  return samples[rank - 1];
}

// ---------------------------------------------------------------------------
// The unit's output: every line the simulator prints passes here. A data
// packet that carries PDU 4:8 (a server message to the daemon) is stamped the
// moment its trace line is complete, which is just before the packet is
// handed to the socket. The last lines are kept for a report on failure.
class UnitLines : public std::streambuf {
 public:
  // From now on, the stamps belong to a new measurement.
  void Mark() {
    std::lock_guard<std::mutex> lock(mutex);
    sends.clear();
    acks.clear();
  }
  // The stamps of the 4:8 data packets since Mark(), retransmissions included.
  std::vector<std::pair<unsigned, Clock::time_point>> Sends() {
    std::lock_guard<std::mutex> lock(mutex);
    return sends;
  }
  // When the daemon's acknowledgement of the packet with this sequence
  // number arrived, since Mark(); false if none did.
  bool AckOf(unsigned sequence, Clock::time_point& at) {
    std::lock_guard<std::mutex> lock(mutex);
    for (const auto& ack : acks) {
      if (ack.first == sequence) {
        at = ack.second;
        return true;
      }
    }
    return false;
  }
  std::string Tail() {
    std::lock_guard<std::mutex> lock(mutex);
    std::string text;
    for (const std::string& line : tail) {
      text += "  | " + line + "\n";
    }
    return text;
  }

 protected:
  int overflow(int c) override {
    if (c == traits_type::eof()) {
      return 0;
    }
    if (c != '\n') {
      line.push_back(static_cast<char>(c));
      return c;
    }
    const Clock::time_point now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex);
    static const char kData[] = "frame -> data seq=";
    if (line.compare(0, sizeof(kData) - 1, kData) == 0 && line.find(" pdu=4:8") != std::string::npos &&
        line.find(" lost") == std::string::npos) {
      sends.emplace_back(static_cast<unsigned>(std::strtoul(line.c_str() + sizeof(kData) - 1, nullptr, 10)),
                         now);
    }
    static const char kAck[] = "frame <- ack seq=";
    if (line.compare(0, sizeof(kAck) - 1, kAck) == 0 && line.find(" lost") == std::string::npos) {
      acks.emplace_back(static_cast<unsigned>(std::strtoul(line.c_str() + sizeof(kAck) - 1, nullptr, 10)),
                        now);
    }
    tail.push_back(line);
    if (tail.size() > 60) {
      tail.pop_front();
    }
    line.clear();
    return c;
  }

 private:
  std::mutex mutex;
  std::string line;  // only the thread that holds UnitOutput's lock writes here
  std::vector<std::pair<unsigned, Clock::time_point>> sends;
  std::vector<std::pair<unsigned, Clock::time_point>> acks;
  std::deque<std::string> tail;
};

// ---------------------------------------------------------------------------
// The navigation application: connects, answers the handshake, and stamps
// what it receives.
class NavClient {
 public:
  ~NavClient() { Close(); }

  void Connect(const std::string& path, milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    BKMPConnection handle = nullptr;
    if (BKMPConnectionCreate(&handle, 100000) != BKMP_OK) {
      throw Failure("can't create a connection object");
    }
    for (;;) {
      const int code = BKMPConnectionConnectTimeout(handle, path.c_str(), 1000000);
      if (code == BKMP_OK) {
        break;
      }
      if (Clock::now() > deadline) {
        BKMPConnectionDestroy(handle);
        throw Failure(std::string("no daemon listens at ") + path + ": " + BKMPErrorString(code));
      }
      std::this_thread::sleep_for(milliseconds(50));
    }
    client.SetConnection(handle);
    connection = handle;
    receiver = std::thread(&NavClient::ReceiveLoop, this);
  }

  void Close() {
    stop = true;
    if (receiver.joinable()) {
      receiver.join();
    }
    client.Close();
  }

  // Waits until the unit link is reported up.
  void WaitConnected(milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    if (!changed.wait_for(lock, timeout, [this] { return linkUp || gone; }) || !linkUp) {
      throw Failure("the daemon never reported the unit link up");
    }
  }

  // Waits for COrderReceivedEvent of order id; gives the moment it came out
  // of Receive.
  Clock::time_point WaitOrder(uint32_t id, milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    if (!changed.wait_for(lock, timeout, [&] { return orders.count(id) != 0 || gone; }) || gone) {
      throw Failure("order " + std::to_string(id) + " never reached the navigation application");
    }
    const Clock::time_point at = orders[id];
    orders.erase(id);
    return at;
  }

  void WaitTexts(unsigned count, milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    if (!changed.wait_for(lock, timeout, [&] { return texts >= count || gone; }) || gone) {
      throw Failure("only " + std::to_string(texts) + " of " + std::to_string(count) +
                    " text messages reached the navigation application");
    }
  }

  // Waits until the daemon has closed the connection.
  bool WaitGone(milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, timeout, [this] { return gone; });
  }

  unsigned long Received() {
    std::lock_guard<std::mutex> lock(mutex);
    return received;
  }

 private:
  void ReceiveLoop() {
    while (!stop) {
      BKMPMessage handle = nullptr;
      const int code = BKMPConnectionReceive(connection, &handle);
      const Clock::time_point now = Clock::now();
      if (code == BKMP_E_TIMEOUT) {
        continue;
      }
      if (code != BKMP_OK) {
        std::lock_guard<std::mutex> lock(mutex);
        gone = true;
        changed.notify_all();
        return;
      }
      CBrenikCommunicationMessage message;
      message.Attach(handle);
      int8_t id = 0;
      message.GetInt8("MessageID", &id);
      std::lock_guard<std::mutex> lock(mutex);
      ++received;
      switch (id) {
        case CVelarnInitBrenikAction::kId: {
          CBrenikInitVelarnAction answer;
          answer.actionId = 1;
          answer.kaInterval = 30;
          bkcom::CopyText(answer.version, "1.0.5");
          bkcom::CopyText(answer.ncVersion, "figures");
          bkcom::CopyText(answer.ncBuild, "1");
          bkcom::CopyText(answer.snr, "0");
          answer.Send(client);
          break;
        }
        case CConnectionStateEvent::kId: {
          CConnectionStateEvent event;
          if (event.Decode(message)) {
            linkUp = event.connected;
          }
          break;
        }
        case COrderReceivedEvent::kId: {
          COrderReceivedEvent event;
          if (event.Decode(message)) {
            orders[event.order.id] = now;
          }
          break;
        }
        case CTextMessageReceivedEvent::kId:
          ++texts;
          break;
        default:
          break;
      }
      changed.notify_all();
    }
  }

  CBrenikCommunicationClient client{nullptr};
  BKMPConnection connection = nullptr;
  std::thread receiver;
  std::atomic<bool> stop{false};

  std::mutex mutex;
  std::condition_variable changed;
  bool linkUp = false;
  bool gone = false;
  unsigned long received = 0;
  unsigned texts = 0;
  std::map<uint32_t, Clock::time_point> orders;
};

// ---------------------------------------------------------------------------
// The daemon as a child process; killed and reaped if still running when the
// object goes.
class Daemon {
 public:
  Daemon(const std::vector<std::string>& arguments, const std::string& outputFile) {
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
      argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    pid = fork();
    if (pid < 0) {
      throw Failure("can't fork");
    }
    if (pid == 0) {
      const int output = open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      if (output >= 0) {
        dup2(output, 1);
        dup2(output, 2);
      }
      execv(argv[0], argv.data());
      _exit(127);
    }
  }
  ~Daemon() {
    if (pid > 0) {
      kill(pid, SIGKILL);
      int status = 0;
      waitpid(pid, &status, 0);
    }
  }
  pid_t Pid() const { return pid; }

  // Waits for the end, polling every 200 µs; false on time-out.
  bool Wait(milliseconds timeout, int& status, Clock::time_point& endedAt) {
    const Clock::time_point deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
      const pid_t done = waitpid(pid, &status, WNOHANG);
      if (done == pid) {
        endedAt = Clock::now();
        pid = -1;
        return true;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return false;
  }
  bool Running() { return pid > 0 && waitpid(pid, nullptr, WNOHANG) == 0; }

  // Throws, saying how the daemon ended, if it isn't running any more.
  void Check() {
    if (pid <= 0) {
      throw Failure("the daemon has ended");
    }
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) != pid) {
      return;
    }
    pid = -1;
    if (WIFSIGNALED(status)) {
      throw Failure("the daemon was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
                    strsignal(WTERMSIG(status)) + ")");
    }
    throw Failure("the daemon exited with status " + std::to_string(WEXITSTATUS(status)));
  }

 private:
  pid_t pid = -1;
};

// Resident memory in KiB, from /proc/PID/status.
long ResidentKiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, 6, "VmRSS:") == 0) {
      return std::strtol(line.c_str() + 6, nullptr, 10);
    }
  }
  throw Failure("no VmRSS for the daemon");
}

// CPU time of the whole process so far: user plus system time from
// /proc/PID/stat, in clock ticks, and the sum of the threads' run times from
// /proc/PID/task/*/schedstat, in nanoseconds (finer; threads that ended are
// missing there, and none ends while the daemon idles).
struct CpuTime {
  double statSeconds = 0;
  double taskSeconds = 0;
};
CpuTime ReadCpu(pid_t pid) {
  CpuTime cpu;
  const std::string base = "/proc/" + std::to_string(pid);
  std::ifstream stat(base + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
  const size_t close = text.rfind(')');
  if (close == std::string::npos) {
    throw Failure("can't read " + base + "/stat");
  }
  std::istringstream fields(text.substr(close + 2));
  std::vector<std::string> values;
  std::string value;
  while (fields >> value) {
    values.push_back(value);
  }
  // After the name: state is field 3, utime field 14, stime field 15.
  if (values.size() < 13) {
    throw Failure("short " + base + "/stat");
  }
  const double tick = static_cast<double>(sysconf(_SC_CLK_TCK));
  cpu.statSeconds = (std::stod(values[11]) + std::stod(values[12])) / tick;
  for (const auto& entry : std::filesystem::directory_iterator(base + "/task")) {
    std::ifstream schedstat(entry.path() / "schedstat");
    double nanoseconds = 0;
    if (schedstat >> nanoseconds) {
      cpu.taskSeconds += nanoseconds / 1e9;
    }
  }
  return cpu;
}

// A free UDP port on loopback, found by binding port 0.
uint16_t FreeUdpPort() {
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw Failure("can't find a free UDP port");
  }
  ::close(fd);
  return ntohs(address.sin_port);
}

sockaddr_in Loopback(uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

// Round trips of a datagram of the given size between two sockets on
// loopback, one of them echoing on its own thread: the least time in which
// one stop-and-wait exchange can be done on this machine.
std::vector<double> UdpRoundTrips(unsigned count, size_t size) {
  const int echo = socket(AF_INET, SOCK_DGRAM, 0);
  const int ping = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in echoAddress = Loopback(0);
  sockaddr_in pingAddress = Loopback(0);
  socklen_t length = sizeof(echoAddress);
  if (echo < 0 || ping < 0 ||
      bind(echo, reinterpret_cast<sockaddr*>(&echoAddress), sizeof(echoAddress)) != 0 ||
      getsockname(echo, reinterpret_cast<sockaddr*>(&echoAddress), &length) != 0 ||
      bind(ping, reinterpret_cast<sockaddr*>(&pingAddress), sizeof(pingAddress)) != 0) {
    throw Failure("can't open the sockets of the round trip measurement");
  }
  timeval limit{1, 0};
  setsockopt(echo, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  setsockopt(ping, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  std::atomic<bool> stop{false};
  std::thread echoer([&] {
    std::vector<char> buffer(2048);
    while (!stop) {
      sockaddr_in from{};
      socklen_t fromLength = sizeof(from);
      const ssize_t got =
          recvfrom(echo, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &fromLength);
      if (got > 0) {
        sendto(echo, buffer.data(), static_cast<size_t>(got), 0, reinterpret_cast<sockaddr*>(&from),
               fromLength);
      }
    }
  });
  std::vector<char> datagram(size, 'x');
  std::vector<char> answer(2048);
  std::vector<double> samples;
  bool failed = false;
  for (unsigned i = 0; i < count + 100 && !failed; ++i) {
    const Clock::time_point start = Clock::now();
    if (sendto(ping, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&echoAddress),
               sizeof(echoAddress)) < 0 ||
        recv(ping, answer.data(), answer.size(), 0) <= 0) {
      failed = true;
      break;
    }
    if (i >= 100) {  // the first hundred warm up
      samples.push_back(Micros(Clock::now() - start));
    }
  }
  stop = true;
  echoer.join();
  ::close(echo);
  ::close(ping);
  if (failed) {
    throw Failure("a loopback round trip got no answer");
  }
  return samples;
}

common::Buffer ServerMessage(const velarnctl::MessageJson& description) {
  quorlan::Message tree;
  velarnctl::MessageFromJson(description, tree);
  common::Buffer bytes(2048, 200);
  tree.Serialize(bytes);
  return bytes;
}

// An order as large as the daemon stores them: number of 20 characters,
// text of 500, destination description of 200.
common::Buffer Order(uint32_t id) {
  char number[21];
  std::snprintf(number, sizeof(number), "F-%018u", id);
  velarnctl::MessageJson description = {
      {"id", "NewOrderInMsg"},
      {"nodes",
       {{"1", id},
        {"2", number},
        {"3", 1},
        {"4", std::string(500, 't')},
        {"5", 31},
        {"6", {{"1", 48137154}, {"2", 11576124}, {"3", std::string(200, 'd')}}},
        {"7", false}}}};
  return ServerMessage(description);
}

// A text message of the largest size that is stored, 700 characters.
common::Buffer TextMessage(uint32_t id) {
  velarnctl::MessageJson description = {{"id", "NewTextMessageInMsg"},
                                        {"nodes", {{"1", id}, {"2", std::string(700, 'm')}}}};
  return ServerMessage(description);
}

struct Options {
  std::string velarnd;
  unsigned orders = 1000;
  unsigned burst = 100;
  unsigned texts = 100;
  unsigned idleSeconds = 30;
  unsigned roundTrips = 2000;
};

unsigned Number(const char* text, const char* what) {
  char* end = nullptr;
  const unsigned long value = std::strtoul(text, &end, 10);
  if (*text == '\0' || *end != '\0' || value == 0 || value > 1000000) {
    throw std::invalid_argument(std::string(what) + " wants a number from 1 to 1000000");
  }
  return static_cast<unsigned>(value);
}

Options ParseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    auto next = [&]() -> const char* {
      if (i + 1 >= argc) {
        throw std::invalid_argument(argument + " wants a value");
      }
      return argv[++i];
    };
    if (argument == "--orders") {
      options.orders = Number(next(), "--orders");
    } else if (argument == "--burst") {
      options.burst = Number(next(), "--burst");
    } else if (argument == "--texts") {
      options.texts = Number(next(), "--texts");
    } else if (argument == "--idle") {
      options.idleSeconds = Number(next(), "--idle");
    } else if (!argument.empty() && argument[0] != '-' && options.velarnd.empty()) {
      options.velarnd = argument;
    } else {
      throw std::invalid_argument("unknown argument " + argument);
    }
  }
  if (options.velarnd.empty()) {
    throw std::invalid_argument("the path of velarnd is missing");
  }
  return options;
}

void Row(const std::string& what, const std::string& value) {
  std::printf("| %-58s | %-52s |\n", what.c_str(), value.c_str());
}

std::string Format(const char* format, double a, double b = 0, double c = 0) {
  char text[128];
  std::snprintf(text, sizeof(text), format, a, b, c);
  return text;
}

void Note(const std::string& text) { std::fprintf(stderr, "figures: %s\n", text.c_str()); }

int MeasureWith(const Options& options, const std::string& folder, UnitLines& unitLines);

// On failure the last lines of the unit go with the message.
int Measure(const Options& options, const std::string& folder) {
  UnitLines unitLines;
  try {
    return MeasureWith(options, folder, unitLines);
  } catch (const std::exception& error) {
    throw Failure(std::string(error.what()) + "\nthe unit's last lines:\n" + unitLines.Tail());
  }
}

int MeasureWith(const Options& options, const std::string& folder, UnitLines& unitLines) {
  const uint16_t daemonPort = FreeUdpPort();

  std::ostream unitStream(&unitLines);
  velarnctl::UnitOutput unitOutput(unitStream, false);
  velarnctl::UnitSettings settings;
  settings.local = Loopback(0);
  settings.peer = Loopback(daemonPort);
  settings.traceFrames = true;
  settings.dumpTrees = false;
  velarnctl::UnitSimulator unit(settings, unitOutput);
  unit.Start();
  const uint16_t unitPort = ntohs(unit.GetAddress().sin_port);

  const std::string socketPath = folder + "/nav.sock";
  const std::string databasePath = folder + "/velarnd.db";
  const std::string contextPath = folder + "/velarnd.ctx";
  Daemon daemon(
      {options.velarnd, "-console", "-svraddr", socketPath, "-dbfile", databasePath, "-zuaddr",
       "127.0.0.1:" + std::to_string(daemonPort), "-velarnaddr", "127.0.0.1:" + std::to_string(unitPort),
       "-ctxfile", contextPath, "-lockfile", folder + "/velarnd.pid"},
      folder + "/velarnd.out");
  const pid_t pid = daemon.Pid();

  NavClient nav;
  // A wait that fails because the daemon has gone says so.
  auto waitOrder = [&](uint32_t id, milliseconds timeout) {
    try {
      return nav.WaitOrder(id, timeout);
    } catch (const Failure&) {
      daemon.Check();
      throw;
    }
  };
  nav.Connect(socketPath, milliseconds(10000));
  nav.WaitConnected(milliseconds(15000));
  Note("attached; the unit link is up; letting the start-up exchanges settle");
  std::this_thread::sleep_for(milliseconds(3000));
  daemon.Check();

  const long idleKiB = ResidentKiB(pid);
  Note("idle for " + std::to_string(options.idleSeconds) + " s");
  const CpuTime idleBefore = ReadCpu(pid);
  const Clock::time_point idleStart = Clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(options.idleSeconds));
  daemon.Check();
  const CpuTime idleAfter = ReadCpu(pid);
  const double idleWall = std::chrono::duration<double>(Clock::now() - idleStart).count();

  Note("loopback UDP round trips");
  const size_t orderFrameSize = Order(1).GetSize() + 16;
  const std::vector<double> roundTrips = UdpRoundTrips(options.roundTrips, orderFrameSize);
  const double roundTripMedian = Percentile(roundTrips, 0.5);

  Note(std::to_string(options.orders) + " orders, one at a time");
  std::vector<double> latencies;
  std::vector<double> latenciesFilling;  // while the list still had room
  std::vector<double> ackTimes;          // the unit's data packet to the daemon's acknowledgement
  unsigned retransmitted = 0;
  for (uint32_t id = 1; id <= options.orders; ++id) {
    const common::Buffer order = Order(id);
    unitLines.Mark();
    unit.SendServerMessage(order, true);
    const Clock::time_point arrived = waitOrder(id, milliseconds(5000));
    const auto sends = unitLines.Sends();
    if (sends.empty()) {
      throw Failure("no data packet of order " + std::to_string(id) + " was seen");
    }
    retransmitted += static_cast<unsigned>(sends.size() - 1);
    Clock::time_point acked;
    if (unitLines.AckOf(sends.front().first, acked)) {
      ackTimes.push_back(Micros(acked - sends.front().second));
    }
    const double latency = Micros(arrived - sends.front().second);
    latencies.push_back(latency);
    if (id <= 100) {
      latenciesFilling.push_back(latency);
    }
  }

  Note("a burst of " + std::to_string(options.burst) + " orders");
  const uint32_t burstFirst = 1000001;
  std::vector<common::Buffer> burst;
  for (uint32_t i = 0; i < options.burst; ++i) {
    burst.push_back(Order(burstFirst + i));
  }
  unitLines.Mark();
  for (const common::Buffer& order : burst) {
    unit.SendServerMessage(order, true);
  }
  Clock::time_point lastArrival;
  for (uint32_t i = 0; i < options.burst; ++i) {
    lastArrival = waitOrder(burstFirst + i, milliseconds(30000));
  }
  const auto burstSends = unitLines.Sends();
  if (burstSends.empty()) {
    throw Failure("no data packet of the burst was seen");
  }
  const double burstMs = Millis(lastArrival - burstSends.front().second);
  const unsigned burstRetransmitted = static_cast<unsigned>(burstSends.size()) - options.burst;

  Note(std::to_string(options.texts) + " text messages");
  for (uint32_t id = 1; id <= options.texts; ++id) {
    unit.SendServerMessage(TextMessage(id), true);
  }
  nav.WaitTexts(options.texts, milliseconds(30000));
  // The daemon writes its database within 5 s of a change; after that it
  // is idle again.
  std::this_thread::sleep_for(milliseconds(6000));
  daemon.Check();
  const long fullKiB = ResidentKiB(pid);
  Note("idle for " + std::to_string(options.idleSeconds) + " s with the full database");
  const CpuTime fullBefore = ReadCpu(pid);
  const Clock::time_point fullStart = Clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(options.idleSeconds));
  daemon.Check();
  const CpuTime fullAfter = ReadCpu(pid);
  const double fullWall = std::chrono::duration<double>(Clock::now() - fullStart).count();

  Note("SIGTERM");
  int status = 0;
  Clock::time_point endedAt;
  const Clock::time_point signalledAt = Clock::now();
  kill(pid, SIGTERM);
  if (!daemon.Wait(milliseconds(10000), status, endedAt)) {
    throw Failure("the daemon didn't end within 10 s of SIGTERM");
  }
  const double stopMs = Millis(endedAt - signalledAt);
  nav.WaitGone(milliseconds(2000));
  nav.Close();
  unit.Stop();

  data::Database stored(databasePath);
  const bool loaded = stored.Load();
  struct stat databaseStat {};
  struct stat contextStat {};
  stat(databasePath.c_str(), &databaseStat);
  stat(contextPath.c_str(), &contextStat);

  std::printf("\n");
  Row("Figure", "Value");
  std::printf("|%s|%s|\n", std::string(60, '-').c_str(), std::string(54, '-').c_str());
  Row("Order latency, unit's data packet to COrderReceivedEvent",
      Format("median %.0f us, 99th percentile %.0f us", Percentile(latencies, 0.5),
             Percentile(latencies, 0.99)));
  Row(Format("  (over %.0f orders, one at a time; max %.0f us)", latencies.size(),
             *std::max_element(latencies.begin(), latencies.end())),
      Format("first 100 (no eviction): median %.0f us", Percentile(latenciesFilling, 0.5)));
  Row("  Unit's data packet to the daemon's acknowledgement",
      Format("median %.0f us, 99th percentile %.0f us", Percentile(ackTimes, 0.5),
             Percentile(ackTimes, 0.99)));
  Row("Loopback UDP round trip (same run)",
      Format("median %.1f us, 99th percentile %.1f us", roundTripMedian, Percentile(roundTrips, 0.99)));
  Row(Format("Burst of %.0f orders, first packet to last event", options.burst),
      Format("%.1f ms (%.0f us per order)", burstMs, burstMs * 1000 / options.burst));
  Row(Format("  %.0f x loopback round trip (stop-and-wait limit)", options.burst),
      Format("%.2f ms (burst / limit = %.0f)", options.burst * roundTripMedian / 1000,
             burstMs / (options.burst * roundTripMedian / 1000)));
  Row("Resident memory, idle (empty database)", Format("%.0f KiB", static_cast<double>(idleKiB)));
  Row(Format("Resident memory, full database (100 orders, %.0f texts)", std::min(100u, options.texts)),
      Format("%.0f KiB", static_cast<double>(fullKiB)));
  auto cpuRows = [](const std::string& what, const CpuTime& before, const CpuTime& after, double wall) {
    Row(Format(what.c_str(), wall), Format("%.1f ms by thread run times (%.3f %% of one core)",
                                           (after.taskSeconds - before.taskSeconds) * 1000,
                                           (after.taskSeconds - before.taskSeconds) / wall * 100));
    Row("", Format("%.0f ms by utime+stime (10 ms ticks)", (after.statSeconds - before.statSeconds) * 1000));
  };
  cpuRows("CPU over %.1f s idle, attached, empty database", idleBefore, idleAfter, idleWall);
  cpuRows("CPU over %.1f s idle, attached, full database", fullBefore, fullAfter, fullWall);
  Row("SIGTERM to exit (full database, both links up)",
      Format("%.1f ms, exit status %.0f", stopMs, WIFEXITED(status) ? WEXITSTATUS(status) : -1));
  Row("Files after the stop",
      Format("database %.0f bytes, context %.0f bytes", static_cast<double>(databaseStat.st_size),
             static_cast<double>(contextStat.st_size)));
  Row("Database read back",
      loaded ? Format("%.0f orders, %.0f text messages", stored.orders.size(), stored.textMessages.size())
             : std::string("NOT LOADABLE"));
  std::printf("\n");
  std::printf(
      "retransmitted 4:8 packets: %u of %u single orders, %u in the burst; %lu messages reached the\n"
      "navigation client in all\n",
      retransmitted, options.orders, burstRetransmitted, nav.Received());

  const bool complete = loaded && WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
                        stored.orders.size() == std::min(100u, options.orders + options.burst) &&
                        stored.textMessages.size() == std::min(100u, options.texts);
  if (!complete) {
    Note("the daemon's files after the stop are not what was sent");
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  try {
    options = ParseOptions(argc, argv);
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr,
                 "velarnd_figures: %s\n"
                 "usage: velarnd_figures VELARND [--orders N] [--burst N] [--texts N] [--idle SECONDS]\n",
                 error.what());
    return 2;
  }
  signal(SIGPIPE, SIG_IGN);
  char folderTemplate[] = "/tmp/velarnd-figures-XXXXXX";
  if (mkdtemp(folderTemplate) == nullptr) {
    std::perror("velarnd_figures: mkdtemp");
    return 1;
  }
  const std::string folder = folderTemplate;
  int result = 1;
  try {
    result = Measure(options, folder);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velarnd_figures: %s\n", error.what());
    std::ifstream output(folder + "/velarnd.out");
    std::string text((std::istreambuf_iterator<char>(output)), std::istreambuf_iterator<char>());
    if (!text.empty()) {
      std::fprintf(stderr, "velarnd printed:\n%s\n", text.c_str());
    }
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  return result;
}
