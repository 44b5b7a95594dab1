// SPDX-License-Identifier: MIT
#include "services/user_actions.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <system_error>
#include <utility>

#include "rich/rtf.h"
#include "services/case.h"
#include "services/catalogue.h"
#include "services/textrix.h"
#include "text/encodings.h"
#include "util/child_process.h"

namespace textrix {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDescriptionExtension = ".action";
constexpr std::string_view kDescriptionGroup = "[Textrix Action]";
constexpr std::string_view kDefaultDataDirs = "/usr/local/share:/usr/share";

// The header comment is looked for in this much of the start of an executable.
constexpr std::size_t kHeaderBytes = 4096;
constexpr std::size_t kHeaderLines = 30;
// A description file is read up to this size; anything longer is no description.
constexpr std::size_t kDescriptionBytes = std::size_t{64} << 10;
// Enough of an action's standard error to hold its last line.
constexpr std::size_t kKeptErrorBytes = 8192;

// The command's own words: `textrix NAME` takes them as themselves, so an action of that name
// could never be applied from the command line.
constexpr std::string_view kCommandWords[] = {"list", "defaults", "serve", "call", "pick", "help"};

constexpr std::string_view kBlanks = " \t\r\n\v\f";

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(kBlanks);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

std::string lowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool isActionName(std::string_view name) {
  const auto allowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
  };
  return !name.empty() && name.front() != '-' && std::all_of(name.begin(), name.end(), allowed) &&
         std::find(std::begin(kCommandWords), std::end(kCommandWords), name) ==
             std::end(kCommandWords) &&
         findService(name) == nullptr;
}

// The lines of text, at most maxLines of them, without their terminators.
std::vector<std::string_view> linesOf(std::string_view text, std::size_t maxLines) {
  std::vector<std::string_view> lines;
  while (!text.empty() && lines.size() < maxLines) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

// The first bytes of the file, at most limit of them; empty when it cannot be read.
std::string firstBytesOf(const fs::path& file, std::size_t limit) {
  std::ifstream stream(file, std::ios::binary);
  std::string bytes(limit, '\0');
  stream.read(bytes.data(), static_cast<std::streamsize>(limit));
  bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
  return bytes;
}

// What a header comment or a description file says of an action; a field not given is none.
struct Description {
  std::optional<std::string> title, description, accepts, returns, message, exec;

  // The field of the key, or null for a key that is none of them.
  std::optional<std::string>* field(std::string_view key) {
    if (key == "Title") return &title;
    if (key == "Description") return &description;
    if (key == "Accepts") return &accepts;
    if (key == "Returns") return &returns;
    if (key == "Message") return &message;
    if (key == "Exec") return &exec;
    return nullptr;
  }
  // Sets the field of the key unless it is set already: the first line that gives a key wins.
  void set(std::string_view key, std::string_view value) {
    std::optional<std::string>* slot = field(key);
    if (slot && !*slot) *slot = std::string(value);
  }
};

// The key in the header's spelling: its first letter upper-case, the rest lower-case ("TITLE" and
// "title" are "Title").
std::string headerKey(std::string_view key) {
  std::string spelled = lowerAscii(key);
  if (!spelled.empty() && spelled[0] >= 'a' && spelled[0] <= 'z') spelled[0] -= 'a' - 'A';
  return spelled;
}

// The "Key: value" lines of the comment at the start of an executable, whatever its comment
// leader: a run of '#', '/', '-' or ';' after any indentation. An Exec line means nothing here:
// the executable is the program.
Description headerOf(const fs::path& file) {
  Description description;
  const std::string start = firstBytesOf(file, kHeaderBytes);
  for (std::string_view line : linesOf(start, kHeaderLines)) {
    line = trimmed(line);
    const std::size_t leader = line.find_first_not_of("#/-;");
    if (leader == 0 || leader == std::string_view::npos) continue;
    line.remove_prefix(leader);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    description.set(headerKey(trimmed(line.substr(0, colon))), trimmed(line.substr(colon + 1)));
  }
  return description;
}

// A value of a description file with the escapes of a desktop entry's strings undone: \s, \n, \t,
// \r and \\.
std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      text += value[i];
      continue;
    }
    switch (const char escaped = value[++i]) {
      case 's':
        text += ' ';
        break;
      case 'n':
        text += '\n';
        break;
      case 't':
        text += '\t';
        break;
      case 'r':
        text += '\r';
        break;
      default:
        text += '\\';
        if (escaped != '\\') text += escaped;
    }
  }
  return text;
}

