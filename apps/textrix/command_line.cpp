// SPDX-License-Identifier: MIT
#include "command_line.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "commands.h"
#include "filter.h"
#include "runtime/localization.h"
#include "services/catalogue.h"
#include "services/user_actions.h"
#include "util/suggestions.h"

namespace textrix::command {
namespace {

// The messages for options whose value is missing, by option name; CLI11 tells it as an
// ArgumentMismatch that starts with the option's name.
using NeedsMessages = std::vector<std::pair<std::string, std::string>>;

NeedsMessages& needsMessagesOf(const CLI::App& app) {
  static std::vector<std::pair<const CLI::App*, NeedsMessages>> all;
  for (auto& [owner, messages] : all) {
    if (owner == &app) return messages;
  }
  return all.emplace_back(&app, NeedsMessages{}).second;
}

// The message that name is unknown (pattern puts it in), and the nearest of names when one is near
// enough.
std::string nameWithSuggestion(std::string_view pattern, std::string_view name,
                               std::span<const std::string_view> names) {
  std::string message = localizedFormat(pattern, {name});
  if (const std::optional<std::string_view> meant = closestName(name, names)) {
    message += localizedFormat("; did you mean {0}?", {*meant});
  }
  return message;
}

// The usage error for a CLI11 parse error: the option's own message where it has one.
CommandError parseProblem(const CLI::App& app, const CLI::ParseError& error) {
  const std::string what = error.what();
  for (const auto& [name, needs] : needsMessagesOf(app)) {
    if (what.starts_with(name + ":")) return {ErrorKind::usage, needs};
  }
  return {ErrorKind::usage, what};
}

// The first argument that app left over, as the usage error it is: an option it does not know,
// or an operand it has no room for. Arguments after "--" are operands whatever they look like.
std::optional<CommandError> leftOverProblem(const CLI::App& app, std::string_view extraOperand) {
  bool operandsOnly = false;
  for (const std::string& argument : app.remaining()) {
    if (argument == "--" && !operandsOnly) {
      operandsOnly = true;
    } else if (!operandsOnly && argument.size() > 1 && argument.starts_with("-")) {
      return unknownOption(app, argument.substr(0, argument.find('=')));
    } else {
      return CommandError{ErrorKind::usage, std::string(extraOperand)};
    }
  }
  return std::nullopt;
}

// Where the descriptions of the options begin in a help, after their names.
constexpr std::int32_t kOptionColumn = 25;

// Where the part of line from start to end ends without the blanks that end it.
std::int32_t visibleEnd(const icu::UnicodeString& line, std::int32_t start, std::int32_t end) {
  while (end > start && u_isWhitespace(line.char32At(end - 1))) --end;
  return end;
}

// line, longer than width, broken at the language's line-break opportunities into lines that
// fit where a break allows it; each line keeps line's indentation.
std::string wrappedLine(const icu::UnicodeString& line, std::int32_t width) {
  std::string out;
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> breaks(
      icu::BreakIterator::createLineInstance(icu::Locale::getDefault(), status));
  if (U_FAILURE(status)) return line.toUTF8String(out);
  std::int32_t indent = 0;
  while (indent < line.length() && line[indent] == u' ') ++indent;
  const icu::UnicodeString indentation(line, 0, indent);
  std::int32_t lineStart = 0;
  const auto appendLine = [&](std::int32_t end) {
    icu::UnicodeString text(line, lineStart, visibleEnd(line, lineStart, end) - lineStart);
    if (lineStart > 0) {
      out += '\n';
      text.insert(0, indentation);
    }
    text.toUTF8String(out);
    lineStart = end;
  };
  breaks->setText(line);
  std::int32_t fitting = 0;  // the last break that keeps the current line within the width
  for (std::int32_t end = breaks->following(0); end != icu::BreakIterator::DONE;
       end = breaks->next()) {
    const std::int32_t used =
        (lineStart > 0 ? indent : 0) +
        line.countChar32(lineStart, visibleEnd(line, lineStart, end) - lineStart);
    if (used > width && fitting > lineStart) appendLine(fitting);
    fitting = end;
  }
  appendLine(line.length());
  return out;
}

}  // namespace

std::string wrappedText(std::string_view text, std::int32_t width) {
  std::string out;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view line = text.substr(start, end - start);
    const icu::UnicodeString unicodeLine = icu::UnicodeString::fromUTF8(
        icu::StringPiece(line.data(), static_cast<std::int32_t>(line.size())));
    if (unicodeLine.countChar32() > width) {
      out += wrappedLine(unicodeLine, width);
    } else {
      out += line;
    }
    if (end == text.size()) break;
    out += '\n';
    start = end + 1;
  }
  return out;
}

