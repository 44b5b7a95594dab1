// The catalogue of services: every service the provider offers, with its handler, how the handler
// reads the selection, the one message it reports when it fails, the pasteboard types it takes and
// gives, its menu title and its command name.
//
//   const textrix::ServiceEntry* entry = textrix::findService("upper");
//   std::string error;
//   if (entry) textrix::performService(provider, *entry, pasteboard, "", error);
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "services/textrix.h"

namespace textrix {

// How a handler reads the selection.
enum class ReadMode {
  plain,           // plain text; rich text loses its attributes
  attributed,      // rich text keeps its attributes, plain text stays plain
  mutableCopy,     // a copy of the attributed reading, edited in place
  lines,           // the lines of the attributed reading and an empty result of the same kind
  attributedCopy,  // the attributed reading, then a copy of it
  none,            // the pasteboard is not read
};

struct ServiceEntry {
  std::string_view name;         // the command's name for the service: "upper"
  std::string_view handlerName;  // "doUpperService:userData:error:"
  ReadMode readMode;
  std::string_view errorMessage;  // empty for the services that report nothing
  std::span<const std::string_view> sendTypes;
  std::span<const std::string_view> returnTypes;
  std::string_view menuTitle;
  Textrix::Handler handler;
};

// All services, in the order of the menu.
std::span<const ServiceEntry> serviceCatalogue();
// The service with this command name or handler name, or null.
const ServiceEntry* findService(std::string_view name);

// Runs the service's handler on the pasteboard.
void performService(Textrix& provider, const ServiceEntry& entry, ServicePasteboard& pasteboard,
                    std::string_view userData, std::string& error);

}  // namespace textrix
