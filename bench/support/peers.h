#ifndef PEERS_H
#define PEERS_H

#include "support/medians.h"

/// What others need for a round trip within one process over 127.0.0.1.

/// Two QUdpSockets in one event loop.
Step udpSocketPingPong(int requestLength, int replyLength);
/// Two sockets of the system, without an event loop.
Step posixPingPong(int requestLength, int replyLength);
/// One register read over Modbus TCP, with one request outstanding.
Step modbusRead();

#endif
