// SPDX-License-Identifier: MIT
// Applies the service named by the first argument to the second through the installed library and
// prints the result: `consumer upper 'hello'` prints HELLO.
#include <iostream>
#include <string>

#include "runtime/pasteboard.h"
#include "services/catalogue.h"
#include "services/textrix.h"
#include "text/encodings.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: consumer SERVICE TEXT\n";
    return 2;
  }
  const textrix::ServiceEntry* entry = textrix::findService(argv[1]);
  if (!entry) {
    std::cerr << "consumer: no service " << argv[1] << "\n";
    return 2;
  }
  textrix::ServicePasteboard pasteboard;
  pasteboard.declareTypes({std::string(textrix::kStringPboardType)});
  pasteboard.setString(textrix::utf16FromUtf8(argv[2]), textrix::kStringPboardType);
  textrix::Textrix provider(textrix::ServiceEnvironment{});
  std::string error;
  textrix::performService(provider, *entry, pasteboard, "", error);
  if (!error.empty()) {
    std::cerr << error << "\n";
    return 1;
  }
  std::cout << textrix::encodeUtf8(*pasteboard.stringForType(textrix::kStringPboardType)) << "\n";
  return 0;
}
