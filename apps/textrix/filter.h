// SPDX-License-Identifier: MIT
// The command as a filter, shared by applying a service in process (textrix SERVICE) and by sending
// it to the provider (textrix call): reading the selection from FILE or standard input, detecting
// its type, putting it on a pasteboard and writing the result to standard output.
//
//   SelectionInput input;
//   if (std::optional<CommandError> error = input.open(file)) return report(*error);
//   const std::string_view type = detectType(input.firstBytes());
//   ServicePasteboard pasteboard("textrix");
//   if (std::optional<CommandError> error = readSelection(input, type, pasteboard)) ...
//   ...
//   writeResult(pasteboard);
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "errors.h"
#include "runtime/pasteboard.h"

namespace textrix::command {

// The pasteboard type that --type names: plain, rtf or rtfd; none for any other name.
std::optional<std::string_view> pasteboardTypeNamed(std::string_view name);

// The selection's bytes as they come from a file or standard input. The first block is read ahead,
// so that the type can be told before the rest is read.
class SelectionInput {
 public:
  SelectionInput() = default;
  ~SelectionInput();
  SelectionInput(const SelectionInput&) = delete;
  SelectionInput& operator=(const SelectionInput&) = delete;

  // Opens the file, or standard input for none or "-", and reads its first block; the error
  // ("cannot read FILE: reason") when it cannot.
  std::optional<CommandError> open(std::optional<std::string_view> file);
  // The bytes read ahead: the whole input when it is shorter than a block.
  std::string_view firstBytes() const { return ahead_; }
  // Reads the next bytes into buffer until it is full or the input ends: the number read (0 at the
  // end), or none (errno set) when reading fails.
  std::optional<std::size_t> read(std::span<char> buffer);
  // All the bytes not read yet; a regular file in one go into a buffer of its size.
  std::optional<CommandError> readAll(std::string& bytes);
  // The number of bytes not read yet when it is known (a regular file), else none.
  std::optional<std::size_t> remainingBytes() const;
  // Whether the input can be read again from its start: a regular file.
  bool canRewind() const { return start_.has_value(); }
  // Goes back to the start; false (errno set) when the input cannot.
  bool rewind();
  // The error of the last failed read: "cannot read FILE: reason".
  CommandError readError() const;

 private:
  std::string name_ = "standard input";
  int descriptor_ = -1;
  bool ownsDescriptor_ = false;
  std::optional<long long> start_;  // where a regular file was opened at
  std::string ahead_;
  std::size_t aheadTaken_ = 0;
  bool aheadIsAll_ = false;  // the input ended within the bytes read ahead
};

// Prints an alert panel where the command stands in for the desktop: the title on the first line,
// then the message (UTF-8), on standard output.
void writePanel(std::string_view title, std::string_view message);

// The type of the bytes: flat RTFD by its signature, RTF by "{\rtf", anything else plain text.
std::string_view detectType(std::string_view bytes);

// The error for plain text that is not UTF-8 from the byte at offset on.
CommandError invalidUtf8At(std::size_t offset);

// Hands each piece of bytes, as it comes, to a visitor; the error that ends the reading, or none.
using BlockVisitor = std::function<std::optional<CommandError>(std::string_view bytes)>;

// Reads all of input in blocks of blockBytes and checks that it is UTF-8 across the edges of the
// blocks: each block goes to read as it was read, and its whole sequences to checked once they are
// known to be UTF-8 (either visitor may be empty). The error when reading fails, when a visitor
// returns one, or with the first byte that is not UTF-8 ("invalid UTF-8 at byte N").
std::optional<CommandError> readUtf8Blocks(SelectionInput& input, const BlockVisitor& read,
                                           const BlockVisitor& checked, std::size_t blockBytes);

// Reads the rest of input and puts it on the pasteboard as its one type. Plain text must be UTF-8
// and is decoded block by block as it is read, so that its bytes are never held whole; the error
// when reading fails or the text is not UTF-8.
std::optional<CommandError> readSelection(SelectionInput& input, std::string_view type,
                                          ServicePasteboard& pasteboard);

// Reads from descriptor into buffer until it is full or the input ends: the number of bytes read,
// or none (errno set) on a read error.
std::optional<std::size_t> readUntilFull(int descriptor, std::span<char> buffer);
// Writes all of bytes to descriptor; false (errno set) when it cannot.
bool writeAll(int descriptor, std::string_view bytes);
// Writes all of bytes to standard output; false (errno set) when it cannot.
bool writeOut(std::string_view bytes);

// The error of standard output that cannot be written: "cannot write standard output: reason".
CommandError writeError();

// Writes the content of the pasteboard's first type to standard output, after anything already
// printed through stdio: a string as UTF-8, bytes as they are. Writes nothing for an empty
// pasteboard. The error when standard output fails.
std::optional<CommandError> writeResult(const ServicePasteboard& pasteboard);

}  // namespace textrix::command