// The keys of the [Textrix Action] group of a description file; none when the file has no such
// group or is too long to be one. Comments, other groups and localized keys (Title[de]) are
// skipped.
std::optional<Description> descriptionFileOf(const fs::path& file) {
  const std::string bytes = firstBytesOf(file, kDescriptionBytes + 1);
  if (bytes.size() > kDescriptionBytes) return std::nullopt;
  Description description;
  bool inGroup = false, sawGroup = false;
  for (std::string_view line : linesOf(bytes, bytes.size())) {
    line = trimmed(line);
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      inGroup = line == kDescriptionGroup;
      sawGroup = sawGroup || inGroup;
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!inGroup || equals == std::string_view::npos) continue;
    const std::string_view key = trimmed(line.substr(0, equals));
    if (key.find('[') == std::string_view::npos) {
      description.set(key, unescaped(trimmed(line.substr(equals + 1))));
    }
  }
  if (!sawGroup) return std::nullopt;
  return description;
}

// The arguments of an Exec value, split as a desktop entry's are: at spaces outside double quotes;
// inside them a backslash keeps '"', '`', '$' and '\' literal. "%%" is a '%', and an argument that
// is a field code alone (%f, %U, ...) is dropped, since an action has no files to pass. None when a
// quote is left open.
std::optional<std::vector<std::string>> splitExec(std::string_view exec) {
  std::vector<std::string> arguments;
  std::string argument;
  bool inArgument = false, quoted = false;
  for (std::size_t i = 0; i < exec.size(); ++i) {
    const char c = exec[i];
    if (quoted) {
      if (c == '\\' && i + 1 < exec.size() &&
          std::string_view("\"`$\\").find(exec[i + 1]) != std::string_view::npos) {
        argument += exec[++i];
      } else if (c == '"') {
        quoted = false;
      } else {
        argument += c;
      }
    } else if (c == ' ' || c == '\t') {
      if (inArgument) arguments.push_back(std::exchange(argument, {}));
      inArgument = false;
    } else {
      quoted = c == '"';
      if (!quoted) argument += c;
      inArgument = true;
    }
  }
  if (quoted) return std::nullopt;
  if (inArgument) arguments.push_back(std::move(argument));
  std::erase_if(arguments,
                [](const std::string& a) { return a.size() == 2 && a[0] == '%' && a[1] != '%'; });
  for (std::string& a : arguments) {
    for (std::size_t at = a.find("%%"); at != std::string::npos; at = a.find("%%", at + 1)) {
      a.erase(at, 1);
    }
  }
  return arguments;
}

// The words of a type list ("plain; rtf", "plain rtf", "plain,rtf").
std::vector<std::string> typeWords(std::string_view list) {
  std::vector<std::string> words;
  while (!list.empty()) {
    const std::size_t start = list.find_first_not_of(" \t;,");
    if (start == std::string_view::npos) break;
    list.remove_prefix(start);
    const std::size_t end = std::min(list.find_first_of(" \t;,"), list.size());
    words.push_back(lowerAscii(list.substr(0, end)));
    list.remove_prefix(end);
  }
  return words;
}

// "base64-encode" is "Base64 Encode".
std::string titleFromName(std::string_view name) {
  std::string title(name);
  for (std::size_t i = 0; i < title.size(); ++i) {
    if (title[i] == '-') title[i] = ' ';
    const bool wordStart = i == 0 || title[i - 1] == ' ';
    if (wordStart && title[i] >= 'a' && title[i] <= 'z') title[i] -= 'a' - 'A';
  }
  return title;
}

// The message of the built-in services' shape: "Encode as Base64" is "Error: Couldn't encode as
// base64.".
std::string messageFromTitle(std::string_view title) {
  std::u16string lower = utf16FromUtf8(title);
  lowercase(lower);
  return "Error: Couldn't " + encodeUtf8(lower) + ".";
}

