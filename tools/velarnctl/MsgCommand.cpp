// velarnctl msg: shows server messages and builds them from JSON, for server
// developers who need test messages and for reading captured ones.
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/Buffer.h"
#include "common/Exceptions.h"
#include "quorlan/AIncomingMessage.h"
#include "quorlan/Message.h"
#include "quorlan/MessageCodec.h"
#include "quorlan/MessageDump.h"
#include "velarnctl/Command.h"
#include "velarnctl/MsgFields.h"
#include "velarnctl/MsgHex.h"
#include "velarnctl/MsgJson.h"
#include "velarnctl/WholeLine.h"

namespace velarnctl {

namespace {

const char kMsgUsage[] =
    "usage: velarnctl msg dump [HEX...] [--hex] [--json]\n"
    "       velarnctl msg encode [JSON|FILE|-] [-o OUT]\n"
    "       velarnctl msg COMMAND --help\n"
    "\n"
    "Server messages: the trees of typed nodes exchanged with the dispatch server.\n"
    "\n"
    "commands:\n"
    "  dump    show a message's node tree and, for the six incoming messages,\n"
    "          their typed fields\n"
    "  encode  build a message from a JSON description\n"
    "\n"
    "The JSON format and the dump are described in docs/server-messages.md.\n";

const char kDumpUsage[] =
    "usage: velarnctl msg dump [--json] HEX...\n"
    "       velarnctl msg dump [--json] [--hex] < MESSAGE\n"
    "\n"
    "Parses one server message and prints its node tree, and for the incoming\n"
    "messages 0x0401 to 0x0406 also their typed fields. The message comes as hex\n"
    "digits in the arguments (blanks and colons between them are ignored), or as\n"
    "raw bytes on standard input.\n"
    "\n"
    "options:\n"
    "  -x, --hex   standard input holds hex text instead of raw bytes\n"
    "  -j, --json  print the JSON description that 'msg encode' reads back\n"
    "  -h, --help  show this text\n"
    "\n"
    "A message that doesn't parse, or an incoming message that breaks a rule of\n"
    "its fields, ends the command with the parser's text and status 1.\n";

const char kEncodeUsage[] =
    "usage: velarnctl msg encode [JSON|FILE|-] [-o OUT]\n"
    "\n"
    "Builds a server message from a JSON description and prints it as hex. The\n"
    "description is the argument itself if it begins with '{', else the content\n"
    "of FILE, or standard input for '-' or no argument. Example:\n"
    "\n"
    "  velarnctl msg encode '{\"id\": \"NewTextMessageInMsg\", \"nodes\": {\"1\": 7, \"2\": \"Hi\"}}'\n"
    "  040401c2070240024869\n"
    "\n"
    "Nodes: integer, true/false, null, \"string\", [list], {\"bytes\": \"ab cd\"} for a\n"
    "byte array, and any other object for a struct whose members are keys\n"
    "(\"1\" to \"255\" or \"0x81\"). The id is a number, \"0x0404\" or a class name.\n"
    "\n"
    "options:\n"
    "  -o, --output OUT  write the raw bytes to the file OUT ('-': standard output)\n"
    "  -h, --help        show this text\n";

int UsageError(const std::string& command, const std::string& text, const char* usage) {
  std::cerr << "velarnctl " << command << ": " << text << "\n\n" << usage;
  return 2;
}

int Failure(const std::string& command, const std::string& text) {
  WriteWhole(std::cerr, "velarnctl " + command + ": " + text + "\n");
  return 1;
}

std::string ReadAll(std::istream& in) {
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

common::Buffer RawBuffer(const std::string& bytes) {
  common::Buffer buffer(static_cast<unsigned>(bytes.size()), 200);
  buffer.Append(bytes.data(), static_cast<unsigned>(bytes.size()));
  return buffer;
}

int RunDump(const std::vector<std::string>& args) {
  const std::string command = "msg dump";
  if (WantsHelp(args)) {
    std::cout << kDumpUsage;
    return 0;
  }
  bool hexInput = false;
  bool json = false;
  std::string hexArgs;
  bool haveHexArgs = false;
  for (const std::string& arg : args) {
    if (arg == "-x" || arg == "--hex") {
      hexInput = true;
    } else if (arg == "-j" || arg == "--json") {
      json = true;
    } else if (arg.size() > 1 && arg[0] == '-') {
      return UsageError(command, "unknown option \"" + arg + "\"", kDumpUsage);
    } else {
      hexArgs += arg + " ";
      haveHexArgs = true;
    }
  }
  if (hexInput && haveHexArgs) {
    return UsageError(command, "--hex reads standard input; don't give the message as arguments too",
                      kDumpUsage);
  }

  common::Buffer bytes(0, 200);
  try {
    if (haveHexArgs) {
      bytes = HexToBuffer(hexArgs);
    } else if (hexInput) {
      bytes = HexToBuffer(ReadAll(std::cin));
    } else {
      bytes = RawBuffer(ReadAll(std::cin));
    }
  } catch (const std::invalid_argument& error) {
    return Failure(command, error.what());
  }

  quorlan::Message tree;
  try {
    tree.Parse(bytes);
  } catch (const ParseException& error) {
    return Failure(command, error.what());
  }
  if (json) {
    std::cout << MessageToJson(tree).dump(2, ' ', false, MessageJson::error_handler_t::replace) << "\n";
    return 0;
  }
  std::cout << tree;
  if (!quorlan::MessageCodec::IsRegistered(tree.GetId())) {
    return 0;
  }
  try {
    const boost::shared_ptr<quorlan::AIncomingMessage> message = quorlan::MessageCodec::Parse(bytes);
    std::cout << "\n";
    PrintFields(std::cout, *message);
  } catch (const ParseException& error) {
    return Failure(command, MessageName(tree.GetId()) + ": " + error.what());
  }
  return 0;
}

int RunEncode(const std::vector<std::string>& args) {
  const std::string command = "msg encode";
  if (WantsHelp(args)) {
    std::cout << kEncodeUsage;
    return 0;
  }
  std::string output;
  bool haveOutput = false;
  std::vector<std::string> sources;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "-o" || args[i] == "--output") {
      if (i + 1 == args.size()) {
        return UsageError(command, args[i] + " needs a file name", kEncodeUsage);
      }
      output = args[++i];
      haveOutput = true;
    } else if (args[i].size() > 1 && args[i][0] == '-') {
      return UsageError(command, "unknown option \"" + args[i] + "\"", kEncodeUsage);
    } else {
      sources.push_back(args[i]);
    }
  }
  if (sources.size() > 1) {
    return UsageError(command, "one description at a time", kEncodeUsage);
  }