std::string helpRow(std::string_view name, std::string_view description, std::int32_t column) {
  std::string row = "  " + std::string(name);
  row.resize(std::max<std::size_t>(row.size() + 1, static_cast<std::size_t>(column)), ' ');
  const std::string indentation(static_cast<std::size_t>(column), ' ');
  for (const char c : wrappedText(description, kHelpWidth - column)) {
    row += c;
    if (c == '\n') row += indentation;
  }
  return row + "\n";
}

namespace {

// app's help with every line within kHelpWidth: the descriptions of the options wrap in their
// column, the text after them as the description above them.
std::string helpOf(CLI::App& app) {
  for (CLI::Option* option : app.get_options()) {
    option->description(wrappedText(option->get_description(), kHelpWidth - kOptionColumn));
  }
  app.footer(wrappedText(app.get_footer()));
  return app.help();
}

}  // namespace

std::unique_ptr<CLI::App> subcommandParser(std::string_view name, std::string_view description) {
  auto app =
      std::make_unique<CLI::App>(wrappedText(description) + "\n", "textrix " + std::string(name));
  app->allow_extras();
  const std::shared_ptr<CLI::FormatterBase> formatter = app->get_formatter();
  formatter->column_width(kOptionColumn);
  for (const char* label : {N_("Usage"), N_("OPTIONS"), N_("Positionals"), N_("REQUIRED")}) {
    formatter->label(label, localized(label));
  }
  app->option_defaults()->group(localized("Options"));
  app->set_help_flag("-h,--help", localized("print this help and exit"));
  return app;
}

void addSelectionArguments(CLI::App& app, SelectionArguments& selection) {
  app.add_option("FILE", selection.file,
                 localized("the file to read the selection from; standard input when none or -"))
      ->type_name("");
  addValueOption(app, "--type", "plain|rtf|rtfd",
                 localized("read the selection as this type instead of detecting it"),
                 localized("--type needs plain, rtf or rtfd"),
                 [&selection](const std::string& name) {
                   selection.type = pasteboardTypeNamed(name);
                   if (!selection.type) throw CLI::ValidationError("--type", "not a type");
                 });
}

CLI::Option* addValueOption(CLI::App& app, const std::string& name, const std::string& valueName,
                            const std::string& description, const std::string& needs,
                            std::function<void(const std::string&)> take) {
  needsMessagesOf(app).emplace_back(name, needs);
  return app.add_option_function<std::string>(name, std::move(take), description)
      ->type_name(valueName);
}

std::optional<int> parseCommandLine(CLI::App& app, std::span<const std::string_view> arguments,
                                    std::string_view extraOperand) {
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
  try {
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    writeText(stdout, helpOf(app));
    return kSuccess;
  } catch (const CLI::ParseError& error) {
    return report(parseProblem(app, error));
  }
  if (std::optional<CommandError> problem = leftOverProblem(app, extraOperand)) {
    return report(*problem);
  }
  return std::nullopt;
}

CommandError unknownOption(const CLI::App& app, std::string_view name) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& longName : option->get_lnames()) names.push_back("--" + longName);
  }
  const std::vector<std::string_view> views(names.begin(), names.end());
  return {ErrorKind::usage, nameWithSuggestion(N_("unknown option {0}"), name, views)};
}

CommandError unknownService(std::string_view name) {
  std::vector<std::string> names = {"list", "defaults", "serve", "call", "pick", "help"};
  for (const ServiceEntry& entry : serviceCatalogue()) names.emplace_back(entry.name);
  for (UserAction& action : userActions()) names.push_back(std::move(action.name));
  const std::vector<std::string_view> views(names.begin(), names.end());
  return {ErrorKind::usage, nameWithSuggestion(N_("unknown service {0}"), name, views)};
}

}  // namespace textrix::command
