#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "commands.h"
#include "host/catalogue.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

struct Options {
  std::optional<std::string_view> file;
  std::optional<std::string_view> type;  // the pasteboard type named by --type
  std::optional<std::string_view> wav;
  bool print = false;
};

std::optional<std::string_view> pasteboardTypeNamed(std::string_view name) {
  if (name == "plain") return kStringPboardType;
  if (name == "rtf") return kRTFPboardType;
  if (name == "rtfd") return kRTFDPboardType;
  return std::nullopt;
}

// Parses [FILE] [--type T] [--wav FILE] [--print] in any order; a problem is returned as text.
std::string parseOptions(std::span<const std::string_view> arguments, Options& options) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string_view argument = arguments[i];
    std::optional<std::string_view> inlineValue;
    if (argument.starts_with("--") && argument.find('=') != std::string_view::npos) {
      inlineValue = argument.substr(argument.find('=') + 1);
      argument = argument.substr(0, argument.find('='));
    }
    auto value = [&]() -> std::optional<std::string_view> {
      if (inlineValue) return inlineValue;
      if (i + 1 < arguments.size()) return arguments[++i];
      return std::nullopt;
    };
    if (argument == "--type") {
      auto name = value();
      if (!name || !(options.type = pasteboardTypeNamed(*name))) {
        return "--type needs plain, rtf or rtfd";
      }
    } else if (argument == "--wav") {
      if (!(options.wav = value())) return "--wav needs a file";
    } else if (argument == "--print" && !inlineValue) {
      options.print = true;
    } else if (argument.starts_with("-") && argument != "-") {
      return "unknown option " + std::string(argument);
    } else if (!options.file) {
      options.file = argument;
    } else {
      return "more than one file given";
    }
  }
  return {};
}

// The bytes still to come from descriptor when it reads a regular file, else none.
std::optional<std::size_t> remainingBytesOfFile(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const off_t position = lseek(descriptor, 0, SEEK_CUR);
  if (position < 0 || position > status.st_size) return std::nullopt;
  return static_cast<std::size_t>(status.st_size - position);
}

// Reads into bytes from offset until it is full or the input ends; returns where it stopped, or
// none on a read error.
std::optional<std::size_t> readUntilFull(int descriptor, std::string& bytes, std::size_t offset) {
  while (offset < bytes.size()) {
    const ssize_t got = read(descriptor, bytes.data() + offset, bytes.size() - offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    offset += static_cast<std::size_t>(got);
  }
  return offset;
}

// All bytes of the descriptor. A regular file is read in one go into a buffer of its size; other
// inputs, and a file that grew meanwhile, in doubling steps.
std::optional<std::string> readAll(int descriptor) {
  constexpr std::size_t kFirstStep = std::size_t{1} << 16;
  std::string bytes;
  std::size_t filled = 0;
  const std::optional<std::size_t> expected = remainingBytesOfFile(descriptor);
  // One byte more than the file holds shows without a second call whether the file grew.
  bytes.resize(expected ? *expected + 1 : kFirstStep);
  while (true) {
    const std::optional<std::size_t> reached = readUntilFull(descriptor, bytes, filled);
    if (!reached) return std::nullopt;
    if (*reached < bytes.size()) {
      bytes.resize(*reached);
      return bytes;
    }
    filled = *reached;
    bytes.resize(std::max(kFirstStep, 2 * bytes.size()));
  }
}

// All bytes of the file, or of standard input for none or "-"; none when they cannot be read.
std::optional<std::string> readInput(std::optional<std::string_view> file) {
  if (!file || *file == "-") return readAll(STDIN_FILENO);
  const int descriptor = open(std::string(*file).c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return std::nullopt;
  std::optional<std::string> bytes = readAll(descriptor);
  const int readError = errno;
  close(descriptor);
  errno = readError;
  return bytes;
}

std::string_view detectType(std::string_view bytes) {
  if (bytes.starts_with(std::string_view("rtfd\0\0\0\0", 8))) return kRTFDPboardType;
  if (bytes.starts_with("{\\rtf")) return kRTFPboardType;
  return kStringPboardType;
}

// Puts the selection on the pasteboard as its one type; a problem with the bytes is returned. The
// bytes are freed as soon as they are decoded.
std::string putSelection(std::string bytes, std::string_view type, ServicePasteboard& pasteboard) {
  pasteboard.declareTypes({std::string(type)});
  if (type != kStringPboardType) {
    pasteboard.setData(std::move(bytes), type);
    return {};
  }
  Utf8Decoding decoded = decodeUtf8(bytes);
  std::string().swap(bytes);
  if (!decoded.ok()) return "invalid UTF-8 at byte " + std::to_string(decoded.errorOffset);
  pasteboard.setString(std::move(decoded.text), type);
  return {};
}

// Writes all of bytes to standard output; false when it cannot.
bool writeOut(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Writes text as UTF-8 piece by piece through one small buffer, never cutting a surrogate pair.
bool writeUtf8(std::u16string_view text) {
  constexpr std::size_t kPieceUnits = std::size_t{1} << 16;
  std::string buffer(3 * kPieceUnits, '\0');
  while (!text.empty()) {
    std::size_t units = std::min(kPieceUnits, text.size());
    if (units < text.size() && (text[units - 1] & 0xFC00) == 0xD800) --units;  // a lead surrogate
    const std::size_t bytes = encodeUtf8(text.substr(0, units), buffer.data());
    if (!writeOut(std::string_view(buffer).substr(0, bytes))) return false;
    text.remove_prefix(units);
  }
  return true;
}

// Writes the result straight from the pasteboard, after anything already printed through stdio;
// false when standard output fails.
bool writeResult(const ServicePasteboard& pasteboard) {
  if (std::fflush(stdout) != 0) return false;
  if (pasteboard.types().empty()) return true;
  const std::string& type = pasteboard.types().front();
  if (auto string = pasteboard.stringForType(type)) return writeUtf8(*string);
  if (auto data = pasteboard.dataForType(type)) return writeOut(*data);
  return true;
}

}  // namespace

int applyService(std::string_view service, std::span<const std::string_view> arguments) {
  const ServiceEntry* entry = findService(service);
  if (!entry) return usageError("unknown service " + std::string(service));
  Options options;
  if (std::string problem = parseOptions(arguments, options); !problem.empty()) {
    return usageError(problem);
  }
  if (!entry->handler) {
    std::fprintf(stderr, "textrix: the service %s is not available yet\n",
                 std::string(entry->name).c_str());
    return kUsageError;
  }
  std::optional<std::string> bytes = readInput(options.file);
  if (!bytes) {
    std::fprintf(stderr, "textrix: cannot read %s: %s\n",
                 options.file ? std::string(*options.file).c_str() : "standard input",
                 std::strerror(errno));
    return kUsageError;
  }

  Textrix::tabs();
  ServicePasteboard pasteboard("textrix");
  const std::string_view type = options.type.value_or(detectType(*bytes));
  if (std::string problem = putSelection(std::move(*bytes), type, pasteboard); !problem.empty()) {
    std::fprintf(stderr, "textrix: %s\n", problem.c_str());
    return kUsageError;
  }
  const int changeCount = pasteboard.changeCount();
  Textrix provider;
  std::string error;
  performService(provider, *entry, pasteboard, "", error);
  if (!error.empty()) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return kServiceFailed;
  }
  if (pasteboard.changeCount() != changeCount && !writeResult(pasteboard)) {
    std::fprintf(stderr, "textrix: cannot write standard output: %s\n", std::strerror(errno));
    return kUsageError;
  }
  return kSuccess;
}

}  // namespace textrix::command
