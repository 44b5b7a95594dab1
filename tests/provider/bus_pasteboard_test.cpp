// SPDX-License-Identifier: MIT
// The pasteboard of Perform written to and read back from a bus message, without a bus.
#include "provider/bus_pasteboard.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace textrix {
namespace {

// A message to write and read back. sd-bus makes messages only for a bus that has been started;
// starting one without an address fails but leaves it opening, which is enough.
class Message {
 public:
  Message() {
    sd_bus_new(&bus_);
    sd_bus_start(bus_);
    sd_bus_message_new(bus_, &message_, _SD_BUS_MESSAGE_TYPE_INVALID);
  }
  ~Message() {
    sd_bus_message_unref(message_);
    sd_bus_unref(bus_);
  }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  sd_bus_message* get() const { return message_; }
  // Ends the writing; reading starts at the beginning.
  void seal() { ASSERT_GE(sd_bus_message_seal(message_, 1, 0), 0); }

 private:
  sd_bus* bus_ = nullptr;
  sd_bus_message* message_ = nullptr;
};

std::vector<std::pair<std::string, std::string>> owned(const std::vector<PasteboardItem>& items) {
  std::vector<std::pair<std::string, std::string>> copies;
  for (const PasteboardItem& item : items) copies.emplace_back(item.type, item.content);
  return copies;
}

TEST(BusPasteboard, ContentsGoOutAsBytesAndComeBackWhereTheyLie) {
  const std::string binary("\0\xFF{\\rtf1}\0", 10);
  const OutgoingItem items[] = {
      {"NSStringPboardType", u"caf\u00E9 \U0001F600"},
      {"NSRTFDPboardType", std::string_view(binary)},
      {"text/rtf", std::string_view()},
      {"NSStringPboardType", u""},
  };
  Message message;
  ASSERT_NO_THROW(appendPasteboard(message.get(), items));
  ASSERT_GE(sd_bus_message_append_basic(message.get(), SD_BUS_TYPE_STRING, "after"), 0);
  ASSERT_NO_FATAL_FAILURE(message.seal());

  const std::vector<PasteboardItem> read = readPasteboard(message.get());
  EXPECT_EQ(owned(read), (std::vector<std::pair<std::string, std::string>>{
                             {"NSStringPboardType", "caf\xC3\xA9 \xF0\x9F\x98\x80"},
                             {"NSRTFDPboardType", binary},
                             {"text/rtf", ""},
                             {"NSStringPboardType", ""},
                         }));
  // The read position is past the pasteboard, at the next argument.
  const char* after = nullptr;
  ASSERT_GT(sd_bus_message_read_basic(message.get(), SD_BUS_TYPE_STRING, &after), 0);
  EXPECT_STREQ(after, "after");
}

TEST(BusPasteboard, NoPasteboardWhereOneBelongsIsABusError) {
  const struct {
    const char* holds;
    int (*write)(sd_bus_message*);
  } cases[] = {
      {"nothing", [](sd_bus_message*) { return 0; }},
      {"a string",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "s", "NSStringPboardType"); }},
      {"pairs of strings",
       [](sd_bus_message* m) {
         return sd_bus_message_append(m, "a(ss)", 1, "NSStringPboardType", "a");
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.holds);
    Message message;
    ASSERT_GE(c.write(message.get()), 0);
    ASSERT_NO_FATAL_FAILURE(message.seal());
    EXPECT_THROW(readPasteboard(message.get()), sdbus::Error);
  }
}

}  // namespace
}  // namespace textrix
