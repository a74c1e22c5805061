// velarnd_figures: measures a running velarnd end to end on loopback and
// prints one table (docs/figures.md shows a run and says how to read it).
//
//   velarnd_figures VELARND [--orders N] [--burst N] [--texts N] [--idle SECONDS]
//                   [--noops N] [--throw-counter LIBRARY]
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
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
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
#include <memory>
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
  // The sequence number of the unit's last data packet of any kind.
  int LastDataSequence() {
    std::lock_guard<std::mutex> lock(mutex);
    return lastData;
  }
  // How many acknowledgements of this sequence number arrived since Mark().
  unsigned AcksOf(unsigned sequence) {
    std::lock_guard<std::mutex> lock(mutex);
    unsigned count = 0;
    for (const auto& ack : acks) {
      count += ack.first == sequence ? 1 : 0;
    }
    return count;
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
  // Whole pieces at a time: the simulator's output costs the unit as little
  // as a plain peer's would.
  std::streamsize xsputn(const char* text, std::streamsize count) override {
    for (std::streamsize done = 0; done < count;) {
      const char* end = static_cast<const char*>(std::memchr(text + done, '\n', count - done));
      const std::streamsize piece = end != nullptr ? end - (text + done) : count - done;
      line.append(text + done, static_cast<size_t>(piece));
      done += piece;
      if (end != nullptr) {
        EndLine();
        ++done;
      }
    }
    return count;
  }
  int overflow(int c) override {
    if (c == traits_type::eof()) {
      return 0;
    }
    if (c != '\n') {
      line.push_back(static_cast<char>(c));
      return c;
    }
    EndLine();
    return c;
  }

 private:
  void EndLine() {
    const Clock::time_point now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex);
    static const char kData[] = "frame -> data seq=";
    if (line.compare(0, sizeof(kData) - 1, kData) == 0 && line.find(" pdu=4:8") != std::string::npos &&
        line.find(" lost") == std::string::npos) {
      sends.emplace_back(static_cast<unsigned>(std::strtoul(line.c_str() + sizeof(kData) - 1, nullptr, 10)),
                         now);
    }
    if (line.compare(0, sizeof(kData) - 1, kData) == 0) {
      lastData = std::atoi(line.c_str() + sizeof(kData) - 1);
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
  }

  std::mutex mutex;
  int lastData = -1;
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

// All threads of the process together: run time (ns, schedstat) and context
// switches (voluntary: the thread went to sleep, so it had woken before).
struct TaskStats {
  double runNs = 0;
  double voluntary = 0;
  double involuntary = 0;
};
// One thread's run time in ns, from its schedstat. Plain reads: the
// measurement should cost the measured as little as possible, and it runs
// once per order.
double TaskRunNs(const std::filesystem::path& task) {
  char text[256];
  const int fd = open((task / "schedstat").c_str(), O_RDONLY);
  if (fd < 0) {
    return 0;
  }
  const ssize_t got = read(fd, text, sizeof(text) - 1);
  close(fd);
  if (got <= 0) {
    return 0;
  }
  text[got] = '\0';
  return std::strtod(text, nullptr);
}

std::filesystem::directory_iterator Tasks(pid_t pid) {
  return std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task");
}

TaskStats ReadTasks(pid_t pid) {
  TaskStats stats;
  for (const auto& entry : Tasks(pid)) {
    stats.runNs += TaskRunNs(entry.path());
    std::ifstream status(entry.path() / "status");
    std::string line;
    while (std::getline(status, line)) {
      if (line.compare(0, 24, "voluntary_ctxt_switches:") == 0) {
        stats.voluntary += std::strtod(line.c_str() + 24, nullptr);
      } else if (line.compare(0, 27, "nonvoluntary_ctxt_switches:") == 0) {
        stats.involuntary += std::strtod(line.c_str() + 27, nullptr);
      }
    }
  }
  return stats;
}

// Only the run time, for one sample per order.
double RunNs(pid_t pid) {
  double total = 0;
  for (const auto& entry : Tasks(pid)) {
    total += TaskRunNs(entry.path());
  }
  return total;
}

// The daemon's count of thrown exceptions, kept by the counting shim
// (bench/throw_counter.cpp, loaded with LD_PRELOAD) in a shared file.
class ThrowCount {
 public:
  explicit ThrowCount(const std::string& path) {
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    const unsigned long zero = 0;
    if (fd < 0 || write(fd, &zero, sizeof(zero)) != static_cast<ssize_t>(sizeof(zero))) {
      throw Failure("can't make the throw counter's file");
    }
    void* shared = mmap(nullptr, sizeof(zero), PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    if (shared == MAP_FAILED) {
      throw Failure("can't map the throw counter's file");
    }
    counter = static_cast<const volatile unsigned long*>(shared);
  }
  unsigned long Read() const { return *counter; }

 private:
  const volatile unsigned long* counter = nullptr;
};

// Counts the system calls of all threads of pid while it exists, with strace
// -c; Stop() gives the total and the table. Empty when strace isn't there.
class SyscallCount {
 public:
  SyscallCount(pid_t pid, const std::string& file) : file(file) {
    if (access("/usr/bin/strace", X_OK) != 0) {
      return;
    }
    tracer = fork();
    if (tracer == 0) {
      const int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      const std::string target = std::to_string(pid);
      execl("/usr/bin/strace", "strace", "-f", "-c", "-o", file.c_str(), "-p", target.c_str(),
            static_cast<char*>(nullptr));
      _exit(127);
    }
    // strace attaches to every thread before it counts; give it time.
    std::this_thread::sleep_for(milliseconds(1500));
  }
  // The total number of calls, and the lines of the calls that were made.
  bool Stop(double& total, std::string& table) {
    if (tracer <= 0) {
      return false;
    }
    kill(tracer, SIGINT);
    int status = 0;
    waitpid(tracer, &status, 0);
    std::ifstream summary(file);
    std::string line;
    while (std::getline(summary, line)) {
      std::istringstream words(line);
      std::vector<std::string> fields;
      std::string word;
      while (words >> word) {
        fields.push_back(word);
      }
      if (fields.size() >= 5 && fields.back() == "total") {
        total = std::strtod(fields[3].c_str(), nullptr);
        return true;
      }
      if (fields.size() >= 5 && std::isdigit(static_cast<unsigned char>(fields[0][0]))) {
        table += " " + fields.back() + "=" + fields[3];
      }
    }
    return false;
  }

 private:
  std::string file;
  pid_t tracer = -1;
};

// Two processes that spin, as other work on the machine would.
class BusyLoops {
 public:
  BusyLoops() {
    for (pid_t& child : children) {
      child = fork();
      if (child == 0) {
        for (volatile unsigned long n = 0;; n = n + 1) {
        }
      }
    }
    std::this_thread::sleep_for(milliseconds(200));
  }
  ~BusyLoops() {
    for (pid_t child : children) {
      if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
      }
    }
  }

 private:
  pid_t children[2] = {-1, -1};
};

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
  unsigned idleSeconds = 10;
  unsigned roundTrips = 2000;
  unsigned noops = 1000;
  std::string throwCounter;  // the counting shim, loaded into the daemon
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
    } else if (argument == "--noops") {
      options.noops = Number(next(), "--noops");
    } else if (argument == "--throw-counter") {
      options.throwCounter = next();
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

// One sample of the daemon's CPU per repetition of step: the run time of all
// its threads from just before step to a millisecond after it ended (so that
// what the step set off, such as acknowledgements, is counted too).
template <class Step>
std::vector<double> CpuPerStep(pid_t pid, unsigned count, Step step) {
  std::vector<double> samples;
  for (unsigned i = 0; i < count; ++i) {
    const double before = RunNs(pid);
    step(i);
    std::this_thread::sleep_for(milliseconds(1));
    samples.push_back((RunNs(pid) - before) / 1000.0);
  }
  return samples;
}

std::string Spread(const std::vector<double>& samples, const char* unit) {
  return Format("median %.1f, 10th %.1f, 90th %.1f ", Percentile(samples, 0.5), Percentile(samples, 0.1),
                Percentile(samples, 0.9)) +
         unit;
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
  std::unique_ptr<ThrowCount> throws;
  if (!options.throwCounter.empty()) {
    throws.reset(new ThrowCount(folder + "/throws"));
    setenv("LD_PRELOAD", options.throwCounter.c_str(), 1);
    setenv("VELARND_THROW_COUNTER", (folder + "/throws").c_str(), 1);
  }
  Daemon daemon(
      {options.velarnd, "-console", "-svraddr", socketPath, "-dbfile", databasePath, "-zuaddr",
       "127.0.0.1:" + std::to_string(daemonPort), "-velarnaddr", "127.0.0.1:" + std::to_string(unitPort),
       "-ctxfile", contextPath, "-lockfile", folder + "/velarnd.pid"},
      folder + "/velarnd.out");
  unsetenv("LD_PRELOAD");
  unsetenv("VELARND_THROW_COUNTER");
  const pid_t pid = daemon.Pid();
  auto throwCount = [&]() -> double { return throws ? static_cast<double>(throws->Read()) : -1; };

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
  const double throwsAtStart = throwCount();

  const long idleKiB = ResidentKiB(pid);
  auto idlePeriod = [&](TaskStats& before, TaskStats& after, double& wall) {
    Note("idle for " + std::to_string(options.idleSeconds) + " s");
    before = ReadTasks(pid);
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(options.idleSeconds));
    daemon.Check();
    after = ReadTasks(pid);
    wall = std::chrono::duration<double>(Clock::now() - start).count();
  };
  TaskStats idleBefore, idleAfter;
  double idleWall = 0;
  idlePeriod(idleBefore, idleAfter, idleWall);

  Note("loopback UDP round trips");
  const size_t orderFrameSize = Order(1).GetSize() + 16;
  const std::vector<double> roundTrips = UdpRoundTrips(options.roundTrips, orderFrameSize);
  const double roundTripMedian = Percentile(roundTrips, 0.5);

  Note(std::to_string(options.orders) + " orders, one at a time");
  std::vector<double> latencies;
  std::vector<double> ackTimes;  // the unit's data packet to the daemon's acknowledgement
  unsigned retransmitted = 0;
  uint32_t nextOrder = 1;
  auto oneOrder = [&](unsigned) {
    const uint32_t id = nextOrder++;
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
    latencies.push_back(Micros(arrived - sends.front().second));
  };
  const double throwsBeforeOrders = throwCount();
  const std::vector<double> orderCpu = CpuPerStep(pid, options.orders, oneOrder);
  const double orderThrows = throwCount() - throwsBeforeOrders;

  // A data packet that repeats the unit's last sequence number: the daemon
  // acknowledges it and delivers nothing, the least work a packet can make.
  Note(std::to_string(options.noops) + " no-op data packets");
  const int noopSequence = unitLines.LastDataSequence();
  if (noopSequence < 0) {
    throw Failure("the unit sent no data packet to repeat");
  }
  const int raw = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in rawAddress = Loopback(0);
  if (raw < 0 || bind(raw, reinterpret_cast<sockaddr*>(&rawAddress), sizeof(rawAddress)) != 0) {
    throw Failure("can't open the socket of the no-op packets");
  }
  const sockaddr_in daemonAddress = Loopback(daemonPort);
  const unsigned char noop[3] = {0x42, 0x43, static_cast<unsigned char>(noopSequence)};
  auto oneNoop = [&](unsigned) {
    unitLines.Mark();
    sendto(raw, noop, sizeof(noop), 0, reinterpret_cast<const sockaddr*>(&daemonAddress),
           sizeof(daemonAddress));
    const Clock::time_point deadline = Clock::now() + milliseconds(2000);
    while (unitLines.AcksOf(noopSequence) == 0) {
      if (Clock::now() > deadline) {
        throw Failure("a no-op data packet wasn't acknowledged");
      }
      std::this_thread::yield();
    }
  };
  const double throwsBeforeNoops = throwCount();
  const std::vector<double> noopCpu = CpuPerStep(pid, options.noops, oneNoop);
  const double noopThrows = throwCount() - throwsBeforeNoops;

  Note("system calls per no-op packet and per order (strace -c)");
  double noopCalls = 0;
  double orderCalls = 0;
  std::string noopTable;
  std::string orderTable;
  const unsigned tracedNoops = 200;
  const unsigned tracedOrders = 50;
  bool traced = false;
  {
    SyscallCount count(pid, folder + "/strace-noops");
    for (unsigned i = 0; i < tracedNoops; ++i) {
      oneNoop(i);
    }
    traced = count.Stop(noopCalls, noopTable);
  }
  if (traced) {
    SyscallCount count(pid, folder + "/strace-orders");
    for (unsigned i = 0; i < tracedOrders; ++i) {
      oneOrder(i);
    }
    traced = count.Stop(orderCalls, orderTable);
  }
  ::close(raw);

  auto burstOf = [&](uint32_t first, double& ms, unsigned& retransmissions) {
    std::vector<common::Buffer> burst;
    for (uint32_t i = 0; i < options.burst; ++i) {
      burst.push_back(Order(first + i));
    }
    unitLines.Mark();
    for (const common::Buffer& order : burst) {
      unit.SendServerMessage(order, true);
    }
    Clock::time_point lastArrival;
    for (uint32_t i = 0; i < options.burst; ++i) {
      lastArrival = waitOrder(first + i, milliseconds(30000));
    }
    const auto burstSends = unitLines.Sends();
    if (burstSends.empty()) {
      throw Failure("no data packet of the burst was seen");
    }
    ms = Millis(lastArrival - burstSends.front().second);
    retransmissions = static_cast<unsigned>(burstSends.size()) - options.burst;
  };
  Note("a burst of " + std::to_string(options.burst) + " orders");
  double burstMs = 0;
  unsigned burstRetransmitted = 0;
  const double burstCpuBefore = RunNs(pid);
  burstOf(1000001, burstMs, burstRetransmitted);
  const double burstCpuPerOrder = (RunNs(pid) - burstCpuBefore) / 1000.0 / options.burst;
  Note("a burst of " + std::to_string(options.burst) + " orders beside two busy loops");
  double busyBurstMs = 0;
  unsigned busyRetransmitted = 0;
  std::vector<double> busyRoundTrips;
  {
    BusyLoops busy;
    busyRoundTrips = UdpRoundTrips(500, orderFrameSize);
    burstOf(2000001, busyBurstMs, busyRetransmitted);
  }

  Note(std::to_string(options.texts) + " text messages");
  const double throwsBeforeTexts = throwCount();
  for (uint32_t id = 1; id <= options.texts; ++id) {
    unit.SendServerMessage(TextMessage(id), true);
  }
  nav.WaitTexts(options.texts, milliseconds(30000));
  const double textThrows = throwCount() - throwsBeforeTexts;
  // The daemon writes its database within 5 s of a change; after that it
  // is idle again.
  std::this_thread::sleep_for(milliseconds(6000));
  daemon.Check();
  const long fullKiB = ResidentKiB(pid);
  TaskStats fullBefore, fullAfter;
  double fullWall = 0;
  idlePeriod(fullBefore, fullAfter, fullWall);
  const double throwsBeforeStop = throwCount();

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

  const double limitMs = options.burst * roundTripMedian / 1000;
  std::printf("\n");
  Row("Figure", "Value");
  std::printf("|%s|%s|\n", std::string(60, '-').c_str(), std::string(54, '-').c_str());
  Row("Loopback UDP round trip (the floor, same run)",
      Format("median %.1f us, min %.1f us, 99th %.1f us", roundTripMedian, Percentile(roundTrips, 0.0),
             Percentile(roundTrips, 0.99)));
  Row(Format("Daemon CPU per order (%.0f orders, one at a time)", options.orders), Spread(orderCpu, "us"));
  Row("  per order in the quiet burst (mean)", Format("%.1f us", burstCpuPerOrder));
  Row(Format("Daemon CPU per no-op data packet (%.0f)", options.noops), Spread(noopCpu, "us"));
  Row("System calls per no-op data packet (all threads)",
      traced ? Format("%.2f", noopCalls / tracedNoops) + " " + noopTable : std::string("strace missing"));
  Row("System calls per order (all threads)",
      traced ? Format("%.1f", orderCalls / tracedOrders) + " " + orderTable : std::string("strace missing"));
  Row("Exceptions thrown: orders / no-ops / texts",
      throws ? Format("%.0f / %.0f / ", orderThrows, noopThrows) + Format("%.0f", textThrows)
             : std::string("not counted"));
  Row("  at start-up (reading missing files is allowed to throw)",
      throws ? Format("%.0f", throwsAtStart) : std::string("not counted"));
  Row("Order latency, unit's data packet to COrderReceivedEvent",
      Format("median %.0f us, 99th percentile %.0f us", Percentile(latencies, 0.5),
             Percentile(latencies, 0.99)));
  Row("  Unit's data packet to the daemon's acknowledgement",
      Format("median %.0f us, 99th percentile %.0f us", Percentile(ackTimes, 0.5),
             Percentile(ackTimes, 0.99)));
  Row(Format("Burst of %.0f orders, first packet to last event", options.burst),
      Format("%.2f ms = %.1f x the limit of %.2f ms", burstMs, burstMs / limitMs, limitMs));
  Row("  the same beside two busy loops",
      Format("%.2f ms = %.1f x the quiet limit", busyBurstMs, busyBurstMs / limitMs) +
          Format(" (round trip then %.1f us)", Percentile(busyRoundTrips, 0.5)));
  auto idleRows = [&](const std::string& what, const TaskStats& before, const TaskStats& after, double wall) {
    Row(Format(what.c_str(), wall),
        Format("%.2f wake-ups/s (+%.2f preempted/s), CPU %.2f ms/s",
               (after.voluntary - before.voluntary) / wall, (after.involuntary - before.involuntary) / wall,
               (after.runNs - before.runNs) / 1e6 / wall));
  };
  idleRows("Idle %.0f s, both links up, empty database", idleBefore, idleAfter, idleWall);
  idleRows("Idle %.0f s, both links up, full database", fullBefore, fullAfter, fullWall);
  Row("SIGTERM to exit (full database, both links up)",
      Format("%.1f ms, exit status %.0f", stopMs, WIFEXITED(status) ? WEXITSTATUS(status) : -1));
  Row("Resident memory, idle (empty database)", Format("%.0f KiB", static_cast<double>(idleKiB)));
  Row(Format("Resident memory, full database (100 orders, %.0f texts)", std::min(100u, options.texts)),
      Format("%.0f KiB", static_cast<double>(fullKiB)));
  Row("Files after the stop",
      Format("database %.0f bytes, context %.0f bytes", static_cast<double>(databaseStat.st_size),
             static_cast<double>(contextStat.st_size)));
  Row("Database read back",
      loaded ? Format("%.0f orders, %.0f text messages", stored.orders.size(), stored.textMessages.size())
             : std::string("NOT LOADABLE"));
  std::printf("\n");
  std::printf(
      "retransmitted 4:8 packets: %u of the single orders, %u in the burst, %u beside the busy loops;\n"
      "%lu messages reached the navigation client; throws at the stop: %.0f\n",
      retransmitted, burstRetransmitted, busyRetransmitted, nav.Received(),
      throws ? throwCount() - throwsBeforeStop : -1.0);

  const unsigned sentOrders = nextOrder - 1 + 2 * options.burst;
  const bool complete = loaded && WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
                        stored.orders.size() == std::min(100u, sentOrders) &&
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
                 "usage: velarnd_figures VELARND [--orders N] [--burst N] [--texts N] [--idle SECONDS]\n"
                 "                       [--noops N] [--throw-counter LIBRARY]\n",
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
