#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "common/Exceptions.h"
#include "support/TempDir.h"
#include "velarn/ContextFile.h"
#include "velarn/TransportStack.h"

using linktest::Bytes;

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

void ExpectSame(const velarn::TransportLayerContext& expected, const velarn::TransportLayerContext& actual) {
  EXPECT_EQ(expected.sessionId, actual.sessionId);
  EXPECT_EQ(expected.txSequence, actual.txSequence);
  EXPECT_EQ(expected.rxSequence, actual.rxSequence);
  EXPECT_EQ(expected.retryCount, actual.retryCount);
  ASSERT_EQ(expected.packets.size(), actual.packets.size());
  auto left = expected.packets.begin();
  for (auto right = actual.packets.begin(); right != actual.packets.end(); ++left, ++right) {
    EXPECT_EQ(left->flags, right->flags);
    EXPECT_EQ(linktest::ToBytes(left->data), linktest::ToBytes(right->data));
  }
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

TEST(TransportContextTest, ArchiveRoundTripsThroughTheBasePointer) {
  const velarn::TransportLayerContext sample = Sample();
  const std::string bytes = Archive(&sample);
  // The concrete class travels by its export key, registered by the library
  // itself (this test program names no export of its own).
  EXPECT_NE(std::string::npos, bytes.find("velarn::TransportLayerContext"));
  std::unique_ptr<velarn::ATransportLayerContext> loaded = Load(bytes);
  auto* concrete = dynamic_cast<velarn::TransportLayerContext*>(loaded.get());
  ASSERT_NE(nullptr, concrete);
  ExpectSame(sample, *concrete);

  // The empty context too; and a null pointer comes back as null.
  const velarn::TransportLayerContext empty;
  loaded = Load(Archive(&empty));
  concrete = dynamic_cast<velarn::TransportLayerContext*>(loaded.get());
  ASSERT_NE(nullptr, concrete);
  ExpectSame(empty, *concrete);
  EXPECT_EQ(nullptr, Load(Archive(nullptr)));

  // Fields follow the key in their archived order and widths: session (2
  // bytes), the two numbers (1 each), the count (4), then the list.
  const std::string::size_type key = bytes.find("velarn::TransportLayerContext");
  const std::string fields = "\x34\x12\x07\xC8\x05\x00\x00\x00";
  EXPECT_NE(std::string::npos, bytes.find(fields, key)) << "fields not found behind the key";
}

TEST(TransportContextTest, DamagedArchivesAreRefused) {
  const velarn::TransportLayerContext sample = Sample();
  const std::string bytes = Archive(&sample);
  for (size_t cut = 0; cut < bytes.size(); cut += 3) {
    EXPECT_ANY_THROW(Load(bytes.substr(0, cut))) << "cut at " << cut;
  }

  // A packet count of all ones ends at the end of the file: the list is
  // filled as packets arrive, never sized from the count up front.
  const std::string::size_type fields = bytes.find("\x34\x12\x07\xC8\x05\x00\x00\x00");
  ASSERT_NE(std::string::npos, fields);
  const std::string::size_type count = bytes.find(std::string("\x03\x00\x00\x00", 4), fields + 8);
  ASSERT_NE(std::string::npos, count);
  std::string hostile = bytes;
  hostile.replace(count, 4, "\xFF\xFF\xFF\xFF");
  EXPECT_ANY_THROW(Load(hostile));

  // Lengths that the archive would trust before checking anything: the
  // signature's and the class name's. Both are refused up front.
  const std::string::size_type name = bytes.find("velarn::TransportLayerContext");
  ASSERT_NE(std::string::npos, name);
  for (const std::string::size_type at : {std::string::size_type(4), name - 3}) {
    std::string huge = bytes;
    huge[at] = '\x7F';
    EXPECT_ANY_THROW(Load(huge)) << "length byte at " << at;
  }

  // A payload that claims a huge block keeps only what it holds.
  const std::string payload("\xC8\x00\x00\x00\x07\x00\x00\x00\x07\x00\x00\x00\x04\x07", 14);
  const std::string::size_type first = bytes.find(payload);
  ASSERT_NE(std::string::npos, first);
  std::string greedy = bytes;
  greedy.replace(first + 4, 4, std::string("\x00\x00\x00\x01", 4));  // 16 MiB
  std::unique_ptr<velarn::ATransportLayerContext> loaded = Load(greedy);
  auto* concrete = dynamic_cast<velarn::TransportLayerContext*>(loaded.get());
  ASSERT_NE(nullptr, concrete);
  ExpectSame(sample, *concrete);
  EXPECT_EQ(7u, concrete->packets.front().data.GetCapacity());
}

TEST(TransportContextTest, LayerCopiesTheContextInAndOut) {
  boost::recursive_mutex mutex;
  common::TimerMgr timers(mutex, 200);
  velarn::TransportLayerImpl layer(timers);
  // A fresh layer has no session.
  std::unique_ptr<velarn::ATransportLayerContext> initial(layer.GetContext());
  ExpectSame(velarn::TransportLayerContext(), dynamic_cast<velarn::TransportLayerContext&>(*initial));

  velarn::TransportLayerContext sample = Sample();
  layer.SetContext(&sample);
  sample.packets.clear();  // the layer took copies
  std::unique_ptr<velarn::ATransportLayerContext> out(layer.GetContext());
  ExpectSame(Sample(), dynamic_cast<velarn::TransportLayerContext&>(*out));
  EXPECT_STREQ("closed", layer.GetStateName());

  // A queued packet keeps the capacity of the transmit buffer it came from,
  // in the file and after loading it back.
  common::Buffer transmit(2048, 200);
  transmit.Append("\x04\x07", 2);
  layer.Send(2, transmit);
  out.reset(layer.GetContext());
  const std::string stored = Archive(out.get());
  EXPECT_NE(std::string::npos, stored.find(std::string("\xC8\0\0\0\0\x08\0\0\x02\0\0\0\x04\x07", 14)));
  EXPECT_EQ(stored, Archive(Load(stored).get()));
  sample = Sample();
  layer.SetContext(&sample);

  struct Foreign : velarn::ATransportLayerContext {};
  Foreign foreign;
  for (velarn::ATransportLayerContext* wrong : {static_cast<velarn::ATransportLayerContext*>(&foreign),
                                                static_cast<velarn::ATransportLayerContext*>(nullptr)}) {
    try {
      layer.SetContext(wrong);
      ADD_FAILURE() << "accepted";
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ("context must be a TranportLayerContext", error.what());
    }
  }
  // A refused context changes nothing.
  out.reset(layer.GetContext());
  ExpectSame(Sample(), dynamic_cast<velarn::TransportLayerContext&>(*out));
}

TEST(TransportContextTest, FileIsReplacedWholeWithModeForEveryone) {
  testsupport::TempDir folder;
  const std::string path = folder.File("velarn.ctx");
  const mode_t previous = ::umask(022);
  velarn::TransportLayerContext empty;
  velarn::WriteContextFile(path, &empty);
  const velarn::TransportLayerContext sample = Sample();
  velarn::WriteContextFile(path, &sample);
  ::umask(previous);

  struct stat status {};
  ASSERT_EQ(0, ::stat(path.c_str(), &status));
  EXPECT_EQ(0666u, status.st_mode & 0777);
  EXPECT_NE(0, ::stat((path + ".tmp").c_str(), &status));
  std::unique_ptr<velarn::ATransportLayerContext> loaded(velarn::ReadContextFile(path));
  ExpectSame(sample, dynamic_cast<velarn::TransportLayerContext&>(*loaded));

  // A write that can't finish leaves the old file and no temporary one.
  const std::string blocked = folder.File("blocked");
  ASSERT_EQ(0, ::mkdir(blocked.c_str(), 0755));
  try {
    velarn::WriteContextFile(blocked, &sample);
    ADD_FAILURE() << "written over a folder";
  } catch (const IOException& error) {
    EXPECT_EQ(0u, std::string(error.what()).find("could not replace " + blocked)) << error.what();
  }
  EXPECT_NE(0, ::stat((blocked + ".tmp").c_str(), &status));
  try {
    velarn::WriteContextFile(folder.File("missing/velarn.ctx"), &sample);
    ADD_FAILURE() << "written into a missing folder";
  } catch (const IOException& error) {
    EXPECT_EQ(0u, std::string(error.what()).find("could not create " + folder.File("missing/velarn.ctx")));
  }

  try {
    delete velarn::ReadContextFile(folder.File("absent.ctx"));
    ADD_FAILURE() << "read a missing file";
  } catch (const IOException& error) {
    EXPECT_EQ(0u, std::string(error.what()).find("could not open "));
  }
  testsupport::WriteFile(folder.File("garbage.ctx"), "not an archive at all");
  EXPECT_ANY_THROW(delete velarn::ReadContextFile(folder.File("garbage.ctx")));
}

}  // namespace
