#pragma once

#include <cstdint>
#include <string>

#include "velarn/pdu/GPSFix.h"
#include "velarn/pdu/LogbookData.h"
#include "velarn/pdu/StatusTableRow.h"

namespace common {
class Buffer;
}

// The other end of the unit link: what a telematics unit, or a simulator
// standing in for one, needs. It writes the PDUs that this device decodes,
// from the same structures the decoders fill, and reads the PDUs that this
// device encodes back into their classes. The daemon itself doesn't use any
// of this.
//
// Every Write... empties the target buffer first. A decoder of this device
// gives back what was written: Decode(Write(x)) == x for every value the
// wire can carry.
namespace velarn {

class AOutgoingAppMsg;

// 1:2 with all ten options. tripValid is written as 0 (valid) or 1.
void WriteLogbookData(const LogbookData& logbook, common::Buffer& out);

// 4:3 with both options; the flag as 1 or 0.
void WriteStatusTableSize(uint8_t rowCount, bool flag, common::Buffer& out);

// 4:5 with the three options.
void WriteStatusTableRow(uint8_t index, const StatusTableRow& row, common::Buffer& out);

// 4:6, no options.
void WriteStatusTableChanged(common::Buffer& out);

// 4:8: option 1 the server message, option 3 the valid flag as 1 or 0.
void WriteServerMessage(const common::Buffer& message, bool valid, common::Buffer& out);

// 4:A: the registration state and the extra value, ASCII digits.
void WriteNetworkRegistration(uint8_t status, uint8_t extra, common::Buffer& out);

// 7:1. An option is left out while its field holds its value from before
// decoding, so that the daemon's decoder ends with the same structure. speed
// and course are written in tenths (times 10). With fixEx, option 10 carries
// its block: latitude, longitude and the three dilutions are multiplied back
// by 10; one that doesn't fit in its wire field that way (such as an empty
// 0x7FFFFFFF) is written as it is. opaque9 takes the single byte at 0x34.
void WriteGPSFix(const GPSFix& fix, const GPSFixEx* fixEx, common::Buffer& out);

// 8:2: the name, and the value unless it is null (the unit doesn't know the
// parameter).
void WriteParamValue(const std::string& name, const common::Buffer* value, common::Buffer& out);

// 8:4, the unit reads a parameter of this device.
void WriteParamRead(const std::string& name, common::Buffer& out);

// 8:6, a parameter of the unit changed.
void WriteParamChanged(const std::string& name, common::Buffer& out);

// Reads a PDU that this device sends (1:1, 1:3, 4:2, 4:4, 4:7, 4:B, 7:2, 8:1,
// 8:3, 8:5) into a new object of its class, which the caller owns. Unknown
// options are skipped, and of a repeated option only the last one counts; a
// fixed-size option of another length is refused.
// Throws ParseException: "invalid pdu", "can't find a factory", "size of
// parameter doesn't match to the size of the expected type", or "missing
// option N in pdu C:T" for a missing option that the class always writes.
AOutgoingAppMsg* DecodeOutgoingAppMsg(const common::Buffer& buffer);

}  // namespace velarn
