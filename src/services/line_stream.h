// SPDX-License-Identifier: MIT
// Applying a service whose result for a line depends on that line alone to text that arrives in
// blocks, so that a text of any length goes through in a fixed amount of memory: each block is cut
// just after its last line feed, its whole lines are transformed and written out, and the
// unfinished line is carried over to the next block. A line feed ends a line for every such service
// (a CR LF pair keeps its CR in the same block), so the results of the blocks put together are the
// result of the whole text.
//
//   textrix::LineStream stream(provider, *textrix::findService("upper"));
//   textrix::StreamStatus status = textrix::streamLines(stream, read, write, 1 << 18);
//
// Bytes in and out are UTF-8.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "services/catalogue.h"

namespace textrix {

class Textrix;

// Transforms whole lines of text by one service, reusing its buffers from one block to the next.
class LineStream {
 public:
  // entry.linesIndependent must be set; entry and provider outlive the stream.
  LineStream(Textrix& provider, const ServiceEntry& entry);

  // The service's result, as UTF-8, for lines: whole lines of the text (or its last, unfinished
  // line), as UTF-8. None when lines is not valid UTF-8. The view lasts until the next call.
  std::optional<std::string_view> transform(std::string_view lines);

 private:
  // text as UTF-8, in utf8_.
  std::string_view encoded(std::u16string_view text);

  Textrix& provider_;
  const ServiceEntry& entry_;
  // The buffers only grow, so that a long stream allocates them once.
  std::u16string text_;
  std::string utf8_;
};

// Reads into buffer until it is full or the input ends; the number of bytes read (0 at the end),
// or none when reading fails.
using ByteSource = std::function<std::optional<std::size_t>(std::span<char> buffer)>;
// Writes all of bytes; false when writing fails.
using ByteSink = std::function<bool(std::string_view bytes)>;

// How a stream ended: at the end of the input, or at the first failure.
enum class StreamStatus { done, readFailed, invalidUtf8, writeFailed };

// Streams the input from read through stream into write, in blocks of blockBytes (a line longer
// than a block is held whole).
StreamStatus streamLines(LineStream& stream, const ByteSource& read, const ByteSink& write,
                         std::size_t blockBytes);

}  // namespace textrix
