#include "commands.h"

#include <cstdio>
#include <string>

#include "services/catalogue.h"

namespace textrix::command {
namespace {

constexpr std::string_view kUsage =
    "Usage: textrix SERVICE [FILE] [--type plain|rtf|rtfd] [--wav FILE] [--print]\n"
    "       textrix list\n"
    "       textrix defaults read [KEY] | write KEY VALUE | delete KEY\n"
    "       textrix serve [--slice SECONDS]\n"
    "       textrix call SERVICE [FILE] [--type plain|rtf|rtfd] [--application NAME]\n"
    "       textrix pick [SERVICE] [--clipboard] [--chooser COMMAND]\n"
    "       textrix --help | --version\n";

constexpr std::string_view kDescription =
    "\n"
    "Applies a text service to FILE (or standard input) and writes the result to standard\n"
    "output. Plain text is UTF-8; input that begins with {\\rtf is RTF, input that begins with "
    "the\n"
    "flat RTFD signature is RTFD; --type overrides the detection. The result has the type the\n"
    "service wrote: plain text, RTF or flat RTFD.\n"
    "\n"
    "Exit status: 0 done, 1 the service reported its message, 2 bad usage or input,\n"
    "3 the session bus or the provider cannot be reached (textrix call, textrix serve, textrix\n"
    "pick), 4 no display or a missing helper program (textrix pick).\n"
    "textrix pick applies a service to the selected text of any application and leaves the\n"
    "result on the clipboard; without SERVICE it asks for one in a chooser.\n"
    "Settings live in $TEXTRIX_DEFAULTS, else $XDG_CONFIG_HOME/textrix/defaults.\n";

void write(std::FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
}

void writeServiceList(std::FILE* stream) {
  write(stream, "\nServices:\n");
  for (const ServiceEntry& entry : serviceCatalogue()) {
    std::string line = "  " + std::string(entry.name);
    line.resize(std::max<std::size_t>(line.size() + 1, 26), ' ');
    line += entry.menuTitle;
    write(stream, line + "\n");
  }
}

int help() {
  write(stdout, kUsage);
  write(stdout, kDescription);
  writeServiceList(stdout);
  return kSuccess;
}

int version() {
  write(stdout, "textrix " TEXTRIX_VERSION "\n");
  return kSuccess;
}

}  // namespace

int run(std::span<const std::string_view> arguments) {
  if (arguments.empty()) return usageError("no service given");
  const std::string_view first = arguments.front();
  const auto rest = arguments.subspan(1);
  if (first == "--help" || first == "-h" || first == "help") return help();
  if (first == "--version") return version();
  if (first == "list") return rest.empty() ? listServices() : usageError("list takes no arguments");
  if (first == "defaults") return defaults(rest);
  if (first == "serve") return serve(rest);
  if (first == "call") return callService(rest);
  if (first == "pick") return pick(rest);
  return applyService(first, rest);
}

int listServices() {
  for (const ServiceEntry& entry : serviceCatalogue()) {
    write(stdout, std::string(entry.name) + "\t" + std::string(entry.menuTitle) + "\n");
  }
  return kSuccess;
}

int usageError(std::string_view problem) {
  write(stderr, "textrix: " + std::string(problem) + "\n");
  write(stderr, kUsage);
  write(stderr, "Run 'textrix --help' for the services.\n");
  return kUsageError;
}

}  // namespace textrix::command