// The action that the description makes of the name and the command; none when it names a type
// other than plain and rtf, or accepts none.
std::optional<UserAction> actionFrom(std::string name, const Description& description,
                                     fs::path file, std::vector<std::string> command) {
  UserAction action;
  if (description.accepts) {
    const std::vector<std::string> accepted = typeWords(*description.accepts);
    const auto accepts = [&](std::string_view type) {
      return std::find(accepted.begin(), accepted.end(), type) != accepted.end();
    };
    action.acceptsPlain = accepts("plain");
    action.acceptsRtf = accepts("rtf");
    const std::size_t known = (action.acceptsPlain ? 1 : 0) + (action.acceptsRtf ? 1 : 0);
    if (known == 0 || std::ranges::any_of(accepted, [](const std::string& type) {
          return type != "plain" && type != "rtf";
        })) {
      return std::nullopt;
    }
  }
  if (description.returns) {
    const std::string returned = lowerAscii(trimmed(*description.returns));
    if (returned != "plain" && returned != "rtf") return std::nullopt;
    action.returnsRtf = returned == "rtf";
  }
  action.title = description.title.value_or("");
  if (action.title.empty()) action.title = titleFromName(name);
  action.description = description.description.value_or("");
  action.message = description.message.value_or("");
  if (action.message.empty()) action.message = messageFromTitle(action.title);
  action.name = std::move(name);
  action.file = std::move(file);
  action.command = std::move(command);
  return action;
}

bool isRegularFile(const fs::path& file) {
  std::error_code error;
  return fs::is_regular_file(file, error);
}

// The files of one directory that may make an action of a name: its description file and its
// first executable in the order of file names.
struct ActionFiles {
  std::optional<fs::path> description;
  std::optional<fs::path> executable;
};

std::map<std::string, ActionFiles> actionFilesIn(const fs::path& directory) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    files.push_back(entry->path());
  }
  std::sort(files.begin(), files.end());
  std::map<std::string, ActionFiles> found;
  for (const fs::path& file : files) {
    const std::string name = file.stem().string();
    // An editor's backup (run.sh~) keeps the mode of what it copies, but is no action.
    if (!isActionName(name) || file.filename().string().ends_with('~') || !isRegularFile(file)) {
      continue;
    }
    if (file.extension() == kDescriptionExtension) {
      found[name].description = file;
    } else if (::access(file.c_str(), X_OK) == 0 && !found[name].executable) {
      found[name].executable = file;
    }
  }
  return found;
}

// The action of a name from the files of its directory; none when they make no action.
std::optional<UserAction> actionOf(const std::string& name, const ActionFiles& files) {
  if (!files.description) {
    const fs::path& executable = *files.executable;
    return actionFrom(name, headerOf(executable), executable, {executable.string()});
  }
  const std::optional<Description> description = descriptionFileOf(*files.description);
  if (!description) return std::nullopt;
  std::vector<std::string> command;
  if (description->exec) {
    std::optional<std::vector<std::string>> split = splitExec(*description->exec);
    if (!split || split->empty()) return std::nullopt;
    command = std::move(*split);
  } else if (files.executable) {
    command = {files.executable->string()};
  } else {
    return std::nullopt;
  }
  return actionFrom(name, *description, *files.description, std::move(command));
}

// The program of the action's command as a path: absolute as it is, with a '/' relative to the
// action's directory, else found on PATH; none when PATH has no such program.
std::optional<std::string> programOf(const UserAction& action) {
  const std::string& program = action.command.front();
  if (program.starts_with('/')) return program;
  if (program.find('/') != std::string::npos) {
    return (action.file.parent_path() / program).string();
  }
  const char* path = std::getenv("PATH");
  return findProgramOnPath(path ? path : "", program);
}

// What the action gets of the selection.
struct ActionInput {
  std::string bytes;
  bool rtf = false;
};

