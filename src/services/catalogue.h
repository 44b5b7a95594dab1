// SPDX-License-Identifier: MIT
// The catalogue of services: the one description of every service the provider offers. An entry
// names the service (command name and handler name), says how the selection is read, what is done
// to it, the one message reported when it cannot be done, the pasteboard types taken and given,
// the menu title, a one-line summary and a paragraph of help with an example. One runner serves
// every entry: it reads, transforms, and writes the result back or reports the message.
//
//   const textrix::ServiceEntry* entry = textrix::findService("upper");
//   std::string error;
//   if (entry) textrix::performService(provider, *entry, pasteboard, "", error);
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "runtime/exchange.h"

namespace textrix {

class Textrix;

// How a service reads the selection.
enum class ReadMode {
  plain,           // plain text; rich text loses its attributes
  attributed,      // rich text keeps its attributes, plain text stays plain
  mutableCopy,     // a copy of the attributed reading, edited in place
  lines,           // the attributed reading, converted line by line
  attributedCopy,  // the attributed reading, then a copy of it
  none,            // the pasteboard is not read
};

// The work of a service that reads plain text (or nothing: it is then given the empty text): the
// result to write back, or none to write nothing and report the service's message, if it has one.
using PlainTransform = std::optional<std::u16string> (*)(std::u16string_view text,
                                                         Textrix& provider);
// The work of a service that reads the selection with its attributes: edits it in place, plain or
// attributed; the edited text is always written back.
using TextTransform = void (*)(ServiceText& text, Textrix& provider);
// The work of a service on valid UTF-8 itself, for services whose work finds the characters it
// changes by their bytes: the same result as its transform's, encoded.
using Utf8Transform = std::string (*)(std::string_view validUtf8);

struct ServiceEntry {
  std::string_view name;         // the command's name for the service: "upper"
  std::string_view handlerName;  // "doUpperService:userData:error:"
  ReadMode readMode;
  std::string_view errorMessage;  // empty for the services that report nothing
  std::span<const std::string_view> sendTypes;
  std::span<const std::string_view> returnTypes;
  std::string_view menuTitle;
  // One sentence on what the service does, shown beside the title where a chooser has room.
  std::string_view summary;
  // A PlainTransform for the read modes plain and none, a TextTransform for the others.
  std::variant<PlainTransform, TextTransform> transform;
  // Whether the service's result for plain text is its results for the text's lines put together,
  // each depending on its line alone, with a result for any text: such a service can go through a
  // long text line by line.
  bool linesIndependent = false;
  // Set for some such services: a long text streams through it without being decoded and encoded
  // again, which costs more than their work.
  Utf8Transform utf8Transform = nullptr;
  // What the service does, in a paragraph for its help, and a command line that shows it.
  std::string_view help = {};
  std::string_view example = {};
  // Whether the service speaks the text: the command's --wav and --print apply to it alone.
  bool speaks = false;
};

// All services, in the order of the menu.
std::span<const ServiceEntry> serviceCatalogue();
// The service with this command name or handler name, or null.
const ServiceEntry* findService(std::string_view name);

// Serves one request: reads the selection as the entry's read mode says, applies its transform and
// writes the result back; when there is no selection or no result, stores the entry's message in
// error and leaves the pasteboard as it was. No service reads userData. Never throws for bad input.
void performService(Textrix& provider, const ServiceEntry& entry, ServicePasteboard& pasteboard,
                    std::string_view userData, std::string& error);

}  // namespace textrix