  std::string text;
  const std::string source = sources.empty() ? "-" : sources[0];
  const std::string::size_type first = source.find_first_not_of(" \t\r\n");
  if (first != std::string::npos && source[first] == '{') {
    text = source;
  } else if (source == "-") {
    text = ReadAll(std::cin);
  } else {
    std::ifstream file(source, std::ios::binary);
    if (!file) {
      return Failure(command, "can't read \"" + source + "\"");
    }
    text = ReadAll(file);
  }

  quorlan::Message message;
  common::Buffer bytes(1024, 200);
  try {
    MessageFromJson(MessageJson::parse(text), message);
    message.Serialize(bytes);
  } catch (const MessageJson::parse_error& error) {
    return Failure(command, std::string("invalid JSON: ") + error.what());
  } catch (const std::invalid_argument& error) {
    return Failure(command, error.what());
  } catch (const SerializeException& error) {
    return Failure(command, error.what());
  }

  if (!haveOutput) {
    std::cout << BufferToHex(bytes) << "\n";
    return 0;
  }
  if (output == "-") {
    std::cout.write(reinterpret_cast<const char*>(bytes.GetData()), bytes.GetSize());
    std::cout.flush();
    return std::cout ? 0 : Failure(command, "can't write standard output");
  }
  std::ofstream file(output, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.GetData()), bytes.GetSize());
  file.close();
  if (!file) {
    return Failure(command, "can't write \"" + output + "\"");
  }
  return 0;
}

int RunMsg(const std::vector<std::string>& args) {
  if (args.empty()) {
    std::cerr << kMsgUsage;
    return 2;
  }
  const std::string& name = args[0];
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  if (name == "dump") {
    return RunDump(rest);
  }
  if (name == "encode") {
    return RunEncode(rest);
  }
  if (name == "-h" || name == "--help" || name == "help") {
    std::cout << kMsgUsage;
    return 0;
  }
  return UsageError("msg", "unknown command \"" + name + "\"", kMsgUsage);
}

const RegisterCommand registered({"msg", "server messages: dump and encode", &RunMsg});

}  // namespace

}  // namespace velarnctl
