#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>

#include "common/Exceptions.h"
#include "support/NoStandardInput.h"
#include "support/TempDir.h"
#include "support/Thrown.h"
#include "velarn/ContextFile.h"
#include "velarn/TransportStack.h"

using testsupport::Thrown;

namespace {

velarn::TransportLayerContext Sample() {
  velarn::TransportLayerContext context;
  context.sessionId = 0x1234;
  context.txSequence = 7;
  context.rxSequence = 200;
  context.retryCount = 5;
  context.packets.emplace_back(2, linktest::ToBuffer({0x04, 0x07, 0x01, 0x02, 0x00, 0xAB, 0xCD}));
  context.packets.emplace_back(4, linktest::ToBuffer({}));
  context.packets.emplace_back(6, linktest::ToBuffer({0x01, 0x03, 0x01, 0x01, 0x00, 0x02}));
  return context;
}

// Every field, and each packet as "flags:bytes".
std::string Show(const velarn::ATransportLayerContext* base) {
  auto* context = dynamic_cast<const velarn::TransportLayerContext*>(base);
  if (context == nullptr) {
    return "not a TransportLayerContext";
  }
  std::ostringstream text;
  text << context->sessionId << " " << int(context->txSequence) << " " << int(context->rxSequence) << " "
       << context->retryCount;
  for (const velarn::Packet& packet : context->packets) {
    text << " " << packet.flags << ":" << linktest::Dump(packet.data);
  }
  return text.str();
}

std::string Archive(const velarn::ATransportLayerContext* context) {
  std::ostringstream out;
  velarn::WriteContextArchive(out, context);
  return out.str();
}

std::unique_ptr<velarn::ATransportLayerContext> Load(const std::string& bytes) {
  std::istringstream in(bytes);
  return std::unique_ptr<velarn::ATransportLayerContext>(velarn::ReadContextArchive(in));
}

const std::string kSample = "4660 7 200 5 2:04:07:01:02:00:ab:cd 4: 6:01:03:01:01:00:02";
const std::string kFields = "\x34\x12\x07\xC8\x05\x00\x00\x00";

TEST(TransportContextTest, ArchiveRoundTripsAndRefusesDamage) {
  const velarn::TransportLayerContext sample = Sample(), empty;
  const std::string bytes = Archive(&sample);
  // The concrete class travels by its export key, registered by the library
  // itself; its fields follow in their archived order and widths.
  const std::string::size_type name = bytes.find("velarn::TransportLayerContext");
  ASSERT_NE(std::string::npos, name);
  EXPECT_NE(std::string::npos, bytes.find(kFields, name));
  EXPECT_EQ(kSample, Show(Load(bytes).get()));
  EXPECT_EQ("0 0 0 0", Show(Load(Archive(&empty)).get()));
  EXPECT_EQ(nullptr, Load(Archive(nullptr)));

  for (size_t cut = 0; cut < bytes.size(); cut += 3) {
    EXPECT_ANY_THROW(Load(bytes.substr(0, cut))) << "cut at " << cut;
  }
  // A packet count of all ones ends at the end of the file (the list is never
  // sized from the count), and the lengths the archive would trust before
  // checking anything (the signature's and the class name's) are refused.
  std::string hostile = bytes;
  hostile.replace(bytes.find(std::string("\x03\x00\x00\x00", 4), bytes.find(kFields) + 8), 4,
                  "\xFF\xFF\xFF\xFF");
  EXPECT_ANY_THROW(Load(hostile));
  for (const std::string::size_type at : {std::string::size_type(4), name - 3}) {
    std::string huge = bytes;
    huge[at] = '\x7F';
    EXPECT_ANY_THROW(Load(huge)) << "length byte at " << at;
  }
  // A payload that claims a huge block keeps only what it holds.
  std::string greedy = bytes;
  greedy.replace(bytes.find("\xC8\x00\x00\x00\x07\x00\x00\x00\x07", 0, 9) + 4, 4, std::string("\0\0\0\1", 4));
  std::unique_ptr<velarn::ATransportLayerContext> loaded = Load(greedy);
  EXPECT_EQ(kSample, Show(loaded.get()));
  EXPECT_EQ(7u, dynamic_cast<velarn::TransportLayerContext&>(*loaded).packets.front().data.GetCapacity());
}

TEST(TransportContextTest, LayerCopiesTheContextInAndOut) {
  boost::recursive_mutex mutex;
  common::TimerMgr timers(mutex, 200);
  velarn::TransportLayerImpl layer(timers);
  EXPECT_EQ("0 0 0 0", Show(std::unique_ptr<velarn::ATransportLayerContext>(layer.GetContext()).get()));
  velarn::TransportLayerContext sample = Sample();
  layer.SetContext(&sample);
  sample.packets.clear();  // the layer took copies
  // A queued packet keeps the capacity of the transmit buffer it came from,
  // in the file and after loading it back.
  {
    common::Buffer transmit(2048, 200);
    transmit.Append("\x04\x07", 2);
    layer.Send(2, transmit);
    std::unique_ptr<velarn::ATransportLayerContext> out(layer.GetContext());
    const std::string stored = Archive(out.get());
    EXPECT_NE(std::string::npos, stored.find(std::string("\xC8\0\0\0\0\x08\0\0\x02\0\0\0\x04\x07", 14)));
    EXPECT_EQ(stored, Archive(Load(stored).get()));
    sample = Sample();
    layer.SetContext(&sample);
  }
  struct Foreign : velarn::ATransportLayerContext {};
  Foreign foreign;
  for (velarn::ATransportLayerContext* wrong : {static_cast<velarn::ATransportLayerContext*>(&foreign),
                                                static_cast<velarn::ATransportLayerContext*>(nullptr)}) {
    EXPECT_EQ("context must be a TranportLayerContext",
              Thrown<std::invalid_argument>([&] { layer.SetContext(wrong); }));
  }
  // A refused context changed nothing.
  EXPECT_EQ(kSample, Show(std::unique_ptr<velarn::ATransportLayerContext>(layer.GetContext()).get()));
  EXPECT_STREQ("closed", layer.GetStateName());
}

TEST(TransportContextTest, FileIsReplacedWholeWithModeForEveryone) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarn.ctx"), blocked = folder.File("blocked");
  const mode_t previous = ::umask(022);
  const velarn::TransportLayerContext sample = Sample(), empty;
  velarn::WriteContextFile(path, &empty);
  {
    // Without standard input the file is descriptor 0, and closed again.
    testsupport::NoStandardInput closed;
    velarn::WriteContextFile(path, &sample);
    EXPECT_EQ(-1, ::fcntl(0, F_GETFD));
    delete velarn::ReadContextFile(path);
    EXPECT_EQ(-1, ::fcntl(0, F_GETFD));
  }
  ::umask(previous);
  struct stat status {};
  ASSERT_EQ(0, ::stat(path.c_str(), &status));
  EXPECT_EQ(0666u, status.st_mode & 0777);
  EXPECT_EQ(kSample,
            Show(std::unique_ptr<velarn::ATransportLayerContext>(velarn::ReadContextFile(path)).get()));

  // A write that can't finish leaves no temporary file behind.
  ASSERT_EQ(0, ::mkdir(blocked.c_str(), 0755));
  EXPECT_EQ(0u, Thrown<IOException>([&] {
                  velarn::WriteContextFile(blocked, &sample);
                }).find("could not replace " + blocked));
  for (const std::string& file : {path, blocked}) {
    EXPECT_NE(0, ::stat((file + ".tmp").c_str(), &status));
  }
  const std::string missing = folder.File("missing/velarn.ctx");
  EXPECT_EQ(0u, Thrown<IOException>([&] {
                  velarn::WriteContextFile(missing, &sample);
                }).find("could not create " + missing));
  EXPECT_EQ(0u, Thrown<IOException>([&] {
                  delete velarn::ReadContextFile(folder.File("absent.ctx"));
                }).find("could not open "));
  testsupport::WriteFile(folder.File("garbage.ctx"), "not an archive at all");
  EXPECT_ANY_THROW(delete velarn::ReadContextFile(folder.File("garbage.ctx")));
}

}  // namespace