// The selection as the action takes it: rich text as RTF when it takes RTF, else the characters as
// UTF-8; none when nothing it takes is selected. The RTF writer may throw.
std::optional<ActionInput> actionInput(const Textrix& provider, const UserAction& action,
                                       const ServicePasteboard& pasteboard) {
  std::optional<ServiceText> text = provider.getStringOfPboard(pasteboard, action.acceptsRtf);
  if (!text) return std::nullopt;
  if (const auto* rich = std::get_if<AttributedText>(&*text)) {
    return ActionInput{provider.environment().rtfFromText(*rich), true};
  }
  if (!action.acceptsPlain) return std::nullopt;
  return ActionInput{encodeUtf8(std::get<std::u16string>(*text)), false};
}

std::string sizeLimitText() {
  return std::to_string(kMaxSelectionBytes >> 20) + " MiB";
}

// Why a run that ended so gave no result; empty for a program that exited with status 0.
std::string endReason(const ProgramOutput& ran, const std::string& program) {
  switch (ran.end) {
    case ProgramEnd::exited:
      return ran.status == 0 ? "" : "exit status " + std::to_string(ran.status);
    case ProgramEnd::notRun:
      return "cannot run " + program;
    case ProgramEnd::signalled:
      return "ended by a signal";
    case ProgramEnd::timedOut:
      return "still running at the time limit";
    case ProgramEnd::outputTooLarge:
      return "printed more than " + sizeLimitText();
  }
  return "ended in an unknown way";
}

// The result in the type the action returns; none, with the reason, when its output is not that.
std::optional<ServiceText> resultOf(const UserAction& action, const std::string& output,
                                    std::string& reason) {
  if (action.returnsRtf) {
    RichTextReading reading = readRtf(output);
    if (reading.ok()) return ServiceText(std::move(reading.text));
    reason = "printed RTF that does not parse: " + reading.error.message();
    return std::nullopt;
  }
  Utf8Decoding decoded = decodeUtf8(output);
  if (decoded.ok()) return ServiceText(std::move(decoded.text));
  reason = "printed invalid UTF-8 at byte " + std::to_string(decoded.errorOffset);
  return std::nullopt;
}

// Runs the action on the selection: its result, or none with the reason. errorOutput gets the end
// of its standard error.
std::optional<ServiceText> runAction(Textrix& provider, const UserAction& action,
                                     const ServicePasteboard& pasteboard, std::string& errorOutput,
                                     std::string& reason) {
  std::optional<ActionInput> input;
  try {
    input = actionInput(provider, action, pasteboard);
  } catch (const std::exception& exception) {
    reason = std::string("the selection cannot be written as RTF: ") + exception.what();
    return std::nullopt;
  }
  if (!input) {
    reason = "nothing it takes is selected";
    return std::nullopt;
  }
  if (input->bytes.size() > kMaxSelectionBytes) {
    reason = "the selection is larger than " + sizeLimitText();
    return std::nullopt;
  }
  const std::optional<std::string> program = programOf(action);
  if (!program) {
    reason = "no program " + action.command.front() + " on PATH";
    return std::nullopt;
  }
  ProgramOptions options;
  options.environment = {"TEXTRIX_TYPE=" + std::string(input->rtf ? "rtf" : "plain"),
                         "TEXTRIX_ACTION=" + action.name,
                         "TEXTRIX_APPLICATION=" + provider.environment().activeApplicationName()};
  options.timeLimit = actionTimeLimit();
  options.maxOutputBytes = kMaxSelectionBytes;
  options.keptErrorBytes = kKeptErrorBytes;
  options.name = action.command.front();
  const std::vector<std::string> arguments(action.command.begin() + 1, action.command.end());
  ProgramOutput ran = runProgramForOutput(*program, arguments, input->bytes, options);
  errorOutput = std::move(ran.errorOutput);
  if (reason = endReason(ran, *program); !reason.empty()) return std::nullopt;
  return resultOf(action, ran.output, reason);
}

// The last line of text that holds more than blanks, trimmed.
std::string_view lastNonEmptyLine(std::string_view text) {
  while (true) {
    const std::size_t cut = text.rfind('\n');
    const std::string_view line = trimmed(cut == std::string_view::npos ? text : text.substr(cut));
    if (!line.empty() || cut == std::string_view::npos) return line;
    text = text.substr(0, cut);
  }
}

