#pragma once

// What the numbers on the three links and in the database mean, in words a
// person reads: "carried out" for an acknowledgement's 1, a date for a count
// of seconds, degrees for a coordinate. The tools print these beside the
// numbers (never instead of them), so that the raw value stays visible.
//
// The same thing has different numbers on different links: an order's type
// is 0, 1 or 2 at the office and 1, 2 or 3 at the navigation application, a
// logbook mode 1..3 at the office, 2..4 in the unit and 8, 2, 4 on the
// navigation link. The texts below name each value by the office's number
// where the numbers differ, so that one order reads the same on every link.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace velarnctl {

// How a tool prints what it saw: numbers with their meanings (the default),
// the numbers alone in the stable form that older scripts match, or one
// JSON object per line.
enum class OutputForm { Readable, Raw, Json };

// A JSON value on one line; bytes of a string that aren't UTF-8 are
// replaced (U+FFFD) instead of failing.
std::string JsonLine(const nlohmann::ordered_json& value);

// Reads "--raw" and "--json" (and "--readable"); false for any other word.
bool ParseOutputForm(const std::string& option, OutputForm& form);

// Each of these returns "" for a value without a known meaning.

// CAcknowledge "Error": 1 carried out, 2 refused.
std::string AcknowledgeMeaning(uint32_t error);
// The order's state as the database and the navigation link keep it.
std::string OrderStateMeaning(uint32_t state);
// The order type as stored and shown to the driver (1, 2, 3), named by the
// office's number: "office type 1".
std::string StoredOrderTypeMeaning(uint32_t stored);
// The order type as the office sends it (0, 1, 2), with the number the
// driver sees: "driver type 3".
std::string OfficeOrderTypeMeaning(uint32_t office);
// Workflow codes of orders (101 received ... 401 completed) and of text
// messages (101 received, 102 read).
std::string OrderWorkflowMeaning(uint32_t code);
std::string TextMessageWorkflowMeaning(uint32_t code);
// Working time: states 1..3 and actions 2, 4, 8, 16 (a mask lists them all).
std::string WorkingTimeStateMeaning(uint32_t state);
std::string WorkingTimeActionsMeaning(uint32_t mask);
// Logbook modes in the numbers of the unit and the database (2, 3, 4), the
// navigation link (8, 2, 4, 16; a mask lists them all) and the office (1..3).
std::string UnitLogbookModeMeaning(uint32_t mode);
std::string NavLogbookModesMeaning(uint32_t mask);
std::string OfficeLogbookModeMeaning(uint32_t mode);
// "bit 3", or "bits 0,1,4" for a mask.
std::string BitsMeaning(uint32_t mask);

// Times. 0 (and all ones where the clock counts from 2000) mean "none".
// Seconds since 1970, as the daemon and the navigation link count:
std::string TimeMeaning(int64_t secondsSince1970);
// Seconds since 2000-01-01, as the unit and the office count:
std::string Time2000Meaning(uint32_t secondsSince2000);
// Milliseconds since 2000-01-01, the office's event time:
std::string TimeMs2000Meaning(uint64_t millisecondsSince2000);
// "2024-06-01 12:00:00 UTC" (with ".123" when milliseconds are given).
std::string UtcText(int64_t secondsSince1970, int milliseconds = -1);

// A coordinate given in 1/scale of a degree (scale 100000 on the
// navigation link, 1000000 at the office and the unit), "48.137154° N".
std::string LatitudeMeaning(int64_t value, int64_t scale);
std::string LongitudeMeaning(int64_t value, int64_t scale);
// The same as plain decimal degrees, without sign letters: "-48.137154".
std::string DecimalDegrees(int64_t value, int64_t scale);

// The value, followed by " (meaning)" in the readable form when there is one.
std::string Annotated(OutputForm form, const std::string& value, const std::string& meaning);

}  // namespace velarnctl
