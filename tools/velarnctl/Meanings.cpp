#include "velarnctl/Meanings.h"

#include <time.h>

#include <algorithm>
#include <cstdio>

#include "common/Time.h"

namespace velarnctl {

namespace {

struct Name {
  uint32_t value;
  const char* text;
};

template <size_t N>
std::string Lookup(const Name (&names)[N], uint32_t value) {
  for (const Name& name : names) {
    if (name.value == value) {
      return name.text;
    }
  }
  return "";
}

// The names of the bits set in mask, joined by ", "; an unknown bit by its
// value.
template <size_t N>
std::string MaskNames(const Name (&names)[N], uint32_t mask) {
  std::string text;
  for (uint32_t bit = 1; bit != 0; bit <<= 1) {
    if ((mask & bit) != 0) {
      const std::string name = Lookup(names, bit);
      text += (text.empty() ? "" : ", ") + (name.empty() ? std::to_string(bit) : name);
    }
  }
  return mask == 0 ? "none" : text;
}

const Name kOrderStates[] = {{0, "new"},
                             {1, "new, to be accepted"},
                             {2, "read, to be accepted"},
                             {3, "read"},
                             {4, "accepted"},
                             {5, "cancelled"},
                             {6, "rejected"},
                             {7, "suspended"},
                             {8, "completed"},
                             {9, "active"}};

const Name kOrderWorkflow[] = {{101, "order received"},          {102, "order read"},
                               {103, "order accepted"},          {201, "order started"},
                               {301, "cancelled by the driver"}, {302, "rejected by the driver"},
                               {303, "order suspended"},         {304, "order resumed"},
                               {401, "order completed"}};

const Name kWorkingStates[] = {{1, "working"}, {2, "in a pause"}, {3, "off work"}};
const Name kWorkingActions[] = {
    {2, "start of work"}, {4, "end of work"}, {8, "start of pause"}, {16, "end of pause"}};
const Name kUnitLogbookModes[] = {{2, "private"}, {3, "business"}, {4, "third"}};
const Name kNavLogbookModes[] = {{8, "private"}, {2, "business"}, {4, "third"}, {16, "none"}};
const Name kOfficeLogbookModes[] = {{0, "none"}, {1, "private"}, {2, "business"}, {3, "third"}};

std::string Coordinate(int64_t value, int64_t scale, const char* positive, const char* negative) {
  return DecimalDegrees(value < 0 ? -value : value, scale) + "\u00b0 " + (value < 0 ? negative : positive);
}

}  // namespace

std::string JsonLine(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

bool ParseOutputForm(const std::string& option, OutputForm& form) {
  if (option == "--raw") {
    form = OutputForm::Raw;
  } else if (option == "--json") {
    form = OutputForm::Json;
  } else if (option == "--readable") {
    form = OutputForm::Readable;
  } else {
    return false;
  }
  return true;
}

std::string AcknowledgeMeaning(uint32_t error) {
  return error == 1 ? "carried out" : error == 2 ? "refused" : "";
}

std::string OrderStateMeaning(uint32_t state) { return Lookup(kOrderStates, state); }

std::string StoredOrderTypeMeaning(uint32_t stored) {
  // The office's 1 is stored as 3, its 2 as 2, anything else as 1.
  switch (stored) {
    case 1:
      return "office type 0";
    case 2:
      return "office type 2";
    case 3:
      return "office type 1";
    default:
      return "";
  }
}

std::string OfficeOrderTypeMeaning(uint32_t office) {
  return office == 1 ? "driver type 3" : office == 2 ? "driver type 2" : "driver type 1";
}

std::string OrderWorkflowMeaning(uint32_t code) {
  if (code >= 202 && code <= 216) {
    return "active state bit " + std::to_string(code - 201) + " reached";
  }
  return Lookup(kOrderWorkflow, code);
}

std::string TextMessageWorkflowMeaning(uint32_t code) {
  return code == 101 ? "message received" : code == 102 ? "message read" : "";
}

std::string WorkingTimeStateMeaning(uint32_t state) { return Lookup(kWorkingStates, state); }

std::string WorkingTimeActionsMeaning(uint32_t mask) { return MaskNames(kWorkingActions, mask); }

std::string UnitLogbookModeMeaning(uint32_t mode) {
  const std::string name = Lookup(kUnitLogbookModes, mode);
  return name.empty() ? "none" : name;
}

std::string NavLogbookModesMeaning(uint32_t mask) { return MaskNames(kNavLogbookModes, mask); }

std::string OfficeLogbookModeMeaning(uint32_t mode) { return Lookup(kOfficeLogbookModes, mode); }

std::string BitsMeaning(uint32_t mask) {
  std::string bits;
  unsigned count = 0;
  for (unsigned bit = 0; bit < 32; ++bit) {
    if ((mask >> bit) & 1u) {
      bits += (count++ == 0 ? "" : ",") + std::to_string(bit);
    }
  }
  return count == 0 ? "none" : (count == 1 ? "bit " : "bits ") + bits;
}

std::string UtcText(int64_t secondsSince1970, int milliseconds) {
  const time_t value = static_cast<time_t>(secondsSince1970);
  tm parts{};
  char text[64];
  if (gmtime_r(&value, &parts) == nullptr || parts.tm_year + 1900 > 9999 || parts.tm_year + 1900 < 0 ||
      strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts) == 0) {
    return "time out of range";
  }
  std::string result = text;
  if (milliseconds >= 0) {
    char fraction[8];
    std::snprintf(fraction, sizeof(fraction), ".%03d", milliseconds % 1000);
    result += fraction;
  }
  return result + " UTC";
}

std::string TimeMeaning(int64_t secondsSince1970) {
  return secondsSince1970 == 0 ? "none" : UtcText(secondsSince1970);
}

std::string Time2000Meaning(uint32_t secondsSince2000) {
  if (secondsSince2000 == 0 || secondsSince2000 == 0xFFFFFFFFu) {
    return "none";
  }
  return UtcText(static_cast<int64_t>(secondsSince2000) + common::kEpoch2000);
}

std::string TimeMs2000Meaning(uint64_t millisecondsSince2000) {
  if (millisecondsSince2000 == 0) {
    return "none";
  }
  return UtcText(static_cast<int64_t>(millisecondsSince2000 / 1000) + common::kEpoch2000,
                 static_cast<int>(millisecondsSince2000 % 1000));
}

std::string DecimalDegrees(int64_t value, int64_t scale) {
  const uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  int digits = 0;
  for (int64_t s = scale; s > 1; s /= 10) {
    ++digits;
  }
  std::string fraction = std::to_string(magnitude % static_cast<uint64_t>(scale));
  fraction.insert(0, static_cast<size_t>(digits) - std::min(fraction.size(), static_cast<size_t>(digits)),
                  '0');
  return (value < 0 ? "-" : "") + std::to_string(magnitude / static_cast<uint64_t>(scale)) +
         (digits > 0 ? "." + fraction : "");
}

std::string LatitudeMeaning(int64_t value, int64_t scale) { return Coordinate(value, scale, "N", "S"); }

std::string LongitudeMeaning(int64_t value, int64_t scale) { return Coordinate(value, scale, "E", "W"); }

std::string Annotated(OutputForm form, const std::string& value, const std::string& meaning) {
  if (form != OutputForm::Readable || meaning.empty()) {
    return value;
  }
  return value + " (" + meaning + ")";
}

}  // namespace velarnctl
