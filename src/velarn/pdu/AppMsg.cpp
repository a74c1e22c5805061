#include "velarn/pdu/AppMsg.h"

namespace velarn {

void AOutgoingAppMsg::Encode(PDU& pdu) const {
  pdu.id = GetId();
  pdu.parameters.clear();
}

}  // namespace velarn
