// SPDX-License-Identifier: MIT
#include "provider/bus_pasteboard.h"

#include <cerrno>
#include <string>

namespace textrix {
namespace {

// sdbus-c++ keeps the sd-bus message it wraps in a protected member and offers no accessor. A
// pointer to that member, which a derived class may form, reads it from any message.
struct MessageAccess : sdbus::Message {
  static sd_bus_message* of(const sdbus::Message& message) {
    return static_cast<sd_bus_message*>(message.*(&MessageAccess::msg_));
  }
};

// The result of an sd-bus call that succeeded; a failure (a negative errno) is thrown as the bus
// error of that errno, as sdbus-c++ does for its own calls.
int checked(int result, const char* failure) {
  if (result < 0) throw sdbus::createError(-result, failure);
  return result;
}

constexpr const char* kReadFailure = "Failed to read the pasteboard (a(say))";
constexpr const char* kAppendFailure = "Failed to append the pasteboard (a(say))";

// Enters the container at the read position; false at the end of the enclosing one.
bool entered(sd_bus_message* message, char type, const char* contents) {
  return checked(sd_bus_message_enter_container(message, type, contents), kReadFailure) > 0;
}

}  // namespace

sd_bus_message* rawMessage(const sdbus::Message& message) {
  return MessageAccess::of(message);
}

std::vector<PasteboardItem> readPasteboard(sd_bus_message* message) {
  // The end of the message is no pasteboard where one belongs.
  if (!entered(message, SD_BUS_TYPE_ARRAY, "(say)")) throw sdbus::createError(ENXIO, kReadFailure);
  std::vector<PasteboardItem> items;
  while (entered(message, SD_BUS_TYPE_STRUCT, "say")) {
    const char* type = nullptr;
    const void* bytes = nullptr;
    std::size_t size = 0;
    checked(sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &type), kReadFailure);
    checked(sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &bytes, &size), kReadFailure);
    checked(sd_bus_message_exit_container(message), kReadFailure);
    items.push_back({type, {static_cast<const char*>(bytes), size}});
  }
  checked(sd_bus_message_exit_container(message), kReadFailure);
  return items;
}

void appendPasteboard(sd_bus_message* message, std::span<const OutgoingItem> items) {
  checked(sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "(say)"), kAppendFailure);
  for (const OutgoingItem& item : items) {
    checked(sd_bus_message_open_container(message, SD_BUS_TYPE_STRUCT, "say"), kAppendFailure);
    checked(
        sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, std::string(item.type).c_str()),
        kAppendFailure);
    void* space = nullptr;
    const std::size_t size = item.size();
    checked(sd_bus_message_append_array_space(message, SD_BUS_TYPE_BYTE, size, &space),
            kAppendFailure);
    item.copyTo(static_cast<char*>(space));
    checked(sd_bus_message_close_container(message), kAppendFailure);
  }
  checked(sd_bus_message_close_container(message), kAppendFailure);
}

}  // namespace textrix
