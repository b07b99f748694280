// The senders: whether a kind's next unsent record may be handed to the HTTP Send App now, and handing it
// over.
#pragma once

#include "ground/SourceKind.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/outbound/SendOutcome.h"

namespace datacollector {

// Hands over the oldest unsent record of a kind if the kind's gate is open: nothing has been sent yet,
// the last delivery was confirmed, or a retry is due. The gate of the three meter kinds is always open,
// unless rounds are fast: they send at every call while the WAN is up. `releaseTime` is the kind's release
// time as it stood when the caller decided to call, in seconds: a later one means that a confirmation came in
// between. Forwarding thread.
SendOutcome Send(SourceKind kind, ClientConfig& cfg, double releaseTime);

// The same for one kind.
void SendAIDCDBRecord(ClientConfig& cfg, double releaseTime);
void SendDIODCDBRecord(ClientConfig& cfg, double releaseTime);
void SendTemperatureDCDBRecord(ClientConfig& cfg, double releaseTime);
void SendRS485DCDBRecord(ClientConfig& cfg, double releaseTime);
void SendRS232DCDBRecord(ClientConfig& cfg, double releaseTime);
void SendSNMPDCDBRecord(ClientConfig& cfg, double releaseTime);

}  // namespace datacollector