// The message a failed action reports: the last non-empty line of its standard error as valid
// UTF-8 without control characters (a bus string holds neither bad bytes nor NUL), else its own.
std::string failureMessage(const UserAction& action, std::string_view errorOutput) {
  std::string line(lastNonEmptyLine(errorOutput));
  std::erase_if(line, [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\t'; });
  if (line.empty()) return action.message;
  return encodeUtf8(utf16FromUtf8(line));
}

}  // namespace

std::vector<std::string> UserAction::sendTypes() const {
  std::vector<std::string> types;
  if (acceptsPlain) types.emplace_back(kStringPboardType);
  if (acceptsRtf) {
    types.emplace_back(kRTFPboardType);
    types.emplace_back(kRTFDPboardType);
  }
  return types;
}

std::vector<std::string> UserAction::returnTypes() const {
  if (returnsRtf) return {std::string(kRTFPboardType), std::string(kRTFDPboardType)};
  return {std::string(kStringPboardType)};
}

std::vector<fs::path> actionDirectories(const char* configHome, const char* home,
                                        const char* dataDirs) {
  std::vector<fs::path> directories;
  const auto add = [&directories](const fs::path& base) {
    directories.push_back(base / "textrix" / "actions");
  };
  if (configHome && fs::path(configHome).is_absolute()) {
    add(configHome);
  } else if (home && fs::path(home).is_absolute()) {
    add(fs::path(home) / ".config");
  }
  std::string_view data = dataDirs && *dataDirs ? dataDirs : kDefaultDataDirs;
  while (!data.empty()) {
    const std::size_t end = std::min(data.find(':'), data.size());
    if (const fs::path directory(data.substr(0, end)); directory.is_absolute()) add(directory);
    data.remove_prefix(std::min(end + 1, data.size()));
  }
  return directories;
}

std::vector<fs::path> actionDirectories() {
  return actionDirectories(std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME"),
                           std::getenv("XDG_DATA_DIRS"));
}

std::vector<UserAction> discoverUserActions(std::span<const fs::path> directories) {
  // A name is decided by the first directory that has files for it, even when they make no action:
  // a broken action of the user's own hides the shipped one rather than silently giving way.
  std::map<std::string, std::optional<UserAction>> byName;
  for (const fs::path& directory : directories) {
    for (const auto& [name, files] : actionFilesIn(directory)) {
      if (!byName.contains(name)) byName.emplace(name, actionOf(name, files));
    }
  }
  std::vector<UserAction> actions;
  for (auto& [name, action] : byName) {
    if (action) actions.push_back(std::move(*action));
  }
  return actions;
}

std::vector<UserAction> userActions() {
  return discoverUserActions(actionDirectories());
}

std::optional<UserAction> findUserAction(std::string_view nameOrFile) {
  for (UserAction& action : userActions()) {
    if (action.name == nameOrFile || action.file == fs::path(nameOrFile)) return std::move(action);
  }
  return std::nullopt;
}

std::chrono::milliseconds actionTimeLimit() {
  const char* setting = std::getenv("TEXTRIX_ACTION_TIMEOUT");
  const std::string_view text = setting ? setting : "";
  double seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  // A day at most, so that the milliseconds cannot overflow.
  if (error != std::errc() || end != text.data() + text.size() || !(seconds > 0) ||
      seconds > 86400) {
    return kDefaultActionTimeLimit;
  }
  return std::chrono::milliseconds(static_cast<long long>(std::ceil(seconds * 1000)));
}

void performUserAction(Textrix& provider, const UserAction& action, ServicePasteboard& pasteboard,
                       std::string& error) {
  std::string errorOutput, reason;
  std::optional<ServiceText> result = runAction(provider, action, pasteboard, errorOutput, reason);
  if (result) {
    const int changeCount = pasteboard.changeCount();
    provider.writeString(std::move(result), pasteboard);
    if (pasteboard.changeCount() != changeCount) return;
    reason = "its result cannot be written";
  }
  provider.environment().log("action " + action.name + " (" + action.file.string() +
                             "): " + reason);
  error = failureMessage(action, errorOutput);
}

}  // namespace textrix
