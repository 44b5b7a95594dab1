// SPDX-License-Identifier: MIT
// The pasteboard of Perform, a(say), read from and written to a bus message through sd-bus itself:
// sdbus-c++ 1.2 moves an array of bytes one element per library call, which made a 1 MiB request
// take a fifth of a second. Here each content is one call: a request's bytes are viewed where they
// lie in the message, and an outgoing content is written straight into the message, plain text
// encoded as UTF-8 on the way. The provider and its client both go through these.
//
//   sdbus::MethodCall call = proxy.createMethodCall(interface, "Perform");
//   call << service;
//   textrix::appendPasteboard(textrix::rawMessage(call), items);
//   ...
//   sdbus::MethodReply reply = proxy.callMethod(call);
//   auto answer = textrix::readPasteboard(textrix::rawMessage(reply));  // views into reply
#pragma once

#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

#include <span>
#include <vector>

#include "provider/requests.h"

namespace textrix {

// The sd-bus message beneath a message of sdbus-c++, for as long as that message lives.
sd_bus_message* rawMessage(const sdbus::Message& message);

// Reads an a(say) at the message's read position. The items view the message's own bytes, valid
// while the message lives. Throws sdbus::Error when the message holds no a(say) there.
std::vector<PasteboardItem> readPasteboard(sd_bus_message* message);

// Appends the items as an a(say), each content with one call. Throws sdbus::Error when the message
// cannot take them.
void appendPasteboard(sd_bus_message* message, std::span<const OutgoingItem> items);

}  // namespace textrix
